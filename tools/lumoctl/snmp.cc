// lumoctl snmp print | set | community ... | trap ...: dispatch, and what the snmp files share.
#include <algorithm>
#include <iostream>
#include <sstream>

#include "platform/bus.h"
#include "platform/message_json.h"
#include "security/ids.h"
#include "security/item.h"
#include "tools/lumoctl/reply_output.h"
#include "tools/lumoctl/snmp_commands.h"
#include "tools/lumoctl/snmp_values.h"

namespace lumoctl {

namespace {
// Far beyond any real community list; stops a confused agent from keeping lumoctl paging.
constexpr size_t MAX_PAGES = 10000;
}  // namespace

int runSnmp(const Options& options, const std::vector<std::string>& args) {
    if (args.empty()) return usageError("snmp needs print, set, community or trap");
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (args[0] == "print") return runSnmpPrint(options, rest);
    if (args[0] == "set") return runSnmpSet(options, rest);
    if (args[0] == "community") return runSnmpCommunity(options, rest);
    if (args[0] == "trap") return runSnmpTrap(options, rest);
    return usageError("unknown snmp command \"" + args[0] + "\": expected print, set, community or trap");
}

bool fetchCommunities(BusClient& client, int timeoutMs, std::vector<lm::message>& records,
                      lm::message& error) {
    records.clear();
    const lm::Path path{snmpval::AGENT_PROGRAM, snmp::ID_COMMUNITIES};
    uint32_t start = 0;
    for (size_t page = 0; page < MAX_PAGES; ++page) {
        lm::message request;
        request.setU32(lm::key::START, start);
        lm::message reply = client.call(path, lm::cmd::GET_ALL, std::move(request), timeoutMs);
        if (lm::isError(reply)) {
            error = std::move(reply);
            return false;
        }
        if (const auto* objects = reply.findMsgArray(lm::key::OBJECTS))
            records.insert(records.end(), objects->begin(), objects->end());
        if (!reply.hasU32(lm::key::START)) return true;
        const uint32_t next = reply.getU32(lm::key::START);
        if (next <= start) break;  // a continuation that does not advance would loop for ever
        start = next;
    }
    error = lm::failedMsg("the community list does not end");
    return false;
}

const lm::message* findCommunity(const std::vector<lm::message>& records, const std::string& nameOrId) {
    uint64_t id;
    const bool byId = nameOrId.size() > 1 && nameOrId[0] == '#' &&
                      lm::parseUnsigned(nameOrId.substr(1), 0xFFFFFFFFu, id);
    for (const lm::message& r : records)
        if (byId ? r.getU32(lm::key::OBJECT_ID, 0xFFFFFFFF) == id
                 : r.getString(snmp::itemkey::NAME) == nameOrId && r.hasString(snmp::itemkey::NAME))
            return &r;
    return nullptr;
}

int badArgument(const std::string& line) {
    std::cerr << "lumoctl: " << line << "\n";
    return EXIT_USAGE;
}

int failure(const std::string& line) {
    std::cerr << "lumoctl: " << line << "\n";
    return EXIT_ERROR_REPLY;
}

int errorStatus(const lm::message& reply) {
    if (!lm::isError(reply)) return EXIT_OK;
    std::ostringstream ignored;
    return printReply(reply, false, ignored, std::cerr);
}

void printColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows)
        for (size_t i = 0; i < row.size(); ++i) {
            if (widths.size() <= i) widths.push_back(0);
            widths[i] = std::max(widths[i], row[i].size());
        }
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
        }
        out << line << "\n";
    }
}

}  // namespace lumoctl
