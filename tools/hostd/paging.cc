#include "tools/hostd/paging.h"

#include <algorithm>

#include "platform/bus.h"
#include "platform/message_json.h"

namespace hostd {

namespace {

// PagingMode::SHORT answers this fraction (1/n) of the objects asked for.
constexpr uint64_t SHORT_DIVISOR = 2;

constexpr const char* PAGING_NAMES[PAGING_MODES] = {"normal", "short", "extra", "reversed",
                                                    "restart"};

uint32_t idOf(const lm::message& m) { return m.getU32(lm::key::OBJECT_ID); }

// The object with this id, or the first with a greater one.
size_t firstFrom(uint32_t id, const std::vector<lm::message>& objects) {
    auto it = std::lower_bound(objects.begin(), objects.end(), id,
                               [](const lm::message& m, uint32_t v) { return idOf(m) < v; });
    return size_t(it - objects.begin());
}

// The first object holding every field of key with the same value (the partial mark is
// not a field). Nothing matching, or nothing to match, starts the list from its top: the
// caller discards the rows it does not need.
size_t firstMatching(const lm::message& key, const std::vector<lm::message>& objects) {
    std::vector<uint32_t> fields;
    lm::message wanted;
    for (uint32_t k : key.keys()) {
        if (k == lm::key::PARTIAL_KEY) continue;
        fields.push_back(k);
        lm::copyField(key, k, wanted);
    }
    if (fields.empty()) return 0;
    for (size_t pos = 0; pos < objects.size(); ++pos) {
        lm::message got;
        for (uint32_t k : fields) lm::copyField(objects[pos], k, got);
        if (got == wanted) return pos;
    }
    return 0;
}

}  // namespace

const char* pagingName(PagingMode mode) {
    const auto n = uint32_t(mode);
    return n < PAGING_MODES ? PAGING_NAMES[n] : "?";
}

bool parsePaging(const std::string& name, PagingMode& out) {
    for (uint32_t n = 0; n < PAGING_MODES; ++n)
        if (name == PAGING_NAMES[n]) {
            out = PagingMode(n);
            return true;
        }
    return false;
}

bool pagingFromNumber(uint32_t n, PagingMode& out) {
    if (n >= PAGING_MODES) return false;
    out = PagingMode(n);
    return true;
}

size_t startPosition(const lm::message& req, const std::vector<lm::message>& objects) {
    if (req.has(lm::key::START)) return req.getU32(lm::key::START);
    if (req.has(lm::key::OBJECT_ID)) return firstFrom(idOf(req), objects);
    const lm::message* nested = req.findMsg(lm::key::NESTED_KEY);
    if (!nested || nested->getBool(lm::key::PARTIAL_KEY)) return 0;
    if (nested->has(lm::key::START)) return nested->getU32(lm::key::START);
    if (nested->has(lm::key::OBJECT_ID)) return firstFrom(idOf(*nested), objects);
    return firstMatching(*nested, objects);
}

lm::message pageReply(const lm::message& req, const std::vector<lm::message>& objects,
                      PagingMode mode) {
    const uint64_t want = req.getU32(lm::key::WANT) ? req.getU32(lm::key::WANT) : DEFAULT_PAGE;
    uint64_t take = want;
    if (mode == PagingMode::SHORT) take = std::max<uint64_t>(1, want / SHORT_DIVISOR);
    if (mode == PagingMode::EXTRA) take = want + EXTRA_OBJECTS;
    const size_t start =
        mode == PagingMode::RESTART ? 0 : std::min(startPosition(req, objects), objects.size());
    const size_t end = start + size_t(std::min<uint64_t>(take, objects.size() - start));

    // With a field list the caller reads only those fields: the rest is neither copied nor
    // encoded. The id and the position go with every object whatever the list says.
    const std::vector<uint32_t>* fields = req.findU32Array(lm::key::FIELDS);
    std::vector<lm::message> page;
    page.reserve(end - start);
    for (size_t pos = start; pos < end; ++pos) {
        if (fields) {
            lm::message& object = page.emplace_back();
            object.setU32(lm::key::OBJECT_ID, idOf(objects[pos]));
            objects[pos].copyFieldsTo(*fields, object);
        } else {
            page.push_back(objects[pos]);
        }
        page.back().setU32(lm::key::POSITION, uint32_t(pos));
    }
    if (mode == PagingMode::REVERSED) std::reverse(page.begin(), page.end());
    lm::message reply;
    reply.setMsgArray(lm::key::OBJECTS, std::move(page));
    if (end < objects.size()) reply.setU32(lm::key::START, uint32_t(end));
    return reply;
}

}  // namespace hostd
