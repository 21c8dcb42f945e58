// JSON form of lm::message, for lumoctl, fixture files and scripts.
//
// An object keyed by the full typed key in hex ("0x08FE0001"); the key's type bits decide
// the value's form: bool true/false, u32 and u64 numbers, IPv6 address as text ("::1",
// IPv4 as "192.0.2.1"), string, nested message as an object, raw bytes as a hex string,
// u32, string and message arrays as JSON arrays. fromJson refuses anything else with one
// line naming the key, so a typo in a fixture never turns into a silently missing field.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/message.h"

namespace lm {

nlohmann::json toJson(const message& m);
// Replaces out with the message that j describes. On refusal returns false, leaves out
// empty and puts a one-line reason in *error (when given).
bool fromJson(const nlohmann::json& j, message& out, std::string* error = nullptr);
// Adds the fields that j describes to into, replacing values of the same keys. On refusal
// into is left as it was.
bool mergeJson(const nlohmann::json& j, message& into, std::string* error = nullptr);
// Copies the value held under the full typed key from one message to another (nothing
// when from lacks it).
void copyField(const message& from, uint32_t key, message& to);

// "0x08FE0001": eight upper-case hex digits.
std::string keyText(uint32_t key);
// A full typed key written in hex ("0x08FE0001") or decimal, whose type bits name a type
// that messages carry. False with a reason otherwise.
bool parseKey(const std::string& text, uint32_t& key, std::string* error = nullptr);
// An unsigned number in decimal or "0x" hex, no sign, no spaces, at most max.
bool parseUnsigned(const std::string& text, uint64_t max, uint64_t& out);

}  // namespace lm
