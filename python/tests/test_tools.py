"""The measurement tools from Python against the command-line tool, and what they do with
arrays of every layout and with bad input."""

import json
import re
import subprocess
import threading

import numpy as np
import pytest

import functions
from conftest import EXAMPLES_DIR, TOOL_NAMES, example_parameters


def cli_record(cli, image_path, tool):
    run = subprocess.run(
        [cli, "run", "--image", image_path, "--tool", tool, "--params", f"{EXAMPLES_DIR}/{tool}.json"],
        check=True,
        capture_output=True,
        text=True,
    )
    return json.loads(run.stdout)


def within_rounding(exact, written, step=1e-4):
    """True when written is exact with every float rounded to the tool's output step."""
    if isinstance(exact, dict):
        return isinstance(written, dict) and exact.keys() == written.keys() and all(
            within_rounding(exact[key], written[key], step) for key in exact)
    if isinstance(exact, list):
        return isinstance(written, list) and len(exact) == len(written) and all(
            within_rounding(a, b, step) for a, b in zip(exact, written))
    if isinstance(exact, float) and isinstance(written, (int, float)):
        return abs(exact - written) <= step / 2 * (1 + 1e-9)
    return exact == written


def without_timing(record):
    return {key: value for key, value in record.items() if key != "timing_us"}


@pytest.mark.parametrize("tool", TOOL_NAMES)
def test_every_tool_gives_the_command_line_record_bit_for_bit(cli, scene_path, scene, tool):
    expected = without_timing(cli_record(cli, scene_path, tool))
    assert expected["success"], f"the example for {tool} should measure something in the demo scene"
    parameters = example_parameters(tool)
    by_name = functions.run(tool, scene, parameters)
    # The generated function, with the ROI as a shape object and the settings as keywords.
    roi = functions.ROI.from_dict(parameters.pop("roi"))
    by_function = getattr(functions, tool)(scene, roi, **parameters)
    for result in (by_name, by_function):
        # Parsed JSON floats are the exact doubles the tool wrote, so == is bit identity.
        assert without_timing(result.to_dict(image_path=scene_path)) == expected
        # The attributes keep the library's every digit; the tool writes them rounded.
        for name, value in expected["outputs"].items():
            assert within_rounding(getattr(result, name), value), name
        assert within_rounding(result.quality, expected.get("quality"))
        assert within_rounding(result.diagnostics, expected.get("diagnostics", {}))


def layouts(image):
    """The same pixels in layouts that are measured in place and ones that must be copied."""
    rows, cols = image.shape[:2]
    larger = np.zeros((rows + 7, cols + 13) + image.shape[2:], np.uint8)
    larger[5 : 5 + rows, 11 : 11 + cols] = image
    spaced = np.zeros((2 * rows,) + image.shape[1:], np.uint8)
    spaced[::2] = image
    mirrored = np.ascontiguousarray(image[:, ::-1])
    return {
        "crop of a larger array": larger[5 : 5 + rows, 11 : 11 + cols],
        "every other row": spaced[::2],
        "columns reversed": mirrored[:, ::-1],
        "column-major": np.asfortranarray(image),
        "read-only": np.frombuffer(image.tobytes(), np.uint8).reshape(image.shape),
    }


@pytest.mark.parametrize("layout", list(layouts(np.zeros((2, 2), np.uint8))))
def test_any_array_layout_measures_as_a_contiguous_copy(scene, layout):
    view = layouts(scene)[layout]
    assert np.array_equal(view, scene) and not (view.flags.c_contiguous and view.flags.writeable)
    for tool in TOOL_NAMES:
        parameters = example_parameters(tool)
        expected = without_timing(functions.run(tool, scene, parameters).to_dict())
        assert without_timing(functions.run(tool, view, parameters).to_dict()) == expected, tool


