#include "traps/trap_send.h"

#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/log.h"
#include "platform/util.h"
#include "request/local_engine.h"
#include "request/logs.h"
#include "security/community_keep.h"
#include "security/usm_crypto.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

const OID SYS_UP_TIME{1, 3, 6, 1, 2, 1, 1, 3, 0};
const OID SNMP_TRAP_OID{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
constexpr uint32_t TRAP_MAX_SIZE = MAX_REPLY_SIZE;  // msgMaxSize of a v3 trap
constexpr uint32_t ID_MASK = 0x7FFFFFFF;
constexpr int DECIMAL = 10;
constexpr unsigned long MAX_PORT = 65535;
constexpr size_t SALT_TLV_HEAD = 2;  // tag and length of msgPrivacyParameters
constexpr uint32_t NO_COMMUNITY_REPORTED = 0xFFFFFFFF;

uint32_t randomStart() {
    uint32_t seed = 0;
    if (getrandom(&seed, sizeof seed, 0) != static_cast<ssize_t>(sizeof seed)) seed = lm::getJiffies();
    return seed;
}

void writeV3Head(Context& c, const Item& item, const TrapSettings& s) {
    LLOG(dlog) << "snmp v3 trap" << std::endl;
    const LocalEngine& engine = localEngine();
    V3Info& v3 = c.v3;
    v3 = V3Info();
    v3.msgID = s.nextId();
    v3.msgFlags = {0};
    v3.msgMaxSize = TRAP_MAX_SIZE;
    v3.msgSecurityModel = USM_SECURITY_MODEL;
    if (item.securityLevel != 0) {
        v3.msgFlags[0] |= V3_FLAG_AUTH;
        v3.msgAuthenticationParameters.assign(authParamSize(item.authProtocol), 0);
    }
    v3.msgAuthoritativeEngineID = engine.info.engineId;
    v3.msgAuthoritativeEngineBoots = engine.info.engineBoots;
    v3.msgAuthoritativeEngineTime = engine.engineTime();
    v3.msgUserName = item.name;
    v3.contextEngineID = engine.info.engineId;
    if (item.securityLevel == 2) {
        v3.msgFlags[0] |= V3_FLAG_PRIV;
        preparePrivParam(item.privProtocol, v3);
    }
    c.out.setSecurityLevel(static_cast<int>(item.securityLevel > 2 ? 2 : item.securityLevel));
    c.out.writeV3Info(&v3);
}

// The agent-addr of a v1 trap: the IPv4 address the datagram leaves from, in network
// order; 0.0.0.0 when it leaves over IPv6 (a v1 trap has no room for an IPv6 address).
void agentAddr(const sockaddr* local, unsigned char out[4]) {
    std::memset(out, 0, 4);
    if (!local) return;
    if (local->sa_family == AF_INET) {
        const auto* sin = reinterpret_cast<const sockaddr_in*>(local);
        std::memcpy(out, &sin->sin_addr, 4);
    } else if (local->sa_family == AF_INET6) {
        lm::IPAddr6 a;
        a = *reinterpret_cast<const sockaddr_in6*>(local);
        if (a.isIPv4()) std::memcpy(out, a.addr + 12, 4);
    }
}

bool isV3(const TrapSettings& s) { return s.version == static_cast<uint32_t>(version::V3); }
bool isV1(const TrapSettings& s) { return s.version == static_cast<uint32_t>(version::V1); }

}  // namespace

uint32_t sysUpTicks() { return lm::getJiffies() - lm::startJiffies(); }

uint32_t nextRequestId() {
    static uint32_t next = randomStart();
    next = (next + 1) & ID_MASK;
    return next;
}

uint16_t trapPort() {
    const char* env = std::getenv("LUMO_TRAP_PORT");
    if (env && *env) {
        char* end = nullptr;
        unsigned long port = std::strtoul(env, &end, DECIMAL);
        if (*end == '\0' && port > 0 && port <= MAX_PORT) return static_cast<uint16_t>(port);
    }
    return TRAP_PORT;
}

