// What one load run measured, and its two printed forms: a line for people and a JSON
// object for scripts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/load/load_options.h"

namespace load {

struct LoadResult {
    uint64_t sent = 0;        // requests sent while measuring
    uint64_t replies = 0;     // answers matched to those requests
    uint64_t timeouts = 0;    // requests unanswered after the time-out
    uint64_t errors = 0;      // Responses with a non-zero error-status
    uint64_t strays = 0;      // datagrams that matched no outstanding request
    uint64_t sendFailures = 0;
    uint64_t inFlight = 0;    // still outstanding when the time ran out (not timeouts)
    uint64_t bindings = 0;    // variable bindings in the replies counted
    uint64_t exceptions = 0;  // of those, noSuchObject, noSuchInstance or endOfMibView
    double seconds = 0;       // measured time
    std::vector<uint64_t> latenciesNs;
};

// Nearest-rank percentile (0 < p <= 100) in microseconds; 0 without samples. Sorts ns.
double percentileUs(std::vector<uint64_t>& ns, double p);

std::string textLine(const LoadOptions& o, LoadResult& r);
std::string jsonLine(const LoadOptions& o, LoadResult& r);

}  // namespace load
