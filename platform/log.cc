// Log streams switched on by name through LUMO_LOG.
#include "platform/log.h"

#include <cstdlib>
#include <string_view>

namespace lm {

bool logEnabled(const char* name) {
    const char* env = getenv("LUMO_LOG");
    if (!env || !name) return false;
    std::string_view list(env), want(name);
    while (!list.empty()) {
        const size_t comma = list.find(',');
        std::string_view item = list.substr(0, comma);
        while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
        while (!item.empty() && item.back() == ' ') item.remove_suffix(1);
        if (item == "all" || (!item.empty() && item == want)) return true;
        if (comma == std::string_view::npos) break;
        list.remove_prefix(comma + 1);
    }
    return false;
}

// The environment is read once per stream, here; LLOG then costs one branch.
lstream::lstream(const char* name) : name_(name), on_(logEnabled(name)) {}

}  // namespace lm
