#!/usr/bin/env bash
# Installs what the build and the Wine test runs need on Debian 12. Safe to run again: it only
# acts when something is missing. Both compilers and 64-bit Wine are always installed; 32-bit
# Wine (and the i386 architecture it needs) only where the kernel can run 32-bit programs.
set -eu
. "$(dirname "$0")/arch.sh"

need=()
command -v i686-w64-mingw32-g++-posix >/dev/null 2>&1 || need+=(g++-mingw-w64-i686-posix)
command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 || need+=(g++-mingw-w64-x86-64-posix)
command -v i686-w64-mingw32-widl >/dev/null 2>&1 || need+=(mingw-w64-tools)
command -v cmake >/dev/null 2>&1 || need+=(cmake)
command -v make >/dev/null 2>&1 || need+=(make)
[ -f /usr/src/googletest/CMakeLists.txt ] || need+=(googletest)
[ -x /usr/lib/wine/wine64 ] || need+=(wine64)
with32=no
if [ "${ZELKA_NO_32BIT:-0}" != 1 ] && zelka_runs_32bit; then
  with32=yes
  [ -x /usr/lib/wine/wine ] && dpkg -s wine32:i386 >/dev/null 2>&1 || need+=(wine32:i386)
fi

[ ${#need[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive

if [ $with32 = yes ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
  $sudo dpkg --add-architecture i386
fi

echo "Installing: ${need[*]}"
$sudo apt-get update -qq || true
if ! $sudo apt-get install -y -qq --no-install-recommends "${need[@]}"; then
  # The i386 index of the security suite sometimes fails to download, which leaves amd64 and
  # i386 library versions out of step. Install from the main suites alone then.
  parts=$(mktemp -d)
  echo "deb http://deb.debian.org/debian bookworm main" > "$parts/main.list"
  echo "deb http://deb.debian.org/debian bookworm-updates main" >> "$parts/main.list"
  $sudo apt-get -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$parts" update -qq
  $sudo apt-get -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$parts" \
    install -y -qq --no-install-recommends "${need[@]}"
  rm -rf "$parts"
fi
