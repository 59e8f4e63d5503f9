// ParseCmglListing and TextAfterColon on any reply the phone could send to "AT+CMGL=4":
// truncated lines, missing headers, stray colons, replies past the 64 KiB and pass caps.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "download/cmgl_listing.h"
#include "fuzz/fuzz_check.h"

namespace {

constexpr std::string_view kStorage = "SM";
// Stands for a message appended by an earlier storage; the parser must leave it alone.
constexpr std::string_view kEarlierIndex = "earlier";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A copy of exactly `size` bytes, so that ASan sees any read past the reply's end.
    const std::vector<char> bytes(data, data + size);
    const std::string_view reply(bytes.data(), bytes.size());

    std::vector<tarnik::SmsPdu> records(1);
    records[0].index = std::string(kEarlierIndex);
    tarnik::ParseCmglListing(reply, records, kStorage);

    FUZZ_REQUIRE(records[0].index == kEarlierIndex);
    // One record at most per pass, the text before the first header included.
    FUZZ_REQUIRE(records.size() - 1 <= static_cast<size_t>(tarnik::kMaxListingPasses));
    for (size_t i = 1; i < records.size(); ++i) {
        FUZZ_REQUIRE(records[i].decoded);
        FUZZ_REQUIRE(records[i].storage == kStorage);
        // The index runs up to the first comma of its header line.
        FUZZ_REQUIRE(records[i].index.find(',') == std::string::npos);
        FUZZ_REQUIRE(records[i].index.size() < reply.size());
    }

    const std::string after = tarnik::TextAfterColon(reply);
    const size_t colon = reply.find(':');
    if (colon == std::string_view::npos) {
        FUZZ_REQUIRE(after == reply);
    } else {
        // Only blanks and line ends are trimmed, so the result is a slice of what follows
        // the colon, starting within its leading blanks and line ends.
        const std::string_view rest = reply.substr(colon + 1);
        FUZZ_REQUIRE(after.size() <= rest.size());
        bool slice = false;
        for (size_t start = 0; start + after.size() <= rest.size(); ++start) {
            slice = rest.compare(start, after.size(), after) == 0;
            if (slice || start == rest.size())
                break;
            if (rest[start] != ' ' && rest[start] != '\r' && rest[start] != '\n')
                break;
        }
        FUZZ_REQUIRE(slice);
    }
    return 0;
}
