// lumoctl snmp: the agent's settings and its communities / users, read and changed by name
// instead of by bus key. Shared pieces of the snmp subcommand files.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "platform/message.h"
#include "tools/lumoctl/bus_client.h"
#include "tools/lumoctl/subcommands.h"

namespace lumoctl {

int runSnmpPrint(const Options& options, const std::vector<std::string>& args);
int runSnmpSet(const Options& options, const std::vector<std::string>& args);
int runSnmpCommunity(const Options& options, const std::vector<std::string>& args);
int runSnmpTrap(const Options& options, const std::vector<std::string>& args);

// Every community record of the agent, over all get-all pages, in the agent's (id) order.
// False with the error reply in error when the agent refuses or cannot be reached.
bool fetchCommunities(BusClient& client, int timeoutMs, std::vector<lm::message>& records,
                      lm::message& error);
// The first record named exactly nameOrId, or for "#N" the record with id N; null when none.
const lm::message* findCommunity(const std::vector<lm::message>& records, const std::string& nameOrId);

// "lumoctl: <line>" on stderr; returns EXIT_USAGE. For bad names and values: nothing was sent.
int badArgument(const std::string& line);
// "lumoctl: <line>" on stderr; returns EXIT_ERROR_REPLY. For what the agent's state refuses.
int failure(const std::string& line);
// Prints the error of an error reply ("error 0x<code>: <text>") and returns EXIT_ERROR_REPLY;
// returns EXIT_OK for any other reply.
int errorStatus(const lm::message& reply);

// Rows of cells in aligned columns, two blanks apart; the last column is not padded.
void printColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows);

}  // namespace lumoctl
