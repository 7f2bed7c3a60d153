#include <Functions.h>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

QVector<ContourLayer> layersOf(const cv::Mat& image)
{
    std::vector<std::vector<cv::Point>> contours;
    std::vector<cv::Vec4i> hierarchy;
    cv::findContours(image, contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
    QVector<ContourLayer> layers;
    groupingContours(contours, hierarchy, layers);
    return layers;
}

const std::vector<cv::Point>& outerOf(const ContourLayer& layer)
{
    return layer.contours[layer.outerIndex];
}

cv::Mat painted(const ContourLayer& layer, cv::Size size)
{
    cv::Mat image = cv::Mat::zeros(size, CV_8UC1);
    getLayerMat_CCOMP(layer, image);
    return image;
}

SelectShapeInfo criterion(int feature, double lo, double hi)
{
    SelectShapeInfo c;
    c.feature = static_cast<ShapeFeature>(feature);
    c.min = lo;
    c.max = hi;
    return c;
}

// Number of regions select_shape keeps.
int keptCount(const cv::Mat& image, const QVector<SelectShapeInfo>& criteria, int operation)
{
    cv::Mat selected;
    return select_shape(image, selected, criteria, static_cast<SelectOperation>(operation)).size();
}

cv::Mat singleBlob(const cv::Rect& box, cv::Size size = cv::Size(80, 60))
{
    cv::Mat image = cv::Mat::zeros(size, CV_8UC1);
    image(box).setTo(255);
    return image;
}

} // namespace

TEST(Connection, SplitsRegionsWithTheirHolesAndRefusesColour)
{
    cv::Mat image = cv::Mat::zeros(80, 120, CV_8UC1);
    image(cv::Rect(5, 5, 30, 30)).setTo(255);
    image(cv::Rect(15, 15, 10, 10)).setTo(0);
    image(cv::Rect(60, 10, 20, 50)).setTo(1); // any non-zero value is region
    cv::circle(image, cv::Point(100, 60), 8, cv::Scalar(255), cv::FILLED);

    std::vector<cv::Mat> regions(7);
    connection(image, regions);
    ASSERT_EQ(regions.size(), 3u);
    const QVector<ContourLayer> layers = layersOf(image);
    cv::Mat all = cv::Mat::zeros(image.size(), CV_8UC1);
    for (size_t i = 0; i < regions.size(); ++i) {
        EXPECT_EQ(regions[i].type(), CV_8UC1);
        EXPECT_EQ(cv::countNonZero(regions[i] != painted(layers[static_cast<int>(i)], image.size())), 0);
        EXPECT_EQ(cv::countNonZero(regions[i] & all), 0); // regions do not overlap
        all |= regions[i];
    }
    EXPECT_EQ(all.at<uchar>(20, 20), 0); // the hole stays open

    connection(cv::Mat::zeros(10, 10, CV_8UC1), regions);
    EXPECT_TRUE(regions.empty());
    regions.resize(2);
    connection(cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(255)), regions);
    EXPECT_TRUE(regions.empty());
    connection(cv::Mat(), regions);
    EXPECT_TRUE(regions.empty());
    EXPECT_THROW(connection(cv::Mat(10, 10, CV_16UC1, cv::Scalar(255)), regions), cv::Exception);
}

