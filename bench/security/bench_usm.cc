// Costs of the USM work: key derivation (per password, on every engine-id or record change)
// and, per authenticated request, the HMAC and the privacy cipher over a full-size message.
#include <benchmark/benchmark.h>

#include "security/usm_crypto.h"

namespace snmp {
namespace {

const Octets ENGINE = {0x80, 0x00, 0xB9, 0x20, 0x04, 'r', 'o', 'u', 't', 'e', 'r'};
constexpr size_t MESSAGE_SIZE = 1500;

void BM_PasswordToLocalisedKey(benchmark::State& state) {
    uint32_t protocol = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        Octets key = aKeyToBKey(passwordToAKey("maplesyrup", protocol), ENGINE, protocol);
        benchmark::DoNotOptimize(key.data());
    }
    state.SetLabel(protocol == 0 ? "MD5" : "SHA-1");
}
BENCHMARK(BM_PasswordToLocalisedKey)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_DigestMessage(benchmark::State& state) {
    uint32_t protocol = static_cast<uint32_t>(state.range(0));
    Octets pads = bKeyToDKey(aKeyToBKey(passwordToAKey("maplesyrup", protocol), ENGINE, protocol));
    Octets msg(MESSAGE_SIZE, 0x30), mac;
    for (auto _ : state) {
        digestMessage(mac, msg, pads, 60, 12, protocol);
        benchmark::DoNotOptimize(mac.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * MESSAGE_SIZE);
    state.SetLabel(protocol == 0 ? "HMAC-MD5" : "HMAC-SHA-1");
}
BENCHMARK(BM_DigestMessage)->Arg(0)->Arg(1);

void BM_CryptScopedPdu(benchmark::State& state) {
    uint32_t protocol = static_cast<uint32_t>(state.range(0));
    bool encrypt = state.range(1) != 0;
    V3Info info;
    info.msgAuthoritativeEngineBoots = 3;
    info.msgAuthoritativeEngineTime = 12345;
    info.msgPrivacyParameters = {1, 2, 3, 4, 5, 6, 7, 8};
    Octets key = aKeyToBKey(passwordToAKey("privsyrup", 1u), ENGINE, 1u);
    Octets in(1504, 0x05), out(in.size());  // 1,500 bytes padded to both block steps
    for (auto _ : state) {
        bool ok = cryptMessage(info, key, in.data(), out.data(), in.size(), protocol, encrypt);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * in.size());
    state.SetLabel(std::string(protocol == 0 ? "DES-CBC" : "AES-128-CFB") +
                   (encrypt ? " encrypt" : " decrypt"));
}
BENCHMARK(BM_CryptScopedPdu)->Args({0, 1})->Args({0, 0})->Args({1, 1})->Args({1, 0});

}  // namespace
}  // namespace snmp
