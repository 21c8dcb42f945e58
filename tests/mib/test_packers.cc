// Packers carry one value four ways: reply value, Set value, table index suffix and bus key.
// These pin the index and key forms tables depend on, and the refusals on bad input.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "mib/packers.h"
#include "platform/message.h"
#include "request/context.h"
#include "request/logs.h"

namespace {

using snmp::OID;

struct Row : snmp::Data {
    std::string text;
    std::vector<unsigned char> raw;
    unsigned ip = 0;  // network order
    lm::IPAddr6 ip6;
    OID name;
    unsigned long long big = 0;
};

// What f writes to the log, the debug stream included (per-request lines such as a bad
// Set value are written only when debug logging is on).
std::string captureStderr(const std::function<void()>& f) {
    const bool wasOn = snmp::dlog.on();
    snmp::dlog.enable(true);
    testing::internal::CaptureStderr();
    f();
    std::string out = testing::internal::GetCapturedStderr();
    snmp::dlog.enable(wasOn);
    return out;
}

TEST(Packers, IndexFormsOfEveryFamily) {
    Row row;
    row.text = "ab";
    row.ip = inet_addr("10.0.0.1");
    lm::IPAddr6::parse("2001:db8::1", row.ip6);
    row.name = OID("1.3.6");
    EXPECT_EQ(OID("2.97.98"), snmp::DataStringPacker(&Row::text, 4).getAsKey(&row));
    EXPECT_EQ(OID("97.98"), snmp::DataStringPacker(&Row::text, 4, 2).getAsKey(&row));
    EXPECT_EQ(OID("10.0.0.1"), snmp::DataIPPacker(&Row::ip, 0x40).getAsKey(&row));
    EXPECT_EQ(OID("32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1"), snmp::DataIP6Packer(&Row::ip6, 4).getAsKey(&row));
    EXPECT_EQ(OID("3.1.3.6"), snmp::DataOIDPacker(&Row::name, 6).getAsKey(&row));
    EXPECT_EQ(OID("7"), snmp::ConstNumPacker(7, 2).getAsKey(nullptr));

    row.text = "abc";
    std::string err = captureStderr([&] {
        EXPECT_TRUE(snmp::DataStringPacker(&Row::text, 4, 2).getAsKey(&row).empty());
        EXPECT_TRUE(snmp::DataBignumPacker(&Row::big, 0x46).getAsKey(&row).empty());
    });
    EXPECT_EQ("inconsistent key length\nBUG: Packer::getAsKey called\n", err);
}

TEST(Packers, KeysTakenOffARowSuffix) {
    lm::message m;
    OID suffix("2.97.98.5");
    EXPECT_TRUE(snmp::DataStringPacker(&Row::text, 4).addKeyToMessage(suffix, m, 0x10));
    EXPECT_EQ("ab", m.getString(0x10));
    EXPECT_EQ(OID("5"), suffix);  // the rest stays for the next index

    // A fixed-length key cut short becomes that many NULs, is inserted, and reports failure.
    OID shortSuffix("97");
    EXPECT_FALSE(snmp::DataStringPacker(&Row::text, 4, 3).addKeyToMessage(shortSuffix, m, 0x11));
    EXPECT_EQ(std::string(3, '\0'), m.getString(0x11));
    // An arc that is no octet inserts nothing.
    OID bad("2.97.300");
    EXPECT_FALSE(snmp::DataStringPacker(&Row::text, 4).addKeyToMessage(bad, m, 0x12));
    EXPECT_FALSE(m.hasString(0x12));

    // IPv4: the same u32 as a record holding the address; a short suffix still inserts.
    Row row;
    row.ip = inet_addr("10.0.0.1");
    lm::message fromRecord, fromSuffix, partial;
    snmp::DataIPPacker ip(&Row::ip, 0x40);
    ip.addKeyToMessage(&row, fromRecord, 0x20);
    OID full("10.0.0.1"), cut("10.0");
    EXPECT_TRUE(ip.addKeyToMessage(full, fromSuffix, 0x20));
    EXPECT_EQ(fromRecord, fromSuffix);
    EXPECT_FALSE(ip.addKeyToMessage(cut, partial, 0x20));
    EXPECT_EQ(inet_addr("10.0.0.0"), partial.getU32(0x20));

    // The packer decides the key's type bits; families without a key form refuse.
    lm::message typed;
    OID num("42");
    EXPECT_TRUE(snmp::ConstNumPacker(0, 2).addKeyToMessage(num, typed, 0x20FE0001));
    EXPECT_EQ(42u, typed.getU32(0xFE0001));
    lm::message none;
    OID any("1.2");
    std::string err = captureStderr([&] {
        EXPECT_FALSE(snmp::DataOIDPacker(&Row::name, 6).addKeyToMessage(any, none, 1));
        snmp::DataBignumPacker(&Row::big, 0x46).addKeyToMessage(&row, none, 1);
    });
    EXPECT_TRUE(none.empty());
    EXPECT_EQ("BUG: Packer::addKeyToMessage called\nBUG: Packer::addKeyToMessage called\n", err);
}

TEST(Packers, RawKeysCarryExactlyTheFixedLength) {
    lm::message m;
    OID suffix("1.2.3.4");
    EXPECT_TRUE(snmp::DataRawPacker(&Row::raw, 4, 4).addKeyToMessage(suffix, m, 0x30));
    EXPECT_EQ((lm::bytes{1, 2, 3, 4}), *m.findRaw(0x30));
}

// Reply values and Set values through a context whose reader sits on the value.
TEST(Packers, ReplyAndSetValues) {
    snmp::OutStream out;
    snmp::Context none(nullptr, 0, out);
    Row row;
    row.ip = inet_addr("10.0.0.1");
    snmp::DataIPPacker(&Row::ip, 0x40).pack(none, &row);
    snmp::ConstBignumPacker(1, 0x46).pack(none, nullptr);
    EXPECT_EQ((std::vector<unsigned char>{0x40, 4, 10, 0, 0, 1, 0x46, 1, 1}), out.buffer());

    const unsigned char fiveOctets[] = {0x04, 0x05, 1, 2, 3, 4, 5};
    snmp::Context set(fiveOctets, sizeof fiveOctets, out);
    std::string err = captureStderr([&] { snmp::DataIPPacker(&Row::ip, 0x40).unpack(&row, set); });
    EXPECT_EQ("bad ipv4 address\n", err);
    EXPECT_EQ(inet_addr("10.0.0.1"), row.ip);

    const unsigned char text[] = {0x04, 0x02, 'o', 'k'};
    snmp::Context setText(text, sizeof text, out);
    captureStderr([&] { snmp::DataStringPacker(&Row::text, 4).unpack(&row, setText); });
    EXPECT_EQ("ok", row.text);
}

}  // namespace
