#!/usr/bin/env bash
# Installs what the build and the Wine test run need on Debian 12. Safe to run again: it only
# acts when something is missing.
set -eu

need=()
command -v i686-w64-mingw32-g++-posix >/dev/null 2>&1 || need+=(g++-mingw-w64-i686-posix)
command -v i686-w64-mingw32-widl >/dev/null 2>&1 || need+=(mingw-w64-tools)
command -v cmake >/dev/null 2>&1 || need+=(cmake)
command -v make >/dev/null 2>&1 || need+=(make)
[ -f /usr/src/googletest/CMakeLists.txt ] || need+=(googletest)
dpkg -s wine32:i386 >/dev/null 2>&1 || need+=(wine wine32:i386)

[ ${#need[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive

if ! dpkg --print-foreign-architectures | grep -qx i386; then
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
