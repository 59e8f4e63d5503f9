#include "ui/archive_page.h"

#include "dialog_framework/module_state.h"
#include "plugin/plugin_state.h"

namespace tarnik {

intptr_t ShowArchivePage(intptr_t, intptr_t) {
    dlg::ModuleStateGuard guard(theApp.instance(), theApp.activationContext());
    // The page and its download dialog are not built yet: the entry does nothing.
    return 0;
}

}  // namespace tarnik
