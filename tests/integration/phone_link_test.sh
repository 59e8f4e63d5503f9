#!/usr/bin/env bash
# The real link library in front of the phone emulator: tarnik-at opens COM port 7 through
# linkcom.mdl and runs "AT", "AT+CPMS=\"SM\"" and "AT+CMGL=4" with the plug-in's AT exchange.
#   phone_link_test.sh native BIN_DIR PHONE      (port 7 mapped by TARNIK_COM7)
#   phone_link_test.sh wine   BIN_DIR PHONE      (port from a dosdevices symlink under Wine)
set -u
mode=$1 bin=$2 phone=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'kill $phone_pid 2>/dev/null; wait 2>/dev/null; rm -rf "$work"; [ -n "${comlink:-}" ] && rm -f "$comlink"' EXIT

"$phone" --link "$work/phone" --config "$here/phone-sim.conf" --log "$work/phone.log" &
phone_pid=$!
for _ in $(seq 50); do [ -e "$work/phone" ] && break; sleep 0.1; done

case "$mode" in
    native)
        port=7
        out=$(TARNIK_COM7="$work/phone" timeout 60 "$bin/tarnik-at" --com $port \
            AT 'AT+CPMS="SM"' 'AT+CMGL=4')
        rc=$?
        ;;
    wine)
        # shellcheck source=../../scripts/wine-env.sh
        source "$here/../../scripts/wine-env.sh"
        port=$((20 + $$ % 200))  # a port of its own, so parallel runs do not meet
        comlink="$WINEPREFIX/dosdevices/com$port"
        ln -sfn "$work/phone" "$comlink"
        out=$(timeout 120 wine "$bin/tarnik-at.exe" --com $port AT 'AT+CPMS="SM"' 'AT+CMGL=4' | tr -d '\r')
        rc=$?
        ;;
    *)
        echo "usage: $0 native|wine BIN_DIR PHONE" >&2
        exit 2
        ;;
esac

fail() {
    echo "FAIL: $1"
    echo "--- tarnik-at said:"
    echo "$out"
    echo "--- the phone logged:"
    cat "$work/phone.log"
    exit 1
}
[ "$rc" -eq 0 ] || fail "tarnik-at exit code $rc"
[ "$(grep -c '^result 1$' <<<"$out")" -eq 3 ] || fail "three successful exchanges"
grep -q '+CMGL: 1,1,,46\\r\\n07918406010013F0040B918406214365F7' <<<"$out" || fail "first listed message"
grep -q '+CMGL: 2,0,,23\\r\\n' <<<"$out" || fail "second listed message"
for command in 'RX AT' 'RX AT+CPMS="SM"' 'RX AT+CMGL=4'; do
    grep -qxF "$command" "$work/phone.log" || fail "the phone received $command"
done
echo "phone link ($mode): AT, storage selection and listing through linkcom.mdl passed"
