#pragma once

/// \file
/// Enumerations, parameter records and ROI shapes shared with the host (\ref shared).

/** \defgroup shared Shared records, enumerations and ROI shapes
 *
 * Declarations shared with the host application: enumerations, parameter records and
 * ROI shapes. The host is compiled against this same header, so enumeration values,
 * field order and field types are part of the binary interface and never change.
 *
 * Conventions used throughout the library:
 *  - image coordinates: x is the column, y the row, origin at the top-left pixel,
 *    y growing downwards, in pixels;
 *  - a line is cv::Vec4d (vx, vy, x0, y0): a direction followed by a point on it;
 *  - angles are degrees unless a name says radian; a rotated rectangle's positive angle
 *    turns its own x axis towards +y (clockwise on screen), ring and arc angles are
 *    counter-clockwise with y up.
 *
 * Every enumeration has the fixed underlying type int, so any 32-bit value a host
 * passes is representable and the functions' handling of "other" values is defined.
 *
 * Parameter records follow one pattern: inputs first (32-bit settings), then outputs
 * (results, a diagnostic image and profile for display), the host-owned ROI pointer the
 * tool only reads, and the found or success flag, which the tool clears on entry, sets
 * only on success and also returns. The caller owns every record, image and shape.
 * @{
 */

#include "FunctionsExport.h"

#include <QRectF>
#include <QVector>
#include <opencv2/core.hpp>

#include <vector>

// ---------------------------------------------------------------------------------
// Enumerations
// ---------------------------------------------------------------------------------

/// Scan direction of a caliper. Profiles know only forward (0) and reverse (other).
enum ClcDirection : int {
    LeftToRight = 0, ///< along increasing x; for a profile: forward, increasing index
    RightToLeft = 1, ///< along decreasing x; for a profile: reverse
    TopToBottom = 2, ///< along increasing y (down the rows)
    BottomToTop = 3, ///< along decreasing y
};

/// Edge polarity, judged along the scan direction.
enum EdgeTransition : int {
    BothTransitions = 0, ///< either polarity; strength is the difference's magnitude
    LightToDark = 1,     ///< intensity falls along the scan
    DarkToLight = 2,     ///< intensity rises along the scan
};

/// Line fitting method; any value other than 0 and 1 behaves like FitLineTukey.
enum FitLineType : int {
    FitLineLeastSquares = 0, ///< one unweighted fit
    FitLineHuber = 1,        ///< reweighted with Huber weights (outliers damped)
    FitLineTukey = 2,        ///< reweighted with Tukey weights (far outliers ignored)
};

/// Circle fitting method; values above 3 restart from samples with unit weights.
enum FitCircleType : int {
    FitCircleLeastSquares = 0, ///< algebraic least-squares fit
    FitCircleHuber = 1,        ///< robust trials reweighted with Huber weights
    FitCircleTukey = 2,        ///< robust trials reweighted with Tukey weights
    FitCircleTaubin = 3,       ///< Taubin's algebraic fit
};

/// Ellipse fitting method; any value other than 0 and 1 behaves like FitEllipseTukey.
enum FitEllipseType : int {
    FitEllipseLeastSquares = 0, ///< one direct least-squares fit
    FitEllipseHuber = 1,        ///< reweighted with Huber weights
    FitEllipseTukey = 2,        ///< reweighted with Tukey weights
};

/// Angle arithmetic: 0 adds, any other value subtracts.
enum ArithmeticSign : int {
    Addition = 0,    ///< a + b
    Subtraction = 1, ///< a - b
};

/// Comparison of dyn_threshold and var_threshold (g grey value, r reference, t offset).
enum ThresholdType : int {
    Light = 0,    ///< g >= r + t
    Dark = 1,     ///< g <= r - t
    Equal = 2,    ///< r - t <= g <= r + t
    NotEqual = 3, ///< g < r - t or g > r + t
};

/// Shape painted per region by shape_trans.
enum ShapeTransType : int {
    BoundingRectangle = 0, ///< the upright bounding box
    EnclosingCircle = 1,   ///< the minimum enclosing circle
    ConvexHull = 2,        ///< the convex hull
};

/// Which lines line_gauss extracts; any non-zero value means LightLines.
enum LineGaussType : int {
    DarkLines = 0,  ///< lines darker than their neighbourhood
    LightLines = 1, ///< lines lighter than their neighbourhood
};

/// How select_shape combines its criteria.
enum SelectOperation : int {
    And = 0, ///< a region is kept when no criterion fails
    Or = 1,  ///< a region is kept when at least one criterion passes
};

