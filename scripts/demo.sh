#!/bin/bash
# The main job: builds everything, then lays down a Pixvane 8 installation in
# a throwaway Wine prefix and removes it with the real uninstaller, printing
# each step.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
"$root/scripts/build.sh"
wine_run="$root/build/win/wine-run.sh"
unset DISPLAY  # no window needs a screen: Wine's null display driver serves
"$wine_run" --fresh-prefix
status=0
"$wine_run" "$root/build/win/demo/pixvane_demo.exe" || status=$?
"$wine_run" --stop
exit $status
