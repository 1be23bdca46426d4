#!/bin/bash
# Times the removal a user starts ("PxvUnInst.exe" of a licensed installation
# with 2,000 more logged files, to the end of its second stage) against an
# NSIS uninstaller that deletes the same files one by one and undoes the same
# registry values, shortcuts and registrations, and against
# "cmd /c rmdir /s /q" of the same tree, in a throwaway Wine prefix; then the
# removal alone at 200 and 20,000 logged files for the cost of one more file.
#   scripts/bench.sh [ROUNDS]     (after scripts/build.sh; default 3 rounds)
#   BENCH_SIZES="200" scripts/bench.sh 1     (other sizes, or none: "")
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${SETUP_BUILD_DIR:-$root/build/win}"
work="$build/bench-uninstall"
rounds="${1:-3}"
sizes=(${BENCH_SIZES-200 20000})
cmake --build "$build" --target uninstall_bench
mkdir -p "$work"

# The NSIS uninstaller, written by a small installer whose only work is that:
# every file the sample package installs and the 2,000 logged files of the
# benchmark (bench/uninstall_bench.cpp names them), deleted one by one, then
# their folders, the shortcuts, the registry entries, with the product's
# "-unregonly" run and the handler's unregistration waited for first.
script="$work/uninstaller.nsi"
{
    cat <<'NSIS'
Unicode true
Target amd64-unicode
SetCompress off
Name "Pixvane 8"
OutFile "uninstaller-writer.exe"
RequestExecutionLevel admin
!define ProductKey "SOFTWARE\Quorvex\Pixvane 8"
Section
  WriteUninstaller "C:\pxbench-uninstall.exe"
SectionEnd
Section Uninstall
  ExecWait '"$INSTDIR\Pixvn8.exe" -unregonly'
  ExecWait 'regsvr32.exe /s /u "$INSTDIR\ThumbPvi32.dll"'
  DeleteRegKey HKLM "${ProductKey}"
  DeleteRegKey HKLM "SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\Pixvn8.exe"
  DeleteRegKey HKLM "SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\Pixvane 8"
  DeleteRegValue HKLM "SOFTWARE\RegisteredApplications" "Pixvane.8"
  DeleteRegKey HKCR "Pixvane.8"
  DeleteRegKey HKCR "Pixvane8.License"
  DeleteRegKey HKCR ".pv8lic"
  DeleteRegKey HKCR "Applications\Pixvn8.exe"
  SetShellVarContext all
  Delete "$SMPROGRAMS\Pixvane 8\Pixvane 8.lnk"
  Delete "$SMPROGRAMS\Pixvane 8\Pixvane 8 Help.lnk"
  RMDir "$SMPROGRAMS\Pixvane 8"
  Delete "$DESKTOP\Pixvane 8.lnk"
NSIS
    (cd "$build/package" && find . -type f ! -name setup.exe | sed 's|^\./||; s|/|\\|g') |
        while read -r name; do echo "  Delete \"\$INSTDIR\\$name\""; done
    for name in ReadMe.txt Pixvn8.cfg Pixvane.pv8lic; do echo "  Delete \"\$INSTDIR\\$name\""; done
    for ((i = 0; i < 2000; ++i)); do
        echo "  Delete \"\$INSTDIR\\Data$((i / 200))\\capture$i.dat\""
    done
    for ((i = 0; i < 10; ++i)); do echo "  RMDir \"\$INSTDIR\\Data$i\""; done
    (cd "$build/package" && find . -mindepth 1 -type d | sort -r | sed 's|^\./||; s|/|\\|g') |
        while read -r name; do echo "  RMDir \"\$INSTDIR\\$name\""; done
    echo '  RMDir "$INSTDIR"'
    echo 'SectionEnd'
} >"$script"
(cd "$work" && makensis -V1 uninstaller.nsi >/dev/null)

unset DISPLAY  # nothing is shown: Wine's null display driver serves
"$build/wine-run.sh" --fresh-prefix
status=0
"$build/wine-run.sh" "$work/uninstaller-writer.exe" /S || status=$?
[ $status -eq 0 ] && { "$build/wine-run.sh" "$build/bench/uninstall_bench.exe" "$rounds" 'C:\pxbench-uninstall.exe' \
    "${sizes[@]}" || status=$?; }
"$build/wine-run.sh" --stop
exit $status
