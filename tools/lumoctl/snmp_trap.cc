// lumoctl snmp trap send [oid=OID type=TYPE value=VALUE] | generators: asks the agent to send
// its enterprise trap (with one binding when given), and lists the trap generators that
// the settings' trap-generators may name.
#include <cstdio>
#include <iostream>

#include "platform/bus.h"
#include "platform/message_json.h"
#include "security/ids.h"
#include "tools/lumoctl/reply_output.h"
#include "tools/lumoctl/snmp_commands.h"
#include "tools/lumoctl/snmp_values.h"
#include "traps/trap_info.h"

namespace lumoctl {

namespace {

using snmpval::AGENT_PROGRAM;
constexpr uint32_t AGENT_HANDLER = 0;
constexpr uint32_t GENERATOR_NAME = 0x20FE0010;
constexpr uint64_t MAX_TAG = 0xFF;

struct TypeName {
    const char* name;
    uint32_t tag;
};
// The value types the agent can write from text.
const TypeName typeNames[] = {
    {"integer", 0x02}, {"string", 0x04}, {"null", 0x05},      {"oid", 0x06},
    {"ipaddress", 0x40}, {"counter", 0x41}, {"timeticks", 0x43}, {"unsigned", 0x47},
};

bool parseType(const std::string& text, uint32_t& tag) {
    for (const TypeName& t : typeNames)
        if (text == t.name) {
            tag = t.tag;
            return true;
        }
    uint64_t n;
    if (!lm::parseUnsigned(text, MAX_TAG, n)) return false;
    tag = static_cast<uint32_t>(n);
    return true;
}

bool isDottedOid(const std::string& text) {
    if (text.empty()) return false;
    size_t i = text[0] == '.' ? 1 : 0;
    bool digit = false;
    for (; i < text.size(); ++i) {
        if (text[i] >= '0' && text[i] <= '9') {
            digit = true;
        } else if (text[i] == '.' && digit) {
            digit = false;
        } else {
            return false;
        }
    }
    return digit;
}

std::string idText(uint32_t id) {
    if (id <= MAX_TAG) return std::to_string(id);
    char text[sizeof "0x12345678"];
    std::snprintf(text, sizeof text, "0x%08X", id);
    return text;
}

int runTrapSend(const Options& options, const std::vector<std::string>& args) {
    lm::message request;
    for (const std::string& arg : args) {
        const size_t eq = arg.find('=');
        if (eq == std::string::npos) return badArgument("\"" + arg + "\" is not NAME=VALUE");
        const std::string name = arg.substr(0, eq), value = arg.substr(eq + 1);
        if (name == "oid") {
            if (!isDottedOid(value)) return badArgument("oid: \"" + value + "\" is not a dotted OID");
            request.setString(snmp::trapkey::OID_TEXT, value);
        } else if (name == "type") {
            uint32_t tag;
            if (!parseType(value, tag))
                return badArgument("type: \"" + value +
                                   "\" is not a tag number or integer, string, null, oid, "
                                   "ipaddress, counter, timeticks or unsigned");
            request.setU32(snmp::trapkey::VALUE_TYPE, tag);
        } else if (name == "value") {
            request.setString(snmp::trapkey::VALUE_TEXT, value);
        } else {
            return badArgument("unknown field \"" + name + "\": expected oid, type or value");
        }
    }
    if (request.hasString(snmp::trapkey::OID_TEXT) != request.hasU32(snmp::trapkey::VALUE_TYPE))
        return badArgument("a binding needs both oid and type");
    BusClient client;
    const lm::message reply = client.call({AGENT_PROGRAM, AGENT_HANDLER}, snmp::CMD_SEND_TRAP,
                                          std::move(request), options.timeoutMs);
    return errorStatus(reply);
}

int runTrapGenerators(const Options& options, const std::vector<std::string>& args) {
    if (!args.empty()) return badArgument("trap generators takes no arguments");
    BusClient client;
    const lm::message reply =
        client.call({AGENT_PROGRAM, snmp::ID_TRAPS}, lm::cmd::GET_ALL, lm::message(), options.timeoutMs);
    if (lm::isError(reply)) return errorStatus(reply);
    if (options.json) return printReply(reply, true, std::cout, std::cerr);
    std::vector<std::vector<std::string>> rows{{"ID", "NAME"}};
    if (const auto* list = reply.findMsgArray(lm::key::OBJECTS))
        for (const lm::message& g : *list) {
            const uint32_t id = g.getU32(lm::key::OBJECT_ID);
            rows.push_back({idText(id), g.getString(GENERATOR_NAME)});
        }
    printColumns(std::cout, rows);
    return EXIT_OK;
}

}  // namespace

int runSnmpTrap(const Options& options, const std::vector<std::string>& args) {
    if (args.empty()) return usageError("snmp trap needs send or generators");
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (args[0] == "send") return runTrapSend(options, rest);
    if (args[0] == "generators") return runTrapGenerators(options, rest);
    return usageError("unknown snmp trap command \"" + args[0] + "\": expected send or generators");
}

}  // namespace lumoctl
