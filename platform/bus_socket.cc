// The socket bus: one Unix-domain stream socket per program id under $LUMO_ROOT/lumo/bus,
// kept connections per destination program, non-blocking reads and writes with
// per-connection buffers, and a blocking wait on one connection for a reply (of an exchange
// or of a request posted earlier: replies of other posted requests read meanwhile are kept).
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/bus_internal.h"
#include "platform/util.h"

namespace lm {

namespace {

constexpr size_t MAX_PENDING_OUT = 64u << 20;  // a peer that stops reading loses its connection
constexpr size_t MAX_READ_PER_EVENT = 1u << 20;
constexpr int BUSY_RETRY_MS = 100;  // how long a command waits for a full backlog

std::string socketFile(uint32_t program) {
    return resolvePath("/lumo/bus/" + std::to_string(program) + ".sock");
}

bool socketAddress(const std::string& file, sockaddr_un& addr) {
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (file.size() >= sizeof addr.sun_path) return false;
    std::memcpy(addr.sun_path, file.c_str(), file.size() + 1);
    return true;
}

std::string programText(uint32_t program) { return "program " + std::to_string(program); }

}  // namespace

struct SocketBus::Conn {
    int fd = -1;
    uint32_t program = 0;  // destination of an outgoing connection; 0 for accepted ones
    bool outgoing = false;
    bool closed = false;
    bool used = false;  // has carried a frame: a peer restart may have closed it since
    unsigned watching = 0;
    uint64_t leftoverTimer = 0;
    FrameReader in;
    bytes out;
    size_t outOff = 0;
    std::vector<message> deferred;  // requests that arrived while this connection awaited a reply

    bool pendingOut() const { return outOff < out.size(); }
};

SocketBus::SocketBus(Looper& looper, ThinRunner::Impl& runner) : looper_(looper), runner_(runner) {}

SocketBus::~SocketBus() {
    for (auto& [fd, c] : conns_) {
        runner_.removeSocket(fd);
        if (c->leftoverTimer) runner_.cancelTimer(c->leftoverTimer);
        close(fd);
    }
    for (auto& [fd, file] : listening_) {
        runner_.removeSocket(fd);
        close(fd);
        unlink(file.c_str());
    }
}

bool SocketBus::listen(uint32_t programId) {
    std::string dir = resolvePath("/lumo/bus");
    if (!makeDirs(dir)) {
        LLOG(errorLog()) << "bus: cannot create " << dir << ": " << strerror(errno) << std::endl;
        return false;
    }
    std::string file = socketFile(programId);
    sockaddr_un addr;
    if (!socketAddress(file, addr)) {
        LLOG(errorLog()) << "bus: socket path too long: " << file << std::endl;
        return false;
    }
    // A file left by a program that died is removed; a live program keeps its endpoint.
    int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe >= 0) {
        bool alive = connect(probe, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        close(probe);
        if (alive) {
            LLOG(errorLog()) << "bus: " << programText(programId) << " is already listening at "
                             << file << std::endl;
            return false;
        }
    }
    unlink(file.c_str());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        ::listen(fd, 128) != 0) {
        LLOG(errorLog()) << "bus: cannot listen at " << file << ": " << strerror(errno)
                         << std::endl;
        if (fd >= 0) close(fd);
        return false;
    }
    listening_.emplace_back(fd, file);
    watchListener(fd);
    return true;
}

void SocketBus::watchListener(int fd) {
    runner_.addSocket(fd, ThinRunner::READABLE, [this](int lfd, unsigned) { onAccept(lfd); });
}

void SocketBus::onAccept(int listenFd) {
    for (;;) {
        int fd = accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR) continue;
            if (errno == EMFILE || errno == ENFILE) {
                // Out of descriptors: pause accepting instead of spinning on a ready socket.
                LLOG(errorLog()) << "bus: cannot accept: " << strerror(errno) << std::endl;
                runner_.removeSocket(listenFd);
                runner_.addTimer(100, [this, listenFd] { watchListener(listenFd); });
            } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
                LLOG(busLog()) << "bus: accept failed: " << strerror(errno) << std::endl;
            }
            return;
        }
        adopt(fd, 0);
    }
}

SocketBus::ConnPtr SocketBus::adopt(int fd, uint32_t program) {
    auto c = std::make_shared<Conn>();
    c->fd = fd;
    c->program = program;
    conns_[fd] = c;
    watch(c);
    return c;
}

