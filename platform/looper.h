// The event loop and bus endpoint: lm::Looper (a Handler itself, handler 0), lm::Handler
// (one addressable object on the bus) and lm::ThinRunner (sockets and timers).
//
// A bus path is [program, handler, ...]. Each program listens on a Unix-domain socket
// $LUMO_ROOT/lumo/bus/<program>.sock; one process may own several program ids. Requests
// carry a sequence number and are answered on the same connection. exchangeMessage blocks
// the caller until the reply or the time-out; while it waits no other callback runs.
// For unit tests a looper can be put on the in-memory bus instead: the same dispatch code
// runs, with requests delivered by function call between loopers of one process.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "platform/message.h"

namespace lm {

class Looper;

class Handler {
public:
    Handler();
    virtual ~Handler();

    Looper* looper() const { return looper_; }
    uint32_t handlerId() const { return id_; }
    Path path() const;  // [program, handler]

    // Fire-and-forget: sets the command and sender, sends to m's destination (0x88FF0001).
    // A message to a program that is not there is dropped.
    void sendCmd(message& m, uint32_t command);
    // Reports an accepted change to the platform: the message that restores the old state.
    void sendUndo(const message& request, const message& undo, const std::string& text);
    // Publishes cmd::CHANGED (0xFE0001 = objectId, plus the change's fields) to subscribers.
    void notifyChange(uint32_t objectId, const message& change);
    // Delivers a notification of this number to every subscriber whose filter matches.
    void publish(uint32_t notification, const message& m);
    void subscribe(const Path& publisher, uint32_t notification, const message& filter);
    void unsubscribe(const Path& publisher, uint32_t notification, const message& filter);

    // Overridable commands. A reply is an empty message for "accepted", an error reply
    // (lm::errorMsg) for a refusal, or the data asked for.
    virtual message cmdGet(const message& req);  // default: getObject(0xFE0001 or 0)
    virtual message cmdSet(const message& req);  // default: error BAD_REQUEST
    virtual message cmdGetAll(const message& req);
    virtual message cmdUnknown(const message& req, uint32_t command);
    virtual message getObject(uint32_t id);  // default: error NO_OBJECT
    // Decides whether a subscriber's filter admits a published message; default: all.
    virtual bool filterMatches(const message& filter, const message& m) const;
    // Routes a request by its command to the operations above.
    virtual message dispatch(const message& req);

private:
    friend class Looper;
    Looper* looper_ = nullptr;
    uint32_t id_ = 0;
};

class ThinRunner {
public:
    enum : unsigned { READABLE = 1, WRITABLE = 4 };
    using SocketCallback = std::function<void(int fd, unsigned events)>;
    using TimerCallback = std::function<void()>;

    void addSocket(int fd, unsigned events, SocketCallback cb);
    void removeSocket(int fd);
    uint64_t addTimer(uint32_t ms, TimerCallback cb);  // one-shot; returns an id
    void cancelTimer(uint64_t id);

    struct Impl;

private:
    friend class Looper;
    explicit ThinRunner(Impl* impl) : impl_(impl) {}
    Impl* impl_;
};

class Looper : public Handler {
public:
    // The arguments are the platform's and carry no meaning here.
    explicit Looper(uint32_t a = 0, uint32_t b = 0);
    ~Looper() override;
    Looper(const Looper&) = delete;
    Looper& operator=(const Looper&) = delete;

    ThinRunner& runner();
    void addHandler(uint32_t id, Handler* h);
    Handler* handler(uint32_t id) const;

    // Opens the bus endpoint for a program id (or registers it on the in-memory bus).
    bool listen(uint32_t programId);
    uint32_t programId() const;  // the first id listened on; 0 when none

    // Sends a request to its destination (0x88FF0001) and waits for the reply. Failures
    // come back as error replies: err::NO_PROGRAM when the program has no endpoint,
    // err::TIMEOUT after timeoutMs, err::BROKEN when the peer goes away first.
    virtual message exchangeMessage(message& request, int timeoutMs);
    // The same in two steps, so that several requests are with their services at once:
    // postRequest sends and returns the request's sequence number (0 when it could not be
    // sent, after waiting at most timeoutMs for a full backlog: failure then holds the error
    // reply). awaitReply waits at most timeoutMs from its call for the reply: a request
    // posted behind others gets as long as it would have had if sent on its own then.
    // forgetReply gives a reply up (it is dropped when it comes); each posted request is
    // taken or forgotten once. Replies of other posted requests read meanwhile are kept.
    uint32_t postRequest(message& request, int timeoutMs, message& failure);
    message awaitReply(uint32_t seq, int timeoutMs);
    void forgetReply(uint32_t seq);
    void send(message& m);  // fire-and-forget to m's destination

    // Leave: after ms of being armed the idle process may end. The loop exits then only
    // when LUMO_IDLE_EXIT=1 (a supervisor that restarts programs on demand); otherwise the
    // request is logged and the process stays. 0 cancels.
    void setupLeave(int ms);
    void addPolicy(uint32_t id, uint32_t value);  // accepted, no effect

    int run();    // until stop() or a leave
    void stop();
    // Runs ready callbacks and due timers for at most maxWaitMs, then returns (tests).
    void runOnce(int maxWaitMs);

    // The in-memory bus for tests: call before listen(). Loopers on it reach each other
    // by program id within this process.
    void useMemoryBus();

    static Looper* current();  // the most recently constructed live looper

    // Delivers a decoded request to the addressed handler and returns its reply
    // (subscriptions are handled here). Used by both bus kinds.
    message deliver(const message& request);

    struct Impl;

private:
    friend class Handler;  // publish and subscribe reach the subscriber table
    std::unique_ptr<Impl> impl_;
    std::unique_ptr<ThinRunner> runner_;
};

}  // namespace lm
