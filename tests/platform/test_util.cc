// Paths under LUMO_ROOT, plug-in directories, log switches and clocks.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/log.h"
#include "platform/util.h"
#include "tests/platform/test_helpers.h"

namespace lm {
namespace {

namespace fs = std::filesystem;

TEST(Paths, ResolveUnderRoot) {
    unsetenv("LUMO_ROOT");
    EXPECT_EQ(lumoRoot(), "/");
    EXPECT_EQ(resolvePath("/lumo/store/snmpd"), "/lumo/store/snmpd");
    setenv("LUMO_ROOT", "/tmp/r/", 1);
    EXPECT_EQ(resolvePath("/lumo/store/snmpd"), "/tmp/r/lumo/store/snmpd");
    EXPECT_EQ(resolvePath("lumo/bus"), "/tmp/r/lumo/bus");
    setenv("LUMO_ROOT", "", 1);
    EXPECT_EQ(resolvePath("/lumo/x"), "/lumo/x");
    unsetenv("LUMO_ROOT");
}

TEST(Paths, MakeDirs) {
    test::TempRoot root;
    const std::string deep = root.path() + "/a/b/c";
    EXPECT_TRUE(makeDirs(deep));
    EXPECT_TRUE(makeDirs(deep));  // already there
    EXPECT_TRUE(fs::is_directory(deep));
    fs::create_directories(root.path() + "/f");
    { std::ofstream(root.path() + "/f/file") << "x"; }
    EXPECT_FALSE(makeDirs(root.path() + "/f/file/sub"));
    EXPECT_FALSE(makeDirs(root.path() + "/f/file"));
}

TEST(Paths, GetAllDirsBaseThenPackagesByName) {
    test::TempRoot root;
    EXPECT_TRUE(getAllDirs("/lumo/lib/snmp").empty());
    const std::string r = root.path();
    for (const char* d : {"/lumo/lib/snmp", "/lumo/pkg/zeta/lumo/lib/snmp", "/lumo/pkg/Alpha/lumo/lib/snmp",
                          "/lumo/pkg/beta/lumo/lib/snmp", "/lumo/pkg/.hidden/lumo/lib/snmp",
                          "/lumo/pkg/nolib/lumo/other"})
        fs::create_directories(r + d);
    EXPECT_EQ(getAllDirs("/lumo/lib/snmp"),
              (std::vector<std::string>{r + "/lumo/lib/snmp", r + "/lumo/pkg/Alpha/lumo/lib/snmp",
                                        r + "/lumo/pkg/beta/lumo/lib/snmp", r + "/lumo/pkg/zeta/lumo/lib/snmp"}));
    fs::remove(r + "/lumo/lib/snmp");
    EXPECT_EQ(getAllDirs("/lumo/lib/snmp").front(), r + "/lumo/pkg/Alpha/lumo/lib/snmp");
}

TEST(Log, StreamsNamedInLumoLog) {
    setenv("LUMO_LOG", "snmp, debug", 1);
    EXPECT_TRUE(logEnabled("snmp"));
    EXPECT_TRUE(logEnabled("debug"));
    EXPECT_FALSE(logEnabled("snm"));
    EXPECT_FALSE(logEnabled(""));
    lstream on("debug"), off("trap");
    EXPECT_TRUE(on.on());
    EXPECT_FALSE(off.on());
    setenv("LUMO_LOG", "all", 1);
    EXPECT_TRUE(logEnabled("trap"));
    EXPECT_FALSE(off.on());  // read once, at construction
    unsetenv("LUMO_LOG");
    EXPECT_FALSE(logEnabled("snmp"));

    int evaluated = 0;
    auto count = [&] { return ++evaluated; };
    LLOG(off) << count();
    EXPECT_EQ(evaluated, 0);  // a muted stream never formats its arguments
}

TEST(Clocks, BootTimeUnits) {
    const uint32_t up = getUptime();
    const uint32_t j = getJiffies();
    // Same clock, different units: jiffies / 100 is the uptime (allowing a tick between reads).
    EXPECT_GE(j / 100, up);
    EXPECT_LE(j / 100, up + 1);
    const uint64_t t0 = monotonicMs();
    EXPECT_GE(monotonicMs(), t0);
}

}  // namespace
}  // namespace lm
