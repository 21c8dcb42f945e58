// Telling, before answering it, whether a datagram is a read in community form.
#pragma once

#include <cstddef>

namespace snmp {

// True for an SNMPv1 or SNMPv2c Get, GetNext or GetBulk (whatever its community): a request
// that changes nothing, so that it may be answered out of its turn among other reads.
bool isCommunityRead(const unsigned char* data, size_t len);

}  // namespace snmp
