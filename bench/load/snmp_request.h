// Pre-encoded SNMP requests for the load generator, and the little of a reply it reads.
// Written without the agent's own codec on purpose: the load must not share a bug with
// the thing it measures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace load {

enum class Operation { Get, GetNext, GetBulk };

struct RequestSpec {
    int version = 1;  // on the wire: 0 = v1, 1 = v2c, 3 = v3 (see usm_session.h)
    std::string community = "public";
    Operation op = Operation::Get;
    std::vector<std::string> oids;  // dotted text, leading dot optional
    uint32_t nonRepeaters = 0;      // GetBulk only
    uint32_t maxRepetitions = 0;    // GetBulk only
};

// The datagram and where its request-id's four value octets sit. The request-id is always
// encoded in four octets so that it can be rewritten in place for every request.
struct EncodedRequest {
    std::vector<uint8_t> bytes;
    size_t idOffset = 0;
};

// Request-ids stay within [FIRST_REQUEST_ID, LAST_REQUEST_ID]: positive and needing all four
// octets, so the fixed-length encoding is also the shortest one.
constexpr uint32_t FIRST_REQUEST_ID = 0x01000000;
constexpr uint32_t LAST_REQUEST_ID = 0x7FFFFFFF;

// False with a one-line reason when an OID is not dotted numbers with at least two arcs
// and a first arc of 0..2, or the message would not fit a datagram.
bool encodeRequest(const RequestSpec& spec, EncodedRequest& out, std::string& error);
bool parseOid(const std::string& text, std::vector<uint32_t>& arcs);
void patchRequestId(uint8_t* datagram, size_t idOffset, uint32_t id);

// The fields of an answer that matter to the load: which request it answers, whether a
// Response carries an error, and how many bindings it holds. Any PDU tag is accepted (the
// echo server returns the request).
struct ReplyHead {
    uint8_t pduTag = 0;
    uint32_t requestId = 0;
    uint32_t errorStatus = 0;
    uint32_t bindings = 0;    // 0 when the binding list is absent or malformed
    uint32_t exceptions = 0;  // of those, noSuchObject, noSuchInstance or endOfMibView
};
// False for anything that is not a message sequence holding version, community and a PDU
// with request-id and error-status; never reads past len. The binding list is counted only
// when it is well formed: a reply cut inside it still has its head.
bool readReplyHead(const uint8_t* data, size_t len, ReplyHead& out);

}  // namespace load
