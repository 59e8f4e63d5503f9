// The host core: binding to the function table and the translation service.
#include "hrx/hrxcore.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

intptr_t FakeCall(const wchar_t*, intptr_t first, intptr_t) {
    return first;
}

intptr_t OtherCall(const wchar_t*, intptr_t, intptr_t) {
    return -1;
}

intptr_t FakeExists(const wchar_t*) {
    return 1;
}

// Binds hrxcore with a given translation file (or none) for one test.
class Binding : public ::testing::Test {
protected:
    void TearDown() override {
        libHrxTerminate();
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", nullptr);
        if (!file_.empty()) {
            DeleteFileW(file_.c_str());
        }
    }

    void WriteTranslations(const std::string& content) {
        wchar_t folder[MAX_PATH];
        wchar_t name[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        GetTempFileNameW(folder, L"hrx", 0, name);
        file_ = name;
        FILE* out = _wfopen(name, L"wb");
        ASSERT_NE(out, nullptr);
        std::fwrite(content.data(), 1, content.size(), out);
        std::fclose(out);
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", name);
    }

    void Bind() {
        table_.size = sizeof table_;
        table_.fnCall = FakeCall;
        table_.fnExists = FakeExists;
        ASSERT_NE(libHrxInit(&table_), 0);
    }

    HRXFUNCTIONS table_{};
    std::wstring file_;
};

TEST_F(Binding, CopiesTheTableBehindTheCoreObjectAndUnbinds) {
    Bind();
    ASSERT_NE(hrx::g_pF, nullptr);
    ASSERT_NE(hrx::g_pTrans, nullptr);
    // Plug-ins find the table 8 bytes into the core object.
    const auto* base = reinterpret_cast<const char*>(hrx::g_pF);
    const auto* table = reinterpret_cast<const HRXFUNCTIONS*>(base + 8);
    EXPECT_EQ(table->fnCall(L"any", 7, 0), 7);
    EXPECT_EQ(table->fnExists, FakeExists);

    table_.fnCall = OtherCall;  // the caller's table may change or go away
    EXPECT_EQ(hrx::g_pF->functions.fnCall(L"any", 7, 0), 7);

    EXPECT_NE(libHrxTerminate(), 0);
    EXPECT_EQ(hrx::g_pF, nullptr);
    EXPECT_EQ(hrx::g_pTrans, nullptr);
    EXPECT_EQ(libHrxInit(nullptr), 0);
    EXPECT_EQ(hrx::g_pF, nullptr);
}

struct Lookup {
    const wchar_t* module;
    uint32_t id;
    const wchar_t* expected;  // null: the default itself comes back
};

TEST_F(Binding, TranslatesFromTheFileAndFallsBackToTheDefault) {
    // A byte order mark, CRLF line ends, comments and a malformed line, as an editor leaves.
    WriteTranslations(
        "\xEF\xBB\xBF# Tarnik, test\r\n"
        "Tarnik.1001=Transport X\r\n"
        "Tarnik.1002=Dwie\\nlinie\\tz tabem i \\\\ ukośnikiem\r\n"
        "Tarnik.1003=\r\n"
        "  Tarnik.1004 =Zażółć=gęślą\r\n"
        "Tarnik.1053.2015=Połącz przez:\r\n"
        "Inny.1001=Cudzy\r\n"
        "bez znaku równości\r\n"
        "Tarnik.1005=Ostatni bez końca wiersza");
    Bind();
    const Lookup cases[] = {
        {L"Tarnik", 1001, L"Transport X"},
        {L"Tarnik", 1002, L"Dwie\nlinie\tz tabem i \\ ukośnikiem"},
        {L"Tarnik", 1003, L""},  // an empty translation is a translation
        {L"Tarnik", 1004, L"Zażółć=gęślą"},
        {L"Tarnik", 1005, L"Ostatni bez końca wiersza"},
        {L"Inny", 1001, L"Cudzy"},
        {L"Tarnik", 1000, nullptr},
        {L"tarnik", 1001, nullptr},  // module names are exact
        {L"Tarnik", 1053, nullptr},  // a control's text is not the dialog's caption
        {L"Tarnik", 10014, nullptr},
    };
    const wchar_t* defaultText = L"Domyślny tekst";
    for (const Lookup& c : cases) {
        const wchar_t* text = hrx::g_pTrans->msg(c.module, c.id, defaultText);
        if (c.expected == nullptr) {
            EXPECT_EQ(text, defaultText) << c.id;
        } else {
            ASSERT_NE(text, nullptr);
            EXPECT_EQ(std::wstring(text), c.expected) << c.id;
        }
    }
    // Host-owned texts stay put: the plug-in stores them in records as they are.
    const wchar_t* first = hrx::g_pTrans->msg(L"Tarnik", 1001, L"x");
    for (uint32_t id = 900; id < 1100; ++id) {
        hrx::g_pTrans->msg(L"Tarnik", id, L"x");
    }
    EXPECT_EQ(hrx::g_pTrans->msg(L"Tarnik", 1001, L"y"), first);
    EXPECT_EQ(std::wstring(first), L"Transport X");
}

TEST_F(Binding, GivesDefaultsWithoutATranslationFile) {
    for (const bool missingFile : {false, true}) {
        if (missingFile) {
            SetEnvironmentVariableW(L"HRX_TRANSLATIONS", L"C:\\no\\such\\translations.txt");
        }
        Bind();
        const wchar_t* defaultText = L"Transport GSM (BT/Ir/COM)";
        EXPECT_EQ(hrx::g_pTrans->msg(L"Tarnik", 1001, defaultText), defaultText);
        libHrxTerminate();
    }
}

TEST_F(Binding, ReadsTheFileAgainOnTheNextBinding) {
    WriteTranslations("Tarnik.1001=Pierwszy\n");
    Bind();
    EXPECT_EQ(std::wstring(hrx::g_pTrans->msg(L"Tarnik", 1001, L"x")), L"Pierwszy");
    libHrxTerminate();
    SetEnvironmentVariableW(L"HRX_TRANSLATIONS", nullptr);
    Bind();
    EXPECT_EQ(std::wstring(hrx::g_pTrans->msg(L"Tarnik", 1001, L"x")), L"x");
}

std::wstring TextOf(HWND window) {
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return text;
}

TEST_F(Binding, TranslatesADialogsCaptionAndItsOwnControls) {
    WriteTranslations(
        "Tarnik.1053=Ustawienia (przetłumaczone)\n"
        "Tarnik.1053.2015=Połącz przez:\n"
        "Tarnik.1053.2016=Nie ten przycisk\n"
        "Tarnik.1054.2017=Inne okno\n");
    Bind();
    const HWND dialog = CreateWindowExW(0, L"STATIC", L"Ustawienia", WS_POPUP, 0, 0, 200, 100,
                                        nullptr, nullptr, nullptr, nullptr);
    if (dialog == nullptr) {
        GTEST_SKIP() << "no display to create windows on";
    }
    const auto child = [](HWND parent, int id, const wchar_t* text) {
        return CreateWindowExW(0, L"STATIC", text, WS_CHILD, 0, 0, 50, 10, parent,
                               reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), nullptr, nullptr);
    };
    const HWND connect = child(dialog, 2015, L"Połącz używając:");
    const HWND other = child(dialog, 2017, L"Bez tłumaczenia");
    // A control's own inner window is not one of the dialog's controls, whatever its id.
    const HWND inner = child(other, 2016, L"Wewnętrzne");

    hrx::g_pTrans->translateHwnd(L"Tarnik", 1053, dialog);
    EXPECT_EQ(TextOf(dialog), L"Ustawienia (przetłumaczone)");
    EXPECT_EQ(TextOf(connect), L"Połącz przez:");
    EXPECT_EQ(TextOf(other), L"Bez tłumaczenia");
    EXPECT_EQ(TextOf(inner), L"Wewnętrzne");

    // A number without translations changes nothing.
    hrx::g_pTrans->translateHwnd(L"Tarnik", 1056, dialog);
    EXPECT_EQ(TextOf(dialog), L"Ustawienia (przetłumaczone)");
    EXPECT_EQ(TextOf(connect), L"Połącz przez:");
    DestroyWindow(dialog);
}

}  // namespace
