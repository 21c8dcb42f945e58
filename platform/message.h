// lm::message: the platform's typed key/value record, used on the bus and in stores.
//
// A key is 32 bits: the top five bits are the value type, the low 27 bits (FIELD_MASK)
// name the field. Typed accessors take a field number and apply their own type bits, so
// 0xFE000C, 0x08FE000C and 0x20FE000C name the same field and the accessor decides the
// type: getU32(0xFE000C) reads key 0x08FE000C, getString(0xFE000C) reads 0x20FE000C.
// Fields keep their insertion order (for dumps); equality ignores order.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/ipaddr.h"

namespace lm {

using bytes = std::vector<uint8_t>;

constexpr uint32_t FIELD_MASK = 0x07FFFFFF;
constexpr uint32_t TYPE_MASK = 0xF8000000;

enum KeyType : uint32_t {
    KT_BOOL = 0x00000000,
    KT_U32 = 0x08000000,
    KT_U64 = 0x10000000,
    KT_IP6 = 0x18000000,
    KT_STRING = 0x20000000,
    KT_MSG = 0x28000000,
    KT_RAW = 0x30000000,
    KT_ARRAY = 0x80000000,
    KT_U32_ARRAY = 0x88000000,
    KT_STRING_ARRAY = 0xA0000000,
    KT_MSG_ARRAY = 0xA8000000,
};

constexpr uint32_t keyOf(uint32_t type, uint32_t field) { return type | (field & FIELD_MASK); }
constexpr uint32_t typeOf(uint32_t key) { return key & TYPE_MASK; }
constexpr uint32_t fieldOf(uint32_t key) { return key & FIELD_MASK; }
// "bool", "u32", "msg[]" ... for a key's type bits; "?" for bits no type uses.
const char* keyTypeName(uint32_t type);

// Limits applied by the decoder to untrusted bytes.
constexpr size_t MAX_ENCODED_SIZE = 64u << 20;  // one message, all nesting included
constexpr unsigned MAX_DEPTH = 32;              // nested messages

class message {
public:
    message();
    ~message();
    message(const message&);
    message(message&&) noexcept;
    message& operator=(const message&);
    message& operator=(message&&) noexcept;

    // Setters replace any value already held under the same typed key.
    message& setBool(uint32_t field, bool v);
    message& setU32(uint32_t field, uint32_t v);
    message& setU64(uint32_t field, uint64_t v);
    message& setIP6(uint32_t field, const IPAddr6& v);
    message& setString(uint32_t field, std::string v);
    message& setMsg(uint32_t field, message v);
    message& setRaw(uint32_t field, bytes v);
    message& setU32Array(uint32_t field, std::vector<uint32_t> v);
    message& setStringArray(uint32_t field, std::vector<std::string> v);
    message& setMsgArray(uint32_t field, std::vector<message> v);
    // Append to an array, creating it when absent.
    message& appendU32(uint32_t field, uint32_t v);
    message& appendMsg(uint32_t field, message v);

    bool hasBool(uint32_t field) const { return has(keyOf(KT_BOOL, field)); }
    bool hasU32(uint32_t field) const { return has(keyOf(KT_U32, field)); }
    bool hasU64(uint32_t field) const { return has(keyOf(KT_U64, field)); }
    bool hasIP6(uint32_t field) const { return has(keyOf(KT_IP6, field)); }
    bool hasString(uint32_t field) const { return has(keyOf(KT_STRING, field)); }
    bool hasMsg(uint32_t field) const { return has(keyOf(KT_MSG, field)); }
    bool hasRaw(uint32_t field) const { return has(keyOf(KT_RAW, field)); }
    bool hasU32Array(uint32_t field) const { return has(keyOf(KT_U32_ARRAY, field)); }
    bool hasMsgArray(uint32_t field) const { return has(keyOf(KT_MSG_ARRAY, field)); }
    bool has(uint32_t fullKey) const;  // exact typed key

    // Readers return the default when the typed key is absent.
    bool getBool(uint32_t field, bool def = false) const;
    uint32_t getU32(uint32_t field, uint32_t def = 0) const;
    uint64_t getU64(uint32_t field, uint64_t def = 0) const;
    IPAddr6 getIP6(uint32_t field) const;
    std::string getString(uint32_t field, const std::string& def = {}) const;

    // Borrowing readers: nullptr when absent. Pointers stay valid until the message changes.
    const IPAddr6* findIP6(uint32_t field) const;
    const std::string* findString(uint32_t field) const;
    const message* findMsg(uint32_t field) const;
    const bytes* findRaw(uint32_t field) const;
    const std::vector<uint32_t>* findU32Array(uint32_t field) const;
    const std::vector<std::string>* findStringArray(uint32_t field) const;
    const std::vector<message>* findMsgArray(uint32_t field) const;
    std::vector<message>* findMsgArray(uint32_t field);

    bool remove(uint32_t fullKey);
    size_t size() const;
    bool empty() const;
    void clear();
    std::vector<uint32_t> keys() const;  // full typed keys, insertion order
    // Copies into out the fields whose field number (type bits ignored) is in fieldNumbers,
    // replacing what out holds under the same typed keys.
    void copyFieldsTo(const std::vector<uint32_t>& fieldNumbers, message& out) const;

    bool operator==(const message& other) const;
    bool operator!=(const message& other) const { return !(*this == other); }

    // Header fields shared by every bus message.
    uint32_t command() const;                // 0x08FF0007, 0 when absent
    void setCommand(uint32_t cmd);
    std::vector<uint32_t> destination() const;  // 0x88FF0001
    void setDestination(std::vector<uint32_t> path);
    std::vector<uint32_t> sender() const;       // 0x88FF0002

    // Binary codec: a version octet, then the fields. decode() never reads outside
    // [data, data + len); malformed input returns false with a one-line reason.
    void encode(bytes& out) const;  // appends to out
    bytes encode() const;
    static bool decode(const uint8_t* data, size_t len, message& out, std::string* error = nullptr);

    // Readable multi-line dump, one field per line ("0x08FE0001 u32 = 7"), nested
    // messages indented; each line starts with prefix.
    void dump(std::ostream& os, const std::string& prefix = "") const;
    std::string toString() const;

    struct Field;

private:
    Field* find(uint32_t fullKey);
    const Field* find(uint32_t fullKey) const;
    Field& slot(uint32_t fullKey);
    std::vector<Field> fields_;
};

std::ostream& operator<<(std::ostream& os, const message& m);

// Error replies carry the code field 0x08FF0008 and the text 0x20FF0009.
bool isError(const message& reply);
bool isError(const message& reply, uint32_t& code, std::string& text);
uint32_t getErrorCode(const message& reply);  // 0 when not an error
std::string getError(const message& reply);   // the error text, empty when none
message errorMsg(const std::string& text, uint32_t code = 0xFE0006);  // a refusal by a hook
message failedMsg(const std::string& text);  // a failed exchange (code ERR_FAILED)

}  // namespace lm
