#!/usr/bin/env bash
# The main job, on a fresh Debian machine: builds the codec and its tool, then decodes a
# phone's stored messages, joins long ones, and encodes a two-part message as the phone
# would receive it after AT+CMGS.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh main
cmake --preset native >/dev/null
cmake --build --preset native --target tarnik-pdu >/dev/null
tool=build/native/tools/tarnik-pdu

echo "== A phone's reply to AT+CMGL=4 (samples/cmgl-reply.txt), records =="
"$tool" listing samples/cmgl-reply.txt --storage SM
echo
echo "== The same, long messages joined (one row each) =="
"$tool" listing samples/cmgl-reply.txt --storage SM --join
echo
echo "== A two-part message to 48601234567 with a delivery report on the last part =="
text="Dzien dobry! To jest wiadomosc dluzsza niz 160 znakow, wiec telefon wysle ja w dwoch czesciach, kazda z naglowkiem laczenia, a odbiorca zobaczy jedna wiadomosc."
part1=${text:0:153}
part2=${text:153}
for seq in 1 2; do
    part=part$seq
    "$tool" encode --number 48601234567 --text "${!part}" --mr $((40 + seq)) --report --concat 77,2,$seq --json
done
echo
echo "== Those PDUs decoded back =="
for seq in 1 2; do
    part=part$seq
    pdu=$("$tool" encode --number 48601234567 --text "${!part}" --mr $((40 + seq)) --report --concat 77,2,$seq)
    "$tool" decode "$pdu"
done
