// lumoctl's subcommands. Each lives in its own file and is listed once in the table in
// main.cc; the options before or after the subcommand name are shared by all of them.
#pragma once

#include <string>
#include <vector>

namespace lumoctl {

struct Options {
    bool json = false;        // --json: replies as JSON instead of the readable dump
    int timeoutMs = 2000;     // --timeout MS: per bus exchange
    std::string input;        // --input FILE|-: request fields as a JSON object
};

// Exit statuses shared by every subcommand.
enum Exit : int { EXIT_OK = 0, EXIT_ERROR_REPLY = 1, EXIT_USAGE = 2 };

struct Subcommand {
    const char* name;
    const char* synopsis;  // arguments after the name, for the usage text
    int (*run)(const Options& options, const std::vector<std::string>& args);
};

// Prints "lumoctl: <problem>" and the usage text on stderr; returns EXIT_USAGE.
int usageError(const std::string& problem);

int runCall(const Options& options, const std::vector<std::string>& args);
int runSnmp(const Options& options, const std::vector<std::string>& args);  // snmp.cc

}  // namespace lumoctl
