#pragma once

/// \file
/// Matching results ordering (\ref matching_results).

#include "FunctionsDef.h"

#include <vector>

/** \defgroup matching_results Matching results ordering
 *
 * Ordering of template-matching results and the overlap of two results' boxes.
 *
 * Ordering only permutes the caller's vector: no record is removed or changed, and the
 * opaque fourth field travels with its record.
 * @{
 */

/// \name Comparators
/// True when a goes before b; centres compare as integers. A NaN score or angle compares
/// false both ways, so these alone do not order NaN values (sortMatchingResult puts them
/// last).
/// @{

/// a.y < b.y
FUNCTIONS_EXPORT bool resSortCenterYAscend(_MatchingResult a, _MatchingResult b);
/// a.y > b.y
FUNCTIONS_EXPORT bool resSortCenterYDescend(_MatchingResult a, _MatchingResult b);
/// a.x < b.x
FUNCTIONS_EXPORT bool resSortCenterXAscend(_MatchingResult a, _MatchingResult b);
/// a.x > b.x
FUNCTIONS_EXPORT bool resSortCenterXDescend(_MatchingResult a, _MatchingResult b);
/// a.score > b.score
FUNCTIONS_EXPORT bool resSortScoreDescend(_MatchingResult a, _MatchingResult b);
/// a.angle > b.angle
FUNCTIONS_EXPORT bool resSortAngleDescend(_MatchingResult a, _MatchingResult b);
/// a.angle < b.angle
FUNCTIONS_EXPORT bool resSortAngleAscend(_MatchingResult a, _MatchingResult b);
/// @}

/// Orders results in place. The simple orders (0 to 5 and 22) sort the whole vector with
/// the matching comparator; equal keys may come out in any order, and records whose score
/// (order 4) or angle (5, 22) is NaN come last, in no particular order. The grid orders (6 to
/// 21) are those of the four-argument form with a level grid (angle 0) and automatic
/// tolerance. Other values leave the vector unchanged.
FUNCTIONS_EXPORT void sortMatchingResult(std::vector<_MatchingResult>& results, MatchingResultSortType type);

/// Orders results in place in rows, columns or serpentines of a grid tilted by angle
/// degrees, counter-clockwise on screen (positive when the rows rise to the right; a grid
/// turned clockwise on screen by a takes angle = -a). Only types 6 to 21 are handled; any
/// other type leaves the vector unchanged.
///
/// Centres are turned level about the fixed point (128, 128) and truncated to integers.
/// Records are stably ordered on the primary key (y for rows, x for columns); then a run
/// of consecutive records belongs to one row or column while each neighbour's primary key
/// differs from the previous one's by at most tolerance pixels (chaining, not clustering),
/// and each run is ordered on the other key. Serpentine types reverse the secondary
/// direction from one run to the next, starting with the type's direction. Records of
/// different runs never pass each other.
///
/// A negative tolerance means half the smallest distance between two (unturned) centres,
/// truncated to an integer. Fewer than two results, or a non-finite angle, leave the
/// vector unchanged. Turned coordinates beyond the int range are clamped to it.
FUNCTIONS_EXPORT void sortMatchingResult(std::vector<_MatchingResult>& results, MatchingResultSortType type,
                                         float angle, int tolerance);

/// Area in square pixels of the intersection of the two results' boxes, each
/// width x height, centred on the result's (float-narrowed) centre and turned by its
/// angle as a cv::RotatedRect is (clockwise on screen): the area of the hull of the
/// points cv::rotatedRectangleIntersection gives, which it may give out of order. 0 when
/// they do not meet or a side is not positive; NaN when either angle is not finite.
FUNCTIONS_EXPORT float getRotatedRectOverlapArea(_MatchingResult& a, _MatchingResult& b, int width, int height);

/// @}
