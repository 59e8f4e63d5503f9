// The profile settings dialog: how the phone is reached (Bluetooth, IrDA or a COM port),
// which port or device, and the report and flash options of one transport profile.
#pragma once

#include <cstdint>

#include "dialog_framework/dialog.h"
#include "link/link_library_abi.h"
#include "plugin/gsm_profile.h"
#include "plugin/host_records.h"

namespace tarnik {

// A device the Bluetooth link library found: its address and name.
using BtDeviceEntry = LinkDeviceRecord;

class CWndGsmConfig : public dlg::CDialog {
public:
    CWndGsmConfig();

    GsmProfile profile{};  // the working copy: set before the dialog runs, read after OK

protected:
    void DoDataExchange(dlg::DataExchange& dx) override;
    BOOL OnInitDialog() override;
    const dlg::MessageMap* GetMessageMap() const override;

private:
    void OnOkClicked();
    void OnKindChosen();
    void OnPortRange();

    void ApplyEnablingRule();
    // Selects the stored port, offering it as "Nieznany (COM %d)" when the list lacks it.
    void SelectStoredPort();
    void AddPort(const std::wstring& name, uint32_t number);

    BtDeviceEntry devices_[32] = {};
    dlg::ComboBox kindList_;
    dlg::ComboBox portList_;
    dlg::ComboBox deviceList_;
    dlg::Button waitForReport_;
    dlg::Button flash_;
    dlg::Button portRange_;
};

// The configure callback our transport registers with the SMS plug-in: the dialog on a
// working copy of the profile (blocking); the 13 bytes and the written length 13 go back
// only when the user confirms. Always 0.
intptr_t TransportConfigure(SmstConfigureInfo* request);

}  // namespace tarnik
