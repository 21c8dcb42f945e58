// Reading and checking fixture files. Every problem is reported with its place in the
// document so that a broken hand-written fixture is quick to fix.
#include "tools/hostd/fixture.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "platform/message_json.h"
#include "tools/hostd/control.h"

namespace hostd {

using nlohmann::json;

namespace {

// Far above a 10,000-interface fixture; anything larger is a mistake.
constexpr size_t MAX_FIXTURE_BYTES = 256u << 20;

class FixtureReader {
public:
    explicit FixtureReader(std::string& error) : error_(error) {}

    bool document(const json& doc, Fixture& out) {
        if (!doc.is_object()) return fail("", "expected an object with \"services\"");
        if (!only(doc, "", {"services"})) return false;
        auto it = doc.find("services");
        if (it == doc.end() || !it->is_array()) return fail("", "\"services\" must be an array");
        if (it->empty()) return fail("services", "no services");
        std::set<lm::Path> paths;
        for (size_t i = 0; i < it->size(); ++i) {
            const std::string where = "services[" + std::to_string(i) + "]";
            ServiceFixture s;
            if (!service((*it)[i], s, where)) return false;
            if (!paths.insert(s.path).second) return fail(where, "path served twice");
            out.services.push_back(std::move(s));
        }
        return true;
    }

private:
    bool fail(const std::string& where, const std::string& what) {
        error_ = where.empty() ? what : where + ": " + what;
        return false;
    }

    // Unknown members are refused: a misspelt "objetcs" must not silently serve nothing.
    bool only(const json& obj, const std::string& where, std::initializer_list<const char*> names) {
        for (const auto& item : obj.items()) {
            const std::string& name = item.key();
            if (std::none_of(names.begin(), names.end(), [&](const char* n) { return name == n; }))
                return fail(where, "unknown member \"" + name + "\"");
        }
        return true;
    }

    bool number(const json& v, uint32_t& out, const std::string& where) {
        uint64_t n;
        const bool negative = v.is_number_integer() && !v.is_number_unsigned() && v.get<int64_t>() < 0;
        if (v.is_number_integer() && !negative && v.get<uint64_t>() <= 0xFFFFFFFFu) {
            out = uint32_t(v.get<uint64_t>());
            return true;
        }
        if (v.is_string() && lm::parseUnsigned(v.get<std::string>(), 0xFFFFFFFFu, n)) {
            out = uint32_t(n);
            return true;
        }
        return fail(where, "expected a number 0..4294967295 (or a \"0x\" hex string)");
    }

    bool msg(const json& v, lm::message& out, const std::string& where) {
        std::string why;
        return lm::fromJson(v, out, &why) || fail(where, why);
    }

    bool service(const json& s, ServiceFixture& out, const std::string& where) {
        if (!s.is_object()) return fail(where, "expected an object");
        if (!only(s, where,
                  {"path", "objects", "object", "error", "delay_ms", "paging", "no_program",
                   "notifications"}))
            return false;
        if (!path(s, out, where)) return false;
        if (auto it = s.find("objects"); it != s.end() && !objects(*it, out, where + ".objects")) return false;
        if (auto it = s.find("object"); it != s.end()) {
            if (!msg(*it, out.object, where + ".object")) return false;
            out.hasObject = true;
        }
        if (auto it = s.find("error"); it != s.end() && !errorSwitch(*it, out, where + ".error")) return false;
        if (auto it = s.find("delay_ms"); it != s.end()) {
            if (!number(*it, out.delayMs, where + ".delay_ms")) return false;
            if (out.delayMs > MAX_DELAY_MS)
                return fail(where + ".delay_ms", "at most " + std::to_string(MAX_DELAY_MS));
        }
        if (auto it = s.find("paging"); it != s.end() && !paging(*it, out, where + ".paging"))
            return false;
        if (auto it = s.find("no_program"); it != s.end()) {
            if (!it->is_boolean()) return fail(where + ".no_program", "expected true or false");
            out.noProgram = it->get<bool>();
        }
        if (auto it = s.find("notifications"); it != s.end())
            return notifications(*it, out, where + ".notifications");
        return true;
    }

    bool path(const json& s, ServiceFixture& out, const std::string& where) {
        auto it = s.find("path");
        const std::string here = where + ".path";
        if (it == s.end()) return fail(where, "missing \"path\"");
        if (!it->is_array() || it->empty() || it->size() > 2)
            return fail(here, "expected [program] or [program, handler]");
        for (size_t i = 0; i < it->size(); ++i) {
            uint32_t n;
            if (!number((*it)[i], n, here)) return false;
            out.path.push_back(n);
        }
        if (out.path.size() == 1) out.path.push_back(0);
        if (out.path[0] == 0) return fail(here, "program 0 is not a program");
        if (out.path[1] == CONTROL_HANDLER)
            return fail(here, "handler " + std::to_string(CONTROL_HANDLER) + " is lumo-hostd's control handler");
        return true;
    }