bool createTrapHead(const lm::message& m, Context& c, TrapInfo& info, const TrapSettings& s) {
    c.out.startSeq(tag::SEQUENCE);
    c.out.add(s.version, tag::INTEGER);
    // Said once per trap community id that names no record, not once per trap.
    static uint32_t reportedBad = NO_COMMUNITY_REPORTED;
    Item* item = communityKeep ? communityKeep->record(s.communityId) : nullptr;
    if (!item) {
        if (reportedBad != s.communityId)
            LLOG(lm::warningLog()) << "createTrap: bad community" << std::endl;
        else
            LLOG(dlog) << "createTrap: bad community" << std::endl;
        reportedBad = s.communityId;
        return false;
    }
    reportedBad = NO_COMMUNITY_REPORTED;
    c.item = item;
    if (isV3(s)) {
        writeV3Head(c, *item, s);
    } else {
        c.out.add(item->name, tag::OCTET_STRING);
    }
    c.out.startSeq(isV1(s) ? pdu::TRAP_V1 : pdu::TRAP_V2);

    bool made = false;
    for (TrapMaker maker : trapMakers) {
        if (maker(m, info)) {
            made = true;
            break;
        }
    }
    if (!made) {
        if (dlog.on()) {
            dlog.os() << "Could not handle trap, msg dump:" << std::endl;
            m.dump(dlog.os());
            dlog.os() << std::endl;
        }
        return false;
    }
    if (!isV1(s) && info.generic == generic::ENTERPRISE_SPECIFIC) {
        info.oid += 0u;
        info.oid += info.specific;
    }
    return true;
}

bool createTrapTail(Context& c, TrapInfo& info, const sockaddr* local, const TrapSettings& s) {
    OutStream& out = c.out;
    if (!isV1(s)) {
        out.add(s.nextId(), tag::INTEGER);
        out.add(status::NO_ERROR, tag::INTEGER);
        out.add(0u, tag::INTEGER);
        out.startSeq(tag::SEQUENCE);
        out.startSeq(tag::SEQUENCE);
        out.addOID(SYS_UP_TIME, tag::OBJECT_ID);
        out.add(s.ticks(), tag::TIMETICKS);
        out.endSeq();
        out.startSeq(tag::SEQUENCE);
        out.addOID(SNMP_TRAP_OID, tag::OBJECT_ID);
        out.addOID(info.oid, tag::OBJECT_ID);
        out.endSeq();
    } else {
        out.addOID(info.oid, tag::OBJECT_ID);
        unsigned char addr[4];
        agentAddr(local, addr);
        out.add(addr, 4, tag::IP_ADDRESS);
        out.add(info.generic, tag::INTEGER);
        out.add(info.specific, tag::INTEGER);
        out.add(s.ticks(), tag::TIMETICKS);
        out.startSeq(tag::SEQUENCE);
    }
    for (const VariableBinding& vb : info.varbinds) out.addVarBind(vb);
    out.endSeq();  // bindings
    out.endSeq();  // PDU
    if (isV3(s)) {
        static const Octets none;
        const Item* item = c.item;
        if (!out.cryptPacket(&c.v3, item ? item->privKey : none, item ? item->privProtocol : 0)) {
            LLOG(dlog) << "cannot encrypt the trap" << std::endl;
            return false;
        }
    }
    out.endSeq();  // message
    if (isV3(s)) {
        static const Octets none;
        const Item* item = c.item;
        out.signPacket(&c.v3, item ? item->authKey : none, item ? item->authProtocol : 0);
    }
    return true;
}

TrapSender::Target::Target(Target&& o) noexcept
    : fd(std::exchange(o.fd, -1)), failing(o.failing) {}

TrapSender::Target& TrapSender::Target::operator=(Target&& o) noexcept {
    if (this != &o) {
        if (fd >= 0) ::close(fd);
        fd = std::exchange(o.fd, -1);
        failing = o.failing;
    }
    return *this;
}

TrapSender::Target::~Target() { close(); }

void TrapSender::Target::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

