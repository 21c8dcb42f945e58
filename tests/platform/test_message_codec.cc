// lm::message binary codec: exact round trips and refusal of malformed input.
#include <gtest/gtest.h>

#include "platform/message.h"

namespace lm {
namespace {

message everyType() {
    IPAddr6 a6, a4;
    IPAddr6::parse("fe80::1:2", a6);
    IPAddr6::parse("192.0.2.7", a4);
    message leaf;
    leaf.setU32(1, 0xDEADBEEF).setString(2, "leaf");
    message mid;
    mid.setMsg(3, leaf).appendMsg(4, leaf).appendMsg(4, message{}).setStringArray(5, {"", "b"});
    message m;
    m.setBool(1, true).setBool(2, false);
    m.setU32(3, 0).setU32(4, 0xFFFFFFFF);
    m.setU64(5, 0x0123456789ABCDEFull);
    m.setIP6(6, a6).setIP6(7, a4);
    m.setString(8, std::string("nul\0inside", 10)).setString(9, "");
    m.setRaw(10, {0, 1, 0xFF}).setRaw(11, {});
    m.setU32Array(12, {1, 2, 3}).setU32Array(13, {});
    m.setStringArray(14, {"x", "yy"});
    m.setMsg(15, mid).setMsg(16, message{});
    m.setMsgArray(17, {mid, leaf, message{}}).setMsgArray(18, {});
    return m;
}

TEST(MessageCodec, RoundTripsEveryType) {
    const message m = everyType();
    const bytes enc = m.encode();
    message back;
    std::string err;
    ASSERT_TRUE(message::decode(enc.data(), enc.size(), back, &err)) << err;
    EXPECT_EQ(back, m);
    EXPECT_EQ(back.keys(), m.keys());  // order survives
    EXPECT_EQ(back.encode(), enc);
}

TEST(MessageCodec, KnownLayout) {
    EXPECT_EQ(message().encode(), bytes{1});
    message m;
    m.setU32(0xFE0001, 7).setString(0xFE0002, "ab");
    EXPECT_EQ(m.encode(), (bytes{1, 0x01, 0x00, 0xFE, 0x08, 7, 0, 0, 0,
                                 0x02, 0x00, 0xFE, 0x20, 2, 0, 0, 0, 'a', 'b'}));
}

TEST(MessageCodec, EveryTruncationFailsCleanly) {
    // A single top-level field, so no cut lands on a field boundary (a cut there, or
    // the bare version octet, is a well-formed shorter message; the bus and the stores
    // frame each message's length).
    message wrap;
    wrap.setMsg(1, everyType());
    const bytes enc = wrap.encode();
    for (size_t cut = 0; cut < enc.size(); ++cut) {
        if (cut == 1) continue;
        bytes part(enc.begin(), enc.begin() + cut);  // exact-size heap copy: ASan sees over-reads
        message out;
        out.setU32(1, 1);
        std::string err;
        EXPECT_FALSE(message::decode(part.data(), part.size(), out, &err)) << "cut " << cut;
        EXPECT_TRUE(out.empty());
        EXPECT_FALSE(err.empty());
        EXPECT_EQ(err.find('\n'), std::string::npos);
    }
}

bytes le(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

bytes cat(std::initializer_list<bytes> parts) {
    bytes out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// Fields of `levels` nested messages, innermost empty.
bytes nestedFields(unsigned levels) {
    bytes inner;
    for (unsigned i = 0; i < levels; ++i)
        inner = cat({le(0x28000001), le(uint32_t(inner.size())), inner});
    return inner;
}

TEST(MessageCodec, RefusesMalformedInput) {
    struct Case {
        const char* name;
        bytes data;
        const char* reason;
    } cases[] = {
        {"empty", {}, "empty input"},
        {"version", {2}, "unsupported version 2"},
        {"bool octet", cat({{1}, le(0x00000001), {2}}), "bool octet 2"},
        {"unknown type", cat({{1}, le(0x38000001), le(0)}), "unknown type"},
        {"string length", cat({{1}, le(0x20000001), le(5), {'a', 'b'}}), "length 5 exceeds"},
        {"u32 count", cat({{1}, le(0x88000001), le(0xFFFFFFFF), le(1)}), "count 4294967295"},
        {"msg count", cat({{1}, le(0xA8000001), le(3), le(0), le(0)}), "count 3 exceeds"},
        {"msg element", cat({{1}, le(0xA8000001), le(2), le(0), le(5)}), "length 5 exceeds"},
        {"nested overrun", cat({{1}, le(0x28000001), le(12), le(0x08000002), le(1)}), "length 12"},
        {"field crosses nested end",
         cat({{1}, le(0x28000001), le(6), le(0x08000002), {1, 0, 0, 0}}), "truncated"},
        {"duplicate", cat({{1}, le(0x08000001), le(1), le(0x08000001), le(2)}), "duplicate key"},
        {"depth bomb", cat({{1}, nestedFields(MAX_DEPTH + 1)}), "nesting deeper"},
    };
    for (const auto& c : cases) {
        message out;
        std::string err;
        EXPECT_FALSE(message::decode(c.data.data(), c.data.size(), out, &err)) << c.name;
        EXPECT_NE(err.find(c.reason), std::string::npos) << c.name << ": " << err;
        EXPECT_EQ(err.find('\n'), std::string::npos) << c.name;
    }
    const bytes deepest = cat({{1}, nestedFields(MAX_DEPTH)});
    message out;
    std::string err;
    EXPECT_TRUE(message::decode(deepest.data(), deepest.size(), out, &err)) << err;
}

}  // namespace
}  // namespace lm
