// lumo-hostd: the host's services on the bus.
//   lumo-hostd                     host mode: this Linux host's own services
//   lumo-hostd --fixture FILE.json the objects of a fixture file, for tests and demos
// One program id is served in this process. Several program ids get one worker process
// each (a looper's handler ids are shared by all the programs it listens on, and
// notifications must leave from the right [program, handler]); this process then only
// supervises them: SIGTERM/SIGINT end them all, SIGHUP makes each reload, and when one
// worker dies the others are stopped and hostd exits with status 1.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <memory>
#include <set>
#include <vector>

#include "platform/services.h"
#include "tools/hostd/interface_service.h"
#include "tools/hostd/program_host.h"
#include "tools/hostd/guest_service.h"
#include "tools/hostd/health_service.h"
#include "tools/hostd/sysinfo_service.h"

namespace {

constexpr int EXIT_USAGE = 2;

// lumo-launch tells a fixture-only build by a usage line ending in "--fixture FILE.json";
// this one must not match.
constexpr const char* USAGE =
    "usage: lumo-hostd [--fixture FILE.json]\n"
    "  (no arguments)        serve this host: interfaces at [20, 0], system information at [24, 2]\n"
    "  --fixture FILE.json   serve the objects of a fixture file instead (tests, demos)\n";

int usage(const std::string& problem) {
    std::cerr << "lumo-hostd: " << problem << "\n" << USAGE;
    return EXIT_USAGE;
}

// Host mode: the programs this host serves and the services of each, one class per
// service.
struct HostProgram {
    uint32_t program;
    void (*install)(hostd::ProgramHost& host);
};

const HostProgram HOST_PROGRAMS[] = {
    {lm::service::INTERFACES_PROGRAM,
     [](hostd::ProgramHost& host) {
         host.install(lm::service::INTERFACES_HANDLER,
                      std::make_unique<hostd::InterfaceService>(host.looper().runner()));
     }},
    {lm::service::SYSTEM_PROGRAM,
     [](hostd::ProgramHost& host) {
         host.install(lm::service::SYSINFO_HANDLER, std::make_unique<hostd::SysinfoService>());
         host.install(lm::service::HEALTH_HANDLER, std::make_unique<hostd::HealthService>());
     }},
    {lm::service::FULL_GUESTS_PROGRAM,
     [](hostd::ProgramHost& host) {
         host.install(lm::service::GUESTS_HANDLER, std::make_unique<hostd::GuestService>());
     }},
    {lm::service::NESTLING_GUESTS_PROGRAM,
     [](hostd::ProgramHost& host) {
         host.install(lm::service::GUESTS_HANDLER, std::make_unique<hostd::GuestService>());
     }},
};

int serveHostProgram(uint32_t program) {
    hostd::ProgramHost host("", program);
    for (const HostProgram& p : HOST_PROGRAMS)
        if (p.program == program) p.install(host);
    if (!host.listen()) return 1;
    return host.run();
}

// The programs to listen on: every program named by a path, except those where any path
// asks for "no_program".
std::vector<uint32_t> programsToServe(const hostd::Fixture& fixture) {
    std::set<uint32_t> named, absent;
    for (const auto& s : fixture.services) (s.noProgram ? absent : named).insert(s.path[0]);
    std::vector<uint32_t> out;
    for (uint32_t p : named)
        if (!absent.count(p)) out.push_back(p);
    return out;
}

int serveProgram(const std::string& file, const hostd::Fixture& fixture, uint32_t program) {
    hostd::ProgramHost host(file, program);
    host.apply(fixture);
    if (!host.listen()) return 1;
    return host.run();
}

void stopAll(const std::vector<pid_t>& workers, int sig) {
    for (pid_t pid : workers)
        if (pid > 0) kill(pid, sig);
}

using ServeFn = std::function<int(uint32_t program)>;

int supervise(const std::vector<uint32_t>& programs, const ServeFn& serve) {
    sigset_t set;
    sigemptyset(&set);
    for (int sig : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&set, sig);
    sigprocmask(SIG_BLOCK, &set, nullptr);  // workers inherit the mask; they read TERM/INT/HUP by signalfd

    const pid_t parent = getpid();
    std::vector<pid_t> workers;
    for (uint32_t program : programs) {
        pid_t pid = fork();
        if (pid < 0) {
            std::cerr << "lumo-hostd: fork failed for program " << program << std::endl;
            stopAll(workers, SIGTERM);
            return 1;
        }
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);  // a killed supervisor takes its workers along
            if (getppid() != parent) _exit(1);
            _exit(serve(program));
        }
        workers.push_back(pid);
    }

    int status = 0;
    bool stopping = false;
    size_t running = workers.size();
    while (running > 0) {
        int sig;
        if (sigwait(&set, &sig) != 0) continue;
        if (sig == SIGHUP) {
            stopAll(workers, SIGHUP);
            continue;
        }
        if ((sig == SIGTERM || sig == SIGINT) && !stopping) {
            stopping = true;
            stopAll(workers, SIGTERM);
        }
        int ws;
        pid_t pid;
        while ((pid = waitpid(-1, &ws, WNOHANG)) > 0) {
            for (pid_t& w : workers)
                if (w == pid) {
                    w = -1;
                    --running;
                }
            if (!stopping) {  // nobody asked this worker to end
                stopping = true;
                status = 1;
                std::cerr << "lumo-hostd: a worker ended; stopping the others" << std::endl;
                stopAll(workers, SIGTERM);
            }
        }
    }
    return status;
}

// Serves one program here, or several through one worker process each.
int serveAll(const std::vector<uint32_t>& programs, const ServeFn& serve) {
    if (programs.size() == 1) return serve(programs[0]);
    return supervise(programs, serve);
}

int fixtureMode(const std::string& file) {
    hostd::Fixture fixture;
    std::string error;
    if (!hostd::loadFixture(file, fixture, error)) {
        std::cerr << "lumo-hostd: " << error << std::endl;
        return 1;
    }
    std::vector<uint32_t> programs = programsToServe(fixture);
    if (programs.empty()) {
        std::cerr << "lumo-hostd: fixture " << file << ": every program is marked no_program" << std::endl;
        return 1;
    }
    return serveAll(programs, [&](uint32_t program) { return serveProgram(file, fixture, program); });
}

int hostMode() {
    std::set<uint32_t> programs;  // a program may hold several services
    for (const HostProgram& p : HOST_PROGRAMS) programs.insert(p.program);
    return serveAll({programs.begin(), programs.end()}, serveHostProgram);
}

}  // namespace

int main(int argc, char** argv) {
    std::string file;
    bool fixture = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--fixture" && i + 1 < argc) {
            file = argv[++i];
            fixture = true;
        } else if (arg.rfind("--fixture=", 0) == 0) {
            file = arg.substr(10);
            fixture = true;
        } else if (arg == "-h" || arg == "--help") {
            std::cout << USAGE;
            return 0;
        } else if (arg == "--fixture") {
            return usage("--fixture needs a file");
        } else {
            return usage("unexpected argument " + arg);
        }
    }
    if (fixture && file.empty()) return usage("--fixture needs a file");
    return fixture ? fixtureMode(file) : hostMode();
}
