// JoinLongMessages on any sequence of records: parts out of order, missing, repeated,
// numbered 0 or past their total, references shared by unrelated messages.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "download/long_messages.h"
#include "fuzz/fuzz_check.h"
#include "pdu/code_page.h"

namespace {

class ByteReader {
public:
    ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool Empty() const { return pos_ >= size_; }
    uint8_t Next() { return pos_ < size_ ? data_[pos_++] : 0; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// Per record: a flags byte (bit 0 concat, bits 1-3 text length, bit 4 a reference from the
// whole 16-bit range the decoder yields), the reference, total, sequence, then the text.
// Small values by default, so that parts of one message meet often.
tarnik::SmsPdu NextRecord(ByteReader& in) {
    tarnik::SmsPdu record;
    const uint8_t flags = in.Next();
    record.concat = (flags & 0x01) != 0;
    const size_t textLength = (flags >> 1) & 0x07;
    if (flags & 0x10) {
        const uint32_t low = in.Next();
        record.concatRef = low + 65536u * in.Next();  // as the decoder builds it
    } else {
        record.concatRef = in.Next() & 0x03;
    }
    record.concatTotal = in.Next() & 0x07;
    record.concatSeq = in.Next() & 0x07;
    for (size_t i = 0; i < textLength; ++i)
        record.text.push_back(static_cast<char>(in.Next()));
    record.decoded = true;
    return record;
}

bool OpensGroup(const tarnik::SmsPdu& r) {
    return !r.concat || r.concatSeq == 1;
}

bool SameRecord(const tarnik::SmsPdu& a, const tarnik::SmsPdu& b) {
    return a.concat == b.concat && a.concatRef == b.concatRef && a.concatTotal == b.concatTotal &&
           a.concatSeq == b.concatSeq && a.text == b.text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader in(data, size);
    std::vector<tarnik::SmsPdu> records;
    while (!in.Empty())
        records.push_back(NextRecord(in));

    std::vector<tarnik::MessageGroup> groups;
    tarnik::JoinLongMessages(records, groups);

    // Every opener makes exactly one group, in listing order; every later part lands in
    // each group of its key opened before it.
    size_t opener = 0;
    size_t expectedParts = 0;
    std::map<std::pair<uint32_t, uint32_t>, size_t> openedLong;  // groups opened per key
    for (size_t i = 0; i < records.size(); ++i) {
        const tarnik::SmsPdu& r = records[i];
        if (OpensGroup(r)) {
            FUZZ_REQUIRE(opener < groups.size());
            FUZZ_REQUIRE(SameRecord(groups[opener].parts.front(), r));
            ++opener;
            ++expectedParts;
            if (r.concat)
                ++openedLong[std::make_pair(r.concatRef, r.concatTotal)];
            continue;
        }
        const auto key = std::make_pair(r.concatRef, r.concatTotal);
        const auto found = openedLong.find(key);
        if (found != openedLong.end())
            expectedParts += found->second;
    }
    FUZZ_REQUIRE(opener == groups.size());

    size_t parts = 0;
    for (const tarnik::MessageGroup& g : groups) {
        FUZZ_REQUIRE(!g.parts.empty());
        parts += g.parts.size();
        const tarnik::SmsPdu& first = g.parts.front();
        if (!first.concat) {
            FUZZ_REQUIRE(g.reference == -1);
            FUZZ_REQUIRE(g.parts.size() == 1);
        } else {
            FUZZ_REQUIRE(g.reference == static_cast<int32_t>(first.concatRef));
            FUZZ_REQUIRE(g.total == first.concatTotal);
            for (size_t k = 1; k < g.parts.size(); ++k) {
                const tarnik::SmsPdu& p = g.parts[k];
                FUZZ_REQUIRE(p.concat && p.concatSeq != 1);
                FUZZ_REQUIRE(p.concatRef == first.concatRef && p.concatTotal == first.concatTotal);
            }
        }

        size_t narrowLength = 0;
        size_t wideLength = 0;
        std::u16string joined;
        for (const tarnik::SmsPdu& p : g.parts) {
            const std::u16string wide = tarnik::WidenNarrow(p.text);
            narrowLength += p.text.size();
            wideLength += wide.size();
            joined += wide;
        }
        FUZZ_REQUIRE(g.joinedText.size() == wideLength);
        FUZZ_REQUIRE(wideLength == narrowLength);  // one UTF-16 unit per byte of Windows-1250
        FUZZ_REQUIRE(g.joinedText == joined);
    }
    FUZZ_REQUIRE(parts == expectedParts);
    return 0;
}
