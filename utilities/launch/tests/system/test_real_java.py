"""Torvel.exe with real Java runtimes for Windows: found in each way, with typical Java programs."""
import os
import pathlib
import subprocess

import pytest
from harness import Workspace, in_cache

pytestmark = pytest.mark.windows_only
JAVASOFT = "JavaSoft\\Java Runtime Environment"
SOURCE = """
package com.drel.torvel.commands;

import java.io.PrintStream;

public class Launch {
  public static void main(String[] args) throws Exception {
    ProcessHandle self = ProcessHandle.current();
    String program = self.info().command().orElse("?").replaceAll(".*\\\\\\\\", "");
    PrintStream out = System.out;
    out.println(program + " with Java " + System.getProperty("java.specification.version"));
    int number = Integer.parseInt(args[1]);
    switch (args[0]) {
      case "exit": System.exit(number);
      case "thread": Thread other = new Thread(() -> System.exit(number)); other.start(); other.join();
      case "throw": throw new IllegalStateException("thrown");
      case "lines": for (int i = 0; i < number; i++) (i % 7 > 0 ? out : System.err).println("line " + i);
        break;
      case "input": for (int c; (c = System.in.read()) >= 0;) out.write(c); out.flush(); break;
      case "arguments": for (int i = 2; i < args.length; i++) out.println("[" + args[i] + "]"); break;
      case "colour": out.println(new java.awt.Color(number)); break;
    }
  }
}
"""
# Arguments, exit code, standard output, standard error (of an exception: a part of it).
ODD = ("--x=y=z", "a b", "=", "%s")
LINES = {err: "".join(f"line {i}\n" for i in range(20000) if (i % 7 == 0) == err) for err in (False, True)}
PROGRAMS = {
    "exit": (["exit", "300"], 300, "", ""),
    "exit in a thread": (["thread", "-2"], -2, "", ""),
    "exception": (["throw", "0"], 0, "", "java.lang.IllegalStateException: thrown\n"),
    "many lines": (["lines", "20000"], 0, LINES[False], LINES[True]),
    "input": (["input", "0"], 0, "one\ntwo\n", ""),
    "arguments": (["arguments", "0", *ODD], 0, "".join(f"[{each}]\n" for each in ODD), ""),
}
# Version, way of finding it, programs: each way runs each program, by one of the versions.
TRIED = [(version, way, list(PROGRAMS)[(i + j) % 4::4]) for i, version in enumerate(("11", "17", "21", "25"))
         for j, way in enumerate(("path", "own", "public", "child"))]


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


@pytest.mark.parametrize("version, way, names", TRIED)
def test_programs(workspace, product, found, version, way, names):
    found(version, way)
    for name in names:
        args, code, out, err = PROGRAMS[name]
        if way == "child" and name == "exception":
            code = 1  # of the program `java`
        program = "java.exe" if way == "child" else "Torvel.exe"
        result = workspace.run("Launch", *args, stdin=workspace.root / "input")
        assert (result.code, result.out) == (product.code(code), f"{program} with Java {version}\n{out}"), name
        assert result.err == err or err in result.err and name == "exception"


@pytest.mark.parametrize("way, overrides", [("own", "vcruntime140,vcruntime140_1,msvcp140=n"), ("server", "")])
def test_its_own_libraries_are_found(workspace, product, found, monkeypatch, way, overrides):
    """Without the C++ runtime in the system; with only the folder of jvm.dll on PATH. A colour needs a library
    that Java loads later."""
    monkeypatch.setitem(product.wine_env, "WINEDLLOVERRIDES", overrides)
    found("17", way)
    colour = "java.awt.Color[r=0,g=0,b=7]"
    assert workspace.run("Launch", "colour", "7") == (0, f"Torvel.exe with Java 17\n{colour}\n", "")
