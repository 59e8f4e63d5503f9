// A declarative message map: one ordered table per dialog class of (message, control id,
// notification code, handler), looked up by one dispatcher. Handlers have typed
// signatures; none unpacks WPARAM and LPARAM itself.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <initializer_list>
#include <variant>
#include <vector>

namespace dlg {

class CDialog;

class MessageMap {
public:
    virtual ~MessageMap() = default;
    // True when an entry took the message; `result` is then the dialog procedure's answer.
    virtual bool Dispatch(CDialog& dialog, UINT message, WPARAM w, LPARAM l,
                          LRESULT& result) const = 0;
};

template <class D>
struct MapEntry {
    using CommandFn = void (D::*)();                               // WM_COMMAND from one control
    using NotifyFn = LRESULT (D::*)(NMHDR*);                       // WM_NOTIFY from one control
    using SizeFn = void (D::*)(UINT type, int cx, int cy);         // WM_SIZE
    using ContextMenuFn = void (D::*)(HWND window, POINT screen);  // WM_CONTEXTMENU
    using PlainFn = void (D::*)();                                 // a message without arguments
    using RawFn = LRESULT (D::*)(WPARAM, LPARAM);  // anything else, e.g. WM_USER + n

    UINT message;
    int id;     // control id for WM_COMMAND and WM_NOTIFY
    UINT code;  // notification code for WM_COMMAND and WM_NOTIFY
    std::variant<CommandFn, NotifyFn, SizeFn, ContextMenuFn, RawFn> handler;
    bool plain = false;  // RawFn slot unused; CommandFn called for a plain message
};

template <class D>
MapEntry<D> OnCommand(int id, UINT code, void (D::*fn)()) {
    return {WM_COMMAND, id, code, fn};
}
template <class D>
MapEntry<D> OnNotify(int id, UINT code, LRESULT (D::*fn)(NMHDR*)) {
    return {WM_NOTIFY, id, code, fn};
}
template <class D>
MapEntry<D> OnSize(void (D::*fn)(UINT, int, int)) {
    return {WM_SIZE, 0, 0, fn};
}
template <class D>
MapEntry<D> OnContextMenu(void (D::*fn)(HWND, POINT)) {
    return {WM_CONTEXTMENU, 0, 0, fn};
}
template <class D>
MapEntry<D> OnPlain(UINT message, void (D::*fn)()) {
    MapEntry<D> entry{message, 0, 0, fn};
    entry.plain = true;
    return entry;
}
template <class D>
MapEntry<D> OnMessage(UINT message, LRESULT (D::*fn)(WPARAM, LPARAM)) {
    return {message, 0, 0, fn};
}

template <class D>
class MessageMapOf final : public MessageMap {
public:
    MessageMapOf(std::initializer_list<MapEntry<D>> entries) : entries_(entries) {}

    bool Dispatch(CDialog& dialog, UINT message, WPARAM w, LPARAM l,
                  LRESULT& result) const override {
        D& self = static_cast<D&>(dialog);
        for (const MapEntry<D>& e : entries_) {
            if (e.message != message)
                continue;
            result = 0;
            switch (message) {
                case WM_COMMAND:
                    if (LOWORD(w) != e.id || HIWORD(w) != e.code)
                        continue;
                    (self.*std::get<typename MapEntry<D>::CommandFn>(e.handler))();
                    return true;
                case WM_NOTIFY: {
                    auto* header = reinterpret_cast<NMHDR*>(l);
                    if (static_cast<int>(header->idFrom) != e.id || header->code != e.code)
                        continue;
                    result = (self.*std::get<typename MapEntry<D>::NotifyFn>(e.handler))(header);
                    return true;
                }
                case WM_SIZE:
                    (self.*std::get<typename MapEntry<D>::SizeFn>(e.handler))(static_cast<UINT>(w),
                                                                              LOWORD(l), HIWORD(l));
                    return true;
                case WM_CONTEXTMENU:
                    (self.*std::get<typename MapEntry<D>::ContextMenuFn>(e.handler))(
                        reinterpret_cast<HWND>(w),
                        POINT{static_cast<short>(LOWORD(l)), static_cast<short>(HIWORD(l))});
                    return true;
                default:
                    if (e.plain) {
                        (self.*std::get<typename MapEntry<D>::CommandFn>(e.handler))();
                    } else {
                        result = (self.*std::get<typename MapEntry<D>::RawFn>(e.handler))(w, l);
                    }
                    return true;
            }
        }
        return false;
    }

private:
    std::vector<MapEntry<D>> entries_;
};

}  // namespace dlg
