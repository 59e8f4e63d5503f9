#!/usr/bin/env bash
# Installs what building and testing need on a fresh Debian machine (run as root): the
# native and MinGW toolchains, Wine, clang's libFuzzer, benchmarks, the gammu oracle, a
# virtual display and the format and lint tools of the test command.
set -euo pipefail

wanted=(cmake ninja-build g++ python3 libgtest-dev googletest
    g++-mingw-w64-x86-64 wine64 wine
    clang libclang-rt-14-dev
    libbenchmark-dev libgammu-dev gammu python3-gammu pkg-config
    xvfb xauth x11-apps x11-utils imagemagick locales
    fonts-wine fonts-dejavu-core
    clang-format shellcheck flake8)

missing=()
for p in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
if [ ${#missing[@]} -ne 0 ]; then
    echo "Installing: ${missing[*]}"
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
fi

# The windows' fonts. Wine draws the caption buttons with Marlett and its own controls with
# Tahoma, both from fonts-wine; the dialogs ask for Verdana, which no free package has, and
# Wine gives them DejaVu Sans instead. Wine finds fonts through fontconfig but does not look
# in fonts-wine's folder itself (the caption buttons then show "0 1 r"), so name the folder.
wine_fonts_conf=/etc/fonts/conf.d/60-tarnik-wine-fonts.conf
if [ ! -f "$wine_fonts_conf" ]; then
    $SUDO mkdir -p "$(dirname "$wine_fonts_conf")"
    $SUDO tee "$wine_fonts_conf" >/dev/null <<'EOF'
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<!-- Wine's own fonts (fonts-wine) for Wine programs: installed by Tarnik's install-deps.sh -->
<fontconfig>
  <dir>/usr/share/wine/fonts</dir>
</fontconfig>
EOF
fi

# Under Wine the Polish locale gives our users' code page (1250); generated, it also lets
# Polish text pass on Wine programs' command lines.
if ! locale -a 2>/dev/null | grep -qi '^pl_PL\.utf-\?8$'; then
    $SUDO localedef -i pl_PL -f UTF-8 pl_PL.UTF-8
fi
