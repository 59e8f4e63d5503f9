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
