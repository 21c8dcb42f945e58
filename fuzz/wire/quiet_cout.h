// The codec prints its diagnostics to std::cout; fuzzing only needs them formatted, not shown.
#pragma once

#include <iostream>
#include <streambuf>

namespace snmp::fuzz {

class Discard : public std::streambuf {
protected:
    int overflow(int c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

inline void silenceCout() {
    static Discard sink;
    std::cout.rdbuf(&sink);
}

}  // namespace snmp::fuzz
