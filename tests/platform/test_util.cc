// Paths under LUMO_ROOT, plug-in directories and log switches.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/log.h"
#include "platform/util.h"
#include "tests/platform/test_helpers.h"

namespace lm {
namespace {

namespace fs = std::filesystem;

TEST(Paths, ResolveUnderRoot) {
    unsetenv("LUMO_ROOT");
    EXPECT_EQ(resolvePath("/lumo/store/snmpd"), "/lumo/store/snmpd");
    setenv("LUMO_ROOT", "/tmp/r/", 1);
    EXPECT_EQ(resolvePath("/lumo/store/snmpd"), "/tmp/r/lumo/store/snmpd");
    EXPECT_EQ(resolvePath("lumo/bus"), "/tmp/r/lumo/bus");
    unsetenv("LUMO_ROOT");
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
    EXPECT_TRUE(logEnabled("snmp") && logEnabled("debug"));
    EXPECT_FALSE(logEnabled("snm") || logEnabled(""));
    lstream on("debug"), off("trap");
    EXPECT_TRUE(on.on() && !off.on());
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

TEST(Log, DefaultLevelsWriteUnlessQuiet) {
    unsetenv("LUMO_LOG");
    lstream info("start", Level::info), error("fault", Level::error), debug("trace");
    EXPECT_TRUE(info.on() && error.on() && !debug.on());
    setenv("LUMO_LOG", "quiet", 1);
    lstream quietInfo("start", Level::info), quietError("fault", Level::error);
    EXPECT_TRUE(!quietInfo.on() && quietError.on());
    setenv("LUMO_LOG", "all", 1);  // "all" turns debug streams on, never "quiet"
    lstream allInfo("start", Level::info), allDebug("trace");
    EXPECT_TRUE(allInfo.on() && allDebug.on());
    unsetenv("LUMO_LOG");
}

}  // namespace
}  // namespace lm
