#!/usr/bin/env python3
"""pack.py: makes what a site gets, from programs that are built.

    pack.py --build BUILD --output FOLDER --version VERSION [--extra NAME=FILE]
            --programs PROGRAM... --documents FILE...

It writes zephon-launcher-VERSION-win64.zip and .msi with the same files, the
programs' symbols as ...-symbols.zip, the bill of materials ...cdx.json, and
SHA256SUMS over these. The same files in give the same bytes out: every time is
SOURCE_DATE_EPOCH, or else the day that CHANGELOG.md names for the newest version.

SIGN_COMMAND in the environment is a command that signs the file whose name is put
behind it; the programs are signed before they are packed, the MSI afterwards. A
signature holds a time, so only unsigned packages can be compared.
"""
import argparse
import calendar
import datetime
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import uuid
import zipfile
from xml.sax.saxutils import quoteattr

import pages

ROOT = pathlib.Path(__file__).resolve().parent.parent
NAMESPACE = uuid.UUID("0b8c3e52-5d0f-4e0c-9a4e-6f5c1b7d2a93")  # also the MSI's upgrade code

# Of the site, at the installation: property, value in the registry, whether it is kept
# by an upgrade under the name of its search.
SITE_PROPERTIES = ("INSTALLDIR", "ZEPHON_INC", "DEFAULT_RELEASE", "ADD_TO_PATH")


def release_time():
    """Seconds since 1970: the time that everything in the packages carries."""
    if os.environ.get("SOURCE_DATE_EPOCH"):
        return int(os.environ["SOURCE_DATE_EPOCH"])
    day = re.search(r"^## \S+ \((\d{4})-(\d\d)-(\d\d)\)", (ROOT / "CHANGELOG.md").read_text("utf-8"), re.M)
    return calendar.timegm(tuple(int(part) for part in day.groups()) + (0, 0, 0))


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def sign(path):
    command = os.environ.get("SIGN_COMMAND")
    if command:
        subprocess.run(shlex.split(command) + [str(path)], check=True)


# ---- The files --------------------------------------------------------------------------------

def lay_out(options, folder):
    """Puts what is packed into a folder; returns the names, sorted."""
    shutil.rmtree(folder, ignore_errors=True)
    files = {f"bin/{program}.exe": options.build / f"{program}.exe" for program in options.programs}
    files |= {name: pathlib.Path(path) for name, path in (extra.split("=", 1) for extra in options.extra)}
    for name, source in files.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, folder / name)
        if name.endswith(".exe"):
            sign(folder / name)
    documents = [path.resolve().relative_to(ROOT).as_posix() for path in options.documents]
    written = pages.write_pages(ROOT, folder, documents, files, "Zephon launcher")
    return sorted(list(files) + written)


def write_zip(path, folder, names, top, seconds):
    """A ZIP with sorted names, one time and no owner."""
    time = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).timetuple()[:6]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name in names:
            entry = zipfile.ZipInfo(f"{top}/{name}", time)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0  # without the rights of a file on Unix
            archive.writestr(entry, (folder / name).read_bytes())


# ---- The MSI ----------------------------------------------------------------------------------

def identifier(name):
    return re.sub(r"[^A-Za-z0-9_]", "_", name)


def folder_entries(names, folder=""):
    """The folder's files as components, one each, so that an upgrade or a repair sees every
    one; then its folders."""
    text = ""
    for name in (name for name in names if os.path.dirname(name) == folder):
        text += (f'<Component Id="component_{identifier(name)}" Guid="*" Win64="yes">'
                 f'<File Id="file_{identifier(name)}" Name={quoteattr(os.path.basename(name))} '
                 f'Source={quoteattr("files/" + name)} KeyPath="yes"/></Component>\n')
    deeper = [name[len(folder) + 1 if folder else 0:] for name in names if name.startswith(folder + "/" if folder else "")]
    for child in sorted({name.split("/")[0] for name in deeper if "/" in name}):
        path = f"{folder}/{child}" if folder else child
        text += f'<Directory Id="folder_{identifier(path)}" Name="{child}">\n{folder_entries(names, path)}</Directory>\n'
    return text


def write_msi(path, folder, names, version, seconds):
    """Packs the folder's files. wixl writes the time and a random number into the MSI, so its
    clock is held, and the number is made from the content."""
    source = (ROOT / "packaging" / "launcher.wxs.in").read_text("utf-8")
    source = (source.replace("@version@", version)
              .replace("@product_code@", str(uuid.uuid5(NAMESPACE, "product " + version)).upper())
              .replace("@files@", folder_entries(names))
              .replace("@components@", "".join(f'<ComponentRef Id="component_{identifier(name)}"/>\n' for name in names)))
    work = folder.parent
    (work / "launcher.wxs").write_text(source, "utf-8")
    shutil.copyfile(ROOT / "packaging" / "zephon.ico", work / "zephon.ico")
    for name in names:
        os.utime(folder / name, (seconds, seconds))
    content = hashlib.sha256((source + "".join(sha256(folder / name) for name in names)).encode()).hexdigest()
    package_code = "{" + str(uuid.uuid5(NAMESPACE, "package " + content)).upper() + "}"

    clock = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%d %H:%M:%S")
    environment = {**os.environ, "TZ": "UTC", "NO_FAKE_STAT": "1"}
    path.unlink(missing_ok=True)
    for tool in (["wixl", "--arch", "x64", "--output", str(path), "launcher.wxs"],
                 ["msibuild", str(path), "-q", *additions_to_msi()],
                 ["msibuild", str(path), "-s", f"Zephon launcher {version}", "Zephon", "x64;1033", package_code]):
        subprocess.run(["faketime", "-f", clock, *tool], cwd=work, env=environment, check=True)
    sign(path)


