#!/usr/bin/env python3
"""Draws the accuracy plots and writes the accuracy report from the study's CSV files.

usage: report.py CSV_DIR REPORT_MD PLACEMENTS

The plots go next to the CSV files; the report links to them relative to its own folder.
Every figure quoted in the text is read from the CSV files, so the report cannot drift
from the run that produced them.
"""

import csv
import math
import os
import re
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

LOG_FLOOR = 1e-6  # log plots draw smaller errors (exact fits) at this level


# ---------------------------------------------------------------------------------
# Data
# ---------------------------------------------------------------------------------

class Study:
    def __init__(self, name, title, intro, figures, log=False, notes=""):
        self.name = name
        self.title = title
        self.intro = intro
        self.figures = figures  # quantities to plot, one figure each
        self.log = log
        self.notes = notes
        self.rows = []
        self.series_col = self.noise_col = None

    def load(self, folder):
        path = os.path.join(folder, self.name + ".csv")
        if not os.path.exists(path):
            return False
        with open(path, newline="") as f:
            reader = csv.DictReader(f)
            self.series_col, self.noise_col = reader.fieldnames[3], reader.fieldnames[4]
            for r in reader:
                row = dict(r)
                for k in ("trials", "found"):
                    row[k] = int(row[k])
                for k in (self.series_col, self.noise_col, "bias", "rms", "p95", "worst", "coverage", "mean_sigma"):
                    row[k] = float(row[k])
                row["intervals"] = int(row["intervals"])
                row["series"], row["noise"] = row[self.series_col], row[self.noise_col]
                self.rows.append(row)
        return True

    def unique(self, key, rows=None):
        seen = []
        for r in rows if rows is not None else self.rows:
            if r[key] not in seen:
                seen.append(r[key])
        return seen

    def select(self, **match):
        return [r for r in self.rows if all(r[k] == v for k, v in match.items())]

    def value(self, tool, quantity, series, noise, stat):
        rows = self.select(tool=tool, quantity=quantity, series=float(series), noise=float(noise))
        if not rows:
            raise KeyError(f"{self.name}: no row {tool} / {quantity} / {series} / {noise}")
        if stat == "found_pct":
            return 100.0 * rows[0]["found"] / rows[0]["trials"]
        return rows[0][stat]

    def series_label(self, value):
        if self.series_col == "blur_px":
            return f"blur {value:g} px"
        return "no outliers" if value == 0 else f"{value:g} % outliers"

    def noise_label(self):
        return "noise (grey levels)" if self.noise_col == "noise_grey" else "noise (px)"


def fmt(v):
    if v is None or (isinstance(v, float) and math.isnan(v)):
        return "–"
    a = abs(v)
    if a == 0:
        return "0"
    if a < 1e-3:
        return f"{v:.0e}"
    if a < 10:
        return f"{v:.3f}"
    return f"{v:.1f}"


def fill_figures(text, study):
    """Replaces {tool|quantity|series|noise|stat} by the value from the study's CSV."""
    def one(m):
        tool, quantity, series, noise, stat = m.group(1).split("|")
        return fmt(study.value(tool, quantity, series, noise, stat))
    return re.sub(r"\{([^{}|]+\|[^{}|]+\|[^{}|]+\|[^{}|]+\|[^{}|]+)\}", one, text)


# ---------------------------------------------------------------------------------
# Plots and tables
# ---------------------------------------------------------------------------------

