#include "mib/field_selection.h"

namespace snmp {

namespace {
const std::vector<uint32_t>* currentFields = nullptr;
}  // namespace

FieldSelection::FieldSelection(const std::vector<uint32_t>* fields) : previous_(currentFields) {
    currentFields = fields;
}

FieldSelection::~FieldSelection() {
    currentFields = previous_;
}

const std::vector<uint32_t>* FieldSelection::current() {
    return currentFields;
}

}  // namespace snmp
