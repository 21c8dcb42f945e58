// Item: one community / SNMPv3 user record. Its name is both the v1/v2c community string and
// the v3 msgUserName; it says from where it may be used, what it may do, the least v3
// security level it demands, and carries the keys derived from its passwords.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/amap.h"
#include "platform/ipaddr.h"
#include "platform/message.h"
#include "wire/v3info.h"

namespace snmp {

// Bus fields of a record (typed accessors add the type bits).
namespace itemkey {
constexpr uint32_t NAME = 0x20000005;           // string
constexpr uint32_t READ_ACCESS = 0x00000006;    // bool
constexpr uint32_t WRITE_ACCESS = 0x00000007;   // bool
constexpr uint32_t AUTH_PASSWORD = 0x2000000B;  // string
constexpr uint32_t PRIV_PASSWORD = 0x2000000C;  // string
constexpr uint32_t SECURITY_LEVEL = 0x0800000F; // u32
constexpr uint32_t AUTH_PROTOCOL = 0x08000014;  // u32: 0 MD5, 1 SHA-1
constexpr uint32_t PRIV_PROTOCOL = 0x08000015;  // u32: 0 DES-CBC, else AES-128-CFB
constexpr uint32_t ADDRESSES = 0xA800001B;      // message array of address elements
constexpr uint32_t IPV4_ADDR = 0x08000008;      // u32, network order
constexpr uint32_t IPV4_MASK = 0x08000009;      // u32, network order
constexpr uint32_t IPV6_ADDR = 0x18000016;      // IPv6 address
constexpr uint32_t IPV6_PREFIX = 0x08000017;    // u32 prefix length
constexpr uint32_t IS_DEFAULT = 0x00FE000D;     // bool, true for the record with id 0
constexpr uint32_t DEFAULTS = 0x28FE001D;       // message: factory values of the default record
}  // namespace itemkey

// getConfig flag bits.
constexpr unsigned ITEM_FLAG_SINGLE_ADDRESS = 1u << 31;  // also write the first prefix at top level
constexpr unsigned ITEM_FLAG_DEFAULTS = 1u << 29;        // add the defaults message (id 0 only)

class Item : public lm::AMapItem {
public:
    std::string name;
    bool readAccess = true;
    bool writeAccess = false;
    uint32_t securityLevel = 0;  // 0 noAuthNoPriv, 1 authNoPriv, 2 authPriv
    uint32_t authProtocol = 0;   // index into methods
    Octets authKey;              // 128-byte HMAC pad block once derived
    uint32_t privProtocol = 0;
    Octets privKey;              // localised key (16 bytes MD5, 20 SHA-1) once derived
    std::string authPassword;
    std::string privPassword;
    std::vector<lm::IPPrefix6> addresses;

    const char* typeName() const override { return "item"; }
    void getConfig(lm::message& out, unsigned flags) const override;
    // Fields absent from `in` keep their values; flags are not consulted. Keys are rebuilt
    // when the agent's engine id is known (engineReady()).
    void setConfig(const lm::message& in, unsigned flags) override;
    Item* clone() const override { return new Item(*this); }

    // True when a prefix of `addresses` holds source (tested in list order).
    bool check(const lm::IPAddr6& source) const;

    // Derives authKey and privKey for the agent's engine id (CommunityKeep::engineId(), or
    // an empty id when there is no CommunityKeep), or for the given one.
    void regenerateKeys();
    void regenerateKeys(const Octets& engineId);
};

}  // namespace snmp
