#!/usr/bin/env bash
# Runs a command inside one architecture's build folder with Wine set up for it: that folder's
# own prefix (never the user's), created once, and one wineserver kept alive for the whole
# command (a process then starts in a fraction of a second). The loader and server are the ones
# of the folder's width, by their full paths.
# Usage: tools/in-wine.sh BUILD/ARCH COMMAND [ARGS...]; a command `wine PROGRAM` runs PROGRAM
# with that loader.
set -u
build=$(cd "${1:?build folder of one architecture}" && pwd)
shift
[ -f "$build/wine.env" ] || { echo "$build is not a configured build folder" >&2; exit 2; }
set -a
. "$build/wine.env"
set +a
export WINEPREFIX="$build/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="

# A prefix whose creation was interrupted lacks system DLLs; only a finished one is marked.
ready="$WINEPREFIX/.zelka-ready"
if [ ! -f "$ready" ]; then
  echo "Creating the $WINEARCH Wine prefix (once per build folder)..."
  rm -rf "$WINEPREFIX"
  "$WINELOADER" wineboot --init >/dev/null 2>&1 </dev/null
  "$WINESERVER" -w
  touch "$ready"
fi
"$WINESERVER" -p
trap '"$WINESERVER" -k >/dev/null 2>&1' EXIT
# Start the prefix's background services here, detached from the command: started by the first
# test instead, they would inherit CTest's output pipes and CTest would wait for them forever.
"$WINELOADER" wineboot >/dev/null 2>&1 </dev/null
[ "$1" = wine ] && { shift; set -- "$WINELOADER" "$@"; }
cd "$build" && "$@"
