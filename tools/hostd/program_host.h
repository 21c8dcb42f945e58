// Everything lumo-hostd serves for one program id: its looper, one service per handler
// with that service's switches (error reply, delay, paging) and request counter, and the
// control handler 99.
//
// A looper's handler ids are shared by every program it listens on, so hostd gives each
// program a looper (and a process) of its own; see main.cc.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/looper.h"
#include "tools/hostd/fixture.h"
#include "tools/hostd/host_service.h"

namespace hostd {

// The switches that make a service misbehave; changeable at run time.
struct Switches {
    uint32_t errorCode = 0;  // 0: answer normally
    std::string errorText;
    uint32_t delayMs = 0;
    PagingMode paging = PagingMode::NORMAL;
};

// One handler id of the program: the service behind it and its switches.
struct Slot {
    uint32_t handlerId = 0;
    std::unique_ptr<HostService> service;  // null: the path left the fixture on a reload
    Switches switches;
    uint32_t requests = 0;  // requests the service handled, for tests that count queries
    uint32_t fieldLists = 0;  // of those, get-alls that carried a field list
    std::map<std::string, Notification> notifications;
    lm::Handler* endpoint = nullptr;       // the looper for handler 0, else an adapter

    // Applies the switches, then lets the service answer.
    lm::message serve(const lm::message& request);
};

class ProgramHost {
public:
    // fixtureFile is empty in host mode: the services are installed, not read from a file.
    ProgramHost(std::string fixtureFile, uint32_t programId);
    ~ProgramHost();

    // Builds the services of this program from the fixture (the paths of other programs
    // are ignored). Called once before listen(), and again by reload().
    void apply(const Fixture& fixture);
    // Host mode: serves this service at [program, handlerId], with no switches set.
    void install(uint32_t handlerId, std::unique_ptr<HostService> service);
    bool listen();  // opens the program's bus endpoint; false with a line on stderr
    int run();      // until SIGTERM or SIGINT; SIGHUP reloads
    // Re-reads the fixture file. On failure the old data stays and error says why.
    bool reload(std::string& error);

    uint32_t programId() const { return programId_; }
    Slot* slot(uint32_t handlerId);
    const std::map<uint32_t, std::unique_ptr<Slot>>& slots() const { return slots_; }
    lm::Looper& looper();

private:
    Slot& slotFor(uint32_t handlerId);  // creates the slot and its bus handler on first use
    void watchSignals();

    std::string fixtureFile_;
    uint32_t programId_;
    class Loop;
    class SlotHandler;
    class ControlHandler;
    std::unique_ptr<Loop> looper_;
    std::unique_ptr<ControlHandler> control_;
    std::map<uint32_t, std::unique_ptr<Slot>> slots_;  // never erased: handlers keep pointers
    std::map<uint32_t, std::unique_ptr<SlotHandler>> adapters_;
    int signalFd_ = -1;
};

}  // namespace hostd
