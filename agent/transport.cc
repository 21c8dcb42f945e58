// The UDP service socket: one IPv6 socket that also takes IPv4 (mapped), answering each
// request from the very local address and interface it reached.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/snmp_looper.h"
#include "platform/log.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "wire/out_stream.h"

namespace snmp {

namespace {

// One receive buffer for every datagram: a request is answered before the next is read.
unsigned char c_buf[65536];

void setFlag(int fd, int level, int option) {
    int one = 1;
    setsockopt(fd, level, option, &one, sizeof one);
}

constexpr int DATAGRAMS_PER_WAKEUP = 16;

// Reads one datagram if one is waiting (never blocks) and sends its reply, if any, from
// the address and interface the request reached. False when nothing was waiting.
bool answerOne(int fd) {
    sockaddr_in6 name{};
    // Room for both packet-info forms a mapped IPv4 request can bring (IP_PKTINFO and
    // IPV6_PKTINFO); echoing them back selects the reply's source address and interface.
    alignas(cmsghdr) unsigned char control[128];
    iovec iov{c_buf, sizeof c_buf};
    msghdr header{};
    header.msg_name = &name;
    header.msg_namelen = sizeof name;
    header.msg_iov = &iov;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    ssize_t n = recvmsg(fd, &header, MSG_DONTWAIT);
    if (n < 0) return errno == EINTR;

    OutStream out;
    Context ctx(c_buf, static_cast<unsigned>(n), out);
    lm::IPAddr6 peer;
    peer.assign(reinterpret_cast<sockaddr*>(&name), header.msg_namelen);
    if (createReply(ctx, peer)) {
        iov.iov_base = out.data();
        iov.iov_len = out.size();
        header.msg_flags = 0;
        sendmsg(fd, &header, 0);
    }
    return true;
}

}  // namespace

void SnmpLooper::enable() {
    if (listening) return;
    setupLeave(0);
    sockaddr_in6 addr6{};
    static_assert(sizeof addr6 == 28);
    int fd = socket(AF_INET6, SOCK_DGRAM, 0);
    if (fd >= 0) {
        addr6.sin6_family = AF_INET6;
        addr6.sin6_port = htons(port_);
        addr6.sin6_addr = in6addr_any;
        setFlag(fd, IPPROTO_IPV6, IPV6_RECVPKTINFO);
        int zero = 0;  // dual stack whatever the system default
        setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &zero, sizeof zero);
    } else {
        fd = socket(AF_INET, SOCK_DGRAM, 0);
        if (fd < 0) {
            LLOG(lm::errorLog()) << "cannot create service connection" << std::endl;
            return;
        }
        auto* addr4 = reinterpret_cast<sockaddr_in*>(&addr6);
        addr4->sin_family = AF_INET;
        addr4->sin_port = htons(port_);
        addr4->sin_addr.s_addr = htonl(INADDR_ANY);
    }
    setFlag(fd, IPPROTO_IP, IP_PKTINFO);
    setFlag(fd, SOL_SOCKET, SO_REUSEADDR);
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr6), sizeof addr6) != 0) {
        close(fd);
        LLOG(lm::errorLog()) << "cannot create service connection" << std::endl;
        return;
    }
    sock = fd;
    runner().addSocket(fd, lm::ThinRunner::READABLE,
                       [this](int f, unsigned events) { receive(f, events); });
    listening = true;
}

void SnmpLooper::disable() {
    if (!listening) return;
    closeService();
    setupLeave(LEAVE_AFTER_MS);
}

void SnmpLooper::closeService() {
    if (!listening) return;
    runner().removeSocket(sock);
    close(sock);
    sock = 0;
    listening = false;
}

void SnmpLooper::receive(int fd, unsigned) {
    // Under load several requests wait in the socket. Taking them one per wake-up cost an
    // event-loop round (an epoll_wait) per request; a bounded batch keeps that saving while
    // bus commands and timers still get their turn between batches.
    for (int i = 0; i < DATAGRAMS_PER_WAKEUP && listening && sock == fd; ++i)
        if (!answerOne(fd)) break;
}

}  // namespace snmp
