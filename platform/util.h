// Small platform utilities: paths under LUMO_ROOT, uptime and jiffies, plug-in directories.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lm {

// The root under which every logical /lumo/... path lives: $LUMO_ROOT, or "/" when unset.
std::string lumoRoot();
// Maps a logical path ("/lumo/store/snmpd") to the file system under lumoRoot().
std::string resolvePath(const std::string& logical);
// Creates the directory and its parents; true when it exists afterwards.
bool makeDirs(const std::string& dir);

// Directories for a logical path such as "/lumo/lib/snmp": the base directory itself,
// then <root>/lumo/pkg/<package><path> for each installed package in name order; only
// directories that exist are returned.
std::vector<std::string> getAllDirs(const std::string& logical);

uint32_t getUptime();   // whole seconds since boot (CLOCK_BOOTTIME)
uint32_t getJiffies();  // hundredths of a second since boot, usable as TimeTicks
// getJiffies() at the first call in this process (the agent asks at start): the origin of
// every uptime the process reports, so polled values and traps share one clock.
uint32_t startJiffies();
uint64_t monotonicMs(); // CLOCK_MONOTONIC in milliseconds, for time-outs

}  // namespace lm
