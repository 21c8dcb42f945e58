// createReply on whole datagrams: a v2c Get of one scalar and a GetBulk of 50 repetitions
// over scalars, with the community check, dispatch and reply encoding included.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <vector>

#include "mib/branch.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "security/community_keep.h"
#include "wire/out_stream.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes tlv(unsigned char tag, const Bytes& body) {
    Bytes out{tag};
    if (body.size() >= 128) out.push_back(0x81);
    out.push_back(static_cast<unsigned char>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes request(unsigned char pdu, unsigned char nonRepeaters, unsigned char maxReps, const Bytes& name) {
    Bytes binding = tlv(0x30, [&] { Bytes b = name; b.push_back(0x05); b.push_back(0); return b; }());
    Bytes fields = {0x02, 0x04, 0x12, 0x34, 0x56, 0x78, 0x02, 0x01, nonRepeaters, 0x02, 0x01, maxReps};
    fields.insert(fields.end(), binding.begin(), binding.end());
    Bytes body = {0x02, 0x01, 0x01, 0x04, 0x06, 'p', 'u', 'b', 'l', 'i', 'c'};
    // The binding list wraps the one binding.
    Bytes list = tlv(0x30, binding);
    Bytes pduBody(fields.begin(), fields.end() - static_cast<long>(binding.size()));
    pduBody.insert(pduBody.end(), list.begin(), list.end());
    Bytes p = tlv(pdu, pduBody);
    body.insert(body.end(), p.begin(), p.end());
    return tlv(0x30, body);
}

struct Setup {
    Setup() {
        char tmpl[] = "/tmp/lumo-bench-XXXXXX";
        root = mkdtemp(tmpl);
        setenv("LUMO_ROOT", root.c_str(), 1);
        std::cerr.setstate(std::ios::failbit);  // registration logs one line per branch
        keep = new snmp::CommunityKeep;
        keep->init();
        snmp::addScalarConstStringLeaf(snmp::OID("1.3.6.1.2.1.1.1"), "lumo router", 0x04);
        for (unsigned i = 1; i <= 60; ++i)
            snmp::addScalarConstNumLeaf(snmp::OID("1.3.6.1.4.1.47392.99") + i, static_cast<int>(i), 0x41);
        std::cerr.clear();
    }
    ~Setup() { std::filesystem::remove_all(root); }
    std::string root;
    snmp::CommunityKeep* keep;
};

Setup& setup() {
    static Setup s;
    return s;
}

void run(benchmark::State& state, const Bytes& req) {
    setup();
    lm::IPAddr6 peer;
    lm::IPAddr6::parse("127.0.0.1", peer);
    size_t bytes = 0;
    for (auto _ : state) {
        snmp::OutStream out;
        snmp::Context ctx(req.data(), static_cast<unsigned>(req.size()), out);
        if (!snmp::createReply(ctx, peer)) state.SkipWithError("request dropped");
        bytes = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["reply_octets"] = static_cast<double>(bytes);
}

void BM_CreateReplyGetOneScalar(benchmark::State& state) {
    // 1.3.6.1.2.1.1.1.0
    run(state, request(0xA0, 0, 0, {0x06, 0x08, 0x2b, 6, 1, 2, 1, 1, 1, 0}));
}
BENCHMARK(BM_CreateReplyGetOneScalar);

void BM_CreateReplyGetBulk50Scalars(benchmark::State& state) {
    // 1.3.6.1.4.1.47392.99
    run(state, request(0xA5, 0, 50, {0x06, 0x09, 0x2b, 6, 1, 4, 1, 0x82, 0xf2, 0x20 /*47392*/, 99}));
}
BENCHMARK(BM_CreateReplyGetBulk50Scalars);

}  // namespace

BENCHMARK_MAIN();
