// lm::message accessors, equality and dump.
#include <gtest/gtest.h>

#include <sstream>

#include "platform/message.h"

namespace lm {
namespace {

TEST(Message, AccessorsApplyTheirOwnTypeBits) {
    message m;
    m.setU32(0xFE000C, 7);
    m.setString(0x08FE000C, "seven");  // type bits in the argument are ignored
    EXPECT_TRUE(m.has(0x20FE000C) && !m.has(0xFE000C));  // no bool under that field
    EXPECT_EQ(m.getU32(0x20FE000C), 7u);
    EXPECT_EQ(m.getString(0xFE000C), "seven");
    EXPECT_EQ(m.getU32(0xFE000D, 99), 99u);

    m.setU32(0x28FE000C, 8);  // replaces, keeps position
    EXPECT_EQ(m.getU32(0xFE000C), 8u);
    EXPECT_EQ(m.keys(), (std::vector<uint32_t>{0x08FE000C, 0x20FE000C}));
    EXPECT_TRUE(m.remove(0x08FE000C));
    EXPECT_FALSE(m.remove(0x08FE000C));

    // Borrowed readers see only their own type, and write through.
    m.appendMsg(6, message()).appendMsg(6, message());
    EXPECT_EQ(m.findMsg(6), nullptr);  // a message array is not a nested message
    m.findMsgArray(6)->at(1).setU32(2, 2);
    EXPECT_EQ(m.findMsgArray(6)->at(1).getU32(2), 2u);
}

TEST(Message, EqualityIgnoresOrderButNotTypesOrValues) {
    message a, b;
    a.setU32(1, 1).setString(2, "x").setBool(3, true);
    b.setBool(3, true).setString(2, "x").setU32(1, 1);
    EXPECT_EQ(a, b);
    b.setString(1, "1");
    EXPECT_NE(a, b);  // extra field
    b.remove(keyOf(KT_STRING, 1));
    b.setBool(3, false);
    EXPECT_NE(a, b);

    // Large messages take the sorted path.
    message big1, big2;
    for (uint32_t i = 0; i < 40; ++i) big1.setU32(i, i);
    for (uint32_t i = 40; i-- > 0;) big2.setU32(i, i);
    EXPECT_EQ(big1, big2);
    big2.setU32(39, 0);
    EXPECT_NE(big1, big2);
}

TEST(Message, DumpFormat) {
    message inner;
    inner.setU32(0xFE0001, 3);
    message m;
    m.setU32(0xFE0001, 7);
    m.setString(0xFE0002, "a\"b\n\x01");
    m.setRaw(0xFE0003, {0xde, 0xad});
    IPAddr6 a;
    IPAddr6::parse("10.0.0.1", a);
    m.setIP6(0xFE0004, a);
    m.setBool(0xFE0005, true);
    m.setU32Array(0xFF0001, {20, 0});
    m.setMsg(0xFF000B, inner);
    m.setMsgArray(0xFE0002, {inner});
    const char* expected =
        "0x08FE0001 u32 = 7\n"
        "0x20FE0002 string = \"a\\\"b\\n\\x01\"\n"
        "0x30FE0003 raw = dead\n"
        "0x18FE0004 ip6 = 10.0.0.1\n"
        "0x00FE0005 bool = true\n"
        "0x88FF0001 u32[] count 2\n"
        "  [0] = 20\n"
        "  [1] = 0\n"
        "0x28FF000B msg\n"
        "  0x08FE0001 u32 = 3\n"
        "0xA8FE0002 msg[] count 1\n"
        "  [0]\n"
        "    0x08FE0001 u32 = 3\n";
    EXPECT_EQ(m.toString(), expected);
    std::ostringstream os;
    m.dump(os, "> ");
    EXPECT_EQ(os.str().substr(0, 21), "> 0x08FE0001 u32 = 7\n");
}

}  // namespace
}  // namespace lm
