// The first pass of a Set: which values each packer family refuses, and with which status,
// before anything is written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mib/packers.h"
#include "mib/set_value_check.h"
#include "wire/in_stream.h"
#include "wire/snmp_codes.h"

namespace {

using namespace snmp;
using Bytes = std::vector<unsigned char>;

struct Row : Data {
    std::string text;
    unsigned number = 0;
    unsigned ip = 0;
    lm::IPAddr6 ip6;
    OID name;
    unsigned long long big = 0;
};

Bytes octetString(size_t n, unsigned char tagByte = tag::OCTET_STRING) {
    Bytes b;
    b.push_back(tagByte);
    if (n >= 128) {
        b.push_back(0x82);
        b.push_back(static_cast<unsigned char>(n >> 8));
    }
    b.push_back(static_cast<unsigned char>(n));
    b.resize(b.size() + n, 'a');
    return b;
}

TEST(SetValueCheck, EveryFamilyRefusesWhatItCannotHold) {
    DataStringPacker text(&Row::text, tag::OCTET_STRING);
    DataStringPacker fixed(&Row::text, tag::OCTET_STRING, 6);
    DataNumPacker integer(&Row::number, tag::INTEGER);
    DataNumPacker gauge(&Row::number, tag::GAUGE32);
    DataIPPacker ip(&Row::ip, tag::IP_ADDRESS);
    DataIP6Packer ip6(&Row::ip6, tag::OCTET_STRING);
    DataOIDPacker name(&Row::name, tag::OBJECT_ID);
    DataBignumPacker big(&Row::big, tag::COUNTER64);
    DisplayStringPacker alias(&Row::text, 64);
    struct Case {
        const char* what;
        Packer& packer;
        Bytes value;
        uint32_t expected;
    };
    const std::vector<Case> cases = {
        {"text", text, octetString(5), status::NO_ERROR},
        {"empty text", text, octetString(0), status::NO_ERROR},
        {"text of 255", text, octetString(MAX_SET_STRING), status::NO_ERROR},
        {"text of 256", text, octetString(MAX_SET_STRING + 1), status::WRONG_LENGTH},
        {"integer for text", text, {tag::INTEGER, 1, 65}, status::WRONG_TYPE},
        {"text cut short", text, {tag::OCTET_STRING, 5, 'a'}, status::WRONG_ENCODING},
        {"display text of 64", alias, octetString(64), status::NO_ERROR},
        {"display text of 65", alias, octetString(65), status::WRONG_LENGTH},
        {"display text with a tab", alias, {tag::OCTET_STRING, 3, 'a', '\t', 'b'}, status::NO_ERROR},
        {"display text with a NUL", alias, {tag::OCTET_STRING, 3, 'A', 0, 'B'}, status::WRONG_VALUE},
        {"display text beyond ASCII", alias, {tag::OCTET_STRING, 2, 0xFF, 0xFE}, status::WRONG_VALUE},
        {"fixed length", fixed, octetString(6), status::NO_ERROR},
        {"fixed length, shorter", fixed, octetString(5), status::WRONG_LENGTH},
        {"integer", integer, {tag::INTEGER, 1, 7}, status::NO_ERROR},
        {"gauge for integer", integer, {tag::GAUGE32, 1, 7}, status::WRONG_TYPE},
        {"integer for gauge", gauge, {tag::INTEGER, 1, 7}, status::WRONG_TYPE},
        {"integer too wide", integer, {tag::INTEGER, 6, 1, 0, 0, 0, 0, 0}, status::WRONG_ENCODING},
        {"address", ip, {tag::IP_ADDRESS, 4, 10, 0, 0, 1}, status::NO_ERROR},
        {"address of 5 octets", ip, {tag::IP_ADDRESS, 5, 10, 0, 0, 1, 2}, status::WRONG_LENGTH},
        {"IPv6 address", ip6, octetString(16), status::NO_ERROR},
        {"IPv6 address of 4 octets", ip6, octetString(4), status::WRONG_LENGTH},
        {"object identifier", name, {tag::OBJECT_ID, 2, 0x2B, 6}, status::NO_ERROR},
        {"object identifier cut", name, {tag::OBJECT_ID, 2, 0x2B, 0x86}, status::WRONG_ENCODING},
        {"counter64", big, {tag::COUNTER64, 2, 1, 0}, status::NO_ERROR},
        {"counter64 too wide", big, {tag::COUNTER64, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, status::WRONG_ENCODING},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        InStream in(k.value.data(), static_cast<unsigned>(k.value.size()));
        EXPECT_EQ(k.expected, checkSetValue(k.packer, in));
        EXPECT_EQ(0u, in.position());  // the value is still there for the write
    }
}

}  // namespace
