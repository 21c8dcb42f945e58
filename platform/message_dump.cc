// Readable dump of lm::message for logs and lumoctl.
#include <cstdio>
#include <ostream>
#include <sstream>

#include "platform/message.h"
#include "platform/message_field.h"

namespace lm {

const char* keyTypeName(uint32_t type) {
    switch (type) {
    case KT_BOOL: return "bool";
    case KT_U32: return "u32";
    case KT_U64: return "u64";
    case KT_IP6: return "ip6";
    case KT_STRING: return "string";
    case KT_MSG: return "msg";
    case KT_RAW: return "raw";
    case KT_U32_ARRAY: return "u32[]";
    case KT_STRING_ARRAY: return "string[]";
    case KT_MSG_ARRAY: return "msg[]";
    default: return "?";
    }
}

namespace {

using Field = message::Field;

void quoted(std::ostream& os, const std::string& s) {
    os << '"';
    for (unsigned char c : s) {
        switch (c) {
        case '"': os << "\\\""; break;
        case '\\': os << "\\\\"; break;
        case '\n': os << "\\n"; break;
        case '\r': os << "\\r"; break;
        case '\t': os << "\\t"; break;
        default:
            if (c >= 0x20 && c < 0x7F) {
                os << c;
            } else {
                char b[8];
                snprintf(b, sizeof b, "\\x%02x", c);
                os << b;
            }
        }
    }
    os << '"';
}

void hexOf(std::ostream& os, const bytes& r) {
    if (r.empty()) {
        os << "(empty)";
        return;
    }
    static const char digits[] = "0123456789abcdef";
    std::string s;
    s.reserve(r.size() * 2);
    for (uint8_t b : r) {
        s += digits[b >> 4];
        s += digits[b & 15];
    }
    os << s;
}

void dumpField(std::ostream& os, const Field& f, const std::string& prefix) {
    char key[16];
    snprintf(key, sizeof key, "0x%08X", f.key);
    os << prefix << key << ' ' << keyTypeName(typeOf(f.key));
    const std::string inner = prefix + "  ";
    switch (typeOf(f.key)) {
    case KT_BOOL: os << " = " << (std::get<bool>(f.value) ? "true" : "false") << '\n'; break;
    case KT_U32: os << " = " << std::get<uint32_t>(f.value) << '\n'; break;
    case KT_U64: os << " = " << std::get<uint64_t>(f.value) << '\n'; break;
    case KT_IP6: os << " = " << std::get<IPAddr6>(f.value).str() << '\n'; break;
    case KT_STRING:
        os << " = ";
        quoted(os, std::get<std::string>(f.value));
        os << '\n';
        break;
    case KT_RAW:
        os << " = ";
        hexOf(os, std::get<bytes>(f.value));
        os << '\n';
        break;
    case KT_MSG:
        os << '\n';
        std::get<std::vector<message>>(f.value).front().dump(os, inner);
        break;
    case KT_U32_ARRAY: {
        const auto& v = std::get<std::vector<uint32_t>>(f.value);
        os << " count " << v.size() << '\n';
        for (size_t i = 0; i < v.size(); ++i) os << inner << '[' << i << "] = " << v[i] << '\n';
        break;
    }
    case KT_STRING_ARRAY: {
        const auto& v = std::get<std::vector<std::string>>(f.value);
        os << " count " << v.size() << '\n';
        for (size_t i = 0; i < v.size(); ++i) {
            os << inner << '[' << i << "] = ";
            quoted(os, v[i]);
            os << '\n';
        }
        break;
    }
    case KT_MSG_ARRAY: {
        const auto& v = std::get<std::vector<message>>(f.value);
        os << " count " << v.size() << '\n';
        for (size_t i = 0; i < v.size(); ++i) {
            os << inner << '[' << i << "]\n";
            v[i].dump(os, inner + "  ");
        }
        break;
    }
    default: os << '\n'; break;
    }
}

}  // namespace

void message::dump(std::ostream& os, const std::string& prefix) const {
    for (const Field& f : fields_) dumpField(os, f, prefix);
}

std::string message::toString() const {
    std::ostringstream os;
    dump(os);
    return os.str();
}

std::ostream& operator<<(std::ostream& os, const message& m) { return os << m.toString(); }

}  // namespace lm
