// lumoctl snmp community print | add | set | remove: the agent's community / user records by
// name (or #ID), with readable field names and values.
#include <iostream>

#include <nlohmann/json.hpp>

#include "platform/bus.h"
#include "security/ids.h"
#include "security/item.h"
#include "tools/lumoctl/snmp_commands.h"
#include "tools/lumoctl/snmp_values.h"

namespace lumoctl {

namespace {

using namespace snmpval;
namespace ik = snmp::itemkey;

const lm::Path communitiesPath{AGENT_PROGRAM, snmp::ID_COMMUNITIES};

bool setName(const std::string& v, lm::message& m) {
    if (v.empty()) return false;
    m.setString(ik::NAME, v);
    return true;
}

bool setAddresses(const std::string& v, lm::message& m) {
    std::vector<lm::message> elements;
    if (!parsePrefixes(v, elements)) return false;
    m.setMsgArray(ik::ADDRESSES, std::move(elements));  // empty: the agent allows any IPv4 source
    return true;
}

template <uint32_t KEY>
bool setSwitchField(const std::string& v, lm::message& m) {
    bool b;
    if (!parseSwitch(v, b)) return false;
    m.setBool(KEY, b);
    return true;
}

template <uint32_t KEY, bool (*PARSE)(const std::string&, uint32_t&)>
bool setNumberField(const std::string& v, lm::message& m) {
    uint32_t n;
    if (!PARSE(v, n)) return false;
    m.setU32(KEY, n);
    return true;
}

template <uint32_t KEY>
bool setText(const std::string& v, lm::message& m) {
    m.setString(KEY, v);
    return true;
}

struct Field {
    const char* name;
    const char* expected;  // completes "NAME: "VALUE" is not ..."
    bool (*apply)(const std::string& value, lm::message& request);
};

const Field fields[] = {
    {"name", "a non-empty name", setName},
    {"addresses", "a comma list of a.b.c.d/len, a.b.c.d/m.m.m.m, a.b.c.d, x::y/len or x::y", setAddresses},
    {"read-access", "yes, no, on, off, true or false", setSwitchField<ik::READ_ACCESS>},
    {"write-access", "yes, no, on, off, true or false", setSwitchField<ik::WRITE_ACCESS>},
    {"security", "noauth, auth, priv, 0, 1 or 2", setNumberField<ik::SECURITY_LEVEL, parseSecurityLevel>},
    {"authentication-protocol", "md5, sha, sha224, sha256, sha384 or sha512", setNumberField<ik::AUTH_PROTOCOL, parseAuthProtocol>},
    {"encryption-protocol", "des or aes", setNumberField<ik::PRIV_PROTOCOL, parsePrivProtocol>},
    {"authentication-password", "", setText<ik::AUTH_PASSWORD>},
    {"encryption-password", "", setText<ik::PRIV_PASSWORD>},
};

std::string fieldNames() {
    std::string names;
    for (const Field& f : fields) names += std::string(names.empty() ? "" : ", ") + f.name;
    return names;
}

// Reads field=value arguments into request; EXIT_OK or the usage status with its line printed.
int readFields(const std::vector<std::string>& args, size_t from, lm::message& request) {
    for (size_t i = from; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const size_t eq = arg.find('=');
        if (eq == std::string::npos) return badArgument("\"" + arg + "\": expected FIELD=VALUE");
        const std::string name = arg.substr(0, eq), value = arg.substr(eq + 1);
        const Field* found = nullptr;
        for (const Field& f : fields)
            if (name == f.name) found = &f;
        if (!found) return badArgument("unknown community field \"" + name + "\" (fields: " + fieldNames() + ")");
        if (!found->apply(value, request)) return badArgument(name + ": \"" + value + "\" is not " + found->expected);
    }
    return EXIT_OK;
}

std::string passwordText(const std::string& password, bool show) {
    if (show) return password;
    return password.empty() ? "(none)" : "(set)";
}

std::vector<std::string> addressTexts(const lm::message& record) {
    std::vector<std::string> texts;
    if (const auto* list = record.findMsgArray(ik::ADDRESSES))
        for (const lm::message& e : *list) {
            std::string t = prefixText(e);
            if (!t.empty()) texts.push_back(std::move(t));
        }
    return texts;
}

nlohmann::ordered_json recordJson(const lm::message& r, bool showPasswords) {
    nlohmann::ordered_json j;
    j["id"] = r.getU32(lm::key::OBJECT_ID);
    j["name"] = r.getString(ik::NAME);
    j["default"] = r.getBool(ik::IS_DEFAULT);
    j["addresses"] = addressTexts(r);
    j["read-access"] = r.getBool(ik::READ_ACCESS);
    j["write-access"] = r.getBool(ik::WRITE_ACCESS);
    j["security"] = securityLevelText(r.getU32(ik::SECURITY_LEVEL));
    j["authentication-protocol"] = authProtocolText(r.getU32(ik::AUTH_PROTOCOL));
    j["encryption-protocol"] = privProtocolText(r.getU32(ik::PRIV_PROTOCOL));
    j["authentication-password"] = passwordText(r.getString(ik::AUTH_PASSWORD), showPasswords);
    j["encryption-password"] = passwordText(r.getString(ik::PRIV_PASSWORD), showPasswords);
    return j;
}

void printRecords(const std::vector<const lm::message*>& records, bool showPasswords) {
    std::vector<std::vector<std::string>> rows{{"ID", "NAME", "READ", "WRITE", "SECURITY", "AUTH", "PRIV",
                                                "AUTH-PASSWORD", "PRIV-PASSWORD", "ADDRESSES"}};
    for (const lm::message* r : records) {
        std::string addresses;
        for (const std::string& a : addressTexts(*r)) addresses += (addresses.empty() ? "" : ",") + a;
        rows.push_back({std::to_string(r->getU32(lm::key::OBJECT_ID)), r->getString(ik::NAME),
                        switchText(r->getBool(ik::READ_ACCESS)), switchText(r->getBool(ik::WRITE_ACCESS)),
                        securityLevelText(r->getU32(ik::SECURITY_LEVEL)),
                        authProtocolText(r->getU32(ik::AUTH_PROTOCOL)),
                        privProtocolText(r->getU32(ik::PRIV_PROTOCOL)),
                        passwordText(r->getString(ik::AUTH_PASSWORD), showPasswords),
                        passwordText(r->getString(ik::PRIV_PASSWORD), showPasswords),
                        addresses.empty() ? "(none)" : addresses});
    }
    printColumns(std::cout, rows);
}

int print(const Options& options, const std::vector<std::string>& args) {
    bool showPasswords = false;
    std::vector<std::string> names;
    for (const std::string& a : args) {
        if (a == "--show-passwords")
            showPasswords = true;
        else
            names.push_back(a);
    }
    if (names.size() > 1) return usageError("snmp community print takes at most one NAME");

    BusClient client;
    std::vector<lm::message> records;
    lm::message error;
    if (!fetchCommunities(client, options.timeoutMs, records, error)) return errorStatus(error);
    std::vector<const lm::message*> shown;
    if (names.empty()) {
        for (const lm::message& r : records) shown.push_back(&r);
    } else {
        const lm::message* r = findCommunity(records, names[0]);
        if (!r) return failure("no community \"" + names[0] + "\"");
        shown.push_back(r);
    }

    if (!options.json) {
        printRecords(shown, showPasswords);
        return EXIT_OK;
    }
    // One record asked for by name prints as an object, the whole list as an array.
    nlohmann::ordered_json out = nlohmann::ordered_json::array();
    for (const lm::message* r : shown) out.push_back(recordJson(*r, showPasswords));
    if (!names.empty()) out = out[0];
    std::cout << out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    return EXIT_OK;
}

int add(const Options& options, const std::vector<std::string>& args) {
    if (args.empty()) return usageError("snmp community add needs a NAME");
    lm::message request;
    if (!setName(args[0], request)) return badArgument("name: a community name must not be empty");
    if (int status = readFields(args, 1, request)) return status;

    BusClient client;
    lm::message reply = client.call(communitiesPath, lm::cmd::ADD, std::move(request), options.timeoutMs);
    if (int status = errorStatus(reply)) return status;
    std::cout << "added community \"" << args[0] << "\" as id " << reply.getU32(lm::key::OBJECT_ID) << "\n";
    return EXIT_OK;
}

// set and remove: the record named by args[0] gets command with the given fields.
int change(const Options& options, const std::vector<std::string>& args, uint32_t command) {
    const bool isSet = command == lm::cmd::OBJECT_SET;
    if (args.empty()) return usageError(std::string("snmp community ") + (isSet ? "set" : "remove") + " needs a NAME");
    if (isSet && args.size() < 2) return usageError("snmp community set needs FIELD=VALUE ...");
    if (!isSet && args.size() > 1) return usageError("snmp community remove takes only a NAME");
    lm::message request;
    if (int status = readFields(args, 1, request)) return status;

    BusClient client;
    std::vector<lm::message> records;
    lm::message error;
    if (!fetchCommunities(client, options.timeoutMs, records, error)) return errorStatus(error);
    const lm::message* record = findCommunity(records, args[0]);
    if (!record) return failure("no community \"" + args[0] + "\"");
    request.setU32(lm::key::OBJECT_ID, record->getU32(lm::key::OBJECT_ID));
    return errorStatus(client.call(communitiesPath, command, std::move(request), options.timeoutMs));
}

}  // namespace

int runSnmpCommunity(const Options& options, const std::vector<std::string>& args) {
    if (args.empty()) return usageError("snmp community needs print, add, set or remove");
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (args[0] == "print") return print(options, rest);
    if (args[0] == "add") return add(options, rest);
    if (args[0] == "set") return change(options, rest, lm::cmd::OBJECT_SET);
    if (args[0] == "remove") return change(options, rest, lm::cmd::REMOVE);
    return usageError("unknown snmp community command \"" + args[0] + "\": expected print, add, set or remove");
}

}  // namespace lumoctl
