"""The installer under Wine, in a prefix of its own."""
import re
import shutil
import subprocess

import pytest
from harness import VERSION, end_wine, wait_until, wine_environment
from links import dead_links

pytestmark = pytest.mark.windows_only
TOOL = r"HKEY_LOCAL_MACHINE\SOFTWARE\Torvel"
INSTALLED = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\Torvel"
ENVIRONMENT = r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
REG = r"C:\windows\system32\reg.exe"
FOLDER = r"C:\Program Files\Torvel"
SYSTEM = r"%SystemRoot%\system32;%SystemRoot%"


class Machine:
    def __init__(self, build):
        self.installer, prefix = build / f"Torvel-{VERSION}-win64.exe", build / "wine-packaging"
        shutil.rmtree(prefix, ignore_errors=True)
        self.env, self.drive = wine_environment(prefix), prefix / "drive_c"
        self.folder = self.drive / "Program Files/Torvel"

    def wine(self, *command):
        """The exit code and the output. It goes to a file: Wine's services would keep a pipe open."""
        output = self.drive / "windows/output"
        with output.open("wb") as file:
            code = subprocess.run(["wine64", *command], env=self.env, timeout=600,
                                  stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.DEVNULL).returncode
        return code, output.read_bytes().decode()

    def registry(self, key):
        return self.wine(REG, "query", key)[1]

    def path(self):
        """PATH's type and text, four blanks between them."""
        return re.search("    PATH    (.*)\r\n", self.registry(ENVIRONMENT))[1]

    def state(self):
        """The program's keys, PATH, and the files and folders that are not the system's own nor temporary."""
        files = {str(file) for file in self.drive.rglob("*") if not {"windows", "Temp"} & set(file.parts)}
        keys = {key: self.registry(key) for key in (TOOL, INSTALLED)}
        return {"files": files, "path": self.path(), **keys}

    def install(self, *options, code=0):
        assert self.wine(self.installer, "/S", *options)[0] == code

    def remove(self):
        """By the registered command, which goes on after it returns."""
        command = re.search('QuietUninstallString    REG_SZ    "(.*)" (.*)\r', self.registry(INSTALLED))
        assert self.wine(*command.groups())[0] == 0
        last = self.folder / "Uninstall.exe" if (self.folder / "JRE").exists() else self.folder
        wait_until(lambda: not last.exists(), f"the end of {last}")


@pytest.fixture(scope="module")
def machine(build):
    made = Machine(build)
    yield made
    end_wine(made.env)


def entries(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*")}


def add_users_files(folder):
    for file in ("notes.txt", "JRE/release", "docs/mine/notes.txt", "docs/mine.md", "sample/out/Release/a"):
        (folder / file).parent.mkdir(parents=True, exist_ok=True)
        (folder / file).touch()


def test_installed_used_and_removed(machine):
    before = machine.state()
    (machine.folder / "Torvel.exe").mkdir(parents=True)
    machine.install(code=2)  # for the program cannot be written
    shutil.rmtree(machine.folder)
    assert machine.state() == before
    first = machine.drive / "Torvel"
    add_users_files(first)
    users = entries(first)
    machine.install(r"/D=C:\Torvel")
    machine.install()  # where it was
    assert not machine.folder.exists()
    machine.install(*f"/D={FOLDER}".split())  # unquoted; it takes the place of the first
    now = machine.state()
    assert entries(first) == users and now["path"] == f"{before['path']};{FOLDER}"
    installed = {file.name for file in machine.folder.iterdir()}
    assert installed == {"Torvel.exe", "Uninstall.exe", "README.md", "CHANGELOG.md", "SECURITY.md", "docs", "sample"}
    assert dead_links(machine.folder) == []
    assert set(re.findall(r"    (\w+)    REG_SZ    (.*)\r", now[TOOL] + now[INSTALLED])) >= {
        ("Install_Dir", FOLDER), ("DisplayName", "Torvel"), ("DisplayVersion", VERSION),
        ("Publisher", "Torvel"), ("UninstallString", f'"{FOLDER}\\Uninstall.exe"')}
    # A new console finds the launcher by its name.
    code, usage = machine.wine(r"C:\windows\system32\cmd.exe", "/c", "Torvel", "--help")
    assert code == 255 and usage.startswith(f"Torvel Launcher {VERSION}\r\n\r\nUsage: Torvel <command>")

    # What the user put there is the user's; without it nothing is left.
    add_users_files(machine.folder)
    machine.remove()
    assert entries(machine.folder) == users
    shutil.rmtree(first)
    shutil.rmtree(machine.folder)
    assert machine.state() == before


@pytest.mark.parametrize("kind, text, added", [
    ("REG_SZ", SYSTEM + ";C:\\" + 5000 * "a", ";" + FOLDER),  # longer than a text of the installer
    ("REG_EXPAND_SZ", FOLDER + r"\bin;" + SYSTEM + ";", ";" + FOLDER),
    ("REG_EXPAND_SZ", r"c:\program files\TORVEL;" + SYSTEM, ""),
    ("REG_SZ", SYSTEM + ";C:\\" + 32725 * "a", ""),  # too long for one more entry
], ids=("long", "lookalike, open end", "there already", "full"))
def test_path_keeps_its_type_and_its_text(machine, kind, text, added):
    number, data = {"REG_SZ": 1, "REG_EXPAND_SZ": 2}[kind], f"{text}\0".encode("utf-16-le").hex(",")
    (machine.drive / "windows/path.reg").write_text(
        f'Windows Registry Editor Version 5.00\n\n[{ENVIRONMENT}]\n"PATH"=hex({number}):{data}\n', "utf-16")
    machine.wine(REG, "import", r"C:\windows\path.reg")
    machine.install()
    assert machine.path() == f"{kind}    {text}{added}"
    machine.remove()
    assert machine.path() == f"{kind}    " + text.removeprefix(r"c:\program files\TORVEL;")
