// The packer families. Each family has "Data" members that read a field of the caller's
// record and "Const" members that hold the value; a Const member's set() does nothing, so
// a Set on a constant changes nothing.
#pragma once

#include <string>
#include <vector>

#include "mib/packer.h"
#include "platform/ipaddr.h"

namespace snmp {

// Unsigned 32-bit values: INTEGER, Counter32, Gauge32, TimeTicks ...
class NumPacker : public Packer {
public:
    using Packer::Packer;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
    virtual unsigned get(const Data* d) const = 0;
    virtual void set(Data* d, unsigned v) = 0;
};

class DataNumPacker : public NumPacker {
public:
    template <class D>
    DataNumPacker(unsigned D::*member, unsigned type)
        : NumPacker(type), field_(dataMember(member)) {}
    unsigned get(const Data* d) const override { return d->*field_; }
    void set(Data* d, unsigned v) override { d->*field_ = v; }

private:
    unsigned Data::*field_;
};

class ConstNumPacker : public NumPacker {
public:
    ConstNumPacker(unsigned value, unsigned type) : NumPacker(type), value_(value) {}
    unsigned get(const Data*) const override { return value_; }
    void set(Data*, unsigned) override {}

private:
    unsigned value_;
};

// IPv4 addresses held as a u32 in network byte order.
class IPPacker : public Packer {
public:
    using Packer::Packer;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
    virtual unsigned get(const Data* d) const = 0;
    virtual void set(Data* d, unsigned v) = 0;
};

class DataIPPacker : public IPPacker {
public:
    template <class D>
    DataIPPacker(unsigned D::*member, unsigned type) : IPPacker(type), field_(dataMember(member)) {}
    unsigned get(const Data* d) const override { return d->*field_; }
    void set(Data* d, unsigned v) override { d->*field_ = v; }

private:
    unsigned Data::*field_;
};

class ConstIPPacker : public IPPacker {
public:
    ConstIPPacker(unsigned value, unsigned type) : IPPacker(type), value_(value) {}
    unsigned get(const Data*) const override { return value_; }
    void set(Data*, unsigned) override {}

private:
    unsigned value_;
};

// IPv6 addresses (16 octets); there is no constant member.
class IP6Packer : public Packer {
public:
    using Packer::Packer;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
    virtual lm::IPAddr6 get(const Data* d) const = 0;
    virtual void set(Data* d, const lm::IPAddr6& v) = 0;
};

class DataIP6Packer : public IP6Packer {
public:
    template <class D>
    DataIP6Packer(lm::IPAddr6 D::*member, unsigned type)
        : IP6Packer(type), field_(dataMember(member)) {}
    lm::IPAddr6 get(const Data* d) const override { return d->*field_; }
    void set(Data* d, const lm::IPAddr6& v) override { d->*field_ = v; }

private:
    lm::IPAddr6 Data::*field_;
};

// Octet strings. fixedLength 0 means variable length: the index form then carries a
// length arc in front of the octets.
class StringPacker : public Packer {
public:
    StringPacker(unsigned type, unsigned fixedLen) : Packer(type), fixedLength(fixedLen) {}
    unsigned fixedLength;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    bool addKeyToMessage(OID& oid, lm::message& m, unsigned key) override;
    void addKeyToMessage(const Data* d, lm::message& m, unsigned key) override;
    virtual std::string get(const Data* d) const = 0;
    virtual void set(Data* d, const std::string& v) = 0;
    virtual void insertKey(lm::message& m, unsigned key, std::string& v);
};

class DataStringPacker : public StringPacker {
public:
    template <class D>
    DataStringPacker(std::string D::*member, unsigned type, unsigned fixedLen = 0)
        : StringPacker(type, fixedLen), field_(dataMember(member)) {}
    std::string get(const Data* d) const override { return d->*field_; }
    void set(Data* d, const std::string& v) override { d->*field_ = v; }

private:
    std::string Data::*field_;
};

class ConstStringPacker : public StringPacker {
public:
    ConstStringPacker(std::string value, unsigned type, unsigned fixedLen = 0)
        : StringPacker(type, fixedLen), value_(std::move(value)) {}
    std::string get(const Data*) const override { return value_; }
    void set(Data*, const std::string&) override {}

private:
    std::string value_;
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

// Object identifiers; the index form is a length arc followed by the arcs.
class OIDPacker : public Packer {
public:
    using Packer::Packer;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    OID getAsKey(const Data* d) override;
    virtual OID get(const Data* d) const = 0;
    virtual void set(Data* d, const OID& v) = 0;
};

class DataOIDPacker : public OIDPacker {
public:
    template <class D>
    DataOIDPacker(OID D::*member, unsigned type) : OIDPacker(type), field_(dataMember(member)) {}
    OID get(const Data* d) const override { return d->*field_; }
    void set(Data* d, const OID& v) override { d->*field_ = v; }

private:
    OID Data::*field_;
};

class ConstOIDPacker : public OIDPacker {
public:
    ConstOIDPacker(OID value, unsigned type) : OIDPacker(type), value_(std::move(value)) {}
    OID get(const Data*) const override { return value_; }
    void set(Data*, const OID&) override {}

private:
    OID value_;
};

// Unsigned 64-bit values (Counter64); no index or bus key form.
class BignumPacker : public Packer {
public:
    using Packer::Packer;
    void pack(Context& c, const Data* d) override;
    void unpack(Data* d, Context& c) override;
    virtual unsigned long long get(const Data* d) const = 0;
    virtual void set(Data* d, unsigned long long v) = 0;
};

class DataBignumPacker : public BignumPacker {
public:
    template <class D>
    DataBignumPacker(unsigned long long D::*member, unsigned type)
        : BignumPacker(type), field_(dataMember(member)) {}
    unsigned long long get(const Data* d) const override { return d->*field_; }
    void set(Data* d, unsigned long long v) override { d->*field_ = v; }

private:
    unsigned long long Data::*field_;
};

class ConstBignumPacker : public BignumPacker {
public:
    ConstBignumPacker(unsigned long long value, unsigned type)
        : BignumPacker(type), value_(value) {}
    unsigned long long get(const Data*) const override { return value_; }
    void set(Data*, unsigned long long) override {}

private:
    unsigned long long value_;
};

}  // namespace snmp
