"""The program as its users get it: hardening, imports and, for Windows, its resources in its zip."""
import re
import subprocess
import zipfile

TOOLS = {"host": ["readelf -hldW --dyn-syms"],
         "windows": ["x86_64-w64-mingw32-objdump -hp", "x86_64-w64-mingw32-windres -J coff -O rc"]}
# What the tools print of the program holds each of these patterns, those of a "no" excepted.
PATTERNS = {"host": {
    "position independence": r"Type: +DYN \(Position-Independent ", "read-only relocations": r"\n +GNU_RELRO ",
    "binding at the start": r"\(FLAGS_1\).*\bNOW\b", "data that is not executable": r"\n +GNU_STACK .* RW +0x",
    "stack protector": r"UND __stack_chk_fail", "fortified calls": r"UND __(v?f?printf|v?snprintf|memcpy|realpath)_chk",
    "the C library": r"\(NEEDED\).*\[libc\.so\.6\]", "no search path": "RPATH|RUNPATH",
    "no other library": r"\(NEEDED\).*\[(?!libc\.so\.6|libm\.so\.6|ld-linux-x86-64\.so\.2)",
}, "windows": {
    "random addresses, data that is not executable": r"HIGH_ENTROPY_VA\n\s+DYNAMIC_BASE\n\s+NX_COMPAT\n",
    "relocations": r"Entry 5 \w+ (?!0+ )\w+ Base Relocation", "no stripped ones": "Relocations stripped",
    "kernel": "DLL Name: KERNEL32.dll", "no others": r"DLL Name: (?!(?i:advapi32|kernel32|msvcrt|ws2_32)\.dll\n)",
    "stack of the main thread": r"SizeOfStackReserve\s+0*800000\n", "no cryptography at the start": "CryptAcquireContext",
    "version": r"FILEVERSION 2, 8, 10, 0\s+PRODUCTVERSION 2, 8, 10, 0\s", "no debug information": r"\.debug",
    "texts": r"BEGIN\s+" + r'VALUE "%s", "%s"\s+' * 6 % (
        "FileDescription", "Command-line launcher of the Torvel build tool", "FileVersion", "2.8.10", "InternalName",
        "Torvel", "OriginalFilename", "Torvel.exe", "ProductName", "Torvel", "ProductVersion", "2.8.10") + "END",
    "the user's privileges": '<requestedExecutionLevel level=""asInvoker"" uiAccess=""false""/>',
    "no other level": 'level=""(?!asInvoker)', "systems": "(?s:<supportedOS .*){4}", "no code page": "<activeCodePage",
}}


def test_program_file(request, build, tmp_path):
    product, program = request.config.getoption("--product"), build / "Torvel"
    if product == "windows":
        with zipfile.ZipFile(build / "Torvel-2.8.10-win64.zip") as package:
            package.extractall(tmp_path)
        [program] = [file for file in tmp_path.glob("*/*") if file.name not in ("doc", "sample")]
        assert program.name == "Torvel.exe" and (program.parent / "doc/docs/windows.md").exists()
    printed = "".join(subprocess.check_output([*tool.split(), program], text=True) for tool in TOOLS[product])
    for name, pattern in PATTERNS[product].items():
        assert bool(re.search(pattern, printed)) != name.startswith("no "), f"{name}:\n{printed}"