def additions_to_msi():
    """What wixl has no words for."""
    def condition(component, text):
        return f"UPDATE `Component` SET `Condition` = '{text}' WHERE `Component` = '{component}'"

    secure = ";".join(SITE_PROPERTIES + ("WIX_DOWNGRADE_DETECTED", "WIX_UPGRADE_DETECTED"))
    return [
        # Handed from the user's half of msiexec to the half that installs.
        f"UPDATE `Property` SET `Value` = '{secure}' WHERE `Property` = 'SecureCustomProperties'",
        condition("component_zephon_inc", "ZEPHON_INC"),
        condition("component_default_release", "DEFAULT_RELEASE"),
        condition("component_path", 'ADD_TO_PATH <> "0"'),
        condition("component_no_path", 'ADD_TO_PATH = "0"'),
        "CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, "
        "`Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)",
        # The machine's own PATH (*), made (=) and taken away again (-): behind what is there ([~]).
        "INSERT INTO `Environment` (`Environment`, `Name`, `Value`, `Component_`) "
        "VALUES ('path', '=-*PATH', '[~];[folder_bin]', 'component_path')",
        "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveEnvironmentStrings', 3300)",
        "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteEnvironmentStrings', 5200)",
    ]


# ---- The bill of materials --------------------------------------------------------------------

def debian_version(package):
    return subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], check=True, capture_output=True,
                          text=True).stdout


def linked_libraries():
    """What the compiler puts into the programs besides our own code."""
    compiler = debian_version("g++-mingw-w64-x86-64-posix")
    runtime = debian_version("mingw-w64-x86-64-dev")
    gpl = "GPL-3.0-or-later WITH GCC-exception-3.1"
    return [("libstdc++", compiler, gpl, "g++-mingw-w64-x86-64-posix"),
            ("libgcc", compiler, gpl, "g++-mingw-w64-x86-64-posix"),
            ("mingw-w64 runtime", runtime, "ZPL-2.1", "mingw-w64-x86-64-dev"),
            ("winpthreads", runtime, "MIT", "mingw-w64-x86-64-dev")]


def write_bill(path, folder, names, version, seconds):
    """CycloneDX 1.5: each file of the package with its hash, and what is linked into it."""
    libraries = [{"type": "library", "bom-ref": name, "name": name, "version": of, "scope": "required",
                  "licenses": [{"expression": licence}],
                  "purl": f"pkg:deb/debian/{package}@{of.replace('+', '%2B')}?arch=source"}
                 for name, of, licence, package in linked_libraries()]
    files = [{"type": "file", "bom-ref": name, "name": name,
              "hashes": [{"alg": "SHA-256", "content": sha256(folder / name)}]} for name in names]
    programs = [name for name in names if name.endswith(".exe")]
    launcher = {"type": "application", "bom-ref": "launcher", "supplier": {"name": "Zephon"},
                "name": "Zephon launcher", "version": version}
    bill = {"bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
            "metadata": {"timestamp": datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
                         .strftime("%Y-%m-%dT%H:%M:%SZ"), "component": launcher},
            "components": libraries + files,
            "dependencies": [{"ref": "launcher", "dependsOn": names}] +
                            [{"ref": name, "dependsOn": [library["bom-ref"] for library in libraries]}
                             for name in programs]}
    bill["serialNumber"] = f"urn:uuid:{uuid.uuid5(NAMESPACE, json.dumps(bill))}"
    path.write_text(json.dumps(bill, indent=1) + "\n", "utf-8")


# ---- All of it --------------------------------------------------------------------------------

def read_options():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--output", type=pathlib.Path, required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("--extra", action="append", default=[])
    parser.add_argument("--programs", nargs="+", required=True)
    parser.add_argument("--documents", nargs="+", type=pathlib.Path, required=True)
    return parser.parse_args()


def main():
    options = read_options()
    name = f"zephon-launcher-{options.version}-win64"
    seconds = release_time()
    options.output.mkdir(parents=True, exist_ok=True)
    folder = options.output / f"{name}-work" / "files"
    names = lay_out(options, folder)

    made = [options.output / (name + end) for end in (".zip", ".msi", "-symbols.zip", ".cdx.json")]
    write_zip(made[0], folder, names, name, seconds)
    write_msi(made[1].resolve(), folder, names, options.version, seconds)
    write_zip(made[2], options.build, sorted(f"{program}.exe.debug" for program in options.programs), name, seconds)
    write_bill(made[3], folder, names, options.version, seconds)
    (options.output / "SHA256SUMS").write_text("".join(f"{sha256(path)}  {path.name}\n" for path in made))


if __name__ == "__main__":
    try:
        main()
    except pages.Fault as fault:
        sys.exit(f"pack.py: {fault}")
