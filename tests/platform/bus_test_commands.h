// Commands and fields understood by bus_echo_server, shared with the tests that drive it.
#pragma once

#include <cstdint>

namespace lm::test {

constexpr uint32_t ECHO = 0x7000;     // reply {VALUE} with the request's VALUE
constexpr uint32_t SLEEP = 0x7001;    // sleep VALUE ms, then reply with the request
constexpr uint32_t BIG = 0x7002;      // reply with VALUE objects under key::OBJECTS
constexpr uint32_t PUBLISH = 0x7003;  // publish NOTE {OBJECT_ID = VALUE} from PUBLISHER
constexpr uint32_t NOTE = 0x7004;     // the notification number used by the tests
constexpr uint32_t VALUE = 0x08000101;
constexpr uint32_t NAME = 0x20000102;
constexpr uint32_t PUBLISHER = 5;  // handler id of the publishing handler

}  // namespace lm::test
