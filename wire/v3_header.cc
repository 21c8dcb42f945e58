// The SNMPv3 message header: msgGlobalData, the user-based security parameters and the
// scoped PDU's context, read from a request and written into its reply.
#include <ostream>

#include "platform/log.h"
#include "wire/in_stream.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

void say(const char* text) { LLOG(wireLog()) << "SNMP InStream: " << text << std::endl; }

}  // namespace

// Each field's tag is checked: the header decides which keys are used, so a value of the
// wrong type is not taken for another.
bool InStream::readV3Info(V3Info* info) {
    const auto readOctets = [this](Octets& out) {
        if (getType() != tag::OCTET_STRING) return false;
        const int len = contentLen();
        if (len < 0) return false;
        const auto from = buf_.begin() + static_cast<std::ptrdiff_t>(pos_);
        out.assign(from, from + len);
        pos_ += static_cast<size_t>(len);
        return true;
    };
    const auto readInt = [this](uint32_t& out) {
        return getType() == tag::INTEGER && getInt(&out);
    };

    // msgGlobalData
    if (getType() != tag::SEQUENCE || enterSeq() < 0) return false;
    if (!readInt(info->msgID) || !readInt(info->msgMaxSize) || !readOctets(info->msgFlags) ||
        !readInt(info->msgSecurityModel)) {
        say("bad msgGlobalData");
        return false;
    }
    exitSeq();
    if (info->msgFlags.empty()) {
        say("empty msgFlags");
        return false;
    }

    // msgSecurityParameters: an OCTET STRING holding the USM sequence, read in place so
    // that the digest field's offset in the whole message is known.
    if (getType() != tag::OCTET_STRING || enterSeq() < 0) return false;
    std::string user;
    bool ok = getType() == tag::SEQUENCE && enterSeq() >= 0 &&
              readOctets(info->msgAuthoritativeEngineID) &&
              readInt(info->msgAuthoritativeEngineBoots) &&
              readInt(info->msgAuthoritativeEngineTime) && getType() == tag::OCTET_STRING &&
              getString(&user);
    if (ok) {
        info->msgUserName = std::move(user);
        ok = readOctets(info->msgAuthenticationParameters);
        if (ok) info->authPosition = static_cast<uint32_t>(pos_ - info->msgAuthenticationParameters.size());
        ok = ok && readOctets(info->msgPrivacyParameters);
    }
    if (!ok) {
        say("bad msgSecurityParameters");
        return false;
    }
    exitSeq();
    exitSeq();

    const unsigned char flags = info->msgFlags[0];
    int level = 0;
    if (flags & V3_FLAG_AUTH) level = (flags & V3_FLAG_PRIV) ? 2 : 1;
    setSecurityLevel(level);
    return level != 0 || readScopedPduHeader(*info);
}

bool InStream::readScopedPduHeader(V3Info& info) {
    if (getType() != tag::SEQUENCE || enterSeq() < 0) return false;
    std::string engine, name;
    if (getType() != tag::OCTET_STRING || !getString(&engine) ||
        getType() != tag::OCTET_STRING || !getString(&name))
        return false;
    info.contextEngineID.assign(engine.begin(), engine.end());
    info.contextName.assign(name.begin(), name.end());
    return true;
}

void OutStream::writeV3Info(const V3Info* info) {
    startSeq(tag::SEQUENCE);
    add(info->msgID, tag::INTEGER);
    add(info->msgMaxSize, tag::INTEGER);
    add(info->msgFlags.data(), static_cast<unsigned>(info->msgFlags.size()), tag::OCTET_STRING);
    add(info->msgSecurityModel, tag::INTEGER);
    endSeq();

    startSeq(tag::OCTET_STRING);
    startSeq(tag::SEQUENCE);
    add(info->msgAuthoritativeEngineID.data(),
        static_cast<unsigned>(info->msgAuthoritativeEngineID.size()), tag::OCTET_STRING);
    add(info->msgAuthoritativeEngineBoots, tag::INTEGER);
    add(info->msgAuthoritativeEngineTime, tag::INTEGER);
    add(info->msgUserName, tag::OCTET_STRING);
    const Octets zeros(info->msgAuthenticationParameters.size(), 0);
    add(zeros.data(), static_cast<unsigned>(zeros.size()), tag::OCTET_STRING);
    authMark_ = buf_.size() - zeros.size();
    add(info->msgPrivacyParameters.data(),
        static_cast<unsigned>(info->msgPrivacyParameters.size()), tag::OCTET_STRING);
    endSeq();
    endSeq();

    scopedPduMark_ = buf_.size();
    startSeq(tag::SEQUENCE);
    add(info->contextEngineID.data(), static_cast<unsigned>(info->contextEngineID.size()),
        tag::OCTET_STRING);
    add(info->contextName.data(), static_cast<unsigned>(info->contextName.size()),
        tag::OCTET_STRING);
}

}  // namespace snmp
