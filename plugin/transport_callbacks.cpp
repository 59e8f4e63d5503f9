#include "plugin/transport_callbacks.h"

#include "dialog_framework/module_state.h"
#include "plugin/gsm_profile.h"
#include "plugin/plugin_state.h"

namespace tarnik {

// Sending comes with the send job; until then a usable request reports that the phone
// could not be reached (1) and an unusable one 2, as the SMS plug-in expects.
intptr_t TransportSend(SmstSendInfo* request) {
    dlg::ModuleStateGuard guard(theApp.instance(), theApp.activationContext());
    GsmProfile profile{};
    if (request == nullptr ||
        !ProfileFromBytes(request->profileData, request->profileLength, profile) ||
        profile.connectionKind > kConnectionCom) {
        return 2;
    }
    return 1;
}

// The settings dialog comes later; until then the profile is left as it is.
intptr_t TransportConfigure(SmstConfigureInfo*) {
    dlg::ModuleStateGuard guard(theApp.instance(), theApp.activationContext());
    return 0;
}

}  // namespace tarnik
