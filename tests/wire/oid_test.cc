// Object identifiers: the order every OID-keyed map relies on, text forms, and the
// index-suffix fields tables are decoded with.
#include "wire/oid.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>

#include "tests/wire/test_util.h"

namespace snmp {
namespace {

TEST(Oid, OrderIsUnsignedLexicographicWithPrefixFirst) {
    const struct {
        OID a, b;
        int sign;
    } cases[] = {
        {{1, 3, 6, 1}, {1, 3, 6, 1, 0}, -1}, {{1, 3, 6, 1, 2}, {1, 3, 6, 1, 1, 99}, 1},
        {{1, 3, 6, 1}, {1, 3, 6, 1}, 0},     {{}, {0}, -1},
        {{1, 0xFFFFFFFFu}, {1, 1}, 1},       {{1, 0x80000000u}, {1, 0x7FFFFFFFu, 5}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.a.str() + " vs " + c.b.str());
        EXPECT_EQ(c.a < c.b, c.sign < 0);
        EXPECT_EQ(c.b < c.a, c.sign > 0);
        EXPECT_EQ(c.a == c.b, c.sign == 0);
        EXPECT_EQ((c.a <=> c.b) < 0, c.sign < 0);
    }
    // The GetNext search: the first name after a request that falls between entries.
    const std::map<OID, int> m{{{1, 3, 6, 2}, 0}, {{1, 3, 6, 1, 1}, 0}, {{1, 3, 6, 1, 10}, 0}};
    EXPECT_EQ(m.upper_bound(OID{1, 3, 6, 1, 0, 5})->first, (OID{1, 3, 6, 1, 1}));
    EXPECT_EQ(m.upper_bound(OID{1, 3, 6, 1, 1})->first, (OID{1, 3, 6, 1, 10}));
}

TEST(Oid, TextNeverFailsAndPrintsWithAndWithoutLeadingDot) {
    const std::pair<const char*, OID> cases[] = {
        {".1.3.6", {1, 3, 6}}, {"1.3.", {1, 3}}, {"1..3", {1, 3}},         {"1.x.5", {1, 0, 5}},
        {"abc", {0, 0, 0}},    {"", {}},         {"1.4294967296", {1, 0}}, {" 7", {0, 7}},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(OID(std::string(text)), want) << text;
    const OID o{1, 3, 6, 1, 4294967295u};
    EXPECT_EQ(o.str(), ".1.3.6.1.4294967295");
    std::ostringstream os;
    os << o << '|' << OID();
    EXPECT_EQ(os.str(), "1.3.6.1.4294967295|");
    EXPECT_EQ(OID().str(), "");
}

TEST(Oid, PrefixesAndConcatenation) {
    const OID base{1, 3};
    EXPECT_EQ(base + OID{6} + 1u, (OID{1, 3, 6, 1}));
    EXPECT_EQ(base, (OID{1, 3}));  // operator+ leaves its operand alone
    EXPECT_TRUE((OID{1, 3, 6}).startsWith(base));
    EXPECT_TRUE(base.startsWith(base));
    EXPECT_FALSE(base.startsWith(OID{1, 3, 6}));
    EXPECT_FALSE((OID{1, 4, 6}).startsWith(base));
    OID d{1, 2, 3};
    d.dropFront(2);
    EXPECT_EQ(d, (OID{3}));
    d.dropFront(5);
    EXPECT_TRUE(d.empty());
}

// Index fields as the MIB packers take them: pop one field off the suffix, then convert it.
// The text: the value ("bad" before it when the conversion refused; "no field" when the pop
// failed and left the field alone), then what is left of the suffix.
std::string takeField(char kind, OID& suffix) {
    OID f{42}, o{9};
    bool popped = false;
    switch (kind) {
        case 'u': popped = suffix.popUnsigned(&f); break;
        case '4': popped = suffix.popIP(&f); break;
        case '6': popped = suffix.popIP6(&f); break;
        case 's': popped = suffix.popString(&f); break;
        case 'f': popped = suffix.popString(2, &f); break;
        case 'o': popped = suffix.popOID(&f); break;
        case 'n': popped = suffix.popOID(3, &f); break;
    }
    const std::string rest = " | " + suffix.str();
    if (!popped) return (f == OID{42} ? "no field" : "field changed") + rest;
    unsigned int v = 99;
    std::string s = "keep";
    lm::IPAddr6 a;
    a.addr[15] = 9;
    char ip[9];
    bool ok = false;
    switch (kind) {
        case 'u': ok = f.asUnsigned(&v); s = std::to_string(v); break;
        case '4': ok = f.asIP(&v); std::snprintf(ip, sizeof ip, "%08x", v); s = ip; break;
        case '6': ok = f.asIP6(&a); s = test::toHex(a.addr, sizeof a.addr); break;
        case 's': ok = f.asString(&s); break;
        case 'f': ok = f.asString(2, &s); break;
        case 'o': ok = f.asOID(&o); s = o.str(); break;
        case 'n': ok = f.asOID(3, &o); s = o.str(); break;
    }
    return (ok ? "" : "bad ") + s + rest;
}

TEST(OidSuffix, FieldsPopAndConvert) {
    const OID v6{32, 1, 13, 184, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const struct { char kind; OID in; const char* want; } cases[] = {
        {'u', {5, 6}, "5 | .6"},
        {'u', {}, "no field | "},
        {'4', {10, 1, 2, 3, 9}, "0a010203 | .9"},
        {'4', {1, 2}, "bad 01020000 | "},  // a short address still fills from the top
        {'4', {1, 256, 3, 4}, "bad 00000063 | "},
        {'6', v6 + 7u, "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 | .7"},
        // The address is cleared first.
        {'6', {1, 2, 3}, "bad 01 02 03 00 00 00 00 00 00 00 00 00 00 00 00 00 | "},
        {'6', {1, 256}, "bad 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 | "},
        {'s', {3, 97, 98, 99, 5}, "abc | .5"},
        {'s', {1, 97, 300}, "a | .300"},  // only the field's own arcs must be octets
        {'s', {3, 97, 300, 99}, "no field | .3.97.300.99"},
        {'s', {3, 97, 98}, "no field | .3.97.98"},
        {'s', {}, "no field | "},
        {'f', {104, 105, 33}, "hi | .33"},
        {'f', {104}, "bad keep | "},  // short is fine for the pop, not for the conversion
        {'f', {104, 256, 1}, "no field | .104.256.1"},
        {'o', {3, 97, 98, 99, 5}, ".97.98.99 | .5"},
        {'o', {0, 9}, " | .9"},
        {'o', {3, 97, 98}, "no field | .3.97.98"},
        {'n', {1, 2, 3, 4}, ".1.2.3 | .4"},
        {'n', {1, 2}, "no field | .1.2"},
    };
    for (const auto& c : cases) {
        OID suffix = c.in;
        EXPECT_EQ(takeField(c.kind, suffix), c.want) << c.kind << " " << c.in.str();
    }
}

}  // namespace
}  // namespace snmp
