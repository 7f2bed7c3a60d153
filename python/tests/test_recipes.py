"""Recipes from Python against `functions-cli inspect` on the rendered demo plates."""

import concurrent.futures
import json
import pickle
import re
import subprocess

import numpy as np
import pytest

import functions
from conftest import RECIPE


def comparable(record):
    """The record without what differs from run to run: timings, the overlay file's name."""
    record = {key: value for key, value in record.items() if key != "overlay"}
    record["measurements"] = {name: {key: value for key, value in m.items() if key != "timing_us"}
                              for name, m in record["measurements"].items()}
    return record


def test_inspect_gives_the_command_line_records_and_overlays(plates):
    # The oversize hole of the last plate fails, so the verdicts are compared both ways.
    assert [record["pass"] for record in plates] == [True] * (len(plates) - 1) + [False]
    recipe = functions.Recipe.load(RECIPE)
    for expected in plates:
        image = functions.load_image(expected["image"])
        inspection = recipe.inspect(image)
        # Parsed JSON floats are the exact doubles the tool wrote, so == is bit identity.
        assert comparable(inspection.to_dict(image_path=expected["image"])) == comparable(expected)
        assert inspection.passed == expected["pass"]
        assert {name: (d.value, d.uncertainty, d.passed, d.unit) for name, d in inspection.dimensions.items()} == {
            name: (d["value"], d["uncertainty"], d["pass"], d["unit"]) for name, d in expected["dimensions"].items()}
        pose = expected["fixture"]["pose"]
        assert inspection.pose == (pose["x"], pose["y"], pose["angle"])
        # The tool writes its overlay in BGR; load_image gives it back in RGB order.
        assert np.array_equal(inspection.overlay(image)[..., ::-1], functions.load_image(expected["overlay"]))


def test_a_recipe_travels_as_its_dict_and_pickled(plates):
    recipe = functions.Recipe.load(RECIPE)
    image = functions.load_image(plates[0]["image"])
    expected = comparable(recipe.inspect(image).to_dict())
    for copy in (functions.Recipe.from_dict(recipe.to_dict()), pickle.loads(pickle.dumps(recipe))):
        assert copy.to_dict() == recipe.to_dict()
        assert comparable(copy.inspect(image).to_dict()) == expected


def test_teach_finds_the_pose_the_command_line_tool_stores(cli, plates, tmp_path):
    taught = tmp_path / "taught.json"
    subprocess.run([cli, "teach", "--recipe", RECIPE, "--image", plates[0]["image"], "--out", str(taught)],
                   check=True, capture_output=True)
    with open(taught) as f:
        reference = json.load(f)["fixture"]["reference"]
    pose = functions.Recipe.load(RECIPE).teach(functions.load_image(plates[0]["image"]))
    # The file keeps the pose to the tool's written precision.
    assert pose == pytest.approx((reference["x"], reference["y"], reference["angle"]), abs=1e-3)


def broken(change):
    with open(RECIPE) as f:
        document = json.load(f)
    change(document)
    return document


@pytest.mark.parametrize(
    "document, words",
    [
        (broken(lambda d: d["dimensions"][2].update(line="nowhere")),
         "$.dimensions[2].line: 'nowhere' names no measurement"),
        (broken(lambda d: d["measurements"][4].update(tool="circles")), "$.measurements[4].tool: unknown tool"),
        (broken(lambda d: d["measurements"][0]["params"].update(percent=140)), "$.measurements[0].params"),
        (broken(lambda d: d["fixture"].update(kind="line_circle")), "$.fixture.kind"),
    ],
)
def test_a_recipe_fault_raises_value_error_naming_its_path(tmp_path, document, words):
    path = tmp_path / "broken.json"
    path.write_text(json.dumps(document))
    with pytest.raises(ValueError, match=re.escape(f"{path}: {words}")):
        functions.Recipe.load(str(path))
    with pytest.raises(ValueError, match=re.escape(words)):
        functions.Recipe.from_dict(document)


def test_threads_inspecting_at_once_give_the_sequential_results(plates):
    recipe = functions.Recipe.load(RECIPE)
    images = [functions.load_image(record["image"]) for record in plates]
    expected = [comparable(recipe.inspect(image).to_dict()) for image in images]
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        runs = [pool.submit(lambda: [comparable(recipe.inspect(image).to_dict()) for image in images])
                for _ in range(4)]
    assert all(run.result() == expected for run in runs)
