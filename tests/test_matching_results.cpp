#include <Functions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>

namespace {

_MatchingResult result(int x, int y, int id, float score = 0, float angle = 0)
{
    return _MatchingResult{x, y, angle, id, score};
}

// A rows x cols grid with the given spacing, turned counter-clockwise on screen by tilt
// degrees about (500, 400), each centre moved by a deterministic jitter of up to jitter
// pixels; the id is row * cols + column. Returned shuffled.
std::vector<_MatchingResult> grid(int rows, int cols, double spacing, double tilt, int jitter)
{
    const double t = tilt * 3.141592653589793 / 180.0;
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> offset(-jitter, jitter);
    std::vector<_MatchingResult> results;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            const double lx = c * spacing, ly = r * spacing;
            const double x = 500 + lx * std::cos(t) + ly * std::sin(t);
            const double y = 400 - lx * std::sin(t) + ly * std::cos(t);
            results.push_back(result(static_cast<int>(std::lround(x)) + offset(rng),
                                     static_cast<int>(std::lround(y)) + offset(rng), r * cols + c));
        }
    }
    std::shuffle(results.begin(), results.end(), rng);
    return results;
}

std::vector<int> ids(const std::vector<_MatchingResult>& results)
{
    std::vector<int> out;
    for (const _MatchingResult& r : results)
        out.push_back(r.reserved);
    return out;
}

std::vector<int> sortedIds(std::vector<_MatchingResult> results, MatchingResultSortType type)
{
    sortMatchingResult(results, type);
    return ids(results);
}

} // namespace

