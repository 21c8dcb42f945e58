// The host's network interfaces at [20, 0]: one object per link, object id = ifindex
// (fields in platform/services.h, built by interface_object.h).
//
//   get 0xFE000D         the link named by 0x08FE0001, read afresh
//   get-all 0xFE0004     paged (paging.h) from a LinkSnapshot
//   count 0xFE0015       the snapshot's size
//   object set / set     0x20FE0009 sets the link's alias; nothing else can be set
//
// Link announcements from the kernel keep the snapshot current and, when a link's
// administrative or running state changes, are published as notification 0x00010004
// carrying the link's object.
#pragma once

#include "platform/looper.h"
#include "tools/hostd/host_service.h"
#include "tools/hostd/link_snapshot.h"
#include "tools/hostd/link_speed.h"
#include "tools/hostd/link_status.h"
#include "tools/hostd/rtnetlink.h"

namespace hostd {

class InterfaceService : public HostService {
public:
    // Watches link announcements on the runner's loop. Sockets that cannot be opened
    // leave one warning; requests then answer errors and no notification goes out.
    explicit InterfaceService(lm::ThinRunner& runner);
    ~InterfaceService() override;

    lm::message handle(const lm::message& request) override;

private:
    lm::message get(const lm::message& request);
    lm::message list(const lm::message& request);  // get-all and count
    lm::message set(const lm::message& request);

    lm::message objectOf(const LinkInfo& link) const;
    // Reads every link into the snapshot and publishes the state changes it reveals.
    bool readAll(std::string& why);
    // Takes in the announcements queued now, before a request reads the snapshot.
    void takeAnnouncements();
    void onAnnouncement(const LinkEvent& event);
    void publishLink(const lm::message& object);

    lm::ThinRunner& runner_;
    RtnetlinkRequests requests_;
    LinkMonitor monitor_;
    bool monitoring_ = false;
    LinkSpeeds speeds_;
    LinkSnapshot snapshot_;
    LinkStatusTracker status_;
};

}  // namespace hostd
