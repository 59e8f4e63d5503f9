#include "ui/archive_page.h"

#include "plugin/host_services.h"
#include "res/resource_ids.h"
#include "ui/download_dialog.h"
#include "ui/module_app.h"

namespace tarnik {

CWndAccessHost* archivePage = nullptr;

namespace {

constexpr wchar_t kDownloadItem[] = L"SMS/Download";
constexpr UserText kItemName{1024, u"Wiadomości SMS"};
constexpr UserText kItemHeader{1025, u"Wiadomości SMS"};
constexpr UserText kItemSubheader{1026, u"Opcja umożliwia dokonanie archiwizacji wiadomości SMS."};
constexpr int kCloseButtonWidth = 80;
constexpr int kCloseButtonHeight = 26;
constexpr int kCloseButtonFromBottom = 39;

}  // namespace

CWndAccessHost::CWndAccessHost() : hrx::CUIWin7Dialog(IDD_ACCESS_HOST) {}

CWndAccessHost::~CWndAccessHost() {
    // Deleted with its window still there: the pages go with it, downloads ended first.
    for (CWndSmsDownload* page : pages_) {
        page->EndDownload();
        delete page;
    }
}

bool CWndAccessHost::Busy() const {
    for (const CWndSmsDownload* page : pages_) {
        if (page->Busy())
            return true;
    }
    return false;
}

const dlg::MessageMap* CWndAccessHost::GetMessageMap() const {
    static const dlg::MessageMapOf<CWndAccessHost> map = {
        dlg::OnPlain(WM_DESTROY, &CWndAccessHost::OnDestroyPages),
        dlg::OnSize(&CWndAccessHost::OnSize),
        dlg::OnMessage(hrx::WM_VLC_SELCHANGE, &CWndAccessHost::OnSelectionChange),
        dlg::OnCommand(IDOK, BN_CLICKED, &CWndAccessHost::OnClose),
    };
    return &map;
}

void CWndAccessHost::DoDataExchange(dlg::DataExchange& dx) {
    hrx::CUIWin7Dialog::DoDataExchange(dx);
    dx.Control(IDOK, closeButton_);
}

BOOL CWndAccessHost::OnInitDialog() {
    hrx::CUIWin7Dialog::OnInitDialog();
    hrx::g_pTrans->translateHwnd(kModuleName, 1052, reinterpret_cast<HWND__*>(hwnd()));
    auto* download = new CWndSmsDownload();
    download->Create(hwnd());
    hrx::CVLCTreeNode* item =
        GetNavigationList().InsertItem(kDownloadItem, L"", Tr(kItemName), 0, 0, download);
    if (item != nullptr) {
        item->header = Tr(kItemHeader);
        item->subheader = Tr(kItemSubheader);
    }
    pages_.push_back(download);
    GetNavigationList().SelectItem(kDownloadItem);
    return FALSE;
}

LRESULT CWndAccessHost::OnSelectionChange(WPARAM, LPARAM l) {
    const auto* change = reinterpret_cast<const hrx::VLCSELCHANGE*>(l);
    if (change == nullptr || change->code != hrx::VLC_SELECTION_CHANGED)
        return 0;
    if (change->oldItem != nullptr && change->oldItem->data != nullptr) {
        ShowWindow(static_cast<CWndSmsDownload*>(change->oldItem->data)->hwnd(), SW_HIDE);
    }
    const hrx::CVLCTreeNode* item = change->newItem;
    if (item == nullptr)
        return 0;
    if (item->data != nullptr) {
        current_ = static_cast<CWndSmsDownload*>(item->data);
        RECT client;
        GetClientRect(hwnd(), &client);
        MoveWindow(current_->hwnd(), 210, 60, client.right - 220, client.bottom - 110, TRUE);
        ShowWindow(current_->hwnd(), SW_SHOW);
        SetHeaders(item->header.c_str(), item->subheader.c_str());
    } else {
        current_ = nullptr;
        SetHeaders(L"...", L"...");
    }
    InvalidateRect(hwnd(), nullptr, TRUE);
    return 0;
}

void CWndAccessHost::OnSize(UINT type, int cx, int cy) {
    hrx::CUIWin7Dialog::OnSize(type, cx, cy);
    if (GetNavigationList().hwnd() == nullptr)
        return;
    const hrx::UIContentRect content = GetContentRect();
    MoveWindow(closeButton_.hwnd(), content.x, cy - kCloseButtonFromBottom, kCloseButtonWidth,
               kCloseButtonHeight, TRUE);
    if (current_ != nullptr) {
        MoveWindow(current_->hwnd(), content.x, content.y, content.width, content.height, TRUE);
    }
}

void CWndAccessHost::OnCancel() {
    if (Busy())
        return;
    hrx::CUIWin7Dialog::OnCancel();
}

void CWndAccessHost::OnClose() {
    // The chooser and its worker still write into the download page.
    if (Busy()) {
        MessageBeep(MB_OK);
        return;
    }
    dlg::CDialog::OnOK();  // for a modeless dialog this destroys the window already
    if (hwnd() != nullptr)
        DestroyWindow(hwnd());
    if (instanceSlot != nullptr)
        *instanceSlot = nullptr;
    delete this;
}

void CWndAccessHost::OnDestroyPages() {
    hrx::CUIWin7Dialog::OnDestroy();
    for (CWndSmsDownload* page : pages_) {
        // A chooser and its worker write into the page: they end before it goes.
        page->EndDownload();
        DestroyWindow(page->hwnd());
        delete page;
    }
    pages_.clear();
    current_ = nullptr;
}

// 0 in every case: the host does not look at the menu callback's result.
intptr_t ShowArchivePage(intptr_t, intptr_t) {
    return HostEntry<intptr_t>(0, [] {
        if (archivePage == nullptr) {
            archivePage = new CWndAccessHost();
            archivePage->instanceSlot = &archivePage;
        }
        if (archivePage->hwnd() == nullptr)
            archivePage->Create(GetDesktopWindow());
        ShowWindow(archivePage->hwnd(), SW_SHOW);
        return intptr_t{0};
    });
}

}  // namespace tarnik
