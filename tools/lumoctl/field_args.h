// Command-line forms of bus requests: paths ("20/0"), command names ("get-all") and
// field=value arguments whose value is read by the key's type bits.
#pragma once

#include <cstdint>
#include <string>

#include "platform/bus.h"
#include "platform/message.h"

namespace lumoctl {

// "20/0", "34/1", "20" (handler 0), elements decimal or 0x hex; a leading '/' is allowed.
bool parseBusPath(const std::string& text, lm::Path& out, std::string* error);
// get, set, get-all, object-set, count, add, remove, or a number (decimal or 0x hex).
bool parseCommand(const std::string& text, uint32_t& out, std::string* error);
// "KEY=VALUE": KEY a full typed key (hex or decimal), VALUE by its type bits:
//   bool yes/no/true/false/1/0; u32, u64 decimal or 0x hex; ip6 IPv6 text or IPv4 dotted;
//   string as is; raw hex octets (optional 0x); u32 array comma-separated or a JSON array;
//   string array a JSON array or comma-separated; message and message array JSON.
// Sets the field in into (replacing any earlier value of that key).
bool parseFieldArg(const std::string& arg, lm::message& into, std::string* error);

}  // namespace lumoctl
