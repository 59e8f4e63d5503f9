#include "ui/download_dialog.h"

#include <ctime>
#include <memory>
#include <string>

#include "download/archive_entry.h"
#include "plugin/host_records.h"
#include "plugin/host_services.h"
#include "res/resource_ids.h"
#include "text/wide_text.h"
#include "ui/module_app.h"
#include "ui/profile_chooser.h"

namespace tarnik {

namespace {

struct ColumnDef {
    UserText title;
    int width;
};

constexpr ColumnDef kColumns[] = {
    {{1039, u"Nazwa"}, 120},
    {{1040, u"Numer telefonu"}, 130},
    {{1041, u"Data"}, 140},
    {{1042, u"Treść"}, 190},
};

constexpr UserText kDownloadCommand{1043, u"Pobierz z telefonu..."};
constexpr UserText kSelectAllCommand{1044, u"Zaznacz wszystko"};
constexpr UserText kSaveCommand{1045, u"Zapisz zaznaczone do archiwum"};
constexpr UserText kSavedText{1046, u"Operacja ukończona"};
constexpr UserText kSavedCaption{1047, u"Zapisano"};
constexpr UserText kNoProfileText{
    1048,
    u"Aby uzyć tej funkcji musisz miec ustawiony przynajmniej jeden profil dla tego "
    u"transportu GSM."};
constexpr UserText kNoProfileCaption{1049, u"Brak profilu"};
constexpr int kTextColumn = 3;

constexpr COLORREF kWhite = 0xFFFFFF;
constexpr DWORD kListExtendedStyles = LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER;  // 0x10020
constexpr uint32_t kProfileEntrySize = 32;
constexpr intptr_t kMaxProfileEntries = 65536;

}  // namespace

CWndSmsDownload::CWndSmsDownload() : hrx::CUIScalableDialog(IDD_SMS_DOWNLOAD) {}

const dlg::MessageMap* CWndSmsDownload::GetMessageMap() const {
    static const dlg::MessageMapOf<CWndSmsDownload> map = {
        dlg::OnEraseBackground(&CWndSmsDownload::OnEraseBackground),
        dlg::OnControlColour(&CWndSmsDownload::OnControlColour),
        dlg::OnSize(&CWndSmsDownload::OnSize),
        dlg::OnNotify(IDC_MESSAGE_LIST, NM_RCLICK, &CWndSmsDownload::OnListRClick),
        dlg::OnNotify(IDC_MESSAGE_LIST, NM_CLICK, &CWndSmsDownload::OnListClick),
        dlg::OnCommandRange(kCommandDownload, kCommandSave, &CWndSmsDownload::OnMenuCommand),
    };
    return &map;
}

void CWndSmsDownload::DoDataExchange(dlg::DataExchange& dx) {
    dx.Control(IDC_MESSAGE_LIST, list_);
    dx.Control(IDC_MESSAGE_TEXT, text_);
}

BOOL CWndSmsDownload::OnInitDialog() {
    hrx::CUIScalableDialog::OnInitDialog();
    hrx::g_pTrans->translateHwnd(kModuleName, 1056, reinterpret_cast<HWND__*>(hwnd()));
    int index = 0;
    for (const ColumnDef& column : kColumns) {
        list_.InsertColumn(index++, Tr(column.title), column.width);
    }
    list_.SetExtendedStyle(kListExtendedStyles);
    return FALSE;
}

void CWndSmsDownload::OnMenuCommand(UINT command) {
    // While the chooser is open its worker may be rewriting the list and the groups.
    if (Busy())
        return;
    // Reached from the host's message loop: the chooser's template is ours.
    dlg::ModuleStateGuard guard(theApp.instance(), theApp.activationContext());
    if (command == kCommandDownload)
        StartDownload();
    if (command == kCommandSelectAll)
        SelectAllMessages();
    if (command == kCommandSave)
        SaveSelectedToArchive();
}

bool CWndSmsDownload::OnEraseBackground(HDC dc) {
    RECT client;
    GetClientRect(hwnd(), &client);
    HBRUSH white = CreateSolidBrush(kWhite);
    FillRect(dc, &client, white);
    DeleteObject(white);
    return true;
}

HBRUSH CWndSmsDownload::OnControlColour(HDC, HWND) {
    return static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
}

void CWndSmsDownload::OnSize(UINT type, int cx, int cy) {
    hrx::CUIScalableDialog::OnSize(type, cx, cy);
    if (list_.hwnd() == nullptr || !IsWindow(list_.hwnd()))
        return;
    MoveWindow(list_.hwnd(), 0, 0, cx - 20, cy - 140, TRUE);
    MoveWindow(text_.hwnd(), 0, cy - 130, cx - 20, 120, TRUE);
}

LRESULT CWndSmsDownload::OnListClick(NMHDR*) {
    const int row = list_.NextItem(-1, LVNI_FOCUSED | LVNI_SELECTED);
    if (row >= 0)
        text_.SetText(list_.ItemText(row, kTextColumn));
    return 0;
}

LRESULT CWndSmsDownload::OnListRClick(NMHDR*) {
    HMENU menu = CreatePopupMenu();
    if (menu == nullptr)
        return 0;
    POINT cursor{};
    GetCursorPos(&cursor);
    AppendMenuW(menu, MF_STRING, kCommandDownload, Tr(kDownloadCommand));
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    AppendMenuW(menu, MF_STRING, kCommandSelectAll, Tr(kSelectAllCommand));
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    AppendMenuW(menu, MF_STRING, kCommandSave, Tr(kSaveCommand));
    TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_LEFTBUTTON, cursor.x, cursor.y, 0, hwnd(), nullptr);
    DestroyMenu(menu);
    return 0;
}

