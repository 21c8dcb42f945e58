#include "bench/load/load_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace load {

namespace {

const char* opName(Operation op) {
    switch (op) {
        case Operation::Get: return "get";
        case Operation::GetNext: return "getnext";
        case Operation::GetBulk: return "bulk";
    }
    return "?";
}

double rate(const LoadResult& r) { return r.seconds > 0 ? static_cast<double>(r.replies) / r.seconds : 0; }
double bindingRate(const LoadResult& r) {
    return r.seconds > 0 ? static_cast<double>(r.bindings) / r.seconds : 0;
}
double perReply(const LoadResult& r, uint64_t n) {
    return r.replies ? static_cast<double>(n) / static_cast<double>(r.replies) : 0;
}

std::string jsonString(const std::string& s) {
    std::string out = "\"";
    for (char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += ch;
        }
    }
    return out + "\"";
}

}  // namespace

double percentileUs(std::vector<uint64_t>& ns, double p) {
    if (ns.empty()) return 0;
    std::sort(ns.begin(), ns.end());
    auto rank = static_cast<size_t>(std::ceil(p / 100.0 * static_cast<double>(ns.size())));
    rank = std::clamp<size_t>(rank, 1, ns.size());
    return static_cast<double>(ns[rank - 1]) / 1000.0;
}

std::string textLine(const LoadOptions& o, LoadResult& r) {
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "%s%s%s window %u: %.0f replies/s, %.0f bindings/s (%.1f a reply, %.1f exceptions), "
                  "median %.1f us, p99 %.1f us, %llu timeouts (%llu replies, %llu errors, %llu strays "
                  "in %.2f s)",
                  o.label.c_str(), o.label.empty() ? "" : ": ", opName(o.request.op), o.window, rate(r),
                  bindingRate(r), perReply(r, r.bindings), perReply(r, r.exceptions),
                  percentileUs(r.latenciesNs, 50), percentileUs(r.latenciesNs, 99),
                  static_cast<unsigned long long>(r.timeouts), static_cast<unsigned long long>(r.replies),
                  static_cast<unsigned long long>(r.errors), static_cast<unsigned long long>(r.strays),
                  r.seconds);
    return buf;
}

std::string jsonLine(const LoadOptions& o, LoadResult& r) {
    char buf[768];
    std::snprintf(buf, sizeof buf,
                  "\"op\": \"%s\", \"window\": %u, \"seconds\": %.3f, \"sent\": %llu, \"replies\": %llu, "
                  "\"rate\": %.1f, \"bindings\": %llu, \"exceptions\": %llu, \"binding_rate\": %.1f, "
                  "\"median_us\": %.1f, \"p99_us\": %.1f, \"timeouts\": %llu, "
                  "\"errors\": %llu, \"strays\": %llu, \"send_failures\": %llu, \"in_flight\": %llu}",
                  opName(o.request.op), o.window, r.seconds, static_cast<unsigned long long>(r.sent),
                  static_cast<unsigned long long>(r.replies), rate(r), static_cast<unsigned long long>(r.bindings),
                  static_cast<unsigned long long>(r.exceptions), bindingRate(r), percentileUs(r.latenciesNs, 50),
                  percentileUs(r.latenciesNs, 99), static_cast<unsigned long long>(r.timeouts),
                  static_cast<unsigned long long>(r.errors), static_cast<unsigned long long>(r.strays),
                  static_cast<unsigned long long>(r.sendFailures), static_cast<unsigned long long>(r.inFlight));
    return "{\"label\": " + jsonString(o.label) + ", " + buf;
}

}  // namespace load
