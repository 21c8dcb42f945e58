// The host's links over plain NETLINK_ROUTE sockets: a request socket that dumps, reads
// and changes links, and a monitor socket that hears the kernel's link announcements
// (RTNLGRP_LINK). Malformed messages from the kernel are dropped, one debug line each.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/hostd/link_message.h"
#include "tools/hostd/unique_fd.h"

namespace hostd {

class RtnetlinkRequests {
public:
    // Opens the socket; false with why on failure.
    bool open(std::string& why);

    // Every link of this network namespace, in the kernel's order.
    bool dumpLinks(std::vector<LinkInfo>& out, std::string& why);
    // One link read afresh. 0 when found, else the errno the kernel answered (ENODEV for
    // no such link) or of the failed exchange, with why.
    int getLink(uint32_t index, LinkInfo& out, std::string& why);
    // Sets the link's alias (IFLA_IFALIAS); an empty alias removes it. 0 or the errno.
    int setAlias(uint32_t index, const std::string& alias, std::string& why);

private:
    bool send(std::vector<uint8_t>& request, std::string& why);
    // Reads the replies to the last request until the kernel ends them (NLMSG_DONE, an
    // acknowledgement) or onMessage, given each other message of this request, returns
    // true. 0, or the errno the kernel or the socket answered.
    int receive(const std::function<bool(uint16_t type, const uint8_t* data, size_t len)>& onMessage,
                std::string& why);

    UniqueFd fd_;
    uint32_t seq_ = 0;
};

// A link event: the link as announced, and whether it was removed.
struct LinkEvent {
    LinkInfo link;
    bool removed = false;
};

class LinkMonitor {
public:
    bool open(std::string& why);
    int fd() const { return fd_.get(); }

    // Reads every announcement queued now, without waiting. False when the kernel dropped
    // some because the socket fell behind (ENOBUFS): what was missed is unknown.
    bool drain(const std::function<void(const LinkEvent&)>& onEvent);

private:
    UniqueFd fd_;
};

}  // namespace hostd
