// lumo-hostd fixture files: the objects to serve per bus path, and the switches that make
// a service misbehave on purpose. Format (every member but "path" optional):
//
//   {"services": [{
//       "path": [20, 0],                        // [program] or [program, handler]
//       "objects": [{"0x08FE0001": 1, ...}],    // a list; each object needs its id 0x08FE0001
//       "object": {...},                        // the one object a get without id answers
//       "error": {"code": "0xFE0004", "text": "..."},  // answer everything with this error
//       "delay_ms": 0,                          // sleep before each answer
//       "paging": "normal",                     // or short, extra, reversed, restart
//       "no_program": false,                    // do not listen on this program at all
//       "notifications": {"link-down": {"number": "0x00010004", "message": {...}}}
//   }]}
//
// Numbers outside messages (code, number) may be JSON numbers or "0x" hex strings.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/bus.h"
#include "platform/message.h"
#include "tools/hostd/paging.h"

namespace hostd {

struct Notification {
    uint32_t number = 0;
    lm::message payload;
};

struct ServiceFixture {
    lm::Path path;                      // exactly [program, handler]
    std::vector<lm::message> objects;   // sorted by object id, ids unique
    bool hasObject = false;
    lm::message object;
    uint32_t errorCode = 0;             // 0: answer normally
    std::string errorText;
    uint32_t delayMs = 0;
    PagingMode paging = PagingMode::NORMAL;
    bool noProgram = false;
    std::map<std::string, Notification> notifications;
};

struct Fixture {
    std::vector<ServiceFixture> services;
};

// Reads and checks a fixture file. On failure returns false and sets error to one line
// naming the file and the problem ("fixture F: services[0].objects[3]: ..."); out is then
// left as it was.
bool loadFixture(const std::string& file, Fixture& out, std::string& error);
// The same checks on parsed JSON; error names the place within the document.
bool parseFixture(const nlohmann::json& doc, Fixture& out, std::string& error);

}  // namespace hostd