def test_colour_is_taken_in_rgb_order(scene):
    # The regions tool turns the whole image grey first, as OpenCV's 8-bit RGB -> grey does
    # (weights 0.299, 0.587, 0.114 in 15-bit fixed point); red and blue swapped would weigh
    # the channels differently.
    rng = np.random.default_rng(1)
    colour = np.stack([scene, np.clip(scene + rng.integers(0, 40, scene.shape), 0, 255), scene // 2], -1)
    colour = colour.astype(np.uint8)
    r, g, b = (colour[..., c].astype(np.int64) for c in range(3))
    grey = ((r * 9798 + g * 19235 + b * 3735 + (1 << 14)) >> 15).astype(np.uint8)
    parameters = example_parameters("regions")
    rgb = functions.run("regions", colour, parameters).outputs
    assert rgb == functions.run("regions", grey, parameters).outputs
    assert rgb != functions.run("regions", colour[..., ::-1], parameters).outputs


@pytest.mark.parametrize(
    "image, error, words",
    [
        (np.zeros((50, 50), np.float32), TypeError, "uint8"),
        (np.zeros((50, 50), np.uint16), TypeError, "uint8"),
        ([[0, 1], [2, 3]], TypeError, "numpy array"),
        (np.zeros(50, np.uint8), ValueError, "2-D"),
        (np.zeros((5, 5, 3, 2), np.uint8), ValueError, "2-D"),
        (np.zeros((0, 50), np.uint8), ValueError, "empty"),
        (np.zeros((50, 50, 2), np.uint8), ValueError, "channel"),
        (np.zeros((50, 50, 5), np.uint8), ValueError, "channels"),
    ],
)
def test_bad_arrays_raise_a_clear_error(image, error, words):
    roi = functions.RotateRectROI((25, 25), 0, 20, 20)
    with pytest.raises(error, match=words):
        functions.line(image, roi)


@pytest.mark.parametrize(
    "call, words",
    [
        (lambda image: functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160), percent=101),
         "'percent' is 101, outside its range 0 .. 100"),
        (lambda image: functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160), percent="high"),
         "'percent' must be an integer"),
        (lambda image: functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160), percent=True),
         "'percent' must be an integer"),
        (lambda image: functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160), transition="Up"),
         "'transition' must be one of"),
        (lambda image: functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160), transition=3),
         "'transition' must be one of"),
        (lambda image: functions.line(image, functions.RotateRectROI((1250, 223), 0, 70, 160)),
         "outside the image"),
        (lambda image: functions.line(image, functions.RectROI(10, 10, 50, 50)), "not accepted by this tool"),
        (lambda image: functions.run("line", image, {"roi": {"type": "rotated_rect"}}), "missing field"),
        (lambda image: functions.run("line", image, {"percent": 20}), "missing 'roi'"),
        (lambda image: functions.run("line", image, {"roi": None, "speed": 3}), "unknown parameter 'speed'"),
        (lambda image: functions.run("nothing", image, {}), "unknown tool 'nothing'"),
    ],
)
def test_bad_settings_raise_value_error_naming_the_setting(scene, call, words):
    with pytest.raises(ValueError, match=re.escape(words)):
        call(scene)


def test_enumeration_members_choose_like_their_names(scene):
    roi = functions.RotateRectROI((171.0, 223.4), 10, 70, 160)
    by_member = functions.line(scene, roi, transition=functions.EdgeTransition.LightToDark, direction=1)
    by_name = functions.line(scene, roi, transition="LightToDark", direction="RightToLeft")
    assert by_member.params == by_name.params and by_member.outputs == by_name.outputs


def test_threads_measuring_at_once_give_the_sequential_results(scene):
    expected = {tool: functions.run(tool, scene, example_parameters(tool)).to_dict() for tool in TOOL_NAMES}
    failures = []

    def work():
        for _ in range(3):
            for tool in TOOL_NAMES:
                got = functions.run(tool, scene, example_parameters(tool)).to_dict()
                got["timing_us"] = expected[tool]["timing_us"]
                if got != expected[tool]:
                    failures.append(tool)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures
