// The debug stream of lumo-hostd's interface service: LUMO_LOG=interfaces shows its lines
// (dropped netlink messages, refused alias changes). Silent otherwise.
#pragma once

#include "platform/log.h"

namespace hostd {

lm::lstream& interfacesLog();

}  // namespace hostd
