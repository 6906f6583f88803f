"""Torvel.exe as a file, and its packages: installed, used and removed under Wine."""
import os
import re
import shutil
import subprocess
import time
import zipfile

import pytest

PACKAGE = "Torvel-2.8.10-win64"
SOFTWARE = r"HKEY_LOCAL_MACHINE\SOFTWARE"
TOOL = SOFTWARE + r"\Torvel"
INSTALLED = SOFTWARE + r"\Microsoft\Windows\CurrentVersion\Uninstall\Torvel"
ENVIRONMENT = r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
FOLDER = r"C:\Program Files\Torvel"
SYSTEM = r"%SystemRoot%\system32;%SystemRoot%"
SYSTEM32 = "C:\\windows\\system32\\"


def mingw(tool, *arguments):
    command = [f"x86_64-w64-mingw32-{tool}", *arguments]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


@pytest.fixture(scope="session")
def programs(build, tmp_path_factory):
    """Torvel.exe as built and as it stands in the zip."""
    folder = tmp_path_factory.mktemp("zip")
    with zipfile.ZipFile(build / f"{PACKAGE}.zip") as package:
        documents = [name for name in package.namelist() if name.startswith(f"{PACKAGE}/doc/")]
        assert set(package.namelist()) - set(documents) == {f"{PACKAGE}/Torvel.exe"}
        assert {f"{PACKAGE}/doc/README.md", f"{PACKAGE}/doc/docs/windows.md"} <= set(documents)
        return [build / "Torvel.exe", package.extract(f"{PACKAGE}/Torvel.exe", folder)]


def test_hardening_and_imports(programs):
    for program in programs:
        headers = mingw("objdump", "-p", program)
        assert "HIGH_ENTROPY_VA\n\t\t\t\t\tDYNAMIC_BASE\n\t\t\t\t\tNX_COMPAT\n" in headers
        assert int(re.search(r"Entry 5 \w+ (\w+) Base Relocation", headers)[1], 16) > 0
        assert "Relocations stripped" not in headers
        imports = sorted(name.lower() for name in re.findall("DLL Name: (.*)", headers))
        assert imports == ["advapi32.dll", "kernel32.dll", "msvcrt.dll", "ws2_32.dll"]


def test_resources(programs):
    for program in programs:
        text = mingw("windres", "-J", "coff", "-O", "rc", program)
        assert re.findall(r"(?:FILE|PRODUCT)VERSION (.*)", text) == ["2, 8, 10, 0"] * 2
        assert dict(re.findall('VALUE "(.*)", "(.*)"', text)) == {
            "FileDescription": "Command-line launcher of the Torvel build tool", "FileVersion": "2.8.10",
            "InternalName": "Torvel", "OriginalFilename": "Torvel.exe", "ProductName": "Torvel",
            "ProductVersion": "2.8.10"}
        assert re.findall("<requestedExecutionLevel (.*)/>", text) == ['level=""asInvoker"" uiAccess=""false""']
        assert len(re.findall("<supportedOS ", text)) == 4 and "<activeCodePage" not in text


def test_debug_information_stays_at_home(programs):
    built, packed = (mingw("objdump", "-h", program) for program in programs)
    assert ".debug_info" in built and ".debug" not in packed


