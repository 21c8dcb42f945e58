// Decodes request datagrams captured from the net-snmp tools (see capture_requests.sh).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/wire/test_util.h"
#include "wire/in_stream.h"

namespace snmp {
namespace {

// The octets of a fixture file: '#' lines are comments, the rest is hex.
test::Bytes loadFixture(const std::string& name) {
    std::ifstream f(std::string(WIRE_FIXTURE_DIR) + "/" + name + ".hex");
    if (!f) {
        ADD_FAILURE() << "cannot open fixture " << name;
        return {};
    }
    std::string line, body;
    while (std::getline(f, line)) {
        if (!line.empty() && line[0] != '#') body += line + " ";
    }
    return test::hex(body);
}

struct Binding {
    OID name;
    unsigned char valueTag;
    std::string value;  // OCTET STRING values only
};

struct Request {
    const char* file;
    int version;
    const char* community;
    unsigned char pdu;
    unsigned int second, third;  // error status/index, or non-repeaters/max-repetitions
    std::vector<Binding> bindings;
};

void walk(const Request& want) {
    SCOPED_TRACE(want.file);
    const test::Bytes octets = loadFixture(want.file);
    ASSERT_FALSE(octets.empty());
    InStream in(octets.data(), static_cast<unsigned>(octets.size()));
    test::CoutCapture quiet;  // any diagnostic fails the comparison below

    EXPECT_EQ(in.getVersion(), want.version);
    std::string community;
    ASSERT_TRUE(in.getString(&community));
    EXPECT_EQ(community, want.community);
    EXPECT_EQ(in.getType(), want.pdu);
    ASSERT_GT(in.enterSeq(), 0);
    unsigned int requestId = 0, second = 99, third = 99;
    ASSERT_TRUE(in.getInt(&requestId));
    ASSERT_TRUE(in.getInt(&second));
    ASSERT_TRUE(in.getInt(&third));
    EXPECT_EQ(second, want.second);
    EXPECT_EQ(third, want.third);
    // The request-id is random; it must still be what the header octets say.
    EXPECT_EQ(requestId & 0xFF, octets[in.position() - 7]);

    ASSERT_GE(in.enterSeq(), 0);
    std::vector<Binding> got;
    while (!in.atEnd()) {
        ASSERT_GT(in.enterSeq(), 0);
        Binding b;
        ASSERT_TRUE(in.getOID(&b.name));
        b.valueTag = in.getType();
        if (b.valueTag == 0x04) {
            ASSERT_TRUE(in.getString(&b.value));
        } else {
            ASSERT_TRUE(in.getNull());
        }
        EXPECT_TRUE(in.atEnd());
        in.exitSeq();
        got.push_back(b);
    }
    ASSERT_EQ(got.size(), want.bindings.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].name, want.bindings[i].name) << i;
        EXPECT_EQ(got[i].valueTag, want.bindings[i].valueTag) << i;
        EXPECT_EQ(got[i].value, want.bindings[i].value) << i;
    }
    in.exitSeq();
    in.exitSeq();
    in.exitSeq();
    EXPECT_EQ(in.position(), octets.size());
    EXPECT_EQ(quiet.text(), "");
}

const OID sysDescr{1, 3, 6, 1, 2, 1, 1, 1, 0};

TEST(CapturedRequests, CommunityMessagesDecode) {
    const Request requests[] = {
        {"v1_get_sysdescr", 0, "public", 0xA0, 0, 0, {{sysDescr, 0x05, ""}}},
        {"v2c_get_sysdescr", 1, "public", 0xA0, 0, 0, {{sysDescr, 0x05, ""}}},
        {"v2c_get_three",
         1,
         "public",
         0xA0,
         0,
         0,
         {{sysDescr, 0x05, ""},
          {OID{1, 3, 6, 1, 2, 1, 1, 3, 0}, 0x05, ""},
          {OID{1, 3, 6, 1, 2, 1, 1, 5, 0}, 0x05, ""}}},
        {"v2c_get_large_arcs",
         1,
         "public",
         0xA0,
         0,
         0,
         {{OID{1, 3, 6, 1, 4, 1, 47392, 1, 4294967295u, 128, 16383, 16384}, 0x05, ""}}},
        {"v1_getnext_system", 0, "public", 0xA1, 0, 0, {{OID{1, 3, 6, 1, 2, 1, 1}, 0x05, ""}}},
        {"v2c_getnext_ifdescr",
         1,
         "private",
         0xA1,
         0,
         0,
         {{OID{1, 3, 6, 1, 2, 1, 2, 2, 1, 2}, 0x05, ""}}},
        {"v2c_bulk_n1_r5",
         1,
         "public",
         0xA5,
         1,
         5,
         {{OID{1, 3, 6, 1, 2, 1, 1, 3, 0}, 0x05, ""}, {OID{1, 3, 6, 1, 2, 1, 2, 2}, 0x05, ""}}},
        {"v2c_set_syscontact",
         1,
         "private",
         0xA3,
         0,
         0,
         {{OID{1, 3, 6, 1, 2, 1, 1, 4, 0}, 0x04, "ops@lumo.example"}}},
    };
    for (const Request& r : requests) walk(r);
}

}  // namespace
}  // namespace snmp
