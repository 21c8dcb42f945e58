// A bus program for the multi-process tests: bus_echo_server <program> [subscribe <program>]
// Prints "ready" once listening (and subscribed), and "notified <sender...> to <dest...>" for
// every notification it receives. Commands: see test_helpers.h.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/looper.h"
#include "tests/platform/test_helpers.h"

namespace {

void say(std::string line) {
    line.push_back('\n');
    if (write(1, line.data(), line.size()) < 0) _exit(3);
}

void appendPath(std::string& s, const lm::Path& p) {
    for (uint32_t e : p) {
        s.push_back(' ');
        s.append(std::to_string(e));
    }
}

class Publisher : public lm::Handler {
public:
    // A filter naming an object id admits only that object.
    bool filterMatches(const lm::message& filter, const lm::message& m) const override {
        return !filter.hasU32(lm::key::OBJECT_ID) ||
               filter.getU32(lm::key::OBJECT_ID) == m.getU32(lm::key::OBJECT_ID);
    }
};

class EchoServer : public lm::Looper {
public:
    lm::message cmdUnknown(const lm::message& req, uint32_t command) override {
        using namespace lm::test;
        switch (command) {
        case ECHO: {
            lm::message reply;
            reply.setU32(VALUE, req.getU32(VALUE));
            return reply;
        }
        case SLEEP:
            usleep(req.getU32(VALUE) * 1000);
            return req;
        case BIG: {
            std::vector<lm::message> objects(req.getU32(VALUE));
            for (uint32_t i = 0; i < objects.size(); ++i) {
                objects[i].setU32(lm::key::OBJECT_ID, i);
                objects[i].setString(NAME, "object number " + std::to_string(i) + " of a big list");
            }
            lm::message reply;
            reply.setMsgArray(lm::key::OBJECTS, std::move(objects));
            return reply;
        }
        case PUBLISH: {
            lm::message n;
            n.setU32(lm::key::OBJECT_ID, req.getU32(VALUE));
            publisher.publish(NOTE, n);
            return {};
        }
        case NOTE:
        {
            std::string line = "notified";
            appendPath(line, req.sender());
            line.append(" to");
            appendPath(line, req.destination());
            say(line);
            return {};
        }
        default:
            return lm::Looper::cmdUnknown(req, command);
        }
    }
    Publisher publisher;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bus_echo_server <program> [subscribe <program>]\n");
        return 2;
    }
    EchoServer server;
    server.addHandler(lm::test::PUBLISHER, &server.publisher);
    if (!server.listen(std::strtoul(argv[1], nullptr, 10))) return 1;
    if (argc >= 4 && std::strcmp(argv[2], "subscribe") == 0) {
        lm::Path publisher{uint32_t(std::strtoul(argv[3], nullptr, 10)), lm::test::PUBLISHER};
        server.subscribe(publisher, lm::test::NOTE, lm::message());
        // The publisher has the subscription once it answered a request sent after it.
        lm::message ping;
        ping.setDestination(publisher);
        ping.setCommand(lm::cmd::GET);
        server.exchangeMessage(ping, 5000);
    }
    say("ready");
    return server.run();
}
