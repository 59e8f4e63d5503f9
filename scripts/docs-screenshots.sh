#!/usr/bin/env bash
# Takes the screenshots kept in docs/: the plug-in's windows as a user sees them, under
# Wine on a virtual display. Needs the native and Windows builds (scripts/main-job.sh or
# scripts/test-all.sh make them; TARNIK_NATIVE_BUILD and TARNIK_WINDOWS_BUILD name others).
# The fonts they are drawn with come from scripts/install-deps.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
native=${TARNIK_NATIVE_BUILD:-build/native}
windows=${TARNIK_WINDOWS_BUILD:-build/windows}
source scripts/wine-env.sh
export LC_ALL=pl_PL.UTF-8
work=$(mktemp -d)
display=:$((100 + RANDOM % 800))
Xvfb "$display" -screen 0 1024x768x24 >/dev/null 2>&1 &
xvfb_pid=$!
phone_pid=
cleanup() {
    [ -n "$phone_pid" ] && kill "$phone_pid" 2>/dev/null
    kill "$xvfb_pid" 2>/dev/null
    rm -f "${comlink:-}"
    rm -rf "$work"
}
trap cleanup EXIT
export DISPLAY=$display
# No window manager here: Wine draws the caption bars itself, as the user sees them.
wine reg add 'HKCU\Software\Wine\X11 Driver' /v Decorated /d N /f >/dev/null 2>&1
sleep 1

# Wait until a line matching $2 appears in file $1, at most 120 s.
wait_for() {
    for _ in $(seq 1200); do grep -q "$2" "$1" 2>/dev/null && return 0; sleep 0.1; done
    echo "timed out waiting for $2" >&2
    return 1
}

# $1: file name in docs/, $2: crop geometry, or "trim" for the windows on the black root
shoot() {
    if [ "$2" = trim ]; then
        xwd -root -display "$display" -silent | convert xwd:- -trim +repage "docs/$1"
    else
        xwd -root -display "$display" -silent | convert xwd:- -crop "$2" +repage "docs/$1"
    fi
    echo "docs/$1"
}

# The send window: the SMS plug-in's list box as the send job leaves it.
"$native"/phone/tarnik-phone --link "$work/phone" --config samples/phone-main-job.conf \
    --log "$work/phone.log" &
phone_pid=$!
wait_for "$work/phone.log" "LINK ready"
comlink="$WINEPREFIX/dosdevices/com5"
ln -sfn "$work/phone" "$comlink"
text="Dzien dobry! To jest wiadomosc dluzsza niz 160 znakow, wiec wtyczka tnie ja na dwie \
czesci po 153 znaki, kazda z naglowkiem laczenia, a telefon odbiorcy sklada je z powrotem."
wine "$windows"/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata")" load \
    add-profile Telefon 02050000000000000000000100 \
    send Telefon "$text" +48601234567 600123456 hold 6000 unload >"$work/host.out" 2>&1 &
host_pid=$!
wait_for "$work/host.out" "SEND ->"
sleep 1
shoot send-window.png trim
wait "$host_pid" || true

# The settings dialog: an all-zero profile (Bluetooth, nothing chosen), then a COM profile
# on the emulator's port, COM5, with the report option.
settings_shot() {  # $1: file, $2: record
    wine "$windows"/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata-$1")" load \
        add-profile P "$2" configure P "dump; wait 2500; cancel" unload >"$work/$1.out" 2>&1 &
    local pid=$!
    wait_for "$work/$1.out" "^DIALOG"
    sleep 1
    shoot "$1" trim
    wait "$pid" || true
}
settings_shot settings-zero-profile.png 00000000000000000000000000
settings_shot settings-com-profile.png 02050000000000000000000100

# A root image shows Wine's pop-up menus black, though the menu windows themselves hold
# their pixels: lay each viewable unnamed window of the host over the root image.
shoot_with_popups() {  # $1: file name in docs/
    xwd -root -display "$display" -silent | convert xwd:- "$work/root.png"
    for id in $(xwininfo -display "$display" -root -children |
        awk '/tarnik-host.exe/ && /has no name/ {print $1}'); do
        info=$(xwininfo -display "$display" -id "$id")
        grep -q IsViewable <<<"$info" || continue
        x=$(awk '/Absolute upper-left X/ {print $4}' <<<"$info")
        y=$(awk '/Absolute upper-left Y/ {print $4}' <<<"$info")
        xwd -display "$display" -id "$id" -silent | convert xwd:- "$work/popup.png"
        convert "$work/root.png" "$work/popup.png" -geometry "+$x+$y" -composite "$work/root.png"
    done
    convert "$work/root.png" -trim +repage "docs/$1"
    echo "docs/$1"
}

# The archive page: the chooser while a download runs (a phone slow enough to watch), the
# page with the downloaded messages and a clicked one, and the list's context menu.
if kill "$phone_pid" 2>/dev/null; then
    wait "$phone_pid" 2>/dev/null || true
fi
{ echo "byte_delay_us = 1500"; cat tests/integration/phone-stored.conf; } >"$work/slow.conf"
"$native"/phone/tarnik-phone --link "$work/phone" --config "$work/slow.conf" \
    --log "$work/phone-slow.log" &
phone_pid=$!
wait_for "$work/phone-slow.log" "LINK ready"
page="Komunikacja z telefonem GSM"
steps="size 740 380; row-rclick below; menu-choose 1000; expect Ustawienia; click 1; wait 800"
steps="$steps; dump; wait 1500; expect $page; row-click 0; wait 300; dump; wait 2000"
steps="$steps; row-rclick 2; wait 500; menu-dump; wait 2000; menu-cancel; expect $page; click 1"
wine "$windows"/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata-page")" load \
    add-profile Telefon 02050000000000000000000100 archive-page "$steps" unload \
    >"$work/page.out" 2>&1 &
host_pid=$!
wait_for "$work/page.out" '^DIALOG caption="Ustawienia"'
shoot chooser-downloading.png trim
wait_for "$work/page.out" "^DIALOG caption=\"$page\""
sleep 0.5
shoot archive-page.png trim
wait_for "$work/page.out" "^MENU-POPUP"
sleep 0.5
shoot_with_popups archive-context-menu.png
wait "$host_pid" || true
