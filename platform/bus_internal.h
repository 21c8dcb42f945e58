// Internals shared by the looper, the runner, the socket and in-memory buses and the
// subscription table. Not part of the public API: include platform/looper.h instead.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/log.h"
#include "platform/looper.h"

namespace lm {

lstream& busLog();  // the "bus" debug stream

// Epoll over sockets plus one-shot timers. Events are matched to registrations by a token,
// so a socket removed (or replaced) inside a callback never sees a stale event.
struct ThinRunner::Impl {
    Impl();
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void addSocket(int fd, unsigned events, SocketCallback cb);
    void removeSocket(int fd);
    uint64_t addTimer(uint32_t ms, TimerCallback cb);
    void cancelTimer(uint64_t id);
    // Waits for at most maxWaitMs (-1: until something happens), then runs ready socket
    // callbacks and due timers.
    void runOnce(int maxWaitMs);

private:
    struct Socket {
        int fd;
        unsigned events;
        SocketCallback cb;
    };
    int waitMs(int maxWaitMs) const;
    void runDueTimers();

    int epfd_ = -1;
    uint64_t nextToken_ = 1;
    std::unordered_map<int, uint64_t> tokenOfFd_;
    std::unordered_map<uint64_t, std::shared_ptr<Socket>> sockets_;
    uint64_t nextTimer_ = 1;
    std::map<std::pair<uint64_t, uint64_t>, TimerCallback> timers_;  // (due ms, id)
    std::unordered_map<uint64_t, uint64_t> dueOfTimer_;
};

uint64_t steadyMs();

// Frames on a bus connection: u32 little-endian length, then one encoded message.
constexpr size_t MAX_FRAME = 64u << 20;

void appendFrame(bytes& out, const message& m);

// Collects bytes read from a stream socket and cuts them into messages.
class FrameReader {
public:
    enum Result { NEED_MORE, FRAME, BAD };
    // Space to read into: at least minFree bytes, more when a large frame is under way.
    uint8_t* writable(size_t& room);
    void commit(size_t n) { end_ += n; }
    // Takes the next complete frame. BAD sets error to a one-line reason; the stream cannot
    // be resynchronised after that and the connection must go.
    Result next(message& out, std::string& error);
    bool hasFrame() const;

private:
    bytes buf_;
    size_t begin_ = 0, end_ = 0;
};

// Outcome of delivering a one-way message. DROPPED: the program is there but its backlog
// stayed full; FAILED: the connection broke.
enum class Delivery { SENT, NO_PROGRAM, DROPPED, FAILED };

// The Unix-domain socket bus of one looper.
class SocketBus {
public:
    SocketBus(Looper& looper, ThinRunner::Impl& runner);
    ~SocketBus();
    SocketBus(const SocketBus&) = delete;
    SocketBus& operator=(const SocketBus&) = delete;

    bool listen(uint32_t programId);
    message exchange(uint32_t program, const message& request, uint32_t seq, int timeoutMs);
    bool postRequest(uint32_t program, const message& request, uint32_t seq, int timeoutMs,
                     message& failure);
    message awaitReply(uint32_t seq, int timeoutMs);
    void forgetReply(uint32_t seq);
    Delivery send(uint32_t program, const message& m);

    struct Conn;

private:
    using ConnPtr = std::shared_ptr<Conn>;
    ConnPtr connection(uint32_t program, bool& noProgram, bool& busy);
    ConnPtr adopt(int fd, uint32_t program);
    void watchListener(int fd);
    void onAccept(int listenFd);
    void onEvents(const ConnPtr& c, unsigned events);
    void processFrames(const ConnPtr& c);
    void handleIncoming(const ConnPtr& c, message& m);
    bool queue(const ConnPtr& c, const bytes& frame, bool& untouched);
    bool flush(const ConnPtr& c);
    int readAvailable(const ConnPtr& c);  // >0 read, 0 nothing more, -1 closed or failed
    void watch(const ConnPtr& c);
    void drop(const ConnPtr& c, const char* why);
    void scheduleLeftovers(const ConnPtr& c);
    // Writes a frame on the kept connection to program, opening one when needed and waiting
    // until busyUntil while the program's backlog is full.
    enum Failure { NOT_THERE, BUSY, LOST };
    ConnPtr post(uint32_t program, const bytes& frame, uint64_t busyUntil, Failure& failure);
    message waitReply(const ConnPtr& c, uint32_t program, uint32_t seq, uint64_t deadline);
    message failureOf(Failure failure, uint32_t program) const;
    // A reply read while waiting for another (or between waits): kept when its request was
    // posted and not yet taken, dropped otherwise. False when dropped.
    bool keepEarly(message& reply);

    // Requests sent with postRequest and not yet taken: where their replies come.
    struct Posted {
        std::weak_ptr<Conn> conn;
        uint32_t program;
    };
    std::unordered_map<uint32_t, Posted> posted_;
    std::unordered_map<uint32_t, message> early_;  // replies of posted requests, by sequence

    Looper& looper_;
    ThinRunner::Impl& runner_;
    std::vector<std::pair<int, std::string>> listening_;  // fd, socket file
    std::map<uint32_t, ConnPtr> outgoing_;                // one per destination program
    std::unordered_map<int, ConnPtr> conns_;              // every open connection by fd
};

// The in-memory bus: loopers of this process by program id.
void memoryBusRegister(uint32_t programId, Looper* looper);
void memoryBusUnregister(Looper* looper);
Looper* memoryBusFind(uint32_t programId);

// Subscribers per publishing handler. One subscription per (subscriber, notification):
// subscribing again replaces the filter.
class Subscriptions {
public:
    struct Entry {
        Path subscriber;
        uint32_t notification;
        message filter;
    };
    void subscribe(uint32_t handler, const Path& subscriber, uint32_t notification,
                   const message& filter);
    void unsubscribe(uint32_t handler, const Path& subscriber, uint32_t notification);
    std::vector<Entry> matching(uint32_t handler, uint32_t notification) const;
    void forget(uint32_t handler, const Path& subscriber);
    size_t count(uint32_t handler) const;

private:
    std::map<uint32_t, std::vector<Entry>> byHandler_;
};

struct Looper::Impl {
    explicit Impl(Looper& self);

    // Delivers a one-way message to its destination program.
    Delivery post(message& m);
    // A looper of this process that owns the program (itself or one on the memory bus).
    Looper* localTarget(uint32_t program);
    SocketBus& socketBus();

    Looper& self;
    ThinRunner::Impl runner;
    std::map<uint32_t, Handler*> handlers;
    std::vector<uint32_t> programs;
    bool memory = false;
    bool stopped = false;
    uint64_t leaveTimer = 0;
    uint32_t nextSeq = 0;
    std::map<uint32_t, message> localReplies;  // posted requests answered in this process
    Subscriptions subs;
    std::unique_ptr<SocketBus> bus;
};

}  // namespace lm