class Machine:
    """A Windows machine of its own."""

    def __init__(self, build):
        self.build, prefix = build, build / "wine-packaging"
        shutil.rmtree(prefix, ignore_errors=True)
        self.env = {"PATH": os.environ["PATH"] + ":/usr/lib/wine", "HOME": str(build), "WINEPREFIX": str(prefix),
                    "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml="}
        prefix.mkdir()
        subprocess.run(["wineserver", "-p"], env=self.env, check=True)
        self.drive, self.output = prefix / "drive_c", build / "wine-packaging.log"
        self.wine("wineboot", "-i")

    def wine(self, *command, cwd=None, env=None):
        """The exit code and the output, through a file: what Wine starts beside the program would hold a pipe open."""
        with open(self.output, "wb") as file:
            code = subprocess.run(["wine64", *command], env=self.env | (env or {}), cwd=cwd, timeout=120,
                                  stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.DEVNULL).returncode
        return code, self.output.read_bytes()

    def host_path(self, path):
        return self.drive / path.removeprefix("C:\\").replace("\\", "/")

    def values(self, key):
        """The values of a key by name, as a registry export writes them; None where there is no such key."""
        file = self.drive / "export.reg"
        file.unlink(missing_ok=True)
        self.wine(SYSTEM32 + "reg.exe", "export", key, r"C:\export.reg", "/y")
        if not file.exists():
            return None
        text = file.read_text("utf-16").replace("\\\n  ", "").split("\n\n")[1]
        return dict(re.findall('^"(.*?)"=(.*)$', text, re.M))

    @property
    def path(self):
        """PATH's type and text."""
        value = self.values(ENVIRONMENT)["PATH"]
        if value.startswith('"'):
            return "REG_SZ", value[1:-1].replace("\\\\", "\\")
        return "REG_EXPAND_SZ", bytes.fromhex(value.removeprefix("hex(2):").replace(",", "")).decode("utf-16-le")[:-1]

    @path.setter
    def path(self, value):
        kind, text = value
        quoted = '"' + text.replace("\\", "\\\\") + '"'
        if kind == "REG_EXPAND_SZ":
            quoted = "hex(2):" + (text + "\0").encode("utf-16-le").hex(",")
        (self.drive / "path.reg").write_text(f'Windows Registry Editor Version 5.00\n\n[{ENVIRONMENT}]\n"PATH"={quoted}\n', "utf-16")
        self.wine(SYSTEM32 + "reg.exe", "import", r"C:\path.reg")
        assert self.path == value

    def install(self, *options):
        return self.wine(self.build / f"{PACKAGE}.exe", "/S", *options)[0]

    def remove(self):
        """Runs the command that the list of installed programs names; the remover goes on after its start."""
        command = self.values(INSTALLED)["QuietUninstallString"]
        program, option = re.fullmatch(r'"\\"(.*)\\" (.*)"', command).groups()
        program = program.replace("\\\\", "\\")
        assert self.wine(program, option)[0] == 0
        folder, end = self.host_path(program).parent, time.monotonic() + 30
        while folder.exists() and {file.name for file in folder.iterdir()} != {"JRE"} and time.monotonic() < end:
            time.sleep(0.05)
        assert self.values(INSTALLED) is None and self.values(TOOL) is None

    def files(self):
        """Every file and folder outside the system's own, the folder for temporary files and the exports of this test."""
        return {str(file) for file in self.drive.rglob("*")
                if not {"windows", "Temp"} & set(file.parts) and file.suffix != ".reg"}


@pytest.fixture(scope="module")
def machine(build):
    made = Machine(build)
    yield made
    subprocess.run(["wineserver", "-k"], env=made.env)
    subprocess.run(["wineserver", "-w"], env=made.env)


