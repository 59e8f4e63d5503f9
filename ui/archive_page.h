// The archive page: the window that the menu entry "Archiwizacja SMS-ów" opens. The host's
// navigation list on its left offers its pages (one: the SMS download); the selected one
// is shown beside it under the header.
#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

#include "hrx/hrxui.h"

namespace tarnik {

class CWndSmsDownload;

class CWndAccessHost : public hrx::CUIWin7Dialog {
public:
    CWndAccessHost();
    ~CWndAccessHost() override;

    // Where the module keeps its one page; cleared through it when the page deletes itself.
    CWndAccessHost** instanceSlot = nullptr;

    // True while a page is in a state that must not be destroyed (a download running).
    bool Busy() const;

protected:
    void DoDataExchange(dlg::DataExchange& dx) override;
    BOOL OnInitDialog() override;
    const dlg::MessageMap* GetMessageMap() const override;
    // Esc and the close box hide the page (the base's); not while a download runs.
    void OnCancel() override;

private:
    void OnDestroyPages();
    void OnSize(UINT type, int cx, int cy);
    LRESULT OnSelectionChange(WPARAM, LPARAM l);
    void OnClose();

    std::vector<CWndSmsDownload*> pages_;  // owned
    CWndSmsDownload* current_ = nullptr;   // one of pages_, or none
    dlg::Button closeButton_;
};

// The module's one archive page: null until the menu entry is first used, and again
// after the page deletes itself or the module unloads.
extern CWndAccessHost* archivePage;

// The menu entry's callback: creates the page or shows it again. Arguments ignored.
intptr_t ShowArchivePage(intptr_t, intptr_t);

}  // namespace tarnik
