// Reading bus paths, command names and field=value arguments from the command line.
#include "tools/lumoctl/field_args.h"

#include <algorithm>
#include <array>

#include "platform/message_json.h"

namespace lumoctl {

namespace {

bool fail(std::string* error, const std::string& text) {
    if (error) *error = text;
    return false;
}

std::vector<std::string> splitOn(const std::string& text, char sep) {
    std::vector<std::string> parts;
    size_t from = 0;
    for (;;) {
        size_t at = text.find(sep, from);
        parts.push_back(text.substr(from, at == std::string::npos ? std::string::npos : at - from));
        if (at == std::string::npos) return parts;
        from = at + 1;
    }
}

bool parseBool(const std::string& v, bool& out) {
    std::string s = v;
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    if (s != "yes" && s != "true" && s != "1" && s != "no" && s != "false" && s != "0") return false;
    out = s == "yes" || s == "true" || s == "1";
    return true;
}

// Values whose natural command-line form is JSON go through the JSON reader, so they get
// exactly the checks a fixture file or --input gets.
bool mergeAsJson(uint32_t key, const std::string& value, lm::message& into, std::string* error) {
    nlohmann::json v = nlohmann::json::parse(value, nullptr, false);
    if (v.is_discarded()) return fail(error, lm::keyText(key) + ": value is not valid JSON");
    nlohmann::json wrapper = nlohmann::json::object();
    wrapper[lm::keyText(key)] = std::move(v);
    return lm::mergeJson(wrapper, into, error);
}

}  // namespace

bool parseBusPath(const std::string& text, lm::Path& out, std::string* error) {
    std::string body = !text.empty() && text[0] == '/' ? text.substr(1) : text;
    lm::Path path;
    for (const std::string& part : splitOn(body, '/')) {
        uint64_t n;
        if (!lm::parseUnsigned(part, 0xFFFFFFFFu, n))
            return fail(error, "bad path \"" + text + "\": expected PROGRAM/HANDLER such as 20/0");
        path.push_back(uint32_t(n));
    }
    if (path.size() == 1) path.push_back(0);
    out = std::move(path);
    return true;
}

bool parseCommand(const std::string& text, uint32_t& out, std::string* error) {
    static const std::array<std::pair<const char*, uint32_t>, 7> names{{
        {"get", lm::cmd::GET},
        {"set", lm::cmd::SET},
        {"get-all", lm::cmd::GET_ALL},
        {"object-set", lm::cmd::OBJECT_SET},
        {"count", lm::cmd::COUNT},
        {"add", lm::cmd::ADD},
        {"remove", lm::cmd::REMOVE},
    }};
    for (const auto& [name, number] : names)
        if (text == name) {
            out = number;
            return true;
        }
    uint64_t n;
    if (lm::parseUnsigned(text, 0xFFFFFFFFu, n)) {
        out = uint32_t(n);
        return true;
    }
    return fail(error, "unknown command \"" + text +
                           "\": expected get, set, get-all, object-set, count, add, remove or a number");
}

bool parseFieldArg(const std::string& arg, lm::message& into, std::string* error) {
    size_t eq = arg.find('=');
    if (eq == std::string::npos) return fail(error, "\"" + arg + "\": expected KEY=VALUE");
    uint32_t key;
    std::string why;
    if (!lm::parseKey(arg.substr(0, eq), key, &why)) return fail(error, why);
    const std::string value = arg.substr(eq + 1);
    const uint32_t field = lm::fieldOf(key);
    const std::string bad = lm::keyText(key) + " (" + lm::keyTypeName(lm::typeOf(key)) + "): \"" + value + "\" ";
    uint64_t n;

    switch (lm::typeOf(key)) {
    case lm::KT_BOOL: {
        bool b;
        if (!parseBool(value, b)) return fail(error, bad + "is not yes, no, true, false, 1 or 0");
        into.setBool(field, b);
        return true;
    }
    case lm::KT_U32:
        if (!lm::parseUnsigned(value, 0xFFFFFFFFu, n))
            return fail(error, bad + "is not a number 0..4294967295 (decimal or 0x hex)");
        into.setU32(field, uint32_t(n));
        return true;
    case lm::KT_U64:
        if (!lm::parseUnsigned(value, UINT64_MAX, n))
            return fail(error, bad + "is not a 64-bit number (decimal or 0x hex)");
        into.setU64(field, n);
        return true;
    case lm::KT_IP6: {
        lm::IPAddr6 a;
        if (!lm::IPAddr6::parse(value, a)) return fail(error, bad + "is not an IPv6 or IPv4 address");
        into.setIP6(field, a);
        return true;
    }
    case lm::KT_STRING:
        into.setString(field, value);
        return true;
    case lm::KT_RAW: {
        std::string hex = value.size() >= 2 && value[0] == '0' && (value[1] == 'x' || value[1] == 'X')
                              ? value.substr(2) : value;
        return mergeAsJson(key, nlohmann::json(hex).dump(), into, error);
    }
    case lm::KT_U32_ARRAY: {
        if (!value.empty() && value[0] == '[') return mergeAsJson(key, value, into, error);
        std::vector<uint32_t> list;
        if (!value.empty())
            for (const std::string& part : splitOn(value, ',')) {
                if (!lm::parseUnsigned(part, 0xFFFFFFFFu, n))
                    return fail(error, bad + "is not a comma-separated list of numbers");
                list.push_back(uint32_t(n));
            }
        into.setU32Array(field, std::move(list));
        return true;
    }
    case lm::KT_STRING_ARRAY:
        if (!value.empty() && value[0] == '[') return mergeAsJson(key, value, into, error);
        into.setStringArray(field, value.empty() ? std::vector<std::string>{} : splitOn(value, ','));
        return true;
    default:  // messages and message arrays
        return mergeAsJson(key, value, into, error);
    }
}

}  // namespace lumoctl
