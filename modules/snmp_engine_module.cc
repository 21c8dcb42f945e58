// The SNMP engine group (1.3.6.1.6.3.10.2.1, SNMP-FRAMEWORK-MIB) and the user-based
// security statistics (1.3.6.1.6.3.15.1.1, SNMP-USER-BASED-SM-MIB): read-only scalars that
// managers read to learn the engine and to see why their requests were refused.
#include <memory>

#include "mib/branch.h"
#include "mib/data_provider.h"
#include "mib/packers.h"
#include "modules/modules.h"
#include "request/context.h"
#include "request/local_engine.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

struct EngineRecord : Data {
    Octets id;
    unsigned boots = 0;
    unsigned time = 0;
    unsigned maxMessageSize = MAX_REPLY_SIZE;
    unsigned counters[V3_ERROR_KINDS] = {};
};

Data* engineNow() {
    const LocalEngine& engine = localEngine();
    auto record = std::make_unique<EngineRecord>();
    record->id = engine.info.engineId;
    record->boots = engine.info.engineBoots;
    record->time = engine.engineTime();
    for (int k = 0; k < V3_ERROR_KINDS; ++k) record->counters[k] = Context::v3counters[k];
    return record.release();
}

// One packer per usmStats counter: the record's array has no member pointer per element.
class CounterPacker : public NumPacker {
public:
    explicit CounterPacker(int kind) : NumPacker(tag::COUNTER32), kind_(kind) {}
    unsigned get(const Data* d) const override {
        return static_cast<const EngineRecord*>(d)->counters[kind_];
    }
    void set(Data*, const unsigned&) override {}

private:
    int kind_;
};

}  // namespace

void start_snmp_engine_module() {
    auto* provider = new ProxyDataProvider(engineNow);
    const OID engine("1.3.6.1.6.3.10.2.1");
    addScalarLeaf(engine + 1u, new DataRawPacker(&EngineRecord::id, tag::OCTET_STRING), provider);
    addScalarLeaf(engine + 2u, new DataNumPacker(&EngineRecord::boots, tag::INTEGER), provider);
    addScalarLeaf(engine + 3u, new DataNumPacker(&EngineRecord::time, tag::INTEGER), provider);
    addScalarLeaf(engine + 4u, new DataNumPacker(&EngineRecord::maxMessageSize, tag::INTEGER),
                  provider);
    const OID usmStats("1.3.6.1.6.3.15.1.1");
    for (int kind = 0; kind < V3_ERROR_KINDS; ++kind)
        addScalarLeaf(usmStats + static_cast<unsigned>(kind + 1), new CounterPacker(kind),
                      provider);
}

}  // namespace snmp
