// lumo-hostd: the host's services on the bus. This build serves fixture files only:
//   lumo-hostd --fixture FILE.json
// One program id is served in this process. Several program ids get one worker process
// each (a looper's handler ids are shared by all the programs it listens on, and
// notifications must leave from the right [program, handler]); this process then only
// supervises them: SIGTERM/SIGINT end them all, SIGHUP makes each reload, and when one
// worker dies the others are stopped and hostd exits with status 1.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <set>
#include <vector>

#include "tools/hostd/program_host.h"

namespace {

constexpr int EXIT_USAGE = 2;

int usage(const std::string& problem) {
    if (!problem.empty()) std::cerr << "lumo-hostd: " << problem << "\n";
    std::cerr << "usage: lumo-hostd --fixture FILE.json\n";
    return EXIT_USAGE;
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

int supervise(const std::string& file, const hostd::Fixture& fixture, const std::vector<uint32_t>& programs) {
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
            _exit(serveProgram(file, fixture, program));
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

}  // namespace

int main(int argc, char** argv) {
    std::string file;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--fixture" && i + 1 < argc)
            file = argv[++i];
        else if (arg.rfind("--fixture=", 0) == 0)
            file = arg.substr(10);
        else if (arg == "-h" || arg == "--help") {
            usage("");
            return 0;
        }
        else
            return usage("unexpected argument " + arg);
    }
    if (file.empty()) return usage("this build serves fixture files only; --fixture FILE is required");

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
    if (programs.size() == 1) return serveProgram(file, fixture, programs[0]);
    return supervise(file, fixture, programs);
}