def test_installed_twice_used_and_removed(machine, build, tmp_path):
    files, path = machine.files(), machine.path
    assert path[0] == "REG_EXPAND_SZ" and "%" in path[1]
    assert [machine.install(), machine.install()] == [0, 0]
    installed = machine.host_path(FOLDER)
    assert {file.name for file in installed.iterdir()} == {"Torvel.exe", "Uninstall.exe", "doc"}
    assert machine.path == (path[0], f"{path[1]};{FOLDER}")
    quoted = FOLDER.replace("\\", "\\\\")
    assert machine.values(TOOL) == {"Install_Dir": f'"{quoted}"'}
    listed = machine.values(INSTALLED)
    assert [listed[name] for name in ("DisplayName", "DisplayVersion", "Publisher", "UninstallString")] == [
        '"Torvel"', '"2.8.10"', '"Torvel"', f'"\\"{quoted}\\\\Uninstall.exe\\""']
    # A new console finds the launcher by its name.
    code, usage = machine.wine(SYSTEM32 + "cmd.exe", "/c", "Torvel", "--help")
    assert code == 255 and usage.startswith(b"Torvel Launcher 2.8.10\r\n\r\nUsage: Torvel <command>")

    runtime = installed / "JRE/bin/server/jvm.dll"
    runtime.parent.mkdir(parents=True)
    shutil.copy(build / "fakes/fake_jvm.dll", runtime)
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin/Torvel.jar").touch()
    code, output = machine.wine(FOLDER + r"\Torvel.exe", "Checksum", "a.txt", "--debug", cwd=tmp_path,
                                env={"FAKE_JVM": "", "FAKE_JVM_LOG": f"Z:{tmp_path}/log"})
    found = rf"{FOLDER}\JRE\bin\server\jvm.dll"
    for line in (f"Found Torvel JRE in {found}", f"LoadLibrary success with jvmPath={found}"):
        assert f"{line}\r\n".encode() in output
    assert code == 0 and "[a.txt]" in (tmp_path / "log").read_text()

    # What the user put there is the user's; without it nothing is left.
    machine.remove()
    assert [file.name for file in installed.iterdir()] == ["JRE"]
    shutil.rmtree(installed)
    assert machine.files() ^ files == set() and machine.path == path
    assert machine.install() == 0
    machine.remove()
    assert machine.files() ^ files == set() and machine.path == path


@pytest.mark.parametrize("kind, text, installed", [
    ("REG_SZ", SYSTEM, SYSTEM + ";" + FOLDER),
    ("REG_EXPAND_SZ", SYSTEM + ";", SYSTEM + ";;" + FOLDER),
    # Its own entry and others that only look like it.
    ("REG_EXPAND_SZ", FOLDER + r"\bin;" + SYSTEM, FOLDER + r"\bin;" + SYSTEM + ";" + FOLDER),
    ("REG_EXPAND_SZ", f"c:\\program files\\TORVEL;{SYSTEM}", f"c:\\program files\\TORVEL;{SYSTEM}"),
    # Longer than a text of the installer; too long for one more entry.
    ("REG_EXPAND_SZ", SYSTEM + ";C:\\" + 5000 * "a", SYSTEM + ";C:\\" + 5000 * "a" + ";" + FOLDER),
    ("REG_SZ", SYSTEM + ";C:\\" + 32725 * "a", SYSTEM + ";C:\\" + 32725 * "a"),
], ids=("plain", "open end", "lookalike", "there already", "long", "full"))
def test_path_keeps_its_type_and_its_text(machine, kind, text, installed):
    before, machine.path = machine.path, (kind, text)
    try:
        assert machine.install() == 0
        assert machine.path == (kind, installed)
        machine.remove()
        assert machine.path == (kind, text.removeprefix("c:\\program files\\TORVEL;"))
    finally:
        machine.path = before


def test_another_folder_takes_the_place_of_the_first(machine):
    files, path = machine.files(), machine.path
    assert [machine.install(), machine.install(r"/D=C:\Torvel")] == [0, 0]
    assert not machine.host_path(FOLDER).exists()
    assert machine.path == (path[0], path[1] + r";C:\Torvel")
    assert machine.values(TOOL) == {"Install_Dir": r'"C:\\Torvel"'}
    machine.remove()
    assert machine.files() ^ files == set() and machine.path == path


def test_a_program_that_cannot_be_replaced_installs_nothing(machine):
    before = machine.path
    blocked = machine.host_path(FOLDER) / "Torvel.exe"
    blocked.mkdir(parents=True)
    try:
        assert machine.install() == 2
        assert machine.values(TOOL) is None and machine.values(INSTALLED) is None and machine.path == before
    finally:
        shutil.rmtree(blocked.parent)
