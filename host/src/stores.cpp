#include "stores.h"

#include <cstring>
#include <cwchar>
#include <type_traits>

#include "fields.h"
#include "host/files/files.h"
#include "host/text/utf8.h"
#include "hrx/hrxutil.h"
#include "output.h"

namespace tarnik::host {

namespace {

template <class Integer>
bool ParseNumber(const FieldValue& value, Integer& out) {
    if (value.quoted || value.isNull || value.text.empty()) {
        return false;
    }
    wchar_t* end = nullptr;
    if constexpr (std::is_signed_v<Integer>) {
        out = static_cast<Integer>(std::wcstoll(value.text.c_str(), &end, 10));
    } else {
        out = static_cast<Integer>(std::wcstoull(value.text.c_str(), &end, 10));
    }
    return end != nullptr && *end == L'\0';
}

bool ParseText(const Fields& fields, const char* key, OptionalText& out) {
    const auto found = fields.find(key);
    if (found == fields.end() || !(found->second.quoted || found->second.isNull)) {
        return false;
    }
    out = found->second.isNull ? OptionalText{} : OptionalText{found->second.text};
    return true;
}

template <class Integer>
bool ParseField(const Fields& fields, const char* key, Integer& out) {
    const auto found = fields.find(key);
    return found != fields.end() && ParseNumber(found->second, out);
}

std::string OptionalQuote(const OptionalText& text) {
    return text ? Quote(*text) : "null";
}

// Each parser says what is wrong with a line it refuses; a line it passes over silently
// leaves `problem` empty.
bool Parse(const std::string& line, LogRecord& record, std::string& problem) {
    const std::optional<Fields> fields = ParseFields(line);
    problem = "unreadable";
    return fields && ParseField(*fields, "kind", record.kind) &&
           ParseText(*fields, "source", record.source) &&
           ParseText(*fields, "message", record.message);
}

bool Parse(const std::string& line, ArchivedSms& record, std::string& problem) {
    const std::optional<Fields> fields = ParseFields(line);
    problem = "unreadable";
    return fields && ParseField(*fields, "size", record.size) &&
           ParseField(*fields, "reserved4", record.reserved4) &&
           ParseText(*fields, "text", record.text) && ParseText(*fields, "meta", record.meta) &&
           ParseText(*fields, "number", record.number) &&
           ParseField(*fields, "direction", record.direction) &&
           ParseField(*fields, "reserved36", record.reserved36) &&
           ParseField(*fields, "time", record.time) &&
           ParseField(*fields, "reserved", record.reserved);
}

bool Parse(const std::string& line, StoredProfile& profile, std::string& problem) {
    if (line.empty() || line[0] == '#') {
        return false;
    }
    const size_t tab1 = line.find('\t');
    const size_t tab2 = tab1 == std::string::npos ? tab1 : line.find('\t', tab1 + 1);
    if (tab2 == std::string::npos || line.find('\t', tab2 + 1) != std::string::npos) {
        problem = "not name<TAB>transport-id<TAB>base64";
        return false;
    }
    profile = {WideFromUtf8(line.substr(0, tab1)),
               WideFromUtf8(line.substr(tab1 + 1, tab2 - tab1 - 1)),
               WideFromUtf8(line.substr(tab2 + 1))};
    return true;
}

}  // namespace

std::string StoreLine(const LogRecord& record) {
    return "kind=" + std::to_string(record.kind) + " source=" + OptionalQuote(record.source) +
           " message=" + OptionalQuote(record.message);
}

std::string StoreLine(const ArchivedSms& record) {
    return "size=" + std::to_string(record.size) +
           " reserved4=" + std::to_string(record.reserved4) +
           " text=" + OptionalQuote(record.text) + " meta=" + OptionalQuote(record.meta) +
           " number=" + OptionalQuote(record.number) +
           " direction=" + std::to_string(record.direction) +
           " reserved36=" + std::to_string(record.reserved36) +
           " time=" + std::to_string(record.time) + " reserved=" + std::to_string(record.reserved);
}

std::string StoreLine(const StoredProfile& profile) {
    return Utf8(profile.name) + "\t" + Utf8(profile.transportId) + "\t" + Utf8(profile.base64);
}

template <class Record>
const std::vector<Record>& LineStore<Record>::Records() {
    if (!records_) {
        records_.emplace();
        const std::optional<std::string> content = ReadWholeFile(path_);
        int lineNumber = 0;
        for (const std::string& line :
             content ? SplitLines(*content) : std::vector<std::string>{}) {
            ++lineNumber;
            Record record;
            std::string problem;
            if (Parse(line, record, problem)) {
                records_->push_back(std::move(record));
            } else if (!problem.empty()) {
                Warn(Utf8(path_) + ":" + std::to_string(lineNumber) + ": " + problem + ", skipped");
            }
        }
    }
    return *records_;
}

template <class Record>
bool LineStore<Record>::Append(const Record& record, std::string& error) {
    Records();  // the file's records come first
    records_->push_back(record);
    if (!AppendUtf8Line(path_, StoreLine(record))) {
        error = "cannot write " + Utf8(path_);
        return false;
    }
    return true;
}

template <class Record>
bool LineStore<Record>::Replace(size_t index, const Record& record, std::string& error) {
    Records();
    records_->at(index) = record;
    std::string content;
    for (const Record& each : *records_) {
        content += StoreLine(each) + "\n";
    }
    if (!WriteWholeFile(path_, content)) {
        error = "cannot write " + Utf8(path_);
        return false;
    }
    return true;
}

template class LineStore<LogRecord>;
template class LineStore<ArchivedSms>;
template class LineStore<StoredProfile>;

std::vector<uint8_t> RecordBytes(const StoredProfile& profile) {
    char* utf8 = wtou(profile.base64.c_str());
    unsigned char* bytes = nullptr;
    const size_t count = lutBase64Decode(utf8, std::strlen(utf8), &bytes);
    std::vector<uint8_t> record(bytes, bytes + (bytes != nullptr ? count : 0));
    delete[] utf8;
    delete[] bytes;
    return record;
}

}  // namespace tarnik::host
