#include "tools/hostd/sysinfo_service.h"

#include <limits.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

#include "platform/services.h"

namespace hostd {

namespace sysinfo = lm::service::sysinfo;

SystemReadings readSystem() {
    SystemReadings r;
    utsname u{};
    if (uname(&u) == 0)
        r.kernel = SystemReadings::Kernel{u.sysname, u.release, u.version, u.machine};

    // gethostname need not terminate a name that fills the buffer; one spare byte does.
    char name[HOST_NAME_MAX + 2] = {};
    if (gethostname(name, HOST_NAME_MAX + 1) == 0 && name[0] != '\0')
        r.hostName = std::string(name);

    const long cpus = sysconf(_SC_NPROCESSORS_ONLN);
    if (cpus > 0) r.cpuCount = uint32_t(cpus);

    // CLOCK_BOOTTIME keeps counting through suspend, as /proc/uptime does.
    timespec boot{};
    if (clock_gettime(CLOCK_BOOTTIME, &boot) == 0 && boot.tv_sec >= 0)
        r.uptimeSeconds = boot.tv_sec > 0xFFFFFFFF ? 0xFFFFFFFFu : uint32_t(boot.tv_sec);
    return r;
}

lm::message sysinfoReply(const SystemReadings& r) {
    lm::message m;
    if (r.kernel) {
        const auto& k = *r.kernel;
        m.setString(sysinfo::DESCRIPTION,
                    k.sysname + " " + k.release + " " + k.version + " " + k.machine);
        m.setString(sysinfo::OS_NAME, k.sysname);
        m.setString(sysinfo::OS_RELEASE, k.release);
        m.setString(sysinfo::MACHINE, k.machine);
    }
    if (r.hostName) m.setString(sysinfo::HOST_NAME, *r.hostName);
    if (r.cpuCount) m.setU32(sysinfo::CPU_COUNT, *r.cpuCount);
    if (r.uptimeSeconds) m.setU32(sysinfo::UPTIME, *r.uptimeSeconds);
    return m;
}

lm::message SysinfoService::handle(const lm::message& request) {
    const uint32_t command = request.command();
    if (command != lm::cmd::GET) {
        char text[120];
        std::snprintf(
            text, sizeof text,
            "command 0x%06X: system information is a single object and answers get (0xFE000D) only",
            unsigned(command));
        return lm::errorMsg(text, lm::err::BAD_REQUEST);
    }
    // A get naming an object asks for a list entry; this service has no list.
    if (request.getU32(lm::key::OBJECT_ID) != 0)
        return lm::errorMsg("no object " + std::to_string(request.getU32(lm::key::OBJECT_ID)) +
                                ": system information is a single object (get without 0x08FE0001)",
                            lm::err::NO_OBJECT);
    return sysinfoReply(readSystem());
}

}  // namespace hostd
