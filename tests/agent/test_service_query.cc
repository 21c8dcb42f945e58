// Queries to other services: the reply comes back; a program that is not there is skipped
// for 30 s and one that does not answer for 10 s, then asked again; other failures are not
// skipped. The agent's clock is moved on instead of waiting.
#include <chrono>
#include <string>

#include "tests/agent/agent_fixture.h"

namespace snmp::test {
namespace {

constexpr uint32_t VALUE = 0x08000101;
constexpr int ANY_TIMEOUT_MS = 6000;  // callers pass their own; the agent uses its own

ServiceSkips::Clock::time_point fakeNow;

// A service on the in-memory bus that answers every get with the same reply, taking `delay`
// of the agent's clock to do it.
class Service : public lm::Looper {
public:
    Service(uint32_t program, lm::message answer) : answer_(std::move(answer)) {
        useMemoryBus();
        listen(program);
    }
    lm::message cmdGet(const lm::message&) override {
        ++asked;
        fakeNow += delay;
        return answer_;
    }
    int asked = 0;
    std::chrono::milliseconds delay{0};

private:
    lm::message answer_;
};

class ServiceQueryTest : public AgentTest {
protected:
    void SetUp() override {
        AgentTest::SetUp();
        fakeNow = ServiceSkips::Clock::now();
        agent_->clock = [] { return fakeNow; };
    }
    static void wait(std::chrono::seconds s) { fakeNow += s; }
    lm::message ask(uint32_t program) {
        lm::message m;
        m.setDestination({program, 0});
        m.setCommand(lm::cmd::GET);
        return agent_->exchangeMessage(m, ANY_TIMEOUT_MS);
    }
};

TEST_F(ServiceQueryTest, AProgramThatIsNotThereIsSkippedThenAskedAgain) {
    constexpr uint32_t PRESENT = 7100, ABSENT = 7200;
    Service present(PRESENT, lm::message().setU32(VALUE, 42));
    EXPECT_EQ(ask(PRESENT).getU32(VALUE), 42u) << "the reply comes back to the caller";
    EXPECT_EQ(lm::getErrorCode(ask(ABSENT)), lm::err::NO_PROGRAM);

    Service late(ABSENT, lm::message().setU32(VALUE, 7));
    wait(std::chrono::seconds(29));
    const lm::message skipped = ask(ABSENT);
    EXPECT_EQ(late.asked, 0) << "skipped: not asked within 30 s, even once it is there";
    EXPECT_EQ(lm::getErrorCode(skipped), lm::err::FAILED);
    EXPECT_EQ(ask(PRESENT).getU32(VALUE), 42u) << "other programs are still asked";
    EXPECT_EQ(present.asked, 2);

    wait(std::chrono::seconds(1));
    EXPECT_EQ(ask(ABSENT).getU32(VALUE), 7u) << "asked again after 30 s";
    EXPECT_EQ(ask(ABSENT).getU32(VALUE), 7u);
    EXPECT_EQ(late.asked, 2);
}

// Every get ends as the bus ends a query whose reply did not come within the agent's wait.
class TimingOutService : public lm::Looper {
public:
    explicit TimingOutService(uint32_t program) {
        useMemoryBus();
        listen(program);
    }
    lm::message cmdGet(const lm::message&) override {
        ++asked;
        return lm::errorMsg("no answer in time", lm::err::TIMEOUT);
    }
    int asked = 0;
};

TEST_F(ServiceQueryTest, AProgramThatTimesOutIsSkippedForTenSeconds) {
    constexpr uint32_t STALLED = 7250;
    TimingOutService stalled(STALLED);
    EXPECT_EQ(lm::getErrorCode(ask(STALLED)), lm::err::TIMEOUT);
    wait(std::chrono::seconds(9));
    EXPECT_EQ(lm::getErrorCode(ask(STALLED)), lm::err::FAILED);
    EXPECT_EQ(stalled.asked, 1) << "one wait per 10 s, not one per request";
    wait(std::chrono::seconds(1));
    ask(STALLED);
    EXPECT_EQ(stalled.asked, 2);
}

// In a burst's first round a query is posted and the request put off, unless the program was
// slow to answer last time: then it is asked at once, as outside a burst.
TEST_F(ServiceQueryTest, OnlyProgramsThatAnswerPromptlyAreLookedAheadFor) {
    constexpr uint32_t PROGRAM = 7400;
    Service service(PROGRAM, lm::message().setU32(VALUE, 42));
    BurstLookahead& lookahead = agent_->lookahead;
    lookahead.lookAhead(0);
    EXPECT_THROW(ask(PROGRAM), QueryDeferred) << "a program never asked counts as prompt";
    lookahead.answer(0);
    EXPECT_EQ(ask(PROGRAM).getU32(VALUE), 42u) << "the put-off request takes the posted reply";
    EXPECT_EQ(service.asked, 1) << "and does not ask again";

    service.delay = BurstLookahead::PROMPT + std::chrono::milliseconds(1);
    lookahead.answer(1);
    ask(PROGRAM);
    lookahead.lookAhead(2);
    EXPECT_EQ(ask(PROGRAM).getU32(VALUE), 42u) << "slow last time: asked at once";
    service.delay = BurstLookahead::PROMPT;
    lookahead.lookAhead(3);
    EXPECT_EQ(ask(PROGRAM).getU32(VALUE), 42u) << "still slow from the query before";
    lookahead.lookAhead(4);
    EXPECT_THROW(ask(PROGRAM), QueryDeferred) << "prompt again";
    EXPECT_EQ(lookahead.finish().size(), 1u) << "the last posted query was never taken";
}

TEST_F(ServiceQueryTest, OtherFailuresAreNotBlacklisted) {
    uint32_t program = 7300;
    for (uint32_t code : {lm::err::BROKEN, lm::err::NO_OBJECT}) {
        Service failing(++program, lm::errorMsg("failed on purpose", code));
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(lm::getErrorCode(ask(program)), code) << std::hex << code;
        EXPECT_EQ(failing.asked, 2) << std::hex << code;
    }
}

}  // namespace
}  // namespace snmp::test
