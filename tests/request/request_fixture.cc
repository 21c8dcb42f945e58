#include "request_fixture.h"

#include <cstdlib>
#include <filesystem>

#include "mib/branch.h"
#include "mib/packers.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "wire/out_stream.h"

namespace reqtest {

using snmp::OID;

MemoryProvider& contactProvider() {
    static MemoryProvider* p = new MemoryProvider;
    return *p;
}

void registerTestMib() {
    static bool done = false;
    if (done) return;
    done = true;
    snmp::addScalarConstStringLeaf(OID("1.3.6.1.2.1.1.1"), "lumo test agent", 0x04);
    snmp::addScalarConstOIDLeaf(OID("1.3.6.1.2.1.1.2"), OID("1.3.6.1.4.1.47392.1"), 0x06);
    snmp::addScalarConstNumLeaf(OID("1.3.6.1.2.1.1.3"), 12345, 0x43);
    contactProvider().stored.text = "noc";
    snmp::addScalarLeaf(OID("1.3.6.1.2.1.1.4"),
                        new snmp::DataStringPacker(&TextRecord::text, 0x04), &contactProvider());
    snmp::addScalarConstNumLeaf(OID("1.3.6.1.2.1.1.7"), 72, 0x02);
    snmp::addScalarLeaf(OID("1.3.6.1.4.1.99.1"),
                        new snmp::DataNumPacker(&TextRecord::number, 0x42), new NoDataProvider);
    snmp::addScalarConstNumLeaf(OID("1.3.6.1.4.1.99.2"), 5, 0x02);
    snmp::addScalarLeaf(OID("1.3.6.1.4.1.99.3"), new snmp::ConstBignumPacker(1ull << 40, 0x46),
                        nullptr);
    snmp::addScalarLeaf(OID("1.3.6.1.4.1.99.4"),
                        new snmp::DataNumPacker(&TextRecord::number, 0x02), new RefusingProvider);
}

namespace {

snmp::Item* addRecord(snmp::CommunityKeep& keep, uint32_t id, const std::string& name,
                      bool write, uint32_t level, const std::string& prefix) {
    auto* item = new snmp::Item;
    item->name = name;
    item->writeAccess = write;
    item->securityLevel = level;
    lm::IPPrefix6 p;
    EXPECT_TRUE(lm::IPPrefix6::parse(prefix, p)) << prefix;
    item->addresses = {p};
    item->id = id;
    EXPECT_TRUE(keep.allocator().request(id));
    EXPECT_TRUE(keep.insert(item));
    return item;
}

}  // namespace

void RequestTest::SetUp() {
    char tmpl[] = "/tmp/lumo-request-XXXXXX";
    root_ = mkdtemp(tmpl);
    setenv("LUMO_ROOT", root_.c_str(), 1);
    keep_ = std::make_unique<snmp::CommunityKeep>();
    ASSERT_TRUE(keep_->init());
    addRecord(*keep_, 1, "private", true, 0, "127.0.0.0/8");
    addRecord(*keep_, 2, "secure", true, 1, "0.0.0.0/0");
    addRecord(*keep_, 3, "lan", false, 0, "10.0.0.0/255.0.0.0");
    addRecord(*keep_, 4, "six", false, 0, "::1/128");
    addRecord(*keep_, 5, longCommunity_, false, 0, "127.0.0.0/8");
    registerTestMib();
    contactProvider().stored.text = "noc";
    contactProvider().writes = 0;
}

void RequestTest::TearDown() {
    keep_.reset();
    std::filesystem::remove_all(root_);
}

bertest::Bytes RequestTest::answer(const bertest::Bytes& request, const std::string& source) {
    snmp::OutStream out;
    snmp::Context ctx(request.data(), static_cast<unsigned>(request.size()), out);
    lm::IPAddr6 peer;
    EXPECT_TRUE(lm::IPAddr6::parse(source, peer));
    if (!snmp::createReply(ctx, peer)) return {};
    return bertest::Bytes(out.data(), out.data() + out.size());
}

}  // namespace reqtest
