// Request datagrams recorded from the net-snmp tools (capture_requests.sh), read field by
// field as the agent reads them, without a single diagnostic.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/wire/test_util.h"
#include "wire/in_stream.h"

namespace snmp {
namespace {

// The octets of a fixture file: '#' lines are comments, the rest is hex.
test::Bytes loadFixture(const std::string& name) {
    std::ifstream f(std::string(WIRE_FIXTURE_DIR) + "/" + name + ".hex");
    std::string line, body;
    while (std::getline(f, line)) {
        if (!line.empty() && line[0] != '#') body += line + " ";
    }
    return test::hex(body);
}

// "v<version> <community> <pdu tag> <error status or non-repeaters> <error index or
// max-repetitions> | <name>=<value>...", or where reading stopped.
std::string summary(const test::Bytes& octets) {
    InStream in(octets.data(), static_cast<unsigned>(octets.size()));
    std::ostringstream s;
    std::string community;
    unsigned int requestId = 0, second = 99, third = 99;
    s << "v" << in.getVersion();
    if (!in.getString(&community)) return s.str() + " bad community";
    s << ' ' << community << ' ' << std::hex << int(in.getType()) << std::dec;
    if (in.enterSeq() <= 0 || !in.getInt(&requestId) || !in.getInt(&second) || !in.getInt(&third))
        return s.str() + " bad header";
    // The request-id is random; its low octet must still be the one before the next two fields.
    EXPECT_EQ(requestId & 0xFF, octets[in.position() - 7]);
    if (in.enterSeq() < 0) return s.str() + " bad bindings";
    s << ' ' << second << ' ' << third << " |";
    while (!in.atEnd()) {
        OID name;
        std::string value = "null";
        if (in.enterSeq() <= 0 || !in.getOID(&name)) return s.str() + " bad binding";
        const bool read = in.getType() == 0x04 ? in.getString(&value) : in.getNull();
        if (!read) return s.str() + " bad value";
        s << ' ' << name << '=' << value << (in.atEnd() ? "" : " (more)");
        in.exitSeq();
    }
    in.exitSeq();
    in.exitSeq();
    in.exitSeq();
    return s.str() + (in.position() == octets.size() ? "" : " (trailing octets)");
}

TEST(CapturedRequests, CommunityMessagesDecode) {
    const std::pair<const char*, const char*> requests[] = {
        {"v1_get_sysdescr", "v0 public a0 0 0 | 1.3.6.1.2.1.1.1.0=null"},
        {"v2c_get_sysdescr", "v1 public a0 0 0 | 1.3.6.1.2.1.1.1.0=null"},
        {"v2c_get_three",
         "v1 public a0 0 0 | 1.3.6.1.2.1.1.1.0=null 1.3.6.1.2.1.1.3.0=null 1.3.6.1.2.1.1.5.0=null"},
        {"v2c_get_large_arcs",
         "v1 public a0 0 0 | 1.3.6.1.4.1.47392.1.4294967295.128.16383.16384=null"},
        {"v1_getnext_system", "v0 public a1 0 0 | 1.3.6.1.2.1.1=null"},
        {"v2c_getnext_ifdescr", "v1 private a1 0 0 | 1.3.6.1.2.1.2.2.1.2=null"},
        {"v2c_bulk_n1_r5", "v1 public a5 1 5 | 1.3.6.1.2.1.1.3.0=null 1.3.6.1.2.1.2.2=null"},
        {"v2c_set_syscontact", "v1 private a3 0 0 | 1.3.6.1.2.1.1.4.0=ops@lumo.example"},
    };
    for (const auto& [file, want] : requests) {
        const test::Bytes octets = loadFixture(file);
        ASSERT_FALSE(octets.empty()) << "cannot read fixture " << file;
        test::LogCapture quiet;
        EXPECT_EQ(summary(octets), want) << file;
        EXPECT_EQ(quiet.text(), "") << file;
    }
}

}  // namespace
}  // namespace snmp