/// Reference point of a region for sort_region.
enum SortCriterion : int {
    FirstPoint = 0, ///< the first region pixel on the bounding box's top row
    LastPoint = 1,  ///< the first region pixel from the right on the row below the box
    UpperLeft = 2,  ///< the bounding box's top-left corner
    UpperRight = 3, ///< its top-right corner (one past the box)
    LowerLeft = 4,  ///< its bottom-left corner (one past the box)
    LowerRight = 5, ///< its bottom-right corner (one past the box)
};

/// Sort order of sort_region; any non-zero value means Descending.
enum SortOrder : int {
    Ascending = 0,  ///< smaller keys first
    Descending = 1, ///< larger keys first
};

/// Primary key of sort_region; any non-zero value means ByColumn.
enum SortDirection : int {
    ByRow = 0,    ///< by y, then x
    ByColumn = 1, ///< by x, then y
};

/// Shape feature tested by one select_shape criterion; other values are skipped.
///
/// Rectangle features come from the minimum-area rectangle of the region's outer contour,
/// ellipse features from the ellipse fitted to it; lengths in pixels, areas in square
/// pixels, angles in degrees.
enum ShapeFeature : int {
    Area = 0,              ///< area with holes subtracted (the outer contour alone must pass first)
    Rectangularity = 1,    ///< area / area of the minimum-area rectangle, 1 for a rectangle
    Width = 2,             ///< width of the upright bounding box
    Height = 3,            ///< height of the upright bounding box
    CentroidRow = 4,       ///< y of the centre of gravity
    CentroidColumn = 5,    ///< x of the centre of gravity
    RectHalfLength = 6,    ///< half the longer side of the minimum-area rectangle
    RectHalfWidth = 7,     ///< half its shorter side
    RectAngle = 8,         ///< direction of its longer side, [0, 180)
    EllipseSemiMajor = 9,  ///< the fitted ellipse's semi-major axis
    EllipseSemiMinor = 10, ///< its semi-minor axis
    EllipseAngle = 11,     ///< direction of its major axis, [0, 180)
};

/// Orders of sortMatchingResult. 22 (ascending angle) deliberately follows the grid orders.
/// Rows are ordered by y and columns by x first; "snake" (serpentine) orders reverse the
/// direction within a row or column from one to the next, starting with the one named.
enum MatchingResultSortType : int {
    SortCenterYAscend = 0,                 ///< centre y ascending (top first)
    SortCenterYDescend = 1,                ///< centre y descending
    SortCenterXAscend = 2,                 ///< centre x ascending (left first)
    SortCenterXDescend = 3,                ///< centre x descending
    SortScoreDescend = 4,                  ///< best score first
    SortAngleDescend = 5,                  ///< largest angle first
    SortRowsYAscendXAscend = 6,            ///< rows top to bottom, each left to right
    SortRowsYAscendXDescend = 7,           ///< rows top to bottom, each right to left
    SortRowsYDescendXAscend = 8,           ///< rows bottom to top, each left to right
    SortRowsYDescendXDescend = 9,          ///< rows bottom to top, each right to left
    SortColumnsXAscendYAscend = 10,        ///< columns left to right, each top to bottom
    SortColumnsXAscendYDescend = 11,       ///< columns left to right, each bottom to top
    SortColumnsXDescendYAscend = 12,       ///< columns right to left, each top to bottom
    SortColumnsXDescendYDescend = 13,      ///< columns right to left, each bottom to top
    SortSnakeRowsYAscendXAscend = 14,      ///< serpentine rows top to bottom, first left to right
    SortSnakeRowsYAscendXDescend = 15,     ///< serpentine rows top to bottom, first right to left
    SortSnakeRowsYDescendXAscend = 16,     ///< serpentine rows bottom to top, first left to right
    SortSnakeRowsYDescendXDescend = 17,    ///< serpentine rows bottom to top, first right to left
    SortSnakeColumnsXAscendYAscend = 18,   ///< serpentine columns left to right, first top to bottom
    SortSnakeColumnsXAscendYDescend = 19,  ///< serpentine columns left to right, first bottom to top
    SortSnakeColumnsXDescendYAscend = 20,  ///< serpentine columns right to left, first top to bottom
    SortSnakeColumnsXDescendYDescend = 21, ///< serpentine columns right to left, first bottom to top
    SortAngleAscend = 22,                  ///< smallest angle first
};

