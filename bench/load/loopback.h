// The load tools talk to this machine only: 127.0.0.1 or ::1, nothing else.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace load {

// Fills addr for host ("127.0.0.1" or "::1") and port. Any other host is refused with a
// one-line reason.
bool loopbackAddress(const std::string& host, uint16_t port, sockaddr_storage& addr, socklen_t& len,
                     std::string& error);

}  // namespace load
