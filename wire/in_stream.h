// BER reader over one received SNMP message: a cursor with a stack of open sequences.
// Works on its own copy of the octets. Every failure writes one line starting
// "SNMP InStream: " to the "wire" debug stream (a bare end-of-buffer in getLen stays
// silent) and leaves the position where reading stopped; the caller abandons the message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wire/oid.h"
#include "wire/uber_stream.h"
#include "wire/v3info.h"

namespace lm {
class lstream;
}

namespace snmp {

class Item;

// Why a datagram could not be decoded: untrusted input, so muted unless LUMO_LOG names
// "wire" (a flood of bad datagrams must not flood the journal).
lm::lstream& wireLog();

class InStream : public UberStream {
public:
    // A saved cursor: position and the whole sequence stack.
    struct StreamPos {
        size_t pos = 0;
        std::vector<size_t> seqEnds;
    };

    InStream() = default;
    InStream(const unsigned char* data, unsigned len);
    // Starts over on another message, as a new reader over it would (buffers keep their
    // capacity, so a reader reused from request to request allocates nothing).
    void load(const unsigned char* data, unsigned len);

    // The octet at the position without moving; 255 at or past the end.
    unsigned char getType() const {
        return pos_ < buf_.size() ? buf_[pos_] : static_cast<unsigned char>(255);
    }
    // A length at the position (no type octet before it); -1 on failure.
    int getLen();
    // Steps over the type, reads the length and enters the contents; -1 when the length is
    // unreadable or the contents end past the buffer.
    int enterSeq();
    // Leaves the innermost sequence, skipping whatever of it is unread.
    void exitSeq();
    void saveSeq(StreamPos& saved) const;
    void restoreSeq(const StreamPos& saved);
    // Empty stack, position back at the first octet.
    void reset();

    // First call enters the message sequence and reads the version (-1 if unreadable);
    // every call returns that cached value.
    int getVersion();

    // Each of these steps over a type octet without checking it (ask getType first).
    bool getInt(unsigned int* out);  // up to 32 bits, sign-extended; 5 octets if 00-led
    bool get64(unsigned long long* out);
    bool getString(std::string* out);
    // Points into the buffer (no copy); returns the length, 0 on failure or when empty.
    int getStringBuf(unsigned char*& out);
    // Reuses *out's capacity; *out is changed only on success. An arc wider than 32 bits
    // is malformed.
    bool getOID(OID* out);
    // Whole contents including the leading unused-bits octet.
    bool getBits(std::vector<unsigned char>* out);
    bool getNull();

    // SNMPv3, after the version: msgGlobalData and the user-based security parameters into
    // *info, and the message's security level (priv without auth is level 0). At level 0
    // the scoped PDU's header is read too; at levels 1 and 2 the reader stops before the
    // scoped PDU (plain or encrypted). False for anything malformed, an empty msgFlags
    // included.
    bool readV3Info(V3Info* info);
    // Enters the plain scoped PDU and reads contextEngineID and contextName.
    bool readScopedPduHeader(V3Info& info);
    // Levels 1 and 2, the user found: checks the digest over the message as received, then
    // (level 2) decrypts the encryptedPDU with the user's privacy key and goes on reading in
    // the plaintext; reads the scoped PDU's header. Returns V3_ACCEPTED, V3_WRONG_DIGEST,
    // V3_DECRYPTION_ERROR (the scoped PDU cannot be decrypted or read) or V3_MALFORMED (a
    // plain scoped PDU that cannot be read). On V3_ACCEPTED or V3_WRONG_DIGEST info carries the local
    // engine's boots and engineTime from then on (what the reply says); at level 2 the
    // reply's salt is made. Defined with the USM cryptography (lumo_security).
    int decryptAndCheckSignature(V3Info& info, uint32_t engineTime, const Item& item,
                                 const V3ServerInfo& server);

    // True at or past the end of the innermost open sequence (or of the buffer).
    bool atEnd() const {
        const size_t end = seqEnds_.empty() ? buf_.size() : seqEnds_.back();
        return pos_ >= end || pos_ >= buf_.size();
    }
    size_t position() const { return pos_; }
    void setPosition(size_t pos) { pos_ = pos; }
    size_t depth() const { return seqEnds_.size(); }

protected:
    // Steps over the type, reads the length and checks that the contents fit in the buffer.
    // Returns the length, or -1 (length unreadable, already reported) or -2 (contents
    // overflow, the caller reports); *declared receives the length as read.
    int contentLen(int* declared = nullptr);
    // The length at the position; false (position as getLen leaves it) when unreadable.
    bool readLength(int32_t& len);

    size_t pos_ = 0;
    std::vector<size_t> seqEnds_;
    int32_t version_ = 0;
    bool versionRead_ = false;
    // Room for the decrypted scoped PDU of an authPriv message: swapped with buf_ so the
    // received octets stay intact for the digest.
    Buffer buf2_;
};

}  // namespace snmp
