#!/usr/bin/env bash
# The main job, on a fresh Debian machine: a two-part SMS with a delivery report sent to two
# recipients through the plug-in, loaded by the test host under Wine, over the real COM link
# library to the phone emulator; then the messages stored in the phone downloaded through
# the archive page and saved into the host's archive. Prints the progress lines the user
# sees, what the phone received, decoded, the downloaded list and the archive's records.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset native >/dev/null
cmake --build --preset native --target tarnik-phone tarnik-pdu >/dev/null
cmake --preset windows >/dev/null
cmake --build --preset windows --target tarnik_plugin tarnik-host linkcom >/dev/null

work=$(mktemp -d)
phone_pid=
cleanup() {
    [ -n "$phone_pid" ] && kill "$phone_pid" 2>/dev/null && wait "$phone_pid" 2>/dev/null
    rm -f "${comlink:-}"
    rm -rf "$work"
}
trap cleanup EXIT

build/native/phone/tarnik-phone --link "$work/phone" --config samples/phone-main-job.conf \
    --log "$work/phone.log" &
phone_pid=$!
for _ in $(seq 50); do [ -e "$work/phone" ] && break; sleep 0.1; done

# The phone is COM5 of the Windows machine.
source scripts/wine-env.sh
comlink="$WINEPREFIX/dosdevices/com5"
ln -sfn "$work/phone" "$comlink"

# Profile: COM port (2), COM5, no Bluetooth address, no flash, wait for the report.
profile=02050000000000000000000100
text="Dzien dobry! To jest wiadomosc dluzsza niz 160 znakow, wiec wtyczka tnie ja na dwie \
czesci po 153 znaki, kazda z naglowkiem laczenia, a telefon odbiorcy sklada je z powrotem \
w jedna wiadomosc. Raport doreczenia przychodzi po ostatniej czesci."

# The SMS plug-in also keeps a profile of another transport, which the chooser leaves out.
other_transport=0F0E0D0C-0B0A-0908-0706-050403020100

# After sending, the user opens "Archiwizacja SMS-ów", downloads through the profile from
# the list's context menu, selects every row and saves them into the archive.
page="row-rclick below; menu-choose 1000; expect Ustawienia; click 1"
page="$page; expect Komunikacja z telefonem GSM; rows; row-rclick 0; menu-choose 1001; wait 300"
page="$page; row-rclick 0; menu-choose 1002; expect Zapisano; ok"
page="$page; expect Komunikacja z telefonem GSM; click 1"

echo "== Sending through the plug-in (tarnik-host under Wine, COM5 -> tarnik-phone)"
scripts/wine-run.sh build/windows/bin/tarnik-host.exe --data "$(winepath -w "$work/hostdata")" \
    load add-profile Telefon "$profile" add-profile Inny "$profile" "$other_transport" \
    send Telefon "$text" +48601234567 600123456 \
    archive-page "$page" archive unload | tr -d '\r' >"$work/host.out"
grep -E '^(SEND|LOAD)' "$work/host.out"

echo
echo "== What the phone received (its log)"
grep -E '^(RX|SUBMIT|REPORT)' "$work/phone.log" | cut -c1-160
echo
echo "== The submitted PDUs, decoded"
grep '^PDU ' "$work/phone.log" | cut -d' ' -f2 | build/native/tools/tarnik-pdu decode |
    python3 -c '
import json, sys
for line in sys.stdin:
    r = json.loads(line)
    print("to %-12s part %d/%d ref %3d report %d: %s" % (r["address"]["number"], r["concatSeq"],
          r["concatTotal"], r["concatRef"], r["firstOctet"]["statusReport"], r["text"]))'

echo
echo "== Downloaded from the phone through the archive page (the list the user sees)"
grep -E '^(MENU-INVOKE|LIST|ROW|ARCHIVE-PAGE)' "$work/host.out" | cut -c1-200
echo
echo "== The host's archive after \"Zapisz zaznaczone do archiwum\""
grep -E '^(ARCHIVE |ARCHIVE-RECORD|UNLOAD)' "$work/host.out"
