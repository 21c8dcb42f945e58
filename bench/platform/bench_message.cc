// Message codec cost for the shapes the agent handles most: one interface object, and a
// get-all reply page of 100 of them.
#include <benchmark/benchmark.h>

#include "platform/bus.h"
#include "platform/message.h"

namespace {

// About twenty fields, as an interface object from the host services carries.
lm::message interfaceObject(uint32_t id) {
    lm::message m;
    m.setU32(lm::key::OBJECT_ID, id);
    m.setString(0x010001, "eth" + std::to_string(id));
    m.setString(0x010002, "uplink port " + std::to_string(id));
    m.setU32(0x010003, 0x500);
    m.setU32(0x010004, 6);
    m.setU32(0x010005, 1500);
    m.setU64(0x010006, 1000000000);
    m.setRaw(0x010007, {0x02, 0x00, 0x5e, 0x10, 0x00, uint8_t(id)});
    for (uint32_t c = 0; c < 8; ++c) m.setU64(0x010010 + c, 1234567890123ull * (c + 1) + id);
    m.setU32(0x010020, 17);
    m.setBool(0x010021, true);
    lm::IPAddr6 a;
    lm::IPAddr6::parse("10.0.0.1", a);
    m.setIP6(0x010022, a);
    m.setU32Array(0x010023, {1, 2, 3});
    return m;
}

lm::message getAllReply(uint32_t count) {
    lm::message m;
    m.setBool(lm::key::IS_REPLY, true).setU32(lm::key::SEQ, 42);
    std::vector<lm::message> objects;
    std::vector<uint32_t> positions;
    for (uint32_t i = 1; i <= count; ++i) {
        objects.push_back(interfaceObject(i));
        positions.push_back(i - 1);
    }
    m.setMsgArray(lm::key::OBJECTS, std::move(objects));
    m.setU32Array(lm::key::POSITION, std::move(positions));
    m.setU32(lm::key::START, count);
    return m;
}

void encodeBench(benchmark::State& state, const lm::message& m) {
    lm::bytes out;
    for (auto _ : state) {
        out.clear();  // reused buffer, as a bus writer would
        m.encode(out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}

void decodeBench(benchmark::State& state, const lm::message& m) {
    const lm::bytes in = m.encode();
    for (auto _ : state) {
        lm::message back;
        if (!lm::message::decode(in.data(), in.size(), back)) state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(back);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

void BM_EncodeInterface(benchmark::State& s) { encodeBench(s, interfaceObject(7)); }
void BM_DecodeInterface(benchmark::State& s) { decodeBench(s, interfaceObject(7)); }
void BM_EncodeGetAll100(benchmark::State& s) { encodeBench(s, getAllReply(100)); }
void BM_DecodeGetAll100(benchmark::State& s) { decodeBench(s, getAllReply(100)); }

// Reading fields of a decoded object, as value packers do for each column.
void BM_ReadInterfaceFields(benchmark::State& state) {
    const lm::message m = interfaceObject(7);
    for (auto _ : state) {
        uint64_t sum = m.getU32(lm::key::OBJECT_ID) + m.getU32(0x010020) + m.getU64(0x010017);
        const std::string* name = m.findString(0x010001);
        benchmark::DoNotOptimize(sum);
        benchmark::DoNotOptimize(name);
    }
}

BENCHMARK(BM_EncodeInterface);
BENCHMARK(BM_DecodeInterface);
BENCHMARK(BM_EncodeGetAll100);
BENCHMARK(BM_DecodeGetAll100);
BENCHMARK(BM_ReadInterfaceFields);

}  // namespace
