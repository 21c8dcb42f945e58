#include "mib/data.h"

#include "mib/data_provider.h"

namespace snmp {

Data::~Data() = default;
void Data::toMessage(lm::message&) const {}

VData::~VData() {
    for (Data* row : rows) delete row;
}

DataProvider::~DataProvider() = default;

}  // namespace snmp