void SocketBus::watch(const ConnPtr& c) {
    unsigned want = ThinRunner::READABLE | (c->pendingOut() ? unsigned(ThinRunner::WRITABLE) : 0u);
    if (c->closed || want == c->watching) return;
    c->watching = want;
    std::weak_ptr<Conn> weak = c;
    runner_.addSocket(c->fd, want, [this, weak](int, unsigned events) {
        if (ConnPtr conn = weak.lock()) onEvents(conn, events);
    });
}

void SocketBus::drop(const ConnPtr& c, const char* why) {
    if (c->closed) return;
    c->closed = true;
    LLOG(busLog()) << "bus: closing connection " << c->fd
                   << (c->outgoing ? " to " + programText(c->program) : std::string())
                   << ": " << why << std::endl;
    runner_.removeSocket(c->fd);
    if (c->leftoverTimer) runner_.cancelTimer(c->leftoverTimer);
    close(c->fd);
    if (c->outgoing) {
        auto it = outgoing_.find(c->program);
        if (it != outgoing_.end() && it->second == c) outgoing_.erase(it);
    }
    conns_.erase(c->fd);
}

void SocketBus::onEvents(const ConnPtr& c, unsigned events) {
    if ((events & ThinRunner::WRITABLE) && !flush(c)) {
        drop(c, "write failed");
        return;
    }
    if (!(events & ThinRunner::READABLE)) return;
    bool ended = readAvailable(c) < 0;
    processFrames(c);  // whatever arrived before the end is still served
    if (ended) drop(c, "closed by peer");
}

int SocketBus::readAvailable(const ConnPtr& c) {
    size_t total = 0;
    while (total < MAX_READ_PER_EVENT) {
        size_t room = 0;
        uint8_t* p = c->in.writable(room);
        ssize_t n = recv(c->fd, p, room, 0);
        if (n > 0) {
            c->in.commit(size_t(n));
            total += size_t(n);
            // A read that left room took everything there was: asking again would only
            // hear EAGAIN, one system call per message. Poll and epoll are level-triggered,
            // so bytes that arrive later are seen there.
            if (size_t(n) < room) break;
            continue;
        }
        if (n == 0) return -1;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) break;
        return -1;
    }
    return total > 0 ? 1 : 0;
}

void SocketBus::processFrames(const ConnPtr& c) {
    message m;
    std::string error;
    while (!c->closed) {
        FrameReader::Result r = c->in.next(m, error);
        if (r == FrameReader::NEED_MORE) return;
        if (r == FrameReader::BAD) {
            LLOG(warningLog()) << "bus: " << programText(looper_.programId())
                               << ": dropping connection: " << error << std::endl;
            drop(c, "bad frame");
            return;
        }
        handleIncoming(c, m);
    }
}

void SocketBus::handleIncoming(const ConnPtr& c, message& m) {
    if (m.getBool(key::IS_REPLY)) {
        keepEarly(m);  // for a posted request; else its request timed out and nobody waits
        return;
    }
    bool noReply = m.getBool(key::NO_REPLY);
    uint32_t seq = m.getU32(key::SEQ);
    message reply = looper_.deliver(m);
    if (noReply || c->closed) return;
    reply.setBool(key::IS_REPLY, true);
    reply.setU32(key::SEQ, seq);
    bytes frame;
    appendFrame(frame, reply);
    bool untouched = false;
    if (!queue(c, frame, untouched)) drop(c, "reply not written");
}

namespace {

// Writes from data[off] on until done or the socket is full; false when the connection failed.
bool writeSome(int fd, const uint8_t* data, size_t len, size_t& off) {
    while (off < len) {
        ssize_t n = ::send(fd, data + off, len - off, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0)
            off += size_t(n);
        else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        else if (!(n < 0 && errno == EINTR))
            return false;
    }
    return true;
}

}  // namespace

bool SocketBus::queue(const ConnPtr& c, const bytes& frame, bool& untouched) {
    if (!c->pendingOut()) {
        size_t off = 0;
        bool ok = writeSome(c->fd, frame.data(), frame.size(), off);
        untouched = off == 0;
        if (!ok) return false;
        if (off == frame.size()) return true;
        c->out.assign(frame.begin() + off, frame.end());
        c->outOff = 0;
    } else {
        untouched = false;
        if (c->out.size() - c->outOff + frame.size() > MAX_PENDING_OUT) {
            LLOG(warningLog()) << "bus: peer is not reading; dropping connection with "
                               << c->out.size() - c->outOff << " bytes pending" << std::endl;
            return false;
        }
        if (c->outOff > c->out.size() / 2) {
            c->out.erase(c->out.begin(), c->out.begin() + c->outOff);
            c->outOff = 0;
        }
        c->out.insert(c->out.end(), frame.begin(), frame.end());
    }
    watch(c);  // flushed when the socket becomes writable
    return true;
}

