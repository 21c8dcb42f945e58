#include "tools/hostd/interfaces_log.h"

namespace hostd {

lm::lstream& interfacesLog() {
    static lm::lstream stream("interfaces");
    return stream;
}

}  // namespace hostd
