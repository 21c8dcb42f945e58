#include "tools/lumoctl/field_args.h"

#include <gtest/gtest.h>

#include "platform/message_json.h"

namespace {

TEST(FieldArgs, ValuesFollowTheKeyType) {
    const std::pair<const char*, const char*> cases[] = {  // argument, the field as toJson shows it
        {"0x00010010=False", R"({"0x00010010":false})"},
        {"0x08FE0004=0xfe000d", R"({"0x08FE0004":16646157})"},
        {"142475268=5", R"({"0x087E0004":5})"},
        {"0x10010020=18446744073709551615", R"({"0x10010020":18446744073709551615})"},
        {"0x18010030=::ffff:10.0.0.1", R"({"0x18010030":"10.0.0.1"})"},
        {"0x20010006=eth0 = uplink", R"({"0x20010006":"eth0 = uplink"})"},
        {"0x30010060=0x00ff", R"({"0x30010060":"00ff"})"},
        {"0x88010070=1,0x2,3", R"({"0x88010070":[1,2,3]})"},
        {"0x88010070=", R"({"0x88010070":[]})"},
        {"0xA0010080=[\"a,b\"]", R"({"0xA0010080":["a,b"]})"},
        {"0xA8FE0002=[{},{\"0x20010006\":\"x\"}]", R"({"0xA8FE0002":[{},{"0x20010006":"x"}]})"},
    };
    for (const auto& [arg, shown] : cases) {
        lm::message m;
        std::string error;
        ASSERT_TRUE(lumoctl::parseFieldArg(arg, m, &error)) << arg << ": " << error;
        EXPECT_EQ(lm::toJson(m), nlohmann::json::parse(shown)) << arg;
    }
    for (const char* bad : {"0x08FE0004", "=5", "ifName=eth0", "0xFE0004=100", "0x08FE0004=-1",
                            "0x08FE0004=4294967296", "0x08FE0004= 1", "0x08FE0004=0x",
                            "0x18010030=1.2.3.4.5", "0x30010060=abc", "0x88010070=1,,2",
                            "0x28010050={broken", "0x40000001=1"}) {
        lm::message m;
        std::string error;
        EXPECT_FALSE(lumoctl::parseFieldArg(bad, m, &error)) << bad;
        EXPECT_FALSE(error.empty()) << bad;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
}

TEST(FieldArgs, PathsAndCommands) {
    lm::Path p;
    ASSERT_TRUE(lumoctl::parseBusPath("/34/1/0x5", p, nullptr));
    EXPECT_EQ(p, (lm::Path{34, 1, 5}));
    ASSERT_TRUE(lumoctl::parseBusPath("24", p, nullptr));
    EXPECT_EQ(p, (lm::Path{24, 0}));
    for (const char* bad : {"", "/", "20/", "20//1", "20/-1"})
        EXPECT_FALSE(lumoctl::parseBusPath(bad, p, nullptr)) << bad;

    uint32_t c;
    const std::pair<const char*, uint32_t> names[] = {
        {"get-all", lm::cmd::GET_ALL}, {"object-set", lm::cmd::OBJECT_SET}, {"0xFE000D", 0xFE000D}};
    for (const auto& [text, number] : names) {
        ASSERT_TRUE(lumoctl::parseCommand(text, c, nullptr)) << text;
        EXPECT_EQ(c, number) << text;
    }
    EXPECT_FALSE(lumoctl::parseCommand("getall", c, nullptr));
}

}  // namespace