// ---------------------------------------------------------------------------------
// ROI shapes. The host creates and owns them; the library asks type() and down-casts.
// ---------------------------------------------------------------------------------

/// Type codes returned by ROI::type(), one bit each.
enum ROIType : int {
    RectROIType = 1,         ///< RectROI
    LineROIType = 2,         ///< LineROI
    CircleROIType = 4,       ///< CircleROI
    RingROIType = 32,        ///< RingROI
    ArcROIType = 64,         ///< ArcROI
    RotateRectROIType = 128, ///< RotateRectROI
};

/// Base of the ROI shapes. A tool asks a shape for its type() and reads the fields of
/// that type only; it never creates, copies or frees a shape.
class FUNCTIONS_EXPORT ROI {
public:
    /// A new copy of the shape, owned by the caller.
    virtual ROI* clone() const = 0;
    /// The shape's ROIType code. Second virtual slot: hosts built against this layout
    /// call it there.
    virtual int type() const = 0;
    virtual ~ROI(); ///< Shapes are deleted through the base.
};

/// Upright rectangle (left, top, width, height).
class FUNCTIONS_EXPORT RectROI : public ROI {
public:
    RectROI(); ///< An empty rectangle at the origin.
    explicit RectROI(const QRectF& rect); ///< The given rectangle.
    ROI* clone() const override;
    int type() const override; ///< RectROIType

    QRectF rect; ///< left, top, width, height in pixels
};

/// Line segment from (x1, y1) to (x2, y2).
class FUNCTIONS_EXPORT LineROI : public ROI {
public:
    LineROI(); ///< A segment of length 0 at the origin.
    LineROI(double x1, double y1, double x2, double y2); ///< From (x1, y1) to (x2, y2).
    ROI* clone() const override;
    int type() const override; ///< LineROIType

    double x1 = 0; ///< start x, pixels
    double y1 = 0; ///< start y, pixels
    double x2 = 0; ///< end x, pixels
    double y2 = 0; ///< end y, pixels
};

/// Circle given by its bounding square; the circle's centre is the square's centre.
class FUNCTIONS_EXPORT CircleROI : public ROI {
public:
    CircleROI(); ///< An empty square at the origin.
    explicit CircleROI(const QRectF& rect); ///< The circle inside rect.
    ROI* clone() const override;
    int type() const override; ///< CircleROIType

    QRectF rect; ///< the bounding square, pixels
};

/// Annulus around (centreX, centreY); the radii may come in either order.
class FUNCTIONS_EXPORT RingROI : public ROI {
public:
    RingROI(); ///< A ring of radius 0 at the origin.
    RingROI(double cx, double cy, float r1, float r2); ///< Centre (cx, cy), radii r1 and r2.
    ROI* clone() const override;
    int type() const override; ///< RingROIType

    double centreX = 0; ///< centre x, pixels
    double centreY = 0; ///< centre y, pixels
    float radius1 = 0;  ///< one radius, pixels
    float radius2 = 0;  ///< the other radius, pixels
};

/// Annular sector; angles in degrees, counter-clockwise with y up, from angle1 to angle2.
class FUNCTIONS_EXPORT ArcROI : public ROI {
public:
    ArcROI(); ///< An arc of radius 0 at the origin.
    /// Centre (cx, cy), radii r1 and r2, from angle1 to angle2 degrees.
    ArcROI(double cx, double cy, float r1, float r2, float angle1, float angle2);
    ROI* clone() const override;
    int type() const override; ///< ArcROIType

    double centreX = 0; ///< centre x, pixels
    double centreY = 0; ///< centre y, pixels
    float radius1 = 0;  ///< one radius, pixels (either order)
    float radius2 = 0;  ///< the other radius, pixels
    float angle1 = 0;   ///< start angle, degrees counter-clockwise with y up
    float angle2 = 0;   ///< end angle, degrees counter-clockwise with y up
};

/// Rotated rectangle: centre, angle in degrees (clockwise on screen), width along its own
/// x axis, height along its own y axis. Its local frame has the origin at the unrotated
/// top-left corner, so the centre is at (width/2, height/2).
class FUNCTIONS_EXPORT RotateRectROI : public ROI {
public:
    RotateRectROI(); ///< A rectangle of size 0 at the origin.
    /// Centre (cx, cy), angle in degrees, width and height in pixels.
    RotateRectROI(double cx, double cy, float angle, float width, float height);
    ROI* clone() const override;
    int type() const override; ///< RotateRectROIType