TEST(SelectShape, DecisionTableOfAndOrSkippedAndFailingCriteria)
{
    const cv::Mat square = singleBlob(cv::Rect(10, 10, 21, 21)); // polygon 20 x 20: area 400
    const SelectShapeInfo areaPass = criterion(Area, 300, 500);
    const SelectShapeInfo areaFail = criterion(Area, 0, 100);
    const SelectShapeInfo skipped = criterion(12, 0, 0);
    for (int op : {0, 1, 2, -1}) { // And, Or, and two values that are neither
        const bool isAnd = op == And, isOr = op == Or;
        EXPECT_EQ(keptCount(square, {areaPass}, op), isAnd || isOr ? 1 : 0) << op;
        EXPECT_EQ(keptCount(square, {areaFail}, op), 0) << op;
        EXPECT_EQ(keptCount(square, {areaPass, areaFail}, op), isOr ? 1 : 0) << op;
        EXPECT_EQ(keptCount(square, {areaFail, areaPass}, op), isOr ? 1 : 0) << op;
        // A skipped criterion neither passes nor fails.
        EXPECT_EQ(keptCount(square, {skipped}, op), isAnd ? 1 : 0) << op;
        EXPECT_EQ(keptCount(square, {skipped, areaPass}, op), isAnd || isOr ? 1 : 0) << op;
        EXPECT_EQ(keptCount(square, {skipped, areaFail}, op), 0) << op;
    }
    // Bounds in either order; both inclusive.
    EXPECT_EQ(keptCount(square, {criterion(Area, 500, 300)}, And), 1);
    EXPECT_EQ(keptCount(square, {criterion(Area, 400, 400)}, And), 1);
    EXPECT_EQ(keptCount(square, {criterion(Area, 401, 500)}, And), 0);

    // A single pixel has a minimum-area rectangle of area 0: rectangularity is skipped.
    const cv::Mat dot = singleBlob(cv::Rect(30, 30, 1, 1));
    EXPECT_EQ(keptCount(dot, {criterion(Rectangularity, 0.5, 1)}, And), 1);
    EXPECT_EQ(keptCount(dot, {criterion(Rectangularity, 0.5, 1)}, Or), 0);
    // A 2 x 2 block has a 4-point outline: every ellipse feature fails, under both operations.
    const cv::Mat block = singleBlob(cv::Rect(30, 30, 2, 2));
    for (int feature : {EllipseSemiMajor, EllipseSemiMinor, EllipseAngle})
        for (int op : {And, Or})
            EXPECT_EQ(keptCount(block, {criterion(feature, -1e9, 1e9)}, op), 0) << feature;
    EXPECT_EQ(keptCount(square, {criterion(EllipseSemiMajor, -1e9, 1e9)}, And), 1);
}

TEST(SelectShape, AreaRequiresTheOuterOutlineBeforeHolesAreTakenOff)
{
    cv::Mat ring = singleBlob(cv::Rect(10, 10, 41, 41)); // outer polygon 40 x 40 = 1600
    ring(cv::Rect(20, 20, 21, 21)).setTo(0);             // hole contour 22 x 22 less corners: 482
    const QVector<ContourLayer> layers = layersOf(ring);
    ASSERT_EQ(layers.size(), 1);
    const double net = getContourArea(layers[0]);
    EXPECT_DOUBLE_EQ(net, 1600 - 482);
    EXPECT_EQ(keptCount(ring, {criterion(Area, net - 1, net + 1)}, And), 0);
    EXPECT_EQ(keptCount(ring, {criterion(Area, net - 1, net + 1)}, Or), 0);
    EXPECT_EQ(keptCount(ring, {criterion(Area, net, 1600)}, And), 1);
    EXPECT_EQ(keptCount(ring, {criterion(Area, net + 1, 1600)}, And), 0);
    // Rectangularity also uses the net area: 1118 / 1600.
    EXPECT_EQ(keptCount(ring, {criterion(Rectangularity, 0.69, 0.70)}, And), 1);
}

TEST(SelectShape, FeatureValuesOfKnownShapes)
{
    // A 41 x 11 bar: outline 40 x 10, bounding box 41 x 11, centroid (30, 25).
    const cv::Mat bar = singleBlob(cv::Rect(10, 20, 41, 11));
    const auto passes = [&bar](int feature, double lo, double hi) {
        return keptCount(bar, {criterion(feature, lo, hi)}, And);
    };
    EXPECT_EQ(passes(Width, 41, 41), 1);
    EXPECT_EQ(passes(Height, 11, 11), 1);
    EXPECT_EQ(passes(CentroidColumn, 30 - 1e-9, 30 + 1e-9), 1);
    EXPECT_EQ(passes(CentroidRow, 25 - 1e-9, 25 + 1e-9), 1);
    EXPECT_EQ(passes(RectHalfLength, 20, 20), 1);
    EXPECT_EQ(passes(RectHalfWidth, 5, 5), 1);
    EXPECT_EQ(passes(Rectangularity, 1, 1), 1);
    EXPECT_EQ(passes(RectAngle, 0, 0), 1);

    // Turned shapes: the angle is that of the longer side, clockwise on screen, in [0, 180).
    for (double angle : {30.0, 120.0}) {
        cv::Mat ellipse = cv::Mat::zeros(200, 200, CV_8UC1);
        cv::ellipse(ellipse, cv::Point(100, 100), cv::Size(60, 25), angle, 0, 360, cv::Scalar(255), cv::FILLED);
        cv::Mat box = cv::Mat::zeros(200, 200, CV_8UC1);
        cv::Point2f corners[4];
        cv::RotatedRect(cv::Point2f(100, 100), cv::Size2f(100, 30), static_cast<float>(angle)).points(corners);
        const std::vector<cv::Point> polygon(corners, corners + 4);
        cv::fillConvexPoly(box, polygon, cv::Scalar(255));
        const auto near = [&](const cv::Mat& image, int feature, double value, double tolerance) {
            return keptCount(image, {criterion(feature, value - tolerance, value + tolerance)}, And);
        };
        EXPECT_EQ(near(ellipse, EllipseAngle, angle, 1.0), 1) << angle;
        EXPECT_EQ(near(ellipse, EllipseSemiMajor, 60, 1.0), 1) << angle;
        EXPECT_EQ(near(ellipse, EllipseSemiMinor, 25, 1.0), 1) << angle;
        EXPECT_EQ(near(ellipse, CentroidColumn, 100, 0.2), 1) << angle;
        EXPECT_EQ(near(box, RectAngle, angle, 1.0), 1) << angle;
        EXPECT_EQ(near(box, RectHalfLength, 50, 1.0), 1) << angle;
        EXPECT_EQ(near(box, RectHalfWidth, 15, 1.0), 1) << angle;
    }
}

