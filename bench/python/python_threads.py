"""Speed-up of Python threads measuring in parallel over the same list of images.

The library calls release the GIL, so four threads should finish a list of images well
before one thread does on two cores. Each round times one thread and then four threads
(a ThreadPoolExecutor) running the line tool over the same images; the speed-up is the
ratio of their wall times, as the median and the best over the rounds. The target is at
least 1.7 on two cores. Wall times need cores to spare: on a machine busy with other work
the threads only compete for the same share of it. So the script also prints the part of a
call that holds the GIL (a call's CPU time from Python less the same call's CPU time in C++)
and the speed-up that part allows on two idle cores, and as a peer in the same run the
speed-up of the same work in C++ threads without Python (the front-end layer's line tool
through _time_line_from_cpp): what the machine gives at that moment.

    PYTHONPATH=build/python /usr/bin/python3 bench/python/python_threads.py [--rounds 7]
"""

import argparse
import concurrent.futures
import os
import statistics
import sys
import threading
import time

import functions
from functions import _functions
from scene import LINE_PARAMETERS, edge_image

TARGET = 1.7


def measure(image):
    return functions.run("line", image, LINE_PARAMETERS).success


def run(images, threads):
    start = time.perf_counter()
    with concurrent.futures.ThreadPoolExecutor(threads) as pool:
        found = sum(pool.map(measure, images))
    elapsed = time.perf_counter() - start
    if found != len(images):
        sys.exit(f"{len(images) - found} images without a line")
    return elapsed


def cpp_run(image, calls, threads):
    workers = [
        threading.Thread(target=_functions._time_line_from_cpp, args=(image, LINE_PARAMETERS, calls // threads, "layer"))
        for _ in range(threads)
    ]
    start = time.perf_counter()
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return time.perf_counter() - start


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--images", type=int, default=16)
    parser.add_argument("--passes", type=int, default=40, help="times the list is measured per timing")
    args = parser.parse_args()

    images = [edge_image(shift=0.3 * k, seed=k) for k in range(args.images)] * args.passes
    speedups, cpp_speedups = [], []
    for _ in range(args.rounds):
        one = run(images, 1)
        four = run(images, 4)
        cpp = cpp_run(images[0], len(images), 1) / cpp_run(images[0], len(images), 4)
        speedups.append(one / four)
        cpp_speedups.append(cpp)
        print(f"1 thread {one:.3f} s, 4 threads {four:.3f} s: {one / four:.2f}x (C++ threads: {cpp:.2f}x)")
    image = images[0]
    start = time.thread_time()
    for _ in range(500):
        measure(image)
    python = (time.thread_time() - start) / 500
    start = time.thread_time()
    _functions._time_line_from_cpp(image, LINE_PARAMETERS, 500, "layer")
    native = (time.thread_time() - start) / 500
    held = max(0.0, python - native) / python
    print(f"a call: {python * 1e6:.1f} us from Python, {native * 1e6:.1f} us in C++: {100 * held:.1f} % holds the GIL, "
          f"which allows at most {1 / (held + (1 - held) / 2):.2f}x on two idle cores")
    median, best = statistics.median(speedups), max(speedups)
    print(f"speed-up of 4 threads over 1 on {os.cpu_count()} cores: median {median:.2f}x, best {best:.2f}x "
          f"(target at least {TARGET}); the same work in C++ threads: median {statistics.median(cpp_speedups):.2f}x")
    return 0 if median >= TARGET else 1


if __name__ == "__main__":
    sys.exit(main())