def plot(study, quantity, folder):
    rows = study.select(quantity=quantity)
    tools = study.unique("tool", rows)
    unit = rows[0]["unit"]
    count = unit == "count"
    fig, axes = plt.subplots(1, len(tools), figsize=(3.4 * len(tools) + 0.6, 3.4), sharey=True, squeeze=False)
    for ax, tool in zip(axes[0], tools):
        for series in study.unique("series", rows):
            points = [r for r in rows if r["tool"] == tool and r["series"] == series]
            ys = [r["bias"] if count else r["rms"] for r in points]
            if study.log:
                ys = [max(y, LOG_FLOOR) if not math.isnan(y) else y for y in ys]
            ax.plot([r["noise"] for r in points], ys, marker="o", label=study.series_label(series))
        ax.set_title(tool, fontsize=10)
        ax.set_xlabel(study.noise_label())
        ax.grid(True, alpha=0.3)
        if study.log:
            ax.set_yscale("log")
    axes[0][0].set_ylabel(f"mean {quantity}" if count else f"RMS error of {quantity} ({unit})")
    axes[0][0].legend(fontsize=8)
    fig.tight_layout()
    name = f"{study.name}_{re.sub(r'[^a-z0-9]+', '_', quantity.lower()).strip('_')}.png"
    fig.savefig(os.path.join(folder, name), dpi=90)
    plt.close(fig)
    return name


