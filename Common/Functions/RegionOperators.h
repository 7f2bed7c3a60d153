#pragma once

/// \file
/// Region operators (\ref region_operators).

#include "FunctionsDef.h"

#include <QList>
#include <QVector>
#include <opencv2/core.hpp>

#include <vector>

/** \defgroup region_operators Region operators
 *
 * Region (blob) operators on binary images.
 *
 * A region image is an 8-bit single-channel cv::Mat in which 0 is background and any
 * non-zero value is region; the operators write 0 and 255. Regions are found with OpenCV's
 * contour finder (two-level hierarchy, every boundary pixel kept), so region pixels are
 * 8-connected, and a region is a ContourLayer: its outer boundary, its holes and the islands
 * inside them, indexing a full copy of the contour list.
 *
 * Coordinates: x is the column, y the row, origin at the top-left pixel, in pixels. Areas
 * and centroids of layers are polygon values of the boundary chains (which run through the
 * centres of the boundary pixels), not pixel counts; area_center counts pixels.
 *
 * Failure: the library throws nothing of its own and logs nothing. Each function says what
 * it gives for input it cannot use; cv::Exception from OpenCV passes through where stated.
 * @{
 */

// ---------------------------------------------------------------------------------------
// Thresholds: grey image -> region image (0 / 255, 8-bit single-channel, src's size)
//
// ThresholdType of dyn_threshold and var_threshold, with g the grey value, r the reference
// and t the offset or threshold: Light g >= r + t; Dark g <= r - t; Equal r - t <= g <= r + t;
// NotEqual g < r - t or g > r + t; any other value selects nothing (dst stays all 0).
//
// dyn_threshold, var_threshold and fast_threshold replace dst by a newly allocated image,
// so dst may be one of the inputs or a view into a larger image without being written
// through. An input these functions cannot use (src empty or not 8-bit single-channel; a
// reference or non-empty mask that is not 8-bit single-channel of src's size) releases dst:
// the caller sees an empty matrix.
// ---------------------------------------------------------------------------------------

/// Band threshold: 255 where minGray <= src <= maxGray (both inclusive; the bounds may come
/// in either order), else 0. An empty mask means the whole image. With a mask, only pixels
/// inside it are written: outside it dst keeps its values when it already has src's size
/// and type, and is 0 when it is made anew.
FUNCTIONS_EXPORT void threshold_min_max(cv::Mat src, cv::Mat& dst, int minGray, int maxGray, cv::Mat mask);

/// Pixel-wise comparison of src against ref (typically a smoothed copy of src) with the
/// integer offset: r + offset and r - offset are not clamped to 0..255. Views into larger
/// images (non-continuous storage) are compared pixel by pixel like whole images.
/// Parallel over the pixels.
FUNCTIONS_EXPORT void dyn_threshold(cv::Mat src, cv::Mat ref, cv::Mat& dst, int offset, ThresholdType type);

/// Local threshold against the mean m and the population standard deviation d of the grey
/// values in a window around each pixel, counting only window pixels inside the mask.
/// The window is maskWidth x maskHeight rounded up to odd (4 gives 5, 0 gives 1) and is
/// clipped at the image border. The threshold is t = max(absThreshold, stdDevScale * d)
/// for stdDevScale >= 0, min(absThreshold, stdDevScale * d) for a negative scale, 0 for a
/// NaN scale; the pixel is then compared with r = m (single precision). Pixels outside the
/// mask stay 0. An empty mask means the whole image. A negative maskWidth or maskHeight
/// releases dst. Parallel over rows; the result does not depend on the thread count.
FUNCTIONS_EXPORT void var_threshold(cv::Mat src, cv::Mat mask, cv::Mat& dst, int maskWidth, int maskHeight,
                                    float stdDevScale, float absThreshold, ThresholdType type);

/// Sampled band threshold: seeds are the pixels in minGray..maxGray (either order, inside
/// the mask) on rows 0, 4, 8, ...; each seed marks the qualifying pixels of the square of
/// half-size minSize around it. Seeds whose square would cross the top or left border are
/// dropped, squares crossing the bottom or right border are clipped, and qualifying pixels
/// farther than minSize from every seed stay 0. minSize <= 0 or minSize >= src.rows gives
/// all 0. An empty mask means the whole image.
FUNCTIONS_EXPORT void fast_threshold(cv::Mat src, cv::Mat mask, cv::Mat& dst, int minGray, int maxGray, int minSize);

