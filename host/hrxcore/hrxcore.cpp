// The host core library: binds a plug-in to the host's function table and answers its
// translation requests. Translations come from the file named by HRX_TRANSLATIONS (UTF-8
// lines "Module.Id=Text" or "Module.Id.ControlId=Text"), read once per binding.
#include "hrx/hrxcore.h"

#include <windows.h>

#include <cstdio>
#include <map>
#include <new>
#include <string>

namespace hrx {

CCore* g_pF = nullptr;
CTranslation* g_pTrans = nullptr;

}  // namespace hrx

namespace {

hrx::CCore core{};
hrx::CTranslation translation;
// Node-based, so the texts msg hands out stay put until the binding ends.
std::map<std::wstring, std::wstring> translations;

std::wstring WideFromUtf8(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), needed);
    return wide;
}

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
    wchar_t path[MAX_PATH * 4];
    const DWORD length = GetEnvironmentVariableW(L"HRX_TRANSLATIONS", path, MAX_PATH * 4);
    if (length == 0 || length >= MAX_PATH * 4) {
        return;
    }
    FILE* file = _wfopen(path, L"rb");
    if (file == nullptr) {
        return;  // no translation: every text keeps its default
    }
    std::string content;
    char chunk[4096];
    size_t got = 0;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0) {
        content.append(chunk, got);
    }
    fclose(file);
    if (content.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        content.erase(0, 3);
    }
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        std::string line = content.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::wstring key = Trim(WideFromUtf8(line.substr(0, equals)));
        if (!key.empty()) {
            translations[key] = Unescape(WideFromUtf8(line.substr(equals + 1)));
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
        const int id = GetDlgCtrlID(child);
        if (const std::wstring* text = Find(job->prefix + std::to_wstring(id))) {
            SetWindowTextW(child, text->c_str());
        }
    }
    return TRUE;
}

}  // namespace

namespace hrx {

const wchar_t* CTranslation::msg(const wchar_t* module, uint32_t id, const wchar_t* defaultText) {
    if (module == nullptr) {
        return defaultText;
    }
    ThrowIfAsked(Key(module, id));
    const std::wstring* text = Find(Key(module, id));
    return text != nullptr ? text->c_str() : defaultText;
}

void CTranslation::translateHwnd(const wchar_t* module, uint32_t id, HWND__* window) {
    if (module == nullptr || window == nullptr) {
        return;
    }
    const std::wstring key = Key(module, id);
    ThrowIfAsked(key);
    if (const std::wstring* caption = Find(key)) {
        SetWindowTextW(window, caption->c_str());
    }
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
    return wasBound ? 1 : 0;
}

}  // extern "C"
