// Paths under LUMO_ROOT, plug-in directories and the clocks.
#include "platform/util.h"

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace lm {

namespace {

bool isDir(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

timespec clockNow(clockid_t id) {
    timespec ts{};
    clock_gettime(id, &ts);
    return ts;
}

}  // namespace

std::string lumoRoot() {
    const char* r = getenv("LUMO_ROOT");
    return r && *r ? r : "/";
}

std::string resolvePath(const std::string& logical) {
    std::string root = lumoRoot();
    while (root.size() > 1 && root.back() == '/') root.pop_back();
    if (root == "/") root.clear();
    if (logical.empty() || logical.front() != '/') return root + "/" + logical;
    return root + logical;
}

bool makeDirs(const std::string& dir) {
    if (dir.empty()) return false;
    // Create each ancestor in turn; EEXIST from a racing creator is as good as success.
    for (size_t pos = 1; pos <= dir.size(); ++pos) {
        if (pos != dir.size() && dir[pos] != '/') continue;
        const std::string part = dir.substr(0, pos);
        if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
    return isDir(dir);
}

std::vector<std::string> getAllDirs(const std::string& logical) {
    std::vector<std::string> out;
    const std::string base = resolvePath(logical);
    if (isDir(base)) out.push_back(base);

    std::vector<std::string> packages;
    const std::string pkgRoot = resolvePath("/lumo/pkg");
    if (DIR* d = opendir(pkgRoot.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') packages.emplace_back(e->d_name);
        closedir(d);
    }
    std::sort(packages.begin(), packages.end());  // byte order, independent of locale
    const std::string sub = logical.empty() || logical.front() == '/' ? logical : "/" + logical;
    for (const auto& p : packages) {
        const std::string dir = pkgRoot + "/" + p + sub;
        if (isDir(dir)) out.push_back(dir);
    }
    return out;
}

uint32_t getUptime() { return uint32_t(clockNow(CLOCK_BOOTTIME).tv_sec); }

uint32_t getJiffies() {
    const timespec ts = clockNow(CLOCK_BOOTTIME);
    // Wraps like TimeTicks does, after 497 days.
    return uint32_t(uint64_t(ts.tv_sec) * 100 + uint64_t(ts.tv_nsec) / 10000000);
}

uint32_t startJiffies() {
    static const uint32_t start = getJiffies();
    return start;
}

uint64_t monotonicMs() {
    const timespec ts = clockNow(CLOCK_MONOTONIC);
    return uint64_t(ts.tv_sec) * 1000 + uint64_t(ts.tv_nsec) / 1000000;
}

}  // namespace lm
