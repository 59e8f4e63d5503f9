# shellcheck shell=bash
# Sourced by scripts that run Windows programs under Wine: a quiet, private prefix and no
# Mono or Gecko installers. Tests that need our users' Polish ANSI code page (1250) set
# LC_ALL=pl_PL.UTF-8 for the Wine process alone.
export WINEPREFIX=${WINEPREFIX:-$HOME/.wine-tarnik}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot --init >/dev/null 2>&1 || true
    wineserver -w || true
fi

# Windows need a display. Without one of the user's, every Wine program of ours shares one
# virtual display, started here once: Wine's desktop process belongs to the display it
# first saw, so a display per program would leave later programs without a desktop.
if [ -z "${DISPLAY:-}" ] && command -v Xvfb >/dev/null; then
    export DISPLAY=:77
    if ! pgrep -u "$(id -u)" -f '^Xvfb :77( |$)' >/dev/null; then
        (
            for fd in /proc/"$BASHPID"/fd/*; do
                fd=${fd##*/}
                [ "$fd" -gt 2 ] && eval "exec $fd>&-"
            done
            exec Xvfb :77 -screen 0 1024x768x24 -nolisten tcp </dev/null >/dev/null 2>&1
        ) &
        for _ in $(seq 50); do [ -S /tmp/.X11-unix/X77 ] && break; sleep 0.1; done
    fi
fi

# Wine's server opens a serial device without O_NOCTTY. Started by wine, it is a session
# leader without a terminal, so the phone emulator's pty would become its controlling
# terminal, and the phone hanging up would make it dump its state and quit. A server run in
# the foreground of our own session is no session leader and never takes a terminal.
# Only this prefix's server counts: its working folder is named after the prefix's device
# and inode, and servers of other prefixes (a second checkout's tests) are left alone.
tarnik_server_dir=$(printf 'server-%s-%x' "$(stat -c %D "$WINEPREFIX")" "$(stat -c %i "$WINEPREFIX")")
tarnik_wineserver_pid=
for tarnik_pid in $(pgrep -u "$(id -u)" -f '^[^ ]*wineserver' || true); do
    if [ "$(basename "$(readlink "/proc/$tarnik_pid/cwd" 2>/dev/null)")" = "$tarnik_server_dir" ]; then
        tarnik_wineserver_pid=$tarnik_pid
        break
    fi
done
if [ -n "$tarnik_wineserver_pid" ] &&
    [ "$(ps -o sid= -p "$tarnik_wineserver_pid" | tr -d ' ')" = "$tarnik_wineserver_pid" ]; then
    wineserver -k 2>/dev/null || true
    tarnik_wineserver_pid=
fi
if [ -z "$tarnik_wineserver_pid" ]; then
    # Nothing of ours may stay open in the server or in Wine's own service processes that
    # start with it: a test runner waits until its pipes close. So both start here, with
    # every inherited descriptor closed, and the services are up before the first program.
    (
        for fd in /proc/"$BASHPID"/fd/*; do
            fd=${fd##*/}
            [ "$fd" -gt 2 ] && eval "exec $fd>&-"
        done
        exec </dev/null >/dev/null 2>&1
        wineserver -f -p30 &
        wine cmd /c exit
    )
fi
unset tarnik_wineserver_pid tarnik_server_dir tarnik_pid
