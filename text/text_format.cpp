#include "text/text_format.h"

namespace tarnik {

std::u16string FormatText(std::u16string_view format, std::initializer_list<FormatArg> args) {
    std::u16string out;
    out.reserve(format.size() + 16);
    auto next = args.begin();
    for (size_t i = 0; i < format.size(); ++i) {
        const char16_t c = format[i];
        if (c != u'%' || i + 1 == format.size()) {
            out.push_back(c);
            continue;
        }
        const char16_t conversion = format[i + 1];
        if (conversion == u'%') {
            out.push_back(u'%');
            ++i;
        } else if (conversion == u'd' || conversion == u'i' || conversion == u's') {
            ++i;
            if (next == args.end())
                continue;
            const FormatArg& arg = *next++;
            if (arg.isText) {
                out.append(arg.text);
            } else {
                const std::string digits = std::to_string(arg.number);
                out.append(digits.begin(), digits.end());
            }
        } else {
            out.push_back(c);
        }
    }
    return out;
}

}  // namespace tarnik