def pivot_table(study):
    """RMS (or mean count) per noise level, one line per tool, quantity and series."""
    noises = study.unique("noise")
    head = f"| tool | quantity | {study.series_col.split('_')[0]} | " + " | ".join(f"{n:g}" for n in noises) + " |"
    lines = [head, "|" + "---|" * (3 + len(noises))]
    keys = []
    for r in study.rows:
        key = (r["tool"], r["quantity"], r["series"])
        if key not in keys:
            keys.append(key)
    for tool, quantity, series in keys:
        cells = []
        for n in noises:
            r = study.select(tool=tool, quantity=quantity, series=series, noise=n)[0]
            cell = fmt(r["bias"] if r["unit"] == "count" else r["rms"])
            if r["found"] < r["trials"]:
                cell += f" ({100.0 * r['found'] / r['trials']:.0f} %)"
            cells.append(cell)
        unit = study.select(tool=tool, quantity=quantity)[0]["unit"]
        label = "mean count" if unit == "count" else f"{quantity} ({unit})"
        lines.append(f"| {tool} | {label} | {series:g} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def full_table(study):
    lines = [f"| tool | quantity | unit | {study.series_col} | {study.noise_col} | found | bias | RMS | p95 | worst |",
             "|---|---|---|---|---|---|---|---|---|---|"]
    for r in study.rows:
        lines.append(f"| {r['tool']} | {r['quantity']} | {r['unit']} | {r['series']:g} | {r['noise']:g} | "
                     f"{r['found']}/{r['trials']} | {fmt(r['bias'])} | {fmt(r['rms'])} | {fmt(r['p95'])} | "
                     f"{fmt(r['worst'])} |")
    return "\n".join(lines)


# ---------------------------------------------------------------------------------
# Coverage of the reported 95 % intervals
# ---------------------------------------------------------------------------------

COVERAGE_RANGE = (0.90, 0.98)


def verdict(study, r):
    """Why a row's coverage is what it is: 'noise' rows are held to COVERAGE_RANGE.

    A systematic error dominates when, at the same blur (or outlier share) without noise,
    either the error or the reported sigma already reaches half the sigma reported at this
    noise level (blur, whole-pixel rules and rendering shape the residuals), or when the
    bias itself reaches half of it (a fit biased by the noise, as the algebraic circle fit
    on short arcs).
    """
    if r["noise"] == 0:
        return "no noise"
    if study.series_col == "outliers_pct" and r["series"] > 0:
        return "outliers"
    quiet = study.select(tool=r["tool"], quantity=r["quantity"], series=r["series"], noise=0.0)
    sigma = r["mean_sigma"]
    if quiet and (quiet[0]["rms"] >= 0.5 * sigma or quiet[0]["mean_sigma"] >= 0.5 * sigma):
        return "systematic"
    if abs(r["bias"]) >= 0.5 * sigma:
        return "bias"
    lo, hi = COVERAGE_RANGE
    return "noise" if lo <= r["coverage"] <= hi else "noise, OUT OF RANGE"


def coverage_rows(loaded):
    for study in loaded.values():
        for r in study.rows:
            if r["intervals"] > 0:
                yield study, r


def coverage_table(loaded):
    lines = ["| study | tool | quantity | series | noise | intervals | bias | RMS | mean sigma | coverage | "
             "dominated by |",
             "|---|---|---|---|---|---|---|---|---|---|---|"]
    for study, r in coverage_rows(loaded):
        series = study.series_label(r["series"])
        noise = f"{r['noise']:g} {'grey' if study.noise_col == 'noise_grey' else 'px'}"
        lines.append(f"| {study.name} | {r['tool']} | {r['quantity']} ({r['unit']}) | {series} | {noise} | "
                     f"{r['intervals']}/{r['trials']} | {fmt(r['bias'])} | {fmt(r['rms'])} | "
                     f"{fmt(r['mean_sigma'])} | {100.0 * r['coverage']:.1f} % | {verdict(study, r)} |")
    return "\n".join(lines)


def coverage_section(loaded):
    rows = list(coverage_rows(loaded))
    if not rows:
        return ""
    verdicts = [verdict(study, r) for study, r in rows]
    held = [r for (study, r), v in zip(rows, verdicts) if v == "noise"]
    missed = [(study, r) for (study, r), v in zip(rows, verdicts) if v == "noise, OUT OF RANGE"]
    lo, hi = COVERAGE_RANGE
    text = f"""## How far to trust the reported uncertainty

Every fitted value comes with a standard uncertainty and a 95 % interval (`FitQuality.h`:
the residual variance times the inverse normal matrix of the geometric fit, in the
M-estimator form for robust fits, with Student's t on n − p degrees of freedom; for edge
pairs the spread of the pairs' widths). Here each placement's interval is checked against
the truth: *coverage* is the share of placements whose true value lies inside it, next to
the bias and the RMS error; *mean sigma* is the mean reported standard uncertainty.

The interval describes random scatter only. The last column says what dominates each
row:

- **noise**: the errors are random and the interval must hold the truth in {100 * lo:.0f} to
  {100 * hi:.0f} % of the placements; {len(held)} rows are of this kind, and {len(missed)} of them miss
  that range (marked OUT OF RANGE{': ' + ', '.join(sorted({f'{r["tool"]} {r["quantity"]}' for s, r in missed})) if missed else ''}).
- **systematic**: without noise, at the same blur or outlier share, the error or the
  reported sigma already reaches half the sigma reported here. Blur moves edges (a disc's
  radius shrinks), whole-pixel rules round (edge pairs, the ellipse fit's truncated axes)
  and the rendering leaves ripples that are the same for neighbouring points, so they do
  not average out as the interval assumes: read the bias column for these rows, not the
  coverage.
- **bias**: the fit's own bias, grown with the noise, reaches half the sigma (the
  algebraic circle fit on a 120° arc shrinks the radius): the bias column again.
- **outliers**, **no noise**: the model of independent, equal errors does not hold;
  shown for completeness.

Robust fits are judged by their weights: a Tukey fit's zero-weight points add nothing to
its sigma. With the adaptive scale (about twice the noise) Tukey's weights cut into the
noise itself, so its sandwich sigma rests on fewer effective points and varies more from
placement to placement than a least-squares one: its coverage sits at the lower end of
the range or just below it. The arc tool's Tukey fit stops once a step moves the circle by less than
0.01 px and restarts from random samples, so it does not sit exactly at the M-estimate
the sandwich covariance assumes; its intervals are the least reliable here.

"""
    return text + coverage_table(loaded) + "\n\n"


# ---------------------------------------------------------------------------------
# The report
# ---------------------------------------------------------------------------------

PREAMBLE = """\
# Accuracy

How close each tool comes to the truth, measured on synthetic images and point sets
whose geometry is known exactly. Generated by `scripts/accuracy.sh` (do not edit by hand:
rerun it); the raw figures are in the CSV files next to the plots in
[`accuracy/`](accuracy/).

## Method

- **Images** are rendered by the synthetic scene renderer (`apps/synthetic`): every pixel
  takes the exact share of its area that the shape covers (16 × 16 sub-samples where an
  edge crosses it), then the image is blurred with a Gaussian of sigma 0.5, 1 or 2 px,
  Gaussian grey noise of sigma 0, 1, 2, 5 or 10 grey levels is added, and the result is
  rounded to 8 bits. Shapes are bright (180) on dark (80): a contrast of 100 grey levels.
- **Coordinates**: pixel (x, y) has its centre at (x, y), for the renderer and for the
  tools alike, so a bias in the tables is the tool's own and not a half-pixel mix-up of
  conventions (where a tool's definition puts its points off-centre, the section says so).
- **Point sets** for the fits lie exactly on the shape, get Gaussian noise of sigma 0 to 1
  px on both coordinates and, in the outlier series, 10 % of the points pushed 5 to 20 px
  off the shape.
- **Placements**: every setting measures the same {placements} random placements
  (position, angle, size), drawn from fixed seeds; the noise of a placement is one fixed
  draw scaled to each level. A rerun reproduces every figure exactly.
- **Statistics** per tool, quantity and setting: *bias* is the mean signed error, *RMS*
  the root mean square error, *p95* the 95th percentile and *worst* the largest absolute
  error. Where an error is a distance (a centre's distance from the true centre) the bias
  column is its mean. *found* counts the results the tool delivered; a missing result is
  not an error of zero but is left out of the statistics and shown as a percentage.

"""


def headline(studies):
    """One line per tool and typical condition: the figures README.md quotes."""
    lines = ["## Headline figures", "",
             "| tool | quantity | condition | bias | RMS | p95 | found |", "|---|---|---|---|---|---|---|"]

    def add(name, tool, quantity, series, noise, condition):
        study = studies.get(name)
        rows = study.select(tool=tool, quantity=quantity, series=series, noise=noise) if study else []
        if not rows:
            return
        r = rows[0]
        lines.append(f"| {tool} | {quantity} ({r['unit']}) | {condition} | {fmt(r['bias'])} | {fmt(r['rms'])} | "
                     f"{fmt(r['p95'])} | {100.0 * r['found'] / r['trials']:.0f} % |")

    for tool, quantity in (("clcEdgePoint", "position"), ("clcSegmentPoints", "position"),
                           ("clcEdgePoints", "position")):
        add("edge", tool, quantity, 1, 0, "blur 1 px, no noise")
        add("edge", tool, quantity, 1, 5, "blur 1 px, noise 5")
    for tool, quantity in (("clcEdgeLineAndFit", "angle"), ("clcEdgeLineAndFit", "offset"),
                           ("clcMulEdgePoints", "width")):
        name = "edge_pairs" if tool == "clcMulEdgePoints" else "line"
        add(name, tool, quantity, 1, 0, "blur 1 px, no noise")
        add(name, tool, quantity, 1, 5, "blur 1 px, noise 5")
    for tool, quantity in (("clcCirclePointsAndFit ring", "radius"), ("clcCirclePointsAndFit arc 120", "radius"),
                           ("clcArcPointsAndFit", "start angle"), ("cv::HoughCircles", "radius"),
                           ("cv::HoughCircles ALT", "radius")):
        add("circle", tool, quantity, 1, 0, "blur 1 px, no noise")
        add("circle", tool, quantity, 1, 5, "blur 1 px, noise 5")
    for tool in ("criticalPointsDetection", "cv::cornerSubPix"):
        add("saddle", tool, "x", 1, 0, "blur 1 px, no noise")
        add("saddle", tool, "x", 1, 5, "blur 1 px, noise 5")
    for tool in ("fitLine LS", "fitLine Tukey", "cv::fitLine Huber"):
        add("fit_line", tool, "offset", 0, 0.2, "noise 0.2 px")
        add("fit_line", tool, "offset", 10, 0.2, "noise 0.2 px, 10 % outliers")
    for tool in ("fitCircle LS", "fitCircle Tukey", "fitCircle Taubin"):
        add("fit_circle", tool, "radius (full)", 0, 0.2, "noise 0.2 px")
        add("fit_circle", tool, "radius (full)", 10, 0.2, "noise 0.2 px, 10 % outliers")
    for tool in ("fitEllipse LS", "cv::fitEllipseDirect"):
        add("fit_ellipse", tool, "major axis", 0, 0, "no noise")
        add("fit_ellipse", tool, "major axis", 0, 0.2, "noise 0.2 px")
    return "\n".join(lines) + "\n\n"


STUDIES = [
    Study(
        "edge", "Edge position",
        """\
A straight step edge at a random angle and sub-pixel position. The error is the signed
distance of the reported point from the true edge line, positive towards the bright side
(the direction of the scan).

- **clcEdgePoint**: a 40 × 20 px caliper laid across the edge, its centre up to 4 px off
  the edge and turned up to 3° against it; dark to light, threshold 50, smoothWidth 3,
  minGradient 5.
- **clcSegmentPoints**: the segment caliper alone on an upright 48 × 50 px strip holding
  an edge tilted up to 5° from vertical; five segments of 10 rows, sigma 1, 50 %,
  minStrength 5. Every segment's point is one measurement.
- **clcEdgePoints**: the edge points tool on the same caliper as clcEdgePoint (two
  segments of 10 rows, sigma 1, 50 %, minStrength 5), its points mapped into the image by
  clcEdgePointsAndTransform: the segment caliper behind the ROI's straightening warp.

**Reading the results.** clcEdgePoint takes whole samples (or the centre of a plateau) of
the one-sided difference p[i] − p[i−1], which marks a step lying between samples i−1 and
i at sample i. Its points therefore sit about half a pixel past the edge in the scan
direction (bias {clcEdgePoint|position|1|0|bias} px at blur 1 px without noise) and spread
over a whole pixel (worst {clcEdgePoint|position|1|0|worst} px). That is how the tool is
defined, not a rendering offset: the shift is along the scan, whichever way it runs.
clcSegmentPoints refines the peak of the smoothed central difference with a parabola: no
noticeable bias ({clcSegmentPoints|position|1|0|bias} px) and an RMS error of
{clcSegmentPoints|position|1|0|rms} px without noise, {clcSegmentPoints|position|1|5|rms} px
at noise 5. A segment reports its centre line at start + width/2, which is half a pixel
beyond the centre of the rows it averages (their pixel centres run from start to
start + width − 1); on an edge tilted by t against the segments this moves the point by
0.5·sin t across the edge, at most 0.044 px at 5°, and that share is included in the
figures. clcEdgePoints adds the bilinear interpolation of the straightening warp and
stays as close: {clcEdgePoints|position|1|0|rms} px RMS without noise,
{clcEdgePoints|position|1|5|rms} px at noise 5. Heavier blur lowers the derivative peak
against the noise, so the noisy settings grow fastest at blur 2 px.
""",
        ["position"]),
    Study(
        "edge_pairs", "Edge pairs",
        """\
A bright bar 8 to 30 px wide at a random angle. clcMulEdgePoints runs over a ROI laid
across it, 24 px wider than the bar and 40 px high (four bands of 10 rows; both
polarities, the outermost pair, threshold 50, smoothWidth 3, minGradient 5), up to 3 px
off the bar's middle and turned up to 3° against it. The truth is the width along the
ROI, width / cos(skew); every band's pair is one measurement.

Like clcEdgePoint, the tool takes whole samples of a one-sided difference, so each edge is
reported half a pixel late in the scan direction: the two shifts cancel in the width (bias
{clcMulEdgePoints|width|1|0|bias} px at blur 1 px without noise), but each edge is rounded
to a whole sample, which leaves {clcMulEdgePoints|width|1|0|rms} px RMS and up to
{clcMulEdgePoints|width|1|0|worst} px without noise. An error of several pixels, as at
blur 2 px and noise 10 (worst {clcMulEdgePoints|width|2|10|worst} px), can only come from a
noise peak that passes the threshold and becomes the first or last peak of its band.
""",
        ["width"]),
    Study(
        "line", "Line tool",
        """\
A straight step edge at a random angle through the image; clcEdgeLineAndFit runs over a
40 × 100 px ROI laid across it (ten calipers of 10 rows, sigma 1, 50 %, minStrength 5,
dark to light, fitMode 0), its centre up to 4 px off the edge and 10 px along it, turned
up to 3° against the edge. The angle error is that of the fitted line's direction (folded
into ±90°); the offset error is the signed distance from the true edge, along its normal,
where the ROI's centre line meets it.

Without noise the line lies within {clcEdgeLineAndFit|angle|1|0|rms}° RMS
(worst {clcEdgeLineAndFit|angle|1|0|worst}°) and {clcEdgeLineAndFit|offset|1|0|rms} px RMS
offset (worst {clcEdgeLineAndFit|offset|1|0|worst} px) at blur 1 px: fitting ten caliper
points averages away most of the single caliper's error. At noise 10 the offset grows to
{clcEdgeLineAndFit|offset|1|10|rms} px RMS at blur 1 px and
{clcEdgeLineAndFit|offset|2|10|rms} px at blur 2 px.
""",
        ["angle", "offset"]),
    Study(
        "circle", "Circle and arc tools",
        """\
A bright disc of radius 30 to 70 px. The circle tool (clcCirclePointsAndFit, fitMode 0,
no best-edge selection, angular smoothing or outlier removal) runs on a RingROI and on an
ArcROI covering a random third of the turn, both centred up to 3 px off the disc's centre
and reaching 10 px either side of its edge, with calipers of 10 rows scanning outwards
from light to dark (sigma 1, 50 %, minStrength 5). The arc tool (clcArcPointsAndFit,
fitMode 0) runs on the same ArcROI; its start and end angles are compared with the
angles, about the true centre, at which the true circle crosses the ROI's boundary rays,
which is how the tool defines the arc's extent. cv::HoughCircles runs on the whole image
with the radius range the ring gives (true radius ± 10 px), a minimum distance of 100 px
and untuned parameters (HOUGH_GRADIENT: dp 1, the default Canny threshold 100 and an
accumulator threshold of 20; HOUGH_GRADIENT_ALT: the values its documentation recommends,
dp 1.5, Canny threshold 300 and perfectness 0.9); its first (strongest) circle is scored. Centre errors are signed, per axis.

Without noise the ring gives the radius within {clcCirclePointsAndFit ring|radius|1|0|rms} px
RMS and the centre within {clcCirclePointsAndFit ring|centre x|1|0|rms} px RMS per axis at
blur 1 px. The radius comes out slightly small, more so with more blur (bias
{clcCirclePointsAndFit ring|radius|0.5|0|bias}, {clcCirclePointsAndFit ring|radius|1|0|bias}
and {clcCirclePointsAndFit ring|radius|2|0|bias} px at blur 0.5, 1 and 2 px): blurring a
disc moves the steepest point of its edge inwards by about sigma² / (2 · radius), and the
calipers find the steepest point. On the 120° arc the errors are about twice the ring's
(radius {clcCirclePointsAndFit arc 120|radius|1|0|rms} px RMS). The arc tool places the
arc's ends within {clcArcPointsAndFit|start angle|1|0|rms}° RMS without noise and
{clcArcPointsAndFit|start angle|1|5|rms}° at noise 5.

The classic Hough method comes within about a third of a pixel in the centre
({cv::HoughCircles|centre x|1|0|rms} px RMS) and half a pixel in the radius
({cv::HoughCircles|radius|1|0|rms} px RMS) without noise: an order of magnitude behind the
calipers. The alternative method's centres are no closer ({cv::HoughCircles ALT|centre x|1|0|rms} px) and its radius is
{cv::HoughCircles ALT|radius|1|0|bias} px too large on average. At noise 10 the classic
method's strongest circle is often another one (radius RMS
{cv::HoughCircles|radius|1|10|rms} px at blur 1 px), and at blur 2 px the alternative
method finds {cv::HoughCircles ALT|radius|2|10|found_pct} % of the discs. Both could be
tuned for these images; the study uses settings a user would start from.
""",
        ["radius", "centre x", "start angle"], log=True),
    Study(
        "saddle", "Saddle points",
        """\
A chessboard of random square size (12 to 20 px), angle and sub-pixel offset filling a
96 × 96 image; the inner corners at least 12 px from the border are scored.
criticalPointsDetection runs with sigma 1 px and threshold 2. It reports every pixel near
a corner whose own quadratic fit passes, often two or three per corner, each moved only
along its own gradient; the points within 2 px of a corner are merged into their mean, as
a user would, and that mean is scored. Points farther than 2 px from every grid crossing
are counted as spurious. cv::cornerSubPix refines from the pixel nearest each true corner
(window 9 × 9, 40 iterations, 0.001 px).

Without noise the detector finds {criticalPointsDetection|x|1|0|found_pct} % of the corners
at blur 1 px and places them within {criticalPointsDetection|x|1|0|rms} px RMS per axis
(worst {criticalPointsDetection|x|1|0|worst} px); cv::cornerSubPix, which is a refiner and needs a start
point, reaches {cv::cornerSubPix|x|1|0|rms} px. At noise 10 the detector produces
{criticalPointsDetection|spurious points per image|1|10|bias} spurious points per image at
blur 1 px.
""",
        ["x", "spurious points per image"]),
    Study(
        "fit_line", "Line fits on point sets",
        """\
50 points 2 px apart on a line of random direction around image-sized coordinates. The
angle error is in degrees; the offset error is the signed distance, along the true
normal, between the fitted and the true line at the middle of the point set. fitLine is
compared with cv::fitLine (least squares, and Huber with its automatic scale); the robust
fits use the adaptive scale (param 0).

Without outliers least squares gives {fitLine LS|offset|0|0.2|rms} px RMS offset at
0.2 px point noise, the same as cv::fitLine ({cv::fitLine L2|offset|0|0.2|rms} px), and
Huber weights cost nothing measurable ({fitLine Huber|offset|0|0.2|rms} px). Tukey weights
do ({fitLine Tukey|offset|0|0.2|rms} px): the adaptive scale, 2 · median / 0.6745, is about
twice the noise sigma, where Tukey weights are usually given about 4.7 sigma, so good
points lose weight too. With 10 % outliers the least-squares line is pulled
by {fitLine LS|offset|10|0.2|rms} px RMS while Huber keeps {fitLine Huber|offset|10|0.2|rms} px,
Tukey {fitLine Tukey|offset|10|0.2|rms} px and cv::fitLine's Huber
{cv::fitLine Huber|offset|10|0.2|rms} px; without noise the Tukey fit rejects the outliers
completely ({fitLine Tukey|offset|10|0|rms} px).
""",
        ["angle", "offset"], log=True),
    Study(
        "fit_circle", "Circle fits on point sets",
        """\
60 points evenly spread over a whole circle ("full") and over a 120° arc ("arc 120"),
radius 20 to 80 px, centre at image-sized coordinates. The centre error is the distance
from the true centre; the radius error is signed. OpenCV has no circle fit to compare
with (its Hough transform is measured on images in the circle tool's study).

On the whole circle least squares and Taubin agree ({fitCircle LS|radius (full)|0|0.2|rms}
and {fitCircle Taubin|radius (full)|0|0.2|rms} px RMS radius at 0.2 px noise); Tukey is
noisier ({fitCircle Tukey|radius (full)|0|0.2|rms} px) for the reason given for lines. On
a 120° arc the algebraic least-squares fit shrinks the radius as the noise grows (bias
{fitCircle LS|radius (arc 120)|0|1|bias} px at 1 px noise), while Taubin's fit stays
nearly unbiased ({fitCircle Taubin|radius (arc 120)|0|1|bias} px). With 10 % outliers on
the whole circle the robust fits hold (Huber {fitCircle Huber|radius (full)|10|0.2|rms} px,
Tukey {fitCircle Tukey|radius (full)|10|0.2|rms} px RMS radius against
{fitCircle LS|radius (full)|10|0.2|rms} px for least squares and
{fitCircle Taubin|radius (full)|10|0.2|rms} px for Taubin). On the arc Huber breaks down in
a few placements (p95 {fitCircle Huber|radius (arc 120)|10|0|p95} px but worst
{fitCircle Huber|radius (arc 120)|10|0|worst} px without noise) while Tukey still rejects
the outliers exactly ({fitCircle Tukey|radius (arc 120)|10|0|worst} px worst).
""",
        ["radius (full)", "centre (full)", "radius (arc 120)", "centre (arc 120)"], log=True),
    Study(
        "fit_ellipse", "Ellipse fits on point sets",
        """\
60 points evenly spread in the parameter of an ellipse with semi-axes of 30 to 60 px
(minor 0.5 to 0.8 of major) at a random angle; outliers are pushed along the radius. Axes
are compared as full lengths; the angle is that of the major axis, in degrees. The peer is
cv::fitEllipseDirect (the same direct method, fed single-precision points).

fitEllipse reports its axes in whole pixels, truncated (an ellipse 81.4 px wide comes out
as 81): its axes are short by half a pixel on average even without noise (bias
{fitEllipse LS|major axis|0|0|bias} px, worst {fitEllipse LS|major axis|0|0|worst} px),
while its centre and angle are exact to single precision. The direct fit of OpenCV keeps
fractional axes ({cv::fitEllipseDirect|major axis|0|0|rms} px RMS without noise). The
robust fits reject the outliers: {fitEllipse Tukey|centre|10|0.2|rms} px RMS centre error
for Tukey with 10 % outliers against {fitEllipse LS|centre|10|0.2|rms} px for least squares
and {cv::fitEllipseDirect|centre|10|0.2|rms} px for cv::fitEllipseDirect.
""",
        ["centre", "major axis", "minor axis", "angle"], log=True),
]


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    folder, report, placements = sys.argv[1], sys.argv[2], int(sys.argv[3])
    loaded = {s.name: s for s in STUDIES if s.load(folder)}
    out = []
    for study in STUDIES:
        if study.name not in loaded:
            continue
        figures = [plot(study, q, folder) for q in study.figures if study.select(quantity=q)]
        rel = os.path.relpath(folder, os.path.dirname(os.path.abspath(report)))
        out.append(f"## {study.title}\n\n{fill_figures(study.intro, study)}\n")
        out.extend(f"![{study.title}: {name}]({rel}/{name})\n\n" for name in figures)
        scale = f" The plots use a log scale; errors below {LOG_FLOOR:g} are drawn at {LOG_FLOOR:g}." if study.log else ""
        out.append("RMS error per noise level (mean for counts; the found rate where below 100 %)." + scale +
                   "\n\n")
        out.append(pivot_table(study) + "\n\n")
        out.append("<details><summary>Full table: bias, RMS, p95 and worst per setting</summary>\n\n")
        out.append(full_table(study) + "\n\n</details>\n\n")
    with open(report, "w") as f:
        f.write(PREAMBLE.format(placements=placements))
        f.write(headline(loaded))
        f.write("".join(out))
        f.write(coverage_section(loaded))


if __name__ == "__main__":
    main()
