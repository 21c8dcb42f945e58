#include "wire/in_stream.h"

#include <gtest/gtest.h>

#include "tests/wire/test_util.h"

namespace snmp {
namespace {

using test::CoutCapture;
using test::hex;

InStream reader(const std::string& hexText) {
    const auto b = hex(hexText);
    return InStream(b.data(), static_cast<unsigned>(b.size()));
}

// What a reader printed, without the prefix on the (single) line; "" for silence.
std::string message(const CoutCapture& cap) {
    std::string t = cap.text();
    const std::string prefix = "SNMP InStream: ";
    if (t.empty()) return t;
    EXPECT_EQ(t.rfind(prefix, 0), 0u) << t;
    EXPECT_EQ(t.back(), '\n');
    EXPECT_EQ(t.find('\n'), t.size() - 1) << "more than one line: " << t;
    return t.substr(prefix.size(), t.size() - prefix.size() - 1);
}

TEST(InStreamInt, EveryLengthAndSign) {
    struct Case {
        const char* in;
        bool ok;
        unsigned int value;
        const char* diag;
    };
    const Case cases[] = {
        {"02 00", true, 0, ""},
        {"02 01 05", true, 5, ""},
        {"02 01 ff", true, 0xFFFFFFFF, ""},
        {"02 02 00 80", true, 128, ""},
        {"02 02 ff 7f", true, 0xFFFFFF7F, ""},
        {"02 03 01 00 00", true, 0x10000, ""},
        {"02 03 80 00 00", true, 0xFF800000, ""},
        {"02 04 7f ff ff ff", true, 0x7FFFFFFF, ""},
        {"02 04 80 00 00 00", true, 0x80000000, ""},
        {"41 05 00 ff ff ff ff", true, 0xFFFFFFFF, ""},  // the tag is not looked at
        {"02 05 01 00 00 00 00", false, 0, "I don't support such large integers 2"},
        {"02 06 00 00 00 00 00 01", false, 0, "I don't support such large integers"},
        {"02 04 01 02", false, 0, "get int overflow of message"},
        {"02 84 80 00 00 00 01", false, 0, "get int overflow of message"},
        {"02", false, 0, ""},
        {"", false, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        InStream in = reader(c.in);
        unsigned int v = 12345;
        CoutCapture cap;
        EXPECT_EQ(in.getInt(&v), c.ok);
        EXPECT_EQ(v, c.ok ? c.value : 12345u);
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamInt, SixtyFourBits) {
    struct Case {
        const char* in;
        bool ok;
        unsigned long long value;
        const char* diag;
    };
    const Case cases[] = {
        {"46 00", true, 0, ""},
        {"46 01 ff", true, 0xFF, ""},  // no sign extension
        {"46 05 01 00 00 00 00", true, 0x100000000ull, ""},
        {"46 08 ff ff ff ff ff ff ff ff", true, ~0ull, ""},
        {"46 09 00 ff ff ff ff ff ff ff ff", false, 0, "invalig counter64 size"},
        {"46 08 01 02", false, 0, "get 64 overflow of message"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        InStream in = reader(c.in);
        unsigned long long v = 7;
        CoutCapture cap;
        EXPECT_EQ(in.get64(&v), c.ok);
        EXPECT_EQ(v, c.ok ? c.value : 7ull);
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamLength, ShortAndLongForms) {
    struct Case {
        const char* in;
        int len;
        size_t posAfter;
        const char* diag;
    };
    const Case cases[] = {
        {"7f", 127, 1, ""},
        {"81 80", 128, 2, ""},
        {"81 05", 5, 2, ""},  // non-minimal long form is accepted
        {"82 01 00", 256, 3, ""},
        {"83 01 00 00", 65536, 4, ""},
        {"84 7f ff ff ff", 0x7FFFFFFF, 5, ""},
        {"84 80 00 00 00", -0x7FFFFFFF - 1, 5, ""},  // comes back negative
        {"80", -1, 0, "we don't support indefinite lengths"},
        {"85 00 00 00 00 01", -1, 0, "we can't support data lengths that long"},
        {"82 01", -1, 1, "malformed in getLen"},
        {"", -1, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        InStream in = reader(c.in);
        CoutCapture cap;
        EXPECT_EQ(in.getLen(), c.len);
        if (c.len != -1 || *c.diag == 'm') {
            EXPECT_EQ(in.position(), c.posAfter);
        }
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamSeq, EnterRefusesWhatDoesNotFit) {
    struct Case {
        const char* in;
        int len;
        const char* diag;
    };
    const Case cases[] = {
        {"30 03 02 01 05", 3, ""},
        {"30 00", 0, ""},
        {"30 04 02 01 05", -1, ""},  // past the end: silent
        {"30 84 80 00 00 00", -1, ""},
        {"30 80 00 00", -1, "we don't support indefinite lengths"},
        {"30 85 00 00 00 00 01", -1, "we can't support data lengths that long"},
        {"30 82 01", -1, "malformed in getLen"},
        {"", -1, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        InStream in = reader(c.in);
        CoutCapture cap;
        EXPECT_EQ(in.enterSeq(), c.len);
        EXPECT_EQ(in.depth(), c.len >= 0 ? 1u : 0u);
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamSeq, ExitSkipsUnreadAndAtEndFollowsInnermost) {
    // Two bindings; the first is left after reading only its name.
    InStream in = reader("30 14  30 08 06 02 2b 06 02 02 01 00  30 08 06 02 2b 07 02 02 01 01");
    ASSERT_EQ(in.enterSeq(), 0x14);
    EXPECT_FALSE(in.atEnd());
    ASSERT_EQ(in.enterSeq(), 8);
    OID name;
    ASSERT_TRUE(in.getOID(&name));
    EXPECT_FALSE(in.atEnd());
    in.exitSeq();
    EXPECT_EQ(in.position(), 12u);
    EXPECT_FALSE(in.atEnd());

    InStream::StreamPos saved;
    in.saveSeq(saved);
    ASSERT_EQ(in.enterSeq(), 8);
    ASSERT_TRUE(in.getOID(&name));
    EXPECT_EQ(name, (OID{1, 3, 7}));
    unsigned int v = 0;
    ASSERT_TRUE(in.getInt(&v));
    EXPECT_EQ(v, 0x101u);
    EXPECT_TRUE(in.atEnd());
    in.exitSeq();
    EXPECT_TRUE(in.atEnd());
    EXPECT_EQ(in.getType(), 255);

    in.restoreSeq(saved);  // walk the second binding again
    EXPECT_EQ(in.position(), 12u);
    EXPECT_EQ(in.depth(), 1u);
    EXPECT_EQ(in.getType(), 0x30);

    in.reset();
    EXPECT_EQ(in.position(), 0u);
    EXPECT_EQ(in.depth(), 0u);
}

TEST(InStreamSeq, ExitWithNothingOpenOnlyComplains) {
    InStream in = reader("02 01 05");
    CoutCapture cap;
    in.exitSeq();
    EXPECT_EQ(message(cap), "exitSeq when seqEndp is empty!");
    EXPECT_EQ(in.position(), 0u);
}

TEST(InStreamSeq, VersionIsReadOnceAndCached) {
    InStream in = reader("30 06 02 01 01 04 01 70");
    EXPECT_EQ(in.getVersion(), 1);
    const size_t pos = in.position();
    EXPECT_EQ(in.getVersion(), 1);
    EXPECT_EQ(in.position(), pos);
    std::string community;
    EXPECT_TRUE(in.getString(&community));
    EXPECT_EQ(community, "p");

    InStream bad = reader("30 01 02");
    EXPECT_EQ(bad.getVersion(), -1);
    InStream cut = reader("30 09 02 01 01");  // outer sequence longer than the datagram
    EXPECT_EQ(cut.getVersion(), -1);
}

TEST(InStreamOid, DecodeForms) {
    struct Case {
        const char* in;
        bool ok;
        OID value;
        const char* diag;
    };
    const Case cases[] = {
        {"06 00", true, {0, 0}, ""},
        {"06 01 2b", true, {1, 3}, ""},
        {"06 01 58", true, {2, 8}, ""},
        {"06 01 78", true, {3, 0}, ""},  // one octet only: 120 splits as 3.0
        {"06 07 2b 06 01 04 01 81 48", true, {1, 3, 6, 1, 4, 1, 200}, ""},
        {"06 03 2b 7f 00", true, {1, 3, 127, 0}, ""},
        {"06 06 2b 8f ff ff ff 7f", true, {1, 3, 0xFFFFFFFF}, ""},
        {"06 07 2b 9f ff ff ff 7f 01", true, {1, 3, 0xFFFFFFFF, 1}, ""},  // wraps
        {"06 02 2b 86", false, {}, "malformed oid"},  // continuation octet at the end
        {"06 03 2b 86", false, {}, "get oid overflow of message2 3 4"},
        // The last arc runs past the length into the next octets, up to the end.
        {"06 02 2b 86 87", false, {}, "malformed oid"},
        {"06 02 2b 86 07", true, {1, 3, 0x307}, ""},
        {"06 05 2b 06", false, {}, "get oid overflow of message2 5 4"},
        {"06 84 ff ff ff ff 2b", false, {}, "get oid overflow of message6 -1 7"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        InStream in = reader(c.in);
        OID out{9, 9};
        CoutCapture cap;
        EXPECT_EQ(in.getOID(&out), c.ok);
        EXPECT_EQ(out, c.ok ? c.value : (OID{9, 9}));
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamOid, ReusesTheOutputsStorage) {
    OID out;
    out.reserve(64);
    const unsigned int* storage = out.data();
    InStream in = reader("06 07 2b 06 01 04 01 81 48  06 02 2b 06");
    ASSERT_TRUE(in.getOID(&out));
    ASSERT_TRUE(in.getOID(&out));
    EXPECT_EQ(out, (OID{1, 3, 6}));
    EXPECT_EQ(out.data(), storage);
}

TEST(InStreamValue, StringsBitsNull) {
    InStream in = reader("04 03 61 62 63  04 00  04 02 78 79  03 02 07 80  05 00");
    std::string s;
    ASSERT_TRUE(in.getString(&s));
    EXPECT_EQ(s, "abc");
    unsigned char* p = nullptr;
    EXPECT_EQ(in.getStringBuf(p), 0);
    EXPECT_EQ(in.getStringBuf(p), 2);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(p), 2), "xy");
    EXPECT_EQ(p, in.buffer().data() + 9);  // no copy
    std::vector<unsigned char> bits;
    ASSERT_TRUE(in.getBits(&bits));
    EXPECT_EQ(bits, (std::vector<unsigned char>{0x07, 0x80}));
    EXPECT_TRUE(in.getNull());
    EXPECT_TRUE(in.atEnd());
}

TEST(InStreamValue, Refusals) {
    struct Case {
        const char* in;
        const char* what;
        const char* diag;
    };
    const Case cases[] = {
        {"04 05 61 62", "string", "get string overflow of message"},
        {"04 05 61 62", "stringbuf", "get string overflow of message"},
        {"03 03 00 01", "bits", "get bits overflow of message"},
        {"03 00", "bits", "Invalid bitstring"},
        {"03 02 08 00", "bits", "Invalid bitstring"},
        {"05 01 00", "null", "malformed null"},
        {"05 81", "null", "malformed in getLen"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.what) + ": " + c.in);
        InStream in = reader(c.in);
        CoutCapture cap;
        const std::string what = c.what;
        std::string s;
        std::vector<unsigned char> bits;
        unsigned char* p = nullptr;
        bool ok = true;
        if (what == "string") ok = in.getString(&s);
        if (what == "stringbuf") ok = in.getStringBuf(p) != 0;
        if (what == "bits") ok = in.getBits(&bits);
        if (what == "null") ok = in.getNull();
        EXPECT_FALSE(ok);
        EXPECT_EQ(message(cap), c.diag);
    }
}

TEST(InStreamDump, HexSixteenToALine) {
    std::string in;
    for (int i = 0; i < 18; ++i) in += "a" + std::to_string(i % 10) + " ";
    std::ostringstream os;
    reader(in).dump(os);
    EXPECT_EQ(os.str(),
              "a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 a0 a1 a2 a3 a4 a5 \n"
              "a6 a7 \n");
    std::ostringstream empty;
    reader("").dump(empty);
    EXPECT_EQ(empty.str(), "\n");
}

}  // namespace
}  // namespace snmp
