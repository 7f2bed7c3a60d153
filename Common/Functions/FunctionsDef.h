#pragma once

// Declarations shared with the host application: enumerations, parameter records and
// ROI shapes. The host is compiled against this same header, so enumeration values,
// field order and field types are part of the binary interface and never change.
//
// Conventions used throughout the library:
//  - image coordinates: x is the column, y the row, origin at the top-left pixel,
//    y growing downwards, in pixels;
//  - a line is cv::Vec4d (vx, vy, x0, y0): a direction followed by a point on it;
//  - angles are degrees unless a name says radian; a rotated rectangle's positive angle
//    turns its own x axis towards +y (clockwise on screen), ring and arc angles are
//    counter-clockwise with y up.
//
// Every enumeration has the fixed underlying type int, so any 32-bit value a host
// passes is representable and the functions' handling of "other" values is defined.

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
    LeftToRight = 0,
    RightToLeft = 1,
    TopToBottom = 2,
    BottomToTop = 3,
};

/// Edge polarity, judged along the scan direction.
enum EdgeTransition : int {
    BothTransitions = 0,
    LightToDark = 1,
    DarkToLight = 2,
};

/// Line fitting method; any value other than 0 and 1 behaves like FitLineTukey.
enum FitLineType : int {
    FitLineLeastSquares = 0,
    FitLineHuber = 1,
    FitLineTukey = 2,
};

/// Circle fitting method; values above 3 restart from samples with unit weights.
enum FitCircleType : int {
    FitCircleLeastSquares = 0,
    FitCircleHuber = 1,
    FitCircleTukey = 2,
    FitCircleTaubin = 3,
};

/// Ellipse fitting method; any value other than 0 and 1 behaves like FitEllipseTukey.
enum FitEllipseType : int {
    FitEllipseLeastSquares = 0,
    FitEllipseHuber = 1,
    FitEllipseTukey = 2,
};

/// Angle arithmetic: 0 adds, any other value subtracts.
enum ArithmeticSign : int {
    Addition = 0,
    Subtraction = 1,
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
    BoundingRectangle = 0,
    EnclosingCircle = 1,
    ConvexHull = 2,
};

/// Which lines line_gauss extracts; any non-zero value means LightLines.
enum LineGaussType : int {
    DarkLines = 0,
    LightLines = 1,
};

/// How select_shape combines its criteria.
enum SelectOperation : int {
    And = 0,
    Or = 1,
};

/// Reference point of a region for sort_region.
enum SortCriterion : int {
    FirstPoint = 0,
    LastPoint = 1,
    UpperLeft = 2,
    UpperRight = 3,
    LowerLeft = 4,
    LowerRight = 5,
};

/// Sort order of sort_region; any non-zero value means Descending.
enum SortOrder : int {
    Ascending = 0,
    Descending = 1,
};

/// Primary key of sort_region; any non-zero value means ByColumn.
enum SortDirection : int {
    ByRow = 0,
    ByColumn = 1,
};

/// Shape feature tested by one select_shape criterion; other values are skipped.
enum ShapeFeature : int {
    Area = 0,
    Rectangularity = 1,
    Width = 2,
    Height = 3,
    CentroidRow = 4,
    CentroidColumn = 5,
    RectHalfLength = 6,
    RectHalfWidth = 7,
    RectAngle = 8,
    EllipseSemiMajor = 9,
    EllipseSemiMinor = 10,
    EllipseAngle = 11,
};

/// Orders of sortMatchingResult. 22 (ascending angle) deliberately follows the grid orders.
enum MatchingResultSortType : int {
    SortCenterYAscend = 0,
    SortCenterYDescend = 1,
    SortCenterXAscend = 2,
    SortCenterXDescend = 3,
    SortScoreDescend = 4,
    SortAngleDescend = 5,
    SortRowsYAscendXAscend = 6,
    SortRowsYAscendXDescend = 7,
    SortRowsYDescendXAscend = 8,
    SortRowsYDescendXDescend = 9,
    SortColumnsXAscendYAscend = 10,
    SortColumnsXAscendYDescend = 11,
    SortColumnsXDescendYAscend = 12,
    SortColumnsXDescendYDescend = 13,
    SortSnakeRowsYAscendXAscend = 14,
    SortSnakeRowsYAscendXDescend = 15,
    SortSnakeRowsYDescendXAscend = 16,
    SortSnakeRowsYDescendXDescend = 17,
    SortSnakeColumnsXAscendYAscend = 18,
    SortSnakeColumnsXAscendYDescend = 19,
    SortSnakeColumnsXDescendYAscend = 20,
    SortSnakeColumnsXDescendYDescend = 21,
    SortAngleAscend = 22,
};

