// Where the send job shows its stages: each stage starts a new line ("Wysyłam... ") and
// its outcome ("OK", "Błąd") is added to the end of that same line.
#pragma once

#include <string>

namespace tarnik {

class ProgressLog {
public:
    virtual ~ProgressLog() = default;
    // A new line, or with toLastLine the text appended to whatever line is last.
    virtual void Append(const std::u16string& text, bool toLastLine) = 0;
};

}  // namespace tarnik
