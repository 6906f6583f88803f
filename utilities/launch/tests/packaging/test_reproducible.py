"""A second build, of a copy of the sources in another folder and at another time, has the same bytes."""
import filecmp
import os
import shutil
import subprocess

from harness import ROOT, VERSION

PRODUCTS = {"linux": ("Torvel", ["Torvel"]),
            "windows": ("package", ["Torvel.exe", "TorvelAssistant.exe", f"Torvel-{VERSION}-win64.zip",
                                    f"Torvel-{VERSION}-win64.exe"])}


def test_another_build_has_the_same_bytes(request, build, tmp_path):
    product = request.config.getoption("--product")
    target, files = PRODUCTS[product]
    copy, other = tmp_path / "copy", tmp_path / "other"
    shutil.copytree(ROOT, copy, ignore=lambda folder, _: {"build", ".git"} if folder == str(ROOT) else ())
    date = subprocess.check_output([ROOT / "scripts/lib/source-date"], text=True).strip()
    seconds = subprocess.check_output(["date", "-d", date, "+%s"], text=True).strip()
    env = os.environ | {"SOURCE_DATE_EPOCH": seconds, "TZ": "Asia/Tokyo"}
    for command in (["--preset", product, "-B", other, "-DTORVEL_TESTS=OFF"], ["--build", other, "--target", target]):
        subprocess.run(["cmake", *command], cwd=copy, env=env, check=True)
    assert filecmp.cmpfiles(build, other, files, shallow=False) == (files, [], [])