bool SocketBus::flush(const ConnPtr& c) {
    if (!writeSome(c->fd, c->out.data(), c->out.size(), c->outOff)) return false;
    if (!c->pendingOut()) {
        c->out.clear();
        c->outOff = 0;
    }
    watch(c);
    return true;
}

void SocketBus::scheduleLeftovers(const ConnPtr& c) {
    // Frames read past the reply sit in our buffer where epoll cannot see them.
    if (c->closed || c->leftoverTimer || (c->deferred.empty() && !c->in.hasFrame())) return;
    std::weak_ptr<Conn> weak = c;
    c->leftoverTimer = runner_.addTimer(0, [this, weak] {
        ConnPtr conn = weak.lock();
        if (!conn) return;
        conn->leftoverTimer = 0;
        std::vector<message> waiting = std::move(conn->deferred);
        conn->deferred.clear();
        for (auto& m : waiting)
            if (!conn->closed) handleIncoming(conn, m);
        processFrames(conn);
    });
}

SocketBus::ConnPtr SocketBus::connection(uint32_t program, bool& noProgram, bool& busy) {
    noProgram = busy = false;
    auto it = outgoing_.find(program);
    if (it != outgoing_.end()) return it->second;
    std::string file = socketFile(program);
    sockaddr_un addr;
    if (!socketAddress(file, addr)) {
        noProgram = true;
        return nullptr;
    }
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        noProgram = true;
        return nullptr;
    }
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        int e = errno;
        close(fd);
        if (e == EAGAIN) {
            busy = true;  // alive, but its backlog is full
        } else {
            noProgram = true;
            if (e != ENOENT && e != ECONNREFUSED) {
                LLOG(busLog()) << "bus: cannot reach " << programText(program) << ": "
                               << strerror(e) << std::endl;
            }
        }
        return nullptr;
    }
    ConnPtr c = adopt(fd, program);
    c->outgoing = true;
    outgoing_[program] = c;
    return c;
}

SocketBus::ConnPtr SocketBus::post(uint32_t program, const bytes& frame, uint64_t busyUntil,
                                   Failure& failure) {
    for (int attempt = 0;; ++attempt) {
        bool noProgram, busy;
        ConnPtr c = connection(program, noProgram, busy);
        if (!c) {
            if (busy && steadyMs() < busyUntil) {
                usleep(1000);
                continue;
            }
            failure = noProgram ? NOT_THERE : BUSY;
            return nullptr;
        }
        bool used = c->used;
        c->used = true;
        bool untouched = false;
        if (queue(c, frame, untouched)) return c;
        drop(c, "not written");
        // A kept connection may have been closed by a peer that restarted since: one retry
        // on a fresh connection, as long as no byte of the frame went out.
        if (!(used && untouched && attempt == 0)) {
            failure = LOST;
            return nullptr;
        }
    }
}

namespace {

uint64_t deadlineAfter(int timeoutMs) {
    return timeoutMs < 0 ? UINT64_MAX : steadyMs() + uint64_t(timeoutMs);
}

}  // namespace

message SocketBus::failureOf(Failure failure, uint32_t program) const {
    switch (failure) {
    case NOT_THERE: return errorMsg("no such " + programText(program), err::NO_PROGRAM);
    case BUSY: return errorMsg(programText(program) + " accepts no connection", err::TIMEOUT);
    default: return errorMsg("connection to " + programText(program) + " lost", err::BROKEN);
    }
}

message SocketBus::exchange(uint32_t program, const message& request, uint32_t seq,
                            int timeoutMs) {
    const uint64_t deadline = deadlineAfter(timeoutMs);
    bytes frame;
    appendFrame(frame, request);
    Failure failure;
    if (ConnPtr c = post(program, frame, deadline, failure))
        return waitReply(c, program, seq, deadline);
    return failureOf(failure, program);
}

