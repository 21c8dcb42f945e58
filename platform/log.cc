// Log streams switched on by level and by name through LUMO_LOG.
#include "platform/log.h"

#include <cstdlib>
#include <string_view>

namespace lm {

namespace {

// Is name listed in LUMO_LOG (or, when acceptAll, is "all" listed)?
bool listed(const char* name, bool acceptAll) {
    const char* env = getenv("LUMO_LOG");
    if (!env || !name) return false;
    std::string_view list(env), want(name);
    while (!list.empty()) {
        const size_t comma = list.find(',');
        std::string_view item = list.substr(0, comma);
        while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
        while (!item.empty() && item.back() == ' ') item.remove_suffix(1);
        if ((acceptAll && item == "all") || (!item.empty() && item == want)) return true;
        if (comma == std::string_view::npos) break;
        list.remove_prefix(comma + 1);
    }
    return false;
}

bool defaultOn(Level level) {
    if (level == Level::debug) return false;
    if (level == Level::error) return true;
    return !listed("quiet", false);
}

}  // namespace

bool logEnabled(const char* name) { return listed(name, true); }

// The environment is read once per stream, here; LLOG then costs one branch.
lstream::lstream(const char* name, Level level)
    : name_(name), level_(level), on_(defaultOn(level) || logEnabled(name)) {}

lstream& errorLog() {
    static lstream stream("error", Level::error);
    return stream;
}

lstream& warningLog() {
    static lstream stream("warning", Level::warning);
    return stream;
}

lstream& infoLog() {
    static lstream stream("info", Level::info);
    return stream;
}

}  // namespace lm
