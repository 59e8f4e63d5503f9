#include "tarnik-pdu/json_writer.h"

#include <cstdio>

namespace tarnik {

void JsonWriter::Key(std::string_view key) {
    if (needComma_)
        out_.push_back(',');
    needComma_ = true;
    if (!key.empty()) {
        Quoted(key);
        out_.push_back(':');
    }
}

void JsonWriter::Quoted(std::string_view s) {
    out_.push_back('"');
    for (const char c : s) {
        switch (c) {
            case '"':
                out_ += "\\\"";
                break;
            case '\\':
                out_ += "\\\\";
                break;
            case '\n':
                out_ += "\\n";
                break;
            case '\r':
                out_ += "\\r";
                break;
            case '\t':
                out_ += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned>(c));
                    out_ += buf;
                } else {
                    out_.push_back(c);
                }
        }
    }
    out_.push_back('"');
}

JsonWriter& JsonWriter::BeginObject(std::string_view key) {
    Key(key);
    out_.push_back('{');
    needComma_ = false;
    return *this;
}

JsonWriter& JsonWriter::EndObject() {
    out_.push_back('}');
    needComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::String(std::string_view key, std::string_view utf8) {
    Key(key);
    Quoted(utf8);
    return *this;
}

JsonWriter& JsonWriter::Number(std::string_view key, int64_t value) {
    Key(key);
    out_ += std::to_string(value);
    return *this;
}

JsonWriter& JsonWriter::Double(std::string_view key, double value) {
    Key(key);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.9g", value);
    out_ += buf;
    return *this;
}

JsonWriter& JsonWriter::Bool(std::string_view key, bool value) {
    Key(key);
    out_ += value ? "true" : "false";
    return *this;
}

}  // namespace tarnik
