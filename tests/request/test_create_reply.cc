// Datagram in, datagram out: every reply is compared byte for byte with one built
// independently, so the rules a manager depends on are pinned down: exceptions per binding
// in v2c, noSuchName in v1, names that always increase, GetBulk row order, replies that
// fit, and a Set that validates everything before it writes anything.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <vector>

#include "ber_build.h"
#include "request_fixture.h"
#include "wire/in_stream.h"

namespace reqtest {
namespace {

using namespace bertest;

constexpr uint8_t GET = 0xA0, GETNEXT = 0xA1, RESPONSE = 0xA2, SET = 0xA3, GETBULK = 0xA5;
constexpr uint8_t NO_SUCH_OBJECT = 0x80, NO_SUCH_INSTANCE = 0x81, END_OF_MIB_VIEW = 0x82;
constexpr uint8_t COUNTER64 = 0x46;
constexpr int V1 = 0, V2C = 1;
enum Status { noError = 0, tooBig = 1, noSuchName = 2, badValue = 3, readOnly = 4, genErr = 5,
              wrongType = 7, wrongLength = 8, noCreation = 11, commitFailed = 14,
              notWritable = 17 };

const std::string sysDescr = "1.3.6.1.2.1.1.1.0", sysObjectID = "1.3.6.1.2.1.1.2.0",
                  sysUpTime = "1.3.6.1.2.1.1.3.0", sysContact = "1.3.6.1.2.1.1.4.0",
                  sysServices = "1.3.6.1.2.1.1.7.0", constant5 = "1.3.6.1.4.1.99.2.0",
                  counter64 = "1.3.6.1.4.1.99.3.0", refusing = "1.3.6.1.4.1.99.4.0";

// The test MIB's instances in name order, with their values: the reference for walks.
const std::vector<std::pair<std::string, Bytes>>& walkOrder() {
    static const std::vector<std::pair<std::string, Bytes>> order = {
        {sysDescr, octets("lumo test agent")},
        {sysObjectID, oid("1.3.6.1.4.1.47392.1")},
        {sysUpTime, integer(12345, 0x43)},
        {sysContact, octets("noc")},
        {sysServices, integer(72)},
        {constant5, integer(5)},
        {counter64, Bytes{COUNTER64, 6, 1, 0, 0, 0, 0, 0}},
        {refusing, integer(0)},
    };
    return order;
}

Bytes valueOf(const std::string& name) {
    for (const auto& [n, v] : walkOrder())
        if (n == name) return v;
    ADD_FAILURE() << "no value for " << name;
    return {};
}

Bytes answered(const std::string& name) { return vb(name, valueOf(name)); }

Bytes response(int version, const std::string& community, int32_t id, int status, int index,
               const std::vector<Bytes>& bindings) {
    return message(version, community, RESPONSE, id, status, index, bindings);
}

#define EXPECT_BYTES(expected, actual) EXPECT_EQ(hex(expected), hex(actual))

TEST_F(RequestTest, GetAnswersScalarsInEveryCommunityVersion) {
    for (int version : {V1, V2C, 2}) {  // version 2 is community-based too
        Bytes req = message(version, "public", GET, 77, 0, 0, {vb(sysDescr, null()), vb(sysUpTime, null())});
        EXPECT_BYTES(response(version, "public", 77, 0, 0, {answered(sysDescr), answered(sysUpTime)}),
                     answer(req));
    }
}

TEST_F(RequestTest, V2cGetAnswersEveryBindingWithItsOwnException) {
    Bytes req = message(V2C, "public", GET, 9, 0, 0,
                        {vb(sysDescr, null()), vb("1.3.6.1.2.1.1.99.0", null()),
                         vb("1.3.6.1.2.1.1.1.1", null()), vb("1.3.6.1.2.1.1.1", null()),
                         vb("1.3.6.1.4.1.99.1.0", null()), vb("1.3", null()), vb(sysServices, null())});
    EXPECT_BYTES(response(V2C, "public", 9, 0, 0,
                          {answered(sysDescr), vb("1.3.6.1.2.1.1.99.0", null(NO_SUCH_OBJECT)),
                           vb("1.3.6.1.2.1.1.1.1", null(NO_SUCH_INSTANCE)),
                           vb("1.3.6.1.2.1.1.1", null(NO_SUCH_INSTANCE)),
                           vb("1.3.6.1.4.1.99.1.0", null(NO_SUCH_INSTANCE)), vb("1.3", null(NO_SUCH_OBJECT)),
                           answered(sysServices)}),
                 answer(req));
}

TEST_F(RequestTest, V1GetEchoesTheRequestWithTheFirstFailingIndex) {
    // The bindings come back exactly as they were asked, whatever values they carried.
    Bytes req = message(V1, "public", GET, 10, 0, 0,
                        {vb(sysDescr, integer(7)), vb("1.3.6.1.9", null()), vb(sysServices, null())});
    EXPECT_BYTES(response(V1, "public", 10, noSuchName, 2,
                          {vb(sysDescr, integer(7)), vb("1.3.6.1.9", null()), vb(sysServices, null())}),
                 answer(req));

    // The 300th binding fails: the index needs two octets, and nothing before it wraps.
    std::vector<Bytes> bindings(299, vb(sysDescr, null()));
    bindings.push_back(vb("1.3.6.1.2.1.1.1.5", null()));
    req = message(V1, "public", GET, 11, 0, 0, bindings);
    EXPECT_BYTES(response(V1, "public", 11, noSuchName, 300, bindings), answer(req));
    // The same in v2c: 299 values and one exception, no error.
    std::vector<Bytes> values(299, answered(sysDescr));
    values.push_back(vb("1.3.6.1.2.1.1.1.5", null(NO_SUCH_INSTANCE)));
    req = message(V2C, "public", GET, 12, 0, 0, bindings);
    EXPECT_BYTES(response(V2C, "public", 12, 0, 0, values), answer(req));
}

TEST_F(RequestTest, GetNextAnswersTheSmallestGreaterName) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"1.3.6", sysDescr},
        {"1.3.6.1.2.1.1.1", sysDescr},
        {"1.3.6.1.2.1.1.0.0", sysDescr},  // below every branch of the group, not inside one
        {sysDescr, sysObjectID},
        {"1.3.6.1.2.1.1.1.0.7", sysObjectID},
        {"1.3.6.1.2.1.1.4.0.5", sysServices},
        {sysServices, constant5},  // 99.1 has no data right now: stepped over
        {constant5, counter64},
        {"1.3.6.1.4.1.99.3", counter64},
    };
    for (const auto& [asked, next] : cases) {
        SCOPED_TRACE(asked);
        Bytes req = message(V2C, "public", GETNEXT, 1, 0, 0, {vb(asked, null())});
        EXPECT_BYTES(response(V2C, "public", 1, 0, 0, {answered(next)}), answer(req));
    }
}

