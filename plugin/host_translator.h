// The core's texts through the host's translation service, under our module name.
#pragma once

#include <string>

#include "plugin/host_services.h"
#include "plugin/translator.h"

namespace tarnik {

class HostTranslator final : public Translator {
public:
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        const std::u16string terminated(defaultText);
        const wchar_t* text = Tr(id, reinterpret_cast<const wchar_t*>(terminated.c_str()));
        return text != nullptr ? std::u16string(reinterpret_cast<const char16_t*>(text))
                               : terminated;
    }
};

}  // namespace tarnik
