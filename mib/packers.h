// The packer families (numbers, IPv4, IPv6, strings, OIDs, 64-bit numbers), each with
// "Data" members that read a field of the caller's record and "Const" members that hold
// the value.
#pragma once

#include <string>
#include <vector>

#include "mib/packer.h"
#include "platform/ipaddr.h"

namespace snmp {

// The typed half of every family: the value a packer reads and writes.
template <class T>
class ValuePacker : public Packer {
public:
    using Packer::Packer;
    using Value = T;
    virtual T get(const Data* d) const = 0;
    virtual void set(Data* d, const T& v) = 0;
};

// "Data" members read and write one field of the caller's record.
template <class Family>
class DataField : public Family {
public:
    using Value = typename Family::Value;
    template <class D, class... FamilyArgs>
    explicit DataField(Value D::*member, FamilyArgs... args)
        : Family(args...), field_(dataMember(member)) {}
    Value get(const Data* d) const override { return d->*field_; }
    void set(Data* d, const Value& v) override { d->*field_ = v; }

private:
    Value Data::*field_;
};

// "Const" members hold their value; a Set on them changes nothing.
template <class Family>
class ConstField : public Family {
public:
    using Value = typename Family::Value;
    template <class... FamilyArgs>
    explicit ConstField(Value value, FamilyArgs... args) : Family(args...), value_(std::move(value)) {}
    Value get(const Data*) const override { return value_; }
    void set(Data*, const Value&) override {}

private:
    Value value_;
};

// Unsigned 32-bit values: INTEGER, Counter32, Gauge32, TimeTicks ...
class NumPacker : public ValuePacker<unsigned> {
public:
    using ValuePacker::ValuePacker;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
};

// IPv4 addresses held as a u32 in network byte order.
class IPPacker : public ValuePacker<unsigned> {
public:
    using ValuePacker::ValuePacker;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
};

// IPv6 addresses (16 octets); there is no constant member.
class IP6Packer : public ValuePacker<lm::IPAddr6> {
public:
    using ValuePacker::ValuePacker;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
};

// Octet strings. fixedLength 0 means variable length: the index form then carries a
// length arc in front of the octets.
class StringPacker : public ValuePacker<std::string> {
public:
    StringPacker(unsigned type, unsigned fixedLen) : ValuePacker(type), fixedLength(fixedLen) {}
    unsigned fixedLength;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
    virtual void insertKey(lm::message& m, unsigned key, std::string& v);
};

// Object identifiers; the index form is a length arc followed by the arcs.
class OIDPacker : public ValuePacker<OID> {
public:
    using ValuePacker::ValuePacker;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
};

// Unsigned 64-bit values (Counter64); no index or bus key form.
class BignumPacker : public ValuePacker<unsigned long long> {
public:
    using ValuePacker::ValuePacker;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
};

class DataNumPacker : public DataField<NumPacker> {
public:
    using DataField::DataField;
};
class ConstNumPacker : public ConstField<NumPacker> {
public:
    using ConstField::ConstField;
};
class DataIPPacker : public DataField<IPPacker> {
public:
    using DataField::DataField;
};
class ConstIPPacker : public ConstField<IPPacker> {
public:
    using ConstField::ConstField;
};
class DataIP6Packer : public DataField<IP6Packer> {
public:
    using DataField::DataField;
};
class DataOIDPacker : public DataField<OIDPacker> {
public:
    using DataField::DataField;
};
class ConstOIDPacker : public ConstField<OIDPacker> {
public:
    using ConstField::ConstField;
};
class DataBignumPacker : public DataField<BignumPacker> {
public:
    using DataField::DataField;
};
class ConstBignumPacker : public ConstField<BignumPacker> {
public:
    using ConstField::ConstField;
};

class DataStringPacker : public DataField<StringPacker> {
public:
    template <class D>
    DataStringPacker(std::string D::*member, unsigned type, unsigned fixedLen = 0)
        : DataField(member, type, fixedLen) {}
};

class ConstStringPacker : public ConstField<StringPacker> {
public:
    ConstStringPacker(std::string value, unsigned type, unsigned fixedLen = 0)
        : ConstField(std::move(value), type, fixedLen) {}
};

// Text objects (DisplayString): a Set is refused with wrongLength past maxLength octets
// and with wrongValue for an octet that is not printable ASCII (NUL and the other control
// characters but tab, line feed and carriage return, and everything from 0x7F up).
class DisplayStringPacker : public DataStringPacker {
public:
    template <class D>
    DisplayStringPacker(std::string D::*member, unsigned maxLen)
        : DataStringPacker(member, 0x04), maxLength(maxLen) {}
    unsigned maxLength;
};

// Raw bytes; on the bus they travel as raw (0x30000000) keys.
class DataRawPacker : public StringPacker {
public:
    template <class D>
    DataRawPacker(std::vector<unsigned char> D::*member, unsigned type, unsigned fixedLen = 0)
        : StringPacker(type, fixedLen), field_(dataMember(member)) {}
    std::string get(const Data* d) const override;
    void set(Data* d, const std::string& v) override;
    void insertKey(lm::message& m, unsigned key, std::string& v) override;

private:
    std::vector<unsigned char> Data::*field_;
};

}  // namespace snmp