TEST(SelectShape, ManyRegionsKeepSourceOrderAndPaintOnlyTheKept)
{
    // A grid of rectangles of random sizes, some with holes.
    cv::RNG rng(3);
    cv::Mat image = cv::Mat::zeros(400, 600, CV_8UC1);
    for (int y = 4; y < 380; y += 24)
        for (int x = 4; x < 580; x += 24) {
            const cv::Rect box(x + rng.uniform(0, 4), y + rng.uniform(0, 4), rng.uniform(1, 18), rng.uniform(1, 18));
            image(box).setTo(255);
            if (box.width > 8 && box.height > 8)
                image(cv::Rect(box.x + 3, box.y + 3, 3, 3)).setTo(0);
        }
    const QVector<ContourLayer> layers = layersOf(image);
    ASSERT_GT(layers.size(), 300);

    const QVector<SelectShapeInfo> criteria{criterion(Width, 6, 14), criterion(Height, 14, 6)};
    cv::Mat expectedSelected = cv::Mat::zeros(image.size(), CV_8UC1);
    QVector<int> expectedOuter;
    for (const ContourLayer& layer : layers) {
        const cv::Rect r = cv::boundingRect(outerOf(layer));
        if (r.width >= 6 && r.width <= 14 && r.height >= 6 && r.height <= 14) {
            expectedOuter.append(layer.outerIndex);
            expectedSelected |= painted(layer, image.size());
        }
    }
    ASSERT_GT(expectedOuter.size(), 20);
    ASSERT_LT(expectedOuter.size(), layers.size() - 20);

    cv::Mat selected;
    const QList<ContourLayer> kept = select_shape(image, selected, criteria, And);
    QVector<int> keptOuter;
    for (const ContourLayer& layer : kept) {
        keptOuter.append(layer.outerIndex);
        EXPECT_EQ(layer.contours.size(), layers[0].contours.size()); // a full copy each
    }
    EXPECT_EQ(keptOuter, expectedOuter);
    EXPECT_EQ(cv::countNonZero(selected != expectedSelected), 0);
}

TEST(SelectShape, UnusableInputLeavesSelectedUntouched)
{
    const cv::Mat square = singleBlob(cv::Rect(10, 10, 21, 21));
    cv::Mat selected(3, 3, CV_8UC1, cv::Scalar(7));
    EXPECT_TRUE(select_shape(square, selected, {}, And).isEmpty());
    EXPECT_TRUE(select_shape(cv::Mat(), selected, {criterion(Area, 0, 1e9)}, And).isEmpty());
    cv::Mat colour;
    cv::cvtColor(square, colour, cv::COLOR_GRAY2BGR);
    EXPECT_TRUE(select_shape(colour, selected, {criterion(Area, 0, 1e9)}, And).isEmpty());
    EXPECT_EQ(selected.size(), cv::Size(3, 3));
    EXPECT_EQ(selected.at<uchar>(1, 1), 7);

    // Nothing kept: the selection is all 0 at the image size.
    EXPECT_TRUE(select_shape(square, selected, {criterion(Area, 0, 1)}, And).isEmpty());
    EXPECT_EQ(selected.size(), square.size());
    EXPECT_EQ(cv::countNonZero(selected), 0);
}

