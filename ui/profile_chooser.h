// The profile chooser: the user picks one of this transport's profiles and starts the
// download of the phone's stored messages, which runs on a worker thread while the
// chooser shows its progress.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "download/long_messages.h"
#include "hrx/hrxui.h"

namespace tarnik {

class CWndModemConfig : public hrx::CUIWin7Dialog {
public:
    CWndModemConfig();
    // Outwaits the last worker: its thread must not outlive the dialog it reports to.
    ~CWndModemConfig() override;

    // A profile to offer: its name and its record as Base64, in the order given.
    void AddProfile(std::wstring name, std::wstring base64);
    size_t ProfileCount() const { return profiles_.size(); }

    // The dialog that opened the chooser is going away (the plug-in unloads), perhaps
    // while this dialog's modal loop is on the stack: the worker is stopped and outwaited,
    // then the window goes at once. The object stays with whoever runs the loop, which
    // asks Abandoned() when the loop returns.
    void Abandon();
    bool Abandoned() const { return abandoned_; }

    HWND listView = nullptr;                      // the download dialog's message list
    std::vector<MessageGroup>* groups = nullptr;  // the download dialog's groups

protected:
    void DoDataExchange(dlg::DataExchange& dx) override;
    BOOL OnInitDialog() override;
    const dlg::MessageMap* GetMessageMap() const override;
    // Esc: refused while a worker runs, which still writes into this dialog.
    void OnCancel() override;

private:
    void OnDownload();
    LRESULT OnWorkerDone(WPARAM result, LPARAM);
    void WaitForWorker();

    std::vector<std::pair<std::wstring, std::wstring>> profiles_;  // (name, Base64)
    // The worker's handle; the worker closes it and leaves INVALID_HANDLE_VALUE.
    HANDLE workerHandle_ = INVALID_HANDLE_VALUE;
    HANDLE workerWait_ = nullptr;          // our own handle of the last worker, to outwait it
    std::atomic<bool> stopWorker_{false};  // the worker's clock runs out once set
    bool abandoned_ = false;
    dlg::ComboBox profileList_;
    dlg::Static status_;
    dlg::Button download_;
    dlg::Button close_;
};

}  // namespace tarnik
