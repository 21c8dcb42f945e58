// lm::Store: records (messages) by number in one file per logical store path.
// Every change rewrites the file atomically and durably (temporary file, fsync, rename,
// directory fsync), so a crash at any moment leaves the old or the new record set. A
// corrupt or truncated file is reported in one line, set aside as <file>.corrupt (never
// overwritten in place) and the store starts empty; the program keeps running.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/message.h"

namespace lm {

class Store {
public:
    // logicalPath is resolved under LUMO_ROOT; flags is the platform's opening argument,
    // kept for callers that pass one and otherwise unused.
    explicit Store(const std::string& logicalPath, unsigned flags = 0);

    bool isOpen() const { return open_; }  // false when the directory cannot be made
    bool has(uint32_t record) const;
    bool get(uint32_t record, message& out) const;
    bool put(uint32_t record, const message& m);  // false (one line logged) on I/O failure
    bool remove(uint32_t record);
    // Replaces every record at once in a single rewrite, so a crash leaves the old set
    // or the new one, never a mix. False (one line logged, old set kept) on I/O failure.
    bool replace(std::map<uint32_t, message> records);
    std::vector<uint32_t> records() const;  // ascending
    size_t size() const { return records_.size(); }
    const std::string& filePath() const { return file_; }

private:
    bool load();
    bool save();
    std::string file_;
    bool open_ = false;
    std::map<uint32_t, message> records_;
};

// Object ids: the lowest free id by default, or a requested one.
class Allocator {
public:
    explicit Allocator(uint32_t first = 0, uint32_t last = 0xFFFFFFFE);
    uint32_t alloc();             // 0xFFFFFFFF when exhausted
    bool request(uint32_t id);    // take exactly this id; false when taken or out of range
    void free(uint32_t id);
    bool used(uint32_t id) const;

private:
    uint32_t first_, last_;
    std::vector<uint32_t> taken_;  // sorted
};

}  // namespace lm