// ---------------------------------------------------------------------------------
// ROI shapes. The host creates and owns them; the library asks type() and down-casts.
// ---------------------------------------------------------------------------------

/// Type codes returned by ROI::type(), one bit each.
enum ROIType : int {
    RectROIType = 1,
    LineROIType = 2,
    CircleROIType = 4,
    RingROIType = 32,
    ArcROIType = 64,
    RotateRectROIType = 128,
};

class FUNCTIONS_EXPORT ROI {
public:
    virtual ROI* clone() const = 0;
    virtual int type() const = 0; // second virtual slot: the type query
    virtual ~ROI();
};

/// Upright rectangle (left, top, width, height).
class FUNCTIONS_EXPORT RectROI : public ROI {
public:
    RectROI();
    explicit RectROI(const QRectF& rect);
    ROI* clone() const override;
    int type() const override;

    QRectF rect;
};

/// Line segment from (x1, y1) to (x2, y2).
class FUNCTIONS_EXPORT LineROI : public ROI {
public:
    LineROI();
    LineROI(double x1, double y1, double x2, double y2);
    ROI* clone() const override;
    int type() const override;

    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
};

/// Circle given by its bounding square; the circle's centre is the square's centre.
class FUNCTIONS_EXPORT CircleROI : public ROI {
public:
    CircleROI();
    explicit CircleROI(const QRectF& rect);
    ROI* clone() const override;
    int type() const override;

    QRectF rect;
};

/// Annulus around (centreX, centreY); the radii may come in either order.
class FUNCTIONS_EXPORT RingROI : public ROI {
public:
    RingROI();
    RingROI(double cx, double cy, float r1, float r2);
    ROI* clone() const override;
    int type() const override;

    double centreX = 0, centreY = 0;
    float radius1 = 0, radius2 = 0;
};

/// Annular sector; angles in degrees, counter-clockwise with y up, from angle1 to angle2.
class FUNCTIONS_EXPORT ArcROI : public ROI {
public:
    ArcROI();
    ArcROI(double cx, double cy, float r1, float r2, float angle1, float angle2);
    ROI* clone() const override;
    int type() const override;

    double centreX = 0, centreY = 0;
    float radius1 = 0, radius2 = 0, angle1 = 0, angle2 = 0;
};

/// Rotated rectangle: centre, angle in degrees (clockwise on screen), width along its own
/// x axis, height along its own y axis. Its local frame has the origin at the unrotated
/// top-left corner, so the centre is at (width/2, height/2).
class FUNCTIONS_EXPORT RotateRectROI : public ROI {
public:
    RotateRectROI();
    RotateRectROI(double cx, double cy, float angle, float width, float height);
    ROI* clone() const override;
    int type() const override;

    double centreX = 0, centreY = 0;
    float angle = 0, width = 0, height = 0;
};

// ---------------------------------------------------------------------------------
// Parameter records: inputs first, outputs next, then the ROI pointer and the flag.
// ---------------------------------------------------------------------------------

/// Edge point tool (clcEdgePoint).
struct _EdgePointDetParam {
    ClcDirection direction = LeftToRight;
    EdgeTransition transition = BothTransitions;
    int threshold = 0;   ///< percent of the strongest response (divided by 100.5)
    int smoothWidth = 0; ///< moving-average width; below 2 means none
    int minGradient = 0; ///< strengths below this become 0
    double maxGradient = 0;
    double x = 0;
    double y = 0;
    cv::Mat image;
    std::vector<double> gradient;
    RotateRectROI* roi = nullptr;
    bool found = false;
};

/// Edge point along a line segment (clcEdgePoint_Line).
struct _EdgePointDetParam_Line {
    int direction = 0; ///< 1 scans from the line's end towards its start
    EdgeTransition transition = BothTransitions;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    double x = 0;
    double y = 0;
    cv::Mat image;
    LineROI* roi = nullptr;
    bool found = false;
};

