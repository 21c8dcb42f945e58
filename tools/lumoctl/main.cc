// lumoctl: the command-line front end to the bus. Shared options may come before or after
// the subcommand; other options after the subcommand's name are its own; "--" ends them.
#include <iostream>

#include "platform/message_json.h"
#include "tools/lumoctl/subcommands.h"

namespace lumoctl {

namespace {

// One line per subcommand; a new family of commands adds its row and its own file.
const Subcommand subcommands[] = {
    {"call", "PATH COMMAND [KEY=VALUE ...]", runCall},
    {"snmp", "print | set NAME=VALUE ... | community print|add|set|remove [NAME] [FIELD=VALUE ...] | trap send [oid=OID type=TYPE value=VALUE] | trap generators", runSnmp},
};

void printUsage(std::ostream& os) {
    os << "usage: lumoctl [--json] [--timeout MS] [--input FILE|-] SUBCOMMAND ...\n";
    for (const Subcommand& s : subcommands) os << "       lumoctl " << s.name << " " << s.synopsis << "\n";
}

// Reads the value of an option given as "--name VALUE" or "--name=VALUE".
bool optionValue(const std::string& arg, const char* name, int argc, char** argv, int& i,
                 std::string& value, bool& matched) {
    const std::string flag = std::string("--") + name;
    matched = false;
    if (arg == flag) {
        matched = true;
        if (i + 1 >= argc) return false;
        value = argv[++i];
        return true;
    }
    if (arg.rfind(flag + "=", 0) == 0) {
        matched = true;
        value = arg.substr(flag.size() + 1);
        return true;
    }
    return true;
}

}  // namespace

int usageError(const std::string& problem) {
    std::cerr << "lumoctl: " << problem << "\n";
    printUsage(std::cerr);
    return EXIT_USAGE;
}

int main(int argc, char** argv) {
    Options options;
    std::vector<std::string> positional;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            if (arg == "-h") {
                printUsage(std::cout);
                return EXIT_OK;
            }
            positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help") {
            printUsage(std::cout);
            return EXIT_OK;
        }
        if (arg == "--json") {
            options.json = true;
            continue;
        }
        std::string value;
        bool matched;
        if (!optionValue(arg, "timeout", argc, argv, i, value, matched)) return usageError("--timeout needs MS");
        if (matched) {
            uint64_t ms;
            if (!lm::parseUnsigned(value, 3600000, ms) || ms == 0)
                return usageError("--timeout: \"" + value + "\" is not a number of milliseconds 1..3600000");
            options.timeoutMs = int(ms);
            continue;
        }
        if (!optionValue(arg, "input", argc, argv, i, value, matched)) return usageError("--input needs FILE or -");
        if (matched) {
            options.input = value;
            continue;
        }
        // After the subcommand's name, options lumoctl does not know are the subcommand's.
        if (!positional.empty()) {
            positional.push_back(arg);
            continue;
        }
        return usageError("unknown option " + arg);
    }

    if (positional.empty()) return usageError("missing subcommand");
    for (const Subcommand& s : subcommands)
        if (positional[0] == s.name)
            return s.run(options, std::vector<std::string>(positional.begin() + 1, positional.end()));
    return usageError("unknown subcommand \"" + positional[0] + "\"");
}

}  // namespace lumoctl

int main(int argc, char** argv) { return lumoctl::main(argc, argv); }
