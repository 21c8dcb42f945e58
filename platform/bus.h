// Command numbers, header fields and error codes of the platform bus, in one place.
#pragma once

#include <cstdint>
#include <vector>

namespace lm {

using Path = std::vector<uint32_t>;  // [program, handler, ...]; handler 0 is the looper

namespace cmd {
constexpr uint32_t GET = 0xFE000D;         // get one object (0xFE0001 = id) or the handler's object
constexpr uint32_t SET = 0xFE000E;         // set the handler's object
constexpr uint32_t GET_ALL = 0xFE0004;     // paged list of objects
constexpr uint32_t OBJECT_SET = 0xFE0003;  // change one object of a list (0xFE0001 = id)
constexpr uint32_t COUNT = 0xFE0015;       // number of objects, answered in 0xFE0014
constexpr uint32_t ADD = 0xFE0010;         // add an object; reply carries its new 0xFE0001
constexpr uint32_t REMOVE = 0xFE0011;      // remove the object 0xFE0001
constexpr uint32_t SUBSCRIBE = 0xFE0012;   // ask for notifications (0xFF000A number, 0xFF000B filter)
constexpr uint32_t UNSUBSCRIBE = 0xFE0013;
constexpr uint32_t UNDO = 0xFE0017;        // undo record sent to the platform after a change
constexpr uint32_t CHANGED = 0xFE0018;     // change notification published by notifyChange
constexpr uint32_t READY = 3;              // a program reports that it is ready
}  // namespace cmd

namespace key {
// Header fields (full typed keys).
constexpr uint32_t DEST = 0x88FF0001;
constexpr uint32_t SENDER = 0x88FF0002;
constexpr uint32_t SEQ = 0x08FF0003;          // request number, echoed in the reply
constexpr uint32_t IS_REPLY = 0x00FF0004;     // set on replies
constexpr uint32_t NO_REPLY = 0x00FF0005;     // fire-and-forget command
constexpr uint32_t COMMAND = 0x08FF0007;
constexpr uint32_t ERROR_CODE = 0x08FF0008;
constexpr uint32_t ERROR_TEXT = 0x20FF0009;
constexpr uint32_t NOTIFICATION = 0x08FF000A;  // subscribe: notification number wanted
constexpr uint32_t FILTER = 0x28FF000B;        // subscribe: filter message
constexpr uint32_t UNDO_TEXT = 0x20FF000C;     // undo: description of the change
constexpr uint32_t UNDO_MSG = 0x28FF000D;      // undo: the message that restores the old state
// Object fields.
constexpr uint32_t OBJECT_ID = 0x08FE0001;
constexpr uint32_t OBJECTS = 0xA8FE0002;
constexpr uint32_t START = 0x08FE0003;     // get-all start position / continuation
constexpr uint32_t WANT = 0x08FE0004;      // get-all: number of objects asked for
constexpr uint32_t POSITION = 0x08FE0005;  // get-all: list position of each object
constexpr uint32_t PARTIAL_KEY = 0x00FE0007;
constexpr uint32_t FLAGS = 0x08FE000C;
constexpr uint32_t COUNT = 0x08FE0014;
constexpr uint32_t NESTED_KEY = 0x28FE001B;
constexpr uint32_t DEFAULTS = 0x28FE001D;
constexpr uint32_t FIELDS = 0x88FE001E;  // get-all: the caller's field list (field numbers)
}  // namespace key

namespace err {
constexpr uint32_t NO_PROGRAM = 0xFE000D;  // destination program has no endpoint
constexpr uint32_t REFUSED = 0xFE0006;     // a hook refused the change (with its text)
constexpr uint32_t NO_OBJECT = 0xFE0004;   // no such object / bad key
constexpr uint32_t FAILED = 0xFE0020;      // generic failure (failedMsg)
constexpr uint32_t TIMEOUT = 0xFE0021;     // no reply within the time-out
constexpr uint32_t BROKEN = 0xFE0022;      // connection lost before the reply
constexpr uint32_t BAD_REQUEST = 0xFE0023; // malformed or unknown command
}  // namespace err

}  // namespace lm
