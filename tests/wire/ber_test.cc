// The BER writer and reader: the exact octets replies are made of, read back by the reader,
// and the reader's answer and "SNMP InStream: " line for every kind of malformed input.
#include <gtest/gtest.h>

#include "tests/wire/test_util.h"
#include "wire/in_stream.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {
namespace {

using test::LogCapture;
using test::hex;
using test::toHex;

InStream reader(const unsigned char* p, size_t n) { return InStream(p, static_cast<unsigned>(n)); }
InStream reader(const test::Bytes& b) { return reader(b.data(), b.size()); }
InStream reader(const OutStream& out) { return reader(out.data(), out.size()); }
std::string written(const OutStream& out) { return toHex(out.data(), out.size()); }

// Counter64 goes through the 64-bit forms. readsBack: the reader takes the octets back.
TEST(Ber, IntegersBothWays) {
    using namespace tag;
    const struct { unsigned long long v; unsigned char tag; const char* octets; bool readsBack; }
    cases[] = {
        {0, INTEGER, "02 01 00", true},           {127, INTEGER, "02 01 7f", true},
        {128, INTEGER, "02 02 00 80", true},      {255, COUNTER32, "41 02 00 ff", true},
        {0x7FFF, INTEGER, "02 02 7f ff", true},   {0x8000, INTEGER, "02 03 00 80 00", true},
        {0x800000, TIMETICKS, "43 04 00 80 00 00", true},
        {0x7FFFFFFF, INTEGER, "02 04 7f ff ff ff", true},
        // Unsigned types keep the 00 lead; INTEGER is signed and minimal in two's complement.
        {0xFFFFFFFF, COUNTER32, "41 05 00 ff ff ff ff", true},
        {0x80000000, GAUGE32, "42 05 00 80 00 00 00", true},
        {0xFFFFFFFF, INTEGER, "02 01 ff", true},            // -1
        {0xFFFFFF80, INTEGER, "02 01 80", true},            // -128
        {0xFFFFFF7F, INTEGER, "02 02 ff 7f", true},         // -129
        {0xFFFF8000, INTEGER, "02 02 80 00", true},         // -32,768
        {0xFFFF7FFF, INTEGER, "02 03 ff 7f ff", true},      // -32,769
        {0xFF800000, INTEGER, "02 03 80 00 00", true},      // -2^23
        {0xFF7FFFFF, INTEGER, "02 04 ff 7f ff ff", true},   // -2^23 - 1
        {0x80000000, INTEGER, "02 04 80 00 00 00", true},   // INT_MIN
        {0, COUNTER64, "46 01 00", true},           {0x80, COUNTER64, "46 02 00 80", true},
        {0xFFFFFFFFull, COUNTER64, "46 05 00 ff ff ff ff", true},
        {0x7FFFFFFFFFFFFFFFull, COUNTER64, "46 08 7f ff ff ff ff ff ff ff", true},
        {~0ull, COUNTER64, "46 09 00 ff ff ff ff ff ff ff ff", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.octets);
        OutStream out;
        if (c.tag == COUNTER64) out.add(c.v, c.tag);
        else out.add(static_cast<unsigned int>(c.v), c.tag);
        EXPECT_EQ(written(out), c.octets);
        InStream in = reader(out);
        LogCapture quiet;
        unsigned int v32 = 0;
        unsigned long long v64 = 0;
        const bool ok = c.tag == COUNTER64 ? in.get64(&v64) : in.getInt(&v32);
        EXPECT_EQ(ok, c.readsBack);
        if (ok) {
            EXPECT_EQ(c.tag == COUNTER64 ? v64 : v32, c.v);
        }
    }
    OutStream out;
    out.add(uint64_t{5}, 0x46);  // uint64_t and int literals pick their own widths
    out.add(5, 0x02);
    EXPECT_EQ(written(out), "46 01 05 02 01 05");
}

TEST(Ber, LengthsBothWays) {
    const std::pair<unsigned int, const char*> cases[] = {
        {0, "00"},        {127, "7f"},        {128, "81 80"},      {255, "81 ff"},
        {256, "82 01 00"}, {65535, "82 ff ff"},
        {65536, "82 00 00"},  // no wider form: truncated
    };
    for (const auto& [n, octets] : cases) {
        OutStream out;
        out.addLen(n);
        EXPECT_EQ(written(out), octets) << n;
        InStream in = reader(out);
        EXPECT_EQ(in.getLen(), static_cast<int>(n & 0xFFFF)) << n;
        EXPECT_EQ(in.position(), out.size()) << n;
    }
}

TEST(Ber, OidsBothWaysAndRefusals) {
    const struct { OID oid; const char* octets; const char* diag; } cases[] = {
        {{1, 3, 6, 1, 4, 1, 200}, "06 07 2b 06 01 04 01 81 48", ""},
        {{0, 0}, "06 01 00", ""}, {{0, 39}, "06 01 27", ""}, {{1, 0}, "06 01 28", ""},
        {{1, 39, 127, 128}, "06 04 4f 7f 81 00", ""},
        {{1, 3, 16383, 16384, 0x1FFFFF, 0x200000},
         "06 0d 2b ff 7f 81 80 00 ff ff 7f 81 80 80 00", ""},
        {{1, 3, 0xFFFFFFFF}, "06 06 2b 8f ff ff ff 7f", ""},
        // Under root 2 the second arc is unbounded: the first sub-identifier takes octets.
        {{2, 0}, "06 01 50", ""}, {{2, 40}, "06 01 78", ""}, {{2, 47}, "06 01 7f", ""},
        {{2, 48}, "06 02 81 00", ""}, {{2, 999, 1}, "06 03 88 37 01", ""},
        {{2, 16304, 5}, "06 04 81 80 00 05", ""},
        {{2, 0xFFFFFFFF}, "06 05 90 80 80 80 4f", ""},
        {{1}, "", "cannot encode OID shorter that 2"}, {{}, "", "cannot encode OID shorter that 2"},
        {{0, 40}, "", "encoding invalid OID"}, {{1, 40}, "", "encoding invalid OID"},
        {{3, 0}, "", "encoding invalid OID"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.oid.str());
        OutStream out;
        LogCapture cap;
        out.addOID(c.oid, tag::OBJECT_ID);
        EXPECT_EQ(written(out), c.octets);
        EXPECT_EQ(cap.text(), *c.diag ? "SNMP OutStream: " + std::string(c.diag) + "\n" : "");
        OID back;
        if (*c.octets) {
            EXPECT_TRUE(reader(out).getOID(&back) && back == c.oid);
        }
    }
    OID longOid{1, 3};
    for (int i = 0; i < 128; ++i) longOid += 0xFFFFFFFFu;  // 1 + 128 * 5 contents octets
    OutStream out;
    out.addOID(longOid, 0x06);
    EXPECT_EQ(toHex(out.data(), 4), "06 82 02 81");
    OID back;
    EXPECT_TRUE(reader(out).getOID(&back) && back == longOid);
}

// One reader call on the octets: its result as text ("fail" when it refused and left the
// output alone) and the text of its single diagnostic line ("" for silence).
std::string readOne(char op, InStream& in) {
    unsigned int v = 7;
    unsigned long long v64 = 7;
    std::string s = "keep";
    OID o{9, 9};
    std::vector<unsigned char> bits;
    unsigned char* p = nullptr;
    int n = 0;  // read before the position: the operands of + are not sequenced
    switch (op) {
        case 'i': return in.getInt(&v) ? std::to_string(v) : v == 7 ? "fail" : "changed";
        case 'l': return in.get64(&v64) ? std::to_string(v64) : v64 == 7 ? "fail" : "changed";
        case 'n': n = in.getLen(); return std::to_string(n) + " @" + std::to_string(in.position());
        case 's': n = in.enterSeq(); return std::to_string(n) + " in " + std::to_string(in.depth());
        case 'v': return std::to_string(in.getVersion());
        case 'e': in.exitSeq(); return "@" + std::to_string(in.position());
        case 'o': return in.getOID(&o) ? o.str() : o == OID{9, 9} ? "fail" : "changed";
        case 't': return in.getString(&s) ? s : s == "keep" ? "fail" : "changed";
        case 'b': return std::to_string(in.getStringBuf(p));
        case 'x': return in.getBits(&bits) ? toHex(bits.data(), bits.size()) : "fail";
        case 'z': return in.getNull() ? "null" : "fail";
    }
    return "?";
}

TEST(Ber, ReaderAnswersAndDiagnostics) {
    const struct { const char* octets; char op; const char* result; const char* diag; } cases[] = {
        {"02 00", 'i', "0", ""}, {"02", 'i', "fail", ""},  // an empty integer is taken as 0
        {"02 05 01 00 00 00 00", 'i', "fail", "I don't support such large integers 2"},
        // A fifth octet only as the 00 lead of an unsigned value: -2^31 - 1 does not fit, and
        // INT_MIN one octet too long is not what any writer sends.
        {"02 05 ff 7f ff ff ff", 'i', "fail", "I don't support such large integers 2"},
        {"02 05 ff 80 00 00 00", 'i', "fail", "I don't support such large integers 2"},
        {"02 06 00 00 00 00 00 01", 'i', "fail", "I don't support such large integers"},
        {"02 04 01 02", 'i', "fail", "get int overflow of message"},
        {"02 84 80 00 00 00 01", 'i', "fail", "get int overflow of message"},
        {"46 01 ff", 'l', "255", ""},  // no sign extension
        {"46 09 00 ff ff ff ff ff ff ff ff", 'l', "fail", "invalig counter64 size"},
        {"46 08 01 02", 'l', "fail", "get 64 overflow of message"},
        {"81 05", 'n', "5 @2", ""}, {"83 01 00 00", 'n', "65536 @4", ""}, {"", 'n', "-1 @0", ""},
        {"84 80 00 00 00", 'n', "-2147483648 @5", ""},
        {"80", 'n', "-1 @0", "we don't support indefinite lengths"},
        {"85 00 00 00 00 01", 'n', "-1 @0", "we can't support data lengths that long"},
        {"82 01", 'n', "-1 @1", "malformed in getLen"},
        {"30 03 02 01 05", 's', "3 in 1", ""}, {"30 04 02 01 05", 's', "-1 in 0", ""},
        {"30 84 80 00 00 00", 's', "-1 in 0", ""},
        {"30 80 00 00", 's', "-1 in 0", "we don't support indefinite lengths"},
        {"30 01 02", 'v', "-1", ""}, {"30 09 02 01 01", 'v', "-1", ""},
        {"02 01 05", 'e', "@0", "exitSeq when seqEndp is empty!"},
        {"06 00", 'o', ".0.0", ""}, {"06 03 2b 80 01", 'o', ".1.3.1", ""},  // padding is harmless
        // Every arc must fit in 32 bits, the second one under root 2 included.
        {"06 07 2b 9f ff ff ff 7f 01", 'o', "fail", "malformed oid"},
        {"06 07 2b 90 80 80 80 00 01", 'o', "fail", "malformed oid"},
        {"06 06 90 80 80 80 50 01", 'o', "fail", "malformed oid"},
        {"06 07 80 80 80 80 80 80 01", 'o', ".0.1", ""},
        {"06 01 88 37 01", 'o', ".2.999", ""},  // a first sub-identifier runs on like a last one
        {"06 02 2b 86 07", 'o', ".1.3.775", ""},  // the last arc runs on past the length
        {"06 02 2b 86", 'o', "fail", "malformed oid"},
        {"06 02 2b 86 87", 'o', "fail", "malformed oid"},
        {"06 03 2b 86", 'o', "fail", "get oid overflow of message2 3 4"},
        {"06 84 ff ff ff ff 2b", 'o', "fail", "get oid overflow of message6 -1 7"},
        {"04 03 61 62 63", 't', "abc", ""},
        {"04 05 61 62", 't', "fail", "get string overflow of message"},
        {"04 05 61 62", 'b', "0", "get string overflow of message"},
        {"03 02 07 80", 'x', "07 80", ""},
        {"03 03 00 01", 'x', "fail", "get bits overflow of message"},
        {"03 00", 'x', "fail", "Invalid bitstring"},
        {"03 02 08 00", 'x', "fail", "Invalid bitstring"},
        {"05 00", 'z', "null", ""}, {"05 01 00", 'z', "fail", "malformed null"},
        {"05 81", 'z', "fail", "malformed in getLen"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(1, c.op) + ": " + c.octets);
        InStream in = reader(hex(c.octets));
        LogCapture cap;
        EXPECT_EQ(readOne(c.op, in), c.result);
        EXPECT_EQ(cap.text(), *c.diag ? "SNMP InStream: " + std::string(c.diag) + "\n" : "");
    }
    // Bad datagrams are reported only when the "wire" stream is asked for; the writer's
    // faults always are.
    LogCapture muted(false);
    unsigned int v = 0;
    EXPECT_FALSE(reader(hex("02 06 00 00 00 00 00 01")).getInt(&v));
    OutStream().endSeq();
    EXPECT_EQ(muted.text(), "SNMP OutStream: no sequence\n");
}

TEST(Ber, ReaderWalksNestedSequences) {
    // Two bindings; the first is left after reading only its name.
    InStream in = reader(hex("30 14 30 08 06 02 2b 06 02 02 01 00 30 08 06 02 2b 07 02 02 01 01"));
    OID name;
    unsigned int v = 0;
    ASSERT_TRUE(in.enterSeq() == 0x14 && in.enterSeq() == 8 && in.getOID(&name));
    EXPECT_FALSE(in.atEnd());
    in.exitSeq();  // skips the unread value
    InStream::StreamPos saved;
    in.saveSeq(saved);
    ASSERT_TRUE(in.enterSeq() == 8 && in.getOID(&name) && in.getInt(&v));
    EXPECT_EQ(name, (OID{1, 3, 7}));
    EXPECT_EQ(v, 0x101u);
    EXPECT_TRUE(in.atEnd());
    in.exitSeq();
    EXPECT_TRUE(in.atEnd());
    EXPECT_EQ(in.getType(), 255);
    in.restoreSeq(saved);  // walk the second binding again
    EXPECT_EQ(in.position(), 12u);
    EXPECT_EQ(in.depth(), 1u);
}

TEST(Ber, SequenceLengthsAreBackPatchedAndWidenedInPlace) {
    const std::pair<size_t, const char*> cases[] = {
        {127, "30 7f"},      {128, "30 81 80"},     {255, "30 81 ff"},
        {256, "30 82 01 00"}, {65535, "30 82 ff ff"},
    };
    for (const auto& [n, head] : cases) {
        SCOPED_TRACE(n);
        OutStream out;  // contents of exactly n octets: one OCTET STRING
        out.startSeq(0x30);
        out.add(std::string(n - (n - 2 < 128 ? 2 : n - 3 < 256 ? 3 : 4), 'x'), 0x04);
        out.endSeq();
        EXPECT_EQ(toHex(out.data(), std::string(head).size() / 3 + 1), head);
        InStream in = reader(out);  // the contents moved up intact
        std::string s;
        ASSERT_TRUE(in.enterSeq() == static_cast<int>(n) && in.getString(&s));
        EXPECT_TRUE(in.atEnd());
        EXPECT_EQ(in.position(), out.size());
    }
    OutStream out;
    out.startSeq(0x30);
    out.add(std::string(65536 - 4, 'x'), 0x04);
    const size_t size = out.size();
    LogCapture cap;
    out.endSeq();
    out.endSeq();
    EXPECT_EQ(cap.text(), "SNMP OutStream: sequence too long\nSNMP OutStream: no sequence\n");
    EXPECT_EQ(out.size(), size);
    EXPECT_EQ(out.buffer()[1], 0x00);  // placeholder left as it was
}

// A v3-shaped reply where every sequence widens on close. The marks follow the octets they
// point at (moved only by insertions before them); the error fields, patched after the
// bindings widened, land where they were written.
TEST(Ber, ReplyWidensAroundMarksAndErrorFields) {
    OutStream out;
    out.startSeq(0x30);  // message: contents from offset 2
    out.add(3u, 0x02);
    out.setAuthMark(out.size());
    out.add(std::string(12, '\0'), 0x04);
    out.setScopedPduMark(out.size());
    out.startSeq(0x30);
    out.startSeq(0xA2);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(0x30);
    out.add(std::string(300, 'v'), 0x04);
    out.endSeq();
    out.addErrorStatus(5);
    out.addErrorIndex(1);
    out.endSeq();
    out.endSeq();  // the scoped PDU's own widening lies after both marks
    out.endSeq();  // the message widens by two octets at offset 2
    EXPECT_EQ(out.authMark(), 7u);
    EXPECT_EQ(out.scopedPduMark(), 21u);
    EXPECT_EQ(toHex(out.data(), 44),
              "30 82 01 53 02 01 03 04 0c 00 00 00 00 00 00 00 00 00 00 00 00 "
              "30 82 01 3e a2 82 01 3a 02 01 05 02 01 01 30 82 01 30 04 82 01 2c 76");
    EXPECT_EQ(out.size(), 343u);

    OutStream first;  // a mark on the first contents octet moves too
    first.startSeq(0x30);
    first.setScopedPduMark(first.size());
    first.add(std::string(130, 'z'), 0x04);
    first.endSeq();
    EXPECT_EQ(first.scopedPduMark(), 3u);
}

TEST(Ber, ValuesFromText) {
    const struct { const char* text; unsigned char type; const char* octets; } cases[] = {
        {".1.3.6.1", 0x06, "06 03 2b 06 01"}, {"hello", 0x04, "04 05 68 65 6c 6c 6f"},
        {"ignored", 0x05, "05 00"},           {"10.0.0.1", 0x40, "40 04 0a 00 00 01"},
        {"0.0.0.1", 0x40, "40 01 01"},        {"192.168.1.1", 0x40, "40 05 00 c0 a8 01 01"},
        {"-1", 0x02, "02 01 ff"},             {"300", 0x02, "02 02 01 2c"},
        {"12x", 0x41, "41 01 0c"},            {"", 0x43, "43 01 00"},
        {"-1", 0x47, "47 05 00 ff ff ff ff"}, {"7", 0x42, ""}, {"7", 0x46, ""},  // name only
    };
    for (const auto& c : cases) {
        OutStream out;
        out.addByType(c.text, c.type);
        EXPECT_EQ(written(out), c.octets) << c.text << " as " << int(c.type);
    }
    OutStream out;
    out.addVarBind({OID{1, 3, 6, 1}, 0x41, "9"});
    out.addVarBind({OID{1, 3}, 0x42, "9"});  // the binding keeps its name only
    const unsigned char good[] = {0x07, 0x80}, bad[] = {0x08, 0x00};
    out.addBits(good, 2, 0x03);
    LogCapture cap;
    out.addBits(bad, 2, 0x03);
    out.addBits(good, 0, 0x03);
    EXPECT_EQ(written(out), "30 08 06 03 2b 06 01 41 01 09 30 03 06 01 2b 03 02 07 80");
    const std::string refused = "SNMP OutStream: building invalid bitstring\n";
    EXPECT_EQ(cap.text(), refused + refused);
}

}  // namespace
}  // namespace snmp
