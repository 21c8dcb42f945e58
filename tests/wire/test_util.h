// Shared by the wire tests: hex text to octets and back, and capture of the codec's log lines.
#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/log.h"
#include "wire/in_stream.h"

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

// Collects every log line written while alive (the streams all write to std::cerr). The
// reader's "wire" stream is switched on unless asked not to, as LUMO_LOG=wire would.
class LogCapture {
public:
    explicit LogCapture(bool wire = true)
        : wasOn_(snmp::wireLog().on()), old_(std::cerr.rdbuf(buf_.rdbuf())) {
        snmp::wireLog().enable(wire);
    }
    ~LogCapture() {
        std::cerr.rdbuf(old_);
        snmp::wireLog().enable(wasOn_);
    }
    std::string text() const { return buf_.str(); }

private:
    bool wasOn_;
    std::ostringstream buf_;
    std::streambuf* old_;
};

}  // namespace snmp::test
