#!/bin/bash
# Times "setup.exe -s" against "xcopy /e /i /q" of the same tree and against an
# NSIS installer (stored, no compression) of the same payload, in a throwaway
# Wine prefix: 2,000 files / 200 MiB in 12 folders, then 200 and 20,000 small
# files to show the cost per file. Prints medians, ratios and ms per file.
# The self-extracting package (scripts/package.sh) of the same package folder
# is set against an NSIS installer of the same payload compressed the same
# way (solid LZMA): their sizes, and the times of "-s" and "/S".
#   scripts/bench-install.sh [ROUNDS]     (after scripts/build.sh; default 3)
#   BENCH_SETS="200" scripts/bench-install.sh 1     (only some payload sets)
# The payloads (bench/payload.py) and installers are kept in
# build/win/bench-install and made again only when the generator changes.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${SETUP_BUILD_DIR:-$root/build/win}"
work="$build/bench-install"
rounds="${1:-3}"
sets=(${BENCH_SETS:-2000 200 20000})

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
# silent with "/S", folder given with "/D=".
make_nsis_installer() {
    local package="$1" output="$2" compression="$3" script
    script="$(mktemp --suffix=.nsi)"
    cat >"$script" <<EOF
Unicode true
Target amd64-unicode
$compression
Name "Pixvane 8"
OutFile "$output"
InstallDir "\$PROGRAMFILES64\\Pixvane 8"
RequestExecutionLevel admin
Section
  SetOutPath "\$INSTDIR"
  File /r /x setup.exe "$package/*"
SectionEnd
EOF
    makensis -V1 "$script" >/dev/null
    rm -f "$script"
}

# The compression of the self-extracting package (src/package/package.nsi).
solid_lzma="SetCompressor /SOLID /FINAL lzma
SetCompressorDictSize 32
SetDatablockOptimize off"

# stale FILE SET [MORE...]: FILE is missing or older than the set's package
# folder (or than any of MORE).
stale() {
    local file="$1" set="$2" name
    shift 2
    for name in "$work/$set/package.stamp" "${product_files[@]/#/$work/$set/package/}" \
                "$work/$set/package/setup.exe" "$@"; do
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
    if stale "$work/$set/nsis-lzma.exe" "$set"; then
        make_nsis_installer "$work/$set/package" "$work/$set/nsis-lzma.exe" "$solid_lzma"
    fi
    if stale "$work/$set/Pixvane8-Setup.exe" "$set" "$root/src/package/package.nsi" "$root/scripts/package.sh"; then
        "$root/scripts/package.sh" "$work/$set/package" "$work/$set/Pixvane8-Setup.exe" >/dev/null
    fi
    windows_folders+=("Z:${work//\//\\}\\$set")
done

unset DISPLAY  # nothing is shown: Wine's null display driver serves
"$build/wine-run.sh" --fresh-prefix
status=0
"$build/wine-run.sh" "$build/bench/install_bench.exe" "$rounds" "${windows_folders[@]}" || status=$?
"$build/wine-run.sh" --stop
exit $status
