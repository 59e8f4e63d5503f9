// The data folder's stores: the host's log and message archive and the SMS plug-in's
// profiles, each a UTF-8 file of one record per line, read on first use.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnik::host {

using OptionalText = std::optional<std::wstring>;  // nullopt: the record held a null pointer

struct LogRecord {
    int32_t kind = 0;
    OptionalText source;
    OptionalText message;
};

// Every field of an ArchiveSmsRecord, the reserved ones included.
struct ArchivedSms {
    uint32_t size = 0;
    uint32_t reserved4 = 0;
    OptionalText text;
    OptionalText meta;
    OptionalText number;
    uint32_t direction = 0;
    uint32_t reserved36 = 0;
    int64_t time = 0;
    uint64_t reserved = 0;
};

struct StoredProfile {
    std::wstring name;
    std::wstring transportId;
    std::wstring base64;  // the record bytes as the SMS plug-in keeps them
};

// A record's line in its file, shared with the listing commands.
std::string StoreLine(const LogRecord& record);
std::string StoreLine(const ArchivedSms& record);
std::string StoreLine(const StoredProfile& profile);

template <class Record>
class LineStore {
public:
    explicit LineStore(std::wstring path) : path_(std::move(path)) {}

    // The records; unreadable lines are skipped with a warning.
    const std::vector<Record>& Records();
    // Keeps the record and appends its line; false with `error` when the file cannot be
    // written (the record is kept all the same).
    bool Append(const Record& record, std::string& error);
    // Replaces record `index` and writes the whole file again.
    bool Replace(size_t index, const Record& record, std::string& error);

private:
    std::wstring path_;
    std::optional<std::vector<Record>> records_;
};

using LogStore = LineStore<LogRecord>;
using ArchiveStore = LineStore<ArchivedSms>;
using ProfileStore = LineStore<StoredProfile>;

// A profile's record bytes, decoded from its Base64 text as the plug-in does it.
std::vector<uint8_t> RecordBytes(const StoredProfile& profile);

}  // namespace tarnik::host
