// Log streams with a level. Streams at the default levels (error, warning, info) write
// unless LUMO_LOG says "quiet"; debug streams are muted unless named in LUMO_LOG
// (comma-separated stream names; "all" enables every one). A muted stream costs one
// branch: LLOG(s) << ... never formats its arguments.
#pragma once

#include <iostream>
#include <string>

namespace lm {

enum class Level { error, warning, info, debug };

class lstream {
public:
    // Reads LUMO_LOG once. Debug streams are off unless named; the others are on unless
    // LUMO_LOG holds "quiet" (then only errors write).
    explicit lstream(const char* name, Level level = Level::debug);
    bool on() const { return on_; }
    void enable(bool v) { on_ = v; }
    std::ostream& os() { return std::cerr; }
    const char* name() const { return name_; }
    Level level() const { return level_; }

private:
    const char* name_;
    Level level_;
    bool on_;
};

bool logEnabled(const char* name);  // is name listed in LUMO_LOG?

// The process's streams at the default levels, shared by every subsystem: faults that
// need an operator (error), refusals and degraded service (warning), start-up and
// configuration changes (info). Per-request lines never go here.
lstream& errorLog();
lstream& warningLog();
lstream& infoLog();

}  // namespace lm

// Usage: LLOG(dlog) << "bad packet" << std::endl;
#define LLOG(stream) \
    if (!(stream).on()) { \
    } else \
        (stream).os()
