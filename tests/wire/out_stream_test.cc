// The writer's patching of a reply after the fact: error fields set once the bindings are
// written, checked against the same message built by an independent BER builder, and the
// size a message will have once its open sequences are closed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/request/ber_build.h"
#include "tests/wire/test_util.h"
#include "wire/out_stream.h"
#include "wire/snmp_codes.h"

namespace snmp {
namespace {

std::string written(const OutStream& out) {
    return bertest::hex(bertest::Bytes(out.data(), out.data() + out.size()));
}

// How the reply path reaches its error fields: 'o' with the binding list still open,
// 'c' after closing it, 't' as an error reply (bindings cut and replaced by the request's
// list, already closed), going through a snapshot of a wider field on the way. binding:
// the name and value of the one binding. Returns the octets; *listAt receives where a mark
// set at the binding list ended up.
std::string reply(char mode, const bertest::Bytes& binding, uint32_t status, uint32_t index,
                  size_t* listAt) {
    const bertest::Bytes listContents = bertest::tlv(tag::SEQUENCE, binding);
    OutStream out;
    out.startSeq(tag::SEQUENCE);
    out.add(version::V2C, tag::INTEGER);
    out.add(std::string("public"), tag::OCTET_STRING);
    out.startSeq(pdu::RESPONSE);
    out.add(0x1234, tag::INTEGER);
    out.addErrorStatus(status::NO_ERROR);
    out.addErrorIndex(0);
    const size_t listMark = out.size();
    out.setScopedPduMark(listMark);  // a mark past the fields follows them
    out.startSeq(tag::SEQUENCE);
    out.add(binding.data(), static_cast<unsigned>(binding.size()), tag::SEQUENCE);
    if (mode == 'o') {
        out.addErrorStatus(status);
        out.addErrorIndex(index);
        out.endSeq();
    } else if (mode == 'c') {
        out.endSeq();
        out.addErrorStatus(300);  // grow first, then settle: both directions move the rest
        out.addErrorIndex(300);
        out.addErrorIndex(index);
        out.addErrorStatus(status);
    } else {
        const OutStream::Snapshot before = out.snapshot();
        out.addErrorStatus(70000);
        out.addErrorIndex(70000);
        out.restore(before);
        out.truncate(listMark);
        out.add(listContents.data(), static_cast<unsigned>(listContents.size()), tag::SEQUENCE);
        out.addErrorIndex(index);
        out.addErrorStatus(status);
    }
    out.endSeq();
    out.endSeq();
    *listAt = out.scopedPduMark();
    EXPECT_EQ(out.openSequences(), 0u);
    return written(out);
}

TEST(OutStream, ErrorFieldsSetLastMatchAnIndependentBuild) {
    const uint32_t values[] = {0, 5, 128, 300, 70000};
    // Binding sizes that take the list, the PDU and the message across 127/128 and 255/256.
    for (size_t n = 80; n <= 240; ++n) {
        const bertest::Bytes binding = bertest::cat(
            {bertest::oid("1.3.6.1.2.1.1.1.0"), bertest::octets(std::string(n, 'x'))});
        for (char mode : {'o', 'c', 't'}) {
            for (uint32_t st : values) {
                for (uint32_t ix : values) {
                    SCOPED_TRACE(std::string(1, mode) + " string " + std::to_string(n) +
                                 " status " + std::to_string(st) + " index " + std::to_string(ix));
                    const bertest::Bytes listContents = bertest::tlv(tag::SEQUENCE, binding);
                    const bertest::Bytes want = bertest::message(
                        version::V2C, "public", pdu::RESPONSE, 0x1234, st, ix, {listContents});
                    size_t listAt = 0;
                    ASSERT_EQ(reply(mode, binding, st, ix, &listAt), bertest::hex(want));
                    // The list is the message's last element.
                    ASSERT_EQ(listAt, want.size() - bertest::tlv(tag::SEQUENCE, listContents).size());
                }
            }
        }
    }
}

TEST(OutStream, ErrorFieldMinimalFormsAndClosedSequences) {
    const std::pair<uint32_t, const char*> cases[] = {
        {0, "02 01 00"},        {127, "02 01 7f"},          {128, "02 02 00 80"},
        {300, "02 02 01 2c"},   {70000, "02 03 01 11 70"},  {0x7FFFFFFF, "02 04 7f ff ff ff"},
        {0xFFFFFFFF, "02 05 00 ff ff ff ff"},  // never negative
    };
    for (const auto& [v, octets] : cases) {
        OutStream out;
        out.addErrorIndex(v);
        EXPECT_EQ(test::toHex(out.data(), out.size()), octets) << v;
    }
    // Once the PDU is closed its length is final: a field may change in place, not size.
    OutStream out;
    out.startSeq(pdu::RESPONSE);
    out.addErrorStatus(status::NO_ERROR);
    out.add(std::string("tail"), tag::OCTET_STRING);
    out.endSeq();
    test::LogCapture log;
    out.addErrorStatus(300);
    out.addErrorStatus(status::GEN_ERR);
    EXPECT_EQ(test::toHex(out.data(), out.size()), "a2 09 02 01 05 04 04 74 61 69 6c");
    EXPECT_EQ(log.text(), "SNMP OutStream: error field resized after its sequence was closed\n");
}

// Up to three nested sequences, each led by an INTEGER, around one string whose length
// takes every level across 127/128, 255/256 and up to the 65,535 limit.
TEST(OutStream, ClosedSizeIsTheSizeAfterClosing) {
    std::vector<size_t> lengths;
    for (size_t n = 110; n <= 270; ++n) lengths.push_back(n);
    for (size_t n = 65520; n <= 65536; ++n) lengths.push_back(n);
    for (size_t depth = 1; depth <= 3; ++depth) {
        for (size_t n : lengths) {
            SCOPED_TRACE("depth " + std::to_string(depth) + " string " + std::to_string(n));
            OutStream out;
            for (size_t d = 0; d < depth; ++d) {
                out.startSeq(tag::SEQUENCE);
                out.add(1, tag::INTEGER);
            }
            out.add(std::string(n, 'x'), tag::OCTET_STRING);
            test::LogCapture tooLong;  // the outer levels of the longest strings
            const size_t predicted = out.closedSize();
            for (size_t d = 0; d < depth; ++d) {
                out.endSeq();
                ASSERT_EQ(out.closedSize(), predicted);  // still true half closed
            }
            ASSERT_EQ(out.size(), predicted);
        }
    }
    EXPECT_EQ(OutStream().closedSize(), 0u);
}

}  // namespace
}  // namespace snmp
