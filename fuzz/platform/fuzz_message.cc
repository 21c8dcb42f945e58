// Arbitrary bytes into message::decode. Whatever decodes must re-encode to the very same
// bytes (the encoding is canonical) and decode again to an equal message.
#include <cstdlib>
#include <sstream>

#include "platform/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lm::message m;
    std::string err;
    if (!lm::message::decode(data, size, m, &err)) {
        if (err.empty() || err.find('\n') != std::string::npos) abort();
        return 0;
    }
    const lm::bytes again = m.encode();
    if (again.size() != size || !std::equal(again.begin(), again.end(), data)) abort();
    lm::message back;
    if (!lm::message::decode(again.data(), again.size(), back) || !(back == m)) abort();
    std::ostringstream os;
    m.dump(os);
    return 0;
}