void CWndSmsDownload::StartDownload() {
    // A count beyond any real profile store is the host's error, not an allocation to try.
    // The count is a 32-bit int: only the low half of the result is defined.
    const auto total = static_cast<int32_t>(CallService(L"SMST/Enumerate", 0, 0));
    auto chooser = std::make_unique<CWndModemConfig>();
    if (total > 0 && total <= kMaxProfileEntries) {
        std::vector<SmstProfileEntry> entries(static_cast<size_t>(total));
        for (SmstProfileEntry& entry : entries)
            entry.size = kProfileEntrySize;
        CallService(L"SMST/Enumerate", entries.data(), total);
        for (const SmstProfileEntry& entry : entries) {
            if (!IsOurTransport(entry.transportId))
                continue;
            chooser->AddProfile(entry.profileName != nullptr ? entry.profileName : L"",
                                entry.profileData != nullptr ? entry.profileData : L"");
        }
    }
    if (chooser->ProfileCount() == 0) {
        MessageBoxW(hwnd(), Tr(kNoProfileText), Tr(kNoProfileCaption), MB_OK | MB_ICONERROR);
        return;
    }
    chooser->noNavigation = 1;
    chooser->noButtonBand = 1;
    chooser->listView = list_.hwnd();
    chooser->groups = &groups_;
    // Until the chooser and its last worker are gone (its destructor waits for the
    // worker), the list and the groups are theirs.
    chooser_ = chooser.get();
    chooser->DoModal();
    // An unload inside the chooser's loop has ended it and deleted this dialog: only the
    // chooser, ours on this frame, may be touched now.
    if (chooser->Abandoned())
        return;
    chooser.reset();
    chooser_ = nullptr;
}

void CWndSmsDownload::EndDownload() {
    if (chooser_ == nullptr)
        return;
    chooser_->Abandon();
    chooser_ = nullptr;
}

void CWndSmsDownload::SelectAllMessages() {
    const int count = list_.Count();
    for (int row = 0; row < count; ++row)
        list_.SetItemState(row, LVIS_SELECTED, LVIS_SELECTED);
}

void CWndSmsDownload::SaveSelectedToArchive() {
    for (int row = 0; row < list_.Count(); ++row) {
        if (!list_.IsSelected(row))
            continue;
        // Rows and groups are made together; a row without its group is not saved.
        if (static_cast<size_t>(row) >= groups_.size() || groups_[row].parts.empty())
            continue;
        const ArchiveEntry entry =
            ArchiveEntryOf(groups_[row], static_cast<int64_t>(std::time(nullptr)));
        ArchiveSmsRecord record{};
        record.size = sizeof record;
        record.text = AsWide(entry.text);
        record.meta = AsWide(entry.meta);
        record.number = AsWide(entry.number);
        record.direction = entry.direction;
        record.time = entry.time;
        CallService(L"Ar/WriteSMS", &record, 0);
    }
    MessageBoxW(hwnd(), Tr(kSavedText), Tr(kSavedCaption), MB_OK | MB_ICONINFORMATION);
}

}  // namespace tarnik
