// Hot paths of the codec: reading a request, writing a reply, comparing names.
#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

#include "wire/in_stream.h"
#include "wire/out_stream.h"

namespace snmp {
namespace {

const OID ifEntry{1, 3, 6, 1, 2, 1, 2, 2, 1};

// A v2c GetBulk: one non-repeater and ten ifTable columns, as a walking manager sends.
std::vector<unsigned char> getBulkRequest() {
    OutStream out;
    out.startSeq(0x30);
    out.add(1u, 0x02);
    out.add(std::string("public"), 0x04);
    out.startSeq(0xA5);
    out.add(0x5EC0FFEEu, 0x02);
    out.add(1u, 0x02);
    out.add(10u, 0x02);
    out.startSeq(0x30);
    for (unsigned col = 1; col <= 11; ++col) {
        out.startSeq(0x30);
        out.addOID(col == 1 ? OID{1, 3, 6, 1, 2, 1, 1, 3, 0} : ifEntry + col + 1000u, 0x06);
        out.addNull(0x05);
        out.endSeq();
    }
    out.endSeq();
    out.endSeq();
    out.endSeq();
    return out.buffer();
}

void BM_DecodeGetBulk(benchmark::State& state) {
    const std::vector<unsigned char> msg = getBulkRequest();
    OID name;  // reused across bindings, as the request context does
    std::string community;
    for (auto _ : state) {
        InStream in(msg.data(), static_cast<unsigned>(msg.size()));
        int version = in.getVersion();
        in.getString(&community);
        unsigned char pdu = in.getType();
        in.enterSeq();
        unsigned int id, nonRepeaters, maxRepetitions;
        in.getInt(&id);
        in.getInt(&nonRepeaters);
        in.getInt(&maxRepetitions);
        in.enterSeq();
        unsigned count = 0;
        while (!in.atEnd()) {
            in.enterSeq();
            in.getOID(&name);
            in.getNull();
            in.exitSeq();
            ++count;
        }
        benchmark::DoNotOptimize(version);
        benchmark::DoNotOptimize(pdu);
        benchmark::DoNotOptimize(count);
        benchmark::DoNotOptimize(name);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * msg.size()));
}
BENCHMARK(BM_DecodeGetBulk);

// A Response of 50 bindings: ifTable cells, counters and a few strings.
void BM_EncodeReply50(benchmark::State& state) {
    std::vector<OID> names;
    for (unsigned i = 0; i < 50; ++i) names.push_back(ifEntry + (2u + i % 10) + (1u + i / 10));
    const std::string descr = "ethernet port 1";
    size_t bytes = 0;
    for (auto _ : state) {
        OutStream out;
        out.startSeq(0x30);
        out.add(1u, 0x02);
        out.add(std::string("public"), 0x04);
        out.startSeq(0xA2);
        out.add(0x5EC0FFEEu, 0x02);
        out.addErrorStatus(0);
        out.addErrorIndex(0);
        out.startSeq(0x30);
        for (unsigned i = 0; i < 50; ++i) {
            out.startSeq(0x30);
            out.addOID(names[i], 0x06);
            if (i % 10 == 0) {
                out.add(descr, 0x04);
            } else {
                out.add(0x9000000u + i * 7919u, 0x41);
            }
            out.endSeq();
        }
        out.endSeq();
        out.endSeq();
        out.endSeq();
        bytes = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["reply_octets"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeReply50);

// Two names that share a long prefix: the usual case inside one table.
void BM_OidCompare(benchmark::State& state) {
    const OID a = ifEntry + 10u + 17u;
    const OID b = ifEntry + 10u + 18u;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a < b);
        benchmark::DoNotOptimize(b < a);
    }
}
BENCHMARK(BM_OidCompare);

// The branch lookup every binding makes: greatest registered OID not above the name.
void BM_OidMapLookup(benchmark::State& state) {
    std::map<OID, int> branches;
    for (unsigned mib = 1; mib <= 50; ++mib) {
        for (unsigned leaf = 1; leaf <= 10; ++leaf) {
            branches[OID{1, 3, 6, 1, 2, 1, mib, leaf}] = 0;
            branches[OID{1, 3, 6, 1, 4, 1, 47392, mib, leaf}] = 0;
        }
    }
    const OID name = ifEntry + 10u + 17u;
    for (auto _ : state) {
        auto it = branches.upper_bound(name);
        benchmark::DoNotOptimize(--it);
    }
    state.counters["branches"] = static_cast<double>(branches.size());
}
BENCHMARK(BM_OidMapLookup);

}  // namespace
}  // namespace snmp
