// The host core: binding to the function table and the translation service.
#include "hrx/hrxcore.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

intptr_t FakeExists(const wchar_t*) {
    return 1;
}

std::wstring TextOf(HWND window) {
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return text;
}

// Binds hrxcore with a given translation file (or none) for one test.
class Binding : public ::testing::Test {
protected:
    void TearDown() override {
        libHrxTerminate();
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", nullptr);
        DeleteFileW(kFile);
    }

    // In the current folder, which the test's own run has to itself.
    void WriteTranslations(const std::string& content) {
        FILE* out = _wfopen(kFile, L"wb");
        ASSERT_NE(out, nullptr);
        std::fwrite(content.data(), 1, content.size(), out);
        std::fclose(out);
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", kFile);
    }

    void Bind() {
        table_.size = sizeof table_;
        table_.fnCall = [](const wchar_t*, intptr_t first, intptr_t) { return first; };
        table_.fnExists = FakeExists;
        ASSERT_NE(libHrxInit(&table_), 0);
    }

    std::wstring Msg(const wchar_t* module, uint32_t id, const wchar_t* defaultText = L"x") {
        const wchar_t* text = hrx::g_pTrans->msg(module, id, defaultText);
        return text == defaultText ? L"(default)" : text;
    }

    static constexpr wchar_t kFile[] = L"hrxcore_test_translations.txt";
    HRXFUNCTIONS table_{};
};

TEST_F(Binding, CopiesTheTableBehindTheCoreObjectAndUnbinds) {
    Bind();
    ASSERT_NE(hrx::g_pTrans, nullptr);
    // Plug-ins find the table 8 bytes into the core object.
    const auto* table =
        reinterpret_cast<const HRXFUNCTIONS*>(reinterpret_cast<const char*>(hrx::g_pF) + 8);
    EXPECT_EQ(table->fnExists, FakeExists);
    table_.fnCall = nullptr;  // the caller's table may change or go away
    EXPECT_EQ(table->fnCall(L"any", 7, 0), 7);

    EXPECT_NE(libHrxTerminate(), 0);
    EXPECT_EQ(hrx::g_pF, nullptr);
    EXPECT_EQ(hrx::g_pTrans, nullptr);
    EXPECT_EQ(libHrxInit(nullptr), 0);
    EXPECT_EQ(hrx::g_pF, nullptr);
}

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
        "Inny.*=[%d]%s %x\r\n"
        "bez znaku równości\r\n"
        "Tarnik.1005=Ostatni bez końca wiersza");
    Bind();
    const struct {
        const wchar_t* module;
        uint32_t id;
        const wchar_t* expected;
    } cases[] = {
        {L"Tarnik", 1001, L"Transport X"},
        {L"Tarnik", 1002, L"Dwie\nlinie\tz tabem i \\ ukośnikiem"},
        {L"Tarnik", 1003, L""},  // an empty translation is a translation
        {L"Tarnik", 1004, L"Zażółć=gęślą"},
        {L"Tarnik", 1005, L"Ostatni bez końca wiersza"},
        {L"Inny", 1001, L"Cudzy"},  // a listed text before the module's pattern
        {L"Inny", 1007, L"[1007]x %x"},
        {L"Tarnik", 1000, L"(default)"},
        {L"tarnik", 1001, L"(default)"},  // module names are exact
        {L"Tarnik", 1053, L"(default)"},  // a control's text is not the dialog's caption
        {L"Tarnik", 10014, L"(default)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Msg(c.module, c.id), c.expected) << c.id;
    }
    // Host-owned texts stay put: the plug-in stores them in records as they are.
    const wchar_t* first = hrx::g_pTrans->msg(L"Tarnik", 1001, L"x");
    const wchar_t* made = hrx::g_pTrans->msg(L"Inny", 1, L"x");
    for (uint32_t id = 900; id < 1100; ++id) {
        hrx::g_pTrans->msg(L"Tarnik", id, L"x");
        hrx::g_pTrans->msg(L"Inny", id, L"x");
    }
    EXPECT_EQ(hrx::g_pTrans->msg(L"Tarnik", 1001, L"y"), first);
    EXPECT_EQ(std::wstring(made), L"[1]x %x");
}

TEST_F(Binding, ReadsTheFileAgainOnEachBindingAndGivesDefaultsWithoutOne) {
    WriteTranslations("Tarnik.1001=Pierwszy\n");
    Bind();
    EXPECT_EQ(Msg(L"Tarnik", 1001), L"Pierwszy");
    for (const wchar_t* file : {static_cast<const wchar_t*>(nullptr), L"C:\\no\\such\\file.txt"}) {
        libHrxTerminate();
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", file);
        Bind();
        EXPECT_EQ(Msg(L"Tarnik", 1001), L"(default)");
    }
}

TEST_F(Binding, TranslatesADialogsCaptionAndItsOwnControls) {
    WriteTranslations(
        "Tarnik.1053=Ustawienia (przetłumaczone)\n"
        "Tarnik.1053.2015=Połącz przez:\n"
        "Tarnik.1053.2016=Nie ten przycisk\n"
        "Tarnik.1054.2017=Inne okno\n"
        "Wzór.*=[%d]%s\n");
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
    const HWND empty = child(dialog, 2018, L"");

    const struct {
        const wchar_t* module;
        uint32_t id;
        std::wstring dialog, connect, other;
    } steps[] = {
        {L"Tarnik", 1053, L"Ustawienia (przetłumaczone)", L"Połącz przez:", L"Bez tłumaczenia"},
        {L"Tarnik", 1056, L"Ustawienia (przetłumaczone)", L"Połącz przez:", L"Bez tłumaczenia"},
        // A pattern names the dialog's number on its controls too.
        {L"Wzór", 7, L"[7]Ustawienia (przetłumaczone)", L"[7]Połącz przez:", L"[7]Bez tłumaczenia"},
    };
    for (const auto& step : steps) {
        hrx::g_pTrans->translateHwnd(step.module, step.id, dialog);
        EXPECT_EQ(TextOf(dialog), step.dialog) << step.id;
        EXPECT_EQ(TextOf(connect), step.connect) << step.id;
        EXPECT_EQ(TextOf(other), step.other) << step.id;
    }
    EXPECT_EQ(TextOf(inner), L"Wewnętrzne");
    EXPECT_EQ(TextOf(empty), L"");  // a control without text keeps none
    DestroyWindow(dialog);
}

}  // namespace