TEST_F(RequestTest, PastTheLastObjectV2cAnswersEndOfMibViewAndV1NoSuchName) {
    for (const std::string& asked : {refusing, std::string("1.3.6.1.4.1.99.4.0.1"), std::string("2.1")}) {
        SCOPED_TRACE(asked);
        Bytes req = message(V2C, "public", GETNEXT, 2, 0, 0, {vb(sysDescr, null()), vb(asked, null())});
        EXPECT_BYTES(response(V2C, "public", 2, 0, 0,
                              {answered(sysObjectID), vb(asked, null(END_OF_MIB_VIEW))}),
                     answer(req));
        req = message(V1, "public", GETNEXT, 3, 0, 0, {vb(sysDescr, null()), vb(asked, null())});
        EXPECT_BYTES(response(V1, "public", 3, noSuchName, 2, {vb(sysDescr, null()), vb(asked, null())}),
                     answer(req));
    }
}

TEST_F(RequestTest, V1NeverSeesACounter64) {
    Bytes req = message(V1, "public", GET, 4, 0, 0, {vb(counter64, null())});
    EXPECT_BYTES(response(V1, "public", 4, noSuchName, 1, {vb(counter64, null())}), answer(req));
    req = message(V1, "public", GETNEXT, 5, 0, 0, {vb(constant5, null())});
    EXPECT_BYTES(response(V1, "public", 5, 0, 0, {answered(refusing)}), answer(req));
    req = message(V2C, "public", GET, 6, 0, 0, {vb(counter64, null())});
    EXPECT_BYTES(response(V2C, "public", 6, 0, 0, {answered(counter64)}), answer(req));
}

