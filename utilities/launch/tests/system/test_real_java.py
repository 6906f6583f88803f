"""Torvel.exe with real Java runtimes for Windows: found in each way."""
import os
import pathlib
import subprocess

import pytest
from harness import JAVASOFT, Workspace, in_cache

pytestmark = pytest.mark.windows_only
SOURCE = """
package com.drel.torvel.commands;

public class Launch {
  public static void main(String[] args) throws Exception {
    String program = ProcessHandle.current().info().command().orElse("?").replaceAll(".*\\\\\\\\", "");
    System.out.println(program + " with Java " + System.getProperty("java.specification.version"));
    if (args[0].equals("colour")) System.out.println(new java.awt.Color(7));
    System.in.transferTo(System.out);
    if (args[0].equals("throw")) throw new IllegalStateException("thrown");
    Thread other = new Thread(() -> System.exit(-2));
    other.start();
    other.join();
  }
}
"""


@pytest.fixture(scope="module")
def jar(tmp_path_factory):
    folder = tmp_path_factory.mktemp("jar")
    jdk = pathlib.Path(os.environ["JAVA_HOME"], "bin") if "JAVA_HOME" in os.environ else pathlib.Path()
    (folder / "Launch.java").write_text(SOURCE)
    for command in ([jdk / "javac", "--release", "11", "-d", "classes", "Launch.java"],
                    [jdk / "jar", "--create", "--file", "Torvel.jar", "-C", "classes", "."]):
        subprocess.run(command, cwd=folder, check=True)
    return folder / "Torvel.jar"


@pytest.fixture
def workspace(product, tmp_path, jar):
    made = Workspace(product, tmp_path)
    (made.root / "bin/Torvel.jar").write_bytes(jar.read_bytes())
    (made.root / "input").write_bytes(b"one\r\ntwo\r\n")
    return made


@pytest.fixture
def found(product, workspace, registry, tmp_path):
    """Makes a runtime available in one way only."""
    def find(version, way):
        home = in_cache("java-windows", version)
        bin, server = product.path(home / "bin"), product.path(home / "bin/server")
        workspace.env["PATH"] = {"path": f"{server};{bin}", "server": server, "child": bin}.get(way, "")
        (tmp_path / "JRE").symlink_to(home)
        keys = {"own": {"Torvel": {"Install_Dir": product.path(tmp_path)}},
                "public": {JAVASOFT: {"CurrentVersion": version},
                           f"{JAVASOFT}\\{version}": {"RuntimeLib": f"{bin}\\client\\jvm.dll"}}}
        if way in keys:
            registry(keys[way])

    return find


@pytest.mark.parametrize("version, way", [
    ("11", "path"), ("17", "path"), ("17", "own"), ("17", "public"), ("17", "child"), ("21", "own"), ("25", "public"),
    ("25", "child")])
def test_programs(workspace, product, found, version, way):
    """One exits in a thread of its own, one throws. Both copy their input."""
    found(version, way)
    program = "java.exe" if way == "child" else "Torvel.exe"
    out = f"{program} with Java {version}\none\ntwo\n"
    assert workspace.run("Launch", "exit", stdin=workspace.root / "input") == (product.code(-2), out, "")
    thrown = workspace.run("Launch", "throw", stdin=workspace.root / "input")
    assert (thrown.code, thrown.out) == (1 if way == "child" else 0, out)  # 1: of the program `java`
    assert "java.lang.IllegalStateException: thrown\n" in thrown.err


@pytest.mark.parametrize("way, overrides", [("own", "vcruntime140,vcruntime140_1,msvcp140=n"), ("server", "")])
def test_its_own_libraries_are_found(workspace, product, found, monkeypatch, way, overrides):
    """Without the C++ runtime in the system; with only the folder of jvm.dll on PATH. A colour needs a library
    that Java loads later."""
    monkeypatch.setitem(product.wine_env, "WINEDLLOVERRIDES", overrides)
    found("17", way)
    said = "Torvel.exe with Java 17\njava.awt.Color[r=0,g=0,b=7]\n"
    assert workspace.run("Launch", "colour") == (product.code(-2), said, "")
