// JSON conversion of lm::message; see message_json.h for the form.
#include "platform/message_json.h"

#include <cstdio>

namespace lm {

using nlohmann::json;

namespace {

bool knownType(uint32_t type) {
    switch (type) {
    case KT_BOOL: case KT_U32: case KT_U64: case KT_IP6: case KT_STRING: case KT_MSG:
    case KT_RAW: case KT_U32_ARRAY: case KT_STRING_ARRAY: case KT_MSG_ARRAY:
        return true;
    default:
        return false;
    }
}

std::string hexOf(const bytes& b) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    s.reserve(b.size() * 2);
    for (uint8_t c : b) {
        s += digits[c >> 4];
        s += digits[c & 15];
    }
    return s;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool bytesOfHex(const std::string& s, bytes& out) {
    if (s.size() % 2) return false;
    out.clear();
    out.reserve(s.size() / 2);
    for (size_t i = 0; i < s.size(); i += 2) {
        int hi = hexDigit(s[i]), lo = hexDigit(s[i + 1]);
        if (hi < 0 || lo < 0) return false;
        out.push_back(uint8_t(hi << 4 | lo));
    }
    return true;
}

json toJsonAt(const message& m);

json valueToJson(const message& m, uint32_t key) {
    const uint32_t f = fieldOf(key);
    switch (typeOf(key)) {
    case KT_BOOL: return m.getBool(f);
    case KT_U32: return m.getU32(f);
    case KT_U64: return m.getU64(f);
    case KT_IP6: return m.getIP6(f).str();
    case KT_STRING: return m.getString(f);
    case KT_MSG: {
        const message* sub = m.findMsg(f);
        return sub ? toJsonAt(*sub) : json::object();
    }
    case KT_RAW: {
        const bytes* b = m.findRaw(f);
        return b ? hexOf(*b) : std::string();
    }
    case KT_U32_ARRAY: {
        const auto* v = m.findU32Array(f);
        return v ? json(*v) : json::array();
    }
    case KT_STRING_ARRAY: {
        const auto* v = m.findStringArray(f);
        return v ? json(*v) : json::array();
    }
    case KT_MSG_ARRAY: {
        json a = json::array();
        if (const auto* v = m.findMsgArray(f))
            for (const message& e : *v) a.push_back(toJsonAt(e));
        return a;
    }
    default:
        return nullptr;  // a message never holds other types
    }
}

json toJsonAt(const message& m) {
    json j = json::object();
    for (uint32_t key : m.keys()) j[keyText(key)] = valueToJson(m, key);
    return j;
}

// A short quote of the offending value for error lines.
std::string quote(const json& v) {
    std::string s = v.dump(-1, ' ', false, json::error_handler_t::replace);
    if (s.size() > 40) s = s.substr(0, 37) + "...";
    return s;
}

class Reader {
public:
    explicit Reader(std::string* error) : error_(error) {}

    bool object(const json& j, message& out, const std::string& where, unsigned depth) {
        if (!j.is_object()) return fail(where, "expected an object, got " + quote(j));
        if (depth > MAX_DEPTH) return fail(where, "nested deeper than " + std::to_string(MAX_DEPTH));
        for (const auto& [name, value] : j.items()) {
            uint32_t key;
            std::string why;
            if (!parseKey(name, key, &why)) return fail(where, why);
            const std::string here = where.empty() ? keyText(key) : where + " " + keyText(key);
            if (!field(value, key, out, here, depth)) return false;
        }
        return true;
    }

private:
    bool fail(const std::string& where, const std::string& what) {
        // A deep path is cut short: the start says where, the reason says what.
        const std::string at = where.size() > 80 ? where.substr(0, 76) + " ..." : where;
        if (error_) *error_ = at.empty() ? what : "key " + at + ": " + what;
        return false;
    }

    bool number(const json& v, uint64_t max, uint64_t& out, const std::string& where) {
        // Parsed text gives unsigned numbers; JSON built in code may hold signed ones.
        if (v.is_number_integer()) {
            const bool negative = !v.is_number_unsigned() && v.get<int64_t>() < 0;
            if (!negative && v.get<uint64_t>() <= max) {
                out = v.get<uint64_t>();
                return true;
            }
            return fail(where, "number " + quote(v) + " out of range 0.." + std::to_string(max));
        }
        if (v.is_number_float()) return fail(where, "expected a whole number, got " + quote(v));
        return fail(where, "expected a number, got " + quote(v));
    }

    bool u32(const json& v, uint32_t& out, const std::string& where) {
        uint64_t n;
        if (!number(v, 0xFFFFFFFFu, n, where)) return false;
        out = uint32_t(n);
        return true;
    }

    bool text(const json& v, const std::string*& out, const std::string& where) {
        if (!v.is_string()) return fail(where, "expected a string, got " + quote(v));
        out = v.get_ptr<const std::string*>();
        return true;
    }

    bool array(const json& v, const std::string& where) {
        return v.is_array() || fail(where, "expected an array, got " + quote(v));
    }

