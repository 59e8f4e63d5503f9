// The dialog framework on real dialogs of the tests' own: the template's init data, the
// message map's order and typed handlers, data exchange both ways, how dialogs end, and
// modeless dialogs in a parent.
#include <gtest/gtest.h>
#include <windows.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "dialog_framework/dialog.h"
#include "dialog_framework/module_state.h"

namespace {

constexpr UINT kTemplate = 100;

// Plays the user from inside: each step is run after the dialog has initialised, through
// real messages to its controls.
class TestDialog : public dlg::CDialog {
public:
    TestDialog() : dlg::CDialog(kTemplate) {}

    std::vector<std::string> calls;
    int checked = 1;
    std::wstring text = L"zażółć";
    void (*script)(TestDialog&) = nullptr;
    bool throwing = false;  // the init and the button's handler throw
    dlg::ComboBox combo;
    dlg::ListBox list;

protected:
    BOOL OnInitDialog() override {
        dlg::CDialog::OnInitDialog();
        calls.push_back("init");
        if (throwing && script == nullptr)
            throw std::bad_alloc();
        if (script != nullptr)
            script(*this);
        return TRUE;
    }
    void DoDataExchange(dlg::DataExchange& dx) override {
        calls.push_back(dx.saving() ? "save" : "load");
        dx.Control(10, combo);
        dx.Control(11, list);
        dx.Check(12, checked);
        dx.Text(13, text);
    }
    const dlg::MessageMap* GetMessageMap() const override {
        static const dlg::MessageMapOf<TestDialog> map = {
            dlg::OnCommand(14, BN_CLICKED, &TestDialog::OnButton),
            dlg::OnCommand(10, CBN_SELENDOK, &TestDialog::OnChosen),
            // A second entry for the same source is never reached: the first one wins.
            dlg::OnCommand(14, BN_CLICKED, &TestDialog::OnShadowed),
            dlg::OnMessage(WM_USER + 7, &TestDialog::OnUser),
        };
        return &map;
    }

private:
    void OnButton() {
        calls.push_back("button");
        if (throwing)
            throw std::runtime_error("button");
    }
    void OnShadowed() { calls.push_back("shadowed"); }
    void OnChosen() { calls.push_back("chosen " + std::to_string(combo.CurSel())); }
    LRESULT OnUser(WPARAM w, LPARAM l) {
        calls.push_back("user " + std::to_string(w) + " " + std::to_string(l));
        return 42;
    }
};

void Post(TestDialog& d, UINT message, WPARAM w = 0, LPARAM l = 0) {
    PostMessageW(d.hwnd(), message, w, l);
}
void Click(TestDialog& d, int button) {
    PostMessageW(GetDlgItem(d.hwnd(), button), BM_CLICK, 0, 0);
}

// One run plays every step of the plain dialog: the template's init data in the lists and
// the members loaded into the controls before OnInitDialog's script runs, the message
// map's entries in order with their results reaching the sender, and OK saving the
// controls back into the members.
TEST(DialogFramework, InitDataMessageMapAndDataExchange) {
    static LRESULT answer = 0;
    TestDialog d;
    d.script = [](TestDialog& self) {
        HWND dialog = self.hwnd();
        EXPECT_EQ(std::vector<std::wstring>(
                      {self.combo.ItemText(0), self.combo.ItemText(1), self.list.ItemText(0)}),
                  std::vector<std::wstring>({L"jeden", L"dwa", L"trzy"}));
        EXPECT_EQ(self.combo.Count() + self.list.Count(), 3);
        EXPECT_EQ(SendDlgItemMessageW(dialog, 12, BM_GETCHECK, 0, 0), BST_CHECKED);
        wchar_t text[32] = {};
        GetDlgItemTextW(dialog, 13, text, 32);
        EXPECT_STREQ(text, L"zażółć");

        answer = SendMessageW(dialog, WM_USER + 7, 1, 2);
        Click(self, 14);
        self.combo.SetCurSel(1);
        const auto combo = reinterpret_cast<LPARAM>(self.combo.hwnd());
        Post(self, WM_COMMAND, MAKEWPARAM(10, CBN_SELENDOK), combo);
        Post(self, WM_COMMAND, MAKEWPARAM(10, CBN_SELCHANGE), combo);  // not in the map
        Post(self, WM_USER + 7, 3, 4);
        SendDlgItemMessageW(dialog, 12, BM_SETCHECK, BST_UNCHECKED, 0);
        SetDlgItemTextW(dialog, 13, L"gęślą");
        Click(self, IDOK);
    };
    EXPECT_EQ(d.DoModal(), IDOK);
    EXPECT_EQ(answer, 42);
    EXPECT_EQ(d.calls, (std::vector<std::string>{"load", "init", "user 1 2", "button", "chosen 1",
                                                 "user 3 4", "save"}));
    EXPECT_EQ(d.checked, 0);
    EXPECT_EQ(d.text, L"gęślą");
}

// A typed entry of each kind; the handlers note what they got while the test sends its
// messages, and not the window's own painting.
class TypedDialog : public TestDialog {
public:
    bool noting = false;
    std::string noted;
    static inline const HBRUSH kBrush = static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH));

