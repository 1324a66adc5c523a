#!/usr/bin/env bash
# Installs the Debian packages the console needs to build, run and test.
# Safe to run again: packages already present are left alone.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config ccache clang-14 libclang-rt-14-dev
    qt6-base-dev qt6-base-dev-tools
    libmpg123-dev libfaad-dev libsoxr-dev portaudio19-dev libasound2-dev libjack-jackd2-dev libcurl4-openssl-dev libc-ares-dev libshout-dev libsndfile1-dev libebur128-dev libmicrohttpd-dev
    libespeak-ng-dev espeak-ng lame ffmpeg mpg123 sox icecast2
    libgtest-dev libgmock-dev libbenchmark-dev libtag1-dev libssl-dev openssl
    # The status page is tried in a real browser.
    chromium
    # The package and the install: dpkg-shlibdeps works out the package's dependencies; the
    # menu entry and the manual pages are checked with their own tools.
    dpkg-dev desktop-file-utils groff-base man-db
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO="sudo"
    echo "Installing: ${missing[*]}"
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
