// The host's services as the plug-in calls them: named services through the core's
// function table, and texts through the translation service under our module name.
#pragma once

#include <cstdint>
#include <string>

#include "hrx/hrxcore.h"
#include "text/translator.h"
#include "text/user_text.h"
#include "text/wide_text.h"

namespace tarnik {

constexpr wchar_t kModuleName[] = L"Tarnik";

// A translated text (host-owned: copy it or hand it straight into a record).
inline const wchar_t* Tr(uint32_t id, const wchar_t* defaultText) {
    return hrx::g_pTrans->msg(kModuleName, id, defaultText);
}

// A named text; its default comes from a string literal, so it ends in a zero.
inline const wchar_t* Tr(const UserText& text) {
    return Tr(text.id, AsWide(text.polish.data()));
}

template <typename First = intptr_t>
intptr_t CallService(const wchar_t* service, First first, intptr_t second = 0) {
    return hrx::g_pF->functions.fnCall(service, (intptr_t)(first), second);
}

inline bool ServiceExists(const wchar_t* service) {
    return hrx::g_pF->functions.fnExists(service) != 0;
}

// The core's texts through the translation service.
class HostTranslator final : public Translator {
public:
    using Translator::Text;
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        const std::u16string terminated(defaultText);
        const wchar_t* text = Tr(id, AsWide(terminated));
        return text != nullptr ? std::u16string(AsUtf16(text)) : terminated;
    }
};

}  // namespace tarnik
