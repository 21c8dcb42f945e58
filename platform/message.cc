// lm::message: storage, typed accessors, equality and error helpers.
#include "platform/message.h"

#include <algorithm>

#include "platform/bus.h"
#include "platform/message_field.h"

namespace lm {

message::message() = default;
message::~message() = default;
message::message(const message&) = default;
message::message(message&&) noexcept = default;
message& message::operator=(const message&) = default;
message& message::operator=(message&&) noexcept = default;

message::Field* message::find(uint32_t fullKey) {
    for (auto& f : fields_)
        if (f.key == fullKey) return &f;
    return nullptr;
}

const message::Field* message::find(uint32_t fullKey) const {
    for (const auto& f : fields_)
        if (f.key == fullKey) return &f;
    return nullptr;
}

message::Field& message::slot(uint32_t fullKey) {
    if (Field* f = find(fullKey)) return *f;
    if (fields_.empty()) fields_.reserve(8);  // typical objects have a handful of fields
    fields_.push_back(Field{fullKey, {}});
    return fields_.back();
}

namespace {
template <typename T>
const T* valueOf(const message::Field* f) {
    return f ? std::get_if<T>(&f->value) : nullptr;
}
}  // namespace

message& message::setBool(uint32_t field, bool v) {
    slot(keyOf(KT_BOOL, field)).value = v;
    return *this;
}
message& message::setU32(uint32_t field, uint32_t v) {
    slot(keyOf(KT_U32, field)).value = v;
    return *this;
}
message& message::setU64(uint32_t field, uint64_t v) {
    slot(keyOf(KT_U64, field)).value = v;
    return *this;
}
message& message::setIP6(uint32_t field, const IPAddr6& v) {
    slot(keyOf(KT_IP6, field)).value = v;
    return *this;
}
message& message::setString(uint32_t field, std::string v) {
    slot(keyOf(KT_STRING, field)).value = std::move(v);
    return *this;
}
message& message::setMsg(uint32_t field, message v) {
    Field& f = slot(keyOf(KT_MSG, field));
    std::vector<message> one;
    one.push_back(std::move(v));
    f.value = std::move(one);
    return *this;
}
message& message::setRaw(uint32_t field, bytes v) {
    slot(keyOf(KT_RAW, field)).value = std::move(v);
    return *this;
}
message& message::setU32Array(uint32_t field, std::vector<uint32_t> v) {
    slot(keyOf(KT_U32_ARRAY, field)).value = std::move(v);
    return *this;
}
message& message::setStringArray(uint32_t field, std::vector<std::string> v) {
    slot(keyOf(KT_STRING_ARRAY, field)).value = std::move(v);
    return *this;
}
message& message::setMsgArray(uint32_t field, std::vector<message> v) {
    slot(keyOf(KT_MSG_ARRAY, field)).value = std::move(v);
    return *this;
}

message& message::appendU32(uint32_t field, uint32_t v) {
    Field& f = slot(keyOf(KT_U32_ARRAY, field));
    if (!std::holds_alternative<std::vector<uint32_t>>(f.value)) f.value = std::vector<uint32_t>{};
    std::get<std::vector<uint32_t>>(f.value).push_back(v);
    return *this;
}
message& message::appendMsg(uint32_t field, message v) {
    Field& f = slot(keyOf(KT_MSG_ARRAY, field));
    if (!std::holds_alternative<std::vector<message>>(f.value)) f.value = std::vector<message>{};
    std::get<std::vector<message>>(f.value).push_back(std::move(v));
    return *this;
}

bool message::has(uint32_t fullKey) const { return find(fullKey) != nullptr; }

bool message::getBool(uint32_t field, bool def) const {
    const bool* v = valueOf<bool>(find(keyOf(KT_BOOL, field)));
    return v ? *v : def;
}
uint32_t message::getU32(uint32_t field, uint32_t def) const {
    const uint32_t* v = valueOf<uint32_t>(find(keyOf(KT_U32, field)));
    return v ? *v : def;
}
uint64_t message::getU64(uint32_t field, uint64_t def) const {
    const uint64_t* v = valueOf<uint64_t>(find(keyOf(KT_U64, field)));
    return v ? *v : def;
}
IPAddr6 message::getIP6(uint32_t field) const {
    const IPAddr6* v = findIP6(field);
    return v ? *v : IPAddr6{};
}
std::string message::getString(uint32_t field, const std::string& def) const {
    const std::string* v = findString(field);
    return v ? *v : def;
}

const IPAddr6* message::findIP6(uint32_t field) const {
    return valueOf<IPAddr6>(find(keyOf(KT_IP6, field)));
}
const std::string* message::findString(uint32_t field) const {
    return valueOf<std::string>(find(keyOf(KT_STRING, field)));
}
const message* message::findMsg(uint32_t field) const {
    const auto* v = valueOf<std::vector<message>>(find(keyOf(KT_MSG, field)));
    return v && !v->empty() ? &v->front() : nullptr;
}
const bytes* message::findRaw(uint32_t field) const {
    return valueOf<bytes>(find(keyOf(KT_RAW, field)));
}
const std::vector<uint32_t>* message::findU32Array(uint32_t field) const {
    return valueOf<std::vector<uint32_t>>(find(keyOf(KT_U32_ARRAY, field)));
}
const std::vector<std::string>* message::findStringArray(uint32_t field) const {
    return valueOf<std::vector<std::string>>(find(keyOf(KT_STRING_ARRAY, field)));
}
const std::vector<message>* message::findMsgArray(uint32_t field) const {
    return valueOf<std::vector<message>>(find(keyOf(KT_MSG_ARRAY, field)));
}
std::vector<message>* message::findMsgArray(uint32_t field) {
    Field* f = find(keyOf(KT_MSG_ARRAY, field));
    return f ? std::get_if<std::vector<message>>(&f->value) : nullptr;
}

bool message::remove(uint32_t fullKey) {
    for (auto it = fields_.begin(); it != fields_.end(); ++it) {
        if (it->key == fullKey) {
            fields_.erase(it);  // keeps the order of the others
            return true;
        }
    }
    return false;
}

size_t message::size() const { return fields_.size(); }
bool message::empty() const { return fields_.empty(); }
void message::clear() { fields_.clear(); }

std::vector<uint32_t> message::keys() const {
    std::vector<uint32_t> out;
    out.reserve(fields_.size());
    for (const auto& f : fields_) out.push_back(f.key);
    return out;
}

void message::copyFieldsTo(const std::vector<uint32_t>& fieldNumbers, message& out) const {
    for (const auto& f : fields_) {
        const uint32_t field = fieldOf(f.key);
        for (uint32_t wanted : fieldNumbers) {
            if (fieldOf(wanted) == field) {
                out.slot(f.key).value = f.value;
                break;
            }
        }
    }
}

bool message::operator==(const message& other) const {
    if (fields_.size() != other.fields_.size()) return false;
    // Keys are unique within a message, so "same size and every field found equal" is
    // set equality. Small messages: a plain scan; large ones: sort both sides by key.
    if (fields_.size() <= 16) {
        for (const auto& f : fields_) {
            const Field* o = other.find(f.key);
            if (!o || !(o->value == f.value)) return false;
        }
        return true;
    }
    auto sorted = [](const std::vector<Field>& v) {
        std::vector<const Field*> p;
        p.reserve(v.size());
        for (const auto& f : v) p.push_back(&f);
        std::sort(p.begin(), p.end(), [](const Field* a, const Field* b) { return a->key < b->key; });
        return p;
    };
    auto a = sorted(fields_), b = sorted(other.fields_);
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i]->key != b[i]->key || !(a[i]->value == b[i]->value)) return false;
    return true;
}

