#include "dialog_framework/dialog.h"

#include "dialog_framework/module_state.h"

namespace dlg {

namespace {

// Init data records name their message in the 16-bit numbering of the dialog editors.
constexpr WORD kInitListBoxAddString = 0x0401;
constexpr WORD kInitComboBoxAddString = 0x0403;

}  // namespace

void DataExchange::Control(int id, Window& control) {
    HWND item = Item(id);
    if (item != nullptr)
        control.Attach(item);
}

void DataExchange::Check(int id, int& state) {
    HWND item = Item(id);
    if (item == nullptr)
        return;
    if (save_) {
        state = static_cast<int>(SendMessageW(item, BM_GETCHECK, 0, 0));
    } else {
        SendMessageW(item, BM_SETCHECK, static_cast<WPARAM>(state), 0);
    }
}

void DataExchange::Text(int id, std::wstring& text) {
    HWND item = Item(id);
    if (item == nullptr)
        return;
    Window window;
    window.Attach(item);
    if (save_) {
        text = window.Text();
    } else {
        window.SetText(text);
    }
}

HWND DataExchange::Item(int id) {
    HWND item = GetDlgItem(dialog_, id);
    if (item == nullptr && failedControl_ == 0)
        failedControl_ = id;
    return item;
}

CDialog::~CDialog() {
    if (hwnd_ != nullptr && IsWindow(hwnd_)) {
        SetWindowLongPtrW(hwnd_, DWLP_USER, 0);
        DestroyWindow(hwnd_);
    }
}

INT_PTR CDialog::DoModal() {
    modal_ = true;
    return DialogBoxParamW(CurrentResourceModule(), MAKEINTRESOURCEW(templateId_), parent_,
                           DialogProc, reinterpret_cast<LPARAM>(this));
}

bool CDialog::Create(HWND parent) {
    modal_ = false;
    parent_ = parent;
    HWND created = CreateDialogParamW(CurrentResourceModule(), MAKEINTRESOURCEW(templateId_),
                                      parent, DialogProc, reinterpret_cast<LPARAM>(this));
    return created != nullptr;
}

bool CDialog::UpdateData(bool save) {
    DataExchange dx(hwnd_, save);
    DoDataExchange(dx);
    return dx.ok();
}

BOOL CDialog::OnInitDialog() {
    UpdateData(false);
    return TRUE;
}

void CDialog::DoDataExchange(DataExchange&) {}

// A child dialog is a page of its parent and ends with it: Enter and Esc in its controls
// (a read-only multi-line edit turns Esc into WM_CLOSE, the dialog that into IDCANCEL)
// must not destroy it under the parent's feet.
bool CDialog::IsChildPage() const {
    return !modal_ && (GetWindowLongPtrW(hwnd_, GWL_STYLE) & WS_CHILD) != 0;
}

void CDialog::OnOK() {
    if (IsChildPage())
        return;
    if (!UpdateData(true))
        return;  // stays open on the control that failed
    EndDialog(IDOK);
}

void CDialog::OnCancel() {
    if (IsChildPage())
        return;
    EndDialog(IDCANCEL);
}

void CDialog::EndDialog(INT_PTR result) {
    if (modal_) {
        ::EndDialog(hwnd_, result);
    } else {
        DestroyWindow(hwnd_);
    }
}

void CDialog::ExecuteDlgInit() {
    HINSTANCE module = CurrentResourceModule();
    HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(templateId_),
                                MAKEINTRESOURCEW(kDlgInitResourceType));
    if (found == nullptr)
        return;
    const auto* data = static_cast<const BYTE*>(LockResource(LoadResource(module, found)));
    const DWORD size = SizeofResource(module, found);
    if (data == nullptr)
        return;
    // Records: control id (WORD), message (WORD), length (DWORD), then that many bytes of
    // ANSI text ending in NUL; a control id of 0 ends the list.
    DWORD at = 0;
    while (at + 8 <= size) {
        WORD id, message;
        DWORD length;
        memcpy(&id, data + at, 2);
        memcpy(&message, data + at + 2, 2);
        memcpy(&length, data + at + 4, 4);
        at += 8;
        if (id == 0 || length > size - at)
            break;
        std::string text(reinterpret_cast<const char*>(data + at), length);
        at += length;
        const size_t nul = text.find('\0');
        if (nul != std::string::npos)
            text.resize(nul);
        const UINT add = message == kInitListBoxAddString    ? LB_ADDSTRING
                         : message == kInitComboBoxAddString ? CB_ADDSTRING
                                                             : message;
        SendDlgItemMessageA(hwnd_, id, add, 0, reinterpret_cast<LPARAM>(text.c_str()));
    }
}

