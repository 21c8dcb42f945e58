// lumo-hostd and lumoctl as real processes on a real bus in a temporary LUMO_ROOT.
// Run as: test_tools_integration LUMOCTL HOSTD
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/looper.h"

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

std::string lumoctlPath, hostdPath;

struct Result {
    int status = -1;  // exit status, or 128 + signal
    std::string out, err;
    json js() const { return json::parse(out); }
};

std::string readAll(FILE* f) {
    std::string text;
    rewind(f);
    for (int c; (c = fgetc(f)) != EOF;) text.push_back(char(c));
    fclose(f);
    return text;
}

// Runs a program to its end, its output streams in unnamed temporary files.
Result run(const std::string& program, const std::vector<std::string>& args) {
    FILE* out = tmpfile();
    FILE* err = tmpfile();
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fileno(out), 1);
        dup2(fileno(err), 2);
        std::vector<char*> argv{const_cast<char*>(program.c_str())};
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int ws = 0;
    waitpid(pid, &ws, 0);
    Result r;
    r.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    r.out = readAll(out);
    r.err = readAll(err);
    return r;
}

Result ctl(const std::vector<std::string>& args) { return run(lumoctlPath, args); }

class ToolsIntegration : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        char tmpl[] = "/tmp/lumo-tools-XXXXXX";
        root_ = mkdtemp(tmpl);
        setenv("LUMO_ROOT", root_.c_str(), 1);
        fixture_ = root_ + "/fixture.json";
        writeFixture(250);
        hostd_ = fork();
        if (hostd_ == 0) {
            execl(hostdPath.c_str(), hostdPath.c_str(), "--fixture", fixture_.c_str(), nullptr);
            _exit(127);
        }
        // Ready when both programs answer (bounded: 20 s).
        for (int i = 0; i < 400; ++i) {
            if (ctl({"call", "20/0", "count"}).status == 0 && ctl({"call", "24/14", "get"}).status == 0) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        FAIL() << "lumo-hostd did not come up";
    }

    static void TearDownTestSuite() {
        if (hostd_ > 0) {
            kill(hostd_, SIGTERM);
            int ws = 0;
            waitpid(hostd_, &ws, 0);
            EXPECT_TRUE(WIFEXITED(ws) && WEXITSTATUS(ws) == 0) << "hostd ended with status " << ws;
        }
        fs::remove_all(root_);
    }

    static void writeFixture(uint32_t objects) {
        json list = json::array();
        for (uint32_t id = 1; id <= objects; ++id)
            list.push_back({{"0x08FE0001", id}, {"0x20010006", "eth" + std::to_string(id)}, {"0x08010003", 0x500}});
        json doc = {{"services",
                     {{{"path", {20, 0}},
                       {"objects", list},
                       {"notifications", {{"link-down", {{"number", "0x00010004"}, {"message", {{"0x08FE0001", 7}}}}}}}},
                      {{"path", {24, 14}}, {"object", {{"0x08000001", 42}}}}}}};
        std::ofstream(fixture_) << doc.dump();
    }

    static std::string root_, fixture_;
    static pid_t hostd_;
};

std::string ToolsIntegration::root_, ToolsIntegration::fixture_;
pid_t ToolsIntegration::hostd_ = -1;

