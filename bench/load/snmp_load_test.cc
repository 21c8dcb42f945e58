#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "bench/load/load_options.h"
#include "bench/load/load_report.h"
#include "bench/load/load_run.h"
#include "bench/load/snmp_request.h"

namespace load {
namespace {

using Bytes = std::vector<uint8_t>;

// Requests as net-snmp 5.9.3 sends them (tests/wire/fixtures), with their request-ids.
struct Captured {
    const char* name;
    RequestSpec spec;
    uint32_t id;
    Bytes bytes;
};

std::vector<Captured> captured() {
    RequestSpec v2cGet;
    v2cGet.oids = {"1.3.6.1.2.1.1.1.0"};
    RequestSpec v1Get = v2cGet;
    v1Get.version = 0;
    RequestSpec bulk;
    bulk.op = Operation::GetBulk;
    bulk.nonRepeaters = 1;
    bulk.maxRepetitions = 5;
    bulk.oids = {".1.3.6.1.2.1.1.3.0", "1.3.6.1.2.1.2.2"};
    return {
        {"v2c get", v2cGet, 0x09d53a67,
         {0x30, 0x29, 0x02, 0x01, 0x01, 0x04, 0x06, 0x70, 0x75, 0x62, 0x6c, 0x69, 0x63, 0xa0, 0x1c,
          0x02, 0x04, 0x09, 0xd5, 0x3a, 0x67, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0e, 0x30,
          0x0c, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00, 0x05, 0x00}},
        {"v1 get", v1Get, 0x09d53a67,
         {0x30, 0x29, 0x02, 0x01, 0x00, 0x04, 0x06, 0x70, 0x75, 0x62, 0x6c, 0x69, 0x63, 0xa0, 0x1c,
          0x02, 0x04, 0x09, 0xd5, 0x3a, 0x67, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0e, 0x30,
          0x0c, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00, 0x05, 0x00}},
        {"v2c bulk", bulk, 0x3ed3c26f,
         {0x30, 0x36, 0x02, 0x01, 0x01, 0x04, 0x06, 0x70, 0x75, 0x62, 0x6c, 0x69, 0x63, 0xa5, 0x29,
          0x02, 0x04, 0x3e, 0xd3, 0xc2, 0x6f, 0x02, 0x01, 0x01, 0x02, 0x01, 0x05, 0x30, 0x1b, 0x30,
          0x0c, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, 0x05, 0x00, 0x30, 0x0b,
          0x06, 0x07, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x02, 0x02, 0x05, 0x00}},
    };
}

TEST(EncodeRequest, MatchesNetSnmpOnceTheIdIsPatched) {
    for (const Captured& c : captured()) {
        EncodedRequest r;
        std::string error;
        ASSERT_TRUE(encodeRequest(c.spec, r, error)) << c.name << ": " << error;
        patchRequestId(r.bytes.data(), r.idOffset, c.id);
        EXPECT_EQ(r.bytes, c.bytes) << c.name;
        ReplyHead head;
        ASSERT_TRUE(readReplyHead(r.bytes.data(), r.bytes.size(), head)) << c.name;
        EXPECT_EQ(head.requestId, c.id) << c.name;
    }
}

TEST(EncodeRequest, LongMessagesKeepTheIdOffsetRight) {
    RequestSpec spec;
    spec.community = std::string(300, 'c');  // long-form lengths in front of the id
    for (int i = 0; i < 20; ++i) spec.oids.push_back("1.3.6.1.4.1.47392.1.268435455." + std::to_string(i));
    EncodedRequest r;
    std::string error;
    ASSERT_TRUE(encodeRequest(spec, r, error)) << error;
    patchRequestId(r.bytes.data(), r.idOffset, LAST_REQUEST_ID);
    ReplyHead head;
    ASSERT_TRUE(readReplyHead(r.bytes.data(), r.bytes.size(), head));
    EXPECT_EQ(head.requestId, LAST_REQUEST_ID);
    EXPECT_EQ(head.pduTag, 0xA0);
}

TEST(ParseOid, RefusesWhatIsNotAnOid) {
    std::vector<uint32_t> arcs;
    for (const char* bad : {"", ".", "1", "3.1", "1.40", "1..2", "1.2.", "1.2.x", "1.2.4294967296", "-1.2"})
        EXPECT_FALSE(parseOid(bad, arcs)) << bad;
    EXPECT_TRUE(parseOid(".1.3.6", arcs));
    EXPECT_EQ(arcs, (std::vector<uint32_t>{1, 3, 6}));
    EXPECT_TRUE(parseOid("2.100.4294967295", arcs));
}

TEST(ReadReplyHead, NeverReadsPastAnyCut) {
    const Bytes reply = {0x30, 0x1c, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',
                         'c',  0xa2, 0x0f, 0x02, 0x05, 0x00, 0x80, 0x00, 0x00, 0x01, 0x02, 0x01,
                         0x02, 0x02, 0x01, 0x01, 0x30, 0x00};
    ReplyHead head;
    ASSERT_TRUE(readReplyHead(reply.data(), reply.size(), head));
    EXPECT_EQ(head.requestId, 0x80000001u);
    EXPECT_EQ(head.errorStatus, 2u);
    EXPECT_EQ(head.pduTag, 0xA2);
    // Each cut is copied to a buffer of exactly its size, so the sanitizer sees any over-read.
    for (size_t len = 0; len < reply.size(); ++len) {
        Bytes cut(reply.begin(), reply.begin() + static_cast<long>(len));
        EXPECT_FALSE(readReplyHead(cut.data(), cut.size(), head)) << len;
    }
    const Bytes garbage[] = {{0x04, 0x00}, {0x30, 0x84, 0xff, 0xff, 0xff, 0xff}, {0x30, 0x80, 0x02}};
    for (const Bytes& g : garbage) EXPECT_FALSE(readReplyHead(g.data(), g.size(), head));
}

TEST(ReadReplyHead, CountsBindingsAndExceptions) {
    // Response, request-id 5: 1.3.6.1 = INTEGER 7, 1.3.6.2 = NULL, 1.3.6.3 = endOfMibView.
    Bytes reply = {0x30, 0x34, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  0xa2,
                   0x27, 0x02, 0x01, 0x05, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x1c, 0x30, 0x08,
                   0x06, 0x03, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x07, 0x30, 0x07, 0x06, 0x03, 0x2b, 0x06,
                   0x02, 0x05, 0x00, 0x30, 0x07, 0x06, 0x03, 0x2b, 0x06, 0x03, 0x82, 0x00};
    ReplyHead head;
    ASSERT_TRUE(readReplyHead(reply.data(), reply.size(), head));
    EXPECT_EQ(head.requestId, 5u);
    EXPECT_EQ(head.bindings, 3u);
    EXPECT_EQ(head.exceptions, 1u);
    // A binding whose value runs past its sequence: the head still reads, nothing is counted.
    reply[34] = 0x02;
    ASSERT_TRUE(readReplyHead(reply.data(), reply.size(), head));
    EXPECT_EQ(head.requestId, 5u);
    EXPECT_EQ(head.bindings, 0u);
    EXPECT_EQ(head.exceptions, 0u);
}

TEST(ReadReplyHead, V3RepliesAreMatchedByMsgId) {
    // msgGlobalData (msgID 0x01020304), empty USM parameters, then the scoped PDU: a Report
    // in plain text (request-id 9, which the generator does not use), or encrypted octets.
    const Bytes head3 = {0x02, 0x01, 0x03, 0x30, 0x11, 0x02, 0x04, 0x01, 0x02, 0x03, 0x04,
                         0x02, 0x03, 0x00, 0xff, 0xe3, 0x04, 0x01, 0x00, 0x02, 0x01, 0x03,
                         0x04, 0x02, 0x30, 0x00};
    const Bytes scoped = {0x30, 0x11, 0x04, 0x00, 0x04, 0x00, 0xa8, 0x0b, 0x02, 0x01, 0x09,
                          0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x00};
    const Bytes encrypted = {0x04, 0x03, 0xaa, 0xbb, 0xcc};
    for (const Bytes& tail : {scoped, encrypted}) {
        Bytes reply = {0x30, static_cast<uint8_t>(head3.size() + tail.size())};
        reply.insert(reply.end(), head3.begin(), head3.end());
        reply.insert(reply.end(), tail.begin(), tail.end());
        ReplyHead head;
        ASSERT_TRUE(readReplyHead(reply.data(), reply.size(), head));
        EXPECT_EQ(head.requestId, 0x01020304u);
        EXPECT_EQ(head.pduTag, tail == scoped ? 0xA8 : 0);
        for (size_t len = 0; len < reply.size(); ++len) {
            Bytes cut(reply.begin(), reply.begin() + static_cast<long>(len));
            EXPECT_FALSE(readReplyHead(cut.data(), cut.size(), head)) << len;
        }
    }
}

TEST(LoadOptions, ReachesLoopbackOnlyAndStaysBounded) {
    struct Case {
        std::vector<const char*> args;
        bool ok;
    };
    const Case cases[] = {
        {{"--port", "161"}, true},
        {{"--port", "161", "--host", "::1", "--window", "4096"}, true},
        {{"--port", "161", "--host", "10.0.0.1"}, false},
        {{"--port", "161", "--host", "127.0.0.2"}, false},
        {{"--port", "161", "--host", "localhost"}, false},
        {{"--port", "161", "--host", "::"}, false},
        {{"--port", "161", "--window", "0"}, false},
        {{"--port", "161", "--window", "4097"}, false},
        {{"--port", "161", "--seconds", "0"}, false},
        {{"--port", "161", "--seconds", "601"}, false},
        {{"--port", "161", "--count"}, false},
        {{"--port", "161", "--op", "set"}, false},
        {{"--host", "127.0.0.1"}, false},
        {{"--port", "70000"}, false},
    };
    for (const Case& c : cases) {
        std::vector<const char*> argv = {"snmp_load"};
        argv.insert(argv.end(), c.args.begin(), c.args.end());
        LoadOptions o;
        std::string error;
        EXPECT_EQ(parseLoadOptions(static_cast<int>(argv.size()), argv.data(), o, error), c.ok)
            << c.args[c.args.size() - 1] << ": " << error;
    }
}

TEST(LoadReport, NearestRankPercentiles) {
    std::vector<uint64_t> ns;
    EXPECT_EQ(percentileUs(ns, 50), 0);
    for (uint64_t i = 100; i >= 1; --i) ns.push_back(i * 1000);
    EXPECT_EQ(percentileUs(ns, 50), 50);
    EXPECT_EQ(percentileUs(ns, 99), 99);
    EXPECT_EQ(percentileUs(ns, 100), 100);
}

// A loopback server on a thread that answers through a given rule; stops when destroyed.
class FakeServer {
public:
    using Rule = std::function<bool(Bytes&)>;  // may rewrite the datagram; false: drop it
    explicit FakeServer(Rule rule) : rule_(std::move(rule)) {
        fd_ = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
        socklen_t len = sizeof a;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
        port_ = ntohs(a.sin_port);
        timeval tick{0, 20000};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof tick);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeServer() {
        stop_ = true;
        thread_.join();
        close(fd_);
    }
    uint16_t port() const { return port_; }

private:
    void serve() {
        Bytes buf(65536);
        while (!stop_) {
            sockaddr_in peer{};
            socklen_t len = sizeof peer;
            ssize_t n = recvfrom(fd_, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&peer), &len);
            if (n < 0) continue;
            Bytes d(buf.begin(), buf.begin() + n);
            if (rule_(d)) sendto(fd_, d.data(), d.size(), 0, reinterpret_cast<sockaddr*>(&peer), len);
        }
    }
    Rule rule_;
    int fd_ = -1;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

LoadOptions countedRun(uint16_t port, unsigned window, uint64_t count) {
    LoadOptions o;
    o.port = port;
    o.window = window;
    o.count = count;
    o.seconds = 30;  // a bound only; the count ends the run
    o.timeoutMs = 100;
    o.request.oids = {"1.3.6.1.2.1.1.1.0"};
    return o;
}

TEST(RunLoad, MatchesEveryAnswerToItsRequest) {
    FakeServer echo([](Bytes&) { return true; });
    LoadResult r;
    std::string error;
    ASSERT_TRUE(runLoad(countedRun(echo.port(), 8, 500), r, error)) << error;
    EXPECT_EQ(r.sent, 500u);
    EXPECT_EQ(r.replies, 500u);
    EXPECT_EQ(r.latenciesNs.size(), 500u);
    EXPECT_EQ(r.bindings, 500u);  // the echoed request's one binding each time
    EXPECT_EQ(r.exceptions, 0u);
    EXPECT_EQ(r.timeouts + r.strays + r.errors, 0u);
}

TEST(RunLoad, CountsDropsAsTimeoutsAndForeignIdsAsStrays) {
    std::atomic<unsigned> seen{0};
    FakeServer lossy([&seen](Bytes& d) {
        const unsigned n = seen++;
        if (n % 4 == 0) return false;  // dropped: a timeout
        if (n % 4 == 1) d[17] = 0;  // an id no request carries: a stray, and a timeout
        return true;
    });
    LoadResult r;
    std::string error;
    ASSERT_TRUE(runLoad(countedRun(lossy.port(), 4, 40), r, error)) << error;
    EXPECT_EQ(r.sent, 40u);
    EXPECT_EQ(r.replies, 20u);
    EXPECT_EQ(r.timeouts, 20u);
    EXPECT_EQ(r.strays, 10u);
}

TEST(RunLoad, CountsErrorStatusInResponses) {
    FakeServer refusing([](Bytes& d) {
        d[13] = 0xA2;  // Response
        d[23] = 2;     // error-status noSuchName
        return true;
    });
    LoadResult r;
    std::string error;
    ASSERT_TRUE(runLoad(countedRun(refusing.port(), 2, 10), r, error)) << error;
    EXPECT_EQ(r.replies, 10u);
    EXPECT_EQ(r.errors, 10u);
}

}  // namespace
}  // namespace load
