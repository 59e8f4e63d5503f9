#include "download/cmgl_listing.h"

#include "pdu/pdu_decoder.h"

namespace tarnik {

namespace {

constexpr std::string_view kHeader = "+CMGL:";
// Skips "CMGL:" and the blank after it, from just behind the '+'.
constexpr size_t kIndexOffset = 6;
constexpr size_t kMinChunk = 10;    // shorter chunks cannot hold a header and a PDU
constexpr size_t kMinPduLine = 21;  // the line feed that begins the PDU line counts

void TrimLeft(std::string_view& s, char c) {
    while (!s.empty() && s.front() == c)
        s.remove_prefix(1);
}
void TrimRight(std::string_view& s, char c) {
    while (!s.empty() && s.back() == c)
        s.remove_suffix(1);
}

// The line after the header line: between the first and the second carriage return.
std::string_view PduLineOf(std::string_view chunk) {
    const size_t a = chunk.find('\r');
    if (a == std::string_view::npos || a == 0)
        return chunk;
    const size_t b = chunk.find('\r', a + 1);
    return b == std::string_view::npos ? chunk.substr(a + 1) : chunk.substr(a + 1, b - a - 1);
}

std::string WithoutBlanksAndLineEnds(std::string_view line) {
    std::string hex;
    hex.reserve(line.size());
    for (const char c : line) {
        if (c != ' ' && c != '\r' && c != '\n')
            hex.push_back(c);
    }
    return hex;
}

}  // namespace

std::string TextAfterColon(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::string(text);
    std::string_view s = text.substr(colon + 1);
    TrimLeft(s, ' ');
    TrimRight(s, ' ');
    TrimLeft(s, '\r');
    TrimRight(s, '\n');
    TrimLeft(s, '\n');
    TrimRight(s, '\r');
    return std::string(s);
}

void ParseCmglListing(std::string_view reply, std::vector<SmsPdu>& records,
                      std::string_view storage) {
    size_t pos = 0;
    for (int pass = 1; pass <= kMaxListingPasses; ++pass) {
        const size_t found = reply.find(kHeader, pos);
        const bool last = found == std::string_view::npos;
        // The last entry runs to the end of the reply, however long: a phone with a few
        // hundred messages answers with more than 64 KiB.
        const size_t next = last ? reply.size() : found;

        std::string_view index;
        const size_t comma = reply.find(',', pos + 1);
        if (comma != std::string_view::npos && comma >= pos + kIndexOffset) {
            index = reply.substr(pos + kIndexOffset, comma - pos - kIndexOffset);
        }

        const std::string_view chunk =
            next > pos && pos < reply.size() ? reply.substr(pos, next - pos) : std::string_view{};
        const std::string body = TextAfterColon(chunk);
        pos = next + 1;

        if (body.size() >= kMinChunk) {
            const std::string_view line = PduLineOf(body);
            if (line.size() >= kMinPduLine) {
                try {
                    SmsPdu record = DecodePdu(WithoutBlanksAndLineEnds(line));
                    if (record.decoded) {
                        record.index = std::string(index);
                        record.storage = std::string(storage);
                        records.push_back(std::move(record));
                    }
                } catch (...) {
                    return;  // out of memory: keep what was appended
                }
            }
        }
        if (last)
            return;
    }
}

}  // namespace tarnik
