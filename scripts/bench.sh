#!/bin/bash
# Times the uninstall sequence on an installation of 2,000 logged files
# against "cmd /c rmdir /s /q" of the same tree, in a throwaway Wine prefix.
#   scripts/bench.sh [ROUNDS]     (after scripts/build.sh; default 3 rounds)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${SETUP_BUILD_DIR:-$root/build/win}"
cmake --build "$build" --target uninstall_bench
unset DISPLAY  # nothing is shown: Wine's null display driver serves
"$build/wine-run.sh" --fresh-prefix
status=0
"$build/wine-run.sh" "$build/bench/uninstall_bench.exe" "$@" || status=$?
"$build/wine-run.sh" --stop
exit $status