// ---------------------------------------------------------------------------------------
// Contour layers: a contour list and its hierarchy (as cv::findContours gives them, one
// Vec4i per contour: next, previous, first child, parent; -1 for none) regrouped per region
// ---------------------------------------------------------------------------------------

/// Indexes i, ascending, whose parent entry hierarchy[i][3] is -1.
FUNCTIONS_EXPORT QVector<int> getOutermostIndexs(const std::vector<cv::Vec4i>& hierarchy);

/// Appends the subtree below parent: each contour whose parent entry is parent, in
/// ascending index order, goes to outerIndexes when asOuter is true, else to holeIndexes,
/// followed depth first by its own subtree with asOuter inverted. A hierarchy with cycles
/// (never made by the contour finder) does not loop: each contour is appended once.
FUNCTIONS_EXPORT void groupIndex(int parent, const std::vector<cv::Vec4i>& hierarchy, bool asOuter,
                                 QVector<int>& outerIndexes, QVector<int>& holeIndexes);

/// Replaces layers by one layer per top-level contour, in hierarchy order: outerIndex and
/// outerIndexes = [top, islands...], holeIndexes = the contours at odd depth below it, and
/// contours = a copy of the whole contour list.
FUNCTIONS_EXPORT void groupingContours(const std::vector<std::vector<cv::Point>>& contours,
                                       const std::vector<cv::Vec4i>& hierarchy, QVector<ContourLayer>& layers);

/// Paints the layer into image (made by the caller, normally all 0): the outer contour
/// filled with 255, then each hole filled with 0. A hole's contour runs through the region
/// pixels bordering it, so those pixels become 0 as well. Islands inside holes are not
/// painted.
/// image is not cleared. A layer with an index outside its contour list paints nothing.
FUNCTIONS_EXPORT void getLayerMat_CCOMP(const ContourLayer& layer, cv::Mat& image);

/// Polygon area of the solid boundaries minus that of the holes, in square pixels. 0 for a
/// layer with an index outside its contour list. An empty contour encloses nothing, here
/// and in getLayerMat_CCOMP and getContourFocus.
FUNCTIONS_EXPORT double getContourArea(const ContourLayer& layer);

/// Centre of gravity of the solid boundaries' polygons minus the holes' polygons; (0, 0)
/// when the net area is 0 or when an index lies outside the contour list.
FUNCTIONS_EXPORT cv::Point_<double> getContourFocus(const ContourLayer& layer);

// ---------------------------------------------------------------------------------------
// Connection, selection, sorting
// ---------------------------------------------------------------------------------------

/// One image per region (painted as getLayerMat_CCOMP does, src's size), in
/// contour-finder order.
/// regions is cleared first and stays empty for an empty or multi-channel image. Images
/// of a depth the contour finder refuses raise cv::Exception.
FUNCTIONS_EXPORT void connection(cv::Mat image, std::vector<cv::Mat>& regions);

/// Keeps the regions whose features pass the criteria (ShapeFeature values 0..11; the
/// bounds of a criterion may come in either order and are inclusive) and paints them into
/// selected (255 with holes at 0). Per region, a criterion passes, fails, or is skipped:
///  - Area first requires the outer contour's own polygon area in range (else it fails),
///    then tests the area with holes subtracted;
///  - Rectangularity (area / minimum-area-rectangle area) is skipped for a rectangle of
///    area 0; the ellipse features fail for an outer contour of fewer than 5 points;
///  - rectangle and ellipse angles are in degrees, [0, 180), the direction of the longer
///    side (of the width side when both are equal);
///  - feature values outside 0..11 are skipped.
/// And (0) keeps a region when no criterion fails; Or (1) when one passes; any other
/// operation keeps nothing. The kept regions are returned in contour-finder order.
/// An empty or multi-channel image or no criteria: an empty list, selected untouched.
/// The criteria are evaluated in parallel on Qt's global thread pool.
FUNCTIONS_EXPORT QList<ContourLayer> select_shape(cv::Mat image, cv::Mat& selected, QVector<SelectShapeInfo> criteria,
                                                  SelectOperation operation);

/// Paints the region of largest area (holes subtracted; ties keep the earlier region) into
/// a fresh largest. Returns false, leaving largest untouched, when no region has positive
/// area or the image is empty or multi-channel.
FUNCTIONS_EXPORT bool select_max_region(cv::Mat image, cv::Mat& largest);

