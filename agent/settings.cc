// The agent settings object: one bus object that is at once the persisted record 0 of
// "/lumo/store/snmpd", the get reply and the set request.
#include <sys/random.h>

#include <chrono>

#include "platform/agent_settings.h"
#include "agent/snmp_looper.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "platform/util.h"
#include "request/local_engine.h"
#include "security/community_keep.h"
#include "traps/scribers.h"

namespace snmp {

namespace {

namespace key = setting;

constexpr uint32_t FLAG_DEFAULTS = 0x20000000;
constexpr uint32_t DEFAULT_GET_FLAGS = 5;  // what a get without flags stands for
constexpr uint32_t BOOTS_RESTART_UPTIME = 40;
// The platform's loop policy, passed as it is.
constexpr uint32_t POLICY_ID = 1;
constexpr uint32_t POLICY_VALUE = 128;
constexpr uint32_t NO_INTERFACE = 0xFFFFFFFF;  // a filter element without its id
// Change notifications name an object of a list; the settings object is the handler itself.
constexpr uint32_t WHOLE_OBJECT = 0xFFFFFFFF;

void readFilter(const lm::message& m) {
    interfaceFilter.clear();
    if (const auto* list = m.findMsgArray(key::INTERFACE_FILTER))
        for (const lm::message& e : *list)
            interfaceFilter.insert(e.getU32(key::FILTER_ID, NO_INTERFACE));
}

// A made engine id text: 8 random octets in hex, so that no two agents share an engine id.
constexpr size_t MADE_ENGINE_ID_OCTETS = 8;

std::string makeEngineIdText() {
    unsigned char octets[MADE_ENGINE_ID_OCTETS] = {};
    if (getrandom(octets, sizeof octets, 0) != static_cast<ssize_t>(sizeof octets)) {
        uint64_t t = static_cast<uint64_t>(
            std::chrono::system_clock::now().time_since_epoch().count());
        for (unsigned char& o : octets) {
            o = static_cast<unsigned char>(t);
            t >>= 8;
        }
    }
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (unsigned char o : octets) {
        text.push_back(digits[o >> 4]);
        text.push_back(digits[o & 0xF]);
    }
    return text;
}

lm::message defaultsMessage() {
    lm::message d;
    d.setString(key::CONTACT, "");
    d.setString(key::LOCATION, "");
    d.setString(key::ENGINE_ID, "");
    d.setMsgArray(key::TARGETS, {});
    d.setU32(key::TRAP_VERSION, 0);
    d.setU32(key::TRAP_COMMUNITY_ID, NO_TRAP_COMMUNITY);
    d.setU32Array(key::TRAP_GENERATORS, {});
    d.setBool(key::ENABLED, false);
    return d;
}

}  // namespace

// Targets: the array replaces the list; a single top-level target is appended on a set
// (deliberately not replacing) and taken alone on load.
void SnmpLooper::readTargets(const lm::message& m) {
    if (const auto* list = m.findMsgArray(key::TARGETS)) {
        trapTargets.clear();
        for (const lm::message& e : *list) {
            if (e.hasIP6(key::TARGET_IPV6))
                trapTargets.push_back(e.getIP6(key::TARGET_IPV6));
            else if (e.hasU32(key::TARGET_IPV4))
                trapTargets.push_back(lm::IPAddr6::fromIPv4(e.getU32(key::TARGET_IPV4)));
        }
        return;
    }
    if (m.hasIP6(key::TARGET_IPV6))
        trapTargets.push_back(m.getIP6(key::TARGET_IPV6));
    else if (m.hasU32(key::TARGET_IPV4))
        trapTargets.push_back(lm::IPAddr6::fromIPv4(m.getU32(key::TARGET_IPV4)));
}

// An empty text is never used: the bare prefix would be the same engine id on every
// router. A text is made instead, once, and stored with the settings.
void SnmpLooper::setEngineIdText(const std::string& given) {
    const std::string text = given.empty() ? makeEngineIdText() : given;
    if (given.empty()) {
        LLOG(lm::infoLog()) << "engine id text made: " << text << std::endl;
    }
    engineId.assign(ENGINE_ID_PREFIX, ENGINE_ID_PREFIX + sizeof ENGINE_ID_PREFIX);
    engineId.insert(engineId.end(), text.begin(), text.end());
    communities_->setEngineId(engineId);
    publishEngine();
}

void SnmpLooper::publishEngine() { localEngine().info = serverInfo(); }

lm::message SnmpLooper::getConfig() const {
    lm::message m;
    m.setString(key::TRAP_COMMUNITY_NAME, trapCommunityName);
    m.setString(key::CONTACT, contact);
    m.setString(key::LOCATION, location);
    m.setString(key::ENGINE_ID, engineId.size() > sizeof ENGINE_ID_PREFIX
                                    ? std::string(engineId.begin() + sizeof ENGINE_ID_PREFIX,
                                                  engineId.end())
                                    : std::string());
    std::vector<lm::message> targets;
    for (const lm::IPAddr6& t : trapTargets) {
        lm::message e;
        if (t.isIPv4())
            e.setU32(key::TARGET_IPV4, t.getIPv4());
        else
            e.setIP6(key::TARGET_IPV6, t);
        targets.push_back(std::move(e));
    }
    m.setMsgArray(key::TARGETS, std::move(targets));
    m.setU32(key::TRAP_VERSION, trapVersion);
    m.setU32(key::TRAP_COMMUNITY_ID, trapCommunityId);
    m.setU32Array(key::TRAP_GENERATORS, trapGenerators);
    m.setU32(key::ENGINE_BOOTS, engineBoots);
    m.setBool(key::ENABLED, enabled);
    if (!interfaceFilter.empty()) {
        std::vector<lm::message> filter;
        for (uint32_t id : interfaceFilter) {
            lm::message e;
            e.setU32(key::FILTER_ID, id);
            filter.push_back(std::move(e));
        }
        m.setMsgArray(key::INTERFACE_FILTER, std::move(filter));
    }
    return m;
}

lm::message SnmpLooper::getObject(uint32_t) { return getConfig(); }

lm::message SnmpLooper::cmdGet(const lm::message& req) {
    lm::message reply = getConfig();
    if (req.getU32(lm::key::FLAGS, DEFAULT_GET_FLAGS) & FLAG_DEFAULTS)
        reply.setMsg(lm::key::DEFAULTS, defaultsMessage());
    return reply;
}

void SnmpLooper::init() {
    addPolicy(POLICY_ID, POLICY_VALUE);
    lm::message saved;
    if (store.get(0, saved)) {
        trapCommunityName = saved.getString(key::TRAP_COMMUNITY_NAME);
        contact = saved.getString(key::CONTACT);
        location = saved.getString(key::LOCATION);
        readTargets(saved);
        trapVersion = saved.getU32(key::TRAP_VERSION, 0);
        trapCommunityId = saved.getU32(key::TRAP_COMMUNITY_ID, NO_TRAP_COMMUNITY);
        if (const auto* gens = saved.findU32Array(key::TRAP_GENERATORS)) trapGenerators = *gens;
        if (saved.hasMsgArray(key::INTERFACE_FILTER)) readFilter(saved);
        // A start soon after system boot restarts the counter; a later restart counts up.
        uint32_t stored = saved.getU32(key::ENGINE_BOOTS, 0);
        engineBoots = lm::getUptime() < BOOTS_RESTART_UPTIME ? 0 : stored + 1;
        LLOG(lm::infoLog()) << "engineBoots = " << engineBoots << std::endl;
        setEngineIdText(saved.getString(key::ENGINE_ID));
        enabled = saved.getBool(key::ENABLED, false);
        store.put(0, getConfig());
    } else {
        // A fresh install: the engine id is made now and kept from then on.
        setEngineIdText("");
        store.put(0, getConfig());
    }
    if (enabled)
        enable();
    else
        setupLeave(LEAVE_AFTER_MS);
}

lm::message SnmpLooper::cmdSet(const lm::message& req) {
    lm::message old = getConfig();
    old.setU32(lm::key::COMMAND, lm::cmd::SET);
    if (const auto* from = req.findU32Array(lm::key::SENDER); from && !from->empty()) {
        LLOG(lm::infoLog()) << "cmd_set from " << (*from)[0] << std::endl;
    }

    if (req.hasString(key::TRAP_COMMUNITY_NAME)) trapCommunityName = req.getString(key::TRAP_COMMUNITY_NAME);
    if (req.hasString(key::CONTACT)) contact = req.getString(key::CONTACT);
    if (req.hasString(key::LOCATION)) location = req.getString(key::LOCATION);
    readTargets(req);
    if (req.hasU32(key::TRAP_COMMUNITY_ID)) trapCommunityId = req.getU32(key::TRAP_COMMUNITY_ID);
    if (req.hasU32(key::TRAP_VERSION)) trapVersion = req.getU32(key::TRAP_VERSION);
    if (const auto* gens = req.findU32Array(key::TRAP_GENERATORS)) {
        for (Scribers& s : scribers) {
            if (s.unsubscribe) s.unsubscribe();
            LLOG(lm::infoLog()) << "unsubscribed from " << s.name << std::endl;
        }
        std::vector<uint32_t> unique;
        for (uint32_t id : *gens) {
            bool seen = false;
            for (uint32_t u : unique) seen = seen || u == id;
            if (seen) continue;
            unique.push_back(id);
            if (id < scribers.size()) {
                if (scribers[id].subscribe) scribers[id].subscribe();
                LLOG(lm::infoLog()) << "subscribed to " << scribers[id].name << std::endl;
            }
        }
        trapGenerators = std::move(unique);
    }
    if (req.hasU32(key::ENGINE_BOOTS)) engineBoots = req.getU32(key::ENGINE_BOOTS);
    if (req.hasString(key::ENGINE_ID)) setEngineIdText(req.getString(key::ENGINE_ID));
    if (req.hasMsgArray(key::INTERFACE_FILTER)) readFilter(req);
    if (req.hasBool(key::ENABLED)) {
        bool wasEnabled = enabled;
        enabled = req.getBool(key::ENABLED);
        if (enabled) {
            if (!wasEnabled) engineBoots = 0;
            enable();
        } else {
            disable();
        }
    }

    publishEngine();  // boots may have changed
    sendUndo(req, old, "changed snmp settings");
    notifyChange(WHOLE_OBJECT, req);
    store.put(0, getConfig());
    return lm::message();
}

V3ServerInfo SnmpLooper::serverInfo() const {
    V3ServerInfo info;
    info.engineBoots = engineBoots;
    info.startUptime = startUptime;
    info.timeWindow = timeWindow;
    info.engineId = engineId;
    return info;
}

}  // namespace snmp
