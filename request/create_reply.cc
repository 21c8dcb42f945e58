#include "request/create_reply.h"

#include "request/binding_list.h"
#include "request/context.h"
#include "request/engine.h"
#include "request/logs.h"
#include "request/v3.h"
#include "security/community_keep.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

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
    c.out.add(community, tag::OCTET_STRING);
    return true;
}

// SNMPv1 has five error statuses; the others map onto them as SNMPv1 managers expect.
uint32_t v1Status(uint32_t s) {
    switch (s) {
        case status::NO_ERROR:
        case status::TOO_BIG:
        case status::NO_SUCH_NAME:
        case status::BAD_VALUE:
        case status::READ_ONLY:
        case status::GEN_ERR:
            return s;
        case status::WRONG_VALUE:
        case status::WRONG_ENCODING:
        case status::WRONG_TYPE:
        case status::WRONG_LENGTH:
        case status::INCONSISTENT_VALUE:
            return status::BAD_VALUE;
        case status::NO_ACCESS:
        case status::NOT_WRITABLE:
        case status::NO_CREATION:
        case status::INCONSISTENT_NAME:
        case status::AUTHORIZATION_ERROR:
            return status::NO_SUCH_NAME;
        default:
            return status::GEN_ERR;  // resourceUnavailable, commitFailed, undoFailed
    }
}

// Replaces whatever the reply's binding list holds by the request's list as it arrived.
void echoRequest(Context& c, const BindingList& list, size_t listMark) {
    c.out.truncate(listMark);
    c.out.add(list.raw(), static_cast<unsigned>(list.rawSize()), tag::SEQUENCE);
}

// The error reply: the request's bindings echoed (tooBig: an empty list, which is what is
// sure to fit), the error status and index.
void writeError(Context& c, const BindingList& list, size_t listMark, Outcome result) {
    LLOG(dlog) << "error: " << errorStatusText(result.status) << std::endl;
    if (result.status == status::TOO_BIG) {
        c.out.truncate(listMark);
        c.out.add(list.raw(), 0, tag::SEQUENCE);
        result.index = 0;
    } else {
        echoRequest(c, list, listMark);
    }
    c.out.addErrorStatus(c.version == version::V1 ? v1Status(result.status) : result.status);
    c.out.addErrorIndex(result.index);
}

bool readSigned(InStream& in, int32_t* out) {
    unsigned v = 0;
    if (!in.getInt(&v)) return false;
    *out = static_cast<int32_t>(v);
    return true;
}

}  // namespace

bool createReply(Context& c, lm::IPAddr6& source) {
    const int version = c.in.getVersion();
    LLOG(slog) << "packet from: " << source.str() << " version: " << version << std::endl;
    if (version == -1) {
        LLOG(dlog) << "bad version" << std::endl;
        return false;
    }
    c.version = version;
    c.out.startSeq(tag::SEQUENCE);
    c.out.add(static_cast<unsigned int>(version), tag::INTEGER);

    if (version == version::V3) {
        bool reported = false;
        if (!startV3Reply(c, source, &reported)) return false;
        if (reported) return true;
    } else if (version < 0 || version > version::V3) {
        LLOG(dlog) << "peer version not supported" << std::endl;
        return false;
    } else if (!admitCommunity(c, source)) {
        return false;
    }

    c.pduType = c.in.getType();
    if (c.in.enterSeq() < 0) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.out.startSeq(pdu::RESPONSE);

    unsigned int requestId = 0;
    int32_t second = 0, third = 0;
    if (!c.in.getInt(&requestId) || !readSigned(c.in, &second) || !readSigned(c.in, &third)) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    c.out.add(requestId, tag::INTEGER);
    c.out.addErrorStatus(0);
    c.out.addErrorIndex(0);

    bool access = c.item->readAccess;
    uint32_t denial = status::NO_SUCH_NAME;
    switch (c.pduType) {
        case pdu::GET:
        case pdu::GET_NEXT:
            break;
        case pdu::GET_BULK:
            if (version == version::V1) {
                LLOG(dlog) << "GetBulk in an SNMPv1 message" << std::endl;
                return false;
            }
            break;
        case pdu::SET:
            access = c.item->writeAccess;
            denial = status::READ_ONLY;
            break;
        default:
            LLOG(dlog) << "unknown request command: " << unsigned(c.pduType) << std::endl;
            return false;
    }

    // One list per process, reused: its names keep their capacity between requests.
    static BindingList* list = new BindingList;
    if (c.in.enterSeq() < 0 || !list->read(c.in, c.pduType == pdu::SET)) {
        LLOG(dlog) << "bad packet" << std::endl;
        return false;
    }
    const size_t listMark = c.out.size();
    c.out.startSeq(tag::SEQUENCE);
    c.bindings = list;

    Outcome result;
    if (!access && list->size() != 0) {
        result = {denial, denial == status::NO_SUCH_NAME ? 1u : 0u};
    } else if (c.pduType == pdu::GET) {
        result = answerGet(c, *list);
    } else if (c.pduType == pdu::GET_NEXT) {
        result = answerGetNext(c, *list);
    } else if (c.pduType == pdu::GET_BULK) {
        result = answerGetBulk(c, *list, second, third);
    } else {
        result = answerSet(c, *list);
    }
    if (result.status >= status::CRITICAL) {
        LLOG(dlog) << "critical error" << std::endl;
        return false;
    }
    if (result.status != status::NO_ERROR) {
        writeError(c, *list, listMark, result);
    } else if (c.pduType == pdu::SET) {
        echoRequest(c, *list, listMark);  // a Set's reply is the request's bindings
    } else {
        c.out.endSeq();  // binding list
    }
    c.out.endSeq();  // PDU
    if (version == version::V3) return finishV3Reply(c);
    c.out.endSeq();  // message
    return true;
}

}  // namespace snmp