std::vector<uint32_t> arcs(const std::string& dotted) {
    std::vector<uint32_t> out;
    std::stringstream ss(dotted);
    for (std::string part; std::getline(ss, part, '.');) out.push_back(static_cast<uint32_t>(std::stoul(part)));
    return out;
}

// The reply a GetBulk must get, from the walk order: non-repeaters once, then the
// repeaters row by row, each column going on from its own last name; a column past the end
// answers endOfMibView under the name it asked; the repetition in which every column has
// run out is the last.
std::vector<Bytes> expectedBulk(const std::vector<std::string>& names, size_t nonRepeaters,
                                size_t repetitions) {
    auto next = [](const std::string& after) -> const std::string* {
        for (const auto& entry : walkOrder())
            if (arcs(entry.first) > arcs(after)) return &entry.first;
        return nullptr;
    };
    std::vector<Bytes> out;
    for (size_t i = 0; i < nonRepeaters && i < names.size(); ++i) {
        const std::string* n = next(names[i]);
        out.push_back(n ? answered(*n) : vb(names[i], null(END_OF_MIB_VIEW)));
    }
    std::vector<std::string> last(names.begin() + static_cast<long>(std::min(nonRepeaters, names.size())),
                                  names.end());
    for (size_t rep = 0; rep < repetitions && !last.empty(); ++rep) {
        bool anyLeft = false;
        for (std::string& name : last) {
            const std::string* n = next(name);
            if (n) {
                out.push_back(answered(*n));
                name = *n;
                anyLeft = true;
            } else {
                out.push_back(vb(name, null(END_OF_MIB_VIEW)));
            }
        }
        if (!anyLeft) break;
    }
    return out;
}

TEST_F(RequestTest, GetBulkAnswersRowByRowAndEndsCleanlyAtTheEndOfTheMib) {
    struct Case {
        std::vector<std::string> names;
        int64_t nonRepeaters, maxRepetitions;
        size_t servedRepetitions;
    };
    const std::vector<Case> cases = {
        // Two non-repeaters and three repeaters over 40 repetitions: row order, and every
        // column runs off the end under its own last name.
        {{"1.3.6", sysUpTime, sysDescr, sysContact, constant5}, 2, 40, 40},
        {{"1.3.6.1.4.1.99.2"}, 0, 4, 4},   // at the end of the MIB
        {{refusing}, 0, 10, 10},            // past it: one row of endOfMibView
        {{sysDescr}, 0, 1000, 50},          // more than 50 asked: 50 served
        {{sysDescr, sysDescr}, 5, 10, 0},   // non-repeaters beyond the list
        {{sysDescr}, -3, 2, 2},             // negative counts count as 0
        {{sysDescr}, 1, 0, 0},              // non-repeaters alone
        {{sysDescr}, 0, 0, 0},              // nothing asked: an empty answer
    };
    int32_t id = 100;
    for (const Case& k : cases) {
        SCOPED_TRACE(id);
        std::vector<Bytes> bindings;
        for (const std::string& n : k.names) bindings.push_back(vb(n, null()));
        Bytes req = message(V2C, "public", GETBULK, id, k.nonRepeaters, k.maxRepetitions, bindings);
        const size_t nr = static_cast<size_t>(std::max<int64_t>(k.nonRepeaters, 0));
        EXPECT_BYTES(response(V2C, "public", id, 0, 0, expectedBulk(k.names, nr, k.servedRepetitions)),
                     answer(req));
        ++id;
    }
    // GetBulk does not exist in SNMPv1: dropped.
    EXPECT_TRUE(answer(message(V1, "public", GETBULK, 1, 0, 5, {vb(sysDescr, null())})).empty());
}

