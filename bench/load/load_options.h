// Command line of snmp_load.
#pragma once

#include <cstdint>
#include <string>

#include "bench/load/snmp_request.h"
#include "bench/load/usm_session.h"

namespace load {

struct LoadOptions {
    std::string host = "127.0.0.1";
    uint16_t port = 0;
    RequestSpec request;
    UsmOptions usm;             // --version 3
    unsigned window = 1;        // requests outstanding at once
    uint64_t count = 0;         // requests to send after the warm-up; 0: as many as time allows
    double seconds = 5;         // measured time, always bounded
    double warmup = 0;          // seconds of load before measuring
    unsigned timeoutMs = 1000;  // an unanswered request then counts as a timeout
    bool json = false;
    std::string label;
};

constexpr unsigned MAX_WINDOW = 4096;
constexpr double MAX_SECONDS = 600;

extern const char* const LOAD_USAGE;

// False with a one-line reason on an unknown option, a bad value or a non-loopback host.
bool parseLoadOptions(int argc, const char* const* argv, LoadOptions& out, std::string& error);

}  // namespace load
