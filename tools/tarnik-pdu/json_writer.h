// A minimal JSON object writer for the tool's one-object-per-line output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarnik {

class JsonWriter {
public:
    JsonWriter& BeginObject(std::string_view key = {});
    JsonWriter& EndObject();
    JsonWriter& String(std::string_view key, std::string_view utf8);
    JsonWriter& Number(std::string_view key, int64_t value);
    JsonWriter& Double(std::string_view key, double value);
    JsonWriter& Bool(std::string_view key, bool value);

    const std::string& str() const { return out_; }

private:
    void Key(std::string_view key);
    void Quoted(std::string_view utf8);

    std::string out_;
    bool needComma_ = false;
};

}  // namespace tarnik
