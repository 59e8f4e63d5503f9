// The host core and utilities as the plug-in uses them: binding to the function table, the
// translation service, the conversions and Base64. Every utility buffer is released with
// delete[] here, in another module than the one that allocated it: with one shared C++
// runtime that is sound, and a mismatch of runtimes shows up as heap corruption here.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "dialog_framework/controls.h"
#include "hrx/hrxcore.h"
#include "hrx/hrxutil.h"

namespace {

intptr_t FakeExists(const wchar_t*) {
    return 1;
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

    std::wstring texts;  // of the dialog, connect, other, inner and empty, after each step
    for (const auto& [module, id] :
         {std::pair(L"Tarnik", 1053u), std::pair(L"Tarnik", 1056u), std::pair(L"Wzór", 7u)}) {
        hrx::g_pTrans->translateHwnd(module, id, dialog);
        for (const HWND window : {dialog, connect, other, inner, empty}) {
            texts += dlg::WindowText(window) + L"|";
        }
        texts += L"\n";
    }
    // 1056 has no caption of its own but keeps what 1053 gave; a pattern names the dialog's
    // number on its controls too, and a control without text keeps none.
    EXPECT_EQ(texts,
              L"Ustawienia (przetłumaczone)|Połącz przez:|Bez tłumaczenia|Wewnętrzne||\n"
              L"Ustawienia (przetłumaczone)|Połącz przez:|Bez tłumaczenia|Wewnętrzne||\n"
              L"[7]Ustawienia (przetłumaczone)|[7]Połącz przez:|[7]Bez tłumaczenia|Wewnętrzne||\n");
    DestroyWindow(dialog);
}

TEST(Conversions, WtomGivesCodePage1250AndWtouUtf8) {
    struct Conversion {
        char* (*convert)(const wchar_t*);
        const wchar_t* wide;
        const char* narrow;
    };
    const Conversion cases[] = {
        {wtom, L"Zażółć gęślą jaźń", "Za\xbf\xf3\xb3\xe6 g\xea\x9cl\xb9 ja\x9f\xf1"},
        // Not in the code page: the default character, never a look-alike letter.
        {wtom, L"Ωō", "??"},
        {wtom, L"", ""},
        {wtom, nullptr, ""},
        {wtou, L"Zażółć", "Za\xc5\xbc\xc3\xb3\xc5\x82\xc4\x87"},
        {wtou, L"\U0001F600", "\xf0\x9f\x98\x80"},
        {wtou, L"", ""},
        {wtou, nullptr, ""},
    };
    for (const Conversion& c : cases) {
        if (c.convert == wtom && GetACP() != 1250) {
            continue;  // needs the Polish ANSI code page (LC_ALL=pl_PL.UTF-8 under Wine)
        }
        char* buffer = c.convert(c.wide);
        ASSERT_NE(buffer, nullptr) << c.narrow;
        EXPECT_EQ(std::string(buffer), c.narrow);
        delete[] buffer;
    }
}

TEST(LutBase64Decode, DecodesWhatTheProfileStoreHolds) {
    struct Base64Case {
        const char* text;
        std::string decoded;
        size_t length = std::string::npos;  // npos: the whole text
    };
    const Base64Case cases[] = {
        {"AAMRIjNEVWZ3iAEAfw==",  // a profile record
         std::string("\x00\x03\x11\x22\x33\x44\x55\x66\x77\x88\x01\x00\x7f", 13)},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
         std::string("\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51\x55\x97\x61"
                     "\x96\x9b\x71"
                     "\xd7\x9f\x82\x18\xa3\x92\x59\xa7\xa2\x9a\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d"
                     "\xb7\xe3\x9e"
                     "\xbb\xf3\xdf\xbf",
                     48)},
        {"TWE=", "Ma"},
        {"TQ==", "M"},
        {"TWE", "Ma"},  // padding may be left out
        {"TQ", "M"},
        {"T", ""},  // a lone character holds no byte
        {" TW\tFu\r\nTQ ==", "ManM"},
        {"TWFu!TWFu", "Man"},  // stops at an invalid character
        {"TW-u", "M"},         // url-safe characters are not Base64
        {"TWE=TWFu", "Ma"},    // stops at padding
        {"TWFu\xc5\xbcTWFu", "Man"},
        {"====", ""},
        {"", ""},
        {"TWFuTWFu", "Man", 4},  // no terminator is looked for past the length
        {nullptr, "", 0},
    };
    for (const Base64Case& c : cases) {
        const size_t length = c.length != std::string::npos ? c.length : std::strlen(c.text);
        unsigned char* out = nullptr;
        const size_t count = lutBase64Decode(c.text, length, &out);
        ASSERT_NE(out, nullptr) << c.text;  // a buffer even when nothing was decoded
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(out), count), c.decoded) << c.text;
        delete[] out;
        // Counting alone, without a buffer, gives the same number.
        EXPECT_EQ(lutBase64Decode(c.text, length, nullptr), c.decoded.size()) << c.text;
    }
}

}  // namespace
