// The interface list kept between pages, and the state changes that become notifications.
#include <gtest/gtest.h>

#include "platform/bus.h"
#include "tools/hostd/link_snapshot.h"
#include "tools/hostd/link_status.h"

namespace {

constexpr uint64_t T0 = 50000;  // an arbitrary clock reading

lm::message object(uint32_t id, const std::string& name = "") {
    lm::message m;
    m.setU32(lm::key::OBJECT_ID, id);
    m.setString(0x20010006, name);
    return m;
}

std::vector<uint32_t> ids(const hostd::LinkSnapshot& s) {
    std::vector<uint32_t> out;
    for (const lm::message& m : s.objects()) out.push_back(m.getU32(lm::key::OBJECT_ID));
    return out;
}

TEST(LinkSnapshot, ServesForItsAgeOnly) {
    hostd::LinkSnapshot s;
    EXPECT_FALSE(s.fresh(T0)) << "nothing read yet";
    s.replace({object(1)}, T0);
    const std::pair<uint64_t, bool> cases[] = {
        {T0, true},
        {T0 + hostd::LinkSnapshot::MAX_AGE_MS - 1, true},
        {T0 + hostd::LinkSnapshot::MAX_AGE_MS, false},
        {T0 - 1, false},  // a clock behind the reading is no reason to trust it
    };
    for (const auto& [now, fresh] : cases) EXPECT_EQ(s.fresh(now), fresh) << now;
    s.drop();
    EXPECT_FALSE(s.fresh(T0));
    EXPECT_TRUE(s.objects().empty());
}

TEST(LinkSnapshot, AnnouncementsKeepIdOrder) {
    hostd::LinkSnapshot s;
    s.put(object(4));  // no list held: nothing to keep current
    EXPECT_TRUE(s.objects().empty());

    s.replace({object(9), object(2), object(5)}, T0);
    EXPECT_EQ(ids(s), (std::vector<uint32_t>{2, 5, 9}));
    s.put(object(7));
    s.put(object(1));
    s.put(object(12));
    s.put(object(5, "renamed"));
    EXPECT_EQ(ids(s), (std::vector<uint32_t>{1, 2, 5, 7, 9, 12}));
    EXPECT_EQ(s.objects()[2].getString(0x20010006), "renamed");
    s.remove(9);
    s.remove(3);  // not there
    s.remove(1);
    EXPECT_EQ(ids(s), (std::vector<uint32_t>{2, 5, 7, 12}));
}

TEST(LinkStatus, OnlyRealChangesOfKnownLinks) {
    hostd::LinkStatusTracker t;
    struct Step {
        uint32_t index, status;
        bool changed;
    };
    const Step steps[] = {
        {3, 0x500, false},  // first sighting
        {3, 0x500, false},  // the same state announced again (counters, alias)
        {3, 0x100, true},   // carrier lost
        {4, 0x000, false},
        {3, 0x100, false},
        {4, 0x100, true},   // set up
        {3, 0x500, true},
    };
    for (const Step& s : steps) EXPECT_EQ(t.update(s.index, s.status), s.changed) << s.index << " " << s.status;

    t.forget(3);
    EXPECT_FALSE(t.update(3, 0x000)) << "a removed link that comes back is new";
    t.forgetUnless([](uint32_t index) { return index == 3; });
    EXPECT_FALSE(t.update(4, 0x500)) << "4 was not in the last reading";
    EXPECT_TRUE(t.update(3, 0x100));
}

}  // namespace
