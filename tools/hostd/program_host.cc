#include "tools/hostd/program_host.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "tools/hostd/control.h"
#include "tools/hostd/fixture_service.h"

namespace hostd {

// Handler 0 is the looper itself, so the looper hands its own requests to slot 0.
class ProgramHost::Loop : public lm::Looper {
public:
    explicit Loop(ProgramHost& host) : host_(host) {}
    lm::message dispatch(const lm::message& req) override {
        if (Slot* s = host_.slot(0)) return s->serve(req);
        return lm::Looper::dispatch(req);
    }

private:
    ProgramHost& host_;
};

class ProgramHost::SlotHandler : public lm::Handler {
public:
    explicit SlotHandler(Slot& slot) : slot_(slot) {}
    lm::message dispatch(const lm::message& req) override { return slot_.serve(req); }

private:
    Slot& slot_;
};

class ProgramHost::ControlHandler : public lm::Handler {
public:
    explicit ControlHandler(ProgramHost& host) : host_(host) {}
    lm::message dispatch(const lm::message& req) override;

private:
    // The slots a switch applies to: the one named by HANDLER, or every served one.
    bool targets(const lm::message& req, std::vector<Slot*>& out, lm::message& error);
    lm::message publish(const lm::message& req);
    lm::message status();

    ProgramHost& host_;
};

lm::message Slot::serve(const lm::message& request) {
    if (!service) return lm::errorMsg("this path is no longer in the fixture", lm::err::NO_OBJECT);
    ++requests;
    if (request.command() == lm::cmd::GET_ALL && request.hasU32Array(lm::key::FIELDS)) ++fieldLists;
    if (switches.delayMs) std::this_thread::sleep_for(std::chrono::milliseconds(switches.delayMs));
    if (switches.errorCode) return lm::errorMsg(switches.errorText, switches.errorCode);
    service->setPaging(switches.paging);
    return service->handle(request);
}

bool ProgramHost::ControlHandler::targets(const lm::message& req, std::vector<Slot*>& out,
                                          lm::message& error) {
    if (req.has(ctlkey::HANDLER)) {
        Slot* s = host_.slot(req.getU32(ctlkey::HANDLER));
        if (!s || !s->service) {
            error = lm::errorMsg("no service at handler " + std::to_string(req.getU32(ctlkey::HANDLER)),
                                 lm::err::NO_OBJECT);
            return false;
        }
        out.push_back(s);
        return true;
    }
    for (const auto& [id, s] : host_.slots())
        if (s->service) out.push_back(s.get());
    return true;
}

lm::message ProgramHost::ControlHandler::publish(const lm::message& req) {
    Slot* s = host_.slot(req.getU32(ctlkey::HANDLER));
    if (!s || !s->service || !s->endpoint)
        return lm::errorMsg("no service at handler " + std::to_string(req.getU32(ctlkey::HANDLER)),
                            lm::err::NO_OBJECT);
    if (const std::string* name = req.findString(ctlkey::NAME)) {
        auto it = s->notifications.find(*name);
        if (it == s->notifications.end())
            return lm::errorMsg("no notification named \"" + *name + "\"", lm::err::NO_OBJECT);
        s->endpoint->publish(it->second.number, it->second.payload);
        return {};
    }
    if (!req.has(ctlkey::NUMBER))
        return lm::errorMsg("publish needs NAME 0x20990005 or NUMBER 0x08990006", lm::err::BAD_REQUEST);
    const lm::message* payload = req.findMsg(ctlkey::PAYLOAD);
    s->endpoint->publish(req.getU32(ctlkey::NUMBER), payload ? *payload : lm::message());
    return {};
}

lm::message ProgramHost::ControlHandler::status() {
    std::vector<lm::message> list;
    for (const auto& [id, s] : host_.slots()) {
        if (!s->service) continue;
        lm::message m;
        m.setU32(ctlkey::HANDLER, id);
        m.setU32(ctlkey::CODE, s->switches.errorCode);
        m.setString(ctlkey::TEXT, s->switches.errorText);
        m.setU32(ctlkey::DELAY_MS, s->switches.delayMs);
        m.setU32(ctlkey::PAGING, uint32_t(s->switches.paging));
        m.setU32(ctlkey::REQUESTS, s->requests);
        m.setU32(ctlkey::FIELD_LISTS, s->fieldLists);
        list.push_back(std::move(m));
    }
    lm::message reply;
    reply.setMsgArray(lm::key::OBJECTS, std::move(list));
    return reply;
}

lm::message ProgramHost::ControlHandler::dispatch(const lm::message& req) {
    std::vector<Slot*> slots;
    lm::message error;
    switch (req.command()) {
    case ctl::SET_ERROR:
        if (!targets(req, slots, error)) return error;
        for (Slot* s : slots) {
            s->switches.errorCode = req.getU32(ctlkey::CODE);
            s->switches.errorText = req.getString(ctlkey::TEXT);
        }
        return {};
    case ctl::SET_DELAY:
        if (req.getU32(ctlkey::DELAY_MS) > MAX_DELAY_MS)
            return lm::errorMsg("delay above " + std::to_string(MAX_DELAY_MS) + " ms", lm::err::BAD_REQUEST);
        if (!targets(req, slots, error)) return error;
        for (Slot* s : slots) s->switches.delayMs = req.getU32(ctlkey::DELAY_MS);
        return {};
    case ctl::SET_PAGING: {
        PagingMode mode;
        if (!pagingFromNumber(req.getU32(ctlkey::PAGING), mode))
            return lm::errorMsg("no paging mode " + std::to_string(req.getU32(ctlkey::PAGING)),
                                lm::err::BAD_REQUEST);
        if (!targets(req, slots, error)) return error;
        for (Slot* s : slots) s->switches.paging = mode;
        return {};
    }
    case ctl::RESET_COUNTS:
        if (!targets(req, slots, error)) return error;
        for (Slot* s : slots) {
            s->requests = 0;
            s->fieldLists = 0;
        }
        return {};
    case ctl::PUBLISH:
        return publish(req);
    case ctl::RELOAD: {
        std::string why;
        if (!host_.reload(why)) return lm::errorMsg(why, lm::err::FAILED);
        return {};
    }
    case lm::cmd::GET:
        return status();
    default:
        return lm::Handler::dispatch(req);
    }
}

ProgramHost::ProgramHost(std::string fixtureFile, uint32_t programId)
    : fixtureFile_(std::move(fixtureFile)),
      programId_(programId),
      looper_(std::make_unique<Loop>(*this)),
      control_(std::make_unique<ControlHandler>(*this)) {
    looper_->addHandler(CONTROL_HANDLER, control_.get());
}

ProgramHost::~ProgramHost() {
    if (signalFd_ >= 0) close(signalFd_);
}

lm::Looper& ProgramHost::looper() { return *looper_; }

Slot* ProgramHost::slot(uint32_t handlerId) {
    auto it = slots_.find(handlerId);
    return it == slots_.end() ? nullptr : it->second.get();
}

void ProgramHost::apply(const Fixture& fixture) {
    for (auto& [id, s] : slots_) {
        s->service.reset();
        s->switches = {};
        s->requests = 0;
        s->fieldLists = 0;
        s->notifications.clear();
    }
    for (const ServiceFixture& f : fixture.services) {
        if (f.path[0] != programId_) continue;
        Slot& s = slotFor(f.path[1]);
        s.service = std::make_unique<FixtureService>(f);
        s.service->attach(s.endpoint);
        s.switches = {f.errorCode, f.errorText, f.delayMs, f.paging};
        s.notifications = f.notifications;
    }
}

void ProgramHost::install(uint32_t handlerId, std::unique_ptr<HostService> service) {
    Slot& s = slotFor(handlerId);
    s.service = std::move(service);
    s.service->attach(s.endpoint);
    s.switches = {};
    s.requests = 0;
    s.fieldLists = 0;
    s.notifications.clear();
}

Slot& ProgramHost::slotFor(uint32_t h) {
    auto& s = slots_[h];
    if (!s) {
        s = std::make_unique<Slot>();
        s->handlerId = h;
        if (h == 0) {
            s->endpoint = looper_.get();
        } else {
            auto adapter = std::make_unique<SlotHandler>(*s);
            looper_->addHandler(h, adapter.get());
            s->endpoint = adapter.get();
            adapters_[h] = std::move(adapter);
        }
    }
    return *s;
}

bool ProgramHost::listen() {
    if (looper_->listen(programId_)) return true;
    std::cerr << "lumo-hostd: cannot listen on program " << programId_ << std::endl;
    return false;
}

bool ProgramHost::reload(std::string& error) {
    if (fixtureFile_.empty()) {
        error = "serving the host, not a fixture: there is nothing to reload";
        return false;
    }
    Fixture fresh;
    if (!loadFixture(fixtureFile_, fresh, error)) return false;
    apply(fresh);
    return true;
}

void ProgramHost::watchSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signalFd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (signalFd_ < 0) {
        std::cerr << "lumo-hostd: signalfd failed; SIGHUP will not reload" << std::endl;
        sigprocmask(SIG_UNBLOCK, &set, nullptr);
        return;
    }
    looper_->runner().addSocket(signalFd_, lm::ThinRunner::READABLE, [this](int fd, unsigned) {
        signalfd_siginfo info;
        while (read(fd, &info, sizeof info) == ssize_t(sizeof info)) {
            if (info.ssi_signo == SIGHUP) {
                if (fixtureFile_.empty()) continue;  // host mode reads the host at each request
                std::string why;
                if (!reload(why)) std::cerr << "lumo-hostd: " << why << " (old data kept)" << std::endl;
            } else {
                looper_->stop();
            }
        }
    });
}

int ProgramHost::run() {
    watchSignals();
    return looper_->run();
}

}  // namespace hostd
