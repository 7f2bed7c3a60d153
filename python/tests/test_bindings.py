"""The direct bindings: each family on a case whose answer is known from its geometry, so a
swapped coordinate, a wrong enumeration value or a dropped argument shows."""

import math

import numpy as np
import pytest

import functions as f


def circle_points(centre, radius, count=24):
    t = np.linspace(0, 2 * math.pi, count, endpoint=False)
    return np.column_stack([centre[0] + radius * np.cos(t), centre[1] + radius * np.sin(t)])


LINE_POINTS = [(x, 2 * x + 1) for x in range(10)]
PLANE_POINTS = [(x, y, 0.5 * x - 0.25 * y + 2) for x in range(4) for y in range(4)]


@pytest.mark.parametrize(
    "call, expected",
    [
        (lambda: f.length((1, 2), (4, 6)), 5.0),
        (lambda: f.line_abc((0, 0), (2, 1)), (1.0, -2.0, 0.0)),
        (lambda: f.angle_180((0, 0), (0, 1)), 90.0),  # down on screen
        (lambda: f.angle_360((0, 0), (0, -1)), 90.0),  # up on screen, counter-clockwise
        (lambda: f.angle_calculation_180(170, 20, "Addition"), -170.0),
        (lambda: f.angle_calculation_180(170, 20, f.ArithmeticSign.Subtraction), 150.0),
        (lambda: f.point_to_line_distance((3, 4), (1, 0, 0, 0)), 4.0),
        (lambda: f.point_to_line_distance((3, 4), (0, 0), (10, 0)), 4.0),
        (lambda: f.foot_of_perpendicular((3, 4), (0, 0), (10, 0)), (3.0, 0.0)),
        (lambda: f.line_line_intersection((1, 0, 0, 5), (0, 1, 7, 0)), (7.0, 5.0)),
        (lambda: f.lines_intersection((0, 0), (1, 1), (0, 2), (2, 0)), (1.0, 1.0)),
        (lambda: f.line_line_intersection((1, 0, 0, 0), (1, 0, 0, 1)), None),
        (lambda: f.circle_circle_intersection((0, 0), 1, (0, 0), 1), None),
        (lambda: f.circle_circle_intersection((0, 0), 5, (8, 0), 5).shape, (2, 2)),
        (lambda: f.circle_point((10, 10), 5, 90), (10.0, 5.0)),
        (lambda: f.point_side_of_line((0, 1), (0, 0), (1, 0)), 1),  # below the line on screen
        (lambda: [len(side) for side in f.split_points_by_line([(0, 1), (0, -1), (1, 1)], (0, 0), (1, 0))], [2, 1]),
        (lambda: f.points_line_distances([(0, 3), (5, -2)], (0, 0), (1, 0)).tolist(), [3.0, 2.0]),
        (lambda: f.on_segment((5, 0), (0, 0), (10, 0)), True),
        (lambda: f.intersection_of_2_lines_3d((1, 0, 0), (0, 0, 1), (0, 1, 0), (2, 0, 1)), (2.0, 0.0, 1.0)),
    ],
)
def test_geometry(call, expected):
    got = call()
    assert got == (pytest.approx(expected, abs=1e-9) if expected is not None else None)


@pytest.mark.parametrize("method", ["LeastSquares", "Huber", f.FitLineType.Tukey])
def test_fit_line(method):
    vx, vy, x0, y0 = f.fit_line(LINE_POINTS, method)
    assert (vx, vy) == pytest.approx((1 / math.sqrt(5), 2 / math.sqrt(5)))
    assert y0 == pytest.approx(2 * x0 + 1)


@pytest.mark.parametrize("method", list(f.FitCircleType))
def test_fit_circle(method):
    centre, radius = f.fit_circle(circle_points((40, 25), 12), method)
    assert centre == pytest.approx((40, 25), abs=1e-6) and radius == pytest.approx(12, abs=1e-6)


def test_fits_of_other_shapes():
    centre, radius = f.three_point_fit_circle([(0, 5), (5, 0), (0, -5)])
    assert centre == pytest.approx((0, 0), abs=1e-9) and radius == pytest.approx(5)
    assert f.fit_circle([(0, 0), (1, 1)]) is None
    (cx, cy), (major, minor), angle = f.fit_ellipse(circle_points((30, 20), 10, 40) * (2, 1) - (30, 0))
    assert (cx, cy, major, minor) == pytest.approx((30, 20, 40, 20), abs=1)
    nx, ny, nz, px, py, pz = f.fit_plane(PLANE_POINTS)
    assert (nx / nz, ny / nz, pz) == pytest.approx((-0.5, 0.25, 2))
    assert f.fit_plane_3d_huber(PLANE_POINTS)[:3] == pytest.approx((nx, ny, nz), abs=1e-6)
    depth = np.full((4, 4), 7.5, np.float32)
    assert f.mean_depth_huber(depth, np.full((4, 4), 255, np.uint8)) == 7.5