uint32_t message::command() const { return getU32(key::COMMAND); }
void message::setCommand(uint32_t cmd) { setU32(key::COMMAND, cmd); }

std::vector<uint32_t> message::destination() const {
    const auto* v = findU32Array(key::DEST);
    return v ? *v : std::vector<uint32_t>{};
}
void message::setDestination(std::vector<uint32_t> path) { setU32Array(key::DEST, std::move(path)); }
std::vector<uint32_t> message::sender() const {
    const auto* v = findU32Array(key::SENDER);
    return v ? *v : std::vector<uint32_t>{};
}

bool isError(const message& reply) { return reply.has(key::ERROR_CODE); }

bool isError(const message& reply, uint32_t& code, std::string& text) {
    if (!isError(reply)) return false;
    code = reply.getU32(key::ERROR_CODE);
    text = reply.getString(key::ERROR_TEXT);
    return true;
}

uint32_t getErrorCode(const message& reply) { return reply.getU32(key::ERROR_CODE); }
std::string getError(const message& reply) { return reply.getString(key::ERROR_TEXT); }

message errorMsg(const std::string& text, uint32_t code) {
    message m;
    m.setU32(key::ERROR_CODE, code);
    m.setString(key::ERROR_TEXT, text);
    return m;
}

message failedMsg(const std::string& text) { return errorMsg(text, err::FAILED); }

}  // namespace lm
