"""Documents, manual page, completion and installation agree with the sources and the product."""
import html
import re
import shlex
import subprocess
import zlib

import pytest
from harness import COMMANDS, ROOT, VERSION
from links import dead_links, documents, links

LAUNCH = ROOT / "utilities/launch"
DOCUMENTS = documents(ROOT)
README, MANUAL = DOCUMENTS[ROOT / "README.md"], ROOT / "packaging/man/Torvel.1"


def bash(build, script, *arguments, cwd=ROOT):
    unset = "unset CDPATH LD_LIBRARY_PATH TORVEL_REGISTRY"
    script = f"{unset}\nexport TORVEL_ASSISTANT=0 PATH={shlex.quote(str(build))}:$PATH\n{script}"
    run = subprocess.run(["bash", "-e", "-c", script, "bash", *arguments], cwd=cwd, stdin=subprocess.DEVNULL,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120)
    assert run.returncode == 0, f"{script}\nended with {run.returncode}:\n{run.stdout}"
    return run.stdout


def test_command_lines_run(build):
    for script in re.findall(r"^```sh\n(.*?)^```$", "\n".join(DOCUMENTS.values()), re.M | re.S):
        bash(build, script)


def test_diagnostics_print_what_is_shown(build):
    document = DOCUMENTS[ROOT / "docs/troubleshooting.md"]
    shown = document.split("\n```transcript\n")[1].split("\n```\n")[0].splitlines()
    lines = [re.escape(re.sub(" +<- .*", "", line)).replace(r"\.\.\.", ".+") for line in shown]
    pattern = "".join("(?:.*\n)+" if line == ".+" else f"{line} *\n" for line in lines)
    printed = bash(build, "sample/assemble; cd sample; Torvel checksum game/Game.java --debug")
    assert re.fullmatch(pattern, printed), printed


def test_demo_page_has_the_steps_of_the_demo():
    steps = re.findall(r'^show "(.*?)"', (ROOT / "scripts/demo").read_text(), re.M)
    shown = re.findall(r"^\| (.*?) \| `", DOCUMENTS[ROOT / "docs/demo.md"], re.M)
    assert steps and shown == steps
    assert f"{zlib.crc32((ROOT / 'sample/game/Game.java').read_bytes()):08x}" in DOCUMENTS[ROOT / "docs/demo.md"]


def test_links_resolve():
    assert len(list(links(ROOT))) > 50 and dead_links(ROOT) == []


def test_documents_name_what_is_there():
    """Files, functions as path:name, and tests. A page says where its paths begin, if not in the sources' root."""
    tests = "\n".join(file.read_text() for file in LAUNCH.glob("tests/*/test_*.py"))
    places = [entry for root in (ROOT, LAUNCH, LAUNCH / "launcher") for entry in root.glob("[!.]*/")]
    folders = "|".join(entry.name for entry in places if entry.name != "build")
    counts = [0, 0, 0]
    for document, text in DOCUMENTS.items():
        begin = re.search(r"paths\b[^.]*\bbegin in\s+`([\w/]+)`", text, re.I)
        root = ROOT / begin[1] if begin else ROOT / "sample" if document.parent.name == "sample" else ROOT
        text = re.sub(r"\[[^]]*\]\([^)]*\)", "", text.replace(begin[0] if begin else "\0", ""))
        paths = re.findall(rf"(?<![\w/.])((?:{folders})/[\w./-]*\w)(?![\w*<])", text)
        for path in paths:
            assert (root / path).exists(), f"{document}: {path}"
        functions = re.findall(r"`([\w/.]+):(\w+)`", text)
        for path, name in functions:
            assert re.search(rf"\b{name}\b", (root / path).read_text()), f"{document}: {path}:{name}"
        named = re.findall(r"`(test_\w+)(?:\[|`)", text)
        for name in named:
            assert re.search(rf"\b{name}\b", tests), f"{document}: {name}"
        counts = [count + len(found) for count, found in zip(counts, (paths, functions, named))]
    assert counts[0] > 50 and all(counts)


def test_picture_is_drawn_from_its_source():
    drawn = re.findall(r"<text.*?>\s*(.*?)\s*</text>", html.unescape((ROOT / "docs/command-flow.svg").read_text()))
    labels = re.findall(r'label="(.*?)"', (ROOT / "docs/command-flow.dot").read_text())
    assert sorted(drawn) == sorted(line.strip() for label in labels for line in label.split("\\n"))


