#include "mib/packer.h"

#include "platform/log.h"

namespace snmp {

OID Packer::getAsKey(const Data*) {
    LLOG(lm::errorLog()) << "BUG: Packer::getAsKey called" << std::endl;
    return OID();
}

bool Packer::addKeyToMessage(OID&, lm::message&, unsigned) {
    LLOG(lm::errorLog()) << "BUG: Packer::addKeyToMessage called" << std::endl;
    return false;
}

void Packer::addKeyToMessage(const Data*, lm::message&, unsigned) {
    LLOG(lm::errorLog()) << "BUG: Packer::addKeyToMessage called" << std::endl;
}

Packer::~Packer() = default;

}  // namespace snmp
