// lumo-hostd's control handler: handler 99 of every program hostd serves. Tests and demos
// use it to flip a service's behaviour while hostd runs (lumoctl call 20/99 ...).
//
//   SET_ERROR  HANDLER (absent: every service of the program), CODE (0 or absent: clear),
//              TEXT. The service then answers every request with that error; code 0xFE000D
//              makes it look like a program that is not there.
//   SET_DELAY  HANDLER (absent: every service), DELAY_MS (0 clears). The service sleeps
//              that long before each answer; the whole program stalls meanwhile, as a
//              service stuck in a slow call does. At most MAX_DELAY_MS.
//   PUBLISH    HANDLER (default 0), then either NAME (a notification named in the fixture)
//              or NUMBER and PAYLOAD: publishes PAYLOAD as notification NUMBER from
//              [program, HANDLER] to its subscribers.
//   RELOAD     re-reads the fixture file; on any problem the old data stays and the reply
//              is an error with the one-line reason.
//   SET_PAGING HANDLER (absent: every service), PAGING (a PagingMode, paging.h; absent or
//              0: normal). The service's get-all pages wrongly in that way.
//   RESET_COUNTS HANDLER (absent: every service): zeroes the request counters.
//   get        (0xFE000D) the current switches: OBJECTS, one message per service with
//              HANDLER, CODE, TEXT, DELAY_MS, PAGING, REQUESTS (requests the service
//              handled since start, the last RELOAD or the last RESET_COUNTS) and
//              FIELD_LISTS (how many of them were get-alls with a field list, counted alike).
#pragma once

#include <cstdint>

namespace hostd {

constexpr uint32_t CONTROL_HANDLER = 99;
constexpr uint32_t MAX_DELAY_MS = 60000;

namespace ctl {
constexpr uint32_t SET_ERROR = 0x00990001;
constexpr uint32_t SET_DELAY = 0x00990002;
constexpr uint32_t PUBLISH = 0x00990003;
constexpr uint32_t RELOAD = 0x00990004;
constexpr uint32_t SET_PAGING = 0x00990005;
constexpr uint32_t RESET_COUNTS = 0x00990006;
}  // namespace ctl

namespace ctlkey {
constexpr uint32_t HANDLER = 0x08990001;
constexpr uint32_t CODE = 0x08990002;
constexpr uint32_t TEXT = 0x20990003;
constexpr uint32_t DELAY_MS = 0x08990004;
constexpr uint32_t NAME = 0x20990005;
constexpr uint32_t NUMBER = 0x08990006;
constexpr uint32_t PAYLOAD = 0x28990007;
constexpr uint32_t PAGING = 0x08990008;
constexpr uint32_t REQUESTS = 0x08990009;
constexpr uint32_t FIELD_LISTS = 0x0899000A;
}  // namespace ctlkey

}  // namespace hostd