def test_readme_and_manual_list_every_command_and_the_same_options():
    assert sorted(re.findall(r"\w+", " ".join(re.findall(r"^\| ([A-Z].*?) \|", README, re.M)))) == COMMANDS
    assert sorted(re.findall(r"^\.It Cm (\w+)", MANUAL.read_text(), re.M)) == COMMANDS
    options = re.findall(r"^\| `--(\w+)", README, re.M)
    assert options and options == re.findall(r"^\.It Fl -(\w+)", MANUAL.read_text(), re.M)
    assert subprocess.run(["mandoc", "-Tlint", MANUAL], capture_output=True, text=True).stdout == ""


def test_usage_text_lists_what_the_readme_does(build):
    commands = re.findall(r"^\| ([A-Z].*?) \|(?: `(.*?)`)? \|(.*)", README, re.M)
    expected = [f"{name} {arguments}".strip().replace("\\|", "|") for names, arguments, note in commands
                for name in names.split(", ") if "not in the usage text" not in note]
    usage = bash(build, "Torvel || [ $? -eq 255 ]")
    assert sorted(re.findall(r"^\t([A-Z].*)$", usage, re.M)) == sorted(expected)


def test_sample_has_every_command():
    """As a class with a main."""
    sources = [*(ROOT / "sample/tool/src/com/drel/torvel").glob("*/*.java")]
    assert set(COMMANDS) <= {source.stem for source in sources if " void main(String" in source.read_text()}


@pytest.mark.parametrize("words, replies", [
    ("Torvel|sL", ["SlaveClose", "SlaveStatus"]), ("Torvel|--assist", ["--assistant", "--assistant=false"]),
    ("Torvel|--assistant|=|f", ["false"]), ("Torvel|TIDY|", ["engine", "game"]), ("Torvel|build|game|", []),
    ("Torvel|-XX|:|+Foo|--jar|=|bin|build|ga", ["game"]), ("Torvel|build|--s", ["--selectSource="]),
    ("Torvel|netinfo|--s", []), ("Torvel|export|--workspace|=|e", ["engine"]), ("Torvel|", COMMANDS),
    ("Torvel|build|--antLog|=", ["a.txt", "engine", "game"]), ("Torvel|ProfileIO|read|n", ["nio"])])
def test_completion(build, tmp_path, words, replies):
    complete(build, tmp_path, words, replies)


@pytest.mark.parametrize("words, replies", [
    ("Torvel|checksum|", ["bin", "sub", "top.txt"]), ("Torvel|launch|x|b", ["bin/"]),
    ("Torvel|build|", ["engine", "game"]), ("Torvel|listdependencies|", ["bin", "sub"]),
    ("Torvel|checksum|--workspace|=|.|a", ["a.txt"]), ("Torvel|--jar|=|none|checksum|", ["a.txt", "engine", "game"]),
    ("Torvel|--vok|checksum|", ["a.txt", "engine", "game"]), ("Torvel|--jar|=|none;bin|checksum|s", ["sub/"]),
    ("Torvel|build|--workspace|=|~/s", ["@/sub"]), ("Torvel|build|--antLog|=|~/t", ["@/top.txt"]),
    ("Torvel|build|--workspace|=|~r", [])])
def test_completion_below_the_workspace_root(build, tmp_path, words, replies):
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin/Torvel.jar").touch()
    (tmp_path / "top.txt").touch()
    (tmp_path / "sub").mkdir()
    replies = [reply.replace("@", str(tmp_path)) for reply in replies]
    complete(build, tmp_path / "sub", words, replies, f"HOME={shlex.quote(str(tmp_path))}")


def complete(build, folder, words, replies, before=""):
    completion = shlex.quote(str(ROOT / "packaging/completion/Torvel"))
    script = f"{before}\nmkdir engine game; touch a.txt; source {completion}; set +e\n" \
             'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _Torvel; printf "%s\n" "${COMPREPLY[@]}"'
    assert sorted(filter(None, bash(build, script, *words.split("|"), cwd=folder).split("\n"))) == replies


def test_installation(build, tmp_path):
    bash(build, 'cmake --install "$1" --prefix "$2"', build, tmp_path)
    for file in ("bin/Torvel", "share/man/man1/Torvel.1", "share/bash-completion/completions/Torvel",
                 "share/doc/Torvel/README.md", "share/doc/Torvel/docs/command-flow.svg"):
        assert (tmp_path / file).is_file(), file
    assert b".debug_info" not in (tmp_path / "bin/Torvel").read_bytes()
    assert len(list(links(tmp_path / "share/doc/Torvel"))) > 20 and dead_links(tmp_path / "share/doc/Torvel") == []
    usage = bash(build, '"$1/bin/Torvel" --help || [ $? -eq 255 ]', tmp_path)
    assert usage.startswith(f"Torvel Launcher {VERSION}\n")
