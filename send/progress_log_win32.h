// The progress log on the SMS plug-in's own list box.
#pragma once

#include <windows.h>

#include "send/progress_log.h"
#include "text/wide_text.h"

namespace tarnik {

// A new line is added and selected (which scrolls it into view). An appended text
// replaces the last line by the joined text and repaints at once; with no line at all
// it is dropped.
void AppendProgress(HWND listBox, const wchar_t* text, bool toLastLine);

// The send job's progress seam over a borrowed list box; the window stays the caller's.
class ListBoxProgress final : public ProgressLog {
public:
    explicit ListBoxProgress(HWND listBox) : listBox_(listBox) {}
    void Append(const std::u16string& text, bool toLastLine) override {
        AppendProgress(listBox_, AsWide(text), toLastLine);
    }

private:
    HWND listBox_;
};

}  // namespace tarnik
