"""The program that users get: hardening, imports and, on Windows, its resources."""
import re
import subprocess
import zipfile

from harness import VERSION

TOOLS = {"linux": [["readelf", "-hldW", "--dyn-syms"]],
         "windows": [["x86_64-w64-mingw32-objdump", "-hp"],
                     ["x86_64-w64-mingw32-windres", "-J", "coff", "-O", "rc"]]}
TEXTS = {"FileDescription": "Command-line launcher of the Torvel build tool", "FileVersion": VERSION,
         "InternalName": "Torvel", "OriginalFilename": "Torvel.exe", "ProductName": "Torvel",
         "ProductVersion": VERSION}
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
    "relocations": r"Entry 5 \w+ (?!0+ )\w+ Base Relocation",
    "stack of the main thread": r"SizeOfStackReserve\s+0*800000\n",
    "version": "FILEVERSION {0}, 0\\s+PRODUCTVERSION {0}, 0\\s".format(VERSION.replace(".", ", ")),
    "texts": r"BEGIN\s+" + "".join(rf'VALUE "{name}", "{text}"\s+' for name, text in TEXTS.items()) + "END",
    "the user's privileges": '<requestedExecutionLevel level=""asInvoker"" uiAccess=""false""/>',
    "systems": "(?s:<supportedOS .*){4}",
}}
LACKS = {"linux": {
    "a search path": "RPATH|RUNPATH",
    "other libraries": r"\(NEEDED\).*\[(?!libc\.so\.6|libm\.so\.6|ld-linux-x86-64\.so\.2)",
}, "windows": {
    "other libraries": r"DLL Name: (?!(?i:advapi32|kernel32|msvcrt|ws2_32)\.dll\n)",
    "cryptography at the start": "CryptAcquireContext",
    "debug information": r"\.debug",
    "a code page": "<activeCodePage",
}}


def test_program_file(request, build, tmp_path):
    product, program = request.config.getoption("--product"), build / "Torvel"
    if product == "windows":
        with zipfile.ZipFile(build / f"Torvel-{VERSION}-win64.zip") as package:
            package.extractall(tmp_path)
        [program] = [file for file in tmp_path.glob("*/*") if file.name not in ("doc", "sample")]
        assert program.name == "Torvel.exe"
        for file in ("doc/docs/windows.md", "sample/assistant.cmd", "sample/bin/TorvelAssistant.x64"):
            assert (program.parent / file).is_file(), file
    printed = "".join(subprocess.check_output([*tool, program], text=True) for tool in TOOLS[product])
    for name, pattern in HOLDS[product].items():
        assert re.search(pattern, printed), f"{name}:\n{printed}"
    for name, pattern in LACKS[product].items():
        assert not re.search(pattern, printed), f"{name}:\n{printed}"
