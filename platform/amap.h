// AMap: an object-map handler over a Store and an Allocator. It loads every stored object
// at init() through create() and setConfig(), and serves add, set (object set), remove,
// get, get-all (paged) and count. Before it accepts a change it asks the hooks doAdd,
// doSet, doRemove: an empty reply accepts, an error reply refuses and is returned to the
// caller with the store left as it was. Accepted objects are persisted under their ids.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/looper.h"
#include "platform/store.h"

namespace lm {

class AMapItem {
public:
    uint32_t id = 0xFFFFFFFF;

    virtual ~AMapItem();
    virtual bool isValid() const { return true; }
    virtual bool isVisible() const { return true; }
    virtual bool isStorable() const { return isValid(); }
    virtual const char* typeName() const = 0;
    virtual void getConfig(message& out, unsigned flags) const = 0;
    virtual void setConfig(const message& in, unsigned flags) = 0;
    virtual AMapItem* clone() const = 0;
};

class AMap : public Handler {
public:
    // storePath is a logical path ("/lumo/store/snmp-communities"); storeFlags is the
    // platform's opening argument.
    explicit AMap(const std::string& storePath, unsigned storeFlags = 5);
    ~AMap() override;

    bool init();  // loads stored objects; false (one line) when the store is unusable
    Store& store() { return store_; }
    Allocator& allocator() { return alloc_; }
    const std::map<uint32_t, AMapItem*>& items() const { return items_; }
    AMapItem* item(uint32_t id) const;
    // Persists item under item->id (already allocated) and takes ownership.
    bool insert(AMapItem* item);

    message cmdGet(const message& req) override;     // 0xFE0001 = id; flags 0xFE000C
    message cmdSet(const message& req) override;     // same as OBJECT_SET
    message cmdGetAll(const message& req) override;  // paging: 0xFE0004 want, 0xFE0003 start
    message cmdUnknown(const message& req, uint32_t command) override;  // add, remove, set, count
    message getObject(uint32_t id) override;

protected:
    virtual AMapItem* create() = 0;
    virtual message doAdd(AMapItem* item);
    virtual message doSet(AMapItem* existing, AMapItem* incoming);
    virtual message doRemove(AMapItem* item);

private:
    message describe(uint32_t id, unsigned flags) const;
    message add(const message& req);
    message change(const message& req);
    message removeObject(const message& req);
    Store store_;
    Allocator alloc_;
    std::map<uint32_t, AMapItem*> items_;
};

}  // namespace lm
