// The system-information service of lumo-hostd's host mode, without a bus.
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

// Readings from this host are checked in host mode on a real bus (hostd_host_mode_test.sh).
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
    lm::message withId = request(lm::cmd::GET);
    withId.setU32(lm::key::OBJECT_ID, 1);
    const std::pair<lm::message, uint32_t> cases[] = {
        {request(lm::cmd::GET_ALL), lm::err::BAD_REQUEST},
        {request(lm::cmd::SET), lm::err::BAD_REQUEST},
        {withId, lm::err::NO_OBJECT},
    };
    for (const auto& [req, code] : cases)
        EXPECT_EQ(lm::getErrorCode(service.handle(req)), code) << req;
}

}  // namespace
