#!/usr/bin/env bash
# Runs the sample program of the first given architecture this machine can run: the 32-bit
# product where the kernel runs 32-bit programs, the 64-bit build elsewhere.
# Usage: tools/run-demo.sh BUILD ARCH...
set -u
here=$(dirname "$0")
. "$here/arch.sh"
build=${1:?build folder}
shift
for arch in "$@"; do
  if zelka_can_run "$arch"; then
    echo "Running the $arch demo ($build/$arch/bin/zelka_demo.exe)"
    exec bash "$here/in-wine.sh" "$build/$arch" wine bin/zelka_demo.exe
  fi
  echo "Not running the $arch demo: this machine's kernel cannot run 32-bit programs."
done
echo "No architecture given here can run on this machine." >&2
exit 1
