#include "agent/plugin_loader.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <utility>

#include "mib/plugin.h"
#include "platform/log.h"
#include "platform/util.h"

namespace snmp {

namespace {

constexpr const char* PLUGIN_PATH = "/lumo/lib/snmp";
constexpr const char* PLUGIN_SUFFIX = ".so";
constexpr size_t SUFFIX_LENGTH = 3;
constexpr size_t MIN_NAME_LENGTH = 4;  // "a.so" is the shortest plug-in name

struct DirCloser {
    void operator()(DIR* d) const { closedir(d); }
};

// The framework version check in front of autorun: a plug-in built against another
// framework would reach into objects of another layout, so it is not started.
bool versionMatches(void* handle, const std::string& path) {
    dlerror();
    auto* abi = static_cast<const uint32_t*>(dlsym(handle, LUMO_SNMP_PLUGIN_ABI_SYMBOL));
    if (!abi) {
        LLOG(lm::errorLog()) << "plugin " << path << " refused: no symbol "
                             << LUMO_SNMP_PLUGIN_ABI_SYMBOL << " (framework version "
                             << LUMO_SNMP_PLUGIN_ABI << " expected)" << std::endl;
        return false;
    }
    if (*abi != LUMO_SNMP_PLUGIN_ABI) {
        LLOG(lm::errorLog()) << "plugin " << path << " refused: built for framework version "
                             << *abi << ", agent has version " << LUMO_SNMP_PLUGIN_ABI
                             << std::endl;
        return false;
    }
    return true;
}

void loadPlugin(const std::string& path) {
    // Never closed: the plug-in's nodes, packers and providers live in the MIB registry.
    // Local symbols: every plug-in defines autorun and the version symbol, and none may
    // stand in for another's.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        LLOG(lm::errorLog()) << "failed dlopen: " << path << ":\n" << dlerror() << std::endl;
        return;
    }
    LLOG(lm::infoLog()) << "plugin loaded: " << path << std::endl;
    if (!versionMatches(handle, path)) return;
    dlerror();
    void* entry = dlsym(handle, "autorun");
    if (!entry) {
        LLOG(lm::warningLog()) << "plugin " << path << " has no symbol autorun" << std::endl;
        return;
    }
    reinterpret_cast<void (*)()>(entry)();
}

}  // namespace

void loadPluginDir(const std::string& dir) {
    std::unique_ptr<DIR, DirCloser> d(opendir(dir.c_str()));
    if (!d) return;
    while (dirent* e = readdir(d.get())) {
        std::string name = e->d_name;
        if (name[0] == '.' || name.size() < MIN_NAME_LENGTH) continue;
        std::string path = dir + "/" + name;
        struct stat st;
        if (stat(path.c_str(), &st) != 0) return;  // ends the scan of this directory
        if (!S_ISREG(st.st_mode)) continue;
        if (name.compare(name.size() - SUFFIX_LENGTH, SUFFIX_LENGTH, PLUGIN_SUFFIX) != 0) continue;
        loadPlugin(path);
    }
}

std::vector<std::string> pluginDirOrder(std::vector<std::string> dirs) {
    if (dirs.size() >= 2) std::swap(dirs.front(), dirs.back());
    return dirs;
}

void loadPlugins() {
    for (const auto& dir : pluginDirOrder(lm::getAllDirs(PLUGIN_PATH))) loadPluginDir(dir);
}

}  // namespace snmp
