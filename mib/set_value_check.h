// The first check of a Set: whether a value as it arrived could be stored by a packer at
// all, before any binding of the request is written.
#pragma once

#include <cstdint>

namespace snmp {

class InStream;
class Packer;

// Octet strings of variable length accept at most this many octets in a Set: the size of
// DisplayString and SnmpAdminString, which every writable text object has.
constexpr uint32_t MAX_SET_STRING = 255;

// The error status the value at the reader's position would get (wrongType, wrongLength,
// wrongEncoding), or 0 when the packer can store it. The reader's position is kept.
uint32_t checkSetValue(const Packer& packer, InStream& in);

}  // namespace snmp
