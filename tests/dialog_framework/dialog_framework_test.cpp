// The dialog framework on a real dialog of the tests' own: the template's init data, the
// message map's order and typed handlers, data exchange both ways, and how dialogs end.
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

TEST(DialogFramework, InitDataFillsTheListsBeforeInitialisation) {
    TestDialog d;
    d.script = [](TestDialog& self) {
        EXPECT_EQ(self.combo.Count(), 2);
        EXPECT_EQ(self.combo.ItemText(0), L"jeden");
        EXPECT_EQ(self.combo.ItemText(1), L"dwa");
        EXPECT_EQ(self.list.Count(), 1);
        EXPECT_EQ(self.list.ItemText(0), L"trzy");
        Post(self, WM_COMMAND, IDCANCEL);
    };
    EXPECT_EQ(d.DoModal(), IDCANCEL);
    EXPECT_EQ(d.calls, (std::vector<std::string>{"load", "init"}));
}

TEST(DialogFramework, MessageMapDispatchesInOrderWithTypedHandlers) {
    TestDialog d;
    d.script = [](TestDialog& self) {
        PostMessageW(GetDlgItem(self.hwnd(), 14), BM_CLICK, 0, 0);
        self.combo.SetCurSel(1);
        Post(self, WM_COMMAND, MAKEWPARAM(10, CBN_SELENDOK),
             reinterpret_cast<LPARAM>(self.combo.hwnd()));
        Post(self, WM_COMMAND, MAKEWPARAM(10, CBN_SELCHANGE),
             reinterpret_cast<LPARAM>(self.combo.hwnd()));  // not in the map
        Post(self, WM_USER + 7, 3, 4);
        Post(self, WM_COMMAND, IDCANCEL);
    };
    EXPECT_EQ(d.DoModal(), IDCANCEL);
    EXPECT_EQ(d.calls,
              (std::vector<std::string>{"load", "init", "button", "chosen 1", "user 3 4"}));
}

TEST(DialogFramework, HandlerResultsReachTheSender) {
    TestDialog d;
    LRESULT answer = 0;
    static LRESULT* out = nullptr;
    out = &answer;
    d.script = [](TestDialog& self) {
        *out = SendMessageW(self.hwnd(), WM_USER + 7, 1, 2);
        Post(self, WM_COMMAND, IDCANCEL);
    };
    d.DoModal();
    EXPECT_EQ(answer, 42);
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
    void Note(const std::string& what) {
        if (noting)
            noted = what;
    }
    bool OnErase(HDC dc) {
        Note("erase " + std::to_string(reinterpret_cast<uintptr_t>(dc)));
        return true;
    }
    HBRUSH OnColour(HDC dc, HWND control) {
        Note("colour " + std::to_string(reinterpret_cast<uintptr_t>(dc)) + " " +
             std::to_string(GetDlgCtrlID(control)));
        return kBrush;
    }
    void OnResize(UINT type, int cx, int cy) {
        Note("size " + std::to_string(type) + " " + std::to_string(cx) + "x" + std::to_string(cy));
    }
    void OnRange(UINT id) { Note("command " + std::to_string(id)); }
    LRESULT OnClick(NMHDR* header) {
        Note("click " + std::to_string(header->idFrom));
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
        {"size", WM_SIZE, SIZE_RESTORED, MAKELPARAM(300, 200), 0, "size 0 300x200", 0},
        {"first of the range", WM_COMMAND, MAKEWPARAM(30, 0), 0, 0, "command 30", 0},
        {"last of the range", WM_COMMAND, MAKEWPARAM(32, 0), 0, 0, "command 32", 0},
        {"beyond the range", WM_COMMAND, MAKEWPARAM(33, 0), 0, 0, "", -1},
        {"an accelerator", WM_COMMAND, MAKEWPARAM(31, 1), 0, 0, "", -1},
        {"notification", WM_NOTIFY, 40, reinterpret_cast<LPARAM>(&click), 0, "click 40", 7},
        {"another code", WM_NOTIFY, 40, reinterpret_cast<LPARAM>(&otherCode), 0, "", -1},
    };
    static std::vector<std::pair<std::string, LRESULT>> got;
    TypedDialog d;
    d.script = [](TestDialog& self) {
        auto& typed = static_cast<TypedDialog&>(self);
        for (const auto& c : cases) {
            const LPARAM l =
                c.control != 0 ? reinterpret_cast<LPARAM>(GetDlgItem(self.hwnd(), c.control)) : c.l;
            typed.noted.clear();
            typed.noting = true;
            const LRESULT answer = SendMessageW(self.hwnd(), c.message, c.w, l);
            typed.noting = false;
            got.emplace_back(typed.noted, answer);
        }
        Post(self, WM_COMMAND, IDCANCEL);
    };
    d.DoModal();
    ASSERT_EQ(got.size(), std::size(cases));
    for (size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        EXPECT_EQ(got[i].first, cases[i].noted);
        if (cases[i].answer != -1)
            EXPECT_EQ(got[i].second, cases[i].answer);
        else
            EXPECT_NE(got[i].second, brush);
    }
}

