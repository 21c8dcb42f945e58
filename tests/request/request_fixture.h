// Shared set-up for the request-path tests: a fresh community store under a temporary
// LUMO_ROOT, a few records, and an in-process MIB of constant and provider-backed scalars.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ber_build.h"
#include "mib/data_provider.h"
#include "security/community_keep.h"

namespace reqtest {

// A writable record kept in memory, standing in for a service on the bus.
struct TextRecord : snmp::Data {
    std::string text;
    unsigned number = 0;
};

class MemoryProvider : public snmp::SingleProvider {
public:
    TextRecord stored;
    int writes = 0;
    snmp::Data* getData() override { return new TextRecord(stored); }
    bool setData(snmp::Data* d) override {
        stored = *static_cast<TextRecord*>(d);
        ++writes;
        return true;
    }
};

// Has a record, but every write to it fails (a service that refuses the change).
class RefusingProvider : public snmp::SingleProvider {
public:
    snmp::Data* getData() override { return new TextRecord; }
    bool setData(snmp::Data*) override { return false; }
};

class NoDataProvider : public snmp::SingleProvider {
public:
    snmp::Data* getData() override { return nullptr; }
    bool setData(snmp::Data*) override { return false; }
};

// Process-wide: the MIB registry never shrinks, so it is filled once. In name order:
// sysDescr, sysObjectID, sysUpTime (constants), sysContact (writable, in memory),
// sysServices (constant); 99.1 (no data), 99.2 (constant 5), 99.3 (Counter64 constant),
// 99.4 (writable, every write refused) under 1.3.6.1.4.1.
MemoryProvider& contactProvider();
void registerTestMib();

class RequestTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Runs one datagram through createReply from the given source; empty when dropped.
    bertest::Bytes answer(const bertest::Bytes& request, const std::string& source = "127.0.0.1");

    std::string root_;
    std::unique_ptr<snmp::CommunityKeep> keep_;
    // A read-only community of 250 octets: the reply's header is longer than 255 octets.
    const std::string longCommunity_ = std::string(250, 'r');
};

}  // namespace reqtest
