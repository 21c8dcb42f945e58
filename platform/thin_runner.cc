// ThinRunner: level-triggered epoll for sockets, an ordered map for one-shot timers.
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "platform/bus_internal.h"

namespace lm {

uint64_t steadyMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

namespace {

uint32_t epollEvents(unsigned events) {
    uint32_t e = 0;
    if (events & ThinRunner::READABLE) e |= EPOLLIN;
    if (events & ThinRunner::WRITABLE) e |= EPOLLOUT;
    return e;
}

}  // namespace

ThinRunner::Impl::Impl() {
    epfd_ = epoll_create1(EPOLL_CLOEXEC);
    if (epfd_ < 0) {
        LLOG(errorLog()) << "runner: epoll_create1 failed: " << strerror(errno) << std::endl;
    }
}

ThinRunner::Impl::~Impl() {
    if (epfd_ >= 0) close(epfd_);
}

void ThinRunner::Impl::addSocket(int fd, unsigned events, SocketCallback cb) {
    // A second registration of the same fd replaces the first (new token: events already
    // collected for the old callback are ignored).
    uint64_t token = nextToken_++;
    epoll_event ev{};
    ev.events = epollEvents(events);
    ev.data.u64 = token;
    auto old = tokenOfFd_.find(fd);
    int op = EPOLL_CTL_ADD;
    if (old != tokenOfFd_.end()) {
        sockets_.erase(old->second);
        op = EPOLL_CTL_MOD;
    }
    if (epoll_ctl(epfd_, op, fd, &ev) != 0) {
        LLOG(errorLog()) << "runner: cannot watch socket " << fd << ": " << strerror(errno)
                         << std::endl;
        if (op == EPOLL_CTL_MOD) tokenOfFd_.erase(fd);
        return;
    }
    tokenOfFd_[fd] = token;
    sockets_[token] = std::make_shared<Socket>(Socket{fd, events, std::move(cb)});
}

void ThinRunner::Impl::removeSocket(int fd) {
    auto it = tokenOfFd_.find(fd);
    if (it == tokenOfFd_.end()) return;
    sockets_.erase(it->second);
    tokenOfFd_.erase(it);
    epoll_ctl(epfd_, EPOLL_CTL_DEL, fd, nullptr);
}

uint64_t ThinRunner::Impl::addTimer(uint32_t ms, TimerCallback cb) {
    uint64_t id = nextTimer_++;
    uint64_t due = steadyMs() + ms;
    timers_.emplace(std::make_pair(due, id), std::move(cb));
    dueOfTimer_[id] = due;
    return id;
}

void ThinRunner::Impl::cancelTimer(uint64_t id) {
    auto it = dueOfTimer_.find(id);
    if (it == dueOfTimer_.end()) return;
    timers_.erase(std::make_pair(it->second, id));
    dueOfTimer_.erase(it);
}

int ThinRunner::Impl::waitMs(int maxWaitMs) const {
    if (timers_.empty()) return maxWaitMs;
    uint64_t now = steadyMs();
    uint64_t due = timers_.begin()->first.first;
    int untilTimer = due <= now ? 0 : static_cast<int>(std::min<uint64_t>(due - now, 1u << 30));
    return maxWaitMs < 0 ? untilTimer : std::min(maxWaitMs, untilTimer);
}

void ThinRunner::Impl::runOnce(int maxWaitMs) {
    epoll_event events[64];
    int n = epoll_wait(epfd_, events, 64, waitMs(maxWaitMs));
    for (int i = 0; i < n; ++i) {
        auto it = sockets_.find(events[i].data.u64);
        if (it == sockets_.end()) continue;  // removed by an earlier callback
        std::shared_ptr<Socket> s = it->second;  // survives removal from inside its callback
        unsigned ev = 0;
        // Hang-up and error are reported as readable: the reader then sees the end.
        if (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR | EPOLLRDHUP)) ev |= READABLE;
        if (events[i].events & EPOLLOUT) ev |= WRITABLE;
        ev &= s->events | READABLE;
        if (ev) s->cb(s->fd, ev);
    }
    runDueTimers();
}

void ThinRunner::Impl::runDueTimers() {
    // Only timers due now run; those added by these callbacks wait for the next round.
    uint64_t now = steadyMs();
    std::vector<uint64_t> due;
    for (auto& [key, cb] : timers_) {
        if (key.first > now) break;
        due.push_back(key.second);
    }
    for (uint64_t id : due) {
        auto d = dueOfTimer_.find(id);
        if (d == dueOfTimer_.end()) continue;  // cancelled by an earlier callback
        auto it = timers_.find(std::make_pair(d->second, id));
        TimerCallback cb = std::move(it->second);
        timers_.erase(it);
        dueOfTimer_.erase(d);
        cb();
    }
}

void ThinRunner::addSocket(int fd, unsigned events, SocketCallback cb) {
    impl_->addSocket(fd, events, std::move(cb));
}
void ThinRunner::removeSocket(int fd) { impl_->removeSocket(fd); }
uint64_t ThinRunner::addTimer(uint32_t ms, TimerCallback cb) {
    return impl_->addTimer(ms, std::move(cb));
}
void ThinRunner::cancelTimer(uint64_t id) { impl_->cancelTimer(id); }

}  // namespace lm
