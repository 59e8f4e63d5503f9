// The translator of the unit tests: each text marked with its number, as "[1007]Błąd", so
// that a text shown under a wrong number differs; or the defaults alone.
#pragma once

#include <string>

#include "text/translator.h"

namespace tarnik::test {

class MarkedTexts final : public Translator {
public:
    explicit MarkedTexts(bool mark = true) : marked(mark) {}
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        if (!marked)
            return std::u16string(defaultText);
        std::u16string mark = u"[";
        for (const char c : std::to_string(id))
            mark += static_cast<char16_t>(c);
        return mark + u"]" + std::u16string(defaultText);
    }
    bool marked;
};

}  // namespace tarnik::test
