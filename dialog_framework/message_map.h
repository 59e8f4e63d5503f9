// A declarative message map: one ordered table per dialog class, looked up by one
// dispatcher; the first entry that takes a message wins. Each kind of entry unpacks its
// message's WPARAM and LPARAM here, so a handler's signature says what it gets; only a
// raw entry, for a private message (WM_APP + n), sees them as they came.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <functional>
#include <initializer_list>
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

// Stands for the WM_CTLCOLOR* message of every kind of child control.
constexpr UINT kAnyControlColour = 0xFFFFFFFF;

inline bool IsControlColour(UINT message) {
    return message == WM_CTLCOLOREDIT || message == WM_CTLCOLORLISTBOX ||
           message == WM_CTLCOLORBTN || message == WM_CTLCOLORSCROLLBAR ||
           message == WM_CTLCOLORSTATIC;
}

template <class D>
struct MapEntry {
    UINT message;
    int firstId = 0;  // WM_COMMAND and WM_NOTIFY: the ids taken, firstId to lastId
    int lastId = 0;
    UINT code = 0;  // WM_COMMAND and WM_NOTIFY: the notification code
    std::function<LRESULT(D&, WPARAM, LPARAM)> call;

    bool Takes(UINT m, WPARAM w, LPARAM l) const {
        if (message == kAnyControlColour)
            return IsControlColour(m);
        if (m != message)
            return false;
        if (m == WM_COMMAND)
            return LOWORD(w) >= firstId && LOWORD(w) <= lastId && HIWORD(w) == code;
        if (m == WM_NOTIFY) {
            const auto* header = reinterpret_cast<const NMHDR*>(l);
            const auto id = static_cast<int>(header->idFrom);
            return id >= firstId && id <= lastId && header->code == code;
        }
        return true;
    }
};

// WM_COMMAND from one control with one notification code.
template <class D>
MapEntry<D> OnCommand(int id, UINT code, void (D::*fn)()) {
    return {WM_COMMAND, id, id, code, [fn](D& d, WPARAM, LPARAM) {
                (d.*fn)();
                return LRESULT{0};
            }};
}
// Menu items and buttons (code 0) from first to last; the handler gets the id.
template <class D>
MapEntry<D> OnCommandRange(int first, int last, void (D::*fn)(UINT id)) {
    return {WM_COMMAND, first, last, 0, [fn](D& d, WPARAM w, LPARAM) {
                (d.*fn)(LOWORD(w));
                return LRESULT{0};
            }};
}
// WM_NOTIFY from one control; the handler's result is the notification's.
template <class D>
MapEntry<D> OnNotify(int id, UINT code, LRESULT (D::*fn)(NMHDR*)) {
    return {WM_NOTIFY, id, id, code,
            [fn](D& d, WPARAM, LPARAM l) { return (d.*fn)(reinterpret_cast<NMHDR*>(l)); }};
}
template <class D>
MapEntry<D> OnSize(void (D::*fn)(UINT type, int cx, int cy)) {
    return {WM_SIZE, 0, 0, 0, [fn](D& d, WPARAM w, LPARAM l) {
                (d.*fn)(static_cast<UINT>(w), LOWORD(l), HIWORD(l));
                return LRESULT{0};
            }};
}
// WM_ERASEBKGND: true when the handler erased the background.
template <class D>
MapEntry<D> OnEraseBackground(bool (D::*fn)(HDC dc)) {
    return {WM_ERASEBKGND, 0, 0, 0, [fn](D& d, WPARAM w, LPARAM) {
                return LRESULT{(d.*fn)(reinterpret_cast<HDC>(w)) ? 1 : 0};
            }};
}
// The WM_CTLCOLOR* of every child control: the brush it is painted with.
template <class D>
MapEntry<D> OnControlColour(HBRUSH (D::*fn)(HDC dc, HWND control)) {
    return {kAnyControlColour, 0, 0, 0, [fn](D& d, WPARAM w, LPARAM l) {
                return reinterpret_cast<LRESULT>(
                    (d.*fn)(reinterpret_cast<HDC>(w), reinterpret_cast<HWND>(l)));
            }};
}
// A message without arguments (WM_DESTROY).
template <class D>
MapEntry<D> OnPlain(UINT message, void (D::*fn)()) {
    return {message, 0, 0, 0, [fn](D& d, WPARAM, LPARAM) {
                (d.*fn)();
                return LRESULT{0};
            }};
}
// A private message, as it came.
template <class D>
MapEntry<D> OnMessage(UINT message, LRESULT (D::*fn)(WPARAM, LPARAM)) {
    return {message, 0, 0, 0, [fn](D& d, WPARAM w, LPARAM l) { return (d.*fn)(w, l); }};
}

template <class D>
class MessageMapOf final : public MessageMap {
public:
    MessageMapOf(std::initializer_list<MapEntry<D>> entries) : entries_(entries) {}

    bool Dispatch(CDialog& dialog, UINT message, WPARAM w, LPARAM l,
                  LRESULT& result) const override {
        for (const MapEntry<D>& e : entries_) {
            if (e.Takes(message, w, l)) {
                result = e.call(static_cast<D&>(dialog), w, l);
                return true;
            }
        }
        return false;
    }

private:
    std::vector<MapEntry<D>> entries_;
};

}  // namespace dlg
