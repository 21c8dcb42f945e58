#include "agent/trap_handler.h"

#include "platform/bus.h"
#include "traps/scribers.h"

namespace snmp {

lm::message TrapHandler::cmdGetAll(const lm::message&) {
    std::vector<lm::message> list;
    lm::message start;
    start.setU32(lm::key::OBJECT_ID, START_TRAP_GENERATOR);
    start.setString(GENERATOR_NAME, START_TRAP_NAME);
    list.push_back(std::move(start));
    for (uint32_t i = 0; i < scribers.size(); ++i) {
        lm::message g;
        g.setU32(lm::key::OBJECT_ID, i);
        g.setString(GENERATOR_NAME, scribers[i].name);
        list.push_back(std::move(g));
    }
    lm::message reply;
    reply.setMsgArray(lm::key::OBJECTS, std::move(list));
    return reply;
}

}  // namespace snmp
