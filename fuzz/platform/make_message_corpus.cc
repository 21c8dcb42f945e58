// Writes a few encoded messages as the fuzzer's seed corpus (run once, output committed).
#include <arpa/inet.h>

#include <fstream>
#include <iostream>

#include "platform/bus.h"
#include "platform/message.h"

namespace {

void save(const std::string& dir, const std::string& name, const lm::message& m) {
    const lm::bytes b = m.encode();
    std::ofstream(dir + "/" + name, std::ios::binary).write(reinterpret_cast<const char*>(b.data()),
                                                            std::streamsize(b.size()));
}

lm::message interface(uint32_t id) {
    lm::message m;
    m.setU32(lm::key::OBJECT_ID, id).setString(0x010001, "eth" + std::to_string(id));
    m.setU32(0x010003, 0x500).setU64(0x010010, 123456789012ull).setBool(0x010020, true);
    m.setRaw(0x010004, {0x02, 0x00, 0x5e, 0x10, 0x00, static_cast<uint8_t>(id)});
    lm::IPAddr6 a;
    lm::IPAddr6::parse("fe80::1", a);
    m.setIP6(0x010005, a).setStringArray(0x010006, {"lan", "wan"});
    return m;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_message_corpus <dir>" << std::endl;
        return 1;
    }
    const std::string dir = argv[1];
    save(dir, "empty", lm::message());
    save(dir, "interface", interface(3));

    lm::message req;
    req.setCommand(lm::cmd::GET_ALL);
    req.setDestination({20, 0});
    req.setU32Array(lm::key::SENDER, {161, 0});
    req.setU32(lm::key::SEQ, 9).setU32(lm::key::WANT, 20);
    save(dir, "get_all_request", req);

    lm::message reply;
    reply.setBool(lm::key::IS_REPLY, true).setU32(lm::key::SEQ, 9);
    for (uint32_t i = 1; i <= 3; ++i) reply.appendMsg(lm::key::OBJECTS, interface(i));
    reply.setU32Array(lm::key::POSITION, {0, 1, 2});
    save(dir, "get_all_reply", reply);

    save(dir, "error", lm::errorMsg("community \"x\" exists", lm::err::REFUSED));

    lm::message nested = interface(1), outer;
    for (int i = 0; i < 5; ++i) {
        outer = lm::message();
        outer.setMsg(lm::key::UNDO_MSG, nested).setString(lm::key::UNDO_TEXT, "level");
        nested = outer;
    }
    save(dir, "nested", outer);
    return 0;
}
