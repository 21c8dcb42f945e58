#include "tools/hostd/rtnetlink.h"

#include <errno.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tools/hostd/interfaces_log.h"

namespace hostd {

namespace {

// A dump datagram holds at most 32 KiB; twice that leaves room for any kernel's choice.
constexpr size_t RECEIVE_BUFFER = 64 * 1024;
// A kernel that does not answer within this long has failed the request.
constexpr time_t REPLY_TIMEOUT_S = 5;
// Announcements of thousands of links created at once must not overflow the monitor.
constexpr int MONITOR_BUFFER = 8 * 1024 * 1024;

UniqueFd openRoute(int flags, std::string& why) {
    UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | flags, NETLINK_ROUTE));
    if (!fd) why = std::string("netlink socket: ") + std::strerror(errno);
    return fd;
}

// A link request: the header, the ifinfomsg and at most one attribute, built in place and
// copied out whole (GCC 12 at -O3 misreads attributes appended to a vector as writes out
// of bounds).
std::vector<uint8_t> linkRequest(uint16_t type, uint16_t flags, uint32_t index,
                                 uint16_t attrType = 0, const void* data = nullptr, size_t len = 0) {
    struct {
        nlmsghdr h;
        ifinfomsg ifi;
        rtattr attr;
        uint8_t value[IFALIASZ];
    } req{};
    static_assert(offsetof(decltype(req), attr) == NLMSG_SPACE(sizeof(ifinfomsg)));
    len = std::min<size_t>(len, sizeof req.value);
    req.h.nlmsg_len = uint32_t(NLMSG_SPACE(sizeof(ifinfomsg)) + (attrType ? RTA_SPACE(len) : 0));
    req.h.nlmsg_type = type;
    req.h.nlmsg_flags = uint16_t(NLM_F_REQUEST | flags);
    req.ifi.ifi_family = AF_UNSPEC;
    req.ifi.ifi_index = int(index);
    if (attrType) {
        req.attr.rta_len = uint16_t(RTA_LENGTH(len));
        req.attr.rta_type = attrType;
        if (len) std::memcpy(req.value, data, len);
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(&req);
    return std::vector<uint8_t>(bytes, bytes + req.h.nlmsg_len);
}

// One datagram: its length, or a negative errno with why. A datagram larger than the
// buffer is consumed and refused (-EMSGSIZE) rather than read cut short; one from anyone
// but the kernel is ignored (length 0).
ssize_t receiveDatagram(int fd, std::vector<uint8_t>& buf, int flags, std::string& why) {
    buf.resize(RECEIVE_BUFFER);
    iovec iov{buf.data(), buf.size()};
    sockaddr_nl from{};
    msghdr mh{};
    mh.msg_name = &from;
    mh.msg_namelen = sizeof from;
    mh.msg_iov = &iov;
    mh.msg_iovlen = 1;
    const ssize_t n = recvmsg(fd, &mh, flags);
    if (n < 0) {
        const int error = errno;
        why = std::string("netlink receive: ") + std::strerror(error);
        return -error;
    }
    if (mh.msg_flags & MSG_TRUNC) {
        why = "netlink datagram larger than " + std::to_string(RECEIVE_BUFFER) + " octets";
        return -EMSGSIZE;
    }
    return from.nl_pid == 0 ? n : 0;
}

// The errno of an NLMSG_ERROR message (0 is an acknowledgement); EPROTO when cut short.
int errorOf(const uint8_t* data, size_t len) {
    if (len < NLMSG_LENGTH(sizeof(nlmsgerr))) return EPROTO;
    nlmsgerr e;
    std::memcpy(&e, data + NLMSG_HDRLEN, sizeof e);
    return -e.error;
}

}  // namespace