bool SocketBus::postRequest(uint32_t program, const message& request, uint32_t seq,
                            int timeoutMs, message& failureReply) {
    const uint64_t deadline = deadlineAfter(timeoutMs);
    bytes frame;
    appendFrame(frame, request);
    Failure failure;
    ConnPtr c = post(program, frame, deadline, failure);
    if (!c) {
        failureReply = failureOf(failure, program);
        return false;
    }
    posted_[seq] = Posted{c, program};
    return true;
}

message SocketBus::awaitReply(uint32_t seq, int timeoutMs) {
    auto it = posted_.find(seq);
    if (it == posted_.end())
        return errorMsg("no posted request " + std::to_string(seq), err::BAD_REQUEST);
    const Posted p = it->second;
    message reply;
    if (auto early = early_.find(seq); early != early_.end()) {
        reply = std::move(early->second);
        early_.erase(early);
    } else if (ConnPtr c = p.conn.lock(); c && !c->closed) {
        reply = waitReply(c, p.program, seq, deadlineAfter(timeoutMs));
    } else {
        reply = failureOf(LOST, p.program);
    }
    forgetReply(seq);
    return reply;
}

void SocketBus::forgetReply(uint32_t seq) {
    posted_.erase(seq);
    early_.erase(seq);
}

bool SocketBus::keepEarly(message& reply) {
    const uint32_t seq = reply.getU32(key::SEQ);
    if (!posted_.count(seq)) {
        LLOG(busLog()) << "bus: dropping stale reply " << seq << std::endl;
        return false;
    }
    reply.remove(key::IS_REPLY);
    reply.remove(key::SEQ);
    early_[seq] = std::move(reply);
    return true;
}

message SocketBus::waitReply(const ConnPtr& c, uint32_t program, uint32_t seq,
                             uint64_t deadline) {
    auto broken = [&](const char* why) {
        drop(c, why);
        return errorMsg("connection to " + programText(program) + " lost", err::BROKEN);
    };
    bool ended = false;
    message m;
    std::string error;
    for (;;) {
        for (;;) {
            FrameReader::Result r = c->in.next(m, error);
            if (r == FrameReader::NEED_MORE) break;
            if (r == FrameReader::BAD) {
                LLOG(warningLog())
                    << "bus: " << programText(looper_.programId()) << ": dropping connection to "
                    << programText(program) << ": " << error << std::endl;
                return broken("bad frame");
            }
            if (!m.getBool(key::IS_REPLY)) {
                c->deferred.push_back(std::move(m));  // served once the exchange is over
                m = message();
            } else if (m.getU32(key::SEQ) == seq) {
                m.remove(key::IS_REPLY);
                m.remove(key::SEQ);
                scheduleLeftovers(c);
                return m;
            } else if (keepEarly(m)) {
                m = message();
            }
        }
        if (ended) return broken("closed by peer");
        int wait = -1;
        if (deadline != UINT64_MAX) {
            uint64_t now = steadyMs();
            if (now >= deadline) {
                scheduleLeftovers(c);
                return errorMsg("no reply from " + programText(program) + " in time",
                                err::TIMEOUT);
            }
            wait = int(std::min<uint64_t>(deadline - now, 1u << 30));
        }
        pollfd p{c->fd, short(POLLIN | (c->pendingOut() ? POLLOUT : 0)), 0};
        int n = poll(&p, 1, wait);
        if (n < 0 && errno != EINTR) return broken("poll failed");
        if (n <= 0) continue;
        if ((p.revents & POLLOUT) && !flush(c)) return broken("request not written");
        if (p.revents & (POLLIN | POLLHUP | POLLERR))
            if (readAvailable(c) < 0) ended = true;
    }
}

Delivery SocketBus::send(uint32_t program, const message& m) {
    bytes frame;
    appendFrame(frame, m);
    Failure failure;
    if (post(program, frame, steadyMs() + BUSY_RETRY_MS, failure)) return Delivery::SENT;
    switch (failure) {
    case NOT_THERE:
        LLOG(busLog()) << "bus: no " << programText(program) << "; command " << m.command()
                       << " dropped" << std::endl;
        return Delivery::NO_PROGRAM;
    case BUSY:
        LLOG(warningLog()) << "bus: " << programText(program) << " accepts no connection; command "
                           << m.command() << " dropped" << std::endl;
        return Delivery::DROPPED;
    default: return Delivery::FAILED;
    }
}

}  // namespace lm
