#include "wire/uber_stream.h"

#include <ostream>
#include <string>

namespace snmp {

void UberStream::dump(std::ostream& os) const {
    static const char hex[] = "0123456789abcdef";
    std::string line;
    line.reserve(16 * 3 + 1);
    for (size_t i = 0; i < buf_.size(); ++i) {
        line.push_back(hex[buf_[i] >> 4]);
        line.push_back(hex[buf_[i] & 0x0F]);
        line.push_back(' ');
        if (i % 16 == 15) {
            line.push_back('\n');
            os << line;
            line.clear();
        }
    }
    if (!line.empty() || buf_.empty()) {
        line.push_back('\n');
        os << line;
    }
}

}  // namespace snmp
