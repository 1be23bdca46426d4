#!/bin/bash
# Makes Pixvane8-Setup.exe, the self-extracting package that users download,
# from a package folder: setup.exe, PxvUnInst.exe, the product's files and
# their list PxvUnInst.log.
#
#   scripts/package.sh [OPTIONS] [PACKAGE_FOLDER [OUTPUT]]
#
# PACKAGE_FOLDER defaults to build/win/package (the sample package), OUTPUT
# to build/win/Pixvane8-Setup.exe. The package list is checked first; a list
# that fails stops the packaging with the line and what is wrong with it.
#
#   --cert FILE, --key FILE  sign setup.exe, PxvUnInst.exe and the package with
#                            Authenticode (osslsigncode); also taken from
#                            PIXVANE_SIGN_CERT and PIXVANE_SIGN_KEY
#   --pass-file FILE         the key's password (PIXVANE_SIGN_PASS_FILE)
#   --timestamp URL          a time-stamping server for the signatures
#   --version A.B.C.D        the package file's version (default: Pixvn8.exe's)
#   --no-check               pack the folder as it is, list unchecked
#   --winget DIR --url URL   also write the package manager's manifest for the
#                            package, to be downloaded from URL, under DIR
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

cert="${PIXVANE_SIGN_CERT:-}"
key="${PIXVANE_SIGN_KEY:-}"
pass_file="${PIXVANE_SIGN_PASS_FILE:-}"
timestamp=""
version=""
check=1
winget=""
url=""
positional=()
while [ $# -gt 0 ]; do
    case "$1" in
        --cert) cert="$2"; shift 2 ;;
        --key) key="$2"; shift 2 ;;
        --pass-file) pass_file="$2"; shift 2 ;;
        --timestamp) timestamp="$2"; shift 2 ;;
        --version) version="$2"; shift 2 ;;
        --no-check) check=0; shift ;;
        --winget) winget="$2"; shift 2 ;;
        --url) url="$2"; shift 2 ;;
        -h|--help) sed -n '2,/^set -e/{/^set -e/d;s/^# \{0,1\}//;p}' "$0"; exit 0 ;;
        -*) echo "package.sh: unknown option $1" >&2; exit 2 ;;
        *) positional+=("$1"); shift ;;
    esac
done
folder="$(realpath "${positional[0]:-$root/build/win/package}")"
output="$(realpath -m "${positional[1]:-$root/build/win/Pixvane8-Setup.exe}")"
if [ -n "$cert$key" ] && { [ -z "$cert" ] || [ -z "$key" ]; }; then
    echo "package.sh: signing needs both --cert and --key" >&2
    exit 2
fi
if [ -n "$winget$url" ] && { [ -z "$winget" ] || [ -z "$url" ]; }; then
    echo "package.sh: the manifest needs both --winget and --url" >&2
    exit 2
fi
[ -d "$folder" ] || { echo "package.sh: no package folder $folder" >&2; exit 2; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# The folder as it will be packed; hard links where possible, and what is
# changed here (the list, signed programs) is replaced, never written through.
stage="$work/payload"
cp -al "$folder" "$stage" 2>/dev/null || { rm -rf "$stage"; cp -a "$folder" "$stage"; }

if [ "$check" = 1 ]; then
    # The checker is built for this machine from the same text logic that
    # setup.exe reads the list with.
    checker="${PACKAGE_TOOLS_DIR:-$root/build/host}/package_list_check"
    sources=("$root/src/package/package_list_check.cpp")
    while IFS= read -r -d '' source; do sources+=("$source"); done \
        < <(find "$root/src" -name '*_text.cpp' -print0)
    stale=0
    [ -x "$checker" ] || stale=1
    for source in "${sources[@]}" "$root"/src/*/*_text.h; do
        [ "$source" -nt "$checker" ] && stale=1
    done
    if [ "$stale" = 1 ]; then
        mkdir -p "$(dirname "$checker")"
        g++ -std=c++20 -O1 -I "$root/src" "${sources[@]}" -o "$checker.tmp"
        mv "$checker.tmp" "$checker"
    fi
    "$checker" "$folder" "$work/list" || { echo "package.sh: the package list is not right; no package made" >&2; exit 1; }
    rm -f "$stage/PxvUnInst.log" && cp "$work/list" "$stage/PxvUnInst.log"
fi

sign() {
    local file="$1" args=(-certs "$cert" -key "$key" -n "Pixvane 8 Setup" -i "https://www.quorvex.example/pixvane")
    [ -n "$pass_file" ] && args+=(-readpass "$pass_file")
    [ -n "$timestamp" ] && args+=(-t "$timestamp")
    osslsigncode sign "${args[@]}" -in "$file" -out "$file.signed" >/dev/null
    rm -f "$file" && mv "$file.signed" "$file"
}
if [ -n "$cert" ]; then
    # The installer copies setup.exe as PxvUnInst.exe when the list says so;
    # both are signed before they are packed.
    for program in setup.exe PxvUnInst.exe; do
        [ -f "$stage/$program" ] && sign "$stage/$program"
    done
fi

defines=(-DPAYLOAD="$stage" -DOUTFILE="$work/Pixvane8-Setup.exe")
if [ -n "$version" ]; then
    defines+=(-DVERSION="$version")
fi
makensis -V2 -NOCD "${defines[@]}" "$root/src/package/package.nsi"
[ -n "$cert" ] && sign "$work/Pixvane8-Setup.exe"
mkdir -p "$(dirname "$output")"
mv "$work/Pixvane8-Setup.exe" "$output.tmp" && mv "$output.tmp" "$output"
echo "Package: $output ($(stat -c %s "$output") bytes)"
if [ -n "$winget" ]; then
    python3 "$root/scripts/winget_manifest.py" "$root" "$stage" "$output" "$url" "$winget"
fi
