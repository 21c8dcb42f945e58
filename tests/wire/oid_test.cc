#include "wire/oid.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace snmp {
namespace {

TEST(OidOrder, LexicographicUnsignedPrefixFirst) {
    struct Case {
        OID a, b;
        int sign;
    };
    const Case cases[] = {
        {{1, 3, 6, 1}, {1, 3, 6, 1, 0}, -1},
        {{1, 3, 6, 1, 2}, {1, 3, 6, 1, 1, 99}, 1},
        {{1, 3, 6}, {1, 3, 6, 1}, -1},
        {{1, 3, 6, 1}, {1, 3, 6, 1}, 0},
        {{}, {0}, -1},
        {{}, {}, 0},
        {{1, 0xFFFFFFFFu}, {1, 1}, 1},  // arcs compare unsigned
        {{1, 0x80000000u}, {1, 0x7FFFFFFFu, 5}, 1},
        {{2}, {1, 9, 9, 9}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.a.str() + " vs " + c.b.str());
        EXPECT_EQ(c.a < c.b, c.sign < 0);
        EXPECT_EQ(c.b < c.a, c.sign > 0);
        EXPECT_EQ(c.a == c.b, c.sign == 0);
        EXPECT_EQ((c.a <=> c.b) < 0, c.sign < 0);
    }
}

TEST(OidOrder, MapWalksInSuccessorOrder) {
    std::map<OID, int> m;
    for (const char* t : {"1.3.6.2", "1.3.6.1.1", "1.3.6.1", "1.3.6.1.0", "1.3.6.1.10"})
        m[OID(std::string(t))] = 0;
    std::string order;
    for (const auto& [k, v] : m) order += k.str() + " ";
    EXPECT_EQ(order, ".1.3.6.1 .1.3.6.1.0 .1.3.6.1.1 .1.3.6.1.10 .1.3.6.2 ");
    // The GetNext search: first name after a request that falls between entries.
    EXPECT_EQ(m.upper_bound(OID{1, 3, 6, 1, 0, 5})->first, (OID{1, 3, 6, 1, 1}));
}

TEST(OidText, ParsingNeverFails) {
    const std::pair<const char*, OID> cases[] = {
        {".1.3.6", {1, 3, 6}},
        {"1.3.6", {1, 3, 6}},
        {"1.3.", {1, 3}},
        {"1..3", {1, 3}},
        {"1.x.5", {1, 0, 5}},
        {"abc", {0, 0, 0}},
        {"", {}},
        {"1.3.6.1.4294967296", {1, 3, 6, 1, 0}},  // wraps
        {"4294967295", {0xFFFFFFFFu}},
        {" 7", {0, 7}},
    };
    for (const auto& [text, want] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(OID(std::string(text)), want);
    }
}

TEST(OidText, StrHasLeadingDotStreamDoesNot) {
    const OID o{1, 3, 6, 1, 4294967295u};
    EXPECT_EQ(o.str(), ".1.3.6.1.4294967295");
    std::ostringstream os;
    os << o << '|' << OID();
    EXPECT_EQ(os.str(), "1.3.6.1.4294967295|");
    EXPECT_EQ(OID().str(), "");
    EXPECT_EQ(OID(o.str()), o);  // text round trip
}

TEST(OidArith, AppendAndConcatenate) {
    OID o{1, 3};
    o += OID{6, 1};
    o += 4u;
    EXPECT_EQ(o, (OID{1, 3, 6, 1, 4}));
    const OID base{1, 3};
    EXPECT_EQ(base + OID{6} + 1u, (OID{1, 3, 6, 1}));
    EXPECT_EQ(base, (OID{1, 3}));  // operator+ leaves its operand alone
    EXPECT_EQ(OID(7u), (OID{7}));
    const unsigned int arcs[] = {9, 8, 7};
    EXPECT_EQ(OID(arcs + 1, arcs + 3), (OID{8, 7}));
    EXPECT_TRUE((OID{1, 3, 6}).startsWith(OID{1, 3}));
    EXPECT_FALSE((OID{1, 3}).startsWith(OID{1, 3, 6}));
    OID d{1, 2, 3};
    d.dropFront(2);
    EXPECT_EQ(d, (OID{3}));
    d.dropFront(5);
    EXPECT_TRUE(d.empty());
}

// Pop operations: result, the field handed out, what is left. A failure leaves both alone.
TEST(OidSuffix, PopFamily) {
    using Pop = bool (*)(OID&, OID*);
    struct Case {
        const char* name;
        Pop pop;
        OID in;
        bool ok;
        OID field, rest;
    };
    const Pop popOID3 = [](OID& o, OID* f) { return o.popOID(3, f); };
    const Pop popOIDLen = [](OID& o, OID* f) { return o.popOID(f); };
    const Pop popStr = [](OID& o, OID* f) { return o.popString(f); };
    const Pop popStr4 = [](OID& o, OID* f) { return o.popString(4, f); };
    const Pop popIP = [](OID& o, OID* f) { return o.popIP(f); };
    const Pop popIP6 = [](OID& o, OID* f) { return o.popIP6(f); };
    const Pop popU = [](OID& o, OID* f) { return o.popUnsigned(f); };
    const OID untouched{42};
    const Case cases[] = {
        {"oid n", popOID3, {1, 2, 3, 4}, true, {1, 2, 3}, {4}},
        {"oid n short", popOID3, {1, 2}, false, untouched, {1, 2}},
        {"oid len", popOIDLen, {3, 97, 98, 99, 5}, true, {3, 97, 98, 99}, {5}},
        {"oid len too big", popOIDLen, {3, 97, 98}, false, untouched, {3, 97, 98}},
        {"oid len empty", popOIDLen, {}, false, untouched, {}},
        {"oid len zero", popOIDLen, {0, 9}, true, {0}, {9}},
        {"string", popStr, {2, 255, 0, 7}, true, {2, 255, 0}, {7}},
        {"string octet 300", popStr, {3, 97, 300, 99}, false, untouched, {3, 97, 300, 99}},
        {"string arc past field ok", popStr, {1, 97, 300}, true, {1, 97}, {300}},
        {"fixed string", popStr4, {97, 98, 99, 100, 101}, true, {97, 98, 99, 100}, {101}},
        {"fixed string short", popStr4, {97, 98}, true, {97, 98}, {}},
        {"fixed string 256", popStr4, {97, 256, 1, 1, 1}, false, untouched, {97, 256, 1, 1, 1}},
        {"ip", popIP, {10, 1, 2, 3, 9}, true, {10, 1, 2, 3}, {9}},
        {"ip short", popIP, {10, 1, 2}, true, {10, 1, 2}, {}},
        {"ip empty", popIP, {}, true, {}, {}},
        {"ip6 short", popIP6, {1, 2, 3}, true, {1, 2, 3}, {}},
        {"unsigned", popU, {5, 6}, true, {5}, {6}},
        {"unsigned empty", popU, {}, false, untouched, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        OID in = c.in, field = untouched;
        EXPECT_EQ(c.pop(in, &field), c.ok);
        EXPECT_EQ(field, c.field);
        EXPECT_EQ(in, c.rest);
    }
    OID in{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17}, f;
    EXPECT_TRUE(in.popIP6(&f));
    EXPECT_EQ(f.size(), 16u);
    EXPECT_EQ(in, (OID{17}));
}

TEST(OidSuffix, AsUnsignedAndIP) {
    unsigned int v = 99;
    EXPECT_TRUE((OID{7}).asUnsigned(&v));
    EXPECT_EQ(v, 7u);
    EXPECT_FALSE(OID().asUnsigned(&v));
    EXPECT_FALSE((OID{1, 2}).asUnsigned(&v));

    EXPECT_TRUE((OID{10, 1, 2, 3}).asIP(&v));
    EXPECT_EQ(v, 0x0A010203u);
    EXPECT_TRUE((OID{255, 255, 255, 255, 7}).asIP(&v));
    EXPECT_EQ(v, 0xFFFFFFFFu);
    EXPECT_FALSE((OID{1, 2}).asIP(&v));
    EXPECT_EQ(v, 0x01020000u);  // a short address still fills from the top
    v = 5;
    EXPECT_FALSE((OID{1, 256, 3, 4}).asIP(&v));
    EXPECT_EQ(v, 5u);
}

TEST(OidSuffix, AsIP6) {
    lm::IPAddr6 a;
    OID o;
    for (unsigned i = 0; i < 16; ++i) o += i * 16;
    EXPECT_TRUE(o.asIP6(&a));
    EXPECT_EQ(a.addr[1], 16);
    EXPECT_EQ(a.addr[15], 240);
    EXPECT_TRUE((o + 999u).asIP6(&a));  // arcs past sixteen are ignored
    EXPECT_FALSE((OID{1, 2, 3}).asIP6(&a));
    EXPECT_EQ(a.addr[2], 3);
    EXPECT_EQ(a.addr[15], 0);  // cleared first
    EXPECT_FALSE((OID{1, 256}).asIP6(&a));
}

TEST(OidSuffix, AsString) {
    std::string s = "keep";
    EXPECT_TRUE((OID{3, 97, 98, 99}).asString(&s));
    EXPECT_EQ(s, "abc");
    EXPECT_TRUE((OID{1, 0, 77}).asString(&s));  // trailing arcs ignored
    EXPECT_EQ(s, std::string("\0", 1));
    s = "keep";
    EXPECT_FALSE(OID().asString(&s));
    EXPECT_FALSE((OID{3, 97, 98}).asString(&s));
    EXPECT_FALSE((OID{2, 97, 256}).asString(&s));
    EXPECT_EQ(s, "keep");

    EXPECT_TRUE((OID{104, 105}).asString(2, &s));
    EXPECT_EQ(s, "hi");
    EXPECT_FALSE((OID{104, 105, 33}).asString(2, &s));  // assigned, but too long
    EXPECT_EQ(s, "hi");
    s = "keep";
    EXPECT_FALSE((OID{104}).asString(2, &s));
    EXPECT_FALSE((OID{104, 1000}).asString(2, &s));
    EXPECT_EQ(s, "keep");
}

TEST(OidSuffix, AsOID) {
    OID out{9};
    EXPECT_TRUE((OID{5, 1, 2}).asOID(&out));  // malformed, not reported
    EXPECT_EQ(out, (OID{9}));
    EXPECT_TRUE(OID().asOID(&out));
    EXPECT_EQ(out, (OID{9}));
    EXPECT_TRUE((OID{2, 1, 2, 3}).asOID(&out));  // everything after the length arc
    EXPECT_EQ(out, (OID{1, 2, 3}));
    EXPECT_TRUE((OID{1, 2, 3}).asOID(3, &out));
    EXPECT_EQ(out, (OID{1, 2, 3}));
    EXPECT_FALSE((OID{1, 2}).asOID(3, &out));
}

TEST(OidSuffix, DecodesATableIndexFieldByField) {
    // ifIndex 7, address 10.0.0.1, name "eth" as a length-prefixed string.
    OID suffix{7, 10, 0, 0, 1, 3, 101, 116, 104};
    OID f;
    unsigned int idx = 0, ip = 0;
    std::string name;
    ASSERT_TRUE(suffix.popUnsigned(&f) && f.asUnsigned(&idx));
    ASSERT_TRUE(suffix.popIP(&f) && f.asIP(&ip));
    ASSERT_TRUE(suffix.popString(&f) && f.asString(&name));
    EXPECT_EQ(idx, 7u);
    EXPECT_EQ(ip, 0x0A000001u);
    EXPECT_EQ(name, "eth");
    EXPECT_TRUE(suffix.empty());
}

}  // namespace
}  // namespace snmp
