#!/usr/bin/env python3
"""Writes the package manager's multi-file manifest for a package just built.

    winget_manifest.py REPOSITORY PACKAGE_FOLDER PACKAGE_FILE URL OUTPUT_DIR

The version comes from the product's own version record (Pixvn8.exe in the
package folder), the names from the message catalogue, the publisher and the
uninstall key's name from what registration writes, so that the manifest
names the installed product exactly as the machine's list of programs does.
"""
import hashlib
import json
import os
import re
import struct
import sys

MANIFEST_VERSION = "1.10.0"
LOCALE = "en-US"


def file_version(program):
    """The four numbers of a program's fixed version record."""
    data = open(program, "rb").read()
    at = data.find(struct.pack("<I", 0xFEEF04BD))
    if at < 0:
        sys.exit(f"winget_manifest: {program} has no version record")
    ms, ls = struct.unpack_from("<II", data, at + 8)
    return ms >> 16, ms & 0xFFFF, ls >> 16, ls & 0xFFFF


def source_text(repository, path, pattern):
    text = open(os.path.join(repository, path), encoding="utf-8").read()
    found = re.search(pattern, text, re.MULTILINE)
    if not found:
        sys.exit(f"winget_manifest: nothing matches {pattern} in {path}")
    return found.group(1)


def quoted(text):
    # A JSON string is a valid double-quoted YAML scalar.
    return json.dumps(text, ensure_ascii=False)


def write(folder, name, kind, fields):
    lines = [f"# yaml-language-server: $schema=https://aka.ms/winget-manifest.{kind}.{MANIFEST_VERSION}.schema.json", ""]
    lines += fields
    lines += [f"ManifestType: {kind}", f"ManifestVersion: {MANIFEST_VERSION}", ""]
    with open(os.path.join(folder, name), "w", encoding="utf-8", newline="\n") as out:
        out.write("\n".join(lines))


def main():
    repository, package_folder, package_file, url, output = sys.argv[1:6]
    if not re.match(r"^[Hh][Tt][Tt][Pp][Ss]?://.+$", url):
        sys.exit(f"winget_manifest: {url} is not an http(s) address")
    version = file_version(os.path.join(package_folder, "Pixvn8.exe"))
    package_version = ".".join(str(n) for n in version)
    # As the uninstall key holds it: "%d.%02d.%02d" of the first three.
    display_version = "%d.%02d.%02d" % version[:3]
    product = source_text(repository, "src/ui/setup.rc", r'^\s*IDS_PRODUCT_NAME\s+"([^"]*)"')
    maker = source_text(repository, "src/app/product_names.h", r'kMakerName\[\]\s*=\s*L"([^"]*)"')
    uninstall_key = source_text(repository, "src/app/product_names.h", r'kUninstallKeyName\[\]\s*=\s*L"([^"]*)"')
    home_page = source_text(repository, "src/app/product_names.h", r'kMakerHomePage\[\]\s*=\s*L"([^"]*)"')
    publisher = source_text(repository, "src/install/registration.cpp", r'kPublisher\[\]\s*=\s*L"([^"]*)"')
    identifier = f"{maker}.{product.replace(' ', '')}"
    sha256 = hashlib.sha256(open(package_file, "rb").read()).hexdigest().upper()

    head = [f"PackageIdentifier: {quoted(identifier)}", f"PackageVersion: {quoted(package_version)}"]
    folder = os.path.join(output, identifier.split(".")[0].lower()[:1], *identifier.split("."), package_version)
    os.makedirs(folder, exist_ok=True)
    write(folder, f"{identifier}.yaml", "version", head + [f"DefaultLocale: {LOCALE}"])
    write(folder, f"{identifier}.installer.yaml", "installer", head + [
        "InstallerType: exe",
        "Scope: machine",
        "InstallModes:",
        "- interactive",
        "- silent",
        "- silentWithProgress",
        "InstallerSwitches:",
        "  Silent: \"-s\"",
        "  SilentWithProgress: \"-s\"",
        "  InstallLocation: '-instdir \"<INSTALLPATH>\"'",
        "  Log: '-log=\"<LOGPATH>\"'",
        "ElevationRequirement: elevatesSelf",
        "UpgradeBehavior: install",
        # Installed, with the restart that completes it still to come or started.
        "InstallerSuccessCodes:",
        "- 3010",
        "- 1641",
        "ExpectedReturnCodes:",
        "- InstallerReturnCode: 3010",
        "  ReturnResponse: rebootRequiredToFinish",
        "- InstallerReturnCode: 1641",
        "  ReturnResponse: rebootInitiated",
        "- InstallerReturnCode: 1602",
        "  ReturnResponse: cancelledByUser",
        # A damaged package (setup's 1, the package file's own 2) or no
        # product in the destination: nothing an end user can fix.
        "- InstallerReturnCode: 1",
        "  ReturnResponse: contactSupport",
        "- InstallerReturnCode: 2",
        "  ReturnResponse: contactSupport",
        "- InstallerReturnCode: 1603",
        "  ReturnResponse: contactSupport",
        "AppsAndFeaturesEntries:",
        f"- DisplayName: {quoted(product)}",
        f"  Publisher: {quoted(publisher)}",
        f"  DisplayVersion: {quoted(display_version)}",
        f"  ProductCode: {quoted(uninstall_key)}",
        "  InstallerType: exe",
        "Installers:",
        "- Architecture: x64",
        f"  InstallerUrl: {quoted(url)}",
        f"  InstallerSha256: {sha256}",
    ])
    write(folder, f"{identifier}.locale.{LOCALE}.yaml", "defaultLocale", head + [
        f"PackageLocale: {LOCALE}",
        f"Publisher: {quoted(publisher)}",
        f"PublisherUrl: {quoted(home_page)}",
        f"PackageName: {quoted(product)}",
        f"PackageUrl: {quoted(home_page)}",
        "License: Proprietary",
        f"ShortDescription: {quoted(product + ' captures the screen, edits and exports the pictures.')}",
    ])
    print(f"Manifest: {folder}")


if __name__ == "__main__":
    main()
