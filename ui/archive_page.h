// The archive page: one module-wide window object that hosts the SMS download page.
#pragma once

#include <windows.h>

#include <cstdint>

namespace tarnik {

class CWndAccessHost {
public:
    virtual ~CWndAccessHost() = default;
    HWND hwnd() const { return hwnd_; }

protected:
    HWND hwnd_ = nullptr;
};

// The menu entry's callback: creates the page or brings it forward. Arguments ignored.
intptr_t ShowArchivePage(intptr_t, intptr_t);

}  // namespace tarnik