bool RtnetlinkRequests::open(std::string& why) {
    fd_ = openRoute(0, why);
    if (!fd_) return false;
    timeval tv{REPLY_TIMEOUT_S, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    sockaddr_nl addr{};
    addr.nl_family = AF_NETLINK;
    if (bind(fd_.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        why = std::string("netlink bind: ") + std::strerror(errno);
        fd_.reset();
        return false;
    }
    return true;
}

bool RtnetlinkRequests::send(std::vector<uint8_t>& request, std::string& why) {
    if (!fd_) {
        why = "netlink socket not open";
        return false;
    }
    const uint32_t seq = ++seq_;
    std::memcpy(request.data() + offsetof(nlmsghdr, nlmsg_seq), &seq, sizeof seq);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (sendto(fd_.get(), request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&kernel),
               sizeof kernel) != ssize_t(request.size())) {
        why = std::string("netlink send: ") + std::strerror(errno);
        return false;
    }
    return true;
}

int RtnetlinkRequests::receive(
    const std::function<bool(uint16_t type, const uint8_t* data, size_t len)>& onMessage,
    std::string& why) {
    std::vector<uint8_t> buf;
    for (;;) {
        const ssize_t n = receiveDatagram(fd_.get(), buf, 0, why);
        if (n < 0) return int(-n);
        bool done = false;
        int error = 0;
        std::string bad;
        const bool whole = forEachMessage(buf.data(), size_t(n), [&](uint16_t type, const uint8_t* data, size_t len) {
            uint32_t seq;
            std::memcpy(&seq, data + offsetof(nlmsghdr, nlmsg_seq), sizeof seq);
            if (seq != seq_) return true;  // a late answer to an abandoned request
            if (type == NLMSG_DONE) {
                done = true;
                return false;
            }
            if (type == NLMSG_ERROR) {
                error = errorOf(data, len);
                done = true;
                return false;
            }
            done = onMessage(type, data, len);
            return !done;
        }, bad);
        if (!whole) {
            LLOG(interfacesLog()) << "interfaces: netlink reply dropped: " << bad << std::endl;
        }
        if (error) {
            why = std::strerror(error);
            return error;
        }
        if (done) return 0;
    }
}

bool RtnetlinkRequests::dumpLinks(std::vector<LinkInfo>& out, std::string& why) {
    std::vector<uint8_t> req = linkRequest(RTM_GETLINK, NLM_F_DUMP, 0);
    if (!send(req, why)) return false;
    out.clear();
    return receive([&](uint16_t type, const uint8_t* data, size_t len) {
        if (type != RTM_NEWLINK) return false;
        LinkInfo link;
        std::string bad;
        if (parseLink(data, len, link, bad)) {
            out.push_back(std::move(link));
        } else {
            LLOG(interfacesLog()) << "interfaces: link dropped from the dump: " << bad << std::endl;
        }
        return false;  // a dump ends with NLMSG_DONE
    }, why) == 0;
}

int RtnetlinkRequests::getLink(uint32_t index, LinkInfo& out, std::string& why) {
    std::vector<uint8_t> req = linkRequest(RTM_GETLINK, 0, index);
    if (!send(req, why)) return EIO;
    bool found = false;
    const int error = receive([&](uint16_t type, const uint8_t* data, size_t len) {
        if (type != RTM_NEWLINK) return false;
        found = parseLink(data, len, out, why);
        if (!found) {
            LLOG(interfacesLog()) << "interfaces: link " << index << " dropped: " << why << std::endl;
        }
        return true;
    }, why);
    if (error) return error;
    return found ? 0 : EPROTO;
}

int RtnetlinkRequests::setAlias(uint32_t index, const std::string& alias, std::string& why) {
    std::vector<uint8_t> req =
        linkRequest(RTM_SETLINK, NLM_F_ACK, index, IFLA_IFALIAS, alias.data(), alias.size());
    if (!send(req, why)) return EIO;
    // The acknowledgement is an NLMSG_ERROR of 0: receive() returns 0 for it.
    return receive([](uint16_t, const uint8_t*, size_t) { return false; }, why);
}

bool LinkMonitor::open(std::string& why) {
    fd_ = openRoute(SOCK_NONBLOCK, why);
    if (!fd_) return false;
    // Beyond the system's limit only with CAP_NET_ADMIN; else as much as the limit allows.
    if (setsockopt(fd_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &MONITOR_BUFFER, sizeof MONITOR_BUFFER) != 0)
        setsockopt(fd_.get(), SOL_SOCKET, SO_RCVBUF, &MONITOR_BUFFER, sizeof MONITOR_BUFFER);
    sockaddr_nl addr{};
    addr.nl_family = AF_NETLINK;
    addr.nl_groups = RTMGRP_LINK;
    if (bind(fd_.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        why = std::string("netlink bind to the link group: ") + std::strerror(errno);
        fd_.reset();
        return false;
    }
    return true;
}

bool LinkMonitor::drain(const std::function<void(const LinkEvent&)>& onEvent) {
    std::vector<uint8_t> buf;
    bool complete = true;
    for (;;) {
        std::string why;
        const ssize_t n = receiveDatagram(fd_.get(), buf, MSG_DONTWAIT, why);
        if (n == -EAGAIN || n == -EWOULDBLOCK) return complete;
        if (n == -ENOBUFS) {
            complete = false;  // the kernel dropped announcements; the socket still works
            continue;
        }
        if (n == -EMSGSIZE) {
            LLOG(interfacesLog()) << "interfaces: link announcement dropped: " << why << std::endl;
            continue;
        }
        if (n < 0) {
            LLOG(interfacesLog()) << "interfaces: link monitor: " << why << std::endl;
            return complete;
        }
        std::string bad;
        const bool whole = forEachMessage(buf.data(), size_t(n), [&](uint16_t type, const uint8_t* data, size_t len) {
            if (type != RTM_NEWLINK && type != RTM_DELLINK) return true;
            LinkEvent event;
            std::string why2;
            if (!parseLink(data, len, event.link, why2)) {
                LLOG(interfacesLog()) << "interfaces: link announcement dropped: " << why2 << std::endl;
                return true;
            }
            event.removed = type == RTM_DELLINK;
            onEvent(event);
            return true;
        }, bad);
        if (!whole) {
            LLOG(interfacesLog()) << "interfaces: link announcement dropped: " << bad << std::endl;
        }
    }
}

}  // namespace hostd
