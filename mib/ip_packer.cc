#include <arpa/inet.h>

#include <cstring>

#include "mib/packers.h"
#include "request/context.h"
#include "request/logs.h"

namespace snmp {

// IPv4: the u32 holds the address in network order, so its memory bytes are a.b.c.d.
void IPPacker::pack(Context& c, const Data* d) {
    unsigned v = get(d);
    c.out.add(reinterpret_cast<const unsigned char*>(&v), 4, static_cast<unsigned char>(type));
}

void IPPacker::unpack(Data* d, Context& c) {
    std::string s;
    if (!c.in.getString(&s)) return;
    if (s.size() != 4) {
        LLOG(dlog) << "bad ipv4 address" << std::endl;
        return;
    }
    unsigned v;
    std::memcpy(&v, s.data(), 4);
    set(d, v);
}

OID IPPacker::getAsKey(const Data* d) {
    unsigned v = get(d);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(&v);
    OID key;
    for (int i = 0; i < 4; ++i) key += b[i];
    return key;
}

bool IPPacker::addKeyToMessage(OID& oid, lm::message& m, unsigned key) {
    OID field;
    oid.popIP(&field);
    unsigned host = 0;
    bool ok = field.asIP(&host);
    m.setU32(key, htonl(host));  // inserted even when the suffix was short or bad
    return ok;
}

void IPPacker::addKeyToMessage(const Data* d, lm::message& m, unsigned key) {
    m.setU32(key, get(d));
}

void IP6Packer::pack(Context& c, const Data* d) {
    lm::IPAddr6 a = get(d);
    c.out.add(a.addr, 16, static_cast<unsigned char>(type));
}

void IP6Packer::unpack(Data* d, Context& c) {
    std::string s;
    if (!c.in.getString(&s)) return;
    if (s.size() != 16) {
        LLOG(dlog) << "bad ipv6 address" << std::endl;
        return;
    }
    lm::IPAddr6 a;
    std::memcpy(a.addr, s.data(), 16);
    set(d, a);
}

OID IP6Packer::getAsKey(const Data* d) {
    lm::IPAddr6 a = get(d);
    OID key;
    for (unsigned char b : a.addr) key += b;
    return key;
}

bool IP6Packer::addKeyToMessage(OID& oid, lm::message& m, unsigned key) {
    OID field;
    oid.popIP6(&field);
    lm::IPAddr6 a;
    bool ok = field.asIP6(&a);
    m.setIP6(key, a);  // inserted even when the conversion failed
    return ok;
}

void IP6Packer::addKeyToMessage(const Data* d, lm::message& m, unsigned key) {
    m.setIP6(key, get(d));
}

}  // namespace snmp
