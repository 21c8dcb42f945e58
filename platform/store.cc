// lm::Store: records by number in one file, rewritten whole and atomically on change.
//
// File layout (integers little-endian):
//   "LMST"  version u32 = 1  record-count u32  body-length u32  crc32(body) u32
//   body := { number u32  length u32  encoded message }   numbers strictly ascending
// Anything that does not match exactly, to the last octet, is a corrupt file.
#include "platform/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/log.h"
#include "platform/util.h"

namespace lm {

namespace {

constexpr char MAGIC[4] = {'L', 'M', 'S', 'T'};
constexpr uint32_t FORMAT_VERSION = 1;
constexpr size_t HEADER_SIZE = 20;
constexpr size_t MAX_FILE_SIZE = 256u << 20;

uint32_t crc32(const uint8_t* p, size_t n) {
    // IEEE 802.3 polynomial, reflected; the table is built once.
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) c = table[(c ^ p[i]) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

void putU32(bytes& out, uint32_t v) {
    uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    out.insert(out.end(), b, b + 4);
}

uint32_t getU32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

std::string dirOf(const std::string& file) {
    const size_t slash = file.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return file.substr(0, slash);
}

enum class ReadResult { OK, MISSING, FAILED };

ReadResult readFile(const std::string& path, bytes& out, std::string& why) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) return ReadResult::MISSING;
        why = strerror(errno);
        return ReadResult::FAILED;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        why = "not a regular file";
        close(fd);
        return ReadResult::FAILED;
    }
    // Read to the end rather than trusting st_size: a file that grows is still bounded.
    out.clear();
    uint8_t buf[65536];
    for (;;) {
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            why = strerror(errno);
            close(fd);
            return ReadResult::FAILED;
        }
        if (n == 0) break;
        out.insert(out.end(), buf, buf + n);
        if (out.size() > MAX_FILE_SIZE) break;  // reported as corrupt by the parser
    }
    close(fd);
    return ReadResult::OK;
}

// Parses a whole store file; on failure `why` says what is wrong, in a few words.
bool parseStore(const bytes& file, std::map<uint32_t, message>& out, std::string& why) {
    auto bad = [&why](std::string what) {
        why = std::move(what);
        return false;
    };
    if (file.size() > MAX_FILE_SIZE) return bad("larger than 256 MiB");
    if (file.size() < HEADER_SIZE) return bad("truncated header");
    const uint8_t* p = file.data();
    if (memcmp(p, MAGIC, 4) != 0) return bad("bad magic");
    if (getU32(p + 4) != FORMAT_VERSION) return bad("unknown version " + std::to_string(getU32(p + 4)));
    const uint32_t count = getU32(p + 8);
    const uint32_t bodyLen = getU32(p + 12);
    if (bodyLen != file.size() - HEADER_SIZE)
        return bad("body length " + std::to_string(bodyLen) + " but " +
                     std::to_string(file.size() - HEADER_SIZE) + " octets follow");
    const uint8_t* body = p + HEADER_SIZE;
    if (crc32(body, bodyLen) != getU32(p + 16)) return bad("checksum mismatch");

    const uint8_t* end = body + bodyLen;
    const uint8_t* q = body;
    for (uint32_t i = 0; i < count; ++i) {
        if (size_t(end - q) < 8) return bad("record " + std::to_string(i) + " truncated");
        const uint32_t number = getU32(q), len = getU32(q + 4);
        q += 8;
        if (len > size_t(end - q)) return bad("record " + std::to_string(number) + " truncated");
        if (!out.empty() && number <= out.rbegin()->first)
            return bad("record numbers out of order");
        message m;
        std::string err;
        if (!message::decode(q, len, m, &err))
            return bad("record " + std::to_string(number) + ": " + err);
        out.emplace_hint(out.end(), number, std::move(m));
        q += len;
    }
    if (q != end) return bad("trailing octets after the last record");
    return true;
}

bool writeAll(int fd, const bytes& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += size_t(n);
    }
    return true;
}

}  // namespace

Store::Store(const std::string& logicalPath, unsigned /*flags*/) : file_(resolvePath(logicalPath)) {
    open_ = makeDirs(dirOf(file_));
    if (!open_) {
        LLOG(errorLog()) << "store " << file_ << ": cannot create directory " << dirOf(file_)
                         << ": " << strerror(errno) << std::endl;
        return;
    }
    load();
}