    double centreX = 0; ///< centre x, pixels
    double centreY = 0; ///< centre y, pixels
    float angle = 0;    ///< degrees; positive turns the own x axis towards +y (clockwise on screen)
    float width = 0;    ///< side along the own x axis, pixels
    float height = 0;   ///< side along the own y axis, pixels
};

// ---------------------------------------------------------------------------------
// Parameter records: inputs first, outputs next, then the ROI pointer and the flag.
// ---------------------------------------------------------------------------------

/// Edge point tool (clcEdgePoint): the first edge across a rotated rectangle.
struct _EdgePointDetParam {
    ClcDirection direction = LeftToRight;        ///< in: 0 scans from the rectangle's left edge, other values from its right edge
    EdgeTransition transition = BothTransitions; ///< in: polarity along the scan (values outside 0..2 act as DarkToLight)
    int threshold = 0;   ///< in: percent of the strongest response (divided by 100.5)
    int smoothWidth = 0; ///< in: moving-average width on the strength curve; below 2 means none
    int minGradient = 0; ///< in: strengths below this become 0
    double maxGradient = 0;       ///< out: the largest strength, grey levels per pixel
    double x = 0;                 ///< out: image x of the edge, pixels
    double y = 0;                 ///< out: image y of the edge, pixels
    cv::Mat image;                ///< out: the straightened rectangle, 8-bit grey
    std::vector<double> gradient; ///< out: the strength curve, one value per column of image
    RotateRectROI* roi = nullptr; ///< in: the rectangle, owned by the host
    bool found = false;           ///< out: true when an edge was found
};

/// Edge point along a line segment (clcEdgePoint_Line).
struct _EdgePointDetParam_Line {
    int direction = 0; ///< in: 1 scans from the line's end towards its start, other values from its start
    EdgeTransition transition = BothTransitions; ///< in: polarity along the scan
    int percent = 0;     ///< in: relative threshold, percent of the strongest response
    int sigma = 0;       ///< in: Gaussian kernel index 0..100 (half-width of the smoothing)
    int minStrength = 0; ///< in: absolute threshold on the doubled central difference, grey levels
    double x = 0;           ///< out: image x of the edge, pixels
    double y = 0;           ///< out: image y of the edge, pixels
    cv::Mat image;          ///< out: the sampled line as a one-row 8-bit grey strip
    LineROI* roi = nullptr; ///< in: the segment, owned by the host
    bool found = false;     ///< out: true when an edge was found
};

/// Edge points tool (clcEdgePoints, clcEdgePointsAndTransform): one edge per segment of a
/// rectangle, in the straightened rectangle's pixel coordinates.
struct _EdgePointsDetParam {
    int scanAxis = 0;  ///< in: 0 scans along the width, other values along the height
    int direction = 0; ///< in: 1 scans backwards, other values forwards
    EdgeTransition transition = BothTransitions; ///< in: polarity along the scan
    int percent = 0;      ///< in: relative threshold, percent of each segment's strongest response
    int sigma = 0;        ///< in: Gaussian kernel index 0..100
    int minStrength = 0;  ///< in: absolute threshold on the doubled central difference, grey levels
    int segmentWidth = 0; ///< in: segment width in pixels, at least 1
    int segmentStep = 0;  ///< in: distance between segment starts in pixels, at least 1
    cv::Mat image;        ///< out: the straightened (or copied) rectangle, 8-bit grey
    std::vector<cv::Point_<double>> points; ///< out: the edges, straightened-rectangle pixels
    ROI* roi = nullptr;   ///< in: a RectROI or RotateRectROI, owned by the host
    bool found = false;   ///< out: true when at least one edge was found
    double angle = 0;      ///< out: the rectangle's angle, degrees (0 for a RectROI)
    double halfWidth = 0;  ///< out: half the rectangle's width, pixels
    double halfHeight = 0; ///< out: half the rectangle's height, pixels
    double centreX = 0;    ///< out: image x of the rectangle's centre, pixels
    double centreY = 0;    ///< out: image y of the rectangle's centre, pixels
};