INT_PTR CALLBACK CDialog::DialogProc(HWND hwnd, UINT message, WPARAM w, LPARAM l) {
    CDialog* self = nullptr;
    if (message == WM_INITDIALOG) {
        self = reinterpret_cast<CDialog*>(l);
        SetWindowLongPtrW(hwnd, DWLP_USER, reinterpret_cast<LONG_PTR>(self));
        self->hwnd_ = hwnd;
    } else {
        self = reinterpret_cast<CDialog*>(GetWindowLongPtrW(hwnd, DWLP_USER));
    }
    if (self == nullptr)
        return FALSE;
    // Called from the host's message loop: an exception must not unwind into it. A dialog
    // whose initialisation failed is half built and goes; any other message counts as
    // not handled.
    try {
        return self->Handle(message, w, l);
    } catch (...) {
        if (message == WM_INITDIALOG)
            self->EndDialog(IDCANCEL);
        return FALSE;
    }
}

namespace {

// Messages whose answer is the dialog procedure's return value, not DWLP_MSGRESULT.
bool AnswersDirectly(UINT message) {
    return (message >= WM_CTLCOLORMSGBOX && message <= WM_CTLCOLORSTATIC) ||
           message == WM_COMPAREITEM || message == WM_VKEYTOITEM || message == WM_CHARTOITEM ||
           message == WM_QUERYDRAGICON;
}

}  // namespace

BOOL CDialog::OnCommand(WPARAM w, LPARAM l) {
    LRESULT result = 0;
    if (const MessageMap* map = GetMessageMap()) {
        if (map->Dispatch(*this, WM_COMMAND, w, l, result))
            return TRUE;
    }
    if (LOWORD(w) == IDOK && HIWORD(w) == BN_CLICKED) {
        OnOK();
        return TRUE;
    }
    if (LOWORD(w) == IDCANCEL) {  // the Cancel button, Esc and the close box
        OnCancel();
        return TRUE;
    }
    return FALSE;
}

// A child dialog made to be a page of another (DS_CONTROL): the dialog manager takes its
// controls into the outer dialog's Tab order.
bool CDialog::IsPageInDialog() const {
    return (GetWindowLongW(hwnd_, GWL_STYLE) & WS_CHILD) != 0 &&
           (GetWindowLongW(hwnd_, GWL_EXSTYLE) & WS_EX_CONTROLPARENT) != 0;
}

INT_PTR CDialog::Handle(UINT message, WPARAM w, LPARAM l) {
    if (message == WM_INITDIALOG) {
        ExecuteDlgInit();
        return OnInitDialog();
    }
    if (message == WM_COMMAND) {
        // The handler may end a modeless dialog: nothing of the object is used after it.
        HWND self = hwnd_;
        const BOOL handled = OnCommand(w, l);
        if (handled && IsWindow(self))
            SetWindowLongPtrW(self, DWLP_MSGRESULT, 0);
        return handled;
    }
    if (message == WM_NEXTDLGCTL && l == 0 && IsPageInDialog()) {
        // A multi-line edit box passes its Tab to its own parent: in a page that is us, and
        // the next control is for the dialog around the page to find, or Tab would stay
        // going round inside the page.
        SendMessageW(GetParent(hwnd_), WM_NEXTDLGCTL, w, 0);
        return TRUE;
    }
    LRESULT result = 0;
    if (const MessageMap* map = GetMessageMap()) {
        HWND self = hwnd_;
        if (map->Dispatch(*this, message, w, l, result)) {
            if (AnswersDirectly(message))
                return static_cast<INT_PTR>(result);
            // Other messages that return a value do so through DWLP_MSGRESULT.
            if (IsWindow(self))
                SetWindowLongPtrW(self, DWLP_MSGRESULT, result);
            return TRUE;
        }
    }
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(hwnd_, DWLP_USER, 0);
        hwnd_ = nullptr;
    }
    return FALSE;
}

}  // namespace dlg
