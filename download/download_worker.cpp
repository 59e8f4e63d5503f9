#include "download/download_worker.h"

#include <optional>
#include <string_view>

#include "download/cmgl_listing.h"
#include "link/mobile_core.h"
#include "link/profile_link.h"
#include "text/user_text.h"

namespace tarnik {

namespace {

// Silence from the phone this long fails an exchange; a phone may think a while before
// it starts listing a full storage.
constexpr uint32_t kPhoneWaitMs = 3000;

constexpr UserText kInitialising{1028, u"Inicjalizacja..."};
constexpr UserText kConnecting{1029, u"Łączenie..."};
constexpr UserText kListingPhoneMemory{1030, u"Pobieram listę z telefonu..."};
constexpr UserText kProcessing{1031, u"Przetwarzam..."};
constexpr UserText kListingSimCard{1032, u"Pobieram listę z karty SIM..."};
constexpr UserText kListingDevice{1033, u"Pobieram listę z urządzenia..."};
constexpr UserText kJoining{1034, u"Łączenie długich wiadomości..."};
constexpr UserText kLoading{1035, u"Ładuję..."};

class Run {
public:
    Run(DownloadUi& ui, DownloadEnvironment& env) : ui_(ui), env_(env) {}

    void Show(const UserText& status) { ui_.ShowStatus(env_.translator.Text(status)); }

    // From the link's kind to the filled list; true once the phone answered "AT".
    bool FetchAndFill(const GsmProfile& profile, std::vector<SmsPdu>& records,
                      std::vector<MessageGroup>& groups) {
        const std::optional<CoreKind> kind = CoreKindOf(profile);
        if (!kind)
            return false;
        CMobileCore link(*kind, env_.clock, env_.modules);
        Show(kConnecting);
        if (!OpenProfileLink(link, profile))
            return false;
        if (!Exchange(link, "AT")) {
            link.Close();
            return false;
        }
        // "MT" is every storage the phone has, SIM card included (TS 27.005 3.2.2); a
        // phone that does not offer it is listed memory first, then the SIM card.
        if (!ListStorage(link, "MT", kListingDevice, records)) {
            ListStorage(link, "ME", kListingPhoneMemory, records);
            ListStorage(link, "SM", kListingSimCard, records);
        }
        Show(kJoining);
        JoinLongMessages(records, groups);
        Show(kLoading);
        ui_.FillList(groups);
        link.Close();
        return true;
    }

private:
    static bool Exchange(CMobileCore& link, std::string_view command,
                         std::string* reply = nullptr) {
        return link.SendCommand(command, "OK", "\r", "ERROR", reply, kPhoneWaitMs) != 0;
    }

    // Selects the storage for reading (AT+CPMS) and lists all its messages; false when
    // the storage was refused. A refused listing only leaves the storage out.
    bool ListStorage(CMobileCore& link, std::string_view storage, const UserText& listing,
                     std::vector<SmsPdu>& records) {
        if (!Exchange(link, "AT+CPMS=\"" + std::string(storage) + "\""))
            return false;
        Show(listing);
        std::string reply;
        if (Exchange(link, "AT+CMGL=4", &reply)) {
            Show(kProcessing);
            ParseCmglListing(reply, records, storage);
        }
        return true;
    }

    DownloadUi& ui_;
    DownloadEnvironment& env_;
};

}  // namespace

bool RunDownload(const GsmProfile& profile, std::vector<MessageGroup>& groups, DownloadUi& ui,
                 DownloadEnvironment& env) {
    Run run(ui, env);
    ui.Attach();
    run.Show(kInitialising);
    ui.ClearList();
    groups.clear();

    std::vector<SmsPdu> records;
    bool success = false;
    try {
        success = run.FetchAndFill(profile, records, groups);
    } catch (...) {
        // Nothing may leave the thread, and the chooser must get its controls back.
        success = false;
    }

    run.Show(kFinished);
    ui.Detach();
    ui.ReleaseThreadHandle();
    ui.ReenableWindows();
    if (success)
        ui.EndChooser(kChooserDownloaded);
    return success;
}

}  // namespace tarnik
