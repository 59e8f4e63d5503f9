// The dialog base: a dialog made from a template of the current resource module (see
// module_state.h), modal or as a child, with its template's init data, a message map and
// data exchange. `this` lives in DWLP_USER from WM_INITDIALOG on.
#pragma once

#include <windows.h>

#include <string>

#include "dialog_framework/controls.h"
#include "dialog_framework/message_map.h"

namespace dlg {

// Binds control ids to wrappers, and moves values between controls and members: from the
// controls when saving, into them when loading.
class DataExchange {
public:
    DataExchange(HWND dialog, bool save) : dialog_(dialog), save_(save) {}
    bool saving() const { return save_; }
    // False after a failed exchange; `failedControl` names the first control that failed.
    bool ok() const { return failedControl_ == 0; }
    int failedControl() const { return failedControl_; }

    void Control(int id, Window& control);
    void Check(int id, int& state);
    void Text(int id, std::wstring& text);

private:
    HWND Item(int id);

    HWND dialog_;
    bool save_;
    int failedControl_ = 0;
};

class CDialog {
public:
    explicit CDialog(UINT templateId, HWND parent = nullptr)
        : templateId_(templateId), parent_(parent) {}
    virtual ~CDialog();
    CDialog(const CDialog&) = delete;
    CDialog& operator=(const CDialog&) = delete;

    // Runs the dialog modally: IDOK (1) or IDCANCEL (2) as it ended, -1 when it could not
    // be created (no such template in the current resource module).
    INT_PTR DoModal();
    // Creates it as a modeless or child window of `parent`; false when it could not.
    bool Create(HWND parent);

    HWND hwnd() const { return hwnd_; }
    bool IsModal() const { return modal_; }
    // Created with Create() as a WS_CHILD window: OK and Cancel leave it as it is.
    bool IsChildPage() const;
    // Loads the controls from the members (false) or saves them into the members (true).
    bool UpdateData(bool save);

protected:
    // Called at WM_INITDIALOG after the template's init data filled its lists and the
    // controls were bound. TRUE lets the system set the focus.
    virtual BOOL OnInitDialog();
    virtual void DoDataExchange(DataExchange& dx);
    virtual const MessageMap* GetMessageMap() const { return nullptr; }
    // The framework's OK: saves the data, then ends the dialog with IDOK; a child page is
    // left as it is.
    virtual void OnOK();
    // Cancel, Esc and the close box: ends the dialog with IDCANCEL; a child page is left
    // as it is.
    virtual void OnCancel();

    void EndDialog(INT_PTR result);
    UINT templateId() const { return templateId_; }

private:
    static INT_PTR CALLBACK DialogProc(HWND hwnd, UINT message, WPARAM w, LPARAM l);
    INT_PTR Handle(UINT message, WPARAM w, LPARAM l);
    bool IsPageInDialog() const;
    // WM_COMMAND: the message map's command entries, then OK and Cancel. TRUE when handled.
    BOOL OnCommand(WPARAM w, LPARAM l);
    void ExecuteDlgInit();

    UINT templateId_;
    HWND parent_;
    HWND hwnd_ = nullptr;
    bool modal_ = false;
};

// The template's init data (resource type 240, as dialog editors write it): strings added
// to the template's list and combo boxes when the dialog initialises.
constexpr WORD kDlgInitResourceType = 240;

}  // namespace dlg