/// Edges tool (clcEdges): every edge of one averaged profile across a rectangle.
struct _EdgesDetParam {
    ClcDirection direction = LeftToRight;        ///< in: 0/1 profile along the width, 2/3 along the height; 1 and 3 scan backwards
    EdgeTransition transition = BothTransitions; ///< in: polarity along the scan
    int threshold = 0;   ///< in: percent of the strongest response (divided by 100.5)
    int smoothWidth = 0; ///< in: moving-average width on the strength curve; below 2 means none
    int minGradient = 0; ///< in: strengths below this become 0
    float maxGradient = 0;          ///< out: the largest strength, grey levels per pixel
    cv::Mat image;                  ///< out: the straightened or copied rectangle, 8-bit grey
    std::vector<float> gradient;    ///< out: the strength curve, one value per profile sample
    std::vector<float> positions;   ///< out: edge positions along the profile, samples, in scan order
    std::vector<int> polarities;    ///< out: per position 1 falling, -1 rising, 0 flat along the scan
    ROI* roi = nullptr;             ///< in: a RectROI or RotateRectROI, owned by the host
    bool found = false;             ///< out: true when at least one edge was found
};

/// Edge pairs per segment (clcMulEdgePoints), as for width measurements.
struct _MulEdgePointDetParam {
    int pairMode = 0;    ///< in: 0 outermost pair, other values the two middle peaks
    int segmentAxis = 0; ///< in: 0 horizontal bands, other values vertical bands
    int direction = 0;   ///< in: 0 forwards, other values backwards
    EdgeTransition transition = BothTransitions; ///< in: polarity along the scan
    int threshold = 0;     ///< in: percent of the strongest response (divided by 100.5)
    int smoothWidth = 0;   ///< in: moving-average width on the strength curve; below 2 means none
    int minGradient = 0;   ///< in: strengths below this become 0
    int segmentWidth = 0;  ///< in: band width across the profile, pixels
    int segmentStep = 0;   ///< in: advance from one band to the next, pixels
    int skipCount = 0;     ///< in: leading peaks (in scan order) dropped before the pair is chosen
    float minPairDistance = 0; ///< in: a pair is kept only when its positions differ by more, pixels
    cv::Mat image;             ///< out: the straightened or copied rectangle, 8-bit grey
    std::vector<cv::Point_<double>> firstEdges;  ///< out: the smaller position of each kept pair
    std::vector<cv::Point_<double>> secondEdges; ///< out: the larger position of each kept pair
    RotateRectROI* roi = nullptr; ///< in: the rectangle, owned by the host
    bool found = false;           ///< out: true when at least one pair was kept
};

/// Line tool (clcLineEdgePoints, clcEdgeLineAndFit, removeEdgeLineNoise). The first seven
/// fields are the caliper settings the circle and arc records share.
struct _EdgeLineDetParam {
    int direction = 0; ///< in: 1 scans RightToLeft, other values LeftToRight
    int transition = 0;   ///< in: EdgeTransition value 0, 1 or 2
    int percent = 0;      ///< in: relative threshold, percent of each caliper's strongest response
    int sigma = 0;        ///< in: Gaussian kernel index 0..100
    int minStrength = 0;  ///< in: absolute threshold on the doubled central difference, grey levels
    int segmentWidth = 0; ///< in: caliper band width, pixels, at least 1
    int segmentStep = 0;  ///< in: distance between caliper starts, pixels, at least 1
    cv::Vec<double, 4> line = cv::Vec<double, 4>(0, 0, 0, 0); ///< out: (vx, vy, x0, y0), unit direction and a point, image pixels
    cv::Mat roiImage;                       ///< out: the straightened ROI, 8-bit grey
    std::vector<cv::Point2d> edgePoints;    ///< out: one edge per caliper that found one, image pixels, in caliper order
    std::vector<cv::Point2d> startEndPoints; ///< out: where the line crosses the ROI border, start first
    RotateRectROI* roi = nullptr;           ///< in: the rectangle, owned by the host
    bool success = false;                   ///< out: true once a line was fitted
};

/// Circle points tool (clcCirclePoints).
struct _CirclePointsDetParam {
    int direction = 0; ///< in: 1 scans from the outer radius inwards, other values outwards
    int transition = 0;   ///< in: EdgeTransition value 0, 1 or 2
    int percent = 0;      ///< in: relative threshold, percent of each caliper's strongest response
    int sigma = 0;        ///< in: Gaussian kernel index 0..100
    int minStrength = 0;  ///< in: absolute threshold on the doubled central difference, grey levels
    int segmentWidth = 0; ///< in: angular rows averaged per caliper
    int segmentStep = 0;  ///< in: angular rows between caliper starts
    cv::Rect cropRect;    ///< out: the square cut from the image around the ROI, pixels
    cv::Mat roiImage;     ///< out: that square, 8-bit grey, 0 outside the image
    std::vector<cv::Point2d> edgePoints; ///< out: edge points, image pixels, in angular order
    ROI* roi = nullptr;   ///< in: a RingROI or ArcROI, owned by the host
    bool success = false; ///< out: true when at least 3 points were found
};

