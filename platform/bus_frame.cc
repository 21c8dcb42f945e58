// Bus frames: a u32 little-endian length, then the message's encoding.
#include <algorithm>
#include <cstring>

#include "platform/bus_internal.h"

namespace lm {

namespace {

constexpr size_t READ_CHUNK = 64 * 1024;

uint32_t readLe32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

}  // namespace

void appendFrame(bytes& out, const message& m) {
    size_t at = out.size();
    out.resize(at + 4);
    m.encode(out);
    uint32_t len = static_cast<uint32_t>(out.size() - at - 4);
    for (int i = 0; i < 4; ++i) out[at + i] = uint8_t(len >> (8 * i));
}

uint8_t* FrameReader::writable(size_t& room) {
    // Slide the unread bytes to the front once the consumed part dominates.
    if (begin_ > 0 && (begin_ == end_ || begin_ > buf_.size() / 2)) {
        std::memmove(buf_.data(), buf_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    // Give back the room a large frame needed once it has been consumed.
    if (begin_ == end_ && buf_.size() > 16 * READ_CHUNK) bytes().swap(buf_);
    size_t want = READ_CHUNK;
    // A large frame under way: room grows with what has arrived (at most doubling it), so a
    // peer that only announces a big frame cannot make us reserve it.
    size_t avail = end_ - begin_;
    if (avail >= 4) {
        size_t len = readLe32(buf_.data() + begin_);
        if (len <= MAX_FRAME && 4 + len > avail) want = std::max(want, std::min(4 + len - avail, avail));
    }
    if (buf_.size() - end_ < want) buf_.resize(end_ + want);
    room = buf_.size() - end_;
    return buf_.data() + end_;
}

bool FrameReader::hasFrame() const {
    size_t avail = end_ - begin_;
    if (avail < 4) return false;
    size_t len = readLe32(buf_.data() + begin_);
    return len > MAX_FRAME || avail - 4 >= len;  // an oversized length is reported by next()
}

FrameReader::Result FrameReader::next(message& out, std::string& error) {
    size_t avail = end_ - begin_;
    if (avail < 4) return NEED_MORE;
    size_t len = readLe32(buf_.data() + begin_);
    if (len > MAX_FRAME) {
        error = "frame length " + std::to_string(len) + " exceeds the limit of " +
                std::to_string(MAX_FRAME);
        return BAD;
    }
    if (avail - 4 < len) return NEED_MORE;
    const uint8_t* body = buf_.data() + begin_ + 4;
    begin_ += 4 + len;
    out.clear();
    std::string why;
    if (!message::decode(body, len, out, &why)) {
        error = "undecodable frame of " + std::to_string(len) + " bytes: " + why;
        return BAD;
    }
    if (begin_ == end_) begin_ = end_ = 0;
    return FRAME;
}

}  // namespace lm