protected:
    const dlg::MessageMap* GetMessageMap() const override {
        static const dlg::MessageMapOf<TypedDialog> map = {
            dlg::OnEraseBackground(&TypedDialog::OnErase),
            dlg::OnControlColour(&TypedDialog::OnColour),
            dlg::OnSize(&TypedDialog::OnResize),
            dlg::OnCommandRange(30, 32, &TypedDialog::OnRange),
            dlg::OnNotify(40, NM_CLICK, &TypedDialog::OnClick),
        };
        return &map;
    }

private:
    template <typename... Values>
    void Note(const char* what, Values... values) {
        if (noting)
            noted = (std::string(what) + ... + (" " + std::to_string(values)));
    }
    bool OnErase(HDC dc) {
        Note("erase", reinterpret_cast<uintptr_t>(dc));
        return true;
    }
    HBRUSH OnColour(HDC dc, HWND control) {
        Note("colour", reinterpret_cast<uintptr_t>(dc), GetDlgCtrlID(control));
        return kBrush;
    }
    void OnResize(UINT type, int cx, int cy) { Note("size", type, cx, cy); }
    void OnRange(UINT id) { Note("command", id); }
    LRESULT OnClick(NMHDR* header) {
        Note("click", header->idFrom);
        return 7;
    }
};

TEST(DialogFramework, TypedEntriesGiveEachHandlerWhatItsMessageCarries) {
    static NMHDR click{nullptr, 40, NM_CLICK};
    static NMHDR otherCode{nullptr, 40, NM_RCLICK};
    static const LRESULT brush = reinterpret_cast<LRESULT>(TypedDialog::kBrush);
    static const struct {
        const char* name;
        UINT message;
        WPARAM w;
        LPARAM l;  // or, with `control`, that control's window
        int control;
        std::string noted;  // empty: no entry takes it
        LRESULT answer;     // -1: the dialog manager's own
    } cases[] = {
        {"erase", WM_ERASEBKGND, 51, 0, 0, "erase 51", 1},
        {"edit colour", WM_CTLCOLOREDIT, 51, 0, 13, "colour 51 13", brush},
        {"list colour", WM_CTLCOLORLISTBOX, 52, 0, 11, "colour 52 11", brush},
        {"button colour", WM_CTLCOLORBTN, 53, 0, 14, "colour 53 14", brush},
        {"scroll bar colour", WM_CTLCOLORSCROLLBAR, 54, 0, 11, "colour 54 11", brush},
        {"static colour", WM_CTLCOLORSTATIC, 55, 0, 12, "colour 55 12", brush},
        {"the dialog's own colour", WM_CTLCOLORDLG, 56, 0, 0, "", -1},
        {"size", WM_SIZE, SIZE_RESTORED, MAKELPARAM(300, 200), 0, "size 0 300 200", 0},
        {"first of the range", WM_COMMAND, MAKEWPARAM(30, 0), 0, 0, "command 30", 0},
        {"last of the range", WM_COMMAND, MAKEWPARAM(32, 0), 0, 0, "command 32", 0},
        {"beyond the range", WM_COMMAND, MAKEWPARAM(33, 0), 0, 0, "", -1},
        {"an accelerator", WM_COMMAND, MAKEWPARAM(31, 1), 0, 0, "", -1},
        {"notification", WM_NOTIFY, 40, reinterpret_cast<LPARAM>(&click), 0, "click 40", 7},
        {"another code", WM_NOTIFY, 40, reinterpret_cast<LPARAM>(&otherCode), 0, "", -1},
    };
    TypedDialog d;
    d.script = [](TestDialog& self) {
        auto& typed = static_cast<TypedDialog&>(self);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            const LPARAM l =
                c.control != 0 ? reinterpret_cast<LPARAM>(GetDlgItem(self.hwnd(), c.control)) : c.l;
            typed.noted.clear();
            typed.noting = true;
            const LRESULT answer = SendMessageW(self.hwnd(), c.message, c.w, l);
            typed.noting = false;
            EXPECT_EQ(typed.noted, c.noted);
            if (c.answer != -1)
                EXPECT_EQ(answer, c.answer);
            else
                EXPECT_NE(answer, brush);
        }
        Post(self, WM_COMMAND, IDCANCEL);
    };
    EXPECT_EQ(d.DoModal(), IDCANCEL);
}

