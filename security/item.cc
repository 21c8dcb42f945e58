#include "security/item.h"

#include "security/community_keep.h"
#include "security/usm_crypto.h"

namespace snmp {

namespace {

using namespace itemkey;

// One address element (or the top-level single-address form): the IPv6 pair first, then
// the IPv4 pair. False for an element with neither pair or an impossible prefix length.
bool readPrefix(const lm::message& m, lm::IPPrefix6& out) {
    if (m.hasIP6(IPV6_ADDR) && m.hasU32(IPV6_PREFIX)) {
        uint32_t len = m.getU32(IPV6_PREFIX);
        if (len > 128) return false;
        out = lm::IPPrefix6(m.getIP6(IPV6_ADDR), len);
        return true;
    }
    if (m.hasU32(IPV4_ADDR) && m.hasU32(IPV4_MASK)) {
        lm::IPPrefix6 p;
        p.addr.setIPv4(m.getU32(IPV4_ADDR));
        p.setIPv4Mask(m.getU32(IPV4_MASK));
        out = p;
        return true;
    }
    return false;
}

uint32_t maskOf(const lm::IPPrefix6& p) {
    if (p.isIPv4()) return p.getIPv4Mask();
    return 0;  // the all-zero IPv6 prefix, written in IPv4 form at top level, is "any"
}

void writeIPv4(lm::message& m, const lm::IPPrefix6& p) {
    m.setU32(IPV4_ADDR, p.addr.getIPv4());
    m.setU32(IPV4_MASK, maskOf(p));
}

void writeIPv6(lm::message& m, const lm::IPPrefix6& p) {
    m.setIP6(IPV6_ADDR, p.addr);
    m.setU32(IPV6_PREFIX, p.len);
}

lm::IPPrefix6 anyIPv4() {
    lm::IPPrefix6 p;
    p.addr.setIPv4(0);
    p.setIPv4Mask(0);
    return p;
}

}  // namespace

void Item::setConfig(const lm::message& in, unsigned) {
    if (const std::string* s = in.findString(NAME)) name = *s;
    readAccess = in.getBool(READ_ACCESS, readAccess);
    writeAccess = in.getBool(WRITE_ACCESS, writeAccess);
    if (const std::string* s = in.findString(AUTH_PASSWORD)) authPassword = *s;
    if (const std::string* s = in.findString(PRIV_PASSWORD)) privPassword = *s;
    authProtocol = in.getU32(AUTH_PROTOCOL, authProtocol);
    privProtocol = in.getU32(PRIV_PROTOCOL, privProtocol);

    lm::IPPrefix6 p;
    if (const std::vector<lm::message>* list = in.findMsgArray(ADDRESSES)) {
        addresses.clear();
        for (const lm::message& element : *list)
            if (readPrefix(element, p)) addresses.push_back(p);
    } else if (readPrefix(in, p)) {
        addresses.assign(1, p);
    }
    if (addresses.empty()) addresses.push_back(anyIPv4());

    if (engineReady()) regenerateKeys();
    securityLevel = in.getU32(SECURITY_LEVEL, securityLevel);
}

void Item::getConfig(lm::message& out, unsigned flags) const {
    out.setString(NAME, name);
    out.setBool(READ_ACCESS, readAccess);
    out.setBool(WRITE_ACCESS, writeAccess);
    out.setString(AUTH_PASSWORD, authPassword);
    out.setString(PRIV_PASSWORD, privPassword);
    out.setU32(AUTH_PROTOCOL, authProtocol);
    out.setU32(PRIV_PROTOCOL, privProtocol);
    out.setU32(SECURITY_LEVEL, securityLevel);

    std::vector<lm::message> list;
    list.reserve(addresses.size());
    for (const lm::IPPrefix6& p : addresses) {
        lm::message element;
        if (p.isIPv4())
            writeIPv4(element, p);
        else
            writeIPv6(element, p);
        list.push_back(std::move(element));
    }
    out.setMsgArray(ADDRESSES, std::move(list));

    if ((flags & ITEM_FLAG_SINGLE_ADDRESS) && !addresses.empty()) {
        // Kept deliberately: the all-zero address goes out in IPv4 form here although the
        // array above writes it in IPv6 form.
        const lm::IPPrefix6& first = addresses.front();
        if (first.addr.isIPv4() || first.addr.empty())
            writeIPv4(out, first);
        else
            writeIPv6(out, first);
    }

    out.setBool(IS_DEFAULT, id == 0);

    if ((flags & ITEM_FLAG_DEFAULTS) && id == 0) {
        lm::message any;
        any.setU32(IPV4_ADDR, 0);
        any.setU32(IPV4_MASK, 0);
        lm::message defaults;
        defaults.setString(NAME, "public");
        defaults.setMsgArray(ADDRESSES, {std::move(any)});
        out.setMsg(DEFAULTS, std::move(defaults));
    }
}

bool Item::check(const lm::IPAddr6& source) const {
    for (const lm::IPPrefix6& p : addresses)
        if (p.has(source)) return true;
    return false;
}

void Item::regenerateKeys() {
    static const Octets none;
    regenerateKeys(communityKeep ? communityKeep->engineId() : none);
}

void Item::regenerateKeys(const Octets& engineId) {
    const EVP_MD* md = digestFor(authProtocol);
    if (!md) {  // an unknown protocol number: no keys, so nothing verifies or decrypts
        authKey.clear();
        privKey.clear();
        return;
    }
    authKey = bKeyToDKey(aKeyToBKey(passwordToAKey(authPassword, md), engineId, md), md);
    privKey = aKeyToBKey(passwordToAKey(privPassword, md), engineId, md);
}

}  // namespace snmp
