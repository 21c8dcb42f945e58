// BER writer for one outgoing message (a reply or a trap), built front to back.
// Sequences open with a one-octet placeholder length and are back-patched on close,
// widened in place when the contents reach 128 octets. Failures write one line starting
// "SNMP OutStream: " to the error log and leave the offending element out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wire/oid.h"
#include "wire/uber_stream.h"
#include "wire/v3info.h"

namespace snmp {

// One binding given as text (traps): name, BER tag of the value, value in text form.
struct VariableBinding {
    OID name;
    uint32_t type = 0;
    std::string value;
};

class OutStream : public UberStream {
public:
    // An error field of the PDU: offset of its INTEGER tag (npos while unwritten) and how
    // many sequences were open around it when it was written.
    struct ErrorField {
        static constexpr size_t npos = static_cast<size_t>(-1);
        size_t at = npos;
        size_t depth = 0;
    };

    // Everything needed to go back to an earlier point of the message (traps rebuild the
    // tail once per target over one head).
    struct Snapshot {
        Buffer buf;
        std::vector<size_t> seqStarts;
        size_t authMark = 0;
        size_t scopedPduMark = 0;
        ErrorField errorStatus;
        ErrorField errorIndex;
    };

    OutStream();

    // Slot 0: a 32-bit integer with the given tag, in the fewest octets: INTEGER as signed
    // (0xFFFFFFFF is -1, 02 01 ff), every other tag as unsigned (a 00 lead when the top bit
    // is set).
    virtual void add(unsigned int v, unsigned char tag);
    // Slot 1: an object identifier; refused (nothing written) below two arcs, under a root
    // arc above 2, or under root 0 or 1 with a second arc of 40 or more.
    virtual void addOID(const OID& oid, unsigned char tag);
    virtual ~OutStream() = default;

    // Convenience forms so literal and uint64_t arguments pick the right width.
    void add(int v, unsigned char tag) { add(static_cast<unsigned int>(v), tag); }
    void add(unsigned long v, unsigned char tag) {
        add(static_cast<unsigned long long>(v), tag);
    }
    void add(unsigned long long v, unsigned char tag);  // always unsigned (Counter64: 0x46)
    void add(const unsigned char* p, unsigned int n, unsigned char tag);
    void add(const std::string& s, unsigned char tag);
    void addBits(const unsigned char* p, unsigned int n, unsigned char tag);
    void addNull(unsigned char tag);  // NULL and the exceptions 0x80..0x82

    void startSeq(unsigned char tag);
    void endSeq();
    // A bare length: 1 octet, 81 n, or 82 + the low 16 bits (no wider form).
    void addLen(unsigned int n);

    // The error fields of a PDU. The first call writes INTEGER 02 01 00 where the message
    // ends; every call then stores its value there in the fewest octets (300 is
    // 02 02 01 2c), moving what follows the field: open sequences, the v3 marks and the
    // other field. So the reply path may set them last, once the bindings are written, as
    // long as the sequences around the field are still open.
    void addErrorStatus(uint32_t status);
    void addErrorIndex(uint32_t index);

    // A value from text: 0x06 dotted OID, 0x04 string, 0x05 null, 0x40 dotted quad,
    // 0x02/0x41/0x43/0x47 decimal; any other type writes nothing.
    void addByType(const std::string& text, unsigned char type);
    void addVarBind(const VariableBinding& vb);

    // SNMPv3 marks (0 while unset): offset of the authentication parameters' contents and
    // offset where the scoped PDU starts. Widening a sequence or an error field moves a mark
    // only when the inserted octets lie before it.
    size_t authMark() const { return authMark_; }
    void setAuthMark(size_t offset) { authMark_ = offset; }
    size_t scopedPduMark() const { return scopedPduMark_; }
    void setScopedPduMark(size_t offset) { scopedPduMark_ = offset; }

    // SNMPv3, after the version: msgGlobalData, the security parameters (their digest field
    // holds zeros of the request's length until signPacket fills it) and the opened scoped
    // PDU with its context; sets both v3 marks. The PDU follows; cryptPacket closes it.
    void writeV3Info(const V3Info* info);
    // Closes the scoped PDU; at level 2 replaces it by its encryption as one OCTET STRING
    // (false: the cipher refused, the reply must not go out). These two are defined with
    // the USM cryptography (lumo_security).
    bool cryptPacket(const V3Info* info, const Octets& privKey, uint32_t privProtocol);
    // The finished message: at level 1 or 2 writes the HMAC into the digest field.
    void signPacket(const V3Info* info, const Octets& authKey, uint32_t authProtocol);

    const unsigned char* data() const { return buf_.data(); }
    unsigned char* data() { return buf_.data(); }
    size_t size() const { return buf_.size(); }
    // Cuts the message back to n octets; sequences opened beyond the cut are forgotten.
    void truncate(size_t n);
    size_t openSequences() const { return seqStarts_.size(); }
    // The size the message would have if every open sequence were closed now (each close
    // may widen its length to 81 n or 82 hi lo): what a reply is checked against its limit.
    size_t closedSize() const;

    Snapshot snapshot() const;
    void restore(const Snapshot& s);

protected:
    size_t authMark_ = 0;
    size_t scopedPduMark_ = 0;
    std::vector<size_t> seqStarts_;  // first contents octet of each open sequence
    ErrorField errorStatus_;
    ErrorField errorIndex_;

private:
    void setErrorField(ErrorField& field, uint32_t value);
    // After octets were inserted (delta > 0) or removed at from: every offset at or past it
    // follows the octets it pointed at.
    void shiftOffsets(size_t from, std::ptrdiff_t delta);
};

}  // namespace snmp
