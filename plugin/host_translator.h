// The core's texts through the host's translation service, under our module name.
#pragma once

#include <string>

#include "plugin/host_services.h"
#include "text/translator.h"
#include "text/wide_text.h"

namespace tarnik {

class HostTranslator final : public Translator {
public:
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        const std::u16string terminated(defaultText);
        const wchar_t* text = Tr(id, AsWide(terminated));
        return text != nullptr ? std::u16string(AsUtf16(text)) : terminated;
    }
};

}  // namespace tarnik
