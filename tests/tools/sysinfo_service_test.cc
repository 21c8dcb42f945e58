// The system-information service of lumo-hostd's host mode, without a bus.
#include <sys/utsname.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/services.h"
#include "tools/hostd/sysinfo_service.h"

namespace {

namespace sysinfo = lm::service::sysinfo;

lm::message request(uint32_t command) {
    lm::message m;
    m.setCommand(command);
    return m;
}

TEST(Sysinfo, GetReadsThisHost) {
    hostd::SysinfoService service;
    const lm::message reply = service.handle(request(lm::cmd::GET));
    ASSERT_FALSE(lm::isError(reply)) << reply;

    utsname u{};
    ASSERT_EQ(uname(&u), 0);
    EXPECT_EQ(reply.getString(sysinfo::DESCRIPTION),
              std::string(u.sysname) + " " + u.release + " " + u.version + " " + u.machine);
    EXPECT_EQ(reply.getString(sysinfo::OS_NAME), u.sysname);
    EXPECT_EQ(reply.getString(sysinfo::OS_RELEASE), u.release);
    EXPECT_EQ(reply.getString(sysinfo::MACHINE), u.machine);

    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(reply.getString(sysinfo::HOST_NAME), name);
    EXPECT_GE(reply.getU32(sysinfo::CPU_COUNT), 1u);
    EXPECT_TRUE(reply.hasU32(sysinfo::UPTIME));
}

TEST(Sysinfo, AbsentReadingsAreAbsentFields) {
    EXPECT_TRUE(hostd::sysinfoReply({}).empty());

    hostd::SystemReadings partial;
    partial.hostName = "edge-1";
    partial.cpuCount = 0;  // a real reading of 0 is still sent
    const lm::message reply = hostd::sysinfoReply(partial);
    EXPECT_EQ(reply.getString(sysinfo::HOST_NAME), "edge-1");
    EXPECT_TRUE(reply.hasU32(sysinfo::CPU_COUNT));
    for (uint32_t key : {sysinfo::DESCRIPTION, sysinfo::OS_NAME, sysinfo::OS_RELEASE,
                         sysinfo::MACHINE, sysinfo::UPTIME})
        EXPECT_FALSE(reply.has(key)) << std::hex << key;
}

TEST(Sysinfo, OnlyAPlainGetIsServed) {
    hostd::SysinfoService service;
    struct Case {
        lm::message req;
        uint32_t code;
    };
    lm::message withId = request(lm::cmd::GET);
    withId.setU32(lm::key::OBJECT_ID, 1);
    const Case cases[] = {
        {request(lm::cmd::GET_ALL), lm::err::BAD_REQUEST},
        {request(lm::cmd::COUNT), lm::err::BAD_REQUEST},
        {request(lm::cmd::SET), lm::err::BAD_REQUEST},
        {request(0x123456), lm::err::BAD_REQUEST},
        {withId, lm::err::NO_OBJECT},
    };
    for (const Case& c : cases) {
        const lm::message reply = service.handle(c.req);
        EXPECT_EQ(lm::getErrorCode(reply), c.code) << c.req;
        EXPECT_FALSE(lm::getError(reply).empty()) << c.req;
    }
}

}  // namespace
