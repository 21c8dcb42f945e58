// lumoctl call PATH COMMAND [KEY=VALUE ...]: sends any bus request and prints the reply.
#include <iostream>

#include "tools/lumoctl/bus_client.h"
#include "tools/lumoctl/field_args.h"
#include "tools/lumoctl/json_input.h"
#include "tools/lumoctl/reply_output.h"
#include "tools/lumoctl/subcommands.h"

namespace lumoctl {

int runCall(const Options& options, const std::vector<std::string>& args) {
    if (args.size() < 2) return usageError("call needs a PATH and a COMMAND");
    lm::Path path;
    uint32_t command;
    std::string why;
    if (!parseBusPath(args[0], path, &why) || !parseCommand(args[1], command, &why))
        return usageError(why);

    // --input first, so that KEY=VALUE arguments override what the file says.
    lm::message fields;
    if (!options.input.empty() && !readJsonInput(options.input, fields, why)) return usageError(why);
    for (size_t i = 2; i < args.size(); ++i)
        if (!parseFieldArg(args[i], fields, &why)) return usageError(why);

    BusClient client;
    lm::message reply = client.call(path, command, std::move(fields), options.timeoutMs);
    return printReply(reply, options.json, std::cout, std::cerr);
}

}  // namespace lumoctl
