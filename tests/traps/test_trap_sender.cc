// Sending to several targets over loopback: each gets the same trap with its own
// request-id, and a target that refuses neither stops the others nor floods the log.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <algorithm>
#include <sstream>

#include "trap_fixture.h"
#include "wire/in_stream.h"

namespace traptest {
namespace {

// A UDP receiver on addr:port (port 0: the kernel's pick).
class Receiver {
public:
    Receiver(const char* addr, uint16_t port) {
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(port);
        inet_pton(AF_INET, addr, &sa.sin_addr);
        socklen_t len = sizeof sa;
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 ||
            getsockname(fd_, reinterpret_cast<sockaddr*>(&sa), &len) != 0)
            abort();
        port_ = ntohs(sa.sin_port);
    }
    ~Receiver() { close(fd_); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    uint16_t port() const { return port_; }
    // The next datagram, or empty after a generous wait (a missing trap, not a timing check).
    Bytes next() {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, 5000) != 1) return {};
        Bytes buf(65536);
        ssize_t n = recv(fd_, buf.data(), buf.size(), 0);
        buf.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return buf;
    }

private:
    int fd_ = -1;
    uint16_t port_ = 0;
};

lm::IPAddr6 addr(const char* text) {
    lm::IPAddr6 a;
    if (!lm::IPAddr6::parse(text, a)) abort();
    return a;
}

// The request-id of a v2c trap: after version, community and the PDU tag.
uint32_t requestId(const Bytes& d) {
    snmp::InStream in(d.data(), static_cast<unsigned>(d.size()));
    unsigned version = 0, id = 0;
    std::string community;
    if (in.enterSeq() <= 0 || !in.getInt(&version) || !in.getString(&community) || in.enterSeq() <= 0 ||
        !in.getInt(&id))
        return 0;
    return id;
}

class TrapSenderTest : public TrapTest {
protected:
    void SetUp() override {
        TrapTest::SetUp();
        snmp::trapMakers = {snmp::velmarTrapMaker};
    }
    void TearDown() override {
        unsetenv("LUMO_TRAP_PORT");
        TrapTest::TearDown();
    }
    snmp::TrapSettings v2c() {
        snmp::TrapSettings s = settings(1);
        s.nextId = snmp::nextRequestId;
        return s;
    }
};

TEST_F(TrapSenderTest, TwoTargetsGetTheSameTrapWithTheirOwnRequestIds) {
    Receiver first("127.0.0.1", 0);
    Receiver second("127.0.0.2", first.port());
    setenv("LUMO_TRAP_PORT", std::to_string(first.port()).c_str(), 1);
    snmp::TrapSender sender;
    EXPECT_EQ(sender.send(sendTrap("", 0, nullptr), {addr("127.0.0.1"), addr("127.0.0.2")}, v2c()), 2u);
    Bytes a = first.next(), b = second.next();
    ASSERT_FALSE(a.empty());
    ASSERT_FALSE(b.empty());
    const uint32_t idA = requestId(a), idB = requestId(b);
    EXPECT_NE(idA, idB);
    // Apart from the request-id the datagrams are the same (ids of equal width here).
    Bytes ida = bertest::integer(idA), idb = bertest::integer(idB);
    if (ida.size() == idb.size()) {
        auto at = std::search(b.begin(), b.end(), idb.begin(), idb.end());
        ASSERT_NE(at, b.end());
        std::copy(ida.begin(), ida.end(), at);
        EXPECT_EQ(bertest::hex(a), bertest::hex(b));
    }
}

// A target with nobody listening refuses (ICMP port unreachable); the refusal shows on the
// next send to it. It is logged once, and the target behind it gets every trap.
TEST_F(TrapSenderTest, RefusingTargetIsLoggedOnceAndDoesNotStopOthers) {
    Receiver live("127.0.0.1", 0);
    setenv("LUMO_TRAP_PORT", std::to_string(live.port()).c_str(), 1);
    snmp::TrapSender sender;
    std::ostringstream log;
    std::streambuf* old = std::cerr.rdbuf(log.rdbuf());
    constexpr int TRAPS = 4;
    int received = 0;
    for (int i = 0; i < TRAPS; ++i) {
        sender.send(sendTrap("", 0, nullptr), {addr("127.0.0.3"), addr("127.0.0.1")}, v2c());
        if (!live.next().empty()) ++received;
    }
    std::cerr.rdbuf(old);
    EXPECT_EQ(received, TRAPS);
    const std::string text = log.str();
    size_t lines = 0;
    for (size_t at = text.find("127.0.0.3"); at != std::string::npos; at = text.find("127.0.0.3", at + 1))
        ++lines;
    EXPECT_EQ(lines, 1u) << text;
}

TEST_F(TrapSenderTest, NoTargetsSendNothing) {
    snmp::TrapSender sender;
    EXPECT_EQ(sender.send(sendTrap("", 0, nullptr), {}, v2c()), 0u);
}

}  // namespace
}  // namespace traptest
