#!/usr/bin/env bash
# Runs the CTest suite of a build folder under Wine, in that folder's own prefix, with one
# wineserver kept alive for the whole run (a process then starts in a fraction of a second).
set -u
build=${1:?build folder}
shift
export WINEPREFIX="$(cd "$build" && pwd)/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="

if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "Creating the Wine prefix for tests (once per build folder)..."
  wineboot --init >/dev/null 2>&1
  wineserver -w
fi
wineserver -p
trap 'wineserver -k >/dev/null 2>&1' EXIT
# Start the prefix's background services here, detached from CTest: started by the first test
# instead, they would inherit its output pipes and CTest would wait for them forever.
wine wineboot >/dev/null 2>&1 </dev/null
cd "$build" && ctest --output-on-failure "$@"
