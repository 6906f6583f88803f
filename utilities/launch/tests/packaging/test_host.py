"""The host program's hardening and what it needs of the system."""
import re
import subprocess

import pytest

HARDENING = {
    "position independence": r"Type: +DYN \(Position-Independent Executable",
    "relocations read-only": r"\n +GNU_RELRO ",
    "relocations bound at start": r"\(FLAGS_1\).*\bNOW\b",
    "data not executable": r"\n +GNU_STACK .* RW +0x",
    "stack protector": r"UND __stack_chk_fail",
    "fortified calls": r"UND __(v?f?printf|v?snprintf|memcpy|realpath)_chk",
}


@pytest.fixture(scope="session")
def headers(build):
    return subprocess.run(["readelf", "-hldW", "--dyn-syms", build / "Torvel"], check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("name", HARDENING)
def test_hardening(headers, name):
    assert re.search(HARDENING[name], headers)


def test_needs_only_the_c_library(headers):
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", headers))
    assert "libc.so.6" in needed and needed <= {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2"}
    assert "RPATH" not in headers and "RUNPATH" not in headers
