// The system group (1.3.6.1.2.1.1), which every manager reads first. sysDescr and sysName
// come from the system-information service; sysContact and sysLocation are the agent's
// own settings, so a Set changes and persists the setting.
#include <sys/utsname.h>

#include <chrono>
#include <string>

#include "mib/branch.h"
#include "mib/data_provider.h"
#include "mib/packers.h"
#include "mib/service_query.h"
#include "mib/set_value_check.h"
#include "modules/modules.h"
#include "platform/agent_settings.h"
#include "platform/bus.h"
#include "platform/services.h"
#include "platform/util.h"
#include "wire/snmp_codes.h"

namespace snmp {

namespace {

// Layers served by a router: datalink (2), internet (3), end-to-end (4), applications (7).
constexpr int SYS_SERVICES = 2 + 4 + 8 + 64;

struct SystemInfo : Data {
    std::string description;
    std::string hostName;
};

struct Ticks : Data {
    unsigned value = 0;
};

struct Text : Data {
    std::string value;
};

// The system-information service's object; when the service is absent or fails, the
// agent describes the host it runs on rather than answer nothing.
//
// Kept for a second: sysDescr and sysName change only with an upgrade or a rename, yet
// managers ask for them in every poll. Without the copy each Get costs a bus round trip to
// the service (or, once it is blacklisted, a skipped query and a uname call), which
// bounded the whole agent under load.
class SystemInfoProvider : public SingleProvider {
public:
    SystemInfoProvider() : SingleProvider(false) {}  // sysDescr and sysName are read-only
    Data* getData() override {
        const auto now = std::chrono::steady_clock::now();
        if (!haveCopy_ || now - fetchedAt_ >= KEEP_FOR) {
            fetch(cached_);
            fetchedAt_ = std::chrono::steady_clock::now();  // a slow answer still counts from its arrival
            haveCopy_ = true;
        }
        return new SystemInfo(cached_);
    }
    bool setData(Data*) override { return false; }

private:
    static constexpr std::chrono::milliseconds KEEP_FOR{1000};

    static void fetch(SystemInfo& info) {
        lm::message req;
        req.setCommand(lm::cmd::GET);
        const lm::message reply =
            queryService({lm::service::SYSTEM_PROGRAM, lm::service::SYSINFO_HANDLER}, req);
        info = SystemInfo();
        if (!lm::isError(reply)) {
            info.description = reply.getString(lm::service::sysinfo::DESCRIPTION);
            info.hostName = reply.getString(lm::service::sysinfo::HOST_NAME);
        }
        if (info.description.empty() || info.hostName.empty()) fallback(info);
    }
    static void fallback(SystemInfo& info) {
        utsname u{};
        if (uname(&u) != 0) return;
        if (info.description.empty())
            info.description = std::string(u.sysname) + " " + u.release + " " + u.version + " " + u.machine;
        if (info.hostName.empty()) info.hostName = u.nodename;
    }

    SystemInfo cached_;
    std::chrono::steady_clock::time_point fetchedAt_;
    bool haveCopy_ = false;
};

// One string of the agent settings, read and written through the agent's settings object
// on the bus (delivered in-process: the module runs inside the agent).
class SettingProvider : public SingleProvider {
public:
    explicit SettingProvider(uint32_t key) : key_(key) {}
    Data* getData() override {
        lm::message reply = exchange(lm::cmd::GET, lm::message());
        if (lm::isError(reply)) return nullptr;
        auto* t = new Text;
        t->value = reply.getString(key_);
        return t;
    }
    bool setData(Data* d) override {
        lm::message change;
        change.setString(key_, static_cast<Text*>(d)->value);
        return !lm::isError(exchange(lm::cmd::SET, std::move(change)));
    }

private:
    static lm::message exchange(uint32_t command, lm::message m) {
        m.setCommand(command);
        return queryService({AGENT_PROGRAM, SETTINGS_HANDLER}, m);
    }
    uint32_t key_;
};

}  // namespace

void start_system_module() {
    const OID system("1.3.6.1.2.1.1");
    auto* info = new SystemInfoProvider;
    addScalarLeaf(system + 1u, new DataStringPacker(&SystemInfo::description, tag::OCTET_STRING), info);
    addScalarConstOIDLeaf(system + 2u, OID("1.3.6.1.4.1.47392.1"), tag::OBJECT_ID);
    addScalarLeaf(system + 3u, new DataNumPacker(&Ticks::value, tag::TIMETICKS),
                  new ProxyDataProvider([] {
                      auto* t = new Ticks;
                      t->value = lm::getJiffies() - lm::startJiffies();
                      return static_cast<Data*>(t);
                  }));
    addScalarLeaf(system + 4u, new DisplayStringPacker(&Text::value, MAX_SET_STRING),
                  new SettingProvider(setting::CONTACT));
    addScalarLeaf(system + 5u, new DataStringPacker(&SystemInfo::hostName, tag::OCTET_STRING), info);
    addScalarLeaf(system + 6u, new DisplayStringPacker(&Text::value, MAX_SET_STRING),
                  new SettingProvider(setting::LOCATION));
    addScalarConstNumLeaf(system + 7u, SYS_SERVICES, tag::INTEGER);
}

}  // namespace snmp
