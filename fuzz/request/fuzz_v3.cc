// Whole SNMPv3 datagrams through createReply, with users whose keys the fuzzer knows. The
// first input octet chooses how the rest is used: even, as it stands (discovery, reports,
// malformed headers); odd, sealed first: an authPriv message's encryptedPDU contents are
// taken as plaintext and encrypted with the user's key, and an authenticated message gets
// its right digest, so mutations reach the scoped PDU behind the security checks.
#include <cstdlib>
#include <iostream>
#include <string>

#include "mib/branch.h"
#include "mib/packers.h"
#include "request/context.h"
#include "request/create_reply.h"
#include "request/local_engine.h"
#include "security/community_keep.h"
#include "security/usm_crypto.h"
#include "wire/in_stream.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace {

// Engine 00..02, boots 5, engine time 400: what the corpus seeds carry.
const snmp::Octets ENGINE{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
constexpr uint32_t BOOTS = 5, START = 1000, ENGINE_TIME = 400;
constexpr uint8_t SEAL = 0x01;

uint32_t fixedUptime() { return START + ENGINE_TIME; }

void addUser(snmp::CommunityKeep& keep, uint32_t id, const std::string& name, uint32_t level,
             uint32_t auth, uint32_t priv) {
    auto* item = new snmp::Item;
    item->name = name;
    item->securityLevel = level;
    item->writeAccess = true;
    item->authProtocol = auth;
    item->privProtocol = priv;
    if (level >= 1) item->authPassword = "maplesyrup";
    if (level == 2) item->privPassword = "maplesyrup";
    lm::IPPrefix6 any;
    lm::IPPrefix6::parse("0.0.0.0/0", any);
    item->addresses = {any};
    item->id = id;
    keep.allocator().request(id);
    keep.insert(item);
}

void setUp() {
    char tmpl[] = "/tmp/lumo-fuzz-XXXXXX";
    setenv("LUMO_ROOT", mkdtemp(tmpl), 1);
    std::cerr.setstate(std::ios::failbit);
    auto* keep = new snmp::CommunityKeep;
    keep->init();
    addUser(*keep, 1, "open", 0, 0, 0);
    addUser(*keep, 2, "md5auth", 1, 0, 0);
    addUser(*keep, 3, "shaaes", 2, 1, 1);
    addUser(*keep, 4, "md5des", 2, 0, 0);
    addUser(*keep, 5, "sha512aes", 2, 5, 1);  // HMAC-384-SHA-512: 48-octet digest field
    keep->setEngineId(ENGINE);
    snmp::LocalEngine& engine = snmp::localEngine();
    engine.info = {BOOTS, START, 150, ENGINE};
    engine.uptime = fixedUptime;
    using snmp::OID;
    snmp::addScalarConstStringLeaf(OID("1.3.6.1.2.1.1.1"), "lumo", snmp::tag::OCTET_STRING);
    snmp::addScalarConstNumLeaf(OID("1.3.6.1.2.1.1.7"), 72, snmp::tag::INTEGER);
}

// Encrypts the encryptedPDU's contents and signs, as a manager with the user's keys would.
void seal(snmp::Octets& msg) {
    snmp::InStream in(msg.data(), static_cast<unsigned>(msg.size()));
    snmp::V3Info info;
    if (in.getVersion() != snmp::version::V3 || !in.readV3Info(&info)) return;
    const snmp::Item* item = snmp::communityKeep->find(info.msgUserName);
    if (!item || in.securityLevel() == 0) return;
    if (in.securityLevel() == 2 && in.getType() == snmp::tag::OCTET_STRING) {
        const int len = in.enterSeq();
        if (len > 0) {
            const size_t start = in.position();
            snmp::Octets sealed(static_cast<size_t>(len));
            if (snmp::cryptMessage(info, item->privKey, msg.data() + start, sealed.data(),
                                   sealed.size(), item->privProtocol, true))
                std::copy(sealed.begin(), sealed.end(), msg.begin() + static_cast<std::ptrdiff_t>(start));
        }
    }
    const size_t n = info.msgAuthenticationParameters.size();
    snmp::Octets mac;
    if (snmp::digestMessage(mac, msg, item->authKey, info.authPosition, n, item->authProtocol))
        std::copy_n(mac.begin(), std::min(n, mac.size()),
                    msg.begin() + static_cast<std::ptrdiff_t>(info.authPosition));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool ready = (setUp(), true);
    (void)ready;
    if (size == 0) return 0;
    std::cout.setstate(std::ios::failbit);  // the reader's diagnostics
    std::cerr.setstate(std::ios::failbit);
    snmp::Octets msg(data + 1, data + size);
    if (data[0] & SEAL) seal(msg);
    snmp::OutStream out;
    snmp::Context ctx(msg.data(), static_cast<unsigned>(msg.size()), out);
    lm::IPAddr6 peer = lm::IPAddr6::fromIPv4(0x0100007F);
    snmp::createReply(ctx, peer);
    return 0;
}
