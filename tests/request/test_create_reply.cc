// Datagram in, datagram out: every reply is compared byte for byte with one built
// independently, so the error-status rules a manager depends on are pinned down.
#include <gtest/gtest.h>

#include "ber_build.h"
#include "request_fixture.h"

namespace reqtest {
namespace {

using namespace bertest;

constexpr uint8_t GET = 0xA0, GETNEXT = 0xA1, RESPONSE = 0xA2, SET = 0xA3, GETBULK = 0xA5;
const std::string sysDescr = "1.3.6.1.2.1.1.1.0", sysObjectID = "1.3.6.1.2.1.1.2.0",
                  sysUpTime = "1.3.6.1.2.1.1.3.0", sysContact = "1.3.6.1.2.1.1.4.0",
                  sysServices = "1.3.6.1.2.1.1.7.0";
const Bytes descrValue = octets("lumo test agent");

Bytes response(int version, const std::string& community, int32_t id, int status, int index,
               std::initializer_list<Bytes> bindings) {
    return message(version, community, RESPONSE, id, status, index, bindings);
}

#define EXPECT_BYTES(expected, actual) EXPECT_EQ(hex(expected), hex(actual))

TEST_F(RequestTest, GetAnswersScalarsInEveryCommunityVersion) {
    for (int version : {0, 1}) {
        Bytes req = message(version, "public", GET, 77, 0, 0, {vb(sysDescr, null())});
        EXPECT_BYTES(response(version, "public", 77, 0, 0, {vb(sysDescr, descrValue)}), answer(req));
    }
    // Version 2 is treated as community-based too.
    Bytes req = message(2, "public", GET, 5, 0, 0, {vb(sysUpTime, null())});
    EXPECT_BYTES(response(2, "public", 5, 0, 0, {vb(sysUpTime, integer(12345, 0x43))}), answer(req));
}

TEST_F(RequestTest, GetOfMissingInstanceReportsNoSuchNameWithIndex) {
    // v2c: the failing binding is echoed with NULL, its index reported, later ones dropped.
    Bytes req = message(1, "public", GET, 9, 0, 0,
                        {vb(sysDescr, null()), vb("1.3.6.1.2.1.1.1", null()), vb(sysServices, null())});
    EXPECT_BYTES(response(1, "public", 9, 2, 2,
                          {vb(sysDescr, descrValue), vb("1.3.6.1.2.1.1.1", null())}),
                 answer(req));
    // v1: every binding from the failing one on comes back with NULL.
    req = message(0, "public", GET, 10, 0, 0,
                  {vb(sysDescr, null()), vb("1.3.6.1.9", null()), vb(sysServices, null())});
    EXPECT_BYTES(response(0, "public", 10, 2, 2,
                          {vb(sysDescr, descrValue), vb("1.3.6.1.9", null()), vb(sysServices, null())}),
                 answer(req));
    // A name shorter than every branch, and a leaf that has no data right now.
    req = message(1, "public", GET, 11, 0, 0, {vb("1.3", null())});
    EXPECT_BYTES(response(1, "public", 11, 2, 1, {vb("1.3", null())}), answer(req));
    req = message(1, "public", GET, 12, 0, 0, {vb("1.3.6.1.4.1.99.1.0", null())});
    EXPECT_BYTES(response(1, "public", 12, 2, 1, {vb("1.3.6.1.4.1.99.1.0", null())}), answer(req));
}

TEST_F(RequestTest, GetNextWalksLeavesAndSkipsThoseWithoutData) {
    Bytes req = message(1, "public", GETNEXT, 1, 0, 0,
                        {vb("1.3.6", null()), vb(sysDescr, null()), vb("1.3.6.1.4.1.99", null())});
    EXPECT_BYTES(response(1, "public", 1, 0, 0,
                          {vb(sysDescr, descrValue),
                           vb(sysObjectID, oid("1.3.6.1.4.1.47392.1")),
                           vb("1.3.6.1.4.1.99.2.0", integer(5))}),
                 answer(req));
    // Past the last object: noSuchName on the binding.
    req = message(1, "public", GETNEXT, 2, 0, 0, {vb("1.3.6.1.4.1.99.2.0", null())});
    EXPECT_BYTES(response(1, "public", 2, 2, 1, {vb("1.3.6.1.4.1.99.2.0", null())}), answer(req));
}

TEST_F(RequestTest, GetBulkServesNonRepeatersThenRepetitions) {
    Bytes req = message(1, "public", GETBULK, 3, 1, 3, {vb(sysDescr, null()), vb(sysUpTime, null())});
    EXPECT_BYTES(response(1, "public", 3, 0, 0,
                          {vb(sysObjectID, oid("1.3.6.1.4.1.47392.1")),
                           vb(sysContact, octets("noc")), vb(sysServices, integer(72)),
                           vb("1.3.6.1.4.1.99.2.0", integer(5))}),
                 answer(req));
}

TEST_F(RequestTest, GetBulkOffTheEndOwesEndOfMibViewForEveryRepetition) {
    Bytes req = message(1, "public", GETBULK, 4, 0, 4, {vb("1.3.6.1.4.1.99.2", null())});
    EXPECT_BYTES(response(1, "public", 4, 0, 0,
                          {vb("1.3.6.1.4.1.99.2.0", integer(5)),
                           vb("1.3.6.1.4.1.99.2", null(0x82)), vb("1.3.6.1.4.1.99.2", null(0x82)),
                           vb("1.3.6.1.4.1.99.2", null(0x82))}),
                 answer(req));
}

TEST_F(RequestTest, GetBulkLimitsAreRefusedWithAnEmptyList) {
    Bytes req = message(1, "public", GETBULK, 5, 0, 51, {vb(sysDescr, null())});
    EXPECT_BYTES(response(1, "public", 5, 1, 0, {}), answer(req));
    req = message(1, "public", GETBULK, 6, 0, 0, {vb(sysDescr, null())});
    EXPECT_BYTES(response(1, "public", 6, 3, 0, {}), answer(req));
    // Non-repeaters alone are a valid request.
    req = message(1, "public", GETBULK, 7, 1, 0, {vb(sysDescr, null())});
    EXPECT_BYTES(response(1, "public", 7, 0, 0, {vb(sysObjectID, oid("1.3.6.1.4.1.47392.1"))}),
                 answer(req));
    // Fifty repetitions are still served.
    req = message(1, "public", GETBULK, 8, 0, 50, {vb(sysDescr, null())});
    EXPECT_FALSE(answer(req).empty());
}

TEST_F(RequestTest, SetWritesThroughTheProviderOnlyWithWriteAccess) {
    Bytes req = message(1, "public", SET, 20, 0, 0, {vb(sysContact, octets("ops"))});
    EXPECT_BYTES(response(1, "public", 20, 4, 0, {vb(sysContact, null())}), answer(req));
    EXPECT_EQ("noc", contactProvider().stored.text);

    req = message(1, "private", SET, 21, 0, 0, {vb(sysContact, octets("ops"))});
    EXPECT_BYTES(response(1, "private", 21, 0, 0, {vb(sysContact, octets("ops"))}), answer(req));
    EXPECT_EQ("ops", contactProvider().stored.text);

    // Constants are not writable, and a name under no branch is unknown.
    req = message(1, "private", SET, 22, 0, 0, {vb(sysDescr, octets("x"))});
    EXPECT_BYTES(response(1, "private", 22, 2, 1, {vb(sysDescr, null())}), answer(req));
    req = message(0, "private", SET, 23, 0, 0, {vb("1.2.3", integer(1)), vb(sysContact, octets("y"))});
    EXPECT_BYTES(response(0, "private", 23, 2, 1, {vb("1.2.3", null()), vb(sysContact, null())}),
                 answer(req));
    EXPECT_EQ("ops", contactProvider().stored.text);
}

TEST_F(RequestTest, RequestsThatMustNotBeAnsweredAreDropped) {
    const Bytes get = message(1, "public", GET, 1, 0, 0, {vb(sysDescr, null())});
    EXPECT_FALSE(answer(get).empty());
    EXPECT_TRUE(answer(message(1, "nobody", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    EXPECT_TRUE(answer(message(1, "Public", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // A record demanding v3 security never admits a community request.
    EXPECT_TRUE(answer(message(1, "secure", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // Sources outside the record's prefixes; an IPv4 prefix never admits native IPv6.
    EXPECT_TRUE(answer(message(1, "lan", GET, 1, 0, 0, {vb(sysDescr, null())}), "192.0.2.1").empty());
    EXPECT_FALSE(answer(message(1, "lan", GET, 1, 0, 0, {vb(sysDescr, null())}), "10.1.2.3").empty());
    EXPECT_TRUE(answer(get, "::1").empty());
    EXPECT_FALSE(answer(message(1, "six", GET, 1, 0, 0, {vb(sysDescr, null())}), "::1").empty());
    // Inform, Response and trap PDUs, and versions above 3.
    for (uint8_t pdu : {0xA2, 0xA4, 0xA6, 0xA7, 0xA8})
        EXPECT_TRUE(answer(message(1, "public", pdu, 1, 0, 0, {vb(sysDescr, null())})).empty()) << int(pdu);
    EXPECT_TRUE(answer(message(4, "public", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // Truncated and empty datagrams.
    for (size_t n = 0; n < get.size(); ++n)
        EXPECT_TRUE(answer(Bytes(get.begin(), get.begin() + n)).empty()) << n;
}

}  // namespace
}  // namespace reqtest
