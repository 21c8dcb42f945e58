// The codec writes its diagnostics to the log streams (std::cerr); fuzzing needs them
// formatted, the reader's muted "wire" stream included, but not shown. libFuzzer and the
// sanitizers write to the descriptor directly and stay visible.
#pragma once

#include <iostream>
#include <streambuf>

#include "platform/log.h"
#include "wire/in_stream.h"

namespace snmp::fuzz {

class Discard : public std::streambuf {
protected:
    int overflow(int c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

// The sink is never destroyed: the standard streams flush at exit, after function statics
// are gone, and a destroyed buffer there is a crash.
inline void silenceCout() {
    static Discard* const sink = new Discard;
    std::cout.rdbuf(sink);
    std::cerr.rdbuf(sink);
    wireLog().enable(true);
}

}  // namespace snmp::fuzz