// The response's error status and index and its number of bindings.
struct Summary {
    unsigned status = 0, index = 0, bindings = 0;
};

Summary summarize(const Bytes& reply) {
    snmp::InStream in(reply.data(), static_cast<unsigned>(reply.size()));
    Summary s;
    std::string community;
    unsigned requestId = 0;
    in.getVersion();
    EXPECT_TRUE(in.getString(&community));
    EXPECT_EQ(RESPONSE, in.getType());
    EXPECT_GE(in.enterSeq(), 0);
    EXPECT_TRUE(in.getInt(&requestId) && in.getInt(&s.status) && in.getInt(&s.index));
    EXPECT_GE(in.enterSeq(), 0);
    for (; !in.atEnd(); ++s.bindings) {
        EXPECT_GE(in.enterSeq(), 0);
        in.exitSeq();
    }
    return s;
}

TEST_F(RequestTest, RepliesStayWithinTheLargestDatagram) {
    // A GetBulk is cut back to the bindings that fit.
    std::vector<Bytes> columns(1500, vb("1.3.6", null()));
    Bytes reply = answer(message(V2C, "public", GETBULK, 1, 0, 50, columns));
    ASSERT_FALSE(reply.empty());
    EXPECT_LE(reply.size(), 65507u);
    EXPECT_GT(reply.size(), 65000u);
    Summary s = summarize(reply);
    EXPECT_EQ(0u, s.status);
    EXPECT_GT(s.bindings, 1500u);
    // A Get that cannot fit answers tooBig with an empty list.
    std::vector<Bytes> many(3000, vb(sysDescr, null()));
    EXPECT_BYTES(response(V2C, "public", 2, tooBig, 0, {}),
                 answer(message(V2C, "public", GET, 2, 0, 0, many)));
}

TEST_F(RequestTest, SetValidatesEveryBindingBeforeWritingAny) {
    struct Case {
        std::vector<Bytes> bindings;
        int v2cStatus, v1Status, index;
    };
    const std::vector<Case> cases = {
        {{vb(sysContact, integer(65))}, wrongType, badValue, 1},
        {{vb(sysContact, octets(std::string(256, 'x')))}, wrongLength, badValue, 1},
        {{vb(sysDescr, octets("x"))}, notWritable, noSuchName, 1},       // constant
        {{vb("1.2.3", integer(1))}, notWritable, noSuchName, 1},        // under no branch
        {{vb("1.3.6.1.2.1.1.4.4.5", octets("x"))}, noCreation, noSuchName, 1},
        {{vb("1.3.6.1.2.1.1.4", octets("x"))}, noCreation, noSuchName, 1},
        // The second binding fails: the first is left as it was.
        {{vb(sysContact, octets("ops")), vb(sysUpTime, integer(1, 0x43))}, notWritable, noSuchName, 2},
        {{vb(sysContact, octets("ops")), vb(sysContact, null())}, wrongType, badValue, 2},
    };
    int32_t id = 20;
    for (const Case& k : cases) {
        SCOPED_TRACE(id);
        for (int version : {V1, V2C}) {
            Bytes req = message(version, "private", SET, id, 0, 0, k.bindings);
            EXPECT_BYTES(response(version, "private", id, version == V1 ? k.v1Status : k.v2cStatus,
                                  k.index, k.bindings),
                         answer(req));
        }
        EXPECT_EQ("noc", contactProvider().stored.text);
        EXPECT_EQ(0, contactProvider().writes);
        ++id;
    }
}

