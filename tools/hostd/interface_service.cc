#include "tools/hostd/interface_service.h"

#include <errno.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <unordered_set>

#include "platform/log.h"
#include "platform/services.h"
#include "platform/util.h"
#include "tools/hostd/interface_object.h"
#include "tools/hostd/interfaces_log.h"

namespace hostd {

namespace {

namespace iface = lm::service::iface;

// The kernel keeps at most this many octets of an alias (IFALIASZ less its NUL).
constexpr size_t MAX_ALIAS = 255;

// Transport fields (0xFF00xx: destination, sender, sequence, command, ...) are not data.
bool isHeader(uint32_t key) { return (lm::fieldOf(key) >> 16) == 0xFF; }

}  // namespace

InterfaceService::InterfaceService(lm::ThinRunner& runner) : runner_(runner) {
    std::string why;
    if (!requests_.open(why)) {
        LLOG(lm::warningLog()) << "lumo-hostd: interfaces: " << why << "; requests will fail" << std::endl;
        return;
    }
    // The monitor listens before the first reading, so no change falls between the two.
    if (monitor_.open(why)) {
        monitoring_ = true;
        runner_.addSocket(monitor_.fd(), lm::ThinRunner::READABLE,
                          [this](int, unsigned) { takeAnnouncements(); });
    } else {
        LLOG(lm::warningLog()) << "lumo-hostd: interfaces: " << why
                               << "; link state notifications are off" << std::endl;
    }
    if (!readAll(why)) {
        LLOG(lm::warningLog()) << "lumo-hostd: interfaces: reading the links: " << why << std::endl;
    }
}

InterfaceService::~InterfaceService() {
    if (monitoring_) runner_.removeSocket(monitor_.fd());
}

lm::message InterfaceService::handle(const lm::message& request) {
    switch (request.command()) {
    case lm::cmd::GET: return get(request);
    case lm::cmd::GET_ALL:
    case lm::cmd::COUNT: return list(request);
    case lm::cmd::SET:
    case lm::cmd::OBJECT_SET: return set(request);
    default: {
        char text[80];
        std::snprintf(text, sizeof text, "command 0x%X not served by the interfaces", request.command());
        return lm::errorMsg(text, lm::err::BAD_REQUEST);
    }
    }
}

lm::message InterfaceService::objectOf(const LinkInfo& link) const {
    return interfaceObject(link, speeds_.speedMbps(link.name));
}

void InterfaceService::publishLink(const lm::message& object) {
    if (endpoint()) endpoint()->publish(lm::service::LINK_NOTIFICATION, object);
}

bool InterfaceService::readAll(std::string& why) {
    std::vector<LinkInfo> links;
    if (!requests_.dumpLinks(links, why)) return false;
    std::vector<lm::message> objects;
    objects.reserve(links.size());
    std::unordered_set<uint32_t> seen;
    for (const LinkInfo& link : links) {
        objects.push_back(objectOf(link));
        seen.insert(link.index);
        // A change the announcements have not brought yet; its announcement then repeats
        // the state and publishes nothing.
        if (status_.update(link.index, statusFlags(link.flags))) publishLink(objects.back());
    }
    status_.forgetUnless([&](uint32_t index) { return seen.count(index) != 0; });
    snapshot_.replace(std::move(objects), lm::monotonicMs());
    return true;
}

void InterfaceService::onAnnouncement(const LinkEvent& event) {
    // A bridge announces its ports' bridging state as AF_BRIDGE messages of the same
    // types; they are not the links themselves.
    if (event.link.family != AF_UNSPEC) return;
    if (event.removed) {
        status_.forget(event.link.index);
        snapshot_.remove(event.link.index);
        return;
    }
    const bool changed = status_.update(event.link.index, statusFlags(event.link.flags));
    if (!changed && !snapshot_.held()) return;  // thousands of links made at once: no ioctl each
    lm::message object = objectOf(event.link);
    if (changed) publishLink(object);
    snapshot_.put(std::move(object));
}

void InterfaceService::takeAnnouncements() {
    if (!monitoring_) return;
    // A snapshot past its age is read again by the next request: keeping it current is waste.
    if (!snapshot_.fresh(lm::monotonicMs())) snapshot_.drop();
    if (monitor_.drain([this](const LinkEvent& e) { onAnnouncement(e); })) return;
    // Announcements were lost: read everything again, which also publishes what changed.
    LLOG(interfacesLog()) << "interfaces: link announcements overflowed; reading every link" << std::endl;
    std::string why;
    if (!readAll(why)) {
        snapshot_.drop();
        LLOG(interfacesLog()) << "interfaces: reading the links: " << why << std::endl;
    }
}

lm::message InterfaceService::get(const lm::message& request) {
    if (!request.has(lm::key::OBJECT_ID))
        return lm::errorMsg("get needs an interface index 0x08FE0001", lm::err::NO_OBJECT);
    const uint32_t index = request.getU32(lm::key::OBJECT_ID);
    LinkInfo link;
    std::string why;
    const int error = index == 0 || index > uint32_t(INT32_MAX) ? ENODEV : requests_.getLink(index, link, why);
    if (error == ENODEV) return lm::errorMsg("no interface " + std::to_string(index), lm::err::NO_OBJECT);
    if (error) return lm::errorMsg("interface " + std::to_string(index) + ": " + why, lm::err::FAILED);
    return objectOf(link);
}

lm::message InterfaceService::list(const lm::message& request) {
    takeAnnouncements();
    if (!snapshot_.fresh(lm::monotonicMs())) {
        std::string why;
        if (!readAll(why)) return lm::errorMsg("reading the links: " + why, lm::err::FAILED);
    }
    if (request.command() == lm::cmd::COUNT) {
        lm::message reply;
        reply.setU32(lm::key::COUNT, uint32_t(snapshot_.objects().size()));
        return reply;
    }
    return pageReply(request, snapshot_.objects(), paging());
}

lm::message InterfaceService::set(const lm::message& request) {
    if (!request.has(lm::key::OBJECT_ID))
        return lm::errorMsg("set needs an interface index 0x08FE0001", lm::err::BAD_REQUEST);
    for (uint32_t key : request.keys())
        if (!isHeader(key) && key != lm::key::OBJECT_ID && key != iface::COMMENT)
            return lm::errorMsg("only the comment (0x20FE0009, the link's alias) can be set on an interface",
                                lm::err::REFUSED);
    const std::string* alias = request.findString(iface::COMMENT);
    if (!alias) return {};  // nothing to change
    if (alias->size() > MAX_ALIAS)
        return lm::errorMsg("comment longer than " + std::to_string(MAX_ALIAS) + " octets, the most a link's alias holds",
                            lm::err::REFUSED);
    if (alias->find('\0') != std::string::npos)
        return lm::errorMsg("a comment cannot hold a NUL octet: the kernel would keep only what precedes it",
                            lm::err::REFUSED);
    const uint32_t index = request.getU32(lm::key::OBJECT_ID);
    std::string why;
    const int error = index == 0 || index > uint32_t(INT32_MAX) ? ENODEV : requests_.setAlias(index, *alias, why);
    if (error == 0) {
        // The kernel announces an alias change only for a link that is up: the snapshot
        // takes the new comment itself, so the next get-all shows it either way.
        if (lm::message* held = snapshot_.find(index)) held->setString(iface::COMMENT, *alias);
        return {};
    }
    const std::string what = "setting the comment of interface " + std::to_string(index);
    LLOG(interfacesLog()) << "interfaces: " << what << ": " << why << std::endl;
    if (error == ENODEV) return lm::errorMsg(what + ": no such interface", lm::err::NO_OBJECT);
    if (error == EPERM || error == EACCES)
        return lm::errorMsg(what + ": not permitted (" + why + ")", lm::err::REFUSED);
    return lm::errorMsg(what + ": " + why, lm::err::FAILED);
}

}  // namespace hostd