/// Orders regions by a reference point taken from the bounding box r of each outer contour;
/// right and bottom are r.x + r.width and r.y + r.height, one past the box:
///  FirstPoint: first set pixel of row r.y scanning columns r.x .. r.x + r.width;
///  LastPoint: first set pixel of row r.y + r.height scanning columns r.x + r.width .. r.x
///  (the row just below the box, so regions lying alone find none);
///  UpperLeft, UpperRight, LowerLeft, LowerRight: the corners, image not read.
/// ByRow sorts by (y, x), any other direction by (x, y); Ascending puts smaller first, any
/// other order larger first; equal keys end in unspecified relative order. order receives
/// the region indexes in sorted order. Returns false, with order = 0..n-1, when a point
/// cannot be found for every region: a criterion outside 0..5, a scanned row without a set
/// pixel, a region whose outer index lies outside its contour list, or FirstPoint /
/// LastPoint with an image that is not 8-bit single-channel. Positions outside the image
/// are never read; they count as unset (so LastPoint fails for a region on the bottom row).
FUNCTIONS_EXPORT bool sort_region(cv::Mat image, const QList<ContourLayer>& regions, std::vector<int>& order,
                                  SortCriterion criterion, SortOrder sortOrder, SortDirection direction);

// ---------------------------------------------------------------------------------------
// Transforms and features
// ---------------------------------------------------------------------------------------

/// Replaces every region (outer contours only) by a filled shape in a newly allocated dst:
/// BoundingRectangle the upright bounding box, EnclosingCircle the minimum enclosing circle
/// (centre rounded half to even, radius truncated), ConvexHull the convex hull; any other
/// type leaves dst all 0. An empty or multi-channel src releases dst; depths the contour
/// finder refuses raise cv::Exception. Parallel over the regions: each stripe paints into
/// an image of its own (up to one extra image of src's size per worker), so the result
/// does not depend on the thread count.
FUNCTIONS_EXPORT void shape_trans(cv::Mat src, cv::Mat& dst, ShapeTransType type);

/// Fills every hole: each outer contour is painted filled into a newly allocated dst. An empty or
/// multi-channel src releases dst; depths the contour finder refuses raise cv::Exception.
FUNCTIONS_EXPORT void fill_up(cv::Mat src, cv::Mat& dst);

/// Number of non-zero pixels and the mean of their coordinates (x, y). Area 0 and centre
/// (0, 0) for an empty or multi-channel src or one without non-zero pixels.
FUNCTIONS_EXPORT void area_center(cv::Mat src, int& area, cv::Point2f& center);

/// Raw moments of the pixels equal to label in a signed 32-bit label image (such as
/// cv::connectedComponents gives): m00 count, m10 sum x, m01 sum y, m20 sum x^2, m11 sum
/// x*y, m02 sum y^2. The products are formed in 32 bits (they wrap for coordinates beyond
/// 46340). All 0 when labels is not single-channel 32-bit signed or has no pixel of label.
FUNCTIONS_EXPORT void connectedMoments(cv::Mat& labels, int label, double& m00, double& m10, double& m01, double& m20,
                                       double& m11, double& m02);

/// Thins regions to lines one pixel wide with at most iterations rounds of two sub-passes
/// (8-neighbour rule; each sub-pass decides on a snapshot). Stops early when a round
/// removes nothing. Border rows and columns are never changed; removed pixels become 0,
/// others keep their value. dst may be src itself. A src that is not 8-bit single-channel
/// leaves dst untouched; an empty src gives an empty dst.
FUNCTIONS_EXPORT void cvThin(cv::Mat src, cv::Mat& dst, int iterations);

/// Thin lines of a grey image: Gaussian smoothing (ksize, sigmaX, sigmaY), Gaussian-weighted
/// local threshold over a block of 2 * blockHalf + 1 with constant c (DarkLines keeps pixels
/// darker than their neighbourhood, any other type lighter ones), AND with mask when mask is
/// not empty, then cvThin with thinIterations. Invalid sizes or types raise cv::Exception
/// from OpenCV (an even ksize, blockHalf below 1, a src that is not 8-bit single-channel,
/// a mask of another size, unless src or mask has at most four pixels: the AND then takes
/// that one as a scalar, and a src taken so gives dst the mask's size, or leaves dst as it
/// was when the mask is not 8-bit single-channel); ksize and the sigmas go to
/// cv::GaussianBlur as they are.
/// blockHalf above 65536 (a block wider than any image) releases dst.
FUNCTIONS_EXPORT void line_gauss(cv::Mat src, cv::Mat mask, cv::Mat& dst, LineGaussType type, cv::Size ksize,
                                 double sigmaX, double sigmaY, int blockHalf, double c, int thinIterations);

/// @}
