#!/bin/bash
# Times "setup.exe -s" against "xcopy /e /i /q" of the same tree and against an
# NSIS installer (stored, no compression) of the same payload that does the
# same registration, shortcuts and program runs as setup, in a throwaway
# Wine prefix: 2,000 files / 200 MiB in 12 folders, then 200 and 20,000 small
# files to show the cost per file. Prints medians, ratios and ms per file.
# The self-extracting package (scripts/package.sh) of the same package folder
# is set against an NSIS installer of the same payload compressed the same
# way (solid LZMA): their sizes, and the times of "-s" and "/S".
#   scripts/bench-install.sh [ROUNDS]     (after scripts/build.sh; default 3)
#   BENCH_SETS="200" scripts/bench-install.sh 1     (only some payload sets)
#   BENCH_PACKAGE_SETS="200 2000" ...   (the package and its NSIS-LZMA peer
#       only for these sets; the others compare the installation alone, as
#       long as they hold no package from an earlier run)
#   BENCH_IN_MEMORY=1 ...   (the Wine prefix, where everything is installed,
#       in /dev/shm: no disk, whose deletions slow the next contender down,
#       so the rounds vary far less; needs memory for the largest payload)
# The payloads (bench/payload.py) and installers are kept in
# build/win/bench-install and made again only when the generator changes.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${SETUP_BUILD_DIR:-$root/build/win}"
work="$build/bench-install"
rounds="${1:-3}"
sets=(${BENCH_SETS:-2000 200 20000})
package_sets=" ${BENCH_PACKAGE_SETS:-${sets[*]}} "

# The product's files that a package carries beside its payload; Pixvn8.exe
# with its version resource is what makes setup accept the package.
product_files=(Pixvn8.exe PxvUnInst.exe ThumbPvi32.dll)

# make_package SET: the unpacked package $work/SET/package, made from the
# payload generator, the sample package's product files and setup.exe.
make_package() {
    local set="$1" package="$work/$1/package" also=() name
    for name in "${product_files[@]}"; do also+=(--also "$name"); done
    python3 "$root/bench/payload.py" "$package" "$set" "${also[@]}"
    for name in "${product_files[@]}" setup.exe; do
        cp -p "$build/package/$name" "$package/$name"
    done
}

# make_nsis_installer PACKAGE_FOLDER OUTPUT COMPRESSION_LINES: an installer
# of the package folder's payload (setup.exe left out), 64-bit Unicode,
# silent with "/S", folder given with "/D=". It does the same visible work as
# "setup.exe -s" on a fresh machine, so that the times compare the same job:
# the same registry values, the Start-menu group with its two shortcuts and
# the desktop shortcut, an uninstaller written, regsvr32 of the thumbnail
# handler and the product's "-regonly" run started without waiting.
make_nsis_installer() {
    local package="$1" output="$2" compression="$3" script extension associations=""
    for extension in .bmp .dib .gif .jpg .jpeg .tif .tiff .png .cmp .tga .wpg .jp2 .j2k .pvi; do
        associations+="  WriteRegStr HKLM \"\${Capabilities}\\FileAssociations\" \"$extension\" \"Pixvane.8\""$'\n'
    done
    script="$(mktemp --suffix=.nsi)"
    cat >"$script" <<NSIS
Unicode true
Target amd64-unicode
$compression
Name "Pixvane 8"
OutFile "$output"
InstallDir "\$PROGRAMFILES64\\Pixvane 8"
RequestExecutionLevel admin
!getdllversion "$package/Pixvn8.exe" Version_
!define ProductKey "SOFTWARE\\Quorvex\\Pixvane 8"
!define Capabilities "\${ProductKey}\\Capabilities"
!define AppPaths "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Pixvn8.exe"
!define Uninstall "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Pixvane 8"
!define Open '"\$INSTDIR\\Pixvn8.exe" "%1"'
Section
  SetOutPath "\$INSTDIR"
  File /r /x setup.exe "$package/*"
  WriteUninstaller "\$INSTDIR\\PxvUnInst.exe"
  SetShellVarContext all
  CreateDirectory "\$SMPROGRAMS\\Pixvane 8"
  CreateShortCut "\$SMPROGRAMS\\Pixvane 8\\Pixvane 8.lnk" "\$INSTDIR\\Pixvn8.exe"
  CreateShortCut "\$SMPROGRAMS\\Pixvane 8\\Pixvane 8 Help.lnk" "\$INSTDIR\\Pixvn8Man.chm"
  CreateShortCut "\$DESKTOP\\Pixvane 8.lnk" "\$INSTDIR\\Pixvn8.exe"
  WriteRegStr HKLM "\${ProductKey}" "AllUsers" "B"
  WriteRegStr HKLM "\${ProductKey}" "Path" "\$INSTDIR"
  WriteRegStr HKCR "Pixvane.8\\shell\\open\\command" "" '\${Open}'
$associations  WriteRegStr HKLM "SOFTWARE\\RegisteredApplications" "Pixvane.8" "\${Capabilities}"
  WriteRegStr HKCR ".pv8lic" "" "Pixvane8.License"
  WriteRegStr HKCR "Pixvane8.License\\shell\\open\\command" "" '\${Open}'
  WriteRegStr HKLM "\${AppPaths}" "" "\$INSTDIR\\Pixvn8.exe"
  WriteRegStr HKLM "\${AppPaths}" "Path" "\$INSTDIR"
  WriteRegStr HKLM "\${Uninstall}" "Contact" "Support"
  WriteRegStr HKLM "\${Uninstall}" "DisplayName" "Pixvane 8"
  WriteRegStr HKLM "\${Uninstall}" "InstallLocation" "\$INSTDIR"
  WriteRegStr HKLM "\${Uninstall}" "DisplayVersion" "\${Version_1}.0\${Version_2}.0\${Version_3}"
  WriteRegStr HKLM "\${Uninstall}" "VersionMajor" "\${Version_1}"
  WriteRegStr HKLM "\${Uninstall}" "VersionMinor" "\${Version_2}"
  WriteRegDWORD HKLM "\${Uninstall}" "MajorVersion" \${Version_1}
  WriteRegDWORD HKLM "\${Uninstall}" "MinorVersion" \${Version_2}
  WriteRegStr HKLM "\${Uninstall}" "Publisher" "Quorvex Technology LLC"
  WriteRegStr HKLM "\${Uninstall}" "UninstallString" "\$INSTDIR\\PxvUnInst.exe"
  WriteRegStr HKLM "\${Uninstall}" "URLInfoAbout" "https://www.quorvex.example/pixvane"
  WriteRegStr HKCR "Applications\\Pixvn8.exe\\shell\\open\\command" "" '\${Open}'
  Exec 'regsvr32.exe /s "\$INSTDIR\\ThumbPvi32.dll"'
  Exec '"\$INSTDIR\\Pixvn8.exe" -regonly'
SectionEnd
Section Uninstall
SectionEnd
NSIS
    makensis -V1 "$script" >/dev/null
    rm -f "$script"
}

