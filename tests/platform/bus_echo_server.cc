// A bus program for the multi-process tests: bus_echo_server <program> [subscribe <program>]
// Prints "ready" once listening (and subscribed), and "notified <sender...> to <dest...>" for
// every notification it receives. Commands: see test_helpers.h.
#include <unistd.h>

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
            lm::message reply;
            reply.setString(NAME, std::string(req.getU32(VALUE), 'x'));
            reply.setU32(VALUE, req.getU32(VALUE));  // last, after the long string
            return reply;
        }
        case NOTE: {
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
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    EchoServer server;
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
