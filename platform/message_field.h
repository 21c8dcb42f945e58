// Internal to the message implementation: the layout of one field. Not for callers.
#pragma once

#include <variant>

#include "platform/message.h"

namespace lm {

// The value's alternative always matches the key's type bits. A nested message (KT_MSG)
// is a one-element vector<message>, so message arrays and nested messages share code.
struct message::Field {
    using Value = std::variant<bool, uint32_t, uint64_t, IPAddr6, std::string, bytes,
                               std::vector<uint32_t>, std::vector<std::string>,
                               std::vector<message>>;
    uint32_t key = 0;
    Value value;

    // The codec and the dump walk fields directly; Field is a member, so it may.
    static const std::vector<Field>& list(const message& m) { return m.fields_; }
    static std::vector<Field>& list(message& m) { return m.fields_; }
};

}  // namespace lm
