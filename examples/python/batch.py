"""Runs one tool or an inspection recipe over every image of a folder on a Dask cluster
and writes one CSV table.

The images are spread over the workers as a dask.bag of file names; each worker reads and
measures its images (the library releases the GIL, so a worker's threads measure in
parallel) and returns one flat row per image. Without --scheduler a local cluster is
started on this machine; with it, the work goes to that cluster's scheduler (the workers
need the `functions` module installed and the images at the same path).

    python3 examples/python/batch.py --images demo-out --tool line \\
        --params examples/line.json --out results.csv [--scheduler tcp://host:8786]
    python3 examples/python/batch.py --images plates \\
        --recipe examples/recipes/plate.json --out results.csv

A tool's columns: image, success, error, then the outputs, quality and diagnostic counts
of the tool's record flattened with dots (``line.0``, ``quality.angle.value``); per-point
lists are given as their length (``edgePoints.count``). A recipe's columns: image, pass
(every dimension in tolerance), error (an unreadable image), then each dimension's value
as ``name [unit]``, the columns of ``functions-cli inspect``'s results.csv.
"""

import argparse
import csv
import json
import os
import sys

import dask.bag
import distributed

import functions

IMAGE_EXTENSIONS = (".png", ".bmp", ".jpg", ".jpeg", ".tif", ".tiff")


def flatten(value, prefix, row):
    """Writes a record's value into row: numbers and words as they are, short number
    lists element by element, longer lists and lists of points or objects as a count."""
    if isinstance(value, dict):
        for key, item in value.items():
            if key != "points" or not isinstance(item, list):
                flatten(item, f"{prefix}.{key}" if prefix else key, row)
            else:
                row[f"{prefix}.{key}.count" if prefix else "points.count"] = len(item)
    elif isinstance(value, list):
        if len(value) <= 4 and all(isinstance(v, (int, float)) for v in value):
            for i, v in enumerate(value):
                row[f"{prefix}.{i}"] = v
        else:
            row[f"{prefix}.count"] = len(value)
    else:
        row[prefix] = value


def measure(path, tool, parameters):
    """One row of the table for one image; a file that cannot be measured gives its error."""
    row = {"image": path, "success": False, "error": ""}
    try:
        record = functions.run(tool, functions.load_image(path), parameters).to_dict(image_path=path)
    except (ValueError, TypeError) as error:
        row["error"] = str(error)
        return row
    row["success"] = record["success"]
    for part in ("outputs", "quality", "diagnostics"):
        if record.get(part) is not None:
            flatten(record[part], "" if part == "outputs" else part, row)
    return row


def inspect_image(path, recipe):
    """One row of the table for one image inspected by the recipe."""
    row = {"image": path, "pass": False, "error": ""}
    try:
        inspection = recipe.inspect(functions.load_image(path))
    except (ValueError, TypeError) as error:
        row["error"] = str(error)
        return row
    row["pass"] = inspection.passed
    for name, dimension in inspection.dimensions.items():
        row[f"{name} [{dimension.unit}]"] = dimension.value
    return row


def write_table(rows, path):
    columns = []
    for row in rows:
        columns += [key for key in row if key not in columns]
    with open(path, "w", newline="") as out:
        writer = csv.DictWriter(out, fieldnames=columns)
        writer.writeheader()
        writer.writerows(rows)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--images", required=True, help="folder of images")
    parser.add_argument("--tool", help="tool name (functions.tools())")
    parser.add_argument("--params", help="parameters file: roi and settings, as for functions-cli")
    parser.add_argument("--recipe", help="inspection recipe file, instead of --tool and --params")
    parser.add_argument("--out", required=True, help="CSV file to write")
    parser.add_argument("--scheduler", help="address of a running Dask scheduler (default: a local cluster)")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="local cluster: worker processes")
    parser.add_argument("--threads", type=int, default=1, help="local cluster: threads per worker")
    parser.add_argument("--in-process", action="store_true", help="local cluster: workers as threads of this process")
    args = parser.parse_args(argv)
    if bool(args.recipe) == bool(args.tool or args.params) or (args.tool is None) != (args.params is None):
        parser.error("give either --recipe, or --tool and --params")

    if args.recipe:
        try:
            recipe = functions.Recipe.load(args.recipe)
        except ValueError as error:
            sys.exit(str(error))
        # The recipe travels to the workers pickled, as its JSON.
        work, arguments, verdict = inspect_image, (recipe,), "pass"
    else:
        with open(args.params) as f:
            parameters = json.load(f)
        work, arguments, verdict = measure, (args.tool, parameters), "success"
    files = sorted(
        os.path.join(args.images, name)
        for name in os.listdir(args.images)
        if name.lower().endswith(IMAGE_EXTENSIONS)
    )
    if not files:
        sys.exit(f"{args.images}: no images ({', '.join(IMAGE_EXTENSIONS)})")

    cluster = None
    if args.scheduler:
        client = distributed.Client(args.scheduler)
    else:
        cluster = distributed.LocalCluster(
            n_workers=args.workers,
            threads_per_worker=args.threads,
            processes=not args.in_process,
            dashboard_address=None,
        )
        client = distributed.Client(cluster)
    try:
        bag = dask.bag.from_sequence(files, npartitions=min(len(files), 4 * args.workers * args.threads))
        rows = bag.map(work, *arguments).compute()
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    write_table(rows, args.out)
    failed = sum(not row[verdict] for row in rows)
    print(f"{len(rows)} images, {failed} failed -> {args.out}")


if __name__ == "__main__":
    main()
