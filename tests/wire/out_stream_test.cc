#include "wire/out_stream.h"

#include <gtest/gtest.h>

#include "tests/wire/test_util.h"
#include "wire/in_stream.h"

namespace snmp {
namespace {

using test::CoutCapture;
using test::hex;
using test::toHex;

std::string written(const OutStream& out) { return toHex(out.buffer()); }

TEST(OutStreamInt, ThirtyTwoBitsByTag) {
    struct Case {
        unsigned int v;
        unsigned char tag;
        const char* want;
    };
    const Case cases[] = {
        {0, 0x02, "02 01 00"},
        {127, 0x02, "02 01 7f"},
        {128, 0x02, "02 02 00 80"},
        {255, 0x41, "41 02 00 ff"},
        {256, 0x02, "02 02 01 00"},
        {0x7FFF, 0x02, "02 02 7f ff"},
        {0x8000, 0x02, "02 03 00 80 00"},
        {0x7FFFFF, 0x43, "43 03 7f ff ff"},
        {0x800000, 0x02, "02 04 00 80 00 00"},
        {0x7FFFFFFF, 0x02, "02 04 7f ff ff ff"},
        {0xFFFFFFFF, 0x41, "41 05 00 ff ff ff ff"},
        {0x80000000, 0x42, "42 05 00 80 00 00 00"},
        {0xFFFFFFFF, 0x02, "02 01 ff"},                 // -1
        {0xFFFFFF80, 0x02, "02 02 ff 80"},              // -128, one octet over minimal
        {0xFFFFFF7F, 0x02, "02 02 ff 7f"},              // -129
        {0xFFFF7FFF, 0x02, "02 03 ff 7f ff"},           // -32,769
        {0x80000000, 0x02, "02 05 ff 80 00 00 00"},     // INT_MIN
        {0xFFFFFFFE, 0x02, "02 02 ff fe"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.want);
        OutStream out;
        out.add(c.v, c.tag);
        EXPECT_EQ(written(out), c.want);
        // The reader gets the same bits back, except for the five-octet negative form,
        // which it refuses like every five-octet integer without a 00 lead.
        if (out.size() == 7 && out.buffer()[2] == 0xFF) continue;
        InStream in(out.data(), static_cast<unsigned>(out.size()));
        unsigned int back = 0;
        ASSERT_TRUE(in.getInt(&back));
        EXPECT_EQ(back, c.v);
    }
}

TEST(OutStreamInt, SixtyFourBitsAlwaysUnsigned) {
    struct Case {
        unsigned long long v;
        const char* want;
    };
    const Case cases[] = {
        {0, "46 01 00"},
        {1, "46 01 01"},
        {0x80, "46 02 00 80"},
        {0xFFFFFFFFull, "46 05 00 ff ff ff ff"},
        {0x7FFFFFFFFFFFFFFFull, "46 08 7f ff ff ff ff ff ff ff"},
        {1ull << 63, "46 09 00 80 00 00 00 00 00 00 00"},
        {~0ull, "46 09 00 ff ff ff ff ff ff ff ff"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.want);
        OutStream out;
        out.add(c.v, 0x46);
        EXPECT_EQ(written(out), c.want);
    }
    OutStream out;
    out.add(uint64_t{5}, 0x46);  // uint64_t takes the 64-bit form too
    out.add(5, 0x02);
    EXPECT_EQ(written(out), "46 01 05 02 01 05");
}

TEST(OutStreamLength, ThreeFormsNoWider) {
    const std::pair<unsigned int, const char*> cases[] = {
        {0, "00"},          {127, "7f"},          {128, "81 80"},       {255, "81 ff"},
        {256, "82 01 00"},  {65535, "82 ff ff"},  {65536, "82 00 00"},  // truncated
    };
    for (const auto& [n, want] : cases) {
        OutStream out;
        out.addLen(n);
        EXPECT_EQ(written(out), want) << n;
    }
}

// A sequence holding an OCTET STRING sized so that the sequence contents are n octets.
OutStream sequenceOf(size_t n) {
    OutStream out;
    out.startSeq(0x30);
    const std::string filler(n - (n - 2 < 128 ? 2 : n - 3 < 256 ? 3 : 4), 'x');
    out.add(filler, 0x04);
    out.endSeq();
    return out;
}

TEST(OutStreamSeq, BackPatchedLengthWidensInPlace) {
    const std::pair<size_t, const char*> cases[] = {
        {127, "30 7f"},     {128, "30 81 80"},     {255, "30 81 ff"},
        {256, "30 82 01 00"}, {65535, "30 82 ff ff"},
    };
    for (const auto& [n, head] : cases) {
        SCOPED_TRACE(n);
        OutStream out = sequenceOf(n);
        const std::string h = head;
        EXPECT_EQ(toHex(out.data(), h.size() / 3 + 1), h);
        // The contents moved up intact: the reader finds the string and the end together.
        InStream in(out.data(), static_cast<unsigned>(out.size()));
        ASSERT_EQ(in.enterSeq(), static_cast<int>(n));
        std::string s;
        ASSERT_TRUE(in.getString(&s));
        EXPECT_TRUE(in.atEnd());
        EXPECT_EQ(in.position(), out.size());
    }
}

TEST(OutStreamSeq, TooLongAndUnopenedOnlyReport) {
    OutStream out;
    out.startSeq(0x30);
    out.add(std::string(65536 - 4, 'x'), 0x04);
    const size_t size = out.size();
    {
        CoutCapture cap;
        out.endSeq();
        EXPECT_EQ(cap.text(), "SNMP OutStream: sequence too long\n");
    }
    EXPECT_EQ(out.size(), size);
    EXPECT_EQ(out.buffer()[1], 0x00);  // placeholder left as it was
    EXPECT_EQ(out.openSequences(), 0u);
    CoutCapture cap;
    out.endSeq();
    EXPECT_EQ(cap.text(), "SNMP OutStream: no sequence\n");
    EXPECT_EQ(out.size(), size);
}

TEST(OutStreamSeq, NestedWideningKeepsOuterLengthsRight) {
    OutStream out;
    out.startSeq(0x30);
    out.add(1u, 0x02);
    out.startSeq(0xA2);
    out.startSeq(0x30);
    out.add(std::string(300, 'v'), 0x04);
    out.endSeq();
    out.endSeq();
    out.endSeq();
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    EXPECT_EQ(in.getVersion(), 1);
    EXPECT_EQ(in.getType(), 0xA2);
    ASSERT_EQ(in.enterSeq(), 4 + 4 + 300);
    ASSERT_EQ(in.enterSeq(), 4 + 300);
    std::string s;
    ASSERT_TRUE(in.getString(&s));
    EXPECT_EQ(s.size(), 300u);
    EXPECT_EQ(in.position(), out.size());
}

TEST(OutStreamOid, EncodeAndRefuse) {
    struct Case {
        OID oid;
        const char* want;
        const char* diag;
    };
    const Case cases[] = {
        {{1, 3, 6, 1, 4, 1, 200}, "06 07 2b 06 01 04 01 81 48", ""},
        {{1, 3}, "06 01 2b", ""},
        {{0, 0}, "06 01 00", ""},
        {{2, 39, 127, 128}, "06 04 77 7f 81 00", ""},
        {{1, 3, 16383, 16384, 0x1FFFFF, 0x200000}, "06 0d 2b ff 7f 81 80 00 ff ff 7f 81 80 80 00",
         ""},
        {{1, 3, 0xFFFFFFFF}, "06 06 2b 8f ff ff ff 7f", ""},
        {{1}, "", "SNMP OutStream: cannot encode OID shorter that 2\n"},
        {{}, "", "SNMP OutStream: cannot encode OID shorter that 2\n"},
        {{2, 40}, "", "SNMP OutStream: encoding invalid OID\n"},
        {{3, 0}, "", "SNMP OutStream: encoding invalid OID\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.oid.str());
        OutStream out;
        CoutCapture cap;
        out.addOID(c.oid, 0x06);
        EXPECT_EQ(written(out), c.want);
        EXPECT_EQ(cap.text(), c.diag);
        if (*c.want) {
            InStream in(out.data(), static_cast<unsigned>(out.size()));
            OID back;
            ASSERT_TRUE(in.getOID(&back));
            EXPECT_EQ(back, c.oid);
        }
    }
}

TEST(OutStreamOid, LongOidGetsALongFormLength) {
    OID o{1, 3};
    for (int i = 0; i < 128; ++i) o += 0xFFFFFFFFu;  // 1 + 128 * 5 contents octets
    OutStream out;
    out.addOID(o, 0x06);
    EXPECT_EQ(toHex(out.data(), 4), "06 82 02 81");
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    OID back;
    ASSERT_TRUE(in.getOID(&back));
    EXPECT_EQ(back, o);
}

TEST(OutStreamErrors, FieldsWrittenOnceThenPatched) {
    OutStream out;
    out.startSeq(0xA2);
    out.add(77u, 0x02);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(0x30);
    out.addErrorStatus(5);
    out.addErrorIndex(2);
    out.endSeq();
    out.endSeq();
    EXPECT_EQ(written(out), "a2 0b 02 01 4d 02 01 05 02 01 02 30 00");
}

TEST(OutStreamErrors, OffsetsStayPutWhenAnEnclosingSequenceWidens) {
    // The fields are written inside the PDU; a sequence closed before them that widens
    // lies after them, so patching afterwards still hits the right octets.
    OutStream out;
    out.startSeq(0xA2);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(0x30);
    out.add(std::string(200, 'b'), 0x04);
    out.endSeq();
    out.addErrorStatus(2);
    out.addErrorIndex(1);
    out.endSeq();
    EXPECT_EQ(toHex(out.data(), 11), "a2 81 d4 02 01 02 02 01 01 30 81");
}

TEST(OutStreamByType, EveryType) {
    struct Case {
        const char* text;
        unsigned char type;
        const char* want;
    };
    const Case cases[] = {
        {"1.3.6.1", 0x06, "06 03 2b 06 01"},
        {".1.3.6.1", 0x06, "06 03 2b 06 01"},
        {"hello", 0x04, "04 05 68 65 6c 6c 6f"},
        {"", 0x04, "04 00"},
        {"ignored", 0x05, "05 00"},
        {"10.0.0.1", 0x40, "40 04 0a 00 00 01"},
        {"0.0.0.1", 0x40, "40 01 01"},
        {"192.168.1.1", 0x40, "40 05 00 c0 a8 01 01"},
        {"-1", 0x02, "02 01 ff"},
        {"300", 0x02, "02 02 01 2c"},
        {"12x", 0x41, "41 01 0c"},
        {"", 0x43, "43 01 00"},
        {"-1", 0x47, "47 05 00 ff ff ff ff"},
        {"7", 0x42, ""},
        {"7", 0x44, ""},
        {"7", 0x46, ""},
        {"7", 0x80, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " as " + std::to_string(c.type));
        OutStream out;
        out.addByType(c.text, c.type);
        EXPECT_EQ(written(out), c.want);
    }
}

TEST(OutStreamByType, VarBindKeepsItsNameWhenTheTypeIsNotWritten) {
    OutStream out;
    out.addVarBind({OID{1, 3, 6, 1}, 0x41, "9"});
    out.addVarBind({OID{1, 3}, 0x42, "9"});
    EXPECT_EQ(written(out), "30 08 06 03 2b 06 01 41 01 09 30 03 06 01 2b");
}

// Goes through the writer's virtual slots, as value packers do.
class RecordingStream : public OutStream {
public:
    using OutStream::add;
    void add(unsigned int v, unsigned char tag) override {
        calls += "add " + std::to_string(v) + "/" + std::to_string(tag) + ";";
        OutStream::add(v, tag);
    }
    void addOID(const OID& oid, unsigned char tag) override {
        calls += "oid " + oid.str() + "/" + std::to_string(tag) + ";";
        OutStream::addOID(oid, tag);
    }
    std::string calls;
};

TEST(OutStreamByType, TypedValuesGoThroughTheVirtualSlots) {
    RecordingStream out;
    out.addVarBind({OID{1, 3}, 0x40, "0.0.1.2"});
    out.addByType("1.3.6", 0x06);
    OutStream& base = out;
    base.add(4u, 0x43);
    EXPECT_EQ(out.calls, "oid .1.3/6;add 258/64;oid .1.3.6/6;add 4/67;");
}

TEST(OutStreamBits, ValidatesTheUnusedBitsOctet) {
    const unsigned char good[] = {0x07, 0x80};
    const unsigned char bad[] = {0x08, 0x00};
    OutStream out;
    out.addBits(good, 2, 0x03);
    CoutCapture cap;
    out.addBits(bad, 2, 0x03);
    out.addBits(good, 0, 0x03);
    EXPECT_EQ(cap.text(),
              "SNMP OutStream: building invalid bitstring\n"
              "SNMP OutStream: building invalid bitstring\n");
    EXPECT_EQ(written(out), "03 02 07 80");
}

// The v3 marks: moved by a widening only when the inserted octets lie before them.
TEST(OutStreamMarks, MoveOnlyForInsertionsBeforeThem) {
    OutStream out;
    out.startSeq(0x30);  // message: contents from offset 2
    out.add(3u, 0x02);
    out.setAuthMark(out.size());  // inside the message, before the next sequence
    out.add(std::string(12, '\0'), 0x04);
    out.setScopedPduMark(out.size());
    out.startSeq(0x30);  // scoped PDU: its own widening lies after both marks
    out.add(std::string(300, 's'), 0x04);
    out.endSeq();
    EXPECT_EQ(out.authMark(), 5u);
    EXPECT_EQ(out.scopedPduMark(), 19u);
    out.endSeq();  // the message widens by two octets at offset 2
    EXPECT_EQ(out.authMark(), 7u);
    EXPECT_EQ(out.scopedPduMark(), 21u);
    EXPECT_EQ(out.buffer()[out.scopedPduMark()], 0x30);
    EXPECT_EQ(out.buffer()[out.authMark()], 0x04);
}

TEST(OutStreamMarks, MarkAtTheFirstContentsOctetMoves) {
    OutStream out;
    out.startSeq(0x30);
    out.setScopedPduMark(out.size());
    out.add(std::string(130, 'z'), 0x04);
    out.endSeq();
    EXPECT_EQ(out.scopedPduMark(), 3u);
    EXPECT_EQ(out.buffer()[3], 0x04);
    EXPECT_EQ(out.authMark(), 0u);  // unset marks stay unset
}

TEST(OutStreamCut, TruncateAndSnapshotForPerTargetTails) {
    OutStream out;
    out.startSeq(0x30);
    out.add(1u, 0x02);
    out.startSeq(0xA7);
    const OutStream::Snapshot head = out.snapshot();
    for (int target = 0; target < 2; ++target) {
        out.restore(head);
        out.add(std::string(target ? 150 : 3, 't'), 0x04);
        out.endSeq();
        out.endSeq();
        InStream in(out.data(), static_cast<unsigned>(out.size()));
        EXPECT_EQ(in.getVersion(), 1);
        EXPECT_GT(in.enterSeq(), 0) << target;
    }
    out.truncate(3);
    EXPECT_EQ(out.size(), 3u);
    out.startSeq(0x30);
    out.truncate(4);  // cuts into that sequence's placeholder: it is forgotten
    EXPECT_EQ(out.openSequences(), 0u);
}

}  // namespace
}  // namespace snmp
