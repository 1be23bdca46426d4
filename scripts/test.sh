#!/bin/bash
# Builds everything and runs every test: the text logic natively under
# AddressSanitizer and UBSan, a short libFuzzer run of each text parser, then
# the Windows tests under Wine in a fresh throwaway prefix, with a virtual X
# display for the dialogs.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
"$root/scripts/build.sh"
echo "== Native tests (sanitizers)"
(cd "$root/build/native" && ctest --output-on-failure --timeout 120)
echo "== Fuzzing the text parsers (a fixed number of inputs each)"
"$root/scripts/fuzz.sh" --runs 5000
echo "== Windows tests under Wine"
cd "$root/build/win"
# Wine's first start (the template prefix, its services) before ctest runs
# each test program to list its tests, which has no retry of its own.
./wine-run.sh --fresh-prefix
if [ "${SETUP_TEST_HEADLESS:-}" = 1 ]; then
    (unset DISPLAY; ctest --output-on-failure)
else
    xvfb-run -a -s "-screen 0 1024x768x24" ctest --output-on-failure
fi
