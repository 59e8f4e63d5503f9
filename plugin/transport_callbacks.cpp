#include "plugin/transport_callbacks.h"

#include <memory>
#include <string>
#include <vector>

#include "hrx/hrxutil.h"
#include "plugin/gsm_profile.h"
#include "plugin/host_services.h"
#include "send/progress_log_win32.h"
#include "send/send_job.h"
#include "text/wide_text.h"
#include "ui/module_app.h"

namespace tarnik {

namespace {

// Wide text to the narrow text the phone gets, as the host converts it.
std::string HostNarrow(const std::u16string& text) {
    std::unique_ptr<char[]> narrow(wtom(AsWide(text)));
    return narrow ? std::string(narrow.get()) : std::string();
}

intptr_t Send(SmstSendInfo* request) {
    GsmProfile profile{};
    if (request == nullptr ||
        !ProfileFromBytes(request->profileData, request->profileLength, profile)) {
        return kSendUnusableRequest;
    }

    // The list box and the arrays stay the SMS plug-in's; we borrow them for the call.
    ListBoxProgress progress(static_cast<HWND>(request->progressList));
    HostTranslator texts;
    SendEnvironment env{progress, texts};
    env.narrow = HostNarrow;

    std::vector<std::u16string> recipients;
    for (int32_t i = 0; i < request->recipientCount; ++i) {
        recipients.emplace_back(AsUtf16(request->recipients[i]));
    }
    return RunSendJob(profile, AsUtf16(request->messageText), recipients, request->recipientState,
                      env);
}

}  // namespace

intptr_t TransportSend(SmstSendInfo* request) {
    return HostEntry<intptr_t>(kSendUnusableRequest, [&] { return Send(request); });
}

}  // namespace tarnik
