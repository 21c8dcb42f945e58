// Small helpers shared by the security tests.
#pragma once

#include <string>

#include "wire/v3info.h"

namespace snmp::test {

inline Octets hex(const std::string& text) {
    Octets out;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return out;
}

inline std::string toHex(const Octets& data) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char b : data) {
        out += digits[b >> 4];
        out += digits[b & 15];
    }
    return out;
}

}  // namespace snmp::test