bool Store::has(uint32_t record) const { return records_.count(record) != 0; }

bool Store::get(uint32_t record, message& out) const {
    auto it = records_.find(record);
    if (it == records_.end()) return false;
    out = it->second;
    return true;
}

bool Store::put(uint32_t record, const message& m) {
    if (!open_) return false;
    // Keep memory and disk in step: a failed write leaves the previous value in place.
    auto it = records_.find(record);
    const bool existed = it != records_.end();
    message old;
    if (existed) {
        old = std::move(it->second);
        it->second = m;
    } else {
        it = records_.emplace(record, m).first;
    }
    if (save()) return true;
    if (existed)
        it->second = std::move(old);
    else
        records_.erase(it);
    return false;
}

bool Store::remove(uint32_t record) {
    if (!open_) return false;
    auto it = records_.find(record);
    if (it == records_.end()) return false;
    message old = std::move(it->second);
    records_.erase(it);
    if (save()) return true;
    records_.emplace(record, std::move(old));
    return false;
}

bool Store::replace(std::map<uint32_t, message> records) {
    if (!open_) return false;
    records_.swap(records);
    if (save()) return true;
    records_.swap(records);
    return false;
}

std::vector<uint32_t> Store::records() const {
    std::vector<uint32_t> out;
    out.reserve(records_.size());
    for (const auto& r : records_) out.push_back(r.first);
    return out;
}

bool Store::load() {
    records_.clear();
    unlink((file_ + ".tmp").c_str());  // left by a write that was cut short; never valid
    bytes data;
    std::string why;
    switch (readFile(file_, data, why)) {
    case ReadResult::MISSING: return true;
    case ReadResult::FAILED:
        LLOG(errorLog()) << "store " << file_ << ": cannot read (" << why << "), starting empty"
                         << std::endl;
        return false;
    case ReadResult::OK: break;
    }
    if (parseStore(data, records_, why)) return true;
    records_.clear();
    const std::string aside = file_ + ".corrupt";
    if (rename(file_.c_str(), aside.c_str()) == 0) {
        LLOG(errorLog()) << "store " << file_ << ": corrupt (" << why << "), moved aside to "
                         << aside << std::endl;
    } else {
        LLOG(errorLog()) << "store " << file_ << ": corrupt (" << why << "), cannot move aside to "
                         << aside << ": " << strerror(errno) << std::endl;
    }
    return false;
}

bool Store::save() {
    bytes body;
    for (const auto& [number, m] : records_) {
        putU32(body, number);
        const size_t at = body.size();
        putU32(body, 0);
        m.encode(body);
        const uint32_t len = uint32_t(body.size() - at - 4);
        for (int i = 0; i < 4; ++i) body[at + i] = uint8_t(len >> (8 * i));
    }
    bytes file(MAGIC, MAGIC + 4);
    file.reserve(HEADER_SIZE + body.size());
    putU32(file, FORMAT_VERSION);
    putU32(file, uint32_t(records_.size()));
    putU32(file, uint32_t(body.size()));
    putU32(file, crc32(body.data(), body.size()));
    file.insert(file.end(), body.begin(), body.end());

    const std::string tmp = file_ + ".tmp";
    const char* step = "open";
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    bool ok = fd >= 0;
    if (ok) {
        step = "write";
        ok = writeAll(fd, file);
        if (ok) {
            step = "fsync";
            ok = fsync(fd) == 0;
        }
        if (close(fd) != 0 && ok) {
            step = "close";
            ok = false;
        }
    }
    if (ok) {
        step = "rename";
        ok = rename(tmp.c_str(), file_.c_str()) == 0;
    }
    if (!ok) {
        const int e = errno;
        unlink(tmp.c_str());
        LLOG(errorLog()) << "store " << file_ << ": cannot save (" << step << ": " << strerror(e)
                         << ")" << std::endl;
        return false;
    }
    // The rename is durable only once the directory entry is on disk. If that fsync fails
    // the new file is already the visible one, so the change stands (and is reported).
    const int dfd = open(dirOf(file_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd < 0 || fsync(dfd) != 0) {
        LLOG(warningLog()) << "store " << file_ << ": directory fsync failed: " << strerror(errno)
                           << std::endl;
    }
    if (dfd >= 0) close(dfd);
    return true;
}

}  // namespace lm
