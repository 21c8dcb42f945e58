// Which datagrams may be answered out of their turn among other reads: community-form Gets,
// GetNexts and GetBulks only. Anything else, malformed or not, must say no (or be harmless).
#include <gtest/gtest.h>

#include "request/community_read.h"
#include "ber_build.h"

namespace reqtest {
namespace {

using namespace bertest;
using snmp::isCommunityRead;

constexpr uint8_t GET = 0xA0, GETNEXT = 0xA1, SET = 0xA3, TRAP = 0xA4, GETBULK = 0xA5;
constexpr uint8_t INFORM = 0xA6;

TEST(CommunityRead, OnlyCommunityReadsQualify) {
    const Bytes binding = vb("1.3.6.1.2.1.1.1.0", null());
    const struct {
        const char* what;
        int version;
        uint8_t pdu;
        bool read;
    } cases[] = {
        {"v1 Get", 0, GET, true},          {"v2c GetNext", 1, GETNEXT, true},
        {"v2c GetBulk", 1, GETBULK, true}, {"v1 GetBulk (no such thing)", 0, GETBULK, false},
        {"v2c Set", 1, SET, false},        {"v1 Set", 0, SET, false},
        {"v1 Trap", 0, TRAP, false},       {"v2c Inform", 1, INFORM, false},
        {"version 2", 2, GET, false},
    };
    for (const auto& c : cases) {
        const Bytes m = message(c.version, "public", c.pdu, 1, 0, 0, {binding});
        EXPECT_EQ(isCommunityRead(m.data(), m.size()), c.read) << c.what;
    }
    // SNMPv3 carries its PDU inside the scoped PDU, perhaps encrypted: never a community read.
    const Bytes v3 = seq({integer(3), seq({integer(1), integer(1500), octets("\x04"), integer(3)}),
                          octets(""), seq({octets(""), octets(""), tlv(GET, Bytes{})})});
    EXPECT_FALSE(isCommunityRead(v3.data(), v3.size()));
    // Cut short anywhere before the PDU's type: no read.
    const Bytes get = message(1, "public", GET, 1, 0, 0, {binding});
    for (size_t n : {0u, 1u, 2u, 5u, 7u, 13u})
        EXPECT_FALSE(isCommunityRead(get.data(), n)) << n << " octets";
}

}  // namespace
}  // namespace reqtest
