// Single-record data sources behind scalar leaves. Every request asks afresh: nothing is
// cached between requests.
#pragma once

#include <functional>

#include "mib/data.h"

namespace snmp {

class DataProvider {
public:
    explicit DataProvider(bool writable = true) : writable_(writable) {}
    virtual Data* get() = 0;         // a new record, or null when there is no data
    virtual bool set(Data* d) = 0;   // writes the record back to its owner
    virtual ~DataProvider();

    // False for sources that have no writer: a Set of their objects is refused as not
    // writable before anything of the request is written.
    bool writable() const { return writable_; }

private:
    bool writable_;
};

class SingleProvider : public DataProvider {
public:
    using DataProvider::DataProvider;
    Data* get() override { return getData(); }
    bool set(Data* d) override { return setData(d); }
    virtual Data* getData() = 0;
    virtual bool setData(Data* d) = 0;
};

// A record computed inside the agent; read-only.
class ProxyDataProvider : public DataProvider {
public:
    explicit ProxyDataProvider(std::function<Data*()> fn)
        : DataProvider(false), fn_(std::move(fn)) {}
    Data* get() override { return fn_(); }
    bool set(Data*) override { return false; }

private:
    std::function<Data*()> fn_;
};

}  // namespace snmp
