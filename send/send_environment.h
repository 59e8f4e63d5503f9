// What a send job reaches outside itself: the progress lines, the translated texts, the
// clock, the link libraries, the random generator and the host's wide-to-narrow text
// conversion. The plug-in fills it with the real ones, tests with fakes.
#pragma once

#include <cstdlib>
#include <functional>
#include <string>

#include "link/os_seams.h"
#include "pdu/code_page.h"
#include "plugin/translator.h"
#include "send/progress_log.h"

namespace tarnik {

struct SendEnvironment {
    ProgressLog& progress;
    Translator& translator;
    Clock& clock = SystemClock();
    ModuleApi& modules = SystemModules();
    std::function<int()> random = [] { return std::rand(); };
    std::function<std::string(const std::u16string&)> narrow = [](const std::u16string& text) {
        return NarrowFromUtf16(text);
    };

    // A translated line: new, or appended to the last one.
    void Line(uint32_t id, std::u16string_view defaultText) {
        progress.Append(translator.Text(id, defaultText), false);
    }
    void Append(uint32_t id, std::u16string_view defaultText) {
        progress.Append(translator.Text(id, defaultText), true);
    }
};

}  // namespace tarnik