/// Edge points tool (clcEdgePoints, clcEdgePointsAndTransform).
struct _EdgePointsDetParam {
    int scanAxis = 0;  ///< 0 scans along the width, other values along the height
    int direction = 0; ///< 1 scans backwards
    EdgeTransition transition = BothTransitions;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    cv::Mat image;
    std::vector<cv::Point_<double>> points;
    ROI* roi = nullptr;
    bool found = false;
    double angle = 0;
    double halfWidth = 0;
    double halfHeight = 0;
    double centreX = 0;
    double centreY = 0;
};

/// Edges tool (clcEdges).
struct _EdgesDetParam {
    ClcDirection direction = LeftToRight;
    EdgeTransition transition = BothTransitions;
    int threshold = 0;
    int smoothWidth = 0;
    int minGradient = 0;
    float maxGradient = 0;
    cv::Mat image;
    std::vector<float> gradient;
    std::vector<float> positions;
    std::vector<int> polarities;
    ROI* roi = nullptr;
    bool found = false;
};

/// Edge pairs per segment (clcMulEdgePoints).
struct _MulEdgePointDetParam {
    int pairMode = 0;    ///< 0 outermost pair, other values the two middle peaks
    int segmentAxis = 0; ///< 0 horizontal bands, other values vertical bands
    int direction = 0;   ///< 0 forwards, other values backwards
    EdgeTransition transition = BothTransitions;
    int threshold = 0;
    int smoothWidth = 0;
    int minGradient = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    int skipCount = 0;
    float minPairDistance = 0;
    cv::Mat image;
    std::vector<cv::Point_<double>> firstEdges;
    std::vector<cv::Point_<double>> secondEdges;
    RotateRectROI* roi = nullptr;
    bool found = false;
};

/// Line tool (clcLineEdgePoints, clcEdgeLineAndFit, removeEdgeLineNoise).
struct _EdgeLineDetParam {
    int direction = 0; ///< 1 scans RightToLeft, other values LeftToRight
    int transition = 0;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    cv::Vec<double, 4> line = cv::Vec<double, 4>(0, 0, 0, 0);
    cv::Mat roiImage;
    std::vector<cv::Point2d> edgePoints;
    std::vector<cv::Point2d> startEndPoints;
    RotateRectROI* roi = nullptr;
    bool success = false;
};

/// Circle points tool (clcCirclePoints).
struct _CirclePointsDetParam {
    int direction = 0;
    int transition = 0;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    cv::Rect cropRect;
    cv::Mat roiImage;
    std::vector<cv::Point2d> edgePoints;
    ROI* roi = nullptr;
    bool success = false;
};

/// Circle tool (clcCirclePointsAndFit).
struct _CircleDetParam {
    int direction = 0;
    int transition = 0;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    cv::Point2d centre;
    double radius = 0;
    cv::Rect cropRect;
    cv::Mat roiImage;
    std::vector<cv::Point2d> edgePoints;
    ROI* roi = nullptr;
    bool success = false;
};

/// Arc tool (clcArcPointsAndFit, findArcAngle).
struct _ArcDetParam {
    int direction = 0;
    int transition = 0;
    int percent = 0;
    int sigma = 0;
    int minStrength = 0;
    int segmentWidth = 0;
    int segmentStep = 0;
    cv::Point2d centre;
    double radius = 0;
    double arcStartAngle = 0; ///< degrees, counter-clockwise with y up
    double arcEndAngle = 0;
    cv::Rect cropRect;
    cv::Mat roiImage;
    std::vector<cv::Point2d> edgePoints;
    ArcROI* roi = nullptr;
    bool success = false;
};

