#include "tools/lumoctl/snmp_values.h"

#include <arpa/inet.h>

#include <algorithm>

#include "platform/message_json.h"
#include "security/item.h"

namespace lumoctl::snmpval {

namespace {

using snmp::itemkey::IPV4_ADDR;
using snmp::itemkey::IPV4_MASK;
using snmp::itemkey::IPV6_ADDR;
using snmp::itemkey::IPV6_PREFIX;

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

std::string trimmed(const std::string& s) {
    const size_t first = s.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

// "a, b,c" → a b c; blanks around items are forgiven, empty items are kept (and refused by
// the item parsers). An empty or blank text is an empty list.
std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> parts;
    if (trimmed(text).empty()) return parts;
    size_t from = 0;
    for (;;) {
        size_t at = text.find(',', from);
        parts.push_back(trimmed(text.substr(from, at == std::string::npos ? std::string::npos : at - from)));
        if (at == std::string::npos) return parts;
        from = at + 1;
    }
}

bool parseU32(const std::string& text, uint32_t& out) {
    uint64_t n;
    if (!lm::parseUnsigned(text, 0xFFFFFFFFu, n)) return false;
    out = uint32_t(n);
    return true;
}

// Looks text up in a list of (word, value) pairs, ignoring case.
template <size_t N>
bool lookUp(const std::string& text, const std::pair<const char*, uint32_t> (&words)[N], uint32_t& out) {
    const std::string l = lower(text);
    for (const auto& [word, value] : words)
        if (l == word) {
            out = value;
            return true;
        }
    return false;
}

bool contiguous(uint32_t hostOrderMask) { return (hostOrderMask & (~hostOrderMask >> 1)) == 0; }

}  // namespace

bool parseSwitch(const std::string& text, bool& out) {
    static const std::pair<const char*, uint32_t> words[] = {
        {"yes", 1}, {"on", 1}, {"true", 1}, {"no", 0}, {"off", 0}, {"false", 0}};
    uint32_t v;
    if (!lookUp(text, words, v)) return false;
    out = v != 0;
    return true;
}

std::string switchText(bool v) { return v ? "yes" : "no"; }

bool parseTrapVersion(const std::string& text, uint32_t& out) {
    static const std::pair<const char*, uint32_t> words[] = {{"1", 0}, {"2c", 1}, {"3", 3}};
    return lookUp(text, words, out);
}

std::string trapVersionText(uint32_t stored) {
    return stored == 0 ? "1" : stored == 3 ? "3" : "2c";
}

bool parseGenerators(const std::string& text, std::vector<uint32_t>& out) {
    static const std::pair<const char*, uint32_t> words[] = {
        {"start", START_TRAP}, {"interfaces", INTERFACES_GENERATOR}};
    std::vector<uint32_t> list;
    for (const std::string& part : splitList(text)) {
        uint32_t id;
        if (!lookUp(part, words, id) && !parseU32(part, id)) return false;
        list.push_back(id);
    }
    out = std::move(list);
    return true;
}

std::string generatorText(uint32_t id) {
    if (id == START_TRAP) return "start";
    if (id == INTERFACES_GENERATOR) return "interfaces";
    return std::to_string(id);
}

bool parseInterfaceFilter(const std::string& text, std::vector<uint32_t>& out) {
    if (lower(text) == "all") {
        out.clear();
        return true;
    }
    if (trimmed(text).empty()) return false;  // "all" says it; an empty filter would read the same
    std::vector<uint32_t> list;
    for (const std::string& part : splitList(text)) {
        uint32_t id;
        if (!parseU32(part, id)) return false;
        list.push_back(id);
    }
    out = std::move(list);
    return true;
}

bool parseAddresses(const std::string& text, std::vector<lm::IPAddr6>& out) {
    std::vector<lm::IPAddr6> list;
    for (const std::string& part : splitList(text)) {
        lm::IPAddr6 a;
        if (!lm::IPAddr6::parse(part, a)) return false;
        list.push_back(a);
    }
    out = std::move(list);
    return true;
}

lm::message targetElement(const lm::IPAddr6& target) {
    lm::message e;
    if (target.isIPv4())
        e.setU32(setting::TARGET_IPV4, target.getIPv4());
    else
        e.setIP6(setting::TARGET_IPV6, target);
    return e;
}

bool targetOf(const lm::message& element, lm::IPAddr6& out) {
    if (element.hasIP6(setting::TARGET_IPV6)) {
        out = element.getIP6(setting::TARGET_IPV6);
        return true;
    }
    if (element.hasU32(setting::TARGET_IPV4)) {
        out = lm::IPAddr6::fromIPv4(element.getU32(setting::TARGET_IPV4));
        return true;
    }
    return false;
}

bool parsePrefixes(const std::string& text, std::vector<lm::message>& elements) {
    std::vector<lm::message> list;
    for (const std::string& part : splitList(text)) {
        lm::IPPrefix6 p;
        if (!lm::IPPrefix6::parse(part, p)) return false;
        // IPPrefix6 reads a broken mask by its leading ones; an operator meant something else.
        const size_t slash = part.find('/');
        if (slash != std::string::npos && part.find('.', slash) != std::string::npos) {
            in_addr mask;
            if (inet_pton(AF_INET, part.c_str() + slash + 1, &mask) != 1 || !contiguous(ntohl(mask.s_addr)))
                return false;
        }
        lm::message e;
        if (p.isIPv4()) {
            e.setU32(IPV4_ADDR, p.addr.getIPv4());
            e.setU32(IPV4_MASK, p.getIPv4Mask());
        } else {
            e.setIP6(IPV6_ADDR, p.addr);
            e.setU32(IPV6_PREFIX, p.len);
        }
        list.push_back(std::move(e));
    }
    elements = std::move(list);
    return true;
}

std::string prefixText(const lm::message& element) {
    if (element.hasIP6(IPV6_ADDR) && element.hasU32(IPV6_PREFIX))
        return element.getIP6(IPV6_ADDR).str() + "/" + std::to_string(element.getU32(IPV6_PREFIX));
    if (element.hasU32(IPV4_ADDR) && element.hasU32(IPV4_MASK)) {
        const std::string addr = lm::IPAddr6::fromIPv4(element.getU32(IPV4_ADDR)).str();
        const uint32_t mask = ntohl(element.getU32(IPV4_MASK));
        if (!contiguous(mask)) return addr + "/" + lm::IPAddr6::fromIPv4(htonl(mask)).str();
        int ones = 0;
        while (ones < 32 && (mask & (0x80000000u >> ones))) ++ones;
        return addr + "/" + std::to_string(ones);
    }
    return "";
}

bool parseSecurityLevel(const std::string& text, uint32_t& out) {
    static const std::pair<const char*, uint32_t> words[] = {
        {"noauth", 0}, {"auth", 1}, {"priv", 2}, {"0", 0}, {"1", 1}, {"2", 2},
        {"noauthnopriv", 0}, {"authnopriv", 1}, {"authpriv", 2}};
    return lookUp(text, words, out);
}

std::string securityLevelText(uint32_t level) {
    static const char* const names[] = {"noauth", "auth", "priv"};
    return level < 3 ? names[level] : std::to_string(level);
}

bool parseAuthProtocol(const std::string& text, uint32_t& out) {
    // The numbers are the agent's digest table: 0 and 1 as they always were, then SHA-2.
    static const std::pair<const char*, uint32_t> words[] = {
        {"md5", 0},    {"sha", 1},    {"sha1", 1},   {"sha224", 2},
        {"sha256", 3}, {"sha384", 4}, {"sha512", 5}};
    return lookUp(text, words, out);
}

std::string authProtocolText(uint32_t protocol) {
    static const char* const names[] = {"md5", "sha", "sha224", "sha256", "sha384", "sha512"};
    return protocol < 6 ? names[protocol] : std::to_string(protocol);
}

bool parsePrivProtocol(const std::string& text, uint32_t& out) {
    static const std::pair<const char*, uint32_t> words[] = {{"des", 0}, {"aes", 1}};
    return lookUp(text, words, out);
}

std::string privProtocolText(uint32_t protocol) { return protocol == 0 ? "des" : "aes"; }

}  // namespace lumoctl::snmpval
