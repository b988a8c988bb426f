#!/usr/bin/env bash
# Runs the test suite of each given architecture that this machine can run; the 32-bit one is
# still built everywhere, so a compile error there fails the build before this runs.
# Usage: tools/run-suites.sh BUILD ARCH... (x86 before x64, so that the output ends with the
# summary line of the last suite run).
set -u
here=$(dirname "$0")
. "$here/arch.sh"
build=${1:?build folder}
shift
status=0
for arch in "$@"; do
  if zelka_can_run "$arch"; then
    echo "== $arch suite ($build/$arch) =="
    bash "$here/in-wine.sh" "$build/$arch" ctest --output-on-failure || status=1
  else
    echo "The $arch suite was not run: this machine's kernel cannot run 32-bit programs (the $arch build was compiled)."
  fi
done
exit $status
