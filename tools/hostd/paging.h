// Get-all (0xFE0004) paging as every service that serves a list answers it: objects in
// ascending object id order, numbered from 0 by position; a start by position, by object
// id, or by the fields of a nested key; a continuation when more follow; only the fields
// the caller lists, when it lists them (docs/platform.md, "Get-all paging"). A paging mode
// other than NORMAL answers wrongly on purpose, so that tests can check how callers cope
// with services that page badly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message.h"

namespace hostd {

// Objects per page when the request does not say how many it wants.
constexpr uint32_t DEFAULT_PAGE = 100;
// How many objects past the asked-for number PagingMode::EXTRA returns.
constexpr uint32_t EXTRA_OBJECTS = 5;

// The values are those of the control key PAGING (0x08990008).
enum class PagingMode : uint32_t {
    NORMAL = 0,
    SHORT = 1,     // half the objects asked for (at least one), continuation still right
    EXTRA = 2,     // EXTRA_OBJECTS more than asked for, when there are
    REVERSED = 3,  // the page's objects in reverse order
    RESTART = 4,   // the start is ignored: every page starts at position 0
};
constexpr uint32_t PAGING_MODES = 5;

// "normal", "short", "extra", "reversed", "restart".
const char* pagingName(PagingMode mode);
bool parsePaging(const std::string& name, PagingMode& out);
bool pagingFromNumber(uint32_t n, PagingMode& out);

// The position of the first object the request asks for; objects.size() or more when the
// start lies past the end. objects are sorted by ascending object id.
size_t startPosition(const lm::message& request, const std::vector<lm::message>& objects);

// The get-all reply for the request: the page of objects (each with its position) and the
// continuation when more follow. A request with a field list (0x88FE001E) gets each object
// cut to the fields listed, its id and its position.
lm::message pageReply(const lm::message& request, const std::vector<lm::message>& objects,
                      PagingMode mode = PagingMode::NORMAL);

}  // namespace hostd
