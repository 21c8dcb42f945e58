#include "request/binding_list.h"

namespace snmp {

bool BindingList::read(InStream& in, bool keepValues) {
    count_ = 0;
    const size_t start = in.position();
    while (!in.atEnd()) {
        if (count_ == items_.size()) items_.emplace_back();
        RequestBinding& b = items_[count_];
        if (in.enterSeq() < 0 || !in.getOID(&b.name)) return false;
        if (keepValues) in.saveSeq(b.value);
        in.exitSeq();
        ++count_;
    }
    raw_ = in.buffer().data() + start;
    rawSize_ = in.position() - start;
    return true;
}

}  // namespace snmp