# The compression of the self-extracting package (src/package/package.nsi).
solid_lzma="SetCompressor /SOLID /FINAL lzma
SetCompressorDictSize 32
SetDatablockOptimize off"

# stale FILE SET [MORE...]: FILE is missing or older than the set's payload
# and product files (or than any of MORE). A new build of setup.exe (and of
# PxvUnInst.exe, which is setup.exe) remakes only the package: the NSIS
# installers leave setup.exe out and carry PxvUnInst.exe as a file like any.
stale() {
    local file="$1" set="$2" name
    shift 2
    for name in "$work/$set/package.stamp" "$work/$set/package/Pixvn8.exe" "$work/$set/package/ThumbPvi32.dll" "$@"; do
        [ "$file" -nt "$name" ] || return 0
    done
    return 1
}

cmake --build "$build" --target install_bench sample_package
windows_folders=()
for set in "${sets[@]}"; do
    make_package "$set"
    if stale "$work/$set/nsis-stored.exe" "$set"; then
        make_nsis_installer "$work/$set/package" "$work/$set/nsis-stored.exe" "SetCompress off"
    fi
    if [[ "$package_sets" != *" $set "* ]]; then
        windows_folders+=("Z:${work//\//\\}\\$set")
        continue
    fi
    if stale "$work/$set/nsis-lzma.exe" "$set"; then
        make_nsis_installer "$work/$set/package" "$work/$set/nsis-lzma.exe" "$solid_lzma"
    fi
    if stale "$work/$set/Pixvane8-Setup.exe" "$set" "$work/$set/package/setup.exe" "$root/src/package/package.nsi" "$root/scripts/package.sh"; then
        "$root/scripts/package.sh" "$work/$set/package" "$work/$set/Pixvane8-Setup.exe" >/dev/null
    fi
    windows_folders+=("Z:${work//\//\\}\\$set")
done

unset DISPLAY  # nothing is shown: Wine's null display driver serves
if [ "${BENCH_IN_MEMORY:-0}" = 1 ]; then
    export SETUP_WINE_DIR=/dev/shm/pixvane-bench-wine
    trap 'rm -rf "$SETUP_WINE_DIR"' EXIT
fi
"$build/wine-run.sh" --fresh-prefix
status=0
"$build/wine-run.sh" "$build/bench/install_bench.exe" "$rounds" "${windows_folders[@]}" || status=$?
"$build/wine-run.sh" --stop
exit $status
