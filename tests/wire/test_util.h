// Helpers shared by the wire tests: hex text to octets and back, and stdout capture.
#pragma once

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace snmp::test {

using Bytes = std::vector<unsigned char>;

// "30 82 01" -> {0x30, 0x82, 0x01}; whitespace is ignored.
inline Bytes hex(const std::string& text) {
    Bytes out;
    int hi = -1;
    for (char c : text) {
        int v;
        if (c >= '0' && c <= '9') v = c - '0';
        else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
        else continue;
        if (hi < 0) {
            hi = v;
        } else {
            out.push_back(static_cast<unsigned char>(hi * 16 + v));
            hi = -1;
        }
    }
    return out;
}

inline std::string toHex(const unsigned char* p, size_t n) {
    std::string s;
    char b[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(b, sizeof b, i ? " %02x" : "%02x", p[i]);
        s += b;
    }
    return s;
}

inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

// Collects everything written to std::cout while alive.
class CoutCapture {
public:
    CoutCapture() : old_(std::cout.rdbuf(buf_.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(old_); }
    std::string text() const { return buf_.str(); }

private:
    std::ostringstream buf_;
    std::streambuf* old_;
};

}  // namespace snmp::test
