// The load loop: keeps a window of requests outstanding against one loopback server, each
// with its own request-id, and matches answers back to them.
#pragma once

#include <string>

#include "bench/load/load_options.h"
#include "bench/load/load_report.h"

namespace load {

// Runs the warm-up and the measured part. False with a one-line reason when the request
// cannot be built or the socket cannot be set up; timeouts and errors are results.
bool runLoad(const LoadOptions& o, LoadResult& r, std::string& error);

}  // namespace load
