// Reply assembly: parses one datagram's header, checks the community (v1/v2c) or the v3
// security parameters, dispatches every binding to the operation for the PDU type, turns
// handler failures into the Response's error fields and closes the message.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ipaddr.h"

namespace snmp {

class Context;

// True when ctx.out holds a complete reply to send to source; false drops the request.
bool createReply(Context& ctx, lm::IPAddr6& source);

// Error-status names for the log ("unknown error N" past the table).
std::string errorStatusText(uint32_t status);

}  // namespace snmp
