// What a send job reaches outside itself: besides every job's translated texts, clock and
// link libraries, the progress lines, the random generator and the host's wide-to-narrow
// text conversion. The plug-in fills it with the real ones, tests with fakes.
#pragma once

#include <cstdlib>
#include <functional>
#include <string>

#include "link/job_environment.h"
#include "pdu/code_page.h"
#include "send/progress_log.h"

namespace tarnik {

struct SendEnvironment : JobEnvironment {
    SendEnvironment(ProgressLog& progressLog, Translator& texts, Clock& jobClock = SystemClock(),
                    ModuleApi& linkModules = SystemModules())
        : JobEnvironment{texts, jobClock, linkModules}, progress(progressLog) {}

    ProgressLog& progress;
    std::function<int()> random = [] { return std::rand(); };
    std::function<std::string(const std::u16string&)> narrow = [](const std::u16string& text) {
        return NarrowFromUtf16(text);
    };

    // A translated line: new, or appended to the last one.
    void Line(const UserText& text) { progress.Append(translator.Text(text), false); }
    void Append(const UserText& text) { progress.Append(translator.Text(text), true); }
};

}  // namespace tarnik