TEST(SortMatchingResult, SimpleOrdersOnlyInTheTwoArgumentForm)
{
    std::vector<_MatchingResult> v{result(5, 9, 0, 0.5f, 10), result(1, 3, 1, 0.9f, -20), result(7, 1, 2, 0.7f, 35)};
    EXPECT_EQ(sortedIds(v, SortScoreDescend), (std::vector<int>{1, 2, 0}));
    EXPECT_EQ(sortedIds(v, SortCenterYAscend), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(sortedIds(v, SortCenterYDescend), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(sortedIds(v, SortCenterXAscend), (std::vector<int>{1, 0, 2}));
    EXPECT_EQ(sortedIds(v, SortCenterXDescend), (std::vector<int>{2, 0, 1}));
    EXPECT_EQ(sortedIds(v, SortAngleDescend), (std::vector<int>{2, 0, 1}));
    EXPECT_EQ(sortedIds(v, SortAngleAscend), (std::vector<int>{1, 0, 2}));

    // The four-argument form knows only the grid orders; unknown types change nothing.
    for (int type : {static_cast<int>(SortScoreDescend), static_cast<int>(SortAngleAscend), -1, 99}) {
        std::vector<_MatchingResult> w = v;
        sortMatchingResult(w, static_cast<MatchingResultSortType>(type), 0.0f, 5);
        EXPECT_EQ(ids(w), ids(v)) << type;
    }
    EXPECT_EQ(sortedIds(v, static_cast<MatchingResultSortType>(23)), ids(v));

    // NaN scores cannot be ranked: they go last, and every record stays.
    std::vector<_MatchingResult> many;
    for (int i = 0; i < 60; ++i)
        many.push_back(result(i, i, i, i % 7 == 0 ? std::numeric_limits<float>::quiet_NaN() : float(i % 13)));
    sortMatchingResult(many, SortScoreDescend);
    EXPECT_TRUE(std::is_sorted(many.begin(), many.begin() + 51, resSortScoreDescend));
    const auto nanScore = [](const _MatchingResult& r) { return std::isnan(r.score); };
    EXPECT_TRUE(std::all_of(many.begin() + 51, many.end(), nanScore));
    std::vector<int> kept = ids(many);
    std::sort(kept.begin(), kept.end());
    for (int i = 0; i < 60; ++i)
        EXPECT_EQ(kept[i], i);
}

TEST(SortMatchingResult, JitteredGridRowsSerpentinesAndColumns)
{
    const std::vector<_MatchingResult> v = grid(3, 3, 100, 0, 10);
    EXPECT_EQ(sortedIds(v, SortRowsYAscendXAscend), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(sortedIds(v, SortRowsYDescendXDescend), (std::vector<int>{8, 7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(sortedIds(v, SortColumnsXDescendYAscend), (std::vector<int>{2, 5, 8, 1, 4, 7, 0, 3, 6}));
    EXPECT_EQ(sortedIds(v, SortSnakeRowsYAscendXAscend), (std::vector<int>{0, 1, 2, 5, 4, 3, 6, 7, 8}));
    EXPECT_EQ(sortedIds(v, SortSnakeRowsYDescendXDescend), (std::vector<int>{8, 7, 6, 3, 4, 5, 2, 1, 0}));
    EXPECT_EQ(sortedIds(v, SortSnakeColumnsXAscendYAscend), (std::vector<int>{0, 3, 6, 7, 4, 1, 2, 5, 8}));
    EXPECT_EQ(sortedIds(v, SortSnakeColumnsXAscendYDescend), (std::vector<int>{6, 3, 0, 1, 4, 7, 8, 5, 2}));
}

TEST(SortMatchingResult, TiltedGridIsOrderedAsIfLevel)
{
    // Over four columns a 10 degree tilt lifts a row by 52 px, more than the automatic
    // tolerance of 50: only turning by the right angle, in the right sense, levels it.
    const std::vector<_MatchingResult> v = grid(4, 4, 100, 10, 0);
    std::vector<int> rowMajor(16);
    for (int i = 0; i < 16; ++i)
        rowMajor[i] = i;
    for (float angle : {10.0f, 0.0f, -10.0f}) {
        std::vector<_MatchingResult> w = v;
        sortMatchingResult(w, SortRowsYAscendXAscend, angle, -1);
        EXPECT_EQ(ids(w) == rowMajor, angle == 10.0f) << angle;
    }
}

TEST(SortMatchingResult, AutomaticToleranceIsHalfTheClosestPairTruncatedAndChains)
{
    // Closest pair 50 apart: tolerance 25. Sorted by y the records are 0, 1, 3, 2 with gaps
    // 0, 25, 25: one chained row, but 1 and 2 (50 apart in y) may not pass each other.
    const std::vector<_MatchingResult> v{result(0, 0, 0), result(100, 0, 1), result(0, 50, 2), result(200, 25, 3)};
    const std::vector<int> tolerance25{0, 1, 2, 3};
    EXPECT_EQ(sortedIds(v, SortRowsYAscendXAscend), tolerance25);
    for (int tolerance : {24, 25, 50}) {
        std::vector<_MatchingResult> w = v;
        sortMatchingResult(w, SortRowsYAscendXAscend, 0.0f, tolerance);
        EXPECT_EQ(ids(w) == tolerance25, tolerance == 25) << tolerance;
    }

    // Closest pair 51 apart: 25.5 truncates to 25, which no longer bridges the gap of 26.
    const std::vector<_MatchingResult> u{result(0, 0, 0), result(100, 0, 1), result(0, 51, 2), result(200, 25, 3)};
    EXPECT_EQ(sortedIds(u, SortRowsYAscendXAscend), (std::vector<int>{0, 1, 3, 2}));
}

TEST(SortMatchingResult, DegenerateInputKeepsEveryRecord)
{
    std::vector<_MatchingResult> empty;
    sortMatchingResult(empty, SortSnakeRowsYAscendXAscend);
    sortMatchingResult(empty, SortScoreDescend);
    EXPECT_TRUE(empty.empty());

    std::vector<_MatchingResult> single{result(3, 4, 7)};
    sortMatchingResult(single, SortRowsYAscendXAscend);
    EXPECT_EQ(ids(single), std::vector<int>{7});

    // Duplicate centres give tolerance 0: rows are exactly equal y.
    const std::vector<_MatchingResult> dup{result(5, 5, 0), result(1, 9, 1), result(5, 5, 2), result(3, 5, 3)};
    EXPECT_EQ(sortedIds(dup, SortRowsYAscendXAscend), (std::vector<int>{3, 0, 2, 1}));

    // A NaN angle leaves the order alone; extreme centres are clamped, not overflowed.
    std::vector<_MatchingResult> v = grid(3, 3, 100, 0, 10);
    const std::vector<int> before = ids(v);
    sortMatchingResult(v, SortRowsYAscendXAscend, std::numeric_limits<float>::quiet_NaN(), -1);
    EXPECT_EQ(ids(v), before);
    std::vector<_MatchingResult> extreme{result(INT_MAX, INT_MIN, 0), result(INT_MIN, INT_MAX, 1), result(0, 0, 2),
                                         result(INT_MAX, INT_MAX, 3)};
    for (int type = SortRowsYAscendXAscend; type <= SortSnakeColumnsXDescendYDescend; ++type) {
        std::vector<_MatchingResult> w = extreme;
        sortMatchingResult(w, static_cast<MatchingResultSortType>(type), 45.0f, -1);
        std::vector<int> got = ids(w);
        std::sort(got.begin(), got.end());
        EXPECT_EQ(got, (std::vector<int>{0, 1, 2, 3})) << type;
    }
}

TEST(RotatedRectOverlap, AreaOfTheBoxesIntersection)
{
    _MatchingResult a = result(100, 100, 0), b = a;
    EXPECT_NEAR(getRotatedRectOverlapArea(a, b, 40, 20), 800, 1e-3);
    b.x = 120; // half the width along
    EXPECT_NEAR(getRotatedRectOverlapArea(a, b, 40, 20), 400, 1e-3);
    b = a;
    b.angle = 90; // a 40 x 20 box across another: the 20 x 20 middle
    EXPECT_NEAR(getRotatedRectOverlapArea(a, b, 40, 20), 400, 1e-3);
    b = result(500, 100, 1);
    EXPECT_EQ(getRotatedRectOverlapArea(a, b, 40, 20), 0.0f);
    // Equal boxes: a half turn apart they are the same box, whatever the angle.
    for (const float angle : {0.0f, 26.8235302f, 45.0f, 131.5f}) {
        b = a;
        a.angle = angle;
        b.angle = angle + 180.0f;
        EXPECT_NEAR(getRotatedRectOverlapArea(a, b, 135, 135), 135 * 135, 0.5) << angle;
        EXPECT_NEAR(getRotatedRectOverlapArea(a, a, 135, 135), 135 * 135, 0.5) << angle;
    }
    a.angle = 0;
    EXPECT_EQ(getRotatedRectOverlapArea(a, a, 0, 20), 0.0f);
    EXPECT_EQ(getRotatedRectOverlapArea(a, a, -5, 20), 0.0f);
    b = a;
    b.angle = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(std::isnan(getRotatedRectOverlapArea(a, b, 40, 20)));

    // Centres near the ends of the int range, where float corners are 256 pixels apart.
    a = result(2147483646, -1, 0);
    b = result(-2147483647 - 1, -2147483647, 1, 0, -326.1f);
    EXPECT_EQ(getRotatedRectOverlapArea(a, b, 133, 133), 0.0f);
    // Both centres narrow to 2^31 in x and y: the overlap of the same boxes at the origin.
    a = result(2147483646, 2147483647, 0);
    b = result(2147483600, 2147483600, 1, 0, 30);
    _MatchingResult nearA = result(0, 0, 0), nearB = result(0, 0, 1, 0, 30);
    EXPECT_EQ(getRotatedRectOverlapArea(a, b, 40, 20), getRotatedRectOverlapArea(nearA, nearB, 40, 20));
}
