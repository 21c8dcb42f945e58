// Shared by the platform tests: a fresh LUMO_ROOT per test, the bus_echo_server child
// program, and the commands and fields it understands.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/looper.h"
#include "platform/util.h"

namespace lm::test {

constexpr uint32_t ECHO = 0x7000;     // reply {VALUE} with the request's VALUE
constexpr uint32_t SLEEP = 0x7001;    // sleep VALUE ms, then reply with the request
constexpr uint32_t BIG = 0x7002;      // reply with a string of VALUE octets under NAME
constexpr uint32_t NOTE = 0x7004;     // the notification number used by the tests
constexpr uint32_t VALUE = 0x08000101;
constexpr uint32_t NAME = 0x20000102;
constexpr uint32_t PUBLISHER = 5;  // handler id of the test's publishing handler

// The whole of a file; empty when it cannot be read.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A fresh LUMO_ROOT, removed afterwards.
class TempRoot {
public:
    TempRoot() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "lumo-test-XXXXXX").string();
        if (!mkdtemp(tmpl.data())) abort();
        path_ = tmpl;
        setenv("LUMO_ROOT", path_.c_str(), 1);
    }
    ~TempRoot() {
        unsetenv("LUMO_ROOT");
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

#ifdef BUS_ECHO_SERVER  // the path of the program, given to the tests that start it
// Runs bus_echo_server as a child process, its stdout and stderr in files under LUMO_ROOT.
class ChildProgram {
public:
    // Starts the server for program id with extra arguments; LUMO_ROOT is inherited.
    explicit ChildProgram(uint32_t program, std::vector<std::string> extra = {}) {
        const std::string name = std::to_string(program) + "-" + std::to_string(++starts());
        outFile_ = resolvePath("/stdout-" + name);
        errFile_ = resolvePath("/stderr-" + name);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(open(outFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
            dup2(open(errFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            std::vector<std::string> args{BUS_ECHO_SERVER, std::to_string(program)};
            args.insert(args.end(), extra.begin(), extra.end());
            std::vector<char*> argv;
            for (auto& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~ChildProgram() { kill(); }

    pid_t pid() const { return pid_; }

    void kill() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    // The next line of output; empty after 10 s. A looper given here keeps running meanwhile,
    // so the child can talk to it.
    std::string readLine(Looper* pump = nullptr) {
        for (int round = 0; round < 2000; ++round) {
            const std::string out = pendingOutput();
            const size_t nl = out.find('\n');
            if (nl != std::string::npos) {
                taken_ += nl + 1;
                return out.substr(0, nl);
            }
            if (pump) pump->runOnce(5);
            else usleep(5000);
        }
        return {};
    }

    bool waitReady(Looper* pump = nullptr) { return readLine(pump) == "ready"; }

    // Whatever the child has printed and no readLine took, without waiting.
    std::string pendingOutput() const { return readFile(outFile_).substr(taken_); }
    std::string errors() const { return readFile(errFile_); }

private:
    static int& starts() {
        static int n = 0;
        return n;
    }

    pid_t pid_ = -1;
    std::string outFile_, errFile_;
    size_t taken_ = 0;
};
#endif

}  // namespace lm::test
