"""The host program's hardening and what it needs of the system."""
import re
import subprocess

import pytest

HARDENING = {
    "position independence": ("-hW", r"Type: +DYN \(Position-Independent Executable"),
    "relocations read-only": ("-lW", r"\n +GNU_RELRO "),
    "relocations bound at start": ("-dW", r"\(FLAGS_1\).*\bNOW\b"),
    "data not executable": ("-lW", r"\n +GNU_STACK .* RW +0x"),
    "stack protector": ("--dyn-syms", r"UND __stack_chk_fail"),
    "fortified calls": ("--dyn-syms", r"UND __(v?f?printf|v?snprintf|memcpy|realpath)_chk"),
}


def readelf(program, option):
    return subprocess.run(["readelf", "-W", option, program], check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("name", HARDENING)
def test_hardening(build, name):
    option, pattern = HARDENING[name]
    assert re.search(pattern, readelf(build / "Torvel", option))


def test_needs_only_the_c_library(build):
    dynamic = readelf(build / "Torvel", "-d")
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
    assert "libc.so.6" in needed and needed <= {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2"}
    assert "RPATH" not in dynamic and "RUNPATH" not in dynamic
