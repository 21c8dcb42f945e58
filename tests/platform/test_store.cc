// lm::Store persistence and corrupt-file handling; lm::Allocator.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/store.h"
#include "tests/platform/test_helpers.h"

namespace lm {
namespace {

namespace fs = std::filesystem;

message record(uint32_t n) {
    message m;
    m.setU32(0xFE0001, n).setString(0xFE0002, "community-" + std::to_string(n));
    m.appendMsg(0xFE0003, message().setBool(1, n % 2 == 0));
    return m;
}

bytes readAll(const std::string& path) {
    const std::string text = test::readFile(path);
    return bytes(text.begin(), text.end());
}

void writeAll(const std::string& path, const bytes& data) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
}

TEST(Store, PersistsAcrossReopen) {
    test::TempRoot root;
    {
        Store s("/lumo/store/snmpd");
        EXPECT_EQ(s.filePath(), root.path() + "/lumo/store/snmpd");
        EXPECT_FALSE(fs::exists(s.filePath()));  // nothing written until a change
        for (uint32_t n : {7u, 1u, 300u}) ASSERT_TRUE(s.put(n, record(n)));
        ASSERT_TRUE(s.put(7, record(8)));  // replace
        ASSERT_TRUE(s.remove(300));
        EXPECT_FALSE(s.remove(300));
    }
    Store s("/lumo/store/snmpd");
    EXPECT_EQ(s.records(), (std::vector<uint32_t>{1, 7}));
    message m;
    ASSERT_TRUE(s.get(7, m));
    EXPECT_EQ(m, record(8));
    EXPECT_FALSE(s.get(300, m));
}

// Builds a store file by hand, with a correct checksum, so the record checks are reached.
uint32_t bitwiseCrc32(const bytes& b) {
    uint32_t c = 0xFFFFFFFF;
    for (uint8_t x : b) {
        c ^= x;
        for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xEDB88320u & (0u - (c & 1)));
    }
    return ~c;
}

void putLe(bytes& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

bytes storeFile(uint32_t count, const bytes& body) {
    bytes f = {'L', 'M', 'S', 'T'};
    putLe(f, 1);
    putLe(f, count);
    putLe(f, uint32_t(body.size()));
    putLe(f, bitwiseCrc32(body));
    f.insert(f.end(), body.begin(), body.end());
    return f;
}

// declaredLen overrides the length field, to describe more octets than follow.
bytes recordBytes(uint32_t number, const bytes& payload, uint32_t declaredLen = 0) {
    bytes r;
    putLe(r, number);
    putLe(r, declaredLen ? declaredLen : uint32_t(payload.size()));
    r.insert(r.end(), payload.begin(), payload.end());
    return r;
}

bytes join(bytes a, const bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(Store, CorruptFilesAreSetAsideAndStartEmpty) {
    test::TempRoot root;
    std::string file;
    {
        Store s("/lumo/store/c");
        s.put(2, record(2));
        s.put(1, record(1));
        file = s.filePath();
    }
    const bytes one = recordBytes(1, record(1).encode()), two = recordBytes(2, record(2).encode());
    const bytes good = storeFile(2, join(one, two));
    ASSERT_EQ(readAll(file), good);  // the layout written
    auto flip = [&](size_t at) {
        bytes b = good;
        b[at] ^= 0x40;
        return b;
    };
    const struct { const char* name; bytes data; const char* reason; } cases[] = {
        {"empty file", {}, "truncated header"},
        {"cut body", bytes(good.begin(), good.end() - 3), "body length"},
        {"extra octets", join(good, {0}), "body length"},
        {"magic", flip(0), "bad magic"},
        {"version", flip(5), "unknown version"},
        {"body bit", flip(good.size() - 2), "checksum mismatch"},
        {"bad message", storeFile(1, recordBytes(1, {9})), "record 1: message: unsupported version"},
        {"out of order", storeFile(2, join(two, one)), "out of order"},
        {"duplicate number", storeFile(2, join(one, one)), "out of order"},
        {"count too high", storeFile(3, join(one, two)), "record 2 truncated"},
        {"count too low", storeFile(1, join(one, two)), "trailing octets"},
        {"length past end", storeFile(1, recordBytes(1, {}, 100)), "record 1 truncated"},
    };
    for (const auto& c : cases) {
        writeAll(file, c.data);
        fs::remove(file + ".corrupt");
        testing::internal::CaptureStderr();
        Store s("/lumo/store/c");
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(s.isOpen()) << c.name;
        EXPECT_EQ(s.size(), 0u) << c.name;
        EXPECT_EQ(err.rfind("store " + file + ": corrupt (", 0), 0u) << c.name << ": " << err;
        EXPECT_NE(err.find(c.reason), std::string::npos) << c.name << ": " << err;
        EXPECT_NE(err.find("), moved aside to " + file + ".corrupt\n"), std::string::npos) << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << c.name;
        EXPECT_EQ(readAll(file + ".corrupt"), c.data) << c.name;  // kept for inspection
        EXPECT_FALSE(fs::exists(file)) << c.name;
    }
    // The store keeps working afterwards.
    Store s("/lumo/store/c");
    EXPECT_TRUE(s.put(5, record(5)));
    EXPECT_EQ(Store("/lumo/store/c").records(), (std::vector<uint32_t>{5}));
}

TEST(Store, DirectoryThatCannotBeMadeIsNotOpen) {
    test::TempRoot root;
    writeAll(root.path() + "/lumo", {1});  // a file where the directory should be
    testing::internal::CaptureStderr();
    Store s("/lumo/store/x");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot create directory"), std::string::npos);
    EXPECT_FALSE(s.isOpen());
    EXPECT_FALSE(s.put(1, record(1)));
}

// Lowest-free allocation and taken ids are driven through AMap (test_amap.cc); here the range.
TEST(Allocator, RangeEnds) {
    Allocator a(1, 3);
    EXPECT_FALSE(a.request(0) || a.request(4));
    for (uint32_t want : {1u, 2u, 3u, 0xFFFFFFFFu}) EXPECT_EQ(a.alloc(), want);  // full

    Allocator top(0xFFFFFFFD);  // near the end of the range: no wrap-around
    for (uint32_t want : {0xFFFFFFFDu, 0xFFFFFFFEu, 0xFFFFFFFFu}) EXPECT_EQ(top.alloc(), want);
}

}  // namespace
}  // namespace lm
