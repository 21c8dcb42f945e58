#include "bench/load/load_run.h"

#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "bench/load/loopback.h"
#include "bench/load/snmp_request.h"

namespace load {

namespace {

constexpr uint64_t NEVER = std::numeric_limits<uint64_t>::max();
constexpr uint64_t SEND_RETRY_NS = 1'000'000;  // a full socket buffer is retried after 1 ms

uint64_t nowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(ts.tv_nsec);
}

uint64_t toNs(double seconds) { return static_cast<uint64_t>(seconds * 1e9); }

struct Slot {
    uint32_t id = 0;
    uint32_t uses = 0;
    uint64_t sentNs = 0;
    bool busy = false;
    bool measured = false;  // sent after the warm-up
};

// Request-ids name their window slot: id = FIRST + (uses * window + slot) mod span, with span
// a multiple of the window, so an answer finds its slot by one division and a late answer to
// an earlier use of the slot is told apart by the full id.
class IdPlan {
public:
    explicit IdPlan(unsigned window)
        : window_(window), span_((uint64_t{LAST_REQUEST_ID} - FIRST_REQUEST_ID + 1) / window * window) {}
    uint32_t idFor(unsigned slot, uint32_t use) const {
        return FIRST_REQUEST_ID + static_cast<uint32_t>((uint64_t{use} * window_ + slot) % span_);
    }
    bool slotOf(uint32_t id, unsigned& slot) const {
        if (id < FIRST_REQUEST_ID || id - FIRST_REQUEST_ID >= span_) return false;
        slot = (id - FIRST_REQUEST_ID) % window_;
        return true;
    }

private:
    unsigned window_;
    uint64_t span_;
};

int openSocket(const LoadOptions& o, std::string& error) {
    sockaddr_storage addr;
    socklen_t len;
    if (!loopbackAddress(o.host, o.port, addr, len, error)) return -1;
    int fd = socket(addr.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return -1;
    }
    int size = 4 << 20;  // room for a full window of large replies
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), len) != 0) {
        error = std::string("connect: ") + std::strerror(errno);
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

bool runLoad(const LoadOptions& o, LoadResult& r, std::string& error) {
    EncodedRequest request;
    if (!encodeRequest(o.request, request, error)) return false;
    const int fd = openSocket(o, error);
    if (fd < 0) return false;
    std::unique_ptr<UsmSession> usm;
    std::vector<uint8_t> v3;
    if (o.request.version == 3) {
        usm = std::make_unique<UsmSession>(o.usm, request);
        if (!usm->discover(fd, o.timeoutMs, error)) {
            close(fd);
            return false;
        }
    }

    const IdPlan plan(o.window);
    std::vector<Slot> slots(o.window);
    std::vector<unsigned> idle;
    for (unsigned s = o.window; s-- > 0;) idle.push_back(s);
    unsigned busy = 0;
    std::vector<uint8_t> rx(65536);
    r = LoadResult{};
    r.latenciesNs.reserve(1 << 20);

    const uint64_t timeoutNs = uint64_t{o.timeoutMs} * 1'000'000u;
    const uint64_t measureFrom = nowNs() + toNs(o.warmup);
    const uint64_t stopAt = measureFrom + toNs(o.seconds);
    bool measuring = o.warmup <= 0;
    bool sending = true;
    uint64_t nextExpiry = NEVER;
    uint64_t now = nowNs();

    for (;;) {
        now = nowNs();
        if (!measuring && now >= measureFrom) measuring = true;
        if (now >= stopAt) break;
        if (!sending && busy == 0) break;

        bool blocked = false;
        while (sending && !idle.empty()) {
            const unsigned s = idle.back();
            Slot& slot = slots[s];
            const uint32_t id = plan.idFor(s, slot.uses);
            const uint64_t sentNs = nowNs();  // before the call: loopback delivers inside send
            // v3 messages are built, encrypted and signed per request, as a manager does.
            if (usm) {
                usm->encode(id, v3);
            } else {
                patchRequestId(request.bytes.data(), request.idOffset, id);
            }
            const std::vector<uint8_t>& datagram = usm ? v3 : request.bytes;
            if (send(fd, datagram.data(), datagram.size(), 0) < 0) {
                ++r.sendFailures;  // full buffer, or an earlier request was refused by ICMP
                blocked = true;
                break;
            }
            idle.pop_back();
            ++busy;
            ++slot.uses;
            slot.id = id;
            slot.busy = true;
            slot.sentNs = sentNs;
            slot.measured = measuring;
            nextExpiry = std::min(nextExpiry, slot.sentNs + timeoutNs);
            if (measuring && ++r.sent == o.count) sending = false;
        }

        now = nowNs();
        if (now >= nextExpiry) {
            nextExpiry = NEVER;
            for (unsigned s = 0; s < o.window; ++s) {
                Slot& slot = slots[s];
                if (!slot.busy) continue;
                if (slot.sentNs + timeoutNs <= now) {
                    slot.busy = false;
                    --busy;
                    idle.push_back(s);
                    if (slot.measured) ++r.timeouts;
                } else {
                    nextExpiry = std::min(nextExpiry, slot.sentNs + timeoutNs);
                }
            }
        }

        uint64_t wake = std::min(stopAt, nextExpiry);
        if (!measuring) wake = std::min(wake, measureFrom);
        if (blocked) wake = std::min(wake, now + SEND_RETRY_NS);
        if (wake > now && busy != 0) {
            const uint64_t wait = wake - now;
            timespec ts{static_cast<time_t>(wait / 1'000'000'000u), static_cast<long>(wait % 1'000'000'000u)};
            pollfd p{fd, POLLIN, 0};
            ppoll(&p, 1, &ts, nullptr);
        } else if (blocked) {
            timespec ts{0, static_cast<long>(SEND_RETRY_NS)};
            nanosleep(&ts, nullptr);
        }

        for (;;) {
            const ssize_t n = recv(fd, rx.data(), rx.size(), MSG_DONTWAIT);
            if (n < 0) {
                if (errno == EINTR || errno == ECONNREFUSED) continue;
                break;
            }
            const uint64_t t = nowNs();
            ReplyHead head;
            unsigned s = 0;
            if (!readReplyHead(rx.data(), static_cast<size_t>(n), head) || !plan.slotOf(head.requestId, s) ||
                !slots[s].busy || slots[s].id != head.requestId) {
                ++r.strays;
                continue;
            }
            Slot& slot = slots[s];
            slot.busy = false;
            --busy;
            idle.push_back(s);
            if (!slot.measured) continue;
            ++r.replies;
            r.latenciesNs.push_back(t - slot.sentNs);
            r.bindings += head.bindings;
            r.exceptions += head.exceptions;
            // A Report (v3: a refused request) is an error too.
            if ((head.pduTag == 0xA2 && head.errorStatus != 0) || head.pduTag == 0xA8) ++r.errors;
        }
    }

    // Stopped by the clock: the time is the full measured span and what is still out is
    // neither answered nor timed out. Stopped by the count: up to the last answer.
    if (now >= stopAt) {
        r.seconds = o.seconds;
        for (const Slot& slot : slots) r.inFlight += slot.busy && slot.measured;
    } else {
        r.seconds = static_cast<double>(now - measureFrom) / 1e9;
    }
    close(fd);
    return true;
}

}  // namespace load
