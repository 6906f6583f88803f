"""Holds the documents, the manual page, the completion and the installation against the sources and the host's product."""
import html
import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parents[4]
LAUNCH = ROOT / "utilities/launch"
DOCUMENTS = [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), ROOT / "sample/README.md"]
MANUAL = ROOT / "packaging/man/Torvel.1"
COMMANDS = sorted(re.findall(r'"(\w+)"', (LAUNCH / "launcher/CommandTable.cpp").read_text().split("::TorvelLauncher")[1]))


def blocks(document, kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", document.read_text(), re.M | re.S)


def bash(build, script, *arguments, cwd=ROOT):
    env = {name: value for name, value in os.environ.items() if name not in ("LD_LIBRARY_PATH", "TORVEL_HOST_REGISTRY")}
    env |= {"PATH": f"{build}:{env['PATH']}", "TORVEL_ASSISTANT": "0"}
    run = subprocess.run(["bash", "-e", "-c", script, "bash", *arguments], cwd=cwd, env=env, stdin=subprocess.DEVNULL,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120)
    assert run.returncode == 0, f"{script}\nended with {run.returncode}:\n{run.stdout}"
    return run.stdout


def test_command_lines_run(build):
    for document in DOCUMENTS:
        for script in blocks(document, "sh"):
            bash(build, script)


def test_readme_shows_what_runs_print(build):
    [shown] = blocks(ROOT / "README.md", "transcript")
    pattern = "\n".join(re.escape(re.sub(" +<- .*", "", line)).replace(r"\.\.\.", ".+") + " *" for line in shown.splitlines())
    printed = bash(build, "sample/assemble; cd sample; Torvel checksum game/Game.java --debug")
    assert re.fullmatch(pattern + "\n", printed), printed
    steps = re.findall(r'^show "(.*?)"', (ROOT / "scripts/demo").read_text(), re.M)
    assert steps == [step for step in re.findall("^--- (.*)$", (ROOT / "README.md").read_text(), re.M) if "started" not in step]


def test_links_resolve():
    for document in DOCUMENTS:
        for link in re.findall(r"\]\((?!https:)([^)]+)\)", document.read_text()):
            path, _, anchor = link.partition("#")
            target = document.parent / path if path else document
            headings = re.findall("^#+ (.*)$", target.read_text(), re.M)
            assert anchor in ["", *(text.lower().replace(" ", "-") for text in headings)], f"{document}: {link}"


def test_security_names_what_is_there():
    named = re.findall(r"`([\w/.]+):(\w+)`", (ROOT / "SECURITY.md").read_text())
    assert len(named) > 20
    for path, name in named:
        files = [LAUNCH / room / path for room in ("launcher", "host", "tests") if (LAUNCH / room / path).is_file()]
        assert any(re.search(rf"\b{name}\b", file.read_text()) for file in files), f"{path}:{name} is not there"


def test_host_layer_lists_every_difference():
    def bullets(text):
        return [" ".join(bullet.replace("//", " ").split()) for bullet in re.split(r"^(?:// )?- ", text, flags=re.M)[1:]]
    sources = "".join(path.read_text() for path in (LAUNCH / "host").glob("*.cpp"))
    stated = re.findall(r"// Differs from Windows:\n((?://.*\n)+)[^\n(]*?(\w+)\(", sources)
    listed = re.findall(r"^`(\w+)`\n\n((?:[- ] .*\n)+)", (ROOT / "docs/host-layer.md").read_text(), re.M)
    assert stated and {name: bullets(text) for name, text in listed} == {name: bullets(text) for text, name in stated}


def test_picture_is_drawn_from_its_source():
    drawn = re.findall(r"<text.*?>\s*(.*?)\s*</text>", html.unescape((ROOT / "docs/road.svg").read_text()))
    labels = re.findall(r'label="(.*?)"', (ROOT / "docs/road.dot").read_text())
    assert sorted(drawn) == sorted(line.strip() for label in labels for line in label.split("\\n"))


def test_readme_and_manual_tell_of_every_command():
    rows = re.findall(r"^\| ([A-Z].*?) \|", (ROOT / "README.md").read_text(), re.M)
    assert sorted(re.findall(r"\w+", " ".join(rows))) == COMMANDS
    assert sorted(re.findall(r"^\.It Cm (\w+)", MANUAL.read_text(), re.M)) == COMMANDS
    assert subprocess.run(["mandoc", "-Tlint", MANUAL], capture_output=True, text=True).stdout == ""


@pytest.mark.parametrize("words, replies", [
    ("Torvel|sL", ["SlaveClose", "SlaveStatus"]), ("Torvel|--assist", ["--assistant", "--assistant=false"]),
    ("Torvel|--assistant|=|f", ["false"]), ("Torvel|TIDY|", ["engine", "game"]), ("Torvel|build|game|", []),
    ("Torvel|-XX|:|+Foo|--jar|=|bin|build|ga", ["game"]), ("Torvel|build|--s", ["--selectSource="]),
    ("Torvel|netinfo|--s", []), ("Torvel|export|--workspace|=|e", ["engine"]),
    ("Torvel|build|--antLog|=", ["a.txt", "engine", "game"]), ("Torvel|ProfileIO|read|n", ["nio"]), ("Torvel|", COMMANDS)])
def test_completion(build, tmp_path, words, replies):
    for name in ("engine", "game"):
        (tmp_path / name).mkdir()
    (tmp_path / "a.txt").touch()
    printed = bash(build, 'source "$1"; shift; set +e; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _Torvel; '
                   'printf "%s\\n" "${COMPREPLY[@]}"', ROOT / "packaging/completion/Torvel", *words.split("|"), cwd=tmp_path)
    assert sorted(printed.split()) == replies


def test_installation(build, tmp_path):
    bash(build, f"cmake --install {build} --prefix {tmp_path}")
    installed = {str(path.relative_to(tmp_path)) for path in tmp_path.rglob("*") if path.is_file()}
    assert installed >= {"bin/Torvel", "share/man/man1/Torvel.1", "share/bash-completion/completions/Torvel",
                         "share/doc/Torvel/README.md", "share/doc/Torvel/docs/road.svg"}
    assert bash(build, f"{tmp_path}/bin/Torvel --help || [ $? -eq 255 ]").startswith("Torvel Launcher 2.8.10\n")