    bool objects(const json& list, ServiceFixture& out, const std::string& where) {
        if (!list.is_array()) return fail(where, "expected an array of objects");
        out.objects.reserve(list.size());
        for (size_t i = 0; i < list.size(); ++i) {
            const std::string here = where + "[" + std::to_string(i) + "]";
            lm::message m;
            if (!msg(list[i], m, here)) return false;
            if (!m.has(lm::key::OBJECT_ID)) return fail(here, "no object id 0x08FE0001");
            out.objects.push_back(std::move(m));
        }
        auto byId = [](const lm::message& a, const lm::message& b) {
            return a.getU32(lm::key::OBJECT_ID) < b.getU32(lm::key::OBJECT_ID);
        };
        std::stable_sort(out.objects.begin(), out.objects.end(), byId);
        auto dup = std::adjacent_find(out.objects.begin(), out.objects.end(), [](const auto& a, const auto& b) {
            return a.getU32(lm::key::OBJECT_ID) == b.getU32(lm::key::OBJECT_ID);
        });
        if (dup != out.objects.end())
            return fail(where, "object id " + std::to_string(dup->getU32(lm::key::OBJECT_ID)) + " appears twice");
        return true;
    }

    bool paging(const json& v, ServiceFixture& out, const std::string& where) {
        if (v.is_string() && parsePaging(v.get<std::string>(), out.paging)) return true;
        return fail(where,
                    "expected \"normal\", \"short\", \"extra\", \"reversed\" or \"restart\"");
    }

    bool errorSwitch(const json& e, ServiceFixture& out, const std::string& where) {
        if (!e.is_object()) return fail(where, "expected {\"code\": ..., \"text\": ...}");
        if (!only(e, where, {"code", "text"})) return false;
        auto code = e.find("code");
        if (code == e.end()) return fail(where, "missing \"code\"");
        if (!number(*code, out.errorCode, where + ".code")) return false;
        if (out.errorCode == 0) return fail(where + ".code", "0 is not an error code");
        if (auto text = e.find("text"); text != e.end()) {
            if (!text->is_string()) return fail(where + ".text", "expected a string");
            out.errorText = text->get<std::string>();
        }
        return true;
    }

    bool notifications(const json& n, ServiceFixture& out, const std::string& where) {
        if (!n.is_object()) return fail(where, "expected an object of named notifications");
        for (const auto& [name, value] : n.items()) {
            const std::string here = where + "." + name;
            if (!value.is_object()) return fail(here, "expected {\"number\": ..., \"message\": {...}}");
            if (!only(value, here, {"number", "message"})) return false;
            Notification note;
            auto number_ = value.find("number");
            if (number_ == value.end()) return fail(here, "missing \"number\"");
            if (!number(*number_, note.number, here + ".number")) return false;
            if (auto m = value.find("message"); m != value.end() && !msg(*m, note.payload, here + ".message"))
                return false;
            out.notifications[name] = std::move(note);
        }
        return true;
    }

    std::string& error_;
};

}  // namespace

bool parseFixture(const json& doc, Fixture& out, std::string& error) {
    Fixture f;
    if (!FixtureReader(error).document(doc, f)) return false;
    out = std::move(f);
    return true;
}

bool loadFixture(const std::string& file, Fixture& out, std::string& error) {
    const std::string label = "fixture " + file + ": ";
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        error = label + "cannot open";
        return false;
    }
    std::string text;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        text.append(buf, size_t(in.gcount()));
        if (text.size() > MAX_FIXTURE_BYTES) {
            error = label + "larger than " + std::to_string(MAX_FIXTURE_BYTES) + " bytes";
            return false;
        }
    }
    if (in.bad()) {
        error = label + "read error";
        return false;
    }
    json doc;
    try {
        doc = json::parse(text);
    } catch (const json::parse_error& e) {
        // e.what() is "[json.exception.parse_error.101] parse error at line L, column C: ..."
        std::string what = e.what();
        size_t cut = what.find("] ");
        error = label + "not valid JSON: " + (cut == std::string::npos ? what : what.substr(cut + 2));
        return false;
    }
    std::string why;
    if (!parseFixture(doc, out, why)) {
        error = label + why;
        return false;
    }
    return true;
}

}  // namespace hostd
