// SNMPv3 message processing on top of the header reader and writer: which requests the
// user-based security model accepts, which report the others earn, and the counters those
// reports carry (Context::v3counters, indexed by the V3_* error kinds).
#pragma once

#include <cstdint>

#include "platform/ipaddr.h"

namespace snmp {

class Context;

// After InStream::readV3Info: engine id, user and source address, security level, digest,
// decryption and time window, in that order. V3_ACCEPTED (the reader is then inside the
// scoped PDU, ctx.item set), an error kind 0-5 to report, or V3_MALFORMED to drop (one line
// on the debug log says why). Leaves
// ctx.v3 and the writer's level as the reply must carry them.
int checkAndDecryptV3(Context& ctx, lm::IPAddr6& source);

// The report's one binding: usmStats counter ctx.v3Error, already counted. Returns 0.
uint32_t snmpV3(Context& ctx);

// The request-id of a request that failed its checks, where it can be read (a plain scoped
// PDU); 0 otherwise (managers match reports by msgID).
uint32_t readRequestIdAfterFailure(Context& ctx);

// createReply's v3 steps. startV3Reply reads and checks the header and writes the reply's;
// false drops the request, *reported says a whole Report was written instead (the reply is
// complete). Otherwise the PDU follows, and finishV3Reply closes the message: it encrypts
// the scoped PDU at authPriv and signs at authNoPriv and authPriv (false: drop).
bool startV3Reply(Context& ctx, lm::IPAddr6& source, bool* reported);
bool finishV3Reply(Context& ctx);

// Log text of an error kind.
const char* v3ErrorText(int kind);

}  // namespace snmp
