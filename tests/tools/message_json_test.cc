#include "platform/message_json.h"

#include <gtest/gtest.h>

namespace {

using nlohmann::json;

lm::message everyType() {
    lm::IPAddr6 v6, v4;
    EXPECT_TRUE(lm::IPAddr6::parse("2001:db8::1", v6));
    EXPECT_TRUE(lm::IPAddr6::parse("192.0.2.7", v4));
    lm::message inner;
    inner.setU32(0xFE0001, 7).setString(0x10006, "eth0");
    lm::message m;
    m.setBool(0x10010, true)
        .setBool(0x10011, false)
        .setU32(0xFE0001, 0xFFFFFFFF)
        .setU64(0x10020, UINT64_MAX)
        .setIP6(0x10030, v6)
        .setIP6(0x10031, v4)
        .setString(0x10040, "tab\there \"quoted\" \xc3\xa9")
        .setString(0x10041, "")
        .setMsg(0x10050, inner)
        .setRaw(0x10060, {0x00, 0xAB, 0xFF})
        .setRaw(0x10061, {})
        .setU32Array(0x10070, {1, 0, 0xFFFFFFFF})
        .setStringArray(0x10080, {"a", ""})
        .setMsgArray(0xFE0002, {inner, lm::message(), inner});
    return m;
}

TEST(MessageJson, EveryTypeRoundTrips) {
    lm::message m = everyType();
    json j = lm::toJson(m);
    lm::message back;
    std::string error;
    ASSERT_TRUE(lm::fromJson(j, back, &error)) << error;
    EXPECT_EQ(back, m);
    // and through text, as lumoctl --json and fixture files carry it
    ASSERT_TRUE(lm::fromJson(json::parse(j.dump()), back, &error)) << error;
    EXPECT_EQ(back, m);
}

TEST(MessageJson, ValueForms) {
    json j = lm::toJson(everyType());
    EXPECT_EQ(j["0x00010010"], true);
    EXPECT_EQ(j["0x08FE0001"], 4294967295u);
    EXPECT_EQ(j["0x18010030"], "2001:db8::1");
    EXPECT_EQ(j["0x18010031"], "192.0.2.7");
    EXPECT_EQ(j["0x30010060"], "00abff");
    EXPECT_EQ(j["0x88010070"], json::array({1, 0, 4294967295u}));
    EXPECT_EQ(j["0x28010050"]["0x20010006"], "eth0");
    EXPECT_EQ(j["0xA8FE0002"].size(), 3u);
}

TEST(MessageJson, Refusals) {
    struct Case {
        const char* json;
        const char* reason;  // a piece of the expected one-line error
    };
    const Case cases[] = {
        {R"([1])", "expected an object"},
        {R"({"eth0": 1})", "bad key \"eth0\""},
        {R"({"0x": 1})", "bad key"},
        {R"({"0x108FE0001": 1})", "bad key"},
        {R"({"0x38000001": 1})", "unknown type bits"},
        {R"({"0x00010010": 1})", "expected true or false"},
        {R"({"0x08FE0001": "7"})", "expected a number"},
        {R"({"0x08FE0001": -1})", "out of range"},
        {R"({"0x08FE0001": 4294967296})", "out of range"},
        {R"({"0x08FE0001": 1.5})", "whole number"},
        {R"({"0x10010020": 18446744073709551616})", "whole number"},  // too big for u64: parsed as float
        {R"({"0x18010030": "1.2.3"})", "not an IP address"},
        {R"({"0x18010030": 5})", "expected a string"},
        {R"({"0x20010040": null})", "expected a string"},
        {R"({"0x30010060": "abc"})", "hex octets"},
        {R"({"0x30010060": "zz"})", "hex octets"},
        {R"({"0x88010070": [1, "2"]})", "0x88010070[1]"},
        {R"({"0x88010070": 1})", "expected an array"},
        {R"({"0xA0010080": ["a", 1]})", "expected a string"},
        {R"({"0x28010050": [1]})", "expected an object"},
        {R"({"0xA8FE0002": [{"0x08FE0001": true}]})", "key 0xA8FE0002[0] 0x08FE0001"},
    };
    for (const Case& c : cases) {
        lm::message out;
        out.setU32(1, 1);
        std::string error;
        EXPECT_FALSE(lm::fromJson(json::parse(c.json), out, &error)) << c.json;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.json << " gave: " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_TRUE(out.empty()) << c.json;
    }
}

TEST(MessageJson, NestingIsBounded) {
    json deep = json::object();
    for (unsigned i = 0; i < lm::MAX_DEPTH + 5; ++i) deep = json{{"0x28000001", deep}};
    lm::message out;
    std::string error;
    EXPECT_FALSE(lm::fromJson(deep, out, &error));
    EXPECT_NE(error.find("nested deeper"), std::string::npos) << error;
}

TEST(MessageJson, MergeKeepsTargetOnRefusal) {
    lm::message m;
    m.setU32(0xFE0001, 3).setString(0x10006, "eth0");
    std::string error;
    ASSERT_TRUE(lm::mergeJson(json{{"0x20010006", "wan"}, {"0x00010010", true}}, m, &error)) << error;
    EXPECT_EQ(m.getString(0x10006), "wan");
    EXPECT_TRUE(m.getBool(0x10010));
    EXPECT_EQ(m.getU32(0xFE0001), 3u);

    lm::message before = m;
    EXPECT_FALSE(lm::mergeJson(json{{"0x20010006", "x"}, {"0x08FE0001", "bad"}}, m, &error));
    EXPECT_EQ(m, before);
}

TEST(MessageJson, ParseUnsignedAndKeys) {
    struct Case {
        const char* text;
        uint64_t max;
        bool ok;
        uint64_t value;
    };
    const Case cases[] = {
        {"0", 10, true, 0},          {"4294967295", 0xFFFFFFFF, true, 0xFFFFFFFF},
        {"4294967296", 0xFFFFFFFF, false, 0},
        {"0xFFFFFFFF", 0xFFFFFFFF, true, 0xFFFFFFFF},
        {"0x100000000", 0xFFFFFFFF, false, 0},
        {"18446744073709551615", UINT64_MAX, true, UINT64_MAX},
        {"18446744073709551616", UINT64_MAX, false, 0},
        {"0x", 10, false, 0},        {"", 10, false, 0},
        {"-1", 10, false, 0},        {"+1", 10, false, 0},
        {" 1", 10, false, 0},        {"1a", 100, false, 0},
        {"0X1f", 100, true, 31},     {"11", 10, false, 0},
    };
    for (const Case& c : cases) {
        uint64_t v = 0;
        EXPECT_EQ(lm::parseUnsigned(c.text, c.max, v), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(v, c.value) << c.text;
        }
    }
    uint32_t key;
    EXPECT_TRUE(lm::parseKey("0x08fe0001", key));
    EXPECT_EQ(key, 0x08FE0001u);
    EXPECT_TRUE(lm::parseKey("16646145", key));  // 0x00FE0001, a bool key
    EXPECT_EQ(key, 0x00FE0001u);
    EXPECT_FALSE(lm::parseKey("0x40000001", key));  // type bits no message carries
    EXPECT_EQ(lm::keyText(0xA8FE0002), "0xA8FE0002");
}

}  // namespace
