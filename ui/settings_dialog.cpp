#include "ui/settings_dialog.h"

#include <string>
#include <vector>

#include "link/link_cores.h"
#include "plugin/host_services.h"
#include "res/resource_ids.h"
#include "text/text_format.h"
#include "text/wide_text.h"
#include "ui/module_app.h"

namespace tarnik {

namespace {

constexpr UserText kUnknownPort{1027, u"Nieznany (COM %d)"};

constexpr uint32_t kMaxBluetoothDevices = 10;
constexpr uint32_t kPortRangeEnd = 16;
constexpr uint32_t kMaxProfilePort = 255;

std::wstring PortItemText(const std::wstring& name, uint32_t number) {
    const std::u16string text =
        FormatText(u"%s (COM %d)", {AsUtf16(name.c_str()), static_cast<int64_t>(number)});
    return std::wstring(AsWide(text));
}

// The COM link library appends to these through plain callbacks.
void AppendNumber(void* self, uint32_t value) {
    static_cast<std::vector<uint32_t>*>(self)->push_back(value);
}
void AppendName(void* self, const char16_t* text) {
    static_cast<std::vector<std::wstring>*>(self)->emplace_back(
        AsWide(text != nullptr ? text : u""));
}

}  // namespace

CWndGsmConfig::CWndGsmConfig() : dlg::CDialog(IDD_GSM_CONFIG) {}

const dlg::MessageMap* CWndGsmConfig::GetMessageMap() const {
    static const dlg::MessageMapOf<CWndGsmConfig> map = {
        dlg::OnCommand(IDOK, BN_CLICKED, &CWndGsmConfig::OnOkClicked),
        dlg::OnCommand(IDC_KIND_LIST, CBN_SELENDOK, &CWndGsmConfig::OnKindChosen),
        dlg::OnCommand(IDC_PORT_RANGE, BN_CLICKED, &CWndGsmConfig::OnPortRange),
    };
    return &map;
}

void CWndGsmConfig::DoDataExchange(dlg::DataExchange& dx) {
    dx.Control(IDC_KIND_LIST, kindList_);
    dx.Control(IDC_PORT_LIST, portList_);
    dx.Control(IDC_DEVICE_LIST, deviceList_);
    dx.Control(IDC_WAIT_REPORT, waitForReport_);
    dx.Control(IDC_FLASH, flash_);
    dx.Control(IDC_PORT_RANGE, portRange_);
}

BOOL CWndGsmConfig::OnInitDialog() {
    dlg::CDialog::OnInitDialog();
    hrx::g_pTrans->translateHwnd(kModuleName, 1053, reinterpret_cast<HWND__*>(hwnd()));

    // The link objects live for the initialisation only, so no library stays loaded.
    CBlueCore bluetooth;
    bluetooth.LoadModule();
    bluetooth.EnumDevices(deviceList_.hwnd(), devices_, kMaxBluetoothDevices);
    for (int i = 0; i < deviceList_.Count() && i < 32; ++i) {
        if (devices_[i].address == profile.BtAddress()) {
            deviceList_.SetCurSel(i);
            break;
        }
    }

    CSerialCore serial;
    serial.LoadModule();
    std::vector<uint32_t> numbers;
    std::vector<std::wstring> names;
    LinkUIntArray numberArray{&numbers, AppendNumber};
    LinkWStringArray nameArray{&names, AppendName};
    serial.EnumPorts(&numberArray, &nameArray);
    // A library that reports more numbers than names gets empty names, never a read past.
    for (size_t i = 0; i < numbers.size(); ++i) {
        AddPort(i < names.size() ? names[i] : std::wstring(), numbers[i]);
    }
    SelectStoredPort();

    kindList_.SetCurSel(profile.connectionKind <= kConnectionCom ? profile.connectionKind : -1);
    waitForReport_.SetCheck(profile.waitForReport != 0 ? BST_CHECKED : BST_UNCHECKED);
    flash_.SetCheck(profile.flashSms != 0 ? BST_CHECKED : BST_UNCHECKED);
    ApplyEnablingRule();
    return FALSE;  // the focus stays where the system put it
}

void CWndGsmConfig::AddPort(const std::wstring& name, uint32_t number) {
    // The profile keeps the port in one byte: COM300 would be saved as COM44.
    if (number > kMaxProfilePort)
        return;
    const int index = portList_.AddString(PortItemText(name, number));
    if (index >= 0)
        portList_.SetItemData(index, number);
}

void CWndGsmConfig::SelectStoredPort() {
    for (int i = 0; i < portList_.Count(); ++i) {
        if (portList_.ItemData(i) == profile.comPort) {
            portList_.SetCurSel(i);
            return;
        }
    }
    if (profile.comPort == 0)
        return;
    HostTranslator texts;
    const std::u16string text =
        FormatText(texts.Text(kUnknownPort), {static_cast<int64_t>(profile.comPort)});
    const int index = portList_.AddString(AsWide(text));
    if (index < 0)
        return;
    portList_.SetItemData(index, profile.comPort);
    portList_.SetCurSel(index);
}

void CWndGsmConfig::ApplyEnablingRule() {
    const int kind = kindList_.CurSel();
    deviceList_.Enable(kind == kConnectionBluetooth);
    portList_.Enable(kind == kConnectionCom);
    portRange_.Enable(kind == kConnectionCom);
}

void CWndGsmConfig::OnKindChosen() {
    ApplyEnablingRule();
}

void CWndGsmConfig::OnPortRange() {
    portList_.ResetContent();
    for (uint32_t n = 1; n <= kPortRangeEnd; ++n)
        AddPort(L"COM", n);
    SelectStoredPort();
}

void CWndGsmConfig::OnOkClicked() {
    const int device = deviceList_.CurSel();
    if (device >= 0 && device < 32)
        profile.SetBtAddress(devices_[device].address);
    const int port = portList_.CurSel();
    if (port >= 0)
        profile.comPort = static_cast<uint8_t>(portList_.ItemData(port) & 0xFF);
    // No selection (a stored kind outside the three) stores 255: unusable to every reader.
    profile.connectionKind = static_cast<uint8_t>(kindList_.CurSel() & 0xFF);
    profile.waitForReport = waitForReport_.Check() == BST_CHECKED ? 1 : 0;
    profile.flashSms = flash_.Check() == BST_CHECKED ? 1 : 0;
    dlg::CDialog::OnOK();
}

// 0 in every case: the SMS plug-in learns of a change from the written length.
intptr_t TransportConfigure(SmstConfigureInfo* request) {
    return HostEntry<intptr_t>(0, [&] {
        if (request == nullptr)
            return intptr_t{0};
        CWndGsmConfig dialog;
        ProfileFromBytes(request->profileData, kGsmProfileSize, dialog.profile);
        if (dialog.DoModal() == IDOK) {
            ProfileToBytes(dialog.profile, request->profileData);
            request->writtenLength = kGsmProfileSize;
        }
        return intptr_t{0};
    });
}

}  // namespace tarnik