/// Circle diameter tool (clcCircleMulPoints): two-point diameters across a round
/// feature along many radial calipers, as a micrometer would take them. Angles are
/// degrees counter-clockwise with y up, 0 along +x, like the ring and arc angles.
struct _CircleDiameterDetParam {
    /// 1: each caliper scans from the outer radius inwards; any other value outwards.
    int direction = 0;
    /// Edge polarity along the scan (EdgeTransition); values outside 0..2 count as 0.
    int transition = 0;
    /// Relative threshold: percent of the strongest response of each caliper.
    int percent = 0;
    /// Gaussian kernel index 0..100 smoothing each radial profile; others find nothing.
    int sigma = 0;
    /// Absolute threshold on the edge strength (doubled central difference, grey levels).
    int minStrength = 0;
    /// Radial lines averaged into one caliper, spread evenly over caliperAngle; below 1
    /// counts as 1 (a single line along the caliper's own angle).
    int segmentWidth = 0;
    /// Not read: the calipers stand 360 / caliperCount degrees apart. It keeps the seven
    /// settings shared with the line, circle and arc records in their place.
    int segmentStep = 0;
    /// Calipers over the full turn, caliper k at k * 360 / caliperCount degrees, so that
    /// caliper k and caliper k + caliperCount / 2 are exactly opposite. Counts below 6
    /// are raised to 6 and odd counts to the next even number.
    int caliperCount = 360;
    /// Angular width of each caliper in degrees, clamped to [0, 360 / caliperCount]
    /// (NaN counts as 0): its lines lie at the centres of segmentWidth equal parts of it.
    double caliperAngle = 1.0;
    /// Centre of the circle fitted (Taubin) to every edge point, image pixels.
    cv::Point2d centre;
    /// Radius of that circle, pixels.
    double radius = 0;
    /// Mean of the two-point diameters, pixels.
    double meanDiameter = 0;
    /// Smallest two-point diameter measured, pixels.
    double minDiameter = 0;
    /// Direction of the smallest diameter, degrees in [0, 180): where an oval fitted to
    /// the readings around the smallest one is lowest (see clcCircleMulPoints).
    double minDiameterAngle = 0;
    /// Largest two-point diameter measured, pixels.
    double maxDiameter = 0;
    /// Direction of the largest diameter, degrees in [0, 180).
    double maxDiameterAngle = 0;
    /// Out-of-roundness: largest minus smallest distance of the edge points from centre,
    /// pixels.
    double roundness = 0;
    /// The edge point of every caliper that found one, image pixels, in caliper order
    /// (counter-clockwise from 0 degrees).
    std::vector<cv::Point2d> edgePoints;
    /// The angle of each edge point's caliper, degrees in [0, 360), parallel to edgePoints.
    std::vector<double> edgeAngles;
    /// Every two-point diameter, pixels: the distance between the edge points of two
    /// opposite calipers that both found one, in caliper order.
    std::vector<double> diameters;
    /// The direction of each diameter, degrees in [0, 180), parallel to diameters.
    std::vector<double> diameterAngles;
    /// The square of image pixels the unwrap reads (it may reach outside the image,
    /// whose missing pixels read as 0).
    cv::Rect cropRect;
    /// The unwrapped ring the calipers ran over, 8-bit grey: row r is the radial line at
    /// the r-th angle (caliper r / segmentWidth), column j the radius inner + j pixels, half
    /// a pixel more for the second half of the calipers.
    cv::Mat polarImage;
    /// A RingROI, or a CircleROI (searched in a band about its circle); not owned.
    ROI* roi = nullptr;
    /// True when at least three opposite pairs were measured; also the return value.
    bool success = false;
};

/// One template-matching result of the host.
struct _MatchingResult {
    int x = 0;
    int y = 0;
    float angle = 0;
    int reserved = 0; ///< opaque to the library; travels with the record
    float score = 0;
};

/// One region: its outer boundary and holes, indexing a full copy of the contour list.
struct ContourLayer {
    int outerIndex = 0;
    QVector<int> outerIndexes;
    QVector<int> holeIndexes;
    std::vector<std::vector<cv::Point>> contours;
};

/// One select_shape criterion; the bounds may be given in either order.
struct SelectShapeInfo {
    ShapeFeature feature = Area;
    double min = 0;
    double max = 0;
};

/// Pose of an object in the reference image and in the current image.
struct CoordinateTransformer {
    float refX = 0;
    float refY = 0;
    float refAngle = 0;
    float curX = 0;
    float curY = 0;
    float curAngle = 0;
};

/// One pose: position and angle in degrees.
struct ObjPos {
    float x = 0;
    float y = 0;
    float angle = 0;
};
