#include "mib/table.h"

#include "mib/table_provider.h"
#include "platform/log.h"

namespace snmp {

Table::~Table() = default;
TableProvider::~TableProvider() = default;

Data* CountProvider::get() {
    auto* d = new CountData;
    d->count = table->count();
    return d;
}

bool CountProvider::set(Data*) {
    LLOG(lm::errorLog()) << "CountProvider::set" << std::endl;
    return false;
}

}  // namespace snmp
