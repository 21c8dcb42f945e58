// Printing bus replies the way every lumoctl subcommand does.
#pragma once

#include <iosfwd>

#include "platform/message.h"

namespace lumoctl {

// The reply without the transport's header fields (destination, sender, sequence, reply
// and command marks), which say nothing to the reader.
lm::message withoutHeader(const lm::message& reply);

// An error reply prints "error 0x<code>: <text>" on err and returns 1; any other reply is
// printed on out, as JSON or as the readable dump, and returns 0.
int printReply(const lm::message& reply, bool json, std::ostream& out, std::ostream& err);

}  // namespace lumoctl
