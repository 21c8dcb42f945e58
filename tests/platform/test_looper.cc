// The runner, routing and subscriptions, on the in-memory bus within one process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/bus_internal.h"
#include "platform/looper.h"

namespace lm {
namespace {

constexpr uint32_t NOTE = 0x00010004;

// Remembers what reached it; answers get with its own object.
class Recorder : public Handler {
public:
    message getObject(uint32_t id) override {
        message m;
        m.setU32(key::OBJECT_ID, id);
        return m;
    }
    message cmdUnknown(const message& req, uint32_t command) override {
        if (command == NOTE || command == cmd::CHANGED) {
            seen.push_back(req);
            return {};
        }
        return Handler::cmdUnknown(req, command);
    }
    bool filterMatches(const message& filter, const message& m) const override {
        return !filter.hasU32(key::OBJECT_ID) ||
               filter.getU32(key::OBJECT_ID) == m.getU32(key::OBJECT_ID);
    }
    std::vector<message> seen;
};

message to(Path dest, uint32_t command) {
    message m;
    m.setDestination(std::move(dest));
    m.setCommand(command);
    return m;
}

struct MemoryBus : ::testing::Test {
    MemoryBus() {
        for (Looper* l : {&a, &b}) l->useMemoryBus();
        a.listen(10);
        b.listen(20);
        b.addHandler(3, &target);
        a.addHandler(4, &listener);
    }
    Looper a, b;
    Recorder target, listener;
};

TEST_F(MemoryBus, RequestsAreRoutedByPathAndCommand) {
    const struct { Path dest; uint32_t command, errorCode; /* 0: an answer */ } cases[] = {
        {{20, 3}, cmd::GET, 0},
        {{20, 7}, cmd::GET, err::NO_OBJECT},   // no such handler
        {{99, 0}, cmd::GET, err::NO_PROGRAM},  // no such program
        {{20, 3}, cmd::SET, err::BAD_REQUEST},
        {{20, 3}, 0x1234, err::BAD_REQUEST},
        {{20}, cmd::GET, err::NO_OBJECT},  // the looper itself has no objects by default
    };
    for (const auto& c : cases) {
        message req = to(c.dest, c.command);
        req.setU32(key::OBJECT_ID, 42);
        message reply = a.exchangeMessage(req, 1000);
        EXPECT_EQ(getErrorCode(reply), c.errorCode) << c.dest[0] << " " << c.command << reply;
        EXPECT_EQ(reply.getU32(key::OBJECT_ID), c.errorCode ? 0u : 42u);

        // Posted and taken later, the same request gets the same answer.
        message posted = to(c.dest, c.command);
        posted.setU32(key::OBJECT_ID, 42);
        message failure;
        const uint32_t seq = a.postRequest(posted, 1000, failure);
        const message later = seq ? a.awaitReply(seq, 1000) : failure;
        EXPECT_EQ(getErrorCode(later), c.errorCode) << later;
        EXPECT_EQ(later.getU32(key::OBJECT_ID), reply.getU32(key::OBJECT_ID));
    }
}

TEST_F(MemoryBus, NotificationsAndChangesCarryThePublisherPath) {
    message filter;
    filter.setU32(key::OBJECT_ID, 2);
    listener.subscribe({20, 3}, NOTE, filter);
    for (uint32_t id : {1u, 2u}) {
        message n;
        n.setU32(key::OBJECT_ID, id);
        target.publish(NOTE, n);
    }
    ASSERT_EQ(listener.seen.size(), 1u);
    EXPECT_EQ(listener.seen[0].getU32(key::OBJECT_ID), 2u);
    EXPECT_EQ(listener.seen[0].sender(), (Path{20, 3}));
    EXPECT_EQ(listener.seen[0].destination(), (Path{10, 4}));

    listener.unsubscribe({20, 3}, NOTE, filter);
    message n;
    n.setU32(key::OBJECT_ID, 2);
    target.publish(NOTE, n);
    EXPECT_EQ(listener.seen.size(), 1u);

    // Changes reach their subscribers without the request's header.
    listener.subscribe({20, 3}, cmd::CHANGED, message());
    message change = to({20, 3}, cmd::SET);
    change.setString(0x20000002, "lab");
    change.setU32(key::SEQ, 77);
    target.notifyChange(7, change);
    ASSERT_EQ(listener.seen.size(), 2u);
    const message& got = listener.seen[1];
    EXPECT_EQ(got.command(), cmd::CHANGED);
    EXPECT_EQ(got.getU32(key::OBJECT_ID), 7u);
    EXPECT_EQ(got.getString(0x20000002), "lab");
    EXPECT_FALSE(got.has(key::SEQ));
}

TEST_F(MemoryBus, UndoRecordGoesToThePlatform) {
    struct Platform : Looper {
        message cmdUnknown(const message& req, uint32_t command) override {
            if (command == cmd::UNDO) got.push_back(req);
            return {};
        }
        std::vector<message> got;
    };
    message undo;
    undo.setString(0x20000002, "old");
    target.sendUndo(message(), undo, "changed it");  // nobody listens: dropped

    Platform platform;
    platform.useMemoryBus();
    platform.listen(1);
    target.sendUndo(message(), undo, "changed it");
    ASSERT_EQ(platform.got.size(), 1u);
    ASSERT_NE(platform.got[0].findMsg(key::UNDO_MSG), nullptr);
    EXPECT_EQ(*platform.got[0].findMsg(key::UNDO_MSG), undo);
    EXPECT_EQ(platform.got[0].getString(key::UNDO_TEXT), "changed it");
}

TEST(Frames, ReassembledWhateverTheReadSizes) {
    message small = to({20, 3}, cmd::GET);
    message big;
    big.setString(0x20000002, std::string(200000, 'x'));
    bytes stream;
    appendFrame(stream, small);
    appendFrame(stream, big);
    appendFrame(stream, small);
    for (size_t step : {size_t(1), size_t(3), size_t(4096), stream.size()}) {
        FrameReader reader;
        std::vector<message> got;
        message m;
        std::string error;
        for (size_t at = 0; at < stream.size();) {
            size_t room = 0;
            uint8_t* p = reader.writable(room);
            size_t n = std::min({step, room, stream.size() - at});
            std::copy_n(stream.data() + at, n, p);
            reader.commit(n);
            at += n;
            while (reader.next(m, error) == FrameReader::FRAME) got.push_back(m);
        }
        ASSERT_EQ(got.size(), 3u) << "step " << step;
        EXPECT_EQ(got[0], small);
        EXPECT_EQ(got[1], big);
        EXPECT_EQ(got[2], small);
    }
}

TEST(Runner, TimersRunInDueOrderAndCancelledOnesNever) {
    Looper loop;
    std::string order;
    loop.runner().addTimer(30, [&] { order += "c"; });
    loop.runner().addTimer(10, [&] { order += "a"; });
    uint64_t cancelled = loop.runner().addTimer(20, [&] { order += "x"; });
    loop.runner().addTimer(20, [&] { order += "b"; });
    loop.runner().addTimer(40, [&] { loop.stop(); });
    loop.runner().cancelTimer(cancelled);
    loop.run();
    EXPECT_EQ(order, "abc");
}

TEST(Runner, SocketRemovedByAnotherCallbackGetsNoStaleEvent) {
    Looper loop;
    int p1[2], p2[2];
    ASSERT_EQ(pipe(p1), 0);
    ASSERT_EQ(pipe(p2), 0);
    int calls = 0;
    // Both become readable in the same round; whichever runs first removes both.
    auto cb = [&](int, unsigned events) {
        EXPECT_EQ(events & ThinRunner::READABLE, unsigned(ThinRunner::READABLE));
        ++calls;
        loop.runner().removeSocket(p1[0]);
        loop.runner().removeSocket(p2[0]);
    };
    loop.runner().addSocket(p1[0], ThinRunner::READABLE, cb);
    loop.runner().addSocket(p2[0], ThinRunner::READABLE, cb);
    ASSERT_EQ(write(p1[1], "x", 1), 1);
    ASSERT_EQ(write(p2[1], "x", 1), 1);
    for (int i = 0; i < 3; ++i) loop.runOnce(10);
    EXPECT_EQ(calls, 1);
    for (int fd : {p1[0], p1[1], p2[0], p2[1]}) close(fd);
}

TEST(Leave, EndsTheLoopOnlyWhenIdleExitIsAllowed) {
    for (bool allowed : {false, true}) {
        setenv("LUMO_IDLE_EXIT", allowed ? "1" : "0", 1);
        Looper loop;
        bool stoppedByTimer = false;
        loop.setupLeave(10);
        loop.runner().addTimer(200, [&] {
            stoppedByTimer = true;
            loop.stop();
        });
        loop.run();
        EXPECT_EQ(stoppedByTimer, !allowed);
    }
    unsetenv("LUMO_IDLE_EXIT");
}

}  // namespace
}  // namespace lm
