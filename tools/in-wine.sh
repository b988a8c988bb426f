#!/usr/bin/env bash
# Runs a command inside a build folder with Wine set up for it: the folder's own prefix (never
# the user's), created once, and one wineserver kept alive for the whole command (a process then
# starts in a fraction of a second).  Usage: tools/in-wine.sh BUILD COMMAND [ARGS...]
set -u
build=${1:?build folder}
shift
export WINEPREFIX="$(cd "$build" && pwd)/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="

# A prefix whose creation was interrupted lacks system DLLs; only a finished one is marked.
ready="$WINEPREFIX/.zelka-ready"
if [ ! -f "$ready" ]; then
  echo "Creating the Wine prefix (once per build folder)..."
  rm -rf "$WINEPREFIX"
  wineboot --init >/dev/null 2>&1 </dev/null
  wineserver -w
  touch "$ready"
fi
wineserver -p
trap 'wineserver -k >/dev/null 2>&1' EXIT
# Start the prefix's background services here, detached from the command: started by the first
# test instead, they would inherit CTest's output pipes and CTest would wait for them forever.
wine wineboot >/dev/null 2>&1 </dev/null
cd "$build" && "$@"
