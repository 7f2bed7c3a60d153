"""Shared fixtures: the command-line tool the module is compared with, the demo scene that
every example parameters file is written for, and the plates the example recipe inspects."""

import json
import os
import subprocess

import pytest

import functions

SOURCE_DIR = os.environ.get("FUNCTIONS_SOURCE_DIR", os.path.join(os.path.dirname(__file__), "..", ".."))
EXAMPLES_DIR = os.path.join(SOURCE_DIR, "examples")
TOOL_NAMES = [tool["name"] for tool in functions.tools()]
RECIPE = os.path.join(EXAMPLES_DIR, "recipes", "plate.json")


@pytest.fixture(scope="session")
def cli():
    path = os.environ.get("FUNCTIONS_CLI")
    if not path:
        pytest.fail("FUNCTIONS_CLI must name the functions-cli executable (ctest sets it)")
    return path


@pytest.fixture(scope="session")
def scene_path(cli, tmp_path_factory):
    folder = tmp_path_factory.mktemp("demo")
    subprocess.run([cli, "demo", "--out", str(folder)], check=True, capture_output=True)
    return str(folder / "scene.png")


@pytest.fixture(scope="session")
def scene(scene_path):
    return functions.load_image(scene_path)


@pytest.fixture(scope="session")
def plates(cli, tmp_path_factory):
    """The rendered plates of the recipe example and the records `functions-cli inspect`
    wrote for them, in file name order."""
    folder = tmp_path_factory.mktemp("plates")
    subprocess.run([cli, "demo", "--recipe-images", str(folder / "images")], check=True, capture_output=True)
    subprocess.run([cli, "inspect", "--recipe", RECIPE, "--images", str(folder / "images"), "--out",
                    str(folder / "out")], check=True, capture_output=True)
    with open(folder / "out" / "results.jsonl") as f:
        return [json.loads(line) for line in f]


def example_parameters(tool):
    with open(os.path.join(EXAMPLES_DIR, f"{tool}.json")) as f:
        return json.load(f)
