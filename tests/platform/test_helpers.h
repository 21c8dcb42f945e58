// Shared by the platform tests: a fresh LUMO_ROOT per test, the bus_echo_server child
// program, and the commands and fields it understands.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/looper.h"
#include "platform/util.h"

namespace lm::test {

constexpr uint32_t ECHO = 0x7000;     // reply {VALUE} with the request's VALUE
constexpr uint32_t SLEEP = 0x7001;    // sleep VALUE ms, then reply with the request
constexpr uint32_t BIG = 0x7002;      // reply with VALUE objects under key::OBJECTS
constexpr uint32_t PUBLISH = 0x7003;  // publish NOTE {OBJECT_ID = VALUE} from PUBLISHER
constexpr uint32_t NOTE = 0x7004;     // the notification number used by the tests
constexpr uint32_t VALUE = 0x08000101;
constexpr uint32_t NAME = 0x20000102;
constexpr uint32_t PUBLISHER = 5;  // handler id of the publishing handler

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
// Runs bus_echo_server as a child process with its stdout on a pipe and its stderr in a file.
class ChildProgram {
public:
    // Starts the server for program id with extra arguments; LUMO_ROOT is inherited.
    explicit ChildProgram(uint32_t program, std::vector<std::string> extra = {}) {
        errFile_ = resolvePath("/stderr-" + std::to_string(program) + "-" + std::to_string(++starts()));
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) abort();
        pid_ = fork();
        if (pid_ == 0) {
            dup2(fds[1], 1);
            int err = open(errFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (err >= 0) dup2(err, 2);
            std::vector<std::string> args{BUS_ECHO_SERVER, std::to_string(program)};
            args.insert(args.end(), extra.begin(), extra.end());
            std::vector<char*> argv;
            for (auto& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(fds[1]);
        out_ = fds[0];
        fcntl(out_, F_SETFL, O_NONBLOCK);
    }
    ~ChildProgram() {
        kill();
        close(out_);
    }

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
        for (int round = 0; round < 1000; ++round) {
            std::string line;
            if (takeLine(line)) return line;
            if (pump) pump->runOnce(5);
            pollfd p{out_, POLLIN, 0};
            if (poll(&p, 1, pump ? 5 : 10) > 0) readAvailable();
        }
        return {};
    }

    bool waitReady(Looper* pump = nullptr) { return readLine(pump) == "ready"; }

    // Whatever the child has printed so far, without waiting.
    std::string pendingOutput() {
        readAvailable();
        return buffered_;
    }

    std::string errors() const {
        std::ifstream in(errFile_);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

private:
    static int& starts() {
        static int n = 0;
        return n;
    }
    void readAvailable() {
        char buf[4096];
        ssize_t n;
        while ((n = read(out_, buf, sizeof buf)) > 0) buffered_.append(buf, size_t(n));
    }
    bool takeLine(std::string& line) {
        readAvailable();
        size_t nl = buffered_.find('\n');
        if (nl == std::string::npos) return false;
        line = buffered_.substr(0, nl);
        buffered_.erase(0, nl + 1);
        return true;
    }

    pid_t pid_ = -1;
    int out_ = -1;
    std::string errFile_;
    std::string buffered_;
};
#endif

}  // namespace lm::test