TEST(SelectMaxRegion, PicksTheLargestNetAreaAndTheEarlierOfEqualOnes)
{
    // The ring's outline is larger than the disc's, its net area smaller.
    cv::Mat image = cv::Mat::zeros(100, 200, CV_8UC1);
    cv::circle(image, cv::Point(50, 50), 40, cv::Scalar(255), cv::FILLED);
    cv::circle(image, cv::Point(50, 50), 30, cv::Scalar(0), cv::FILLED);
    cv::circle(image, cv::Point(150, 50), 30, cv::Scalar(255), cv::FILLED);
    cv::Mat largest;
    ASSERT_TRUE(select_max_region(image, largest));
    EXPECT_EQ(largest.at<uchar>(50, 150), 255);
    EXPECT_EQ(largest.at<uchar>(50, 15), 0);

    cv::Mat twins = cv::Mat::zeros(50, 100, CV_8UC1);
    twins(cv::Rect(10, 10, 20, 20)).setTo(255);
    twins(cv::Rect(60, 10, 20, 20)).setTo(255);
    ASSERT_TRUE(select_max_region(twins, largest));
    EXPECT_EQ(cv::countNonZero(largest != painted(layersOf(twins)[0], twins.size())), 0);

    cv::Mat untouched(2, 2, CV_8UC1, cv::Scalar(9));
    EXPECT_FALSE(select_max_region(cv::Mat::zeros(20, 20, CV_8UC1), untouched));
    // A single pixel and a one-pixel line enclose no area.
    cv::Mat thin = cv::Mat::zeros(20, 20, CV_8UC1);
    thin.row(5).colRange(2, 12).setTo(255);
    thin.at<uchar>(15, 15) = 255;
    EXPECT_FALSE(select_max_region(thin, untouched));
    EXPECT_FALSE(select_max_region(cv::Mat(), untouched));
    EXPECT_FALSE(select_max_region(cv::Mat(20, 20, CV_8UC3, cv::Scalar::all(255)), untouched));
    EXPECT_EQ(untouched.at<uchar>(0, 0), 9);
}

TEST(SortRegion, OrdersByCornerKeysInEveryDirection)
{
    // Regions listed with upper-left corners (10, 5), (3, 5), (0, 6).
    cv::Mat image = cv::Mat::zeros(20, 20, CV_8UC1);
    const cv::Rect boxes[] = {{10, 5, 3, 3}, {3, 5, 2, 4}, {0, 6, 2, 2}};
    QList<ContourLayer> regions;
    for (const cv::Rect& box : boxes) {
        regions.append(layersOf(singleBlob(box, image.size()))[0]);
        image(box).setTo(255);
    }
    std::vector<int> order;
    ASSERT_TRUE(sort_region(image, regions, order, UpperLeft, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{1, 0, 2}));
    ASSERT_TRUE(sort_region(image, regions, order, UpperLeft, Ascending, ByColumn));
    EXPECT_EQ(order, (std::vector<int>{2, 1, 0}));
    // Non-zero order and direction values act as Descending and ByColumn.
    ASSERT_TRUE(
        sort_region(image, regions, order, UpperLeft, static_cast<SortOrder>(5), static_cast<SortDirection>(-2)));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    // Lower edges one past the box: y 8, 9, 8; right edges: x 13, 5, 2.
    ASSERT_TRUE(sort_region(image, regions, order, LowerRight, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{2, 0, 1}));
    ASSERT_TRUE(sort_region(image, regions, order, LowerLeft, Descending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{1, 0, 2}));
}