void TrapSender::failed(const lm::IPAddr6& to, Target& t, const char* what, int err) {
    if (t.failing) return;
    t.failing = true;
    LLOG(lm::warningLog()) << "send_trap: " << what << ' ' << to << ": " << std::strerror(err)
                           << std::endl;
}

bool TrapSender::open(const lm::IPAddr6& to, Target& t) {
    if (t.fd >= 0) return true;
    const uint16_t port = trapPort();
    int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int rc = -1;
    if (fd >= 0) {
        sockaddr_in6 sa = to.toSockaddr6(port);
        rc = ::connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
    } else if (to.isIPv4()) {
        // No IPv6 on this host: an IPv4 socket still reaches IPv4 targets.
        fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            failed(to, t, "failed to open UDP socket for", errno);
            return false;
        }
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(port);
        sa.sin_addr.s_addr = to.getIPv4();
        rc = ::connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
    } else {
        failed(to, t, "failed to open UDP socket for", errno);
        return false;
    }
    if (rc != 0) {
        const int err = errno;
        ::close(fd);
        failed(to, t, "failed to connect to", err);
        return false;
    }
    t.fd = fd;
    return true;
}

size_t TrapSender::send(const lm::message& m, const std::vector<lm::IPAddr6>& targets,
                        const TrapSettings& s) {
    // Sockets of targets no longer configured go.
    for (auto it = targets_.begin(); it != targets_.end();) {
        bool kept = false;
        for (const lm::IPAddr6& t : targets) kept = kept || t == it->first;
        it = kept ? std::next(it) : targets_.erase(it);
    }
    if (targets.empty()) return 0;

    OutStream out;
    Context c(nullptr, 0, out);
    TrapInfo info;
    if (!createTrapHead(m, c, info, s)) return 0;
    const OutStream::Snapshot head = out.snapshot();
    const bool resalt = isV3(s) && out.securityLevel() == 2 && out.authMark() != 0;

    size_t sent = 0;
    for (const lm::IPAddr6& to : targets) {
        Target& t = targets_[to];
        if (!open(to, t)) continue;
        out.restore(head);
        if (resalt) {
            // Every datagram gets a salt of its own: the same salt over another request-id
            // would reuse the cipher's key stream.
            preparePrivParam(c.item->privProtocol, c.v3);
            const size_t at = out.authMark() + c.v3.msgAuthenticationParameters.size() + SALT_TLV_HEAD;
            std::memcpy(out.data() + at, c.v3.msgPrivacyParameters.data(), c.v3.msgPrivacyParameters.size());
        }
        sockaddr_storage local{};
        socklen_t len = sizeof local;
        if (::getsockname(t.fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
            failed(to, t, "failed to getsockname for", errno);
            t.close();
            continue;
        }
        if (!createTrapTail(c, info, reinterpret_cast<const sockaddr*>(&local), s)) {
            LLOG(lm::warningLog()) << "send_trap: createTrapHead failed" << std::endl;
            return sent;
        }
        ssize_t n = ::send(t.fd, out.data(), out.size(), 0);
        if (n < 0 && errno == ECONNREFUSED) {
            // The refusal of an earlier trap, reported now; this one can still go.
            failed(to, t, "trap target refuses traps:", ECONNREFUSED);
            n = ::send(t.fd, out.data(), out.size(), 0);
            if (n >= 0) {
                LLOG(dlog) << "trap sent to " << to << " (" << n << " bytes)" << std::endl;
                continue;  // still counted as failing until a send succeeds first time
            }
        }
        if (n < 0) {
            failed(to, t, "failed to send trap packet to", errno);
            t.close();  // the next trap connects afresh, perhaps over another route
            continue;
        }
        ++sent;
        LLOG(dlog) << "trap sent to " << to << " (" << n << " bytes)" << std::endl;
        if (t.failing) {
            t.failing = false;
            LLOG(lm::infoLog()) << "send_trap: trap target " << to << " works again" << std::endl;
        }
    }
    return sent;
}

}  // namespace snmp
