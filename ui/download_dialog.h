// The download page of the archive: the messages downloaded from the phone in a list, the
// full text of the clicked one below it, and a context menu to download, select and save
// them into the host's archive.
#pragma once

#include <windows.h>

#include <vector>

#include "download/long_messages.h"
#include "hrx/hrxui.h"

namespace tarnik {

// The context menu's commands.
constexpr UINT kCommandDownload = 1000;
constexpr UINT kCommandSelectAll = 1001;
constexpr UINT kCommandSave = 1002;

class CWndModemConfig;

class CWndSmsDownload : public hrx::CUIScalableDialog {
public:
    CWndSmsDownload();

    // True while the profile chooser is open, and with it perhaps a download that writes
    // into this dialog's list and groups: whoever holds the dialog must not destroy it then.
    bool Busy() const { return chooser_ != nullptr; }
    // Ends an open chooser and its download for good; afterwards nothing of theirs
    // touches this dialog, which may then go even with the chooser's loop on the stack.
    void EndDownload();

protected:
    void DoDataExchange(dlg::DataExchange& dx) override;
    BOOL OnInitDialog() override;
    const dlg::MessageMap* GetMessageMap() const override;

private:
    bool OnEraseBackground(HDC dc);
    HBRUSH OnControlColour(HDC dc, HWND control);
    void OnSize(UINT type, int cx, int cy);
    LRESULT OnListRClick(NMHDR* header);
    LRESULT OnListClick(NMHDR* header);
    // The context menu's commands, kCommandDownload to kCommandSave.
    void OnMenuCommand(UINT command);

    void StartDownload();
    void SelectAllMessages();
    void SaveSelectedToArchive();

    std::vector<MessageGroup> groups_;  // one per row of the list, in row order
    dlg::ListView list_;
    dlg::Edit text_;
    CWndModemConfig* chooser_ = nullptr;  // open, run by StartDownload's frame
};

}  // namespace tarnik
