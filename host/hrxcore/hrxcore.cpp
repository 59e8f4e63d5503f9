// The host core library: binds a plug-in to the host's function table and answers its
// translation requests. Translations come from the file named by HRX_TRANSLATIONS (UTF-8
// lines "Module.Id=Text" or "Module.Id.ControlId=Text"), read once per binding. A line
// "Module.*=Pattern" answers every other number of the module with the pattern, %d standing
// for the number and %s for the default (for a window, its own text): "Tarnik.*=[%d]%s"
// shows by which number each text came. The text "!bad_alloc" makes that lookup throw.
#include "hrx/hrxcore.h"

#include <windows.h>

#include <map>
#include <new>
#include <optional>
#include <string>

#include "dialog_framework/controls.h"
#include "host/files/files.h"
#include "host/text/utf8.h"

namespace hrx {

CCore* g_pF = nullptr;
CTranslation* g_pTrans = nullptr;

}  // namespace hrx

namespace {

hrx::CCore core{};
hrx::CTranslation translation;
// Node-based, so the texts msg hands out stay put until the binding ends.
std::map<std::wstring, std::wstring> translations;
// Texts made from a pattern, by key and default, kept as long as the others.
std::map<std::wstring, std::wstring> patterned;

std::wstring Unescape(const std::wstring& text) {
    std::wstring out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == L'\\' && i + 1 < text.size()) {
            const wchar_t next = text[i + 1];
            if (next == L'n' || next == L't' || next == L'\\') {
                out += next == L'n' ? L'\n' : next == L't' ? L'\t' : L'\\';
                ++i;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

std::wstring Trim(const std::wstring& text) {
    const size_t first = text.find_first_not_of(L" \t");
    if (first == std::wstring::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

void LoadTranslations() {
    translations.clear();
    patterned.clear();
    wchar_t path[MAX_PATH * 4];
    const DWORD length = GetEnvironmentVariableW(L"HRX_TRANSLATIONS", path, MAX_PATH * 4);
    if (length == 0 || length >= MAX_PATH * 4) {
        return;
    }
    std::optional<std::string> content = tarnik::host::ReadWholeFile(path);
    if (!content) {
        return;  // no translation: every text keeps its default
    }
    if (content->compare(0, 3, "\xEF\xBB\xBF") == 0) {
        content->erase(0, 3);
    }
    for (const std::string& line : tarnik::host::SplitLines(*content)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::wstring key = Trim(tarnik::host::WideFromUtf8(line.substr(0, equals)));
        if (!key.empty()) {
            translations[key] = Unescape(tarnik::host::WideFromUtf8(line.substr(equals + 1)));
        }
    }
}

const std::wstring* Find(const std::wstring& key) {
    const auto found = translations.find(key);
    return found == translations.end() ? nullptr : &found->second;
}

std::wstring Key(const wchar_t* module, uint32_t id) {
    return std::wstring(module) + L"." + std::to_wstring(id);
}

const std::wstring* PatternOf(const std::wstring& key) {
    return Find(key.substr(0, key.find(L'.')) + L".*");
}

std::wstring FromPattern(const std::wstring& pattern, const std::wstring& key,
                         const std::wstring& text) {
    // The dialog's number also for its controls ("Module.Id.ControlId").
    const size_t first = key.find(L'.') + 1;
    const std::wstring number = key.substr(first, key.find(L'.', first) - first);
    std::wstring out;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == L'%' && i + 1 < pattern.size() &&
            (pattern[i + 1] == L'd' || pattern[i + 1] == L's')) {
            out += pattern[i + 1] == L'd' ? number : text;
            ++i;
            continue;
        }
        out += pattern[i];
    }
    return out;
}

// A window's text by its key: the listed one, or the pattern applied to what the window
// shows. A control without text keeps none; a dialog gets one even without a caption, so
// that a page inside another still shows its number.
void TranslateWindow(HWND window, const std::wstring& key, bool dialog) {
    if (const std::wstring* text = Find(key)) {
        SetWindowTextW(window, text->c_str());
    } else if (const std::wstring* pattern = PatternOf(key)) {
        const std::wstring shown = dlg::WindowText(window);
        if (dialog || !shown.empty())
            SetWindowTextW(window, FromPattern(*pattern, key, shown).c_str());
    }
}

// A translation "!bad_alloc" throws instead, as a host out of memory would: it shows that
// what a plug-in's call into the host throws stays inside the plug-in.
void ThrowIfAsked(const std::wstring& key) {
    const std::wstring* text = Find(key);
    if (text != nullptr && *text == L"!bad_alloc")
        throw std::bad_alloc();
}

struct ChildTranslation {
    HWND dialog;
    std::wstring prefix;  // "Module.Id."
};

BOOL CALLBACK TranslateChild(HWND child, LPARAM context) {
    const auto* job = reinterpret_cast<const ChildTranslation*>(context);
    // Only the dialog's own controls: the inner windows of a control are not ours to name.
    if (GetAncestor(child, GA_PARENT) == job->dialog) {
        TranslateWindow(child, job->prefix + std::to_wstring(GetDlgCtrlID(child)), false);
    }
    return TRUE;
}

}  // namespace

namespace hrx {

const wchar_t* CTranslation::msg(const wchar_t* module, uint32_t id, const wchar_t* defaultText) {
    if (module == nullptr) {
        return defaultText;
    }
    const std::wstring key = Key(module, id);
    ThrowIfAsked(key);
    if (const std::wstring* text = Find(key))
        return text->c_str();
    const std::wstring* pattern = PatternOf(key);
    if (pattern == nullptr || defaultText == nullptr)
        return defaultText;
    const std::wstring made = FromPattern(*pattern, key, defaultText);
    return patterned.emplace(key + L"\n" + defaultText, made).first->second.c_str();
}

void CTranslation::translateHwnd(const wchar_t* module, uint32_t id, HWND__* window) {
    if (module == nullptr || window == nullptr) {
        return;
    }
    const std::wstring key = Key(module, id);
    ThrowIfAsked(key);
    TranslateWindow(window, key, true);
    ChildTranslation job{window, key + L"."};
    EnumChildWindows(window, TranslateChild, reinterpret_cast<LPARAM>(&job));
}

}  // namespace hrx

extern "C" {

int libHrxInit(HRXFUNCTIONS* functions) {
    if (functions == nullptr) {
        return 0;
    }
    // A copy: the plug-in keeps calling through it whatever the caller does with its table.
    core.functions = *functions;
    LoadTranslations();
    hrx::g_pF = &core;
    hrx::g_pTrans = &translation;
    return 1;
}

int libHrxTerminate() {
    const bool wasBound = hrx::g_pF != nullptr;
    hrx::g_pF = nullptr;
    hrx::g_pTrans = nullptr;
    core = hrx::CCore{};
    translations.clear();
    patterned.clear();
    return wasBound ? 1 : 0;
}

}  // extern "C"
