// A service that serves objects from a fixture: get by id (or the single object), get-all
// paged as every list service pages (paging.h), count, set/object-set merging fields, add
// and remove. Changes stay in memory until hostd ends or the fixture is reloaded.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/hostd/fixture.h"
#include "tools/hostd/host_service.h"

namespace hostd {

class FixtureService : public HostService {
public:
    explicit FixtureService(const ServiceFixture& data) { load(data); }
    // Replaces every object with the fixture's (a reload).
    void load(const ServiceFixture& data);

    lm::message handle(const lm::message& request) override;

    size_t size() const { return objects_.size(); }

private:
    lm::message get(const lm::message& req) const;
    lm::message getAll(const lm::message& req) const;
    lm::message set(const lm::message& req);
    lm::message add(const lm::message& req);
    lm::message remove(const lm::message& req);
    // Index of the object with this id, or objects_.size().
    size_t indexOf(uint32_t id) const;

    std::vector<lm::message> objects_;  // sorted by object id
    bool hasObject_ = false;
    lm::message object_;
};

}  // namespace hostd