TEST(DialogFramework, DataExchangeBothWays) {
    TestDialog d;
    d.checked = 1;
    d.script = [](TestDialog& self) {
        // Loaded into the controls at initialisation...
        EXPECT_EQ(SendDlgItemMessageW(self.hwnd(), 12, BM_GETCHECK, 0, 0), BST_CHECKED);
        wchar_t text[32] = {};
        GetDlgItemTextW(self.hwnd(), 13, text, 32);
        EXPECT_STREQ(text, L"zażółć");
        // ... and saved from them by the framework's OK.
        SendDlgItemMessageW(self.hwnd(), 12, BM_SETCHECK, BST_UNCHECKED, 0);
        SetDlgItemTextW(self.hwnd(), 13, L"gęślą");
        PostMessageW(GetDlgItem(self.hwnd(), IDOK), BM_CLICK, 0, 0);
    };
    EXPECT_EQ(d.DoModal(), IDOK);
    EXPECT_EQ(d.checked, 0);
    EXPECT_EQ(d.text, L"gęślą");
    EXPECT_EQ(d.calls, (std::vector<std::string>{"load", "init", "save"}));
}

TEST(DialogFramework, WaysOut) {
    const struct {
        const char* name;
        void (*script)(TestDialog&);
        INT_PTR result;
    } cases[] = {
        {"OK button",
         [](TestDialog& s) { PostMessageW(GetDlgItem(s.hwnd(), IDOK), BM_CLICK, 0, 0); }, IDOK},
        {"Cancel button",
         [](TestDialog& s) { PostMessageW(GetDlgItem(s.hwnd(), IDCANCEL), BM_CLICK, 0, 0); },
         IDCANCEL},
        {"Esc",
         [](TestDialog& s) { PostMessageW(GetDlgItem(s.hwnd(), 14), WM_KEYDOWN, VK_ESCAPE, 0); },
         IDCANCEL},
        {"close box", [](TestDialog& s) { Post(s, WM_SYSCOMMAND, SC_CLOSE); }, IDCANCEL},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestDialog d;
        d.script = c.script;
        EXPECT_EQ(d.DoModal(), c.result);
        EXPECT_EQ(d.hwnd(), nullptr);
    }
}

// Handlers run from the host's message loop: what they throw stays in the framework. A
// failed initialisation ends the dialog; a failed command leaves it running.
TEST(DialogFramework, ExceptionsStayInTheDialog) {
    TestDialog failedInit;
    failedInit.throwing = true;
    EXPECT_EQ(failedInit.DoModal(), IDCANCEL);

    TestDialog failedButton;
    failedButton.throwing = true;
    failedButton.script = [](TestDialog& self) {
        PostMessageW(GetDlgItem(self.hwnd(), 14), BM_CLICK, 0, 0);
        PostMessageW(GetDlgItem(self.hwnd(), IDOK), BM_CLICK, 0, 0);
    };
    EXPECT_EQ(failedButton.DoModal(), IDOK);
    EXPECT_EQ(failedButton.calls.back(), "save");
}

// A page inside another window: Esc in its read-only text box (pumped through the dialog
// manager as a host's message loop does, the box sends WM_CLOSE, the dialog makes that
// IDCANCEL) and an OK command leave the page where it is.
TEST(DialogFramework, ChildPageOutlivesEscAndOk) {
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 400,
                                  300, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(parent, nullptr);
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

TEST(DialogFramework, TemplatesComeFromTheCurrentModule) {
    TestDialog d;
    {
        // kernel32 holds no template 100: the dialog cannot be made there.
        dlg::ModuleStateGuard elsewhere(GetModuleHandleW(L"kernel32.dll"), INVALID_HANDLE_VALUE);
        EXPECT_EQ(d.DoModal(), -1);
    }
    d.script = [](TestDialog& self) { Post(self, WM_COMMAND, IDCANCEL); };
    EXPECT_EQ(d.DoModal(), IDCANCEL);
}

TEST(DialogFramework, ModelessChildLivesInItsParent) {
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 400, 300, nullptr,
                                  nullptr, nullptr, nullptr);
    ASSERT_NE(parent, nullptr);
    {
        TestDialog d;
        ASSERT_TRUE(d.Create(parent));
        EXPECT_EQ(GetParent(d.hwnd()), parent);
        EXPECT_EQ(d.combo.Count(), 2);
        SendMessageW(GetDlgItem(d.hwnd(), 14), BM_CLICK, 0, 0);
        EXPECT_EQ(d.calls.back(), "button");
    }  // the object destroys its window
    EXPECT_EQ(GetWindow(parent, GW_CHILD), nullptr);
    DestroyWindow(parent);
}

}  // namespace
