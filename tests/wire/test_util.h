// Shared by the wire tests: hex text to octets and back, and capture of std::cout.
#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace snmp::test {

using Bytes = std::vector<unsigned char>;

// "30 82 01" -> {0x30, 0x82, 0x01}: two hex digits per octet, octets separated by blanks.
inline Bytes hex(const std::string& text) {
    Bytes out;
    std::istringstream in(text);
    for (std::string octet; in >> octet;)
        out.push_back(static_cast<unsigned char>(std::stoul(octet, nullptr, 16)));
    return out;
}

inline std::string toHex(const unsigned char* p, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        if (i) s += ' ';
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

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
