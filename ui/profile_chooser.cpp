#include "ui/profile_chooser.h"

#include <memory>

#include "download/download_worker.h"
#include "plugin/host_services.h"
#include "res/resource_ids.h"
#include "ui/download_thread.h"
#include "ui/profile_entry.h"

namespace tarnik {

namespace {

constexpr UserText kHeader{1037, u"Konfiguracja połaczenia"};
constexpr UserText kSubheader{1038, u"Wybierz profil połączenia, którego chesz użyć."};

}  // namespace

namespace {

// A record that does not decode is no way to the phone: the worker fails on it at once,
// with the usual end, instead of connecting with a made-up profile.
constexpr uint8_t kUnusableKind = 0xFF;

}  // namespace

CWndModemConfig::CWndModemConfig() : hrx::CUIWin7Dialog(IDD_MODEM_CONFIG) {}

CWndModemConfig::~CWndModemConfig() {
    WaitForWorker();
}

void CWndModemConfig::AddProfile(std::wstring name, std::wstring base64) {
    profiles_.emplace_back(std::move(name), std::move(base64));
}

const dlg::MessageMap* CWndModemConfig::GetMessageMap() const {
    static const dlg::MessageMapOf<CWndModemConfig> map = {
        dlg::OnCommand(IDOK, BN_CLICKED, &CWndModemConfig::OnDownload),
        dlg::OnMessage(kEndChooserMessage, &CWndModemConfig::OnWorkerDone),
    };
    return &map;
}

void CWndModemConfig::DoDataExchange(dlg::DataExchange& dx) {
    hrx::CUIWin7Dialog::DoDataExchange(dx);
    dx.Control(IDC_PROFILE_LIST, profileList_);
    dx.Control(IDC_DOWNLOAD_STATUS, status_);
    dx.Control(IDOK, download_);
    dx.Control(IDCANCEL, close_);
}

BOOL CWndModemConfig::OnInitDialog() {
    hrx::CUIWin7Dialog::OnInitDialog();
    hrx::g_pTrans->translateHwnd(kModuleName, 1054, reinterpret_cast<HWND__*>(hwnd()));
    // The list sorts by name: each item carries its profile's place in profiles_.
    for (size_t i = 0; i < profiles_.size(); ++i) {
        const int item = profileList_.AddString(profiles_[i].first);
        if (item >= 0)
            profileList_.SetItemData(item, i);
    }
    SetHeaders(Tr(kHeader), Tr(kSubheader));
    profileList_.SetCurSel(0);
    return FALSE;
}

void CWndModemConfig::OnCancel() {
    // The close button is disabled exactly while a worker runs.
    if (!close_.IsEnabled())
        return;
    hrx::CUIWin7Dialog::OnCancel();
}

void CWndModemConfig::OnDownload() {
    const int item = profileList_.CurSel();
    if (item < 0)
        return;
    const DWORD_PTR chosen = profileList_.ItemData(item);
    if (chosen >= profiles_.size())
        return;

    auto job = std::make_unique<DownloadJob>();
    if (!ProfileFromBase64(profiles_[chosen].second.c_str(), job->profile)) {
        job->profile = GsmProfile{};
        job->profile.connectionKind = kUnusableKind;
    }
    job->threadHandleSlot = &workerHandle_;
    job->listView = listView;
    job->statusLabel = status_.hwnd();
    job->groups = groups;
    job->reenableWindows = {close_.hwnd(), download_.hwnd(), profileList_.hwnd()};
    job->stop = &stopWorker_;

    profileList_.Enable(false);
    download_.Enable(false);
    close_.Enable(false);

    // The last worker is done with the slot (the buttons were enabled again), but its
    // thread may still be on its way out.
    WaitForWorker();
    // Suspended until its handle is in the slot: a worker that ends at once (an unusable
    // profile) closes the handle it finds there.
    HANDLE thread = CreateThread(nullptr, 0, DownloadWorker, job.get(), CREATE_SUSPENDED, nullptr);
    if (thread == nullptr) {
        for (HWND window : job->reenableWindows)
            EnableWindow(window, TRUE);
        status_.SetText(Tr(kFinished));
        return;
    }
    job.release();  // the worker's from here on
    workerHandle_ = thread;
    if (!DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &workerWait_,
                         SYNCHRONIZE, FALSE, 0)) {
        workerWait_ = nullptr;
    }
    ResumeThread(thread);
}

LRESULT CWndModemConfig::OnWorkerDone(WPARAM result, LPARAM) {
    EndDialog(static_cast<INT_PTR>(result));
    return 0;
}

void CWndModemConfig::Abandon() {
    abandoned_ = true;
    stopWorker_ = true;
    WaitForWorker();
    HWND window = hwnd();
    if (window == nullptr || !IsWindow(window))
        return;
    // Ended as a modal dialog ends, and destroyed now rather than when its loop returns:
    // no window of ours may outlive the unload. The loop then sleeps until something is
    // posted; the last message wakes it to find its window gone, so that it returns as
    // soon as the unload that ended it has.
    EndDialog(IDCANCEL);
    DestroyWindow(window);
    PostThreadMessageW(GetCurrentThreadId(), WM_NULL, 0, 0);
}

void CWndModemConfig::WaitForWorker() {
    if (workerWait_ == nullptr)
        return;
    // The worker talks to our windows with SendMessage, and this thread owns them: were
    // it to wait deaf, a worker blocked in one of those calls would never end. So the
    // wait answers sent messages (and only those: no input, no posted message, nothing
    // that could start another download or close a window under us) until the thread
    // has ended.
    while (MsgWaitForMultipleObjects(1, &workerWait_, FALSE, INFINITE, QS_SENDMESSAGE) ==
           WAIT_OBJECT_0 + 1) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
    CloseHandle(workerWait_);
    workerWait_ = nullptr;
}

}  // namespace tarnik
