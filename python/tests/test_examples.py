"""The examples in python/examples run as documented."""

import pathlib
import re
import subprocess
import sys

import vqkudm

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"


def run(script, *arguments):
    return subprocess.run([sys.executable, str(EXAMPLES / script), *map(str, arguments)],
                          capture_output=True, text=True)


def test_bom_from_csv_rolls_reused_parts_up_to_each_product(tmp_path):
    loaded = run("bom_from_csv.py", EXAMPLES / "bike-bom.csv", tmp_path / "bikes")
    assert loaded.returncode == 0, loaded.stderr
    assert "bolt M6\n  used by frame x4, wheel x1, hitch x2\n  in      bike x6, trailer x4\n" in loaded.stdout
    assert "spoke\n  used by wheel x32\n  in      bike x64, trailer x64\n" in loaded.stdout
    with vqkudm.open(tmp_path / "bikes") as repo:
        [wheel] = repo.find("wheel")
        assert sorted(parent.name for parent in wheel.parents()) == ["bike", "trailer"]

    again = run("bom_from_csv.py", EXAMPLES / "bike-bom.csv", tmp_path / "bikes")
    assert again.returncode != 0 and "already has an item named 'bike'" in again.stderr


def test_history_prints_revisions_and_branches(tmp_path):
    with vqkudm.open(tmp_path / "bikes") as repo:
        frame = repo.create("UDMPart", "frame")
        frame.checkin("first")
        with frame.checkout("heavier"):
            frame["mass"] = 2.4
        branch = frame.revisions[0]
        with branch.checkout("carbon"):
            branch.name = "carbon frame"
    shown = run("history.py", tmp_path / "bikes", "frame")
    assert shown.returncode == 0, shown.stderr
    dated = re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d", "DATE", shown.stdout)
    assert re.sub(r"\([0-9a-f]{32}\)", "(LINE)", dated) == (
        "frame\n"
        "    r0  DATE  alice  first\n"
        "    r1  DATE  alice  heavier\n"
        "        branch 'carbon frame' (LINE)\n"
        "        r0  DATE  alice  carbon\n")
