"""Cost of the line tool called from Python against the same call from C++, in one run.

Timings on the same 1280 x 1024 image (passed as a numpy array, without a copy) and the
same settings, interleaved round by round:
  - python: functions.line(image, roi, transition=...) returning its Result;
  - C++ through the layer: what the Python call does below Python (settings checked, the
    tool run with its fit quality and point diagnostics, the JSON record made), timed in C++;
  - C++ direct + quality: clcEdgeLineAndFit and the quality and point diagnostics of its
    fit (getLineFitQuality, getLineDiagnostics), the information of the record without JSON;
  - C++ direct: clcEdgeLineAndFit alone with a record filled per call, as a host calls it.
Times are CPU seconds of this (single) thread, medians over the rounds, so other load on a
shared machine disturbs them less than wall time would. The binding's target is python at
most 1.15 x C++ through the layer.

    PYTHONPATH=build/python /usr/bin/python3 bench/python/python_overhead.py [--rounds 30]
"""

import argparse
import statistics
import sys
import time

import numpy as np

import functions
from functions import _functions
from scene import LINE_PARAMETERS, edge_image

TARGET = 1.15


def per_call(call, repeats):
    start = time.thread_time()
    call(repeats)
    return (time.thread_time() - start) / repeats


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=30)
    parser.add_argument("--repeats", type=int, default=200, help="calls per timing")
    args = parser.parse_args()

    image = edge_image()
    roi = functions.ROI.from_dict(LINE_PARAMETERS["roi"])
    copied = np.asfortranarray(image)  # a layout the module must copy
    if not functions.line(image, roi, transition="DarkToLight").success:
        sys.exit("the benchmark's line was not found")

    def python(n, array=image):
        for _ in range(n):
            functions.line(array, roi, transition="DarkToLight")

    timings = {
        "python": lambda n: python(n),
        "python, array copied": lambda n: python(n, copied),
        "C++ through the layer": lambda n: _functions._time_line_from_cpp(image, LINE_PARAMETERS, n, "layer"),
        "C++ direct + quality": lambda n: _functions._time_line_from_cpp(image, LINE_PARAMETERS, n, "direct+quality"),
        "C++ direct": lambda n: _functions._time_line_from_cpp(image, LINE_PARAMETERS, n, "direct"),
    }
    samples = {name: [] for name in timings}
    for _ in range(args.rounds):
        for name, call in timings.items():
            samples[name].append(per_call(call, args.repeats))
    median = {name: statistics.median(values) for name, values in samples.items()}
    for name, value in median.items():
        print(f"{name:24s} {value * 1e6:8.1f} us per call")
    layer_ratio = median["python"] / median["C++ through the layer"]
    print(f"python / C++ through the layer: {layer_ratio:.3f} (target at most {TARGET})")
    for peer in ("C++ direct + quality", "C++ direct"):
        print(f"python / {peer + ':':22s} {median['python'] / median[peer]:.3f}")
    return 0 if layer_ratio <= TARGET else 1


if __name__ == "__main__":
    sys.exit(main())
