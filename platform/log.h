// Log streams: muted unless named in LUMO_LOG (comma-separated, "all" enables every one).
// A muted stream costs one branch: LLOG(s) << ... never formats its arguments.
#pragma once

#include <iostream>
#include <string>

namespace lm {

class lstream {
public:
    explicit lstream(const char* name);  // reads LUMO_LOG once
    bool on() const { return on_; }
    void enable(bool v) { on_ = v; }
    std::ostream& os() { return std::cerr; }
    const char* name() const { return name_; }

private:
    const char* name_;
    bool on_;
};

bool logEnabled(const char* name);  // is name listed in LUMO_LOG?

}  // namespace lm

// Usage: LLOG(dlog) << "bad packet" << std::endl;
#define LLOG(stream) \
    if (!(stream).on()) { \
    } else \
        (stream).os()
