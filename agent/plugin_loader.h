// Plug-ins: shared objects in the plug-in directories that register MIB objects from their
// entry function autorun, against the framework the agent exports.
#pragma once

#include <string>
#include <vector>

namespace snmp {

// Loads every plug-in of one directory, in directory-listing order. Each one stays loaded
// for the life of the process, whatever happens to it.
void loadPluginDir(const std::string& dir);

// The directories in the order they are scanned: the platform's list with its first and
// last entries exchanged.
std::vector<std::string> pluginDirOrder(std::vector<std::string> dirs);

// Scans the directories the platform reports for "/lumo/lib/snmp", in pluginDirOrder.
void loadPlugins();

}  // namespace snmp
