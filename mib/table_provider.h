// Table providers: where a MapTable's rows come from. They page through a service's object
// list over the bus (see mib/get_all_provider.h) and turn each object into a row.
#pragma once

#include "mib/data.h"
#include "mib/key.h"

namespace snmp {

class MapTable;

class TableProvider {
public:
    virtual ~TableProvider();
    virtual bool setData(Data* row, MapTable* table) = 0;
    // The row with this key (n = 0), or up to n rows after it.
    virtual VData* getData(const Key& key, const MapTable* table, unsigned n) = 0;
    virtual VData* getFirst(unsigned n, const MapTable* table) = 0;
    virtual bool getCountCMD(unsigned& count) = 0;
};

}  // namespace snmp
