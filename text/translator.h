// Texts the user sees go through the host's translation service, each by its number
// with our Polish default. The core asks through this seam; the plug-in answers it with
// the host's service, tests with the defaults.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "text/user_text.h"

namespace tarnik {

class Translator {
public:
    virtual ~Translator() = default;
    virtual std::u16string Text(uint32_t id, std::u16string_view defaultText) = 0;
    std::u16string Text(const UserText& text) { return Text(text.id, text.polish); }
};

// Answers every text with its default.
class DefaultTexts final : public Translator {
public:
    std::u16string Text(uint32_t, std::u16string_view defaultText) override {
        return std::u16string(defaultText);
    }
};

}  // namespace tarnik
