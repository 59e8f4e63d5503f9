# Sourced by scripts that run Windows programs under Wine: a quiet, private prefix, no
# Mono or Gecko installers, and the Polish ANSI code page (1250) of our users.
export WINEPREFIX=${WINEPREFIX:-$HOME/.wine-tarnik}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export LC_ALL=pl_PL.UTF-8
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot --init >/dev/null 2>&1 || true
    wineserver -w || true
fi
