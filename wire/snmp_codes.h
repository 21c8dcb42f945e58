// The SNMP vocabulary shared by the codec, the request path and the MIB: value tags, PDU
// types and error statuses, by name.
#pragma once

#include <cstdint>

namespace snmp {

// BER tags of values and structures.
namespace tag {
constexpr uint8_t INTEGER = 0x02;
constexpr uint8_t BIT_STRING = 0x03;
constexpr uint8_t OCTET_STRING = 0x04;
constexpr uint8_t NULL_VALUE = 0x05;
constexpr uint8_t OBJECT_ID = 0x06;
constexpr uint8_t SEQUENCE = 0x30;
constexpr uint8_t IP_ADDRESS = 0x40;
constexpr uint8_t COUNTER32 = 0x41;
constexpr uint8_t GAUGE32 = 0x42;
constexpr uint8_t TIMETICKS = 0x43;
constexpr uint8_t OPAQUE = 0x44;
constexpr uint8_t COUNTER64 = 0x46;
constexpr uint8_t UINTEGER32 = 0x47;
// v2c/v3 exceptions, written in null form in place of a value.
constexpr uint8_t NO_SUCH_OBJECT = 0x80;
constexpr uint8_t NO_SUCH_INSTANCE = 0x81;
constexpr uint8_t END_OF_MIB_VIEW = 0x82;
}  // namespace tag

// PDU types.
namespace pdu {
constexpr uint8_t GET = 0xA0;
constexpr uint8_t GET_NEXT = 0xA1;
constexpr uint8_t RESPONSE = 0xA2;
constexpr uint8_t SET = 0xA3;
constexpr uint8_t TRAP_V1 = 0xA4;
constexpr uint8_t GET_BULK = 0xA5;
constexpr uint8_t INFORM = 0xA6;
constexpr uint8_t TRAP_V2 = 0xA7;
constexpr uint8_t REPORT = 0xA8;
}  // namespace pdu

// Message versions as they travel.
namespace version {
constexpr int V1 = 0;
constexpr int V2C = 1;
constexpr int V3 = 3;
}  // namespace version

// Error statuses of a Response.
namespace status {
constexpr uint32_t NO_ERROR = 0;
constexpr uint32_t TOO_BIG = 1;
constexpr uint32_t NO_SUCH_NAME = 2;
constexpr uint32_t BAD_VALUE = 3;
constexpr uint32_t READ_ONLY = 4;
constexpr uint32_t GEN_ERR = 5;
constexpr uint32_t NO_ACCESS = 6;
constexpr uint32_t WRONG_TYPE = 7;
constexpr uint32_t WRONG_LENGTH = 8;
constexpr uint32_t WRONG_ENCODING = 9;
constexpr uint32_t WRONG_VALUE = 10;
constexpr uint32_t NO_CREATION = 11;
constexpr uint32_t INCONSISTENT_VALUE = 12;
constexpr uint32_t RESOURCE_UNAVAILABLE = 13;
constexpr uint32_t COMMIT_FAILED = 14;
constexpr uint32_t UNDO_FAILED = 15;
constexpr uint32_t AUTHORIZATION_ERROR = 16;
constexpr uint32_t NOT_WRITABLE = 17;
constexpr uint32_t INCONSISTENT_NAME = 18;
// Handler results at or above this drop the request without a reply.
constexpr uint32_t CRITICAL = 0xFFFFFFFE;
}  // namespace status

// SNMPv3 msgFlags bits (the first octet) and the user-based security model's number.
constexpr uint8_t V3_FLAG_AUTH = 0x01;
constexpr uint8_t V3_FLAG_PRIV = 0x02;
constexpr uint8_t V3_FLAG_REPORTABLE = 0x04;
constexpr uint32_t USM_SECURITY_MODEL = 3;

// The largest reply a UDP datagram over IPv4 can carry (65,535 less the IP and UDP headers).
constexpr uint32_t MAX_REPLY_SIZE = 65507;

}  // namespace snmp
