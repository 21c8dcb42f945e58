// Records that data providers return: a Data is one bus object turned into fields a packer
// can reach; a VData holds a list of rows. Whoever receives a record owns it.
#pragma once

#include <vector>

#include "platform/message.h"

namespace snmp {

class Data {
public:
    virtual ~Data();
    // Writes the record's fields into a bus message for a write to the owning service.
    virtual void toMessage(lm::message& out) const;
};

class VData : public Data {
public:
    VData() = default;
    VData(const VData&) = delete;
    VData& operator=(const VData&) = delete;
    ~VData() override;  // destroys every non-null row

    std::vector<Data*> rows;
    bool empty() const { return rows.empty(); }
    size_t size() const { return rows.size(); }
};

}  // namespace snmp
