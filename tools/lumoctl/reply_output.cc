#include "tools/lumoctl/reply_output.h"

#include <cstdio>
#include <ostream>

#include "platform/bus.h"
#include "platform/message_json.h"

namespace lumoctl {

lm::message withoutHeader(const lm::message& reply) {
    lm::message m = reply;
    for (uint32_t key : {lm::key::DEST, lm::key::SENDER, lm::key::SEQ, lm::key::IS_REPLY,
                         lm::key::NO_REPLY, lm::key::COMMAND})
        m.remove(key);
    return m;
}

int printReply(const lm::message& reply, bool json, std::ostream& out, std::ostream& err) {
    uint32_t code;
    std::string text;
    if (lm::isError(reply, code, text)) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%X", code);
        err << "error " << hex << ": " << text << "\n";
        return 1;
    }
    lm::message body = withoutHeader(reply);
    if (json)
        out << lm::toJson(body).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    else
        body.dump(out);
    return 0;
}

}  // namespace lumoctl
