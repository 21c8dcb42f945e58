#include "request/create_reply.h"

#include <iostream>

#include "request/context.h"
#include "request/logs.h"
#include "request/operations.h"
#include "security/community_keep.h"

namespace snmp {

namespace {

constexpr unsigned char TAG_INTEGER = 0x02;
constexpr unsigned char TAG_OCTETS = 0x04;
constexpr unsigned char TAG_NULL = 0x05;
constexpr unsigned char TAG_SEQUENCE = 0x30;
constexpr unsigned char TAG_END_OF_MIB_VIEW = 0x82;
constexpr unsigned char PDU_GET = 0xA0;
constexpr unsigned char PDU_GETNEXT = 0xA1;
constexpr unsigned char PDU_RESPONSE = 0xA2;
constexpr unsigned char PDU_SET = 0xA3;
constexpr unsigned char PDU_GETBULK = 0xA5;
constexpr uint32_t MAX_BULK_REPETITIONS = 50;
constexpr uint32_t CRITICAL = 0xFFFFFFFE;

// A binding of requestName with a null-form value, in its own sequence.
void echoNull(Context& c, unsigned char tag) {
    c.out.startSeq(TAG_SEQUENCE);
    c.processAddError(tag);
    c.out.endSeq();
}

// v1/v2c admission: a known community of security level 0 used from an allowed source.
bool admitCommunity(Context& c, const lm::IPAddr6& source) {
    std::string community;
    if (!c.in.getString(&community)) return false;
    LLOG(slog) << "community: " << community << std::endl;
    c.item = communityKeep ? communityKeep->find(community) : nullptr;
    if (!c.item || c.item->securityLevel != 0 || !c.item->check(source)) {
        LLOG(slog) << "unknown community or not allowed" << std::endl;
        return false;
    }
    c.out.add(community, TAG_OCTETS);
    return true;
}

// The error exit: the failing binding echoed with NULL, the error fields set and, for
// SNMPv1, every binding left in the request echoed with NULL too.
void finishWithError(Context& c, int version, uint32_t status, bool inBinding) {
    LLOG(dlog) << "error: " << errorStatusText(status) << std::endl;
    if (inBinding) {
        echoNull(c, TAG_NULL);
        if (version == 0 && c.repetitionsLeft != 0) {
            --c.repetitionsLeft;
            for (; c.repetitionsLeft != 0; --c.repetitionsLeft) echoNull(c, TAG_NULL);
        }
        c.in.exitSeq();
    }
    c.out.addErrorStatus(static_cast<unsigned char>(status));
    if (status == 2) c.out.addErrorIndex(c.bindingIndex);
    if (version == 0 && inBinding) {
        while (!c.in.atEnd()) {
            if (!c.processSeqStart()) break;
            echoNull(c, TAG_NULL);
            c.in.exitSeq();
        }
    }
}

}  // namespace

bool createReply(Context& c, lm::IPAddr6& source) {
    const int version = c.in.getVersion();
    LLOG(slog) << "packet from: " << source.str() << " version: " << version << std::endl;
    if (version == -1) {
        LLOG(dlog) << "bad version" << std::endl;
        return false;
    }
    c.out.startSeq(TAG_SEQUENCE);
    c.out.add(static_cast<unsigned int>(version), TAG_INTEGER);

    const unsigned char replyTag = PDU_RESPONSE;
    if (version == 3) {
        LLOG(dlog) << "bad v3 packet" << std::endl;
        c.in.dump(std::cerr);
        return false;
    }
    if (version < 0 || version > 3) {
        LLOG(dlog) << "peer version not supported" << std::endl;
        return false;
    }
    if (!admitCommunity(c, source)) return false;

    c.pduType = c.in.getType();
    if (c.in.enterSeq() < 0) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.out.startSeq(replyTag);

    unsigned int requestId = 0, second = 0, third = 0;
    if (!c.in.getInt(&requestId)) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.out.add(requestId, TAG_INTEGER);
    c.repetitionsLeft = 0;
    if (!c.in.getInt(&second) || !c.in.getInt(&third)) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.nonRepeaters = second;
    uint32_t maxReps = third;
    c.out.addErrorStatus(0);
    c.out.addErrorIndex(0);

    if (c.in.enterSeq() < 0) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.out.startSeq(TAG_SEQUENCE);
    c.bindingIndex = 1;

    uint32_t (*handler)(Context&) = nullptr;
    bool access = false;
    uint32_t denial = 2;
    switch (c.pduType) {
        case PDU_GET:
            handler = snmpGet;
            break;
        case PDU_GETNEXT:
        case PDU_GETBULK:
            handler = snmpGetNextGetBulk;
            break;
        case PDU_SET:
            handler = snmpSet;
            denial = 4;
            break;
        default:
            LLOG(dlog) << "unknown request command: " << unsigned(c.pduType) << std::endl;
            return false;
    }
    access = c.pduType == PDU_SET ? c.item->writeAccess : c.item->readAccess;

    uint32_t status = 0;
    bool inBinding = false;
    if (c.pduType == PDU_GETBULK) {
        if (maxReps > MAX_BULK_REPETITIONS) {
            LLOG(dlog) << "error: max repetitions exceeded" << std::endl;
            status = 1;
        } else if (maxReps == 0 && c.nonRepeaters == 0) {
            LLOG(dlog) << "error: no data requested" << std::endl;
            status = 3;
        }
    } else {
        maxReps = 0;
        c.nonRepeaters = 0;
        c.maxRepetitions = 0;
    }

    while (status == 0 && !c.in.atEnd()) {
        if (!c.processSeqStart()) return false;
        if (c.nonRepeaters == 0 && maxReps != 0) {
            c.maxRepetitions = maxReps;
            maxReps = 0;
        }
        if (!access) {
            status = denial;
            inBinding = true;
            break;
        }
        uint32_t r = handler(c);
        if (r >= CRITICAL) {
            LLOG(dlog) << "critical error" << std::endl;
            return false;
        }
        if (r != 0) {
            status = r;
            inBinding = true;
            break;
        }
        if (c.pduType == PDU_GETBULK && c.repetitionsLeft != 0) {
            std::cerr << "incomplete request " << unsigned(c.repetitionsLeft);
            for (; c.repetitionsLeft != 0; --c.repetitionsLeft) echoNull(c, TAG_END_OF_MIB_VIEW);
        }
        c.in.exitSeq();
    }
    if (status != 0) finishWithError(c, version, status, inBinding);

    c.out.endSeq();  // binding list
    c.out.endSeq();  // PDU
    c.out.endSeq();  // message
    return true;
}

}  // namespace snmp