    bool field(const json& v, uint32_t key, message& out, const std::string& where, unsigned depth) {
        const uint32_t f = fieldOf(key);
        const std::string* s = nullptr;
        switch (typeOf(key)) {
        case KT_BOOL:
            if (!v.is_boolean()) return fail(where, "expected true or false, got " + quote(v));
            out.setBool(f, v.get<bool>());
            return true;
        case KT_U32: {
            uint32_t n;
            if (!u32(v, n, where)) return false;
            out.setU32(f, n);
            return true;
        }
        case KT_U64: {
            uint64_t n;
            if (!number(v, UINT64_MAX, n, where)) return false;
            out.setU64(f, n);
            return true;
        }
        case KT_IP6: {
            IPAddr6 a;
            if (!text(v, s, where)) return false;
            if (!IPAddr6::parse(*s, a)) return fail(where, "not an IP address: " + quote(v));
            out.setIP6(f, a);
            return true;
        }
        case KT_STRING:
            if (!text(v, s, where)) return false;
            out.setString(f, *s);
            return true;
        case KT_MSG: {
            message sub;
            if (!object(v, sub, where, depth + 1)) return false;
            out.setMsg(f, std::move(sub));
            return true;
        }
        case KT_RAW: {
            bytes b;
            if (!text(v, s, where)) return false;
            if (!bytesOfHex(*s, b)) return fail(where, "expected hex octets, got " + quote(v));
            out.setRaw(f, std::move(b));
            return true;
        }
        case KT_U32_ARRAY: {
            if (!array(v, where)) return false;
            std::vector<uint32_t> list;
            for (size_t i = 0; i < v.size(); ++i) {
                uint32_t n;
                if (!u32(v[i], n, where + "[" + std::to_string(i) + "]")) return false;
                list.push_back(n);
            }
            out.setU32Array(f, std::move(list));
            return true;
        }
        case KT_STRING_ARRAY: {
            if (!array(v, where)) return false;
            std::vector<std::string> list;
            for (size_t i = 0; i < v.size(); ++i) {
                if (!text(v[i], s, where + "[" + std::to_string(i) + "]")) return false;
                list.push_back(*s);
            }
            out.setStringArray(f, std::move(list));
            return true;
        }
        case KT_MSG_ARRAY: {
            if (!array(v, where)) return false;
            std::vector<message> list;
            list.reserve(v.size());
            for (size_t i = 0; i < v.size(); ++i) {
                message sub;
                if (!object(v[i], sub, where + "[" + std::to_string(i) + "]", depth + 1)) return false;
                list.push_back(std::move(sub));
            }
            out.setMsgArray(f, std::move(list));
            return true;
        }
        default:
            return fail(where, "type bits not carried by messages");  // parseKey rules this out
        }
    }

    std::string* error_;
};

}  // namespace

json toJson(const message& m) { return toJsonAt(m); }

bool fromJson(const json& j, message& out, std::string* error) {
    out.clear();
    message m;
    if (!Reader(error).object(j, m, "", 0)) return false;
    out = std::move(m);
    return true;
}

bool mergeJson(const json& j, message& into, std::string* error) {
    message m;
    if (!Reader(error).object(j, m, "", 0)) return false;
    for (uint32_t key : m.keys()) copyField(m, key, into);
    return true;
}

void copyField(const message& from, uint32_t key, message& to) {
    if (!from.has(key)) return;
    const uint32_t f = fieldOf(key);
    switch (typeOf(key)) {
    case KT_BOOL: to.setBool(f, from.getBool(f)); break;
    case KT_U32: to.setU32(f, from.getU32(f)); break;
    case KT_U64: to.setU64(f, from.getU64(f)); break;
    case KT_IP6: to.setIP6(f, from.getIP6(f)); break;
    case KT_STRING: to.setString(f, from.getString(f)); break;
    case KT_MSG: if (auto* v = from.findMsg(f)) to.setMsg(f, *v); break;
    case KT_RAW: if (auto* v = from.findRaw(f)) to.setRaw(f, *v); break;
    case KT_U32_ARRAY: if (auto* v = from.findU32Array(f)) to.setU32Array(f, *v); break;
    case KT_STRING_ARRAY: if (auto* v = from.findStringArray(f)) to.setStringArray(f, *v); break;
    case KT_MSG_ARRAY: if (auto* v = from.findMsgArray(f)) to.setMsgArray(f, *v); break;
    default: break;
    }
}

std::string keyText(uint32_t key) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", key);
    return buf;
}

bool parseUnsigned(const std::string& text, uint64_t max, uint64_t& out) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const size_t start = hex ? 2 : 0;
    const uint64_t base = hex ? 16 : 10;
    if (text.size() == start) return false;
    uint64_t n = 0;
    for (size_t i = start; i < text.size(); ++i) {
        int d = hex ? hexDigit(text[i]) : (text[i] >= '0' && text[i] <= '9' ? text[i] - '0' : -1);
        if (d < 0 || uint64_t(d) > max) return false;
        if (n > (max - uint64_t(d)) / base) return false;  // n * base + d would exceed max
        n = n * base + uint64_t(d);
    }
    out = n;
    return true;
}

bool parseKey(const std::string& text, uint32_t& key, std::string* error) {
    uint64_t n;
    if (!parseUnsigned(text, 0xFFFFFFFFu, n)) {
        if (error) *error = "bad key \"" + text.substr(0, 40) + "\": expected a 32-bit number such as 0x08FE0001";
        return false;
    }
    if (!knownType(typeOf(uint32_t(n)))) {
        if (error) *error = "bad key " + keyText(uint32_t(n)) + ": unknown type bits";
        return false;
    }
    key = uint32_t(n);
    return true;
}

}  // namespace lm
