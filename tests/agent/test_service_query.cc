// Queries to other services: the reply comes back, and only a program that is not there
// is blacklisted, for as long as the agent lives.
#include <string>

#include "tests/agent/agent_fixture.h"

namespace snmp::test {
namespace {

constexpr uint32_t VALUE = 0x08000101;
constexpr int ANY_TIMEOUT_MS = 6000;  // callers pass their own; the agent uses its own

// A service on the in-memory bus that answers every get with the same reply.
class Service : public lm::Looper {
public:
    Service(uint32_t program, lm::message answer) : answer_(std::move(answer)) {
        useMemoryBus();
        listen(program);
    }
    lm::message cmdGet(const lm::message&) override {
        ++asked;
        return answer_;
    }
    int asked = 0;

private:
    lm::message answer_;
};

class ServiceQueryTest : public AgentTest {
protected:
    lm::message ask(uint32_t program) {
        lm::message m;
        m.setDestination({program, 0});
        m.setCommand(lm::cmd::GET);
        return agent_->exchangeMessage(m, ANY_TIMEOUT_MS);
    }
};

TEST_F(ServiceQueryTest, AProgramThatIsNotThereIsNeverAskedAgain) {
    constexpr uint32_t PRESENT = 7100, ABSENT = 7200;
    Service present(PRESENT, lm::message().setU32(VALUE, 42));
    EXPECT_EQ(ask(PRESENT).getU32(VALUE), 42u) << "the reply comes back to the caller";
    EXPECT_EQ(lm::getErrorCode(ask(ABSENT)), lm::err::NO_PROGRAM);

    Service late(ABSENT, lm::message().setU32(VALUE, 7));
    const lm::message skipped = ask(ABSENT);
    EXPECT_EQ(late.asked, 0) << "blacklisted: not asked even once it is there";
    EXPECT_EQ(lm::getErrorCode(skipped), lm::err::FAILED);
    EXPECT_EQ(lm::getError(skipped), "");
    EXPECT_EQ(ask(PRESENT).getU32(VALUE), 42u) << "other programs are still asked";
    EXPECT_EQ(present.asked, 2);

    restart();  // the blacklist lasts as long as the agent
    EXPECT_EQ(ask(ABSENT).getU32(VALUE), 7u);
}

TEST_F(ServiceQueryTest, OtherFailuresAreNotBlacklisted) {
    uint32_t program = 7300;
    for (uint32_t code : {lm::err::TIMEOUT, lm::err::BROKEN, lm::err::NO_OBJECT}) {
        Service failing(++program, lm::errorMsg("failed on purpose", code));
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(lm::getErrorCode(ask(program)), code) << std::hex << code;
        EXPECT_EQ(failing.asked, 2) << std::hex << code;
    }
}

}  // namespace
}  // namespace snmp::test
