// lumoctl snmp print / set: the agent's settings object by readable names.
#include <iostream>

#include <nlohmann/json.hpp>

#include "platform/bus.h"
#include "security/item.h"
#include "tools/lumoctl/snmp_commands.h"
#include "tools/lumoctl/snmp_values.h"

namespace lumoctl {

namespace {

using namespace snmpval;

// The engine id on the wire is five fixed octets and this text; SNMP engine ids are 32 octets
// at most.
constexpr size_t ENGINE_ID_TEXT_MAX = 27;

const lm::Path settingsPath{AGENT_PROGRAM, SETTINGS_HANDLER};

bool setSwitch(const std::string& v, lm::message& m) {
    bool b;
    if (!parseSwitch(v, b)) return false;
    m.setBool(setting::ENABLED, b);
    return true;
}

bool setContact(const std::string& v, lm::message& m) {
    m.setString(setting::CONTACT, v);
    return true;
}

bool setLocation(const std::string& v, lm::message& m) {
    m.setString(setting::LOCATION, v);
    return true;
}

bool setEngineId(const std::string& v, lm::message& m) {
    if (v.size() > ENGINE_ID_TEXT_MAX) return false;
    m.setString(setting::ENGINE_ID, v);
    return true;
}

// Held as a name until the record list says which id it is (see runSnmpSet).
bool setTrapCommunity(const std::string& v, lm::message& m) {
    if (v.empty()) return false;
    m.setString(setting::TRAP_COMMUNITY_NAME, v);
    return true;
}

bool setTrapVersion(const std::string& v, lm::message& m) {
    uint32_t n;
    if (!parseTrapVersion(v, n)) return false;
    m.setU32(setting::TRAP_VERSION, n);
    return true;
}

bool setTrapTargets(const std::string& v, lm::message& m) {
    std::vector<lm::IPAddr6> targets;
    if (!parseAddresses(v, targets)) return false;
    std::vector<lm::message> elements;
    for (const lm::IPAddr6& t : targets) elements.push_back(targetElement(t));
    m.setMsgArray(setting::TARGETS, std::move(elements));  // the array replaces the whole list
    return true;
}

bool setGenerators(const std::string& v, lm::message& m) {
    std::vector<uint32_t> ids;
    if (!parseGenerators(v, ids)) return false;
    m.setU32Array(setting::TRAP_GENERATORS, std::move(ids));
    return true;
}

bool setInterfaceFilter(const std::string& v, lm::message& m) {
    std::vector<uint32_t> ids;
    if (!parseInterfaceFilter(v, ids)) return false;
    std::vector<lm::message> elements;
    for (uint32_t id : ids) elements.push_back(lm::message().setU32(setting::FILTER_ID, id));
    m.setMsgArray(setting::INTERFACE_FILTER, std::move(elements));
    return true;
}

struct Setting {
    const char* name;
    const char* expected;  // completes "NAME: "VALUE" is not ..."
    bool (*apply)(const std::string& value, lm::message& request);  // null: read-only
};

const Setting settings[] = {
    {"enabled", "yes, no, on, off, true or false", setSwitch},
    {"contact", "", setContact},
    {"location", "", setLocation},
    {"engine-id", "a text of at most 27 characters", setEngineId},
    {"trap-community", "a community name or #ID", setTrapCommunity},
    {"trap-version", "1, 2c or 3", setTrapVersion},
    {"trap-target", "a comma list of IPv4 and IPv6 addresses", setTrapTargets},
    {"trap-generators", "a comma list of start, interfaces and generator numbers", setGenerators},
    {"interface-filter", "all or a comma list of interface ids", setInterfaceFilter},
    {"engine-boots", "", nullptr},
};

std::string settingNames() {
    std::string names;
    for (const Setting& s : settings)
        if (s.apply) names += std::string(names.empty() ? "" : ", ") + s.name;
    return names;
}

std::string joined(const std::vector<std::string>& items, const std::string& none) {
    if (items.empty()) return none;
    std::string text;
    for (const std::string& i : items) text += (text.empty() ? "" : ",") + i;
    return text;
}

// The settings with readable values, in the order of the table above. Lists are vectors of
// text so the table and JSON forms come from one place.
struct Readable {
    bool enabled;
    std::string contact, location, engineId, trapVersion, storedCommunityName;
    uint32_t trapCommunityId;
    const lm::message* trapCommunity;  // the record with that id, if any
    std::vector<std::string> targets, generators;
    std::vector<uint32_t> interfaceFilter;
    uint32_t engineBoots;
};

Readable readable(const lm::message& s, const std::vector<lm::message>& records) {
    Readable r;
    r.enabled = s.getBool(setting::ENABLED);
    r.contact = s.getString(setting::CONTACT);
    r.location = s.getString(setting::LOCATION);
    r.engineId = s.getString(setting::ENGINE_ID);
    r.storedCommunityName = s.getString(setting::TRAP_COMMUNITY_NAME);
    r.trapCommunityId = s.getU32(setting::TRAP_COMMUNITY_ID, NO_COMMUNITY);
    r.trapCommunity = findCommunity(records, "#" + std::to_string(r.trapCommunityId));
    r.trapVersion = trapVersionText(s.getU32(setting::TRAP_VERSION));
    if (const auto* list = s.findMsgArray(setting::TARGETS))
        for (const lm::message& e : *list) {
            lm::IPAddr6 a;
            if (targetOf(e, a)) r.targets.push_back(a.str());
        }
    if (const auto* gens = s.findU32Array(setting::TRAP_GENERATORS))
        for (uint32_t g : *gens) r.generators.push_back(generatorText(g));
    if (const auto* filter = s.findMsgArray(setting::INTERFACE_FILTER))
        for (const lm::message& e : *filter) r.interfaceFilter.push_back(e.getU32(setting::FILTER_ID, 0xFFFFFFFF));
    r.engineBoots = s.getU32(setting::ENGINE_BOOTS);
    return r;
}

std::string trapCommunityText(const Readable& r) {
    const std::string stored = "stored name \"" + r.storedCommunityName + "\"";
    if (r.trapCommunity)
        return r.trapCommunity->getString(snmp::itemkey::NAME) + " (id " + std::to_string(r.trapCommunityId) +
               ", " + stored + ")";
    if (r.trapCommunityId == NO_COMMUNITY) return "(none) (" + stored + ")";
    return "(none) (id " + std::to_string(r.trapCommunityId) + " names no record, " + stored + ")";
}

void printTable(const Readable& r) {
    std::vector<std::string> filter;
    for (uint32_t id : r.interfaceFilter) filter.push_back(std::to_string(id));
    auto text = [](const std::string& s) { return s.empty() ? std::string("(none)") : s; };
    printColumns(std::cout, {
        {"enabled", switchText(r.enabled)},
        {"contact", text(r.contact)},
        {"location", text(r.location)},
        {"engine-id", text(r.engineId)},
        {"trap-community", trapCommunityText(r)},
        {"trap-version", r.trapVersion},
        {"trap-target", joined(r.targets, "(none)")},
        {"trap-generators", joined(r.generators, "(none)")},
        {"interface-filter", joined(filter, "all")},
        {"engine-boots", std::to_string(r.engineBoots)},
    });
}

void printJson(const Readable& r) {
    nlohmann::ordered_json community;
    community["name"] = r.trapCommunity ? nlohmann::ordered_json(r.trapCommunity->getString(snmp::itemkey::NAME))
                                        : nlohmann::ordered_json(nullptr);
    community["id"] = r.trapCommunityId == NO_COMMUNITY ? nlohmann::ordered_json(nullptr)
                                                        : nlohmann::ordered_json(r.trapCommunityId);
    community["stored-name"] = r.storedCommunityName;
    nlohmann::ordered_json j;
    j["enabled"] = r.enabled;
    j["contact"] = r.contact;
    j["location"] = r.location;
    j["engine-id"] = r.engineId;
    j["trap-community"] = std::move(community);
    j["trap-version"] = r.trapVersion;
    j["trap-target"] = r.targets;
    j["trap-generators"] = r.generators;
    j["interface-filter"] = r.interfaceFilter;  // empty: all interfaces
    j["engine-boots"] = r.engineBoots;
    std::cout << j.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

}  // namespace

int runSnmpPrint(const Options& options, const std::vector<std::string>& args) {
    if (!args.empty()) return usageError("snmp print takes no arguments");
    BusClient client;
    lm::message settingsReply = client.call(settingsPath, lm::cmd::GET, lm::message(), options.timeoutMs);
    if (lm::isError(settingsReply)) return errorStatus(settingsReply);
    std::vector<lm::message> records;
    lm::message error;
    if (!fetchCommunities(client, options.timeoutMs, records, error)) return errorStatus(error);

    const Readable r = readable(settingsReply, records);
    if (options.json)
        printJson(r);
    else
        printTable(r);
    return EXIT_OK;
}

int runSnmpSet(const Options& options, const std::vector<std::string>& args) {
    if (args.empty()) return usageError("snmp set needs NAME=VALUE ...");
    lm::message request;
    for (const std::string& arg : args) {
        const size_t eq = arg.find('=');
        if (eq == std::string::npos) return badArgument("\"" + arg + "\": expected NAME=VALUE");
        const std::string name = arg.substr(0, eq), value = arg.substr(eq + 1);
        const Setting* found = nullptr;
        for (const Setting& s : settings)
            if (name == s.name) found = &s;
        if (!found) return badArgument("unknown setting \"" + name + "\" (settings: " + settingNames() + ")");
        if (!found->apply) return badArgument(name + " is read-only");
        if (!found->apply(value, request))
            return badArgument(name + ": \"" + value + "\" is not " + found->expected);
    }

    BusClient client;
    if (const std::string* wanted = request.findString(setting::TRAP_COMMUNITY_NAME)) {
        // Traps go out with the record of the id; the name travels too, for the front end.
        std::vector<lm::message> records;
        lm::message error;
        if (!fetchCommunities(client, options.timeoutMs, records, error)) return errorStatus(error);
        const lm::message* record = findCommunity(records, *wanted);
        if (!record) return failure("trap-community: no community \"" + *wanted + "\"");
        request.setU32(setting::TRAP_COMMUNITY_ID, record->getU32(lm::key::OBJECT_ID));
        request.setString(setting::TRAP_COMMUNITY_NAME, record->getString(snmp::itemkey::NAME));
    }
    return errorStatus(client.call(settingsPath, lm::cmd::SET, std::move(request), options.timeoutMs));
}

}  // namespace lumoctl
