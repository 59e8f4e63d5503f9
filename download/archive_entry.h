// What one row of the download goes into the host's message archive as: the joined text,
// the metadata of its first part, the number in the archive's form, direction and time.
#pragma once

#include <cstdint>
#include <string>

#include "download/long_messages.h"

namespace tarnik {

enum ArchiveDirection : uint32_t {
    kArchiveReceived = 1,
    kArchiveSent = 2,
};

struct ArchiveEntry {
    std::u16string text;
    std::u16string meta;  // smsc="...",report="N",mti="0xNNNN"
    std::u16string number;
    uint32_t direction = kArchiveReceived;
    int64_t time = 0;  // seconds since 1970, UTC
};

// The archive keeps numbers as international ones: 10 or more characters get a "+", and
// exactly 9 (a Polish number without its country code) get "+48"; one that starts with
// "+" or is shorter (a short code) stays as it is.
std::u16string ArchiveNumber(std::u16string_view number);

// A received message (DELIVER or STATUS-REPORT) keeps its service centre time stamp; a
// stored outgoing one, which has none, is filed at `now`.
ArchiveEntry ArchiveEntryOf(const MessageGroup& group, int64_t now);

}  // namespace tarnik
