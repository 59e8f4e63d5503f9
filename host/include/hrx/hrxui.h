// The host's user-interface library, hrxui.mdl: the dialog bases that plug-in pages build
// on. CUIWin7Dialog is a page with a header of two texts and a navigation list on its left;
// CUIScalableDialog is a child page that follows its parent's size. Both are dlg::CDialog,
// made from the caller's template, so a page keeps its own message map and data exchange.
// Every module that derives from them links a copy of the dialog framework of its own.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dialog_framework/dialog.h"

#ifdef HRXUI_BUILD
#define HRXUI_API __declspec(dllexport)
#else
#define HRXUI_API __declspec(dllimport)
#endif

namespace hrx {

// Sent by the navigation list to its dialog when the selected item changed: WPARAM 0,
// LPARAM a VLCSELCHANGE that lives for the call.
constexpr UINT WM_VLC_SELCHANGE = WM_USER + 7;
constexpr uint32_t VLC_SELECTION_CHANGED = 1;

// Ids of the windows that the dialog base adds to a page, clear of the ids of templates.
constexpr int kUIHeaderTitleId = 0x7F01;
constexpr int kUIHeaderSubtitleId = 0x7F02;
constexpr int kUINavigationId = 0x7F03;

// One item of the navigation list. The list owns it; the pointer stays valid until the
// dialog's window is destroyed or the dialog object is deleted.
class CVLCTreeNode {
public:
    std::wstring id;        // what SelectItem looks for, e.g. "SMS/Download"
    std::wstring parentId;  // the item it sits under; empty for a top-level item
    std::wstring text;      // what the list shows
    int32_t image = 0;      // icon indexes: kept for the caller, this list draws no icons
    int32_t selectedImage = 0;
    void* data = nullptr;  // the caller's, e.g. the page the item stands for
    // The texts that the dialog shows in its header while the item is selected.
    std::wstring header;
    std::wstring subheader;
    int32_t level = 0;  // 0 for a top-level item, one more for each parent
};

struct VLCSELCHANGE {
    CVLCTreeNode* newItem;  // may be null
    CVLCTreeNode* oldItem;  // may be null
    uint32_t code;          // VLC_SELECTION_CHANGED
};
static_assert(offsetof(VLCSELCHANGE, oldItem) == 8 && offsetof(VLCSELCHANGE, code) == 16,
              "the record's fields are read by offset");

// The content area of a page, as position and size in the dialog's client coordinates.
struct UIContentRect {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
};

class HRXUI_API CVistaListControl {
public:
    CVistaListControl() = default;
    CVistaListControl(const CVistaListControl&) = delete;
    CVistaListControl& operator=(const CVistaListControl&) = delete;

    // Adds an item after the last one, or after the last item under `parentId` when an
    // item of that id exists. Returns the new item, whose header texts the caller sets.
    CVLCTreeNode* InsertItem(const wchar_t* id, const wchar_t* parentId, const wchar_t* text,
                             int32_t image, int32_t selectedImage, void* data);
    // Selects the first item of this id and, when that changes the selection, tells the
    // dialog (once the dialog has its window). False when no item has this id.
    bool SelectItem(const wchar_t* id);
    CVLCTreeNode* GetSelectedItem() const { return selected_; }
    size_t GetCount() const { return nodes_.size(); }
    // The list's window; null before the dialog's initialisation, after its destruction,
    // and for a dialog without navigation.
    HWND hwnd() const { return list_; }

private:
    friend class CUIWin7Dialog;
    void Attach(HWND owner, HWND list);
    void Reset();
    void OnUserSelection();
    void Select(CVLCTreeNode* node);

    std::vector<std::unique_ptr<CVLCTreeNode>> nodes_;  // in the order shown
    CVLCTreeNode* selected_ = nullptr;
    HWND owner_ = nullptr;
    HWND list_ = nullptr;
};

// A page with a header along its top and the navigation list along its left side; the
// rest is the content area, where the page puts the child page of the selected item.
class HRXUI_API CUIWin7Dialog : public dlg::CDialog {
public:
    explicit CUIWin7Dialog(UINT templateId, HWND owner = nullptr);
    ~CUIWin7Dialog() override;

    // Shows the two texts in the header; kept for the window when it does not exist yet.
    void SetHeaders(const wchar_t* title, const wchar_t* subtitle);
    CVistaListControl& GetNavigationList() { return navigation_; }
    UIContentRect GetContentRect() const { return content_; }

    // Options, set before the window is made. 1 leaves the navigation list without a
    // window: the header and the content area span the whole width, for a dialog whose own
    // controls fill it.
    int32_t noNavigation = 0;
    // 1 gives the content area everything below the header; 0 keeps a band of 50 pixels
    // along the bottom for the page's own buttons.
    int32_t noButtonBand = 0;

protected:
    // Creates the header and the navigation list and lays them out, then loads the data.
    BOOL OnInitDialog() override;
    // Lays out the header, the navigation list and the content area for a client area of
    // cx by cy. Runs on every WM_SIZE before the page's own handler; a page that maps
    // WM_SIZE may run it again first, to no effect.
    void OnSize(UINT type, int cx, int cy);
    // Esc and the close box: a modal dialog ends with IDCANCEL; a modeless page is only
    // hidden, contents kept, so that its owner can show it again.
    void OnCancel() override;
    // Empties the navigation list without telling the page, and forgets the base's windows.
    // Runs on WM_DESTROY before the page's own handler; running it again does nothing.
    void OnDestroy();

private:
    static LRESULT CALLBACK FrameProc(HWND hwnd, UINT message, WPARAM w, LPARAM l, UINT_PTR id,
                                      DWORD_PTR self);
    void ReleaseFrame();

    CVistaListControl navigation_;
    std::wstring title_;
    std::wstring subtitle_;
    HWND titleWindow_ = nullptr;
    HWND subtitleWindow_ = nullptr;
    HFONT titleFont_ = nullptr;
    HWND frame_ = nullptr;  // the window this object watches, until its WM_NCDESTROY
    UIContentRect content_{};
};

// A child page (a template with WS_CHILD) that keeps its distance to every edge of its
// parent's client area when the parent is resized, unless the parent's own WM_SIZE
// handling moved it.
class HRXUI_API CUIScalableDialog : public dlg::CDialog {
public:
    explicit CUIScalableDialog(UINT templateId, HWND owner = nullptr);
    ~CUIScalableDialog() override;

protected:
    // Starts following the parent, then loads the data.
    BOOL OnInitDialog() override;
    // Repaints the whole page: controls moved by the page leave their old pixels behind.
    void OnSize(UINT type, int cx, int cy);

private:
    static LRESULT CALLBACK ParentProc(HWND hwnd, UINT message, WPARAM w, LPARAM l, UINT_PTR id,
                                       DWORD_PTR self);
    void StopFollowing();

    HWND parent_ = nullptr;  // the parent being followed
    SIZE parentSize_{};      // its client size at its last WM_SIZE
};

}  // namespace hrx
