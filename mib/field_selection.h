// The fields a table query reads. A columnar branch whose columns are fields of the
// service's objects (declareTable) sets a selection around each query of its table;
// GetAllProvider sends the current selection with every get-all it builds as the caller's
// field list (0x88FE001E, docs/platform.md "Get-all paging"), so the service encodes, and
// the agent decodes, only those fields. Without a selection get-all asks for whole objects.
// The agent has one thread, so there is one current selection; they nest.
#pragma once

#include <cstdint>
#include <vector>

namespace snmp {

class FieldSelection {
public:
    // fields: the field numbers to ask for; null asks for whole objects.
    explicit FieldSelection(const std::vector<uint32_t>* fields);
    ~FieldSelection();
    FieldSelection(const FieldSelection&) = delete;
    FieldSelection& operator=(const FieldSelection&) = delete;

    // The innermost selection alive, or null.
    static const std::vector<uint32_t>* current();

private:
    const std::vector<uint32_t>* previous_;
};

}  // namespace snmp
