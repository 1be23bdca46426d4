#!/bin/bash
# Packaging as a vendor does it: a list that is not right stops it and is
# named by its line; a list without the reverse "Make Dir: " tail is packed
# with one; a throwaway certificate signs setup.exe, PxvUnInst.exe and the
# package, and osslsigncode verifies all three; the package manager's
# manifest written beside it describes that very file and the product as its
# uninstall entry shows it; setup.exe links no library that a folder could
# plant and is marked terminal-server aware.
#   packaging_test.sh REPOSITORY PACKAGE_FOLDER
set -euo pipefail
root="$1"
folder="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

cp -r "$folder" "$work/bad"
printf 'File Copy: Missing.dll\r\n' >>"$work/bad/PxvUnInst.log"
line=$(wc -l <"$work/bad/PxvUnInst.log")
if "$root/scripts/package.sh" "$work/bad" "$work/bad.exe" 2>"$work/errors"; then fail "a bad list was packed"; fi
grep -q "PxvUnInst.log, line $line: File Copy: Missing.dll" "$work/errors" || fail "line not named: $(cat "$work/errors")"
[ ! -e "$work/bad.exe" ] || fail "a package was made"

# The sample list ends with its five folders in reverse order; cut them.
cp -r "$folder" "$work/good"
head -n -5 "$folder/PxvUnInst.log" >"$work/good/PxvUnInst.log"
openssl req -x509 -newkey rsa:2048 -nodes -subj "/CN=Quorvex Test Signing" -days 2 \
    -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null
"$root/scripts/package.sh" --cert "$work/cert.pem" --key "$work/key.pem" \
    --winget "$work/winget" --url https://downloads.quorvex.example/Pixvane8-Setup.exe \
    "$work/good" "$work/signed.exe" >/dev/null
7z e -o"$work/packed" "$work/signed.exe" '$_1_/setup.exe' '$_1_/PxvUnInst.exe' '$_1_/PxvUnInst.log' >/dev/null
for file in "$work/signed.exe" "$work/packed/setup.exe" "$work/packed/PxvUnInst.exe"; do
    osslsigncode verify -CAfile "$work/cert.pem" -in "$file" >/dev/null || fail "$file is not signed"
done
python3 - "$work/winget/q/Quorvex/Pixvane8/8.1.5.0" "$work/signed.exe" <<'EOF' || fail "the manifest is not right"
import hashlib, os, sys, yaml
folder, package = sys.argv[1:]
assert sorted(os.listdir(folder)) == ["Quorvex.Pixvane8.installer.yaml", "Quorvex.Pixvane8.locale.en-US.yaml",
                                      "Quorvex.Pixvane8.yaml"], os.listdir(folder)
version, installer, locale = (yaml.safe_load(open(os.path.join(folder, "Quorvex.Pixvane8" + name), encoding="utf-8"))
                              for name in (".yaml", ".installer.yaml", ".locale.en-US.yaml"))
for manifest, kind in ((version, "version"), (installer, "installer"), (locale, "defaultLocale")):
    assert manifest["PackageIdentifier"] == "Quorvex.Pixvane8" and manifest["PackageVersion"] == "8.1.5.0", manifest
    assert manifest["ManifestType"] == kind and manifest["ManifestVersion"] == "1.10.0", manifest
assert version["DefaultLocale"] == locale["PackageLocale"] == "en-US"
assert (locale["Publisher"], locale["PackageName"]) == ("Quorvex Technology LLC", "Pixvane 8"), locale
assert {k: installer[k] for k in ("InstallerType", "Scope", "ElevationRequirement")} == \
    {"InstallerType": "exe", "Scope": "machine", "ElevationRequirement": "elevatesSelf"}, installer
assert installer["InstallerSwitches"] == {"Silent": "-s", "SilentWithProgress": "-s",
                                          "InstallLocation": '-instdir "<INSTALLPATH>"', "Log": '-log="<LOGPATH>"'}
assert installer["InstallerSuccessCodes"] == [3010, 1641]
assert {c["InstallerReturnCode"]: c["ReturnResponse"] for c in installer["ExpectedReturnCodes"]} == {
    3010: "rebootRequiredToFinish", 1641: "rebootInitiated", 1602: "cancelledByUser",
    1: "contactSupport", 2: "contactSupport", 1603: "contactSupport"}
assert installer["AppsAndFeaturesEntries"] == [{"DisplayName": "Pixvane 8", "Publisher": "Quorvex Technology LLC",
                                                "DisplayVersion": "8.01.05", "ProductCode": "Pixvane 8",
                                                "InstallerType": "exe"}]
[entry] = installer["Installers"]
assert entry["InstallerUrl"] == "https://downloads.quorvex.example/Pixvane8-Setup.exe"
assert entry["InstallerSha256"] == hashlib.sha256(open(package, "rb").read()).hexdigest().upper()
EOF
cmp "$folder/PxvUnInst.log" "$work/packed/PxvUnInst.log" || fail "the packed list lacks its tail"
# The vendor's own files are left as they were.
cmp "$folder/setup.exe" "$work/good/setup.exe" || fail "the package folder's setup.exe was changed"
# setup.exe links only libraries that Windows takes from the system folder
# whatever folder it starts from; version.dll is loaded by full path, the
# common controls only for the wizard (loaded with the program they would
# open the desktop for silent runs too).
imports=$(x86_64-w64-mingw32-objdump -p "$folder/setup.exe" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z' | sort | tr '\n' ' ')
[ "$imports" = "advapi32.dll gdi32.dll kernel32.dll msvcrt.dll ole32.dll shell32.dll user32.dll " ] ||
    fail "setup.exe links $imports"
[[ $(x86_64-w64-mingw32-objdump -p "$folder/setup.exe") == *TERMINAL_SERVICE_AWARE* ]] ||
    fail "setup.exe is not terminal-server aware"
echo "packaging: passed"
