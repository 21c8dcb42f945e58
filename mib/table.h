// Tables: the row sources behind columnar branches. A table turns the row part of an OID
// into a key, fetches rows by key, after a key or from the start, computes a row's index
// suffix, writes rows back and counts them. Every row query returns a new VData owned by
// the caller, or null.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "mib/data.h"
#include "mib/data_provider.h"
#include "mib/key.h"
#include "wire/oid.h"

namespace snmp {

class Packer;
class TableProvider;

class Table {
public:
    virtual VData* get(const Key& key) = 0;                     // the row with this key
    virtual VData* getNext(const Key& key, unsigned n) = 0;     // up to n rows after it
    virtual VData* getFirst(unsigned n) = 0;                    // up to n rows from the start
    virtual bool set(const OID& oid, Data* row) = 0;            // writes a row back
    virtual unsigned count() = 0;
    virtual OID getKey(const Data* row) const = 0;              // the row's index suffix
    virtual Key createKey(const OID& oid, bool strict) const = 0;
    virtual ~Table();
};

// Rows from a table provider that queries a service on the bus; the index is made of one
// or more index packers, each with the bus key of its field.
class MapTable : public Table {
public:
    explicit MapTable(TableProvider* provider, bool nestedStdKey = false);

    VData* get(const Key& key) override;
    VData* getNext(const Key& key, unsigned n) override;
    VData* getFirst(unsigned n) override;
    bool set(const OID& oid, Data* row) override;
    unsigned count() override;
    OID getKey(const Data* row) const override;
    // Strict: an incomplete index gives a bad key. Relaxed: the partial key is kept and
    // marked (field 0xFE0007), so the service can start a walk from it.
    Key createKey(const OID& oid, bool strict) const override;
    ~MapTable() override;

    // Index components in the order they appear in the OID suffix.
    virtual void addIndex(Packer* packer, unsigned key);
    // Takes the index values off a copy of oid into m; false when one is missing or bad.
    virtual bool addKeyToMessage(const OID& oid, lm::message& m) const;
    // The row's index values into m (cleared first).
    virtual void addKeyToMessage(const Data* row, lm::message& m) const;

    // One index with the platform's object id as its bus key: rows are addressed by number.
    bool hasStdKey() const;

    std::vector<std::pair<Packer*, unsigned>> indexes;
    TableProvider* provider;
    bool nestedStdKey;
};

// Every record served through a StaticMuxTable starts with its row number, which the table
// fills in from the first arc of the provider's OID (its low 8 bits).
struct MuxData : Data {
    uint8_t rowNumber = 0;
};

// A fixed set of rows, one single-record provider per row number.
class StaticMuxTable : public Table {
public:
    VData* get(const Key& key) override;
    VData* getNext(const Key& key, unsigned n) override;
    VData* getFirst(unsigned n) override;
    bool set(const OID& oid, Data* row) override;
    unsigned count() override;
    OID getKey(const Data* row) const override;
    Key createKey(const OID& oid, bool strict) const override;
    ~StaticMuxTable() override;

    // Inserts or replaces the provider of a row; its records must derive from MuxData.
    virtual void addProvider(const OID& oid, DataProvider* provider);

    std::map<OID, DataProvider*> providers;

private:
    VData* rowsFrom(std::map<OID, DataProvider*>::iterator it, unsigned n);
};

// A table's row count as a scalar value (read-only).
struct CountData : Data {
    unsigned count = 0;
};

class CountProvider : public DataProvider {
public:
    explicit CountProvider(Table* t) : DataProvider(false), table(t) {}
    Data* get() override;
    bool set(Data*) override;
    Table* table;
};

}  // namespace snmp
