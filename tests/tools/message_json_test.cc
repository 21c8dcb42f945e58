// The JSON form of messages that lumoctl and fixture files carry. Its value forms are checked
// through lumoctl's field arguments (field_args_test.cc) and the real programs; here, the
// refusals of untrusted text.
#include "platform/message_json.h"

#include <gtest/gtest.h>

namespace {

using nlohmann::json;

TEST(MessageJson, RefusalsAreOneLineAndLeaveNothing) {
    json deep = json::object();
    for (unsigned i = 0; i < lm::MAX_DEPTH + 5; ++i) deep = json{{"0x28000001", deep}};
    const std::pair<json, const char*> cases[] = {
        {json::parse(R"([1])"), "expected an object"},
        {json::parse(R"({"eth0": 1})"), "bad key \"eth0\""},
        {json::parse(R"({"0x38000001": 1})"), "unknown type bits"},
        {json::parse(R"({"0x00010010": 1})"), "expected true or false"},
        {json::parse(R"({"0x08FE0001": "7"})"), "expected a number"},
        {json::parse(R"({"0x08FE0001": -1})"), "out of range"},
        {json::parse(R"({"0x08FE0001": 4294967296})"), "out of range"},
        {json::parse(R"({"0x08FE0001": 1.5})"), "whole number"},
        {json::parse(R"({"0x10010020": 18446744073709551616})"), "whole number"},
        {json::parse(R"({"0x18010030": "1.2.3"})"), "not an IP address"},
        {json::parse(R"({"0x20010040": null})"), "expected a string"},
        {json::parse(R"({"0x30010060": "abc"})"), "hex octets"},
        {json::parse(R"({"0x88010070": [1, "2"]})"), "0x88010070[1]"},
        {json::parse(R"({"0xA8FE0002": [{"0x08FE0001": true}]})"), "key 0xA8FE0002[0] 0x08FE0001"},
        {deep, "nested deeper"},
    };
    for (const auto& [doc, reason] : cases) {
        lm::message out;
        out.setU32(1, 1);
        std::string error;
        EXPECT_FALSE(lm::fromJson(doc, out, &error)) << doc;
        EXPECT_NE(error.find(reason), std::string::npos) << doc << " gave: " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_TRUE(out.empty()) << doc;
    }
}

TEST(MessageJson, MergeKeepsTargetOnRefusal) {
    lm::message m;
    m.setU32(0xFE0001, 3).setString(0x10006, "eth0");
    const lm::message before = m;
    EXPECT_FALSE(lm::mergeJson(json{{"0x20010006", "x"}, {"0x08FE0001", "bad"}}, m));
    EXPECT_EQ(m, before);
}

}  // namespace
