#!/usr/bin/env bash
# The command-line contract of tarnik-pdu that other checks rely on.
# Usage: tarnik_pdu_test.sh PATH_TO_TARNIK_PDU SAMPLES_DIR
set -u
tool=$1
samples=$2
failures=0

check() {  # name, python expression over `out` (stdout text), `rc` and sys.argv[2] (optional)
    local name=$1 expr=$2
    if ! python3 -c "
import json, sys
out = sys.stdin.read()
rc = int(sys.argv[1])
lines = [json.loads(l) for l in out.splitlines() if l.startswith('{')]
assert ($expr), out[:600]
" "$rc" "${3:-}" <<<"$out"; then
        echo "FAIL: $name"
        failures=$((failures + 1))
    fi
}

out=$("$tool" decode 00040B918406214365F700004210517143548004D4F29C0E); rc=$?
check "decode argument" "rc == 0 and len(lines) == 1 and lines[0]['decoded'] and lines[0]['text'] == 'Test' \
 and lines[0]['address'] == {'ton': 1, 'npi': 1, 'extBit': True, 'number': '48601234567'} \
 and lines[0]['timestamp']['text'] == '2024-01-15 17:34:45' and lines[0]['textHex'] == '54657374' \
 and set(lines[0]['firstOctet']) == {'replyPath','udhi','statusReport','moreMessages','mti','vpf'}"

out=$(printf '00040B918406214365F700004210517143548004D4F29C0E\r\nZZ\n\n' | "$tool" decode); rc=$?
check "decode stdin, one object per line, bad input is not an error" \
    "rc == 0 and len(lines) == 3 and lines[0]['decoded'] and not lines[1]['decoded'] and not lines[2]['decoded']"

# Each line of pdu_reasons.txt: a PDU and what is wrong with it; one run of the tool for all.
reasons=$(grep -v '^#' "$(dirname "$0")/pdu_reasons.txt")
out=$(cut -f1 <<<"$reasons" | "$tool" decode); rc=$?
check "reasons of pdu_reasons.txt" "rc == 0 and [(h, l.get('reason', '-')) for h, l in zip([r.split(chr(9))[0] for r in sys.argv[2].splitlines()], lines)] == [tuple(r.split(chr(9))) for r in sys.argv[2].splitlines()]" "$reasons"

out=$("$tool" encode --number 48601234567 --text Hello --mr 3 --concat 42,2,1 --json); rc=$?
check "encode json" "rc == 0 and lines[0] == {'pdu': '0051030B918406214365F70000AA0C0500032A0201906536FB0D', 'cmgsLength': 25}"

out=$("$tool" encode --number 48601234567 --text Test --mr 2 --flash --report); rc=$?
check "encode plain" "rc == 0 and out.strip() == '0031020B918406214365F700F0AA04D4F29C0E'"

out=$("$tool" encode --number 1234 --text 'zł€' --json); rc=$?
# 'ł' has no GSM character and the euro sign is not byte 0xA4 in Windows-1250: both go out as spaces.
check "encode UTF-8 text through the code page" "rc == 0 and lines[0]['pdu'].endswith('037A1008')"
out=$("$tool" encode --number 1234 --text-hex 7aA4 --json); rc=$?
check "encode narrow bytes" "rc == 0 and lines[0]['pdu'].endswith('03FA4D19')"

out=$("$tool" listing "$samples/cmgl-reply.txt" --storage SM); rc=$?
check "listing records" "rc == 0 and [l['index'] for l in lines] == ['1','2','3','4','5'] and all(l['storage'] == 'SM' for l in lines)"

out=$("$tool" listing --join - < "$samples/cmgl-reply.txt"); rc=$?
check "listing joined" "rc == 0 and len(lines) == 4 and lines[0]['parts'] == 2 and lines[0]['reference'] == 77 \
 and lines[0]['text'].endswith('- a to juz druga czesc.') and lines[2]['text'] == 'Zażółć gęślą jaźń'"

for bad in "" "frobnicate" "encode --text x" "encode --number 12a --text x" "encode --number 1 --text x --mr 256" \
           "encode --number 1 --text x --concat 1,2" "encode --number 1 --text-hex 7" "listing /nonexistent/file"; do
    read -ra args <<< "$bad"
    out=$("$tool" "${args[@]}" 2>/dev/null); rc=$?
    check "error exit for: $bad" "rc != 0 and out.strip() == ''"
done

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "tarnik-pdu command line: all checks passed"
