// The v3 part of reply assembly: the header, the Report of a request that failed its
// checks, and the closing encryption and signature.
#include "request/context.h"
#include "request/logs.h"
#include "request/v3.h"
#include "security/item.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// What encrypting the scoped PDU may add to a reply: DES padding and a wider length.
constexpr size_t PRIV_GROWTH = 16;

}  // namespace

// Closes the scoped PDU (encrypted at authPriv), the message, then signs it.
bool finishV3Reply(Context& c) {
    static const Octets none;
    const Item* item = c.item;
    if (!c.out.cryptPacket(&c.v3, item ? item->privKey : none, item ? item->privProtocol : 0)) {
        LLOG(dlog) << "cannot encrypt the reply" << std::endl;
        return false;
    }
    c.out.endSeq();  // message
    c.out.signPacket(&c.v3, item ? item->authKey : none, item ? item->authProtocol : 0);
    return true;
}

namespace {

// A request that failed the v3 checks gets a Report with the counter of its error kind.
bool reportV3(Context& c, int kind) {
    LLOG(dlog) << "v3 err: " << std::hex << kind << std::dec << ' ' << v3ErrorText(kind)
               << std::endl;
    ++Context::v3counters[kind];
    c.v3Error = static_cast<uint32_t>(kind);
    const uint32_t requestId = readRequestIdAfterFailure(c);
    c.out.startSeq(pdu::REPORT);
    c.out.add(requestId, tag::INTEGER);
    c.out.addErrorStatus(status::NO_ERROR);
    c.out.addErrorIndex(0);
    c.out.startSeq(tag::SEQUENCE);
    snmpV3(c);
    c.out.endSeq();  // binding list
    c.out.endSeq();  // PDU
    return finishV3Reply(c);
}

}  // namespace

bool startV3Reply(Context& c, lm::IPAddr6& source, bool* reported) {
    *reported = false;
    if (!c.in.readV3Info(&c.v3)) {
        LLOG(dlog) << "bad v3 packet" << std::endl;
        if (dlog.on()) c.in.dump(dlog.os());
        return false;
    }
    const int kind = checkAndDecryptV3(c, source);
    if (kind == V3_MALFORMED) return false;  // logged by the check
    c.out.writeV3Info(&c.v3);
    if (kind != V3_ACCEPTED) {
        *reported = true;
        return reportV3(c, kind);
    }
    // The manager's msgMaxSize bounds the reply too.
    size_t limit = c.v3.msgMaxSize;
    if (c.out.securityLevel() == 2) limit = limit > PRIV_GROWTH ? limit - PRIV_GROWTH : 0;
    if (limit < c.replyLimit) c.replyLimit = limit;
    return true;
}

}  // namespace snmp
