#include "mib/packers.h"
#include "request/context.h"
#include "request/logs.h"

namespace snmp {

void StringPacker::pack(Context& c, const Data* d) {
    c.out.add(get(d), static_cast<unsigned char>(type));
}

void StringPacker::unpack(Data* d, Context& c) {
    std::string s;
    if (!c.in.getString(&s)) return;
    LLOG(dlog) << "unpacked s = " << s << std::endl;
    set(d, s);
}

OID StringPacker::getAsKey(const Data* d) {
    std::string s = get(d);
    OID key;
    if (fixedLength != 0) {
        if (s.size() != fixedLength) {
            LLOG(dlog) << "inconsistent key length" << std::endl;
            return OID();
        }
    } else {
        key += static_cast<unsigned>(s.size());
    }
    for (unsigned char ch : s) key += ch;
    return key;
}

bool StringPacker::addKeyToMessage(OID& oid, lm::message& m, unsigned key) {
    OID field;
    std::string s;
    if (fixedLength != 0) {
        if (!oid.popString(fixedLength, &field)) return false;
        // A short suffix still yields a key, padded with NULs, but reports failure.
        bool ok = field.asString(fixedLength, &s);
        if (!ok) s.resize(fixedLength, '\0');
        insertKey(m, key, s);
        return ok;
    }
    if (!oid.popString(&field)) return false;
    if (!field.asString(&s)) return false;
    insertKey(m, key, s);
    return true;
}

void StringPacker::addKeyToMessage(const Data* d, lm::message& m, unsigned key) {
    std::string s = get(d);
    insertKey(m, key, s);
}

void StringPacker::insertKey(lm::message& m, unsigned key, std::string& v) { m.setString(key, v); }

std::string DataRawPacker::get(const Data* d) const {
    const std::vector<unsigned char>& v = d->*field_;
    return std::string(v.begin(), v.end());
}

void DataRawPacker::set(Data* d, const std::string& v) {
    (d->*field_).assign(v.begin(), v.end());
}

void DataRawPacker::insertKey(lm::message& m, unsigned key, std::string& v) {
    // Exactly the fixed length goes on the bus (bounded by what the string holds).
    size_t n = std::min<size_t>(fixedLength, v.size());
    m.setRaw(key, lm::bytes(v.begin(), v.begin() + n));
}

void OIDPacker::pack(Context& c, const Data* d) {
    c.out.addOID(get(d), static_cast<unsigned char>(type));
}

void OIDPacker::unpack(Data* d, Context& c) {
    OID v;
    if (c.in.getOID(&v)) set(d, v);
}

OID OIDPacker::getAsKey(const Data* d) {
    OID v = get(d);
    OID key(static_cast<unsigned>(v.size()));
    key += v;
    return key;
}

}  // namespace snmp
