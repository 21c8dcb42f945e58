// The virtual machines hosted by the router, as the VM table of enterprise 6876's MIB
// (1.3.6.1.4.1.6876.2.1.1): full virtual machines from [112, 1] and nestling instances from
// [109, 1] merged into one table. A guest's row index is its object id with its source's
// mask, so a full machine and a nestling instance with the same id have rows of their own.
#include <cstdint>
#include <iterator>
#include <string>

#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/get_all_provider.h"
#include "mib/packers.h"
#include "mib/table.h"
#include "modules/modules.h"
#include "platform/bus.h"
#include "platform/services.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

const OID VM_ENTRY("1.3.6.1.4.1.6876.2.1.1");
constexpr uint32_t GUEST_LIST_FLAGS = 5;
constexpr uint32_t FULL_MASK = 0x20000, NESTLING_MASK = 0x10000;

namespace key {  // fields of the guests' objects
constexpr uint32_t NAME = 0x20FE0010;
constexpr uint32_t CONFIGURATION = 0x20FE0009;
constexpr uint32_t FULL_STATE = 0x08000005;
constexpr uint32_t FULL_PROCESSORS = 0x08000006;
constexpr uint32_t FULL_MEMORY = 0x08000007;
constexpr uint32_t DESCRIPTION_PARTS[] = {0x20000002, 0x20000003, 0x20000004};
constexpr uint32_t SNAPSHOT = 12;  // bool
constexpr uint32_t NESTLING_MEMORY = 0x08000001;
constexpr uint32_t NESTLING_STATE = 0x08000002;
}  // namespace key

const char* const FULL_STATES[] = {
    "invalid",          "stopping",           "stopped",           "starting",
    "running",          "restarting",         "failed",            "error image busy",
    "error no kernel",  "error no disk image", "error unsupported cpu",
    "error vnc can't bind", "error extract failed"};
const char* const NESTLING_STATES[] = {"disabled",  "stopped",      "booting",  "running",
                                       "rebooting", "shuttingdown", "importing"};

template <size_t N>
const char* stateText(const char* const (&texts)[N], uint32_t state) {
    return state < N ? texts[state] : "unknown";
}

struct VmRecord : Data {
    unsigned index = 0;
    unsigned memory = 0;
    unsigned processors = 0;
    std::string name, description, configuration, state;
};

void endWithBlank(std::string& text) {
    if (!text.empty() && text.back() != ' ') text += ' ';
}

// The three description parts joined by single blanks, then the snapshot mark. A guest
// without the mark keeps the trailing blank, as managers have always been shown it.
std::string describe(const lm::message& o) {
    std::string text = o.getString(key::DESCRIPTION_PARTS[0]);
    for (size_t i = 1; i < std::size(key::DESCRIPTION_PARTS); ++i) {
        endWithBlank(text);
        text += o.getString(key::DESCRIPTION_PARTS[i]);
    }
    endWithBlank(text);
    if (o.getBool(key::SNAPSHOT)) text += "[snapshot]";
    return text;
}

uint32_t objectIdOf(const lm::message& o) { return o.getU32(lm::key::OBJECT_ID, 0xFFFFFFFF); }

void buildFullMachine(const lm::message& o, VData& rows) {
    auto* r = new VmRecord;
    r->index = objectIdOf(o) | FULL_MASK;
    r->name = o.getString(key::NAME);
    r->memory = o.getU32(key::FULL_MEMORY);
    r->processors = o.getU32(key::FULL_PROCESSORS);
    r->configuration = o.getString(key::CONFIGURATION);
    r->description = describe(o);
    r->state = stateText(FULL_STATES, o.getU32(key::FULL_STATE));
    rows.rows.push_back(r);
}

void buildNestling(const lm::message& o, VData& rows) {
    auto* r = new VmRecord;
    r->index = objectIdOf(o) | NESTLING_MASK;
    r->name = o.getString(key::NAME);
    r->memory = o.getU32(key::NESTLING_MEMORY);
    r->processors = 1;
    r->configuration = o.getString(key::CONFIGURATION);
    r->description = "nestling";
    r->state = stateText(NESTLING_STATES, o.getU32(key::NESTLING_STATE));
    rows.rows.push_back(r);
}

}  // namespace

void start_vm_module() {
    auto* provider = new GetAllMultiProvider;
    provider->addSource(buildFullMachine, {lm::service::FULL_GUESTS_PROGRAM, lm::service::GUESTS_HANDLER}, GUEST_LIST_FLAGS, FULL_MASK);
    provider->addSource(buildNestling, {lm::service::NESTLING_GUESTS_PROGRAM, lm::service::GUESTS_HANDLER}, GUEST_LIST_FLAGS,
                        NESTLING_MASK);
    auto* table = new MapTable(provider);
    table->addIndex(new DataNumPacker(&VmRecord::index, tag::INTEGER), lm::key::OBJECT_ID);
    ColumnarBranch* t = addColumnarBranch(VM_ENTRY, table);
    constexpr bool RO = false;
    t->addLeaf(2, new DataStringPacker(&VmRecord::name, tag::OCTET_STRING), RO);
    t->addLeaf(3, new DataStringPacker(&VmRecord::description, tag::OCTET_STRING), RO);
    t->addLeaf(4, new DataStringPacker(&VmRecord::configuration, tag::OCTET_STRING), RO);
    t->addLeaf(5, new DataNumPacker(&VmRecord::memory, tag::INTEGER), RO);
    t->addLeaf(6, new DataStringPacker(&VmRecord::state, tag::OCTET_STRING), RO);
    t->addLeaf(9, new DataNumPacker(&VmRecord::processors, tag::INTEGER), RO);
}

}  // namespace snmp
