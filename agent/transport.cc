// The UDP service socket: one IPv6 socket that also takes IPv4 (mapped), answering each
// request from the very local address and interface it reached.
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "agent/lookahead.h"
#include "agent/snmp_looper.h"
#include "platform/log.h"
#include "request/community_read.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "request/logs.h"
#include "wire/out_stream.h"

namespace snmp {

namespace {

void setFlag(int fd, int level, int option) {
    int one = 1;
    setsockopt(fd, level, option, &one, sizeof one);
}

// Datagrams taken per wake-up: one recvmmsg and one sendmmsg serve them all. Bus commands
// and timers get their turn between bursts, so a flood of requests delays them by one
// burst at most (32 requests, a few tens of microseconds).
constexpr unsigned BURST = 32;
constexpr size_t MAX_DATAGRAM = 65536;
// Room for both packet-info forms a mapped IPv4 request can bring (IP_PKTINFO and
// IPV6_PKTINFO); echoing them back selects the reply's source address and interface.
constexpr size_t CONTROL_SIZE = 128;

// Replies of one burst that go to the same peer from the same local address with the same
// size leave as one segmented send (UDP_SEGMENT): the kernel builds, routes and hands over
// one packet and cuts it into the datagrams at the end, instead of doing all of that per
// reply. Segments stay well under any link's MTU (a larger segment is refused), and the
// whole within one IP packet's size.
constexpr size_t MAX_SEGMENT = 1200;
constexpr size_t MAX_SEGMENTED = 60000;
constexpr size_t SEGMENT_CONTROL = CMSG_SPACE(sizeof(uint16_t));

// One received datagram and where it came from and went to. The buffers live for the
// process; only the pages a datagram fills are ever touched.
struct Inbound {
    sockaddr_in6 name;
    alignas(cmsghdr) unsigned char control[CONTROL_SIZE];
    unsigned char data[MAX_DATAGRAM];
};

struct Burst {
    Inbound in[BURST];
    mmsghdr received[BURST];
    iovec receivedIov[BURST];
    OutStream replies[BURST];  // reused: their buffers keep their capacity
    std::unique_ptr<Context> contexts[BURST];  // one per reply, made at first use, reused
    bool answered[BURST];  // the request in this slot has its reply
    bool deferred[BURST];  // put off in the first round (agent/lookahead.h)
    mmsghdr sent[BURST];
    iovec sentIov[BURST];
    mmsghdr grouped[BURST];     // the replies again, runs of alike ones as one send each
    unsigned groupStart[BURST];  // the reply each grouped send begins with
};

Burst& burst() {
    static Burst* b = new Burst;  // never freed: the transport lives as long as the process
    return *b;
}

// Answers one received datagram into the reply of burst slot `slot`; false when it gets no
// answer.
bool answer(const unsigned char* data, size_t len, const sockaddr_in6& name, socklen_t nameLen,
            unsigned slot) {
    Burst& b = burst();
    OutStream& reply = b.replies[slot];
    reply.restore(OutStream::Snapshot{});
    std::unique_ptr<Context>& made = b.contexts[slot];
    if (made) {
        made->reuse(data, static_cast<unsigned>(len));
    } else {
        made = std::make_unique<Context>(data, static_cast<unsigned>(len), reply);
    }
    Context& ctx = *made;
    lm::IPAddr6 peer;
    peer.assign(reinterpret_cast<const sockaddr*>(&name), nameLen);
    return createReply(ctx, peer);
}

// Sends replies in the order their requests arrived. A reply the kernel refuses (a source
// address that went away meanwhile) is dropped and the rest still go.
void sendAll(int fd, mmsghdr* msgs, unsigned count) {
    unsigned done = 0;
    while (done < count) {
        const int r = sendmmsg(fd, msgs + done, count - done, 0);
        if (r > 0) {
            done += static_cast<unsigned>(r);
        } else if (r < 0 && errno == EINTR) {
            continue;
        } else {
            LLOG(dlog) << "reply not sent: " << std::strerror(errno) << std::endl;
            ++done;
        }
    }
}

bool canSegment = false;  // the kernel takes UDP_SEGMENT (probed when the socket opens)

bool alike(const msghdr& a, const msghdr& b) {
    return a.msg_namelen == b.msg_namelen && a.msg_controllen == b.msg_controllen &&
           std::memcmp(a.msg_name, b.msg_name, a.msg_namelen) == 0 &&
           std::memcmp(a.msg_control, b.msg_control, a.msg_controllen) == 0;
}

// How many replies from `first` on can leave as one segmented send: alike headers, equal
// sizes, the last of the run allowed to be shorter.
unsigned runFrom(const Burst& b, unsigned first, unsigned count) {
    const size_t size = b.sentIov[first].iov_len;
    const msghdr& head = b.sent[first].msg_hdr;
    if (size > MAX_SEGMENT || head.msg_controllen + SEGMENT_CONTROL > CONTROL_SIZE) return 1;
    unsigned n = 1;
    size_t total = size;
    while (first + n < count) {
        const size_t next = b.sentIov[first + n].iov_len;
        if (next > size || total + next > MAX_SEGMENTED ||
            !alike(head, b.sent[first + n].msg_hdr))
            break;
        total += next;
        ++n;
        if (next < size) break;
    }
    return n;
}

// Sends the burst's replies, runs of alike ones as one segmented send each. A run the
// kernel refuses as a whole (no checksum offload on the way, say) goes reply by reply.
void sendReplies(int fd, Burst& b, unsigned count) {
    if (!canSegment) return sendAll(fd, b.sent, count);
    unsigned sends = 0;
    for (unsigned first = 0; first < count;) {
        const unsigned n = runFrom(b, first, count);
        b.groupStart[sends] = first;
        msghdr& out = b.grouped[sends].msg_hdr;
        out = b.sent[first].msg_hdr;
        if (n > 1) {
            // The segment size is one more control message after the packet info; the
            // control buffer is the first request's, which has room for it.
            out.msg_iovlen = n;
            auto* control = static_cast<unsigned char*>(out.msg_control);
            const size_t at = CMSG_ALIGN(out.msg_controllen);
            std::memset(control + out.msg_controllen, 0, at + SEGMENT_CONTROL - out.msg_controllen);
            auto* cm = reinterpret_cast<cmsghdr*>(control + at);
            cm->cmsg_level = SOL_UDP;
            cm->cmsg_type = UDP_SEGMENT;
            cm->cmsg_len = CMSG_LEN(sizeof(uint16_t));
            const auto segment = static_cast<uint16_t>(b.sentIov[first].iov_len);
            std::memcpy(CMSG_DATA(cm), &segment, sizeof segment);
            out.msg_controllen = at + SEGMENT_CONTROL;
        }
        ++sends;
        first += n;
    }
    unsigned done = 0;
    while (done < sends) {
        const int r = sendmmsg(fd, b.grouped + done, sends - done, 0);
        if (r > 0) {
            done += static_cast<unsigned>(r);
            continue;
        }
        if (r < 0 && errno == EINTR) continue;
        const unsigned first = b.groupStart[done];
        const unsigned end = done + 1 < sends ? b.groupStart[done + 1] : count;
        if (end - first > 1) {
            sendAll(fd, b.sent + first, end - first);
        } else {
            LLOG(dlog) << "reply not sent: " << std::strerror(errno) << std::endl;
        }
        ++done;
    }
}

// Takes up to BURST waiting datagrams (never blocks) and answers them. False when the
// kernel has no recvmmsg, so that the caller falls back on one datagram at a time.
bool answerBurst(SnmpLooper& looper, int fd) {
    Burst& b = burst();
    for (unsigned i = 0; i < BURST; ++i) {
        b.receivedIov[i] = {b.in[i].data, MAX_DATAGRAM};
        msghdr& h = b.received[i].msg_hdr;
        h = msghdr{};
        h.msg_name = &b.in[i].name;
        h.msg_namelen = sizeof b.in[i].name;
        h.msg_iov = &b.receivedIov[i];
        h.msg_iovlen = 1;
        h.msg_control = b.in[i].control;
        h.msg_controllen = CONTROL_SIZE;
    }
    const int n = recvmmsg(fd, b.received, BURST, MSG_DONTWAIT, nullptr);
    if (n < 0) return errno != ENOSYS;
    const unsigned count = static_cast<unsigned>(n);
    auto answerSlot = [&b](unsigned i) {
        b.answered[i] = answer(b.in[i].data, b.received[i].msg_len, b.in[i].name,
                               b.received[i].msg_hdr.msg_namelen, i);
    };
    // First round: reads in community form, up to the first other message (a Set must see,
    // and be seen by, the requests around it in their order). A read that needs another
    // service leaves its first query with that service and waits for the second round.
    unsigned lookedAhead = 0;
    BurstLookahead& lookahead = looper.lookahead;
    if (count > 1) {
        for (; lookedAhead < count; ++lookedAhead) {
            const unsigned i = lookedAhead;
            if (!isCommunityRead(b.in[i].data, b.received[i].msg_len)) break;
            lookahead.lookAhead(i);
            try {
                answerSlot(i);
                b.deferred[i] = false;
            } catch (const QueryDeferred&) {
                b.deferred[i] = true;
            }
        }
    }
    for (unsigned i = 0; i < count; ++i) {
        if (i < lookedAhead && !b.deferred[i]) continue;
        lookahead.answer(i);
        answerSlot(i);
    }
    for (uint32_t seq : lookahead.finish()) looper.forgetReply(seq);

    unsigned replies = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (!b.answered[i]) continue;
        OutStream& reply = b.replies[i];
        b.sentIov[replies] = {reply.data(), reply.size()};
        msghdr& out = b.sent[replies].msg_hdr;
        out = b.received[i].msg_hdr;
        out.msg_iov = &b.sentIov[replies];
        out.msg_flags = 0;
        ++replies;
    }
    sendReplies(fd, b, replies);
    return true;
}

// The same for one datagram with recvmsg and sendmsg. False when nothing was waiting.
bool answerOne(int fd) {
    Inbound& in = burst().in[0];
    iovec iov{in.data, MAX_DATAGRAM};
    msghdr header{};
    header.msg_name = &in.name;
    header.msg_namelen = sizeof in.name;
    header.msg_iov = &iov;
    header.msg_iovlen = 1;
    header.msg_control = in.control;
    header.msg_controllen = CONTROL_SIZE;
    const ssize_t n = recvmsg(fd, &header, MSG_DONTWAIT);
    if (n < 0) return errno == EINTR;
    OutStream& reply = burst().replies[0];
    if (answer(in.data, static_cast<size_t>(n), in.name, header.msg_namelen, 0)) {
        iov = {reply.data(), reply.size()};
        header.msg_flags = 0;
        sendmsg(fd, &header, 0);
    }
    return true;
}

bool haveRecvmmsg = true;

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
    int noSegmentSize = 0;  // accepted where the kernel can send segmented replies
    canSegment = setsockopt(fd, SOL_UDP, UDP_SEGMENT, &noSegmentSize, sizeof noSegmentSize) == 0;
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
    // Under load many requests wait in the socket; one burst takes them with two system
    // calls in all instead of two each, and one event-loop round instead of one each.
    if (haveRecvmmsg && answerBurst(*this, fd)) return;
    if (haveRecvmmsg) {
        haveRecvmmsg = false;
        LLOG(lm::warningLog()) << "no recvmmsg here: datagrams are taken one at a time" << std::endl;
    }
    for (unsigned i = 0; i < BURST && listening && sock == fd; ++i)
        if (!answerOne(fd)) break;
}

}  // namespace snmp
