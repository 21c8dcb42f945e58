// The socket bus between real processes: bus_echo_server children under a fresh LUMO_ROOT.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <thread>

#include "platform/looper.h"
#include "tests/platform/test_helpers.h"

namespace lm::test {
namespace {

constexpr uint32_t SERVER = 31;

message request(uint32_t program, uint32_t command, uint32_t value) {
    message m;
    m.setDestination({program, 0});
    m.setCommand(command);
    m.setU32(VALUE, value);
    return m;
}

message call(Looper& client, uint32_t command, uint32_t value, int timeoutMs = 5000) {
    message m = request(SERVER, command, value);
    return client.exchangeMessage(m, timeoutMs);
}

// Writes raw bytes on a fresh connection and reports whether the server then closed it.
bool serverClosesAfter(const std::vector<uint8_t>& raw) {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::string file = resolvePath("/lumo/bus/" + std::to_string(SERVER) + ".sock");
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", file.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) return false;
    if (send(fd, raw.data(), raw.size(), MSG_NOSIGNAL) != ssize_t(raw.size())) return false;
    pollfd p{fd, POLLIN, 0};
    char c;
    bool closed = poll(&p, 1, 10000) == 1 && recv(fd, &c, 1, 0) == 0;
    close(fd);
    return closed;
}

TEST(SocketBus, TenThousandExchangesALargeReplyAndALateOne) {
    TempRoot root;
    ChildProgram server(SERVER);
    ASSERT_TRUE(server.waitReady());
    Looper client;
    for (uint32_t i = 0; i < 10000; ++i) {
        message reply = call(client, ECHO, i);
        ASSERT_FALSE(isError(reply)) << reply;
        ASSERT_EQ(reply.getU32(VALUE), i);
    }
    message reply = call(client, BIG, 4000000);
    EXPECT_EQ(reply.getString(NAME).size(), 4000000u) << getError(reply);
    EXPECT_EQ(reply.getU32(VALUE), 4000000u);

    // The late reply of a timed-out request is dropped; the next exchange gets its own.
    EXPECT_EQ(getErrorCode(call(client, SLEEP, 300, 20)), err::TIMEOUT);
    reply = call(client, ECHO, 7);
    EXPECT_FALSE(reply.hasU32(lm::key::COMMAND)) << "stale reply taken: " << reply;
    EXPECT_EQ(reply.getU32(VALUE), 7u);
}

TEST(SocketBus, PeerKilledMidExchangeGivesBrokenAtOnce) {
    TempRoot root;
    ChildProgram server(SERVER);
    ASSERT_TRUE(server.waitReady());
    Looper client;
    std::thread killer([pid = server.pid()] {
        usleep(200 * 1000);
        kill(pid, SIGKILL);
    });
    // The time-out is far away: only the lost connection can end this wait with BROKEN.
    message reply = call(client, SLEEP, 60000, 30000);
    killer.join();
    EXPECT_EQ(getErrorCode(reply), err::BROKEN) << reply;
}

uint32_t post(Looper& client, uint32_t command, uint32_t value) {
    message m = request(SERVER, command, value);
    message failure;
    const uint32_t seq = client.postRequest(m, 5000, failure);
    EXPECT_NE(seq, 0u) << failure;
    return seq;
}

TEST(SocketBus, PostedRequestsAreTakenInAnyOrderEachWithItsOwnWait) {
    TempRoot root;
    ChildProgram server(SERVER);
    ASSERT_TRUE(server.waitReady());
    Looper client;
    std::vector<uint32_t> seqs;
    for (uint32_t i = 0; i < 50; ++i) seqs.push_back(post(client, ECHO, i));
    // Taken last first: the others' replies are read on the way and kept.
    for (uint32_t i = 50; i-- > 0;) {
        message reply = client.awaitReply(seqs[i], 5000);
        ASSERT_FALSE(isError(reply)) << reply;
        EXPECT_EQ(reply.getU32(VALUE), i);
        EXPECT_FALSE(reply.has(key::SEQ)) << reply;
    }
    EXPECT_EQ(getErrorCode(client.awaitReply(seqs[0], 5000)), err::BAD_REQUEST) << "taken twice";

    // The wait counts from the call: the second of two slow requests, served after the
    // first, is not late although more than its wait has passed since it was posted.
    const uint32_t slowFirst = post(client, SLEEP, 400);
    const uint32_t slowSecond = post(client, SLEEP, 400);
    EXPECT_FALSE(isError(client.awaitReply(slowFirst, 5000)));
    EXPECT_FALSE(isError(client.awaitReply(slowSecond, 600)));

    // One that times out; the one behind it still comes. A forgotten request's reply and
    // the timed-out one's are dropped when they come.
    const uint32_t slow = post(client, SLEEP, 300);
    const uint32_t behind = post(client, ECHO, 8);
    const uint32_t forgotten = post(client, ECHO, 9);
    client.forgetReply(forgotten);
    EXPECT_EQ(getErrorCode(client.awaitReply(slow, 50)), err::TIMEOUT);
    EXPECT_EQ(client.awaitReply(behind, 5000).getU32(VALUE), 8u);
    EXPECT_EQ(call(client, ECHO, 10).getU32(VALUE), 10u);
    EXPECT_EQ(getErrorCode(client.awaitReply(forgotten, 5000)), err::BAD_REQUEST);

    // The peer goes away: every request still posted to it ends BROKEN.
    const uint32_t first = post(client, SLEEP, 60000);
    const uint32_t second = post(client, ECHO, 11);
    server.kill();
    EXPECT_EQ(getErrorCode(client.awaitReply(first, 30000)), err::BROKEN);
    EXPECT_EQ(getErrorCode(client.awaitReply(second, 30000)), err::BROKEN);
}

TEST(SocketBus, MissingProgramAnswersNoProgramUntilItIsBack) {
    TempRoot root;
    Looper client;
    EXPECT_EQ(getErrorCode(call(client, ECHO, 1)), err::NO_PROGRAM);

    // A program that died leaves its socket file behind; a kept connection to it is dead too.
    auto server = std::make_unique<ChildProgram>(SERVER);
    ASSERT_TRUE(server->waitReady());
    ASSERT_FALSE(isError(call(client, ECHO, 1)));
    server->kill();
    EXPECT_EQ(getErrorCode(call(client, ECHO, 2)), err::NO_PROGRAM);
    message command = request(SERVER, ECHO, 3);
    client.send(command);  // dropped quietly

    server = std::make_unique<ChildProgram>(SERVER);  // restarted: reached on a fresh connection
    ASSERT_TRUE(server->waitReady());
    EXPECT_EQ(call(client, ECHO, 4).getU32(VALUE), 4u);
}

TEST(SocketBus, MalformedFramesCloseTheConnectionWithOneLine) {
    TempRoot root;
    ChildProgram server(SERVER);
    ASSERT_TRUE(server.waitReady());
    Looper client;
    struct Case {
        const char* what;
        std::vector<uint8_t> raw;
    };
    const Case cases[] = {
        {"huge length", {0xFF, 0xFF, 0xFF, 0x7F, 1, 2, 3}},
        {"bad version", {5, 0, 0, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"garbage body", {9, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0x07, 0x42, 0x13, 0x00}},
        {"truncated field", {6, 0, 0, 0, 1, 0x01, 0x00, 0xFE, 0x08, 0x07}},
    };
    size_t lines = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(serverClosesAfter(c.raw));
        std::string errors = server.errors();
        EXPECT_EQ(size_t(std::count(errors.begin(), errors.end(), '\n')), ++lines) << errors;
        EXPECT_EQ(call(client, ECHO, 11).getU32(VALUE), 11u);
    }
}

TEST(SocketBus, NotificationsReachSubscribersAndDeadOnesAreForgotten) {
    TempRoot root;
    constexpr uint32_t PUB = 40, SUB = 41;
    Looper looper;
    Handler publisher;
    looper.addHandler(PUBLISHER, &publisher);
    ASSERT_TRUE(looper.listen(PUB));
    message note;
    note.setU32(key::OBJECT_ID, 9);

    auto subscriber = std::make_unique<ChildProgram>(SUB, std::vector<std::string>{"subscribe", "40"});
    ASSERT_TRUE(subscriber->waitReady(&looper));
    publisher.publish(NOTE, note);
    EXPECT_EQ(subscriber->readLine(), "notified 40 5 to 41 0");

    subscriber->kill();
    publisher.publish(NOTE, note);  // finds the subscriber gone

    // A new program under the same id has not subscribed: nothing may reach it. The echo
    // goes out on the same connection after any notification, so its answer bounds the wait.
    subscriber = std::make_unique<ChildProgram>(SUB);
    ASSERT_TRUE(subscriber->waitReady());
    publisher.publish(NOTE, note);
    message echo = request(SUB, ECHO, 1);
    ASSERT_EQ(looper.exchangeMessage(echo, 5000).getU32(VALUE), 1u);
    EXPECT_EQ(subscriber->pendingOutput(), "");
}

}  // namespace
}  // namespace lm::test
