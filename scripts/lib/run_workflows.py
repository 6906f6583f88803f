"""Runs workflow presets of CMake, those named or by default all but ON_DEMAND, and prints the total:
"N passed, N failed[, N skipped]".

While the tests of one preset run, which mostly wait, the next one is built. Its output appears when it is complete.

CTest reports its tests to build/<preset>/results/ctest.xml. A test with a report beside that, <test>.xml, counts by the
cases in it, and has failed when there are none.
"""

import collections
import json
import pathlib
import shutil
import subprocess
import sys
import xml.etree.ElementTree
from concurrent.futures import ThreadPoolExecutor

ROOT = pathlib.Path(__file__).resolve().parents[2]
ON_DEMAND = {"windows-clang"}  # fetches 100 MB and builds its libraries
WITHOUT_PORT = {"style", "fuzz"}  # tests that may run beside those that need the Assistant's port
COMMANDS = {"configure": ["cmake"], "build": ["cmake", "--build"], "test": ["ctest"]}


def cases(report):
    # A failure's text may be in the code page of Windows.
    written = report.read_text("utf-8", "replace") if report.exists() else ""
    return list(xml.etree.ElementTree.fromstring(written).iter("testcase")) if written else []


def outcome_of_case(case):
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    skipped = case.find("skipped") is not None or case.get("status") == "notrun"
    return "skipped" if skipped else "passed"


def outcomes(test, report):
    # "notrun" is a test without its program or its fixture.
    outcome = {"run": "passed", "disabled": "skipped"}.get(test.get("status"), "failed")
    if not report.exists():
        return [outcome]
    own = [outcome_of_case(case) for case in cases(report)]
    if own and (outcome == "passed" or "failed" in own):
        return own
    print(f"FAILED: {test.get('name')} ended before it had reported all its cases")
    return [*own, "failed"]


def run(steps, *before, **output):
    """Up to the first step that fails."""
    return all(subprocess.run([*before, *COMMANDS[step["type"]], "--preset", step["name"]], cwd=ROOT, check=False,
                              **output).returncode == 0 for step in steps)


def is_waited_for(step, preset):
    return step["type"] == "test" and preset not in WITHOUT_PORT


def prepare(preset, steps):
    """What runs beside the tests of another preset. Returns whether it succeeded, and its output."""
    results = ROOT / "build" / preset / "results"
    shutil.rmtree(results, ignore_errors=True)
    results.mkdir(parents=True)
    with (results / "output").open("wb") as output:
        succeeded = run([step for step in steps if not is_waited_for(step, preset)], "nice", stdout=output,
                        stderr=subprocess.STDOUT)
    return succeeded, (results / "output").read_text("utf-8", "replace")


def finish(preset, steps, prepared):
    """Runs the remaining tests and counts."""
    print(f"== {preset}", flush=True)
    succeeded, output = prepared.result()
    print(output, end="", flush=True)
    succeeded = succeeded and run([step for step in steps if is_waited_for(step, preset)])
    results, total = ROOT / "build" / preset / "results", collections.Counter()
    for test in cases(results / "ctest.xml"):
        total.update(outcomes(test, results / f"{test.get('name')}.xml"))
    if not succeeded and not total["failed"]:  # what came before the tests
        total["failed"] += 1
    return total


def main(chosen):
    workflows = json.loads((ROOT / "CMakePresets.json").read_text())["workflowPresets"]
    presets = {preset["name"]: preset["steps"] for preset in workflows}
    if unknown := set(chosen) - set(presets):
        sys.exit(f"scripts/test: no suite {' '.join(sorted(unknown))}; there are: {' '.join(presets)}")
    chosen = chosen or [preset for preset in presets if preset not in ON_DEMAND]
    chosen.sort(key=WITHOUT_PORT.__contains__)  # beside the tests of the last preset
    beside = ThreadPoolExecutor(1)
    try:
        prepared = {preset: beside.submit(prepare, preset, presets[preset]) for preset in chosen}
        total = sum((finish(preset, presets[preset], prepared[preset]) for preset in chosen), collections.Counter())
    finally:
        beside.shutdown(cancel_futures=True)
    skipped = f", {total['skipped']} skipped" if total["skipped"] else ""
    print(f"{total['passed']} passed, {total['failed']} failed{skipped}")
    return 1 if total["failed"] or not total["passed"] else 0


try:
    sys.exit(main(sys.argv[1:]))
except KeyboardInterrupt:
    sys.exit("scripts/test: interrupted")
