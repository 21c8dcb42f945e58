#include "bench/load/load_options.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "bench/load/loopback.h"

namespace load {

const char* const LOAD_USAGE =
    "usage: snmp_load --port N [--host 127.0.0.1|::1] [--op get|getnext|bulk] [--oid OID]...\n"
    "                 [--version 1|2c|3] [--community TEXT] [--non-repeaters N] [--max-repetitions N]\n"
    "                 [--user NAME [--auth md5|sha --auth-password TEXT [--priv aes --priv-password TEXT]]]\n"
    "                 [--window N] [--count N] [--seconds S] [--warmup S] [--timeout-ms N]\n"
    "                 [--label TEXT] [--json]\n";

namespace {

bool parseNumber(const char* text, uint64_t max, uint64_t& out) {
    if (!text || !*text || *text == '-' || *text == '+') return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(text, &end, 10);
    if (errno != 0 || *end != '\0' || v > max) return false;
    out = v;
    return true;
}

bool parseSeconds(const char* text, double& out) {
    if (!text || !*text) return false;
    char* end = nullptr;
    double v = std::strtod(text, &end);
    if (*end != '\0' || !(v >= 0) || v > MAX_SECONDS) return false;
    out = v;
    return true;
}

}  // namespace

bool parseLoadOptions(int argc, const char* const* argv, LoadOptions& out, std::string& error) {
    LoadOptions o;
    for (int i = 1; i < argc; ++i) {
        const std::string opt = argv[i];
        if (opt == "--json") {
            o.json = true;
            continue;
        }
        const char* value = i + 1 < argc ? argv[++i] : nullptr;
        if (!value) {
            error = opt + ": needs a value";
            return false;
        }
        uint64_t n = 0;
        bool ok = true;
        if (opt == "--host") {
            o.host = value;
        } else if (opt == "--port") {
            ok = parseNumber(value, 65535, n) && n > 0;
            o.port = static_cast<uint16_t>(n);
        } else if (opt == "--op") {
            const std::string v = value;
            ok = v == "get" || v == "getnext" || v == "bulk";
            o.request.op = v == "bulk" ? Operation::GetBulk : v == "getnext" ? Operation::GetNext : Operation::Get;
        } else if (opt == "--oid") {
            o.request.oids.push_back(value);
        } else if (opt == "--version") {
            const std::string v = value;
            ok = v == "1" || v == "2c" || v == "3";
            o.request.version = v == "1" ? 0 : v == "3" ? 3 : 1;
        } else if (opt == "--user") {
            o.usm.user = value;
        } else if (opt == "--auth") {
            o.usm.auth = value;
            ok = o.usm.auth == "md5" || o.usm.auth == "sha";
        } else if (opt == "--auth-password") {
            o.usm.authPassword = value;
        } else if (opt == "--priv") {
            o.usm.priv = value;
            ok = o.usm.priv == "aes";
        } else if (opt == "--priv-password") {
            o.usm.privPassword = value;
        } else if (opt == "--community") {
            o.request.community = value;
        } else if (opt == "--non-repeaters") {
            ok = parseNumber(value, 0x7FFFFFFF, n);
            o.request.nonRepeaters = static_cast<uint32_t>(n);
        } else if (opt == "--max-repetitions") {
            ok = parseNumber(value, 0x7FFFFFFF, n);
            o.request.maxRepetitions = static_cast<uint32_t>(n);
        } else if (opt == "--window") {
            ok = parseNumber(value, MAX_WINDOW, n) && n >= 1;
            o.window = static_cast<unsigned>(n);
        } else if (opt == "--count") {
            ok = parseNumber(value, UINT64_MAX, o.count);
        } else if (opt == "--seconds") {
            ok = parseSeconds(value, o.seconds) && o.seconds > 0;
        } else if (opt == "--warmup") {
            ok = parseSeconds(value, o.warmup);
        } else if (opt == "--timeout-ms") {
            ok = parseNumber(value, 60000, n) && n >= 1;
            o.timeoutMs = static_cast<unsigned>(n);
        } else if (opt == "--label") {
            o.label = value;
        } else {
            error = "unknown option " + opt;
            return false;
        }
        if (!ok) {
            error = opt + ": bad value " + value;
            return false;
        }
    }
    if (o.port == 0) {
        error = "--port is required";
        return false;
    }
    if (o.request.oids.empty()) o.request.oids.push_back("1.3.6.1.2.1.1.1.0");
    if ((!o.usm.auth.empty() && o.usm.authPassword.empty()) ||
        (!o.usm.priv.empty() && (o.usm.auth.empty() || o.usm.privPassword.empty()))) {
        error = "--auth needs --auth-password; --priv needs --auth and --priv-password";
        return false;
    }
    sockaddr_storage addr;
    socklen_t len;
    if (!loopbackAddress(o.host, o.port, addr, len, error)) return false;
    out = o;
    return true;
}

}  // namespace load
