// Bus round trip between two processes: a get of one small object from a forked server.
// Reports the median and 99th percentile of single round trips beside the mean.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/looper.h"

namespace {

constexpr uint32_t SERVER = 45;

class ObjectServer : public lm::Looper {
public:
    lm::message getObject(uint32_t id) override {
        lm::message m;
        m.setU32(lm::key::OBJECT_ID, id);
        m.setString(0x20010006, "eth" + std::to_string(id));
        m.setU32(0x08010003, 0x500);
        m.setU32(0x08010007, 1500);
        m.setU64(0x10010010, 123456789012ull);
        m.setU64(0x10010011, 987654321098ull);
        return m;
    }
};

// A server process under a private LUMO_ROOT, ended with the benchmark.
class ServerProcess {
public:
    ServerProcess() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "lumo-bench-XXXXXX").string();
        if (!mkdtemp(tmpl.data())) abort();
        root_ = tmpl;
        setenv("LUMO_ROOT", root_.c_str(), 1);
        int ready[2];
        if (pipe(ready) != 0) abort();
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            ObjectServer server;
            if (!server.listen(SERVER)) _exit(1);
            if (write(ready[1], "r", 1) != 1) _exit(1);
            server.run();
            _exit(0);
        }
        close(ready[1]);
        char c;
        if (read(ready[0], &c, 1) != 1) abort();
        close(ready[0]);
    }
    ~ServerProcess() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }

private:
    pid_t pid_;
    std::string root_;
};

void BM_BusRoundTrip(benchmark::State& state) {
    ServerProcess server;
    lm::Looper client;
    std::vector<double> us;
    us.reserve(1 << 20);
    uint32_t id = 0;
    for (auto _ : state) {
        lm::message req;
        req.setDestination({SERVER, 0});
        req.setCommand(lm::cmd::GET);
        req.setU32(lm::key::OBJECT_ID, ++id);
        auto t0 = std::chrono::steady_clock::now();
        lm::message reply = client.exchangeMessage(req, 1000);
        auto t1 = std::chrono::steady_clock::now();
        if (lm::isError(reply)) {
            state.SkipWithError(lm::getError(reply).c_str());
            break;
        }
        benchmark::DoNotOptimize(reply);
        us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    if (us.empty()) return;
    std::sort(us.begin(), us.end());
    state.counters["median_us"] = us[us.size() / 2];
    state.counters["p99_us"] = us[us.size() * 99 / 100];
}
BENCHMARK(BM_BusRoundTrip)->UseRealTime()->MinTime(2.0);

}  // namespace
