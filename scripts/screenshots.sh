#!/bin/bash
# Pictures every page of the wizard: a normal and a portable installation and
# the finished page that offers a restart, one PNG per page in docs/wizard/,
# and the welcome page again at a screen scale of 150%.
# Runs under a virtual X display, in a Wine prefix of its own that is thrown
# away afterwards, inside a Wine desktop window so that the wizard has its
# title bar. Builds first when needed (scripts/build.sh).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
build="$root/build/win"
[ -x "$build/tools/screenshots/wizard_tour.exe" ] || cmake --build "$build" --target wizard_tour sample_package
# The build's template prefix is made on first use of its own runner.
[ -f "$build/wine/template/system.reg" ] || "$build/wine-run.sh" --fresh-prefix

out="$root/docs/wizard"
work="$(mktemp -d)"
export WINEPREFIX="$work/prefix" WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
cleanup() { wineserver -k >/dev/null 2>&1 || true; rm -rf "$work"; }
trap cleanup EXIT
cp -a "$build/wine/template" "$WINEPREFIX"
# A screen of its own for Wine's X driver, whatever the template says.
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d x11 /f >/dev/null 2>&1

shots="$(winepath -w "$work/shots" 2>/dev/null)"
tour="$(winepath -w "$build/tools/screenshots/wizard_tour.exe" 2>/dev/null)"
xvfb-run -a -s "-screen 0 1024x768x24" \
    wine explorer /desktop=Pixvane,800x600 "$tour" "$shots" </dev/null
wineserver -w || true
# The welcome page once more at a screen scale of 150%.
wine reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d 144 /f >/dev/null 2>&1
wine reg add 'HKLM\System\CurrentControlSet\Hardware Profiles\Current\Software\Fonts' \
    /v LogPixels /t REG_DWORD /d 144 /f >/dev/null 2>&1
wineserver -k || true
xvfb-run -a -s "-screen 0 1280x1024x24" \
    wine explorer /desktop=Pixvane,1200x900 "$tour" "$shots" welcome </dev/null
wineserver -w || true

rm -rf "$out" && mkdir -p "$out"
count=0
for bmp in "$work"/shots/*.bmp; do
    convert "$bmp" "$out/$(basename "${bmp%.bmp}").png"
    count=$((count + 1))
done
echo "$count pictures in $out"
[ "$count" -eq 13 ]
