#include "tools/lumoctl/json_input.h"

#include <fstream>
#include <iostream>
#include <iterator>

#include "platform/message_json.h"

namespace lumoctl {

namespace {
// Far above any real request; a runaway pipe must not eat the machine's memory.
constexpr size_t INPUT_LIMIT = 64u << 20;

bool slurp(std::istream& in, std::string& text) {
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        text.append(buf, size_t(in.gcount()));
        if (text.size() > INPUT_LIMIT) return false;
    }
    return true;
}
}  // namespace

bool readJsonInput(const std::string& name, lm::message& into, std::string& error) {
    const std::string label = name == "-" ? "standard input" : name;
    std::string text;
    bool sizeOk;
    if (name == "-") {
        sizeOk = slurp(std::cin, text);
    } else {
        std::ifstream file(name, std::ios::binary);
        if (!file) {
            error = "input " + label + ": cannot open";
            return false;
        }
        sizeOk = slurp(file, text);
    }
    if (!sizeOk) {
        error = "input " + label + ": larger than " + std::to_string(INPUT_LIMIT) + " bytes";
        return false;
    }
    nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
    if (j.is_discarded()) {
        error = "input " + label + ": not valid JSON";
        return false;
    }
    std::string why;
    if (!lm::mergeJson(j, into, &why)) {
        error = "input " + label + ": " + why;
        return false;
    }
    return true;
}

}  // namespace lumoctl
