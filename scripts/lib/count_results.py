"""Adds up what the suites of a test run reported, prints "N passed, N failed" and exits with 1 when anything failed.

A folder holds JUnit reports (*.xml) and the files `passed`, `failed` and `skipped` with one name per line.
"""

import pathlib
import sys
import xml.etree.ElementTree


def names(path):
    return path.read_text().split("\n")[:-1] if path.exists() else []


def main(folder):
    passed, failed, skipped = (len(names(folder / kind)) for kind in ("passed", "failed", "skipped"))
    for report in sorted(folder.glob("*.xml")):
        for case in xml.etree.ElementTree.parse(report).iter("testcase"):
            if case.find("failure") is not None or case.find("error") is not None:
                failed += 1
            elif case.find("skipped") is not None or case.get("status") == "notrun":
                skipped += 1
            else:
                passed += 1
    print(f"{passed} passed, {failed} failed" + (f", {skipped} skipped" if skipped else ""))
    return 1 if failed or not passed else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
