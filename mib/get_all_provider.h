// Table providers that page through a service's object list with get-all (0xFE0004), as
// the paging contract in docs/platform.md describes: objects in ascending object id order,
// a walk started by position (taken from an earlier reply) or by object id, the start
// object included so that the provider can check it is the row it named before skipping
// it. GetAllMultiProvider joins several lists (bus services or lists computed in the agent)
// into one table, in the order of their masks. Within a FieldSelection (mib/field_selection.h)
// every get-all carries the selection as its field list.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "mib/table_provider.h"
#include "platform/message.h"

namespace snmp {

class GetAllProvider : public TableProvider {
public:
    // Appends the rows one object gives (any number); the last one appended is the row
    // that names the object's place in the table. The object is the provider's own, read
    // by nothing after the builder: a builder may take its fields instead of copying them
    // (builders that take a const reference work as well).
    using ListBuilder = std::function<void(lm::message& object, VData& rows)>;
    // One row per object, or null to leave the object out; the object as above.
    using RowBuilder = std::function<Data*(lm::message& object, VData& rows)>;
    // A list computed in the agent: rows after key (null: from the start), at most n, into
    // result (null: a new list), or, with row set, a write of that row.
    using LocalSource = std::function<VData*(Key* key, unsigned n, VData* result, Data* row)>;

    struct Source {
        std::vector<uint32_t> path;
        ListBuilder listBuilder;
        RowBuilder rowBuilder;
        uint32_t parameter = 0;  // sent as the flags field 0xFE000C
        uint32_t mask = 0;       // multi providers: the bits of a row id that select this source
        LocalSource localSource;
    };

    GetAllProvider() = default;
    GetAllProvider(RowBuilder rowBuilder, std::vector<uint32_t> path, uint32_t parameter = 0);
    GetAllProvider(ListBuilder listBuilder, std::vector<uint32_t> path, uint32_t parameter = 0);

    bool setData(Data* row, MapTable* table) override;
    VData* getData(const Key& key, const MapTable* table, unsigned n) override;
    VData* getFirst(unsigned n, const MapTable* table) override;
    bool getCountCMD(unsigned& count) override;
    virtual VData* getFirst(unsigned n, const MapTable* table, Source& source, VData* result);
    // The row named by key (n = 0) or up to n rows after it, appended to result (null: a
    // new list, owned by the caller). Null only when the service refused a non-empty key.
    virtual VData* getData(const Key& key, const MapTable* table, Source& source, unsigned n,
                           VData* result);

    void setSource(RowBuilder rowBuilder, std::vector<uint32_t> path, uint32_t parameter);
    void setSource(ListBuilder listBuilder, std::vector<uint32_t> path, uint32_t parameter);

    Source source;

protected:
    static bool countOf(const Source& source, unsigned& count);
    static bool write(const Source& source, Data* row);
};

class GetAllMultiProvider : public GetAllProvider {
public:
    bool setData(Data* row, MapTable* table) override;
    VData* getData(const Key& key, const MapTable* table, unsigned n) override;
    VData* getFirst(unsigned n, const MapTable* table) override;
    bool getCountCMD(unsigned& count) override;
    using GetAllProvider::getData;
    using GetAllProvider::getFirst;

    // Sources are kept in ascending mask order; equal masks keep the order of addition.
    void addSource(ListBuilder listBuilder, std::vector<uint32_t> path, uint32_t parameter,
                   uint32_t mask);
    void addSource(LocalSource localSource, uint32_t mask);

    std::vector<Source> sources;

private:
    void insert(Source s);
};

}  // namespace snmp
