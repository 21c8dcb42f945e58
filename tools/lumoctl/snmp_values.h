// The agent's settings and community fields as an operator types and reads them: yes/no,
// "2c", "start,interfaces", "10.0.0.0/255.0.0.0", "sha", and back. Each parser returns false
// on text it does not take, leaving out untouched; callers word the error.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/agent_settings.h"
#include "platform/ipaddr.h"
#include "platform/message.h"

namespace lumoctl::snmpval {

using snmp::AGENT_PROGRAM;
using snmp::SETTINGS_HANDLER;
namespace setting = snmp::setting;

constexpr uint32_t START_TRAP = 0x0ABC0001;      // generator id of the start trap
constexpr uint32_t INTERFACES_GENERATOR = 0;     // link up / down
constexpr uint32_t NO_COMMUNITY = snmp::NO_TRAP_COMMUNITY;

// yes/no, on/off, true/false in any case.
bool parseSwitch(const std::string& text, bool& out);
std::string switchText(bool v);  // "yes" / "no"

// "1", "2c", "3" → the number written in traps (0, 1, 3). Stored values other than 0 and 3
// send v2c-style traps, so they read back as "2c".
bool parseTrapVersion(const std::string& text, uint32_t& out);
std::string trapVersionText(uint32_t stored);

// Comma lists; an empty text is an empty list.
// Generators: start, interfaces or a number.
bool parseGenerators(const std::string& text, std::vector<uint32_t>& out);
std::string generatorText(uint32_t id);
// Interface filter: "all" (the empty list) or interface ids.
bool parseInterfaceFilter(const std::string& text, std::vector<uint32_t>& out);
// Trap targets: IPv4 or IPv6 addresses, IPv4 held mapped.
bool parseAddresses(const std::string& text, std::vector<lm::IPAddr6>& out);

// Settings message forms of targets and filter.
lm::message targetElement(const lm::IPAddr6& target);
// False for an element with neither address form (the agent skips those too).
bool targetOf(const lm::message& element, lm::IPAddr6& out);

// Community source prefixes: a.b.c.d/len, a.b.c.d/m.m.m.m (contiguous mask), a.b.c.d,
// x::y/len, x::y. IPv4 prefixes become the IPv4 element form (address and mask in network
// order), others the IPv6 form.
bool parsePrefixes(const std::string& text, std::vector<lm::message>& elements);
// "a.b.c.d/len" (or "/m.m.m.m" for a mask that is not contiguous), "x::y/len"; empty for an
// element with neither form.
std::string prefixText(const lm::message& element);

// Security level: noauth|auth|priv or 0|1|2 (noAuthNoPriv, authNoPriv, authPriv too).
bool parseSecurityLevel(const std::string& text, uint32_t& out);
std::string securityLevelText(uint32_t level);  // numbers past 2 print as numbers
// md5|sha (sha1 too) → 0|1.
bool parseAuthProtocol(const std::string& text, uint32_t& out);
std::string authProtocolText(uint32_t protocol);
// des|aes → 0|1; the agent takes any value but 0 as AES.
bool parsePrivProtocol(const std::string& text, uint32_t& out);
std::string privProtocolText(uint32_t protocol);

}  // namespace lumoctl::snmpval
