#include "mib/declared_table.h"

#include "mib/branch.h"
#include "mib/columnar_branch.h"
#include "mib/get_all_provider.h"
#include "mib/table.h"
#include "platform/bus.h"
#include "platform/message_json.h"

namespace snmp {

namespace {

const lm::message& fieldsOf(const Data* d) { return static_cast<const MessageRow*>(d)->fields; }
lm::message& fieldsOf(Data* d) { return static_cast<MessageRow*>(d)->fields; }

// The object becomes the row: its fields are taken, not copied.
Data* rowOf(lm::message& object, VData&) {
    auto* row = new MessageRow;
    row->fields = std::move(object);
    return row;
}

// The bus field a column packer of this file reads, so that a declared table can ask the
// service for the fields of its columns only.
class ReadsField {
public:
    explicit ReadsField(uint32_t field) : field_(field) {}
    uint32_t field() const { return field_; }

protected:
    ~ReadsField() = default;
    uint32_t field_;
};

template <class Family>
class MessageField : public Family, public ReadsField {
public:
    using Value = typename Family::Value;
    template <class... FamilyArgs>
    explicit MessageField(uint32_t field, FamilyArgs... args)
        : Family(args...), ReadsField(field) {}
    Value get(const Data* d) const override;
    void set(Data* d, const Value& v) override;
};

// The field a packer reads, when it is one of this file's; false for any other packer,
// whose needs are unknown.
bool fieldOfPacker(const Packer* packer, uint32_t& field) {
    const auto* reads = dynamic_cast<const ReadsField*>(packer);
    if (!reads) return false;
    field = reads->field();
    return true;
}

}  // namespace

void MessageRow::toMessage(lm::message& out) const {
    for (uint32_t key : fields.keys())
        if (lm::fieldOf(key) != lm::fieldOf(lm::key::POSITION)) lm::copyField(fields, key, out);
}

template <>
unsigned MessageField<NumPacker>::get(const Data* d) const { return fieldsOf(d).getU32(field_); }
template <>
void MessageField<NumPacker>::set(Data* d, const unsigned& v) { fieldsOf(d).setU32(field_, v); }
template <>
unsigned MessageField<IPPacker>::get(const Data* d) const { return fieldsOf(d).getU32(field_); }
template <>
void MessageField<IPPacker>::set(Data* d, const unsigned& v) { fieldsOf(d).setU32(field_, v); }
template <>
std::string MessageField<StringPacker>::get(const Data* d) const {
    return fieldsOf(d).getString(field_);
}
template <>
void MessageField<StringPacker>::set(Data* d, const std::string& v) {
    fieldsOf(d).setString(field_, v);
}
template <>
lm::IPAddr6 MessageField<IP6Packer>::get(const Data* d) const { return fieldsOf(d).getIP6(field_); }
template <>
void MessageField<IP6Packer>::set(Data* d, const lm::IPAddr6& v) { fieldsOf(d).setIP6(field_, v); }

Packer* numberField(uint32_t field, unsigned type) {
    return new MessageField<NumPacker>(field, type);
}
Packer* textField(uint32_t field, unsigned type, unsigned fixedLength) {
    return new MessageField<StringPacker>(field, type, fixedLength);
}
Packer* ipv4Field(uint32_t field) { return new MessageField<IPPacker>(field, tag::IP_ADDRESS); }
Packer* ipv6Field(uint32_t field, unsigned type) { return new MessageField<IP6Packer>(field, type); }

ColumnarBranch* declareTable(const TableSpec& spec) {
    auto* provider = new GetAllProvider(GetAllProvider::RowBuilder(rowOf), spec.path, spec.parameter);
    auto* table = new MapTable(provider, spec.nestedKey);
    if (spec.indexes.empty()) {
        table->addIndex(numberField(lm::key::OBJECT_ID, tag::INTEGER), lm::key::OBJECT_ID);
    } else {
        for (const auto& [packer, key] : spec.indexes) table->addIndex(packer, key);
    }
    ColumnarBranch* branch = addColumnarBranch(spec.entry, table);
    // Rows are the objects as they arrive (rowOf), so a query needs no more than the fields
    // its columns and the index read; an index packer of another kind reads unknown fields.
    std::vector<uint32_t> indexFields;
    bool indexKnown = true;
    for (const auto& [packer, key] : table->indexes) {
        uint32_t field = 0;
        indexKnown = indexKnown && fieldOfPacker(packer, field);
        indexFields.push_back(field);
        indexFields.push_back(key);
    }
    if (indexKnown) branch->setIndexFields(std::move(indexFields));
    for (const TableSpec::Column& c : spec.columns) {
        branch->addLeaf(c.number, c.packer, c.access == ReadWrite);
        uint32_t field = 0;
        if (fieldOfPacker(c.packer, field)) branch->setColumnFields(c.number, {field});
    }
    return branch;
}

}  // namespace snmp
