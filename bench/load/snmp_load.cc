// snmp_load: UDP load against an SNMP agent on this machine (127.0.0.1 or ::1 only).
// One pre-encoded v1/v2c request is sent over and over with a fresh request-id, keeping
// --window requests outstanding; prints replies/s, median and p99 latency and timeouts.
//   snmp_load --port 16161 --window 32 --seconds 5 --warmup 1 [--json]
#include <iostream>

#include "bench/load/load_options.h"
#include "bench/load/load_run.h"

int main(int argc, char** argv) {
    load::LoadOptions options;
    std::string error;
    if (!load::parseLoadOptions(argc, argv, options, error)) {
        std::cerr << "snmp_load: " << error << "\n" << load::LOAD_USAGE;
        return 2;
    }
    load::LoadResult result;
    if (!load::runLoad(options, result, error)) {
        std::cerr << "snmp_load: " << error << "\n";
        return 1;
    }
    std::cout << (options.json ? load::jsonLine(options, result) : load::textLine(options, result)) << std::endl;
    return 0;
}
