#include "mib/packer.h"

#include <iostream>

namespace snmp {

OID Packer::getAsKey(const Data*) {
    std::cerr << "BUG: Packer::getAsKey called" << std::endl;
    return OID();
}

bool Packer::addKeyToMessage(OID&, lm::message&, unsigned) {
    std::cerr << "BUG: Packer::addKeyToMessage called" << std::endl;
    return false;
}

void Packer::addKeyToMessage(const Data*, lm::message&, unsigned) {
    std::cerr << "BUG: Packer::addKeyToMessage called" << std::endl;
}

Packer::~Packer() = default;

}  // namespace snmp