TEST_F(RequestTest, SetWritesInOrderAndPutsBackWhatALaterWriteCouldNotKeep) {
    const std::vector<Bytes> ok = {vb(sysContact, octets("ops")), vb(sysContact, octets("noc2"))};
    EXPECT_BYTES(response(V2C, "private", 30, 0, 0, ok), answer(message(V2C, "private", SET, 30, 0, 0, ok)));
    EXPECT_EQ("noc2", contactProvider().stored.text);

    // The service refuses the second write: commitFailed (genErr in v1), and the first
    // binding's value is written back.
    contactProvider().stored.text = "noc";
    contactProvider().writes = 0;
    const std::vector<Bytes> refused = {vb(sysContact, octets("ops")), vb(refusing, integer(3))};
    for (int version : {V2C, V1}) {
        EXPECT_BYTES(response(version, "private", 31, version == V1 ? genErr : commitFailed, 2, refused),
                     answer(message(version, "private", SET, 31, 0, 0, refused)));
        EXPECT_EQ("noc", contactProvider().stored.text);
    }
    EXPECT_EQ(4, contactProvider().writes);  // each time: the write, then the undo
}

TEST_F(RequestTest, AccessIsCheckedWithTheReplyHeaderIntactWhateverItsLength) {
    // A read-only community refuses Set (readOnly, index 0); with a 250-octet name the
    // error fields lie past octet 255 and must still be where the manager reads them.
    for (const std::string& community : {std::string("public"), longCommunity_}) {
        SCOPED_TRACE(community.size());
        Bytes req = message(V2C, community, SET, 40, 0, 0, {vb(sysContact, octets("ops"))});
        EXPECT_BYTES(response(V2C, community, 40, readOnly, 0, {vb(sysContact, octets("ops"))}), answer(req));
        req = message(V2C, community, GET, 41, 0, 0, {vb(sysDescr, null())});
        EXPECT_BYTES(response(V2C, community, 41, 0, 0, {answered(sysDescr)}), answer(req));
    }
    EXPECT_EQ("noc", contactProvider().stored.text);
}

TEST_F(RequestTest, RequestsThatMustNotBeAnsweredAreDropped) {
    const Bytes get = message(V2C, "public", GET, 1, 0, 0, {vb(sysDescr, null())});
    EXPECT_FALSE(answer(get).empty());
    EXPECT_TRUE(answer(message(V2C, "nobody", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    EXPECT_TRUE(answer(message(V2C, "Public", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // A record demanding v3 security never admits a community request.
    EXPECT_TRUE(answer(message(V2C, "secure", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // Sources outside the record's prefixes; an IPv4 prefix never admits native IPv6.
    EXPECT_TRUE(answer(message(V2C, "lan", GET, 1, 0, 0, {vb(sysDescr, null())}), "192.0.2.1").empty());
    EXPECT_FALSE(answer(message(V2C, "lan", GET, 1, 0, 0, {vb(sysDescr, null())}), "10.1.2.3").empty());
    EXPECT_TRUE(answer(get, "::1").empty());
    EXPECT_FALSE(answer(message(V2C, "six", GET, 1, 0, 0, {vb(sysDescr, null())}), "::1").empty());
    // Inform, Response and trap PDUs, and versions above 3.
    for (uint8_t pdu : {0xA2, 0xA4, 0xA6, 0xA7, 0xA8})
        EXPECT_TRUE(answer(message(V2C, "public", pdu, 1, 0, 0, {vb(sysDescr, null())})).empty()) << int(pdu);
    EXPECT_TRUE(answer(message(4, "public", GET, 1, 0, 0, {vb(sysDescr, null())})).empty());
    // Truncated and empty datagrams.
    for (size_t n = 0; n < get.size(); ++n)
        EXPECT_TRUE(answer(Bytes(get.begin(), get.begin() + n)).empty()) << n;
}

}  // namespace
}  // namespace reqtest
