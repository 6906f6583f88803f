"""The program that users get: its hardening and the libraries that it needs."""
import re
import subprocess
import zipfile

from harness import VERSION
from links import dead_links, links

TOOLS = {"linux": ["readelf", "-hldW", "--dyn-syms"], "windows": ["x86_64-w64-mingw32-objdump", "-hp"]}
# What the tools print of the program.
HOLDS = {"linux": {
    "position independence": r"Type: +DYN \(Position-Independent ",
    "read-only relocations": r"\n +GNU_RELRO ",
    "binding at the start": r"\(FLAGS_1\).*\bNOW\b",
    "data that is not executable": r"\n +GNU_STACK .* RW +0x",
    "stack protector": r"UND __stack_chk_fail",
    "fortified calls": r"UND __(v?f?printf|v?snprintf|memcpy|realpath)_chk",
}, "windows": {
    "random addresses, data that is not executable": r"HIGH_ENTROPY_VA\n\s+DYNAMIC_BASE\n\s+NX_COMPAT\n",
    "relocations, without which addresses are not random": r"Entry 5 \w+ (?!0+ )\w+ Base Relocation",
}}
OTHER_LIBRARIES = {"linux": r"\(NEEDED\).*\[(?!libc\.so\.6|libm\.so\.6|ld-linux-x86-64\.so\.2).*",
                   "windows": r"DLL Name: (?!(?i:advapi32|kernel32|msvcrt|ws2_32|api-ms-win-crt-\w+-l1-1-0)\.dll\n).*"}


def test_program_file(request, build, tmp_path):
    product, program = request.config.getoption("--product"), build / "Torvel"
    if product == "windows":
        with zipfile.ZipFile(build / f"Torvel-{VERSION}-win64.zip") as package:
            package.extractall(tmp_path)
        [program] = tmp_path.glob("*/Torvel.exe")
        assert {file.name for file in program.parent.iterdir()} == {
            "Torvel.exe", "README.md", "CHANGELOG.md", "SECURITY.md", "docs", "sample"}
        for file in ("docs/windows.md", "sample/assistant.cmd", "sample/bin/TorvelAssistant.x64"):
            assert (program.parent / file).is_file(), file
        assert len(list(links(program.parent))) > 20 and dead_links(program.parent) == []
    printed = subprocess.check_output([*TOOLS[product], program], text=True)
    lacking = [name for name, pattern in HOLDS[product].items() if not re.search(pattern, printed)]
    assert not lacking, printed
    assert not re.findall(OTHER_LIBRARIES[product], printed)
