"""The examples under examples/python run as documented."""

import csv
import os
import shutil
import subprocess
import sys

from conftest import EXAMPLES_DIR, RECIPE

SCRIPTS = os.path.join(EXAMPLES_DIR, "python")


def test_measure_prints_the_line(scene_path):
    run = subprocess.run([sys.executable, f"{SCRIPTS}/measure.py", scene_path], capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert "line through" in run.stdout and "95 % interval" in run.stdout


def run_batch(images, out, *mode):
    """The batch example on a local cluster of one in-process worker with two threads."""
    return subprocess.run(
        [sys.executable, f"{SCRIPTS}/batch.py", "--images", str(images), *mode, "--out", str(out),
         "--workers", "1", "--threads", "2", "--in-process"],
        capture_output=True, text=True, timeout=120,
    )


def test_batch_on_a_local_cluster_writes_one_row_per_image(scene_path, tmp_path):
    images = tmp_path / "images"
    images.mkdir()
    for name in ("a.png", "b.png", "c.png"):
        shutil.copy(scene_path, images / name)
    (images / "broken.png").write_bytes(b"not an image")
    out = tmp_path / "results.csv"
    run = run_batch(images, out, "--tool", "line", "--params", f"{EXAMPLES_DIR}/line.json")
    assert run.returncode == 0, run.stderr
    with open(out) as f:
        rows = list(csv.DictReader(f))
    assert [os.path.basename(row["image"]) for row in rows] == ["a.png", "b.png", "broken.png", "c.png"]
    measured = [row for row in rows if row["success"] == "True"]
    assert len(measured) == 3 and len({row["line.0"] for row in measured}) == 1
    assert float(measured[0]["edgePoints.count"]) > 10 and measured[0]["quality.angle.value"]
    broken = rows[2]
    assert broken["success"] == "False" and "not a readable image" in broken["error"]


def test_batch_with_a_recipe_gives_the_command_line_verdicts_and_dimensions(plates, tmp_path):
    images = tmp_path / "images"
    images.mkdir()
    for record in plates:
        shutil.copy(record["image"], images)
    (images / "broken.png").write_bytes(b"not an image")
    out = tmp_path / "results.csv"
    run = run_batch(images, out, "--recipe", RECIPE)
    assert run.returncode == 0, run.stderr
    with open(out) as f:
        rows = {os.path.basename(row["image"]): row for row in csv.DictReader(f)}
    assert rows.pop("broken.png")["error"]
    assert len(rows) == len(plates)
    for record in plates:
        row = rows[os.path.basename(record["image"])]
        assert row["pass"] == str(record["pass"])
        # Python writes a float's shortest repr, which reads back as the same double.
        assert {name: float(row[f"{name} [{d['unit']}]"]) for name, d in record["dimensions"].items()} == {
            name: d["value"] for name, d in record["dimensions"].items()}
