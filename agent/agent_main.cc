// The agent's life from start to end: lumo-snmpd's main, and the test agents' that add
// tables of their own after the built-in modules.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <memory>

#include "agent/agent_main.h"
#include "agent/plugin_loader.h"
#include "agent/snmp_looper.h"
#include "modules/modules.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "request/logs.h"
#include "security/usm_crypto.h"
#include "traps/trap_info.h"

namespace {

constexpr uint32_t STARTUP_DELAY_MS = 100;      // the start-up callback runs once the loop does
constexpr uint32_t PLATFORM_PROGRAM = 1;        // receives the ready message
constexpr uint32_t READY_PROGRAM = 0x08000005;  // ready message: the program that is ready

// rand() serves what still asks it: seed it from /dev/urandom, falling back on the time (a
// short read keeps the time's remaining bytes). Traps take their ids from their own sequence.
void seedRandom() {
    unsigned seed = static_cast<unsigned>(time(nullptr));
    int fd = open("/dev/urandom", O_RDONLY);
    if (fd >= 0) {
        ssize_t got = read(fd, &seed, sizeof seed);
        (void)got;
        close(fd);
    }
    srand(seed);
}

}  // namespace

namespace snmp {

// The start-up trace lines name the statements they precede: debug stream only.
int runAgent(void (*extraModules)()) {
    LLOG(dlog) << "loop = new SnmpLooper();" << std::endl;
    seedRandom();
    initCrypto();
    auto agent = std::make_unique<SnmpLooper>();
    loop = agent.get();
    LLOG(dlog) << "loop->init();" << std::endl;
    loop->init();

    // Built-in modules, in their fixed order: system, IP, bridge, interfaces, entity,
    // health, virtual machines (those not built yet are absent).
    start_system_module();
    start_snmp_engine_module();
    start_interface_module();
    start_health_module();
    start_vm_module();
    if (extraModules) extraModules();
    loadPlugins();

    trapMakers.push_back(&velmarTrapMaker);
    loop->startSubscribers();
    loop->runner().addTimer(STARTUP_DELAY_MS, [] { loop->startup(); });

    lm::message ready;
    ready.setU32Array(lm::key::DEST, {PLATFORM_PROGRAM});
    ready.setU32(READY_PROGRAM, AGENT_PROGRAM);
    loop->sendCmd(ready, lm::cmd::READY);

    loop->run();
    loop = nullptr;  // the agent ends here; nothing may reach it afterwards
    return 0;
}

}  // namespace snmp
