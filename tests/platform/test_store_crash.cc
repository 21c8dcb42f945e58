// A store rewritten in a loop and killed with SIGKILL at random moments must always load
// as one complete record set: never a mix, never a torn or corrupt file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>

#include "platform/store.h"
#include "tests/platform/test_helpers.h"

namespace lm {
namespace {

using Records = std::map<uint32_t, message>;

Records recordSet(char tag, size_t padding) {
    Records set;
    for (uint32_t n = 1; n <= 50; ++n)
        set[n].setU32(0xFE0001, n).setRaw(0xFE0003, bytes(padding + n, uint8_t(tag)));
    return set;
}

Records contents(const Store& s) {
    Records out;
    for (uint32_t n : s.records()) s.get(n, out[n]);
    return out;
}

[[noreturn]] void rewriteForever(const Records& a, const Records& b, int readyFd) {
    Store s("/lumo/store/crash");
    for (unsigned i = 0;; ++i) {
        if (!s.replace(i % 2 ? b : a)) _exit(2);
        if (i == 0) {
            const char c = 1;
            if (write(readyFd, &c, 1) != 1) _exit(3);
        }
    }
}

TEST(StoreCrash, KillDuringRewritesLeavesOneCompleteSet) {
    test::TempRoot root;
    const Records a = recordSet('A', 40), b = recordSet('B', 700);  // different file sizes
    std::string file;
    {
        Store s("/lumo/store/crash");
        ASSERT_TRUE(s.replace(a));
        file = s.filePath();
    }
    const unsigned seed = std::random_device{}();
    std::mt19937 rng(seed);
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::uniform_int_distribution<int> delayUs(0, 15000);

    for (int kill_ = 0; kill_ < 60; ++kill_) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(fds[0]);
            rewriteForever(a, b, fds[1]);
        }
        close(fds[1]);
        char c;
        ASSERT_EQ(read(fds[0], &c, 1), 1) << "writer did not start";  // one rewrite done
        close(fds[0]);
        usleep(useconds_t(delayUs(rng)));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "writer failed with status " << status;

        testing::internal::CaptureStderr();
        Store s("/lumo/store/crash");
        const std::string err = testing::internal::GetCapturedStderr();
        ASSERT_EQ(err, "") << "after kill " << kill_;
        ASSERT_FALSE(std::filesystem::exists(file + ".corrupt"));
        const Records got = contents(s);  // which of the two survives depends on timing
        ASSERT_TRUE(got == a || got == b) << "after kill " << kill_ << ": a mix of both sets";
    }
}

}  // namespace
}  // namespace lm
