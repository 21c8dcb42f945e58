// Looper: owns the runner, the handlers, the subscriber table and one of the two buses, and
// routes requests to the handler named by the destination path.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/bus_internal.h"

namespace lm {

namespace {

std::vector<Looper*>& liveLoopers() {
    static std::vector<Looper*> loopers;
    return loopers;
}

std::string noProgramText(uint32_t program) { return "no such program " + std::to_string(program); }

// Numbers a request (never 0, which says "not sent") and names its sender unless it does.
uint32_t numberRequest(message& request, uint32_t& nextSeq, uint32_t programId) {
    uint32_t seq = ++nextSeq;
    if (seq == 0) seq = ++nextSeq;
    request.setU32(key::SEQ, seq);
    if (!request.has(key::SENDER)) request.setU32Array(key::SENDER, {programId, 0});
    return seq;
}

}  // namespace

lstream& busLog() {
    static lstream stream("bus");
    return stream;
}

Looper::Impl::Impl(Looper& owner) : self(owner) {}

SocketBus& Looper::Impl::socketBus() {
    if (!bus) bus = std::make_unique<SocketBus>(self, runner);
    return *bus;
}

Looper* Looper::Impl::localTarget(uint32_t program) {
    if (std::find(programs.begin(), programs.end(), program) != programs.end()) return &self;
    return memory ? memoryBusFind(program) : nullptr;
}

Delivery Looper::Impl::post(message& m) {
    Path dest = m.destination();
    if (dest.empty()) {
        LLOG(busLog()) << "bus: dropping command " << m.command() << " without destination"
                       << std::endl;
        return Delivery::FAILED;
    }
    if (Looper* target = localTarget(dest[0])) {
        target->deliver(m);
        return Delivery::SENT;
    }
    if (memory) {
        LLOG(busLog()) << "bus: dropping command for missing program " << dest[0] << std::endl;
        return Delivery::NO_PROGRAM;
    }
    return socketBus().send(dest[0], m);
}

Looper::Looper(uint32_t, uint32_t)
    : impl_(std::make_unique<Impl>(*this)), runner_(new ThinRunner(&impl_->runner)) {
    looper_ = this;
    liveLoopers().push_back(this);
}

Looper::~Looper() {
    memoryBusUnregister(this);
    std::erase(liveLoopers(), this);
    impl_->bus.reset();  // closes connections while the runner still exists
}

Looper* Looper::current() { return liveLoopers().empty() ? nullptr : liveLoopers().back(); }

ThinRunner& Looper::runner() { return *runner_; }

void Looper::addHandler(uint32_t id, Handler* h) {
    if (id == 0 || !h) {
        LLOG(errorLog()) << "bus: handler 0 is the looper itself; addHandler(0) ignored"
                         << std::endl;
        return;
    }
    impl_->handlers[id] = h;
    h->looper_ = this;
    h->id_ = id;
}

Handler* Looper::handler(uint32_t id) const {
    if (id == 0) return const_cast<Looper*>(this);
    auto it = impl_->handlers.find(id);
    return it == impl_->handlers.end() ? nullptr : it->second;
}

bool Looper::listen(uint32_t programId) {
    if (impl_->memory) {
        if (Looper* other = memoryBusFind(programId); other && other != this) {
            LLOG(errorLog()) << "bus: program " << programId << " is already on the in-memory bus"
                             << std::endl;
            return false;
        }
        memoryBusRegister(programId, this);
    } else if (!impl_->socketBus().listen(programId)) {
        return false;
    }
    if (std::find(impl_->programs.begin(), impl_->programs.end(), programId) ==
        impl_->programs.end())
        impl_->programs.push_back(programId);
    return true;
}

uint32_t Looper::programId() const { return impl_->programs.empty() ? 0 : impl_->programs[0]; }

message Looper::exchangeMessage(message& request, int timeoutMs) {
    Path dest = request.destination();
    if (dest.empty()) return errorMsg("request without destination", err::BAD_REQUEST);
    const uint32_t seq = numberRequest(request, impl_->nextSeq, programId());
    if (Looper* target = impl_->localTarget(dest[0])) return target->deliver(request);
    if (impl_->memory) return errorMsg(noProgramText(dest[0]), err::NO_PROGRAM);
    return impl_->socketBus().exchange(dest[0], request, seq, timeoutMs);
}

uint32_t Looper::postRequest(message& request, int timeoutMs, message& failure) {
    Path dest = request.destination();
    if (dest.empty()) {
        failure = errorMsg("request without destination", err::BAD_REQUEST);
        return 0;
    }
    const uint32_t seq = numberRequest(request, impl_->nextSeq, programId());
    if (Looper* target = impl_->localTarget(dest[0])) {
        impl_->localReplies[seq] = target->deliver(request);
        return seq;
    }
    if (impl_->memory) {
        failure = errorMsg(noProgramText(dest[0]), err::NO_PROGRAM);
        return 0;
    }
    return impl_->socketBus().postRequest(dest[0], request, seq, timeoutMs, failure) ? seq : 0;
}

message Looper::awaitReply(uint32_t seq, int timeoutMs) {
    if (auto it = impl_->localReplies.find(seq); it != impl_->localReplies.end()) {
        message reply = std::move(it->second);
        impl_->localReplies.erase(it);
        return reply;
    }
    if (impl_->memory || !impl_->bus)
        return errorMsg("no posted request " + std::to_string(seq), err::BAD_REQUEST);
    return impl_->bus->awaitReply(seq, timeoutMs);
}

void Looper::forgetReply(uint32_t seq) {
    impl_->localReplies.erase(seq);
    if (impl_->bus) impl_->bus->forgetReply(seq);
}

void Looper::send(message& m) {
    m.setBool(key::NO_REPLY, true);
    if (!m.has(key::SENDER)) m.setU32Array(key::SENDER, {programId(), 0});
    impl_->post(m);
}

message Looper::deliver(const message& request) {
    Path dest = request.destination();
    uint32_t id = dest.size() >= 2 ? dest[1] : 0;
    Handler* h = handler(id);
    if (!h)
        return errorMsg("no handler " + std::to_string(id) + " in program " +
                            std::to_string(programId()),
                        err::NO_OBJECT);
    uint32_t command = request.command();
    if (command == cmd::SUBSCRIBE || command == cmd::UNSUBSCRIBE) {
        Path subscriber = request.sender();
        if (subscriber.empty()) return errorMsg("subscription without sender", err::BAD_REQUEST);
        uint32_t notification = request.getU32(key::NOTIFICATION);
        if (command == cmd::UNSUBSCRIBE) {
            impl_->subs.unsubscribe(id, subscriber, notification);
        } else {
            const message* filter = request.findMsg(key::FILTER);
            impl_->subs.subscribe(id, subscriber, notification, filter ? *filter : message());
        }
        return message();
    }
    return h->dispatch(request);
}

void Looper::setupLeave(int ms) {
    if (impl_->leaveTimer) impl_->runner.cancelTimer(impl_->leaveTimer);
    impl_->leaveTimer = 0;
    if (ms <= 0) return;
    impl_->leaveTimer = impl_->runner.addTimer(ms, [this, ms] {
        impl_->leaveTimer = 0;
        const char* idleExit = std::getenv("LUMO_IDLE_EXIT");
        if (idleExit && std::strcmp(idleExit, "1") == 0) {
            LLOG(busLog()) << "bus: idle for " << ms << " ms, leaving" << std::endl;
            stop();
        } else {
            LLOG(busLog()) << "bus: idle for " << ms << " ms; staying (LUMO_IDLE_EXIT is not 1)"
                           << std::endl;
        }
    });
}

void Looper::addPolicy(uint32_t, uint32_t) {}

int Looper::run() {
    while (!impl_->stopped) impl_->runner.runOnce(-1);
    impl_->stopped = false;  // a later run() goes on
    return 0;
}

void Looper::stop() { impl_->stopped = true; }

void Looper::runOnce(int maxWaitMs) { impl_->runner.runOnce(maxWaitMs); }

void Looper::useMemoryBus() { impl_->memory = true; }

}  // namespace lm