TEST_F(ToolsIntegration, CountGetAndSet) {
    Result r = ctl({"call", "20/0", "count", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.js()["0x08FE0014"], 250);

    r = ctl({"--json", "call", "20/0", "get", "0x08FE0001=17"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.js()["0x20010006"], "eth17");
    EXPECT_FALSE(r.js().contains("0x08FF0003"));  // transport fields are not shown

    ASSERT_EQ(ctl({"call", "20/0", "set", "0x08FE0001=17", "0x20010006=uplink"}).status, 0);
    r = ctl({"--json", "call", "20/0", "get", "0x08FE0001=17"});
    EXPECT_EQ(r.js()["0x20010006"], "uplink");

    // request fields from standard input through --input
    std::ofstream(root_ + "/input.json") << R"({"0x08FE0001": 18})";
    r = ctl({"--json", "--input", root_ + "/input.json", "call", "20/0", "get"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.js()["0x20010006"], "eth18");
}

TEST_F(ToolsIntegration, ErrorRepliesExitOneAndSwitches) {
    Result r = ctl({"call", "31/0", "get"});  // nobody listens on program 31
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("error 0xFE000D: ", 0), 0u) << r.err;

    // The error switch, flipped at run time through the control handler.
    ASSERT_EQ(ctl({"call", "20/99", "0x990001", "0x08990001=0", "0x08990002=0xFE0006",
                   "0x20990003=refused on purpose"}).status, 0);
    r = ctl({"call", "20/0", "count"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "error 0xFE0006: refused on purpose\n");
    ASSERT_EQ(ctl({"call", "20/99", "0x990001", "0x08990001=0"}).status, 0);  // no code: cleared
    EXPECT_EQ(ctl({"call", "20/0", "count"}).status, 0);

    // The delay switch makes callers time out.
    ASSERT_EQ(ctl({"call", "24/99", "0x990002", "0x08990004=1500"}).status, 0);
    r = ctl({"--timeout", "100", "call", "24/14", "get"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("error 0xFE0021: ", 0), 0u) << r.err;
    // hostd is still asleep on the timed-out request; this one waits for it
    ASSERT_EQ(ctl({"--timeout", "10000", "call", "24/99", "0x990002", "0x08990004=0"}).status, 0);
    EXPECT_EQ(ctl({"call", "24/14", "get"}).status, 0);
}

TEST_F(ToolsIntegration, UsageErrorsExitTwo) {
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"call", "20/0"},
             {"call", "20/0", "fetch"},
             {"--timeout", "0", "call", "20/0", "get"},
             {"--input", "/nonexistent.json", "call", "20/0", "get"},
             {"snmp"},
         }) {
        Result r = ctl(args);
        EXPECT_EQ(r.status, 2) << testing::PrintToString(args);
        EXPECT_EQ(r.err.rfind("lumoctl: ", 0), 0u) << r.err;
    }
}

// A subscriber in this process receives the notification that the control handler asks
// hostd to publish, from the publishing path.
TEST_F(ToolsIntegration, PublishOnRequest) {
    class Subscriber : public lm::Handler {
    public:
        lm::message cmdUnknown(const lm::message& req, uint32_t command) override {
            if (command == 0x10004) got.push_back(req);
            return {};
        }
        std::vector<lm::message> got;
    };
    lm::Looper looper;
    ASSERT_TRUE(looper.listen(77));
    Subscriber sub;
    looper.addHandler(3, &sub);
    sub.subscribe({20, 0}, 0x10004, lm::message());

    // The subscription is a command: confirm it landed before asking for the publish.
    lm::message probe;
    probe.setDestination({20, 0});
    probe.setCommand(lm::cmd::COUNT);
    ASSERT_FALSE(lm::isError(looper.exchangeMessage(probe, 2000)));

    ASSERT_EQ(ctl({"call", "20/99", "0x990003", "0x20990005=link-down"}).status, 0);
    ASSERT_EQ(ctl({"call", "20/99", "0x990003", "0x08990006=0x10004",
                   "0x28990007={\"0x08FE0001\": 8}"}).status, 0);
    for (int i = 0; i < 200 && sub.got.size() < 2; ++i) looper.runOnce(50);
    ASSERT_EQ(sub.got.size(), 2u);
    EXPECT_EQ(sub.got[0].sender(), (lm::Path{20, 0}));
    EXPECT_EQ(sub.got[0].getU32(lm::key::OBJECT_ID), 7u);
    EXPECT_EQ(sub.got[1].getU32(lm::key::OBJECT_ID), 8u);
}

TEST_F(ToolsIntegration, ReloadKeepsOldDataOnError) {
    writeFixture(5);
    ASSERT_EQ(ctl({"call", "20/99", "0x990004"}).status, 0);
    EXPECT_EQ(ctl({"--json", "call", "20/0", "count"}).js()["0x08FE0014"], 5);

    std::ofstream(fixture_) << R"({"services": [{"path": [20, 0], "objects": [{"0x08FE0001": "one"}]}]})";
    Result r = ctl({"call", "20/99", "0x990004"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("fixture " + fixture_ + ": services[0].objects[0]"), std::string::npos) << r.err;
    EXPECT_EQ(ctl({"--json", "call", "20/0", "count"}).js()["0x08FE0014"], 5);

    writeFixture(250);  // as the other tests expect
    ASSERT_EQ(ctl({"call", "20/99", "0x990004"}).status, 0);
}

TEST(HostdStart, MalformedFixtureIsOneLineAndExitOne) {
    char tmpl[] = "/tmp/lumo-fixture-XXXXXX";
    std::string dir = mkdtemp(tmpl);
    const std::pair<const char*, const char*> cases[] = {
        {"{\"services\": [", "not valid JSON"},
        {"{\"services\": [{\"path\": [20], \"objects\": [{\"0x08FE0001\": -1}]}]}", "out of range"},
    };
    for (const auto& [text, reason] : cases) {
        std::string file = dir + "/bad.json";
        std::ofstream(file) << text;
        Result r = run(hostdPath, {"--fixture", file});
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_NE(r.err.find(file), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
    }
    Result r = run(hostdPath, {"--fixture", dir + "/missing.json"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo-hostd: fixture " + dir + "/missing.json: cannot open\n");
    EXPECT_EQ(run(hostdPath, {"--fixture"}).status, 2);  // no arguments at all is host mode
    fs::remove_all(dir);
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (argc != 3) {
        std::cerr << "usage: test_tools_integration LUMOCTL HOSTD\n";
        return 2;
    }
    lumoctlPath = argv[1];
    hostdPath = argv[2];
    return RUN_ALL_TESTS();
}
