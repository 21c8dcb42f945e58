#include "request/v3.h"

#include <cstdlib>

#include "request/context.h"
#include "request/local_engine.h"
#include "request/logs.h"
#include "security/community_keep.h"
#include "security/usm_crypto.h"
#include "wire/oid.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// usmStats: 1.3.6.1.6.3.15.1.1.(kind + 1).0
const OID USM_STATS("1.3.6.1.6.3.15.1.1");
// snmpEngineBoots stops here: a manager is told it is out of time for good.
constexpr uint32_t MAX_ENGINE_BOOTS = 0x7FFFFFFF;
constexpr size_t PRIV_KEY_MIN = 16;

// A report that cannot be trusted to the user's keys (or has no user) goes out at
// noAuthNoPriv, with empty security fields.
void toLevel0(Context& c) {
    c.v3.msgAuthenticationParameters.clear();
    c.v3.msgPrivacyParameters.clear();
    c.out.setSecurityLevel(0);
}

int check(Context& c, lm::IPAddr6& source) {
    LocalEngine& engine = localEngine();
    V3Info& v3 = c.v3;
    const int level = c.in.securityLevel();
    c.out.setSecurityLevel(0);

    if (v3.msgSecurityModel != USM_SECURITY_MODEL) {
        LLOG(dlog) << "unsupported security model: " << v3.msgSecurityModel << std::endl;
        return V3_MALFORMED;
    }
    // Discovery, or a message meant for another engine.
    if (v3.msgAuthoritativeEngineID != engine.info.engineId) {
        v3.msgAuthoritativeEngineID = engine.info.engineId;
        toLevel0(c);
        return V3_UNKNOWN_ENGINE_ID;
    }

    LLOG(slog) << "v3 user: " << v3.msgUserName << std::endl;
    c.item = communityKeep ? communityKeep->find(v3.msgUserName) : nullptr;
    if (!c.item || !c.item->check(source)) {
        LLOG(slog) << "unknown community or not allowed" << std::endl;
        c.item = nullptr;
        toLevel0(c);
        return V3_UNKNOWN_USER_NAME;
    }
    const Item& item = *c.item;
    // Below the record's level, or a level the record has no password for (a key made
    // from an empty password is the engine id's digest: public knowledge).
    if (level < static_cast<int>(item.securityLevel) ||
        (level >= 1 && (item.authPassword.empty() || item.authKey.empty())) ||
        (level == 2 && (item.privPassword.empty() || item.privKey.size() < PRIV_KEY_MIN))) {
        LLOG(dlog) << "bad v3 packet security level: " << level << std::endl;
        toLevel0(c);
        return V3_UNSUPPORTED_SEC_LEVEL;
    }
    if (level == 0) return V3_ACCEPTED;

    c.out.setSecurityLevel(level);
    // Compared as they arrived: decryptAndCheckSignature puts the local values in v3.
    const uint32_t boots = v3.msgAuthoritativeEngineBoots;
    const uint32_t time = v3.msgAuthoritativeEngineTime;
    const uint32_t now = engine.engineTime();
    const int verdict = c.in.decryptAndCheckSignature(v3, now, item, engine.info);
    if (verdict == V3_WRONG_DIGEST) {
        LLOG(dlog) << "bad v3 packet signature" << std::endl;
        toLevel0(c);
        return verdict;
    }
    if (verdict == V3_MALFORMED) {
        LLOG(dlog) << "bad v3 packet: unreadable scoped PDU" << std::endl;
        return verdict;
    }
    if (verdict != V3_ACCEPTED) {
        toLevel0(c);
        return verdict;
    }
    const int32_t drift = static_cast<int32_t>(now - time);
    if (boots != engine.info.engineBoots || boots >= MAX_ENGINE_BOOTS ||
        std::abs(static_cast<int64_t>(drift)) > engine.info.timeWindow) {
        // Authenticated, so the manager may learn the local boots and time from it.
        v3.msgAuthoritativeEngineBoots = engine.info.engineBoots;
        v3.msgAuthoritativeEngineTime = now;
        v3.msgPrivacyParameters.clear();
        c.out.setSecurityLevel(1);
        return V3_NOT_IN_TIME_WINDOW;
    }
    return V3_ACCEPTED;
}

}  // namespace

int checkAndDecryptV3(Context& c, lm::IPAddr6& source) {
    const int result = check(c, source);
    // A report speaks for the local engine in its default context.
    if (result >= 0) {
        c.v3.contextEngineID = localEngine().info.engineId;
        c.v3.contextName.clear();
    }
    // The reply's auth and priv flags say what it carries; the other bits are echoed.
    if (!c.v3.msgFlags.empty()) {
        const int level = c.out.securityLevel();
        unsigned char flags = c.v3.msgFlags[0] & static_cast<unsigned char>(~(V3_FLAG_AUTH | V3_FLAG_PRIV));
        if (level >= 1) flags |= V3_FLAG_AUTH;
        if (level == 2) flags |= V3_FLAG_PRIV;
        c.v3.msgFlags[0] = flags;
    }
    return result;
}

uint32_t snmpV3(Context& c) {
    OID name = USM_STATS;
    name.arcs().push_back(c.v3Error + 1);
    name.arcs().push_back(0);
    c.out.startSeq(tag::SEQUENCE);
    c.out.addOID(name, tag::OBJECT_ID);
    c.out.add(Context::v3counters[c.v3Error], tag::COUNTER32);
    c.out.endSeq();
    return status::NO_ERROR;
}

uint32_t readRequestIdAfterFailure(Context& c) {
    InStream& in = c.in;
    if (in.depth() == 1 && in.getType() == tag::SEQUENCE) {
        V3Info scratch;
        if (!in.readScopedPduHeader(scratch)) return 0;
    }
    if (in.depth() != 2) return 0;
    const unsigned char type = in.getType();
    if (type < pdu::GET || type > pdu::REPORT || in.enterSeq() < 0) return 0;
    unsigned id = 0;
    if (in.getType() != tag::INTEGER || !in.getInt(&id)) return 0;
    return id;
}

const char* v3ErrorText(int kind) {
    static const char* const texts[V3_ERROR_KINDS] = {
        "unsupported security level", "not in time window or incorrect engine boots",
        "unknown user name",          "unknown engine id",
        "wrong digest",               "decryption error"};
    return kind >= 0 && kind < V3_ERROR_KINDS ? texts[kind] : "";
}

}  // namespace snmp
