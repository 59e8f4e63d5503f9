#!/usr/bin/env bash
# Takes the screenshots kept in docs/: the plug-in's windows as a user sees them, under
# Wine on a virtual display. Needs the native and Windows builds (scripts/main-job.sh or
# scripts/test-all.sh make them).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine-env.sh
export LC_ALL=pl_PL.UTF-8
work=$(mktemp -d)
display=:$((100 + RANDOM % 800))
Xvfb "$display" -screen 0 800x480x24 >/dev/null 2>&1 &
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
build/native/phone/tarnik-phone --link "$work/phone" --config samples/phone-main-job.conf \
    --log "$work/phone.log" &
phone_pid=$!
wait_for "$work/phone.log" "LINK ready"
comlink="$WINEPREFIX/dosdevices/com5"
ln -sfn "$work/phone" "$comlink"
text="Dzien dobry! To jest wiadomosc dluzsza niz 160 znakow, wiec wtyczka tnie ja na dwie \
czesci po 153 znaki, kazda z naglowkiem laczenia, a telefon odbiorcy sklada je z powrotem."
wine build/windows/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata")" load \
    add-profile Telefon 02050000000000000000000100 \
    send Telefon "$text" +48601234567 600123456 hold 6000 unload >"$work/host.out" 2>&1 &
host_pid=$!
wait_for "$work/host.out" "SEND ->"
sleep 1
shoot send-window.png 580x336+2+30
wait "$host_pid" || true

# The settings dialog: an all-zero profile (Bluetooth, nothing chosen), then a COM profile
# on the emulator's port, COM5, with the report option.
settings_shot() {  # $1: file, $2: record
    wine build/windows/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata-$1")" load \
        add-profile P "$2" configure P "dump; wait 2500; cancel" unload >"$work/$1.out" 2>&1 &
    local pid=$!
    wait_for "$work/$1.out" "^DIALOG"
    sleep 1
    shoot "$1" trim
    wait "$pid" || true
}
settings_shot settings-zero-profile.png 00000000000000000000000000
settings_shot settings-com-profile.png 02050000000000000000000100