/// Circle tool (clcCirclePointsAndFit).
struct _CircleDetParam {
    int direction = 0; ///< in: 1 scans from the outer radius inwards, other values outwards
    int transition = 0;   ///< in: EdgeTransition value 0, 1 or 2
    int percent = 0;      ///< in: relative threshold, percent of each caliper's strongest response
    int sigma = 0;        ///< in: Gaussian kernel index 0..100
    int minStrength = 0;  ///< in: absolute threshold on the doubled central difference, grey levels
    int segmentWidth = 0; ///< in: angular rows averaged per caliper
    int segmentStep = 0;  ///< in: angular rows between caliper starts
    cv::Point2d centre;   ///< out: the fitted circle's centre, image pixels
    double radius = 0;    ///< out: its radius, pixels
    cv::Rect cropRect;    ///< out: the square cut from the image around the ROI, pixels
    cv::Mat roiImage;     ///< out: that square, 8-bit grey, 0 outside the image
    std::vector<cv::Point2d> edgePoints; ///< out: edge points, image pixels, in angular order
    ROI* roi = nullptr;   ///< in: a RingROI or ArcROI, owned by the host
    bool success = false; ///< out: true when a circle was accepted
};

/// Arc tool (clcArcPointsAndFit, findArcAngle).
struct _ArcDetParam {
    int direction = 0; ///< in: 1 scans from the outer radius inwards, other values outwards
    int transition = 0;   ///< in: EdgeTransition value 0, 1 or 2
    int percent = 0;      ///< in: relative threshold, percent of each caliper's strongest response
    int sigma = 0;        ///< in: Gaussian kernel index 0..100
    int minStrength = 0;  ///< in: absolute threshold on the doubled central difference, grey levels
    int segmentWidth = 0; ///< in: angular rows averaged per caliper
    int segmentStep = 0;  ///< in: angular rows between caliper starts
    cv::Point2d centre;   ///< out: the fitted circle's centre, image pixels
    double radius = 0;    ///< out: its radius, pixels
    double arcStartAngle = 0; ///< out: start of the arc found, degrees counter-clockwise with y up, [0, 360]
    double arcEndAngle = 0;   ///< out: end of the arc found, same convention
    cv::Rect cropRect;    ///< out: the square cut from the image around the ROI, pixels
    cv::Mat roiImage;     ///< out: that square, 8-bit grey, 0 outside the image
    std::vector<cv::Point2d> edgePoints; ///< out: edge points, image pixels, in angular order
    ArcROI* roi = nullptr; ///< in: the arc, owned by the host
    bool success = false;  ///< out: true when a circle and its angles were found
};

/// One template-matching result of the host.
struct _MatchingResult {
    int x = 0;        ///< column of the instance's centre, pixels
    int y = 0;        ///< row of the instance's centre, pixels
    float angle = 0;  ///< rotation of the instance, degrees, as a cv::RotatedRect's (clockwise on screen)
    int reserved = 0; ///< opaque to the library; travels with the record
    float score = 0;  ///< match score; larger is better
};

/// One region: its outer boundary and holes, indexing a full copy of the contour list.
struct ContourLayer {
    int outerIndex = 0;        ///< index in contours of the region's top-level boundary
    QVector<int> outerIndexes; ///< every solid boundary: outerIndex, then islands inside holes
    QVector<int> holeIndexes;  ///< every hole boundary
    std::vector<std::vector<cv::Point>> contours; ///< the whole contour list the indexes point into
};

/// One select_shape criterion; the bounds may be given in either order.
struct SelectShapeInfo {
    ShapeFeature feature = Area; ///< the feature tested
    double min = 0;              ///< one bound of the accepted range, inclusive, in the feature's unit
    double max = 0;              ///< the other bound, inclusive
};

/// Pose of an object in the reference image and in the current image.
struct CoordinateTransformer {
    float refX = 0;     ///< x of the object in the reference image, pixels
    float refY = 0;     ///< y of the object in the reference image, pixels
    float refAngle = 0; ///< its angle in the reference image, degrees
    float curX = 0;     ///< x of the object in the current image, pixels
    float curY = 0;     ///< y of the object in the current image, pixels
    float curAngle = 0; ///< its angle in the current image, degrees
};

/// One pose: position and angle in degrees.
struct ObjPos {
    float x = 0;     ///< x, pixels
    float y = 0;     ///< y, pixels
    float angle = 0; ///< angle, degrees
};

/// @}