TEST(SortRegion, ScannedPointsAndWhenThereIsNone)
{
    // A diamond: its top row holds one pixel, right of the box's left edge.
    cv::Mat image = cv::Mat::zeros(30, 30, CV_8UC1);
    const std::vector<cv::Point> corners{{10, 2}, {14, 6}, {10, 10}, {6, 6}};
    cv::fillConvexPoly(image, corners, cv::Scalar(255));
    image(cv::Rect(20, 3, 4, 4)).setTo(255);
    QList<ContourLayer> regions;
    for (const ContourLayer& layer : layersOf(image))
        regions.append(layer);
    ASSERT_EQ(regions.size(), 2);
    const int diamond = cv::boundingRect(outerOf(regions[0])).x == 6 ? 0 : 1;
    const int square = 1 - diamond;
    // First points (10, 2) and (20, 3); by column the diamond's apex comes first even
    // though its box starts left of the square's, by row descending it comes last.
    std::vector<int> order;
    ASSERT_TRUE(sort_region(image, regions, order, FirstPoint, Ascending, ByColumn));
    EXPECT_EQ(order, (std::vector<int>{diamond, square}));
    ASSERT_TRUE(sort_region(image, regions, order, FirstPoint, Descending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{square, diamond}));

    // LastPoint scans the row just below each box, where isolated regions have nothing.
    order = {5, 5};
    EXPECT_FALSE(sort_region(image, regions, order, LastPoint, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{0, 1}));
    // With marks on those rows in the image handed in, it takes the rightmost mark.
    cv::Mat marks = cv::Mat::zeros(image.size(), CV_8UC1);
    marks.at<uchar>(11, 7) = 1; // below the diamond's box (6..14, 2..10)
    marks.at<uchar>(11, 12) = 1;
    marks.at<uchar>(7, 24) = 1; // below the square's box, at its right edge + 1
    ASSERT_TRUE(sort_region(marks, regions, order, LastPoint, Ascending, ByColumn));
    EXPECT_EQ(order, (std::vector<int>{diamond, square}));
    ASSERT_TRUE(sort_region(marks, regions, order, LastPoint, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{square, diamond}));
    // The scan runs from the right: with a third region whose box (9..10, 8..10) puts its
    // key at (10, 11), the diamond's key (12, 11) sorts after it; a scan from the left
    // would have given the diamond (7, 11) and put it first.
    marks.at<uchar>(11, 10) = 1;
    QList<ContourLayer> three = regions;
    three.append(layersOf(singleBlob(cv::Rect(9, 8, 2, 3), image.size()))[0]);
    ASSERT_TRUE(sort_region(marks, three, order, LastPoint, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{square, 2, diamond}));

    EXPECT_FALSE(sort_region(image, regions, order, static_cast<SortCriterion>(6), Ascending, ByRow));
    EXPECT_FALSE(sort_region(image, regions, order, static_cast<SortCriterion>(-1), Ascending, ByRow));
    // Scanned criteria need an 8-bit single-channel image; corners do not read it.
    EXPECT_FALSE(sort_region(cv::Mat(), regions, order, FirstPoint, Ascending, ByRow));
    EXPECT_FALSE(sort_region(cv::Mat(30, 30, CV_16UC1, cv::Scalar(1)), regions, order, FirstPoint, Ascending, ByRow));
    EXPECT_TRUE(sort_region(cv::Mat(), regions, order, UpperLeft, Ascending, ByRow));
    std::vector<int> none{3};
    EXPECT_TRUE(sort_region(image, {}, none, FirstPoint, Ascending, ByRow));
    EXPECT_TRUE(none.empty());
}

TEST(SortRegion, BoxesOnTheBottomOrRightBorderAreNotReadBeyondIt)
{
    // A region filling the bottom-right corner: its box ends on the last row and column.
    const cv::Mat image = singleBlob(cv::Rect(25, 15, 5, 5), cv::Size(30, 20));
    QList<ContourLayer> regions{layersOf(image)[0]};
    std::vector<int> order;
    EXPECT_FALSE(sort_region(image, regions, order, LastPoint, Ascending, ByRow));
    EXPECT_EQ(order, (std::vector<int>{0}));
    EXPECT_TRUE(sort_region(image, regions, order, FirstPoint, Ascending, ByRow));
    EXPECT_TRUE(sort_region(image, regions, order, LowerRight, Ascending, ByRow));

    // Regions from a larger image than the one handed in, or with a broken outer index.
    const cv::Mat small = cv::Mat::zeros(10, 10, CV_8UC1);
    EXPECT_FALSE(sort_region(small, regions, order, FirstPoint, Ascending, ByRow));
    ContourLayer broken = regions[0];
    broken.outerIndex = 4;
    EXPECT_FALSE(sort_region(image, {broken}, order, UpperLeft, Ascending, ByRow));
    broken.outerIndex = 0;
    broken.contours[0].clear();
    EXPECT_FALSE(sort_region(image, {broken}, order, UpperLeft, Ascending, ByRow));
}
