// Single-record providers that ask a service over the bus: GetProvider gets (and sets) one
// object with the commands it is given; GetFirstProvider takes the first object of a
// service's list that its builder accepts.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "mib/data_provider.h"
#include "platform/message.h"

namespace snmp {

// Turns a reply (or one object of it) into a record; null when it holds nothing usable.
using Builder = std::function<Data*(const lm::message&)>;

class GetProvider : public SingleProvider {
public:
    // parameter travels as the request's flags field 0xFE000C.
    GetProvider(Builder builder, std::vector<uint32_t> path, uint32_t getCommand,
                uint32_t setCommand, uint32_t parameter);

    // The builder sees the whole reply; on a failed exchange it is called with an empty
    // message, so a module decides itself what "no answer" looks like.
    Data* getData() override;
    // The record's fields (Data::toMessage) with setCommand; true when not an error.
    bool setData(Data* d) override;

    std::vector<uint32_t> path;
    uint32_t getCommand;
    uint32_t setCommand;
    Builder builder;
    uint32_t parameter;
};

class GetFirstProvider : public SingleProvider {
public:
    GetFirstProvider(Builder builder, std::vector<uint32_t> path);

    // Pages through the list one object at a time until the builder accepts one; null on
    // an error or when the list ends first.
    Data* getData() override;
    bool setData(Data*) override { return false; }  // read-only
    // The object id of the first accepted object, or -1 when there is none.
    int32_t getFirstObjId();

    std::vector<uint32_t> path;
    Builder builder;
    int32_t firstObjId = -1;
};

}  // namespace snmp