def blobs():
    """Three bright rectangles left to right, the middle one with a hole."""
    image = np.zeros((60, 100), np.uint8)
    image[10:30, 5:25] = 200
    image[20:50, 40:60] = 200
    image[30:40, 45:55] = 0
    image[5:15, 80:95] = 200
    return image


def test_region_chain():
    regions_image = f.threshold_min_max(blobs(), 100, 255)
    assert regions_image.dtype == np.uint8 and set(np.unique(regions_image)) == {0, 255}
    assert len(f.connection(regions_image)) == 3
    regions, selected = f.select_shape(regions_image, [("Area", 100, 1e9), (f.ShapeFeature.Width, 18, 21)])
    assert len(regions) == 2 and selected.shape == regions_image.shape
    order = f.sort_region(regions_image, regions, "UpperLeft", "Ascending", "ByColumn")
    left, right = (regions[i] for i in order)
    assert left.bounding_box == (5, 10, 20, 20) and right.bounding_box == (40, 20, 20, 30)
    assert right.hole_indexes and left.area < right.area
    assert right.centroid == pytest.approx((49.5, 34.5), abs=1.5)
    assert np.count_nonzero(left.mask(60, 100)) == 400
    area, (x, y) = f.area_center(f.fill_up(regions_image))
    assert area == 400 + 600 + 150
    assert np.array_equal(f.select_max_region(regions_image > 0), right.mask(60, 100))


def test_coordinate_transformer():
    # The part moved from (0, 0) to (10, 0) and turned by 90 degrees: +x turns to +y.
    t = f.CoordinateTransformer(ref_x=0, ref_y=0, ref_angle=0, cur_x=10, cur_y=0, cur_angle=90)
    assert t.to_current((1, 0)) == pytest.approx((10, 1), abs=1e-6)
    assert t.to_reference(t.to_current((3, 4))) == pytest.approx((3, 4), abs=1e-5)
    assert f.CoordinateTransformer().points_to_current([(1.5, 2.5)]).tolist() == [[1.5, 2.5]]


def test_matching_results_ordering():
    results = [f.MatchingResult(x, y, score=s) for x, y, s in [(50, 10, 0.5), (10, 11, 0.9), (30, 40, 0.7)]]
    by_rows = f.sort_matching_results(results, "RowsYAscendXAscend", angle=0, tolerance=5)
    assert [(r.x, r.y) for r in by_rows] == [(10, 11), (50, 10), (30, 40)]
    by_score = f.sort_matching_results(results, f.MatchingResultSortType.ScoreDescend)
    assert [r.score for r in by_score] == pytest.approx([0.9, 0.7, 0.5])
    assert f.rotated_rect_overlap_area(results[0], f.MatchingResult(52, 10), 10, 10) == pytest.approx(80)


def test_skew():
    image = np.zeros((80, 120), np.uint8)
    image[30:50, 10:110] = 255
    turned = f.skew_correction_rot(image, -5)  # counter-clockwise on screen by -5: edges descend to the right
    assert turned.shape[0] > image.shape[0]
    assert f.horizontal_skew(turned) == pytest.approx(5, abs=0.5)
    assert f.cut_character_top_bottom(image) == (30, 49)


@pytest.mark.parametrize(
    "call, error",
    [
        (lambda: f.fit_line([(1, 2, 3)]), ValueError),
        (lambda: f.fit_line("points"), TypeError),
        (lambda: f.fit_line(LINE_POINTS, "Quadratic"), ValueError),
        (lambda: f.fit_line(LINE_POINTS, 2**40), ValueError),
        (lambda: f.threshold_min_max(np.zeros((5, 5)), 0, 1), TypeError),
        (lambda: f.select_shape(blobs(), [("Area", 1)]), ValueError),
        (lambda: f.mean_depth_huber(np.zeros((4, 4), np.float64), np.zeros((4, 4), np.uint8)), TypeError),
        (lambda: f.line_gauss(blobs(), "DarkLines", (4, 4), 1, 1, 3, 0, 2), ValueError),
    ],
)
def test_bad_arguments_raise(call, error):
    with pytest.raises(error):
        call()


def test_type_stubs_name_everything_the_extension_exports():
    import ast
    import os

    from functions import _functions

    with open(os.path.join(os.path.dirname(f.__file__), "_functions.pyi")) as stub:
        tree = ast.parse(stub.read())
    declared = {node.name for node in tree.body if isinstance(node, (ast.FunctionDef, ast.ClassDef))}
    exported = {name for name in vars(_functions) if not name.startswith("__")}
    assert exported <= declared, exported - declared
    members = {node.name: {m.name for m in node.body if isinstance(m, ast.FunctionDef)} |
               {m.target.id for m in node.body if isinstance(m, ast.AnnAssign)}
               for node in tree.body if isinstance(node, ast.ClassDef)}
    assert {"to_dict", "success", "outputs"} <= members["Result"]