// How a modal dialog ends. Handlers run from the host's message loop: what they throw
// stays in the framework; a failed initialisation ends the dialog, a failed command leaves
// it running. A template the current module lacks gives -1.
TEST(DialogFramework, WaysOut) {
    const struct {
        const char* name;
        void (*script)(TestDialog&);
        bool throwing;
        INT_PTR result;
    } cases[] = {
        {"OK button", [](TestDialog& s) { Click(s, IDOK); }, false, IDOK},
        {"Cancel button", [](TestDialog& s) { Click(s, IDCANCEL); }, false, IDCANCEL},
        {"Esc",
         [](TestDialog& s) { PostMessageW(GetDlgItem(s.hwnd(), 14), WM_KEYDOWN, VK_ESCAPE, 0); },
         false, IDCANCEL},
        {"close box", [](TestDialog& s) { Post(s, WM_SYSCOMMAND, SC_CLOSE); }, false, IDCANCEL},
        {"failed initialisation", nullptr, true, IDCANCEL},
        {"failed command, then OK", [](TestDialog& s) { Click(s, 14), Click(s, IDOK); }, true,
         IDOK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestDialog d;
        d.script = c.script;
        d.throwing = c.throwing;
        EXPECT_EQ(d.DoModal(), c.result);
        EXPECT_EQ(d.hwnd(), nullptr);
        EXPECT_EQ(d.calls.back(), c.result == IDOK ? "save" : "init");
    }
    // kernel32 holds no template 100: the dialog cannot be made there.
    dlg::ModuleStateGuard elsewhere(GetModuleHandleW(L"kernel32.dll"), INVALID_HANDLE_VALUE);
    EXPECT_EQ(TestDialog().DoModal(), -1);
}

// Modeless in a parent: a dialog of its own, destroyed with its object, and a page inside
// the parent, which Esc in its read-only text box (pumped through the dialog manager as a
// host's message loop does, the box sends WM_CLOSE, the dialog makes that IDCANCEL) and an
// OK command leave where it is.
TEST(DialogFramework, ModelessDialogsInAParent) {
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 400,
                                  300, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(parent, nullptr);
    HWND made = nullptr;
    {
        TestDialog d;
        ASSERT_TRUE(d.Create(parent));
        made = d.hwnd();
        EXPECT_EQ(GetParent(made), parent);
        EXPECT_EQ(d.combo.Count(), 2);
        SendMessageW(GetDlgItem(made, 14), BM_CLICK, 0, 0);
        EXPECT_EQ(d.calls.back(), "button");
    }
    EXPECT_FALSE(IsWindow(made));

    const struct {
        const char* name;
        void (*act)(HWND page, HWND text);
    } cases[] = {
        {"Esc", [](HWND, HWND text) { PostMessageW(text, WM_KEYDOWN, VK_ESCAPE, 0); }},
        {"OK", [](HWND page, HWND) { PostMessageW(page, WM_COMMAND, IDOK, 0); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        dlg::CDialog page(101);
        ASSERT_TRUE(page.Create(parent));
        HWND text = GetDlgItem(page.hwnd(), 20);
        SetFocus(text);
        c.act(page.hwnd(), text);
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (!IsDialogMessageW(page.hwnd(), &msg)) {
                TranslateMessage(&msg);
                DispatchMessageW(&msg);
            }
        }
        EXPECT_TRUE(IsWindow(page.hwnd()) && IsWindow(text));
    }
    DestroyWindow(parent);
}

}  // namespace
