// What a job on the phone reaches outside itself, whichever job it is: the translated
// texts the user reads, the clock that paces the AT exchange and the link libraries. The
// plug-in fills it with the real ones, tests with fakes.
#pragma once

#include "link/os_seams.h"
#include "text/translator.h"

namespace tarnik {

struct JobEnvironment {
    Translator& translator;
    Clock& clock = SystemClock();
    ModuleApi& modules = SystemModules();
};

}  // namespace tarnik
