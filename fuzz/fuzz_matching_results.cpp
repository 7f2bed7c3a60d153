// sortMatchingResult and the overlap of two results on random result lists.

#include "FuzzSupport.h"

#include <MatchingResults.h>

using namespace fuzz_support;

namespace {

constexpr int kMaxResults = 48;

// Records know their original index through the opaque field, which must travel with them.
std::vector<_MatchingResult> results(FuzzedDataProvider& in)
{
    const int n = in.ConsumeIntegralInRange<int>(0, kMaxResults);
    const int spread = in.ConsumeBool() ? 100 : 100000;
    std::vector<_MatchingResult> list(n);
    for (int i = 0; i < n; ++i)
        list[i] = {wildInt(in, -spread, spread), wildInt(in, -spread, spread), wildFloat(in, 360.0f), i,
                   wildFloat(in, 1.0f)};
    return list;
}

bool sameRecord(const _MatchingResult& a, const _MatchingResult& b)
{
    return a.x == b.x && a.y == b.y && a.reserved == b.reserved && std::memcmp(&a.angle, &b.angle, sizeof a.angle) == 0 &&
           std::memcmp(&a.score, &b.score, sizeof a.score) == 0;
}

// Sorting only permutes: each record comes out once, unchanged.
void checkPermutation(const std::vector<_MatchingResult>& sorted, const std::vector<_MatchingResult>& original)
{
    FUZZ_CHECK(sorted.size() == original.size());
    std::vector<bool> seen(original.size(), false);
    for (const _MatchingResult& r : sorted) {
        FUZZ_CHECK(r.reserved >= 0 && r.reserved < static_cast<int>(original.size()) && !seen[r.reserved]);
        seen[r.reserved] = true;
        FUZZ_CHECK(sameRecord(r, original[r.reserved]));
    }
}

bool unchanged(const std::vector<_MatchingResult>& sorted, const std::vector<_MatchingResult>& original)
{
    for (size_t i = 0; i < sorted.size(); ++i)
        if (sorted[i].reserved != original[i].reserved)
            return false;
    return true;
}

bool (*simpleComparator(int type))(_MatchingResult, _MatchingResult)
{
    switch (type) {
    case SortCenterYAscend: return resSortCenterYAscend;
    case SortCenterYDescend: return resSortCenterYDescend;
    case SortCenterXAscend: return resSortCenterXAscend;
    case SortCenterXDescend: return resSortCenterXDescend;
    case SortScoreDescend: return resSortScoreDescend;
    case SortAngleDescend: return resSortAngleDescend;
    case SortAngleAscend: return resSortAngleAscend;
    default: return nullptr;
    }
}

void checkSort(FuzzedDataProvider& in, const std::vector<_MatchingResult>& original)
{
    const int type = wildInt(in, -1, 23);
    std::vector<_MatchingResult> sorted = original;
    sortMatchingResult(sorted, static_cast<MatchingResultSortType>(type));
    checkPermutation(sorted, original);
    if (type < 0 || type > SortAngleAscend)
        FUZZ_CHECK(unchanged(sorted, original));
    const auto less = simpleComparator(type);
    if (!less)
        return;
    // Sorted up to the records with a NaN key, which come last.
    const auto key = [type](const _MatchingResult& r) { return type == SortScoreDescend ? r.score : r.angle; };
    const bool floatKey = type == SortScoreDescend || type == SortAngleDescend || type == SortAngleAscend;
    size_t comparable = sorted.size();
    while (floatKey && comparable > 0 && std::isnan(key(sorted[comparable - 1])))
        --comparable;
    for (size_t i = 0; i < comparable; ++i) {
        FUZZ_CHECK(!floatKey || !std::isnan(key(sorted[i])));
        if (i > 0)
            FUZZ_CHECK(!less(sorted[i], sorted[i - 1]));
    }
}

void checkGridSort(FuzzedDataProvider& in, const std::vector<_MatchingResult>& original)
{
    const int type = wildInt(in, -1, 23);
    const float angle = wildFloat(in, 90.0f);
    const int tolerance = wildInt(in, -2, 50);
    std::vector<_MatchingResult> sorted = original;
    sortMatchingResult(sorted, static_cast<MatchingResultSortType>(type), angle, tolerance);
    checkPermutation(sorted, original);
    if (type < SortRowsYAscendXAscend || type > SortSnakeColumnsXDescendYDescend || !std::isfinite(angle))
        FUZZ_CHECK(unchanged(sorted, original));
}

void checkOverlap(FuzzedDataProvider& in, std::vector<_MatchingResult> list)
{
    if (list.size() < 2)
        return;
    const int width = wildInt(in, -2, 200), height = wildInt(in, -2, 200);
    const float area = getRotatedRectOverlapArea(list[0], list[1], width, height);
    if (!std::isfinite(list[0].angle) || !std::isfinite(list[1].angle)) {
        FUZZ_CHECK(std::isnan(area));
        return;
    }
    FUZZ_CHECK(area >= 0);
    if (width <= 0 || height <= 0) {
        FUZZ_CHECK(area == 0);
        return;
    }
    // At most one box's area, give or take the single-precision rounding of the corners
    // (boxes far out are moved towards the origin first, so centres add little).
    const double w = width, h = height;
    const double corner = 65536 + std::hypot(w, h);
    FUZZ_CHECK(area <= w * h * 1.001 + 4 * (w + h) * corner * FLT_EPSILON + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::vector<_MatchingResult> list = results(in);
    checkSort(in, list);
    checkGridSort(in, list);
    checkOverlap(in, list);
    return 0;
}
