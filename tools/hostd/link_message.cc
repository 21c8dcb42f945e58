#include "tools/hostd/link_message.h"

#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstring>

namespace hostd {

namespace {

// Counters of IFLA_STATS64 / IFLA_STATS in their kernel order; only these lead fields are
// read, so a shorter struct from an older kernel still serves.
constexpr size_t LEAD_COUNTERS = 8;

template <typename T>
T load(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// A string attribute: up to its first NUL, or all of it when unterminated.
std::string attrString(const uint8_t* p, size_t len) {
    const void* nul = std::memchr(p, 0, len);
    return std::string(reinterpret_cast<const char*>(p),
                       nul ? size_t(static_cast<const uint8_t*>(nul) - p) : len);
}

struct Attr {
    uint16_t type;
    const uint8_t* data;
    size_t len;
};

// Calls visit for each attribute in [p, p + len). False when one overruns the area.
template <typename Visit>
bool forEachAttr(const uint8_t* p, size_t len, Visit visit, std::string& why) {
    size_t off = 0;
    while (len - off >= sizeof(rtattr)) {
        const auto attrLen = load<uint16_t>(p + off + offsetof(rtattr, rta_len));
        const auto type = load<uint16_t>(p + off + offsetof(rtattr, rta_type));
        if (attrLen < sizeof(rtattr) || attrLen > len - off) {
            why = "attribute " + std::to_string(type & NLA_TYPE_MASK) + " of length " +
                  std::to_string(attrLen) + " overruns the " + std::to_string(len - off) +
                  " octets left";
            return false;
        }
        visit(Attr{uint16_t(type & NLA_TYPE_MASK), p + off + sizeof(rtattr), attrLen - sizeof(rtattr)});
        off += RTA_ALIGN(attrLen);
        if (off > len) break;  // padding of the last attribute may be missing
    }
    return true;
}

template <typename Counter>
LinkStats readStats(const uint8_t* p) {
    Counter c[LEAD_COUNTERS];
    std::memcpy(c, p, sizeof c);
    LinkStats s;
    s.rxPackets = c[0];
    s.txPackets = c[1];
    s.rxBytes = c[2];
    s.txBytes = c[3];
    s.rxErrors = c[4];
    s.txErrors = c[5];
    s.rxDropped = c[6];
    s.txDropped = c[7];
    return s;
}

}  // namespace

bool forEachMessage(const uint8_t* data, size_t len, const MessageVisitor& visit, std::string& why) {
    size_t off = 0;
    while (len - off >= sizeof(nlmsghdr)) {
        const auto msgLen = load<uint32_t>(data + off + offsetof(nlmsghdr, nlmsg_len));
        const auto type = load<uint16_t>(data + off + offsetof(nlmsghdr, nlmsg_type));
        if (msgLen < sizeof(nlmsghdr) || msgLen > len - off) {
            why = "message of length " + std::to_string(msgLen) + " overruns the " +
                  std::to_string(len - off) + " octets left";
            return false;
        }
        if (!visit(type, data + off, msgLen)) return true;
        off += NLMSG_ALIGN(msgLen);
        if (off > len) break;
    }
    if (off < len) {
        why = std::to_string(len - off) + " octets left over after the last message";
        return false;
    }
    return true;
}

bool parseLink(const uint8_t* data, size_t len, LinkInfo& out, std::string& why) {
    constexpr size_t HEAD = NLMSG_LENGTH(sizeof(ifinfomsg));
    if (len < HEAD) {
        why = "link message of " + std::to_string(len) + " octets, shorter than its header";
        return false;
    }
    const auto type = load<uint16_t>(data + offsetof(nlmsghdr, nlmsg_type));
    if (type != RTM_NEWLINK && type != RTM_DELLINK) {
        why = "message type " + std::to_string(type) + " is not a link";
        return false;
    }
    const auto msgLen = load<uint32_t>(data + offsetof(nlmsghdr, nlmsg_len));
    if (msgLen < HEAD || msgLen > len) {
        why = "link message claims " + std::to_string(msgLen) + " octets, has " + std::to_string(len);
        return false;
    }
    const uint8_t* ifi = data + NLMSG_HDRLEN;
    LinkInfo link;
    const auto index = load<int32_t>(ifi + offsetof(ifinfomsg, ifi_index));
    if (index <= 0) {
        why = "link message without an interface index";
        return false;
    }
    link.index = uint32_t(index);
    link.family = load<uint8_t>(ifi + offsetof(ifinfomsg, ifi_family));
    link.type = load<uint16_t>(ifi + offsetof(ifinfomsg, ifi_type));
    link.flags = load<uint32_t>(ifi + offsetof(ifinfomsg, ifi_flags));

    std::optional<LinkStats> stats32, stats64;
    bool nestedOk = true;
    const size_t attrsAt = NLMSG_ALIGN(HEAD);
    const size_t attrsLen = msgLen > attrsAt ? msgLen - attrsAt : 0;
    const bool ok = forEachAttr(data + attrsAt, attrsLen, [&](const Attr& a) {
        switch (a.type) {
        case IFLA_IFNAME: link.name = attrString(a.data, a.len); break;
        case IFLA_IFALIAS: link.alias = attrString(a.data, a.len); break;
        case IFLA_ADDRESS: link.address.assign(a.data, a.data + a.len); break;
        case IFLA_MTU:
            if (a.len >= sizeof(uint32_t)) link.mtu = load<uint32_t>(a.data);
            break;
        case IFLA_STATS64:
            if (a.len >= LEAD_COUNTERS * sizeof(uint64_t)) stats64 = readStats<uint64_t>(a.data);
            break;
        case IFLA_STATS:
            if (a.len >= LEAD_COUNTERS * sizeof(uint32_t)) stats32 = readStats<uint32_t>(a.data);
            break;
        case IFLA_LINKINFO:
            nestedOk = forEachAttr(a.data, a.len, [&](const Attr& info) {
                if (info.type == IFLA_INFO_KIND) link.kind = attrString(info.data, info.len);
            }, why);
            break;
        default: break;
        }
    }, why);
    if (!ok || !nestedOk) {
        why = "link " + std::to_string(link.index) + ": " + why;
        return false;
    }
    if (link.name.empty()) {
        why = "link " + std::to_string(link.index) + " has no name";
        return false;
    }
    link.stats = stats64 ? stats64 : stats32;
    out = std::move(link);
    return true;
}

}  // namespace hostd
