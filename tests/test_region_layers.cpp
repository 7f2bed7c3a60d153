#include <Functions.h>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace {

struct Found {
    std::vector<std::vector<cv::Point>> contours;
    std::vector<cv::Vec4i> hierarchy;
    QVector<ContourLayer> layers;
};

Found layersOf(const cv::Mat& image, int mode = cv::RETR_CCOMP)
{
    Found f;
    cv::findContours(image, f.contours, f.hierarchy, mode, cv::CHAIN_APPROX_NONE);
    groupingContours(f.contours, f.hierarchy, f.layers);
    return f;
}

double polygonArea(const std::vector<cv::Point>& contour)
{
    return cv::contourArea(contour, false);
}

// A filled square 60 x 60 at (20, 20) with a 30 x 30 hole and a 10 x 10 island in it.
cv::Mat squareWithIsland()
{
    cv::Mat image = cv::Mat::zeros(100, 100, CV_8UC1);
    image(cv::Rect(20, 20, 60, 60)).setTo(255);
    image(cv::Rect(35, 35, 30, 30)).setTo(0);
    image(cv::Rect(45, 45, 10, 10)).setTo(255);
    return image;
}

// The image as a painted layer shows it: a hole is filled with 0 along its own contour,
// which runs through the region pixels bordering the hole, so those pixels go too.
cv::Mat withoutHoleContours(const cv::Mat& image, const Found& f)
{
    cv::Mat expected = image.clone();
    for (const ContourLayer& layer : f.layers)
        for (int h : layer.holeIndexes)
            for (const cv::Point& p : f.contours[h])
                expected.at<uchar>(p) = 0;
    return expected;
}

std::vector<cv::Vec4i> parents(const std::vector<int>& parentOf)
{
    std::vector<cv::Vec4i> hierarchy;
    for (int p : parentOf)
        hierarchy.emplace_back(-1, -1, -1, p);
    return hierarchy;
}

} // namespace

TEST(ContourLayers, DiscAndRingGiveOneLayerWithPolygonAreaAndCentre)
{
    cv::Mat disc = cv::Mat::zeros(120, 140, CV_8UC1);
    cv::circle(disc, cv::Point(70, 60), 30, cv::Scalar(255), cv::FILLED);
    cv::Mat ring = disc.clone();
    cv::circle(ring, cv::Point(70, 60), 12, cv::Scalar(0), cv::FILLED);
    const Found r = layersOf(ring);
    ASSERT_EQ(r.layers.size(), 1);
    const ContourLayer& layer = r.layers[0];
    ASSERT_EQ(layer.holeIndexes.size(), 1);
    EXPECT_EQ(layer.outerIndexes.size(), 1);
    const double expected = polygonArea(r.contours[layer.outerIndex]) - polygonArea(r.contours[layer.holeIndexes[0]]);
    EXPECT_DOUBLE_EQ(getContourArea(layer), expected);
    EXPECT_LT(getContourArea(layer), polygonArea(r.contours[layer.outerIndex]) - 300);
    EXPECT_NEAR(getContourFocus(layer).x, 70, 1e-9);
    EXPECT_NEAR(getContourFocus(layer).y, 60, 1e-9);

    // Painting the layer back gives the ring, less the pixels along the hole's contour.
    cv::Mat painted = cv::Mat::zeros(ring.size(), CV_8UC1);
    getLayerMat_CCOMP(layer, painted);
    EXPECT_EQ(cv::countNonZero(painted != withoutHoleContours(ring, r)), 0);
}

TEST(ContourLayers, SeparateBlobsGiveOneLayerEachWithTheWholeContourList)
{
    cv::Mat image = cv::Mat::zeros(60, 100, CV_8UC1);
    image(cv::Rect(10, 10, 20, 15)).setTo(255);
    image(cv::Rect(60, 30, 25, 20)).setTo(255);
    cv::Mat offCentre = image.clone(); // a hole in the right blob, off its centre
    offCentre(cv::Rect(64, 34, 5, 5)).setTo(0);
    for (const cv::Mat& picture : {image, offCentre}) {
        const Found f = layersOf(picture);
        ASSERT_EQ(f.layers.size(), 2);
        const QVector<int> tops = getOutermostIndexs(f.hierarchy);
        ASSERT_EQ(tops.size(), 2);
        for (int k = 0; k < 2; ++k) {
            EXPECT_EQ(f.layers[k].outerIndex, tops[k]);
            EXPECT_EQ(f.layers[k].contours, f.contours);
        }
        cv::Mat both = cv::Mat::zeros(picture.size(), CV_8UC1);
        getLayerMat_CCOMP(f.layers[0], both);
        getLayerMat_CCOMP(f.layers[1], both);
        EXPECT_EQ(cv::countNonZero(both != withoutHoleContours(picture, f)), 0);
    }
    // A hole left of and above the box centre pushes the centroid right and down.
    const Found f = layersOf(offCentre);
    const ContourLayer& right = f.layers[0].holeIndexes.isEmpty() ? f.layers[1] : f.layers[0];
    EXPECT_GT(getContourFocus(right).x, 72.0);
    EXPECT_GT(getContourFocus(right).y, 39.5);
}

TEST(ContourLayers, IslandInAHoleCountsInAreaButIsNotPainted)
{
    const cv::Mat image = squareWithIsland();

    // Full-tree retrieval nests the island below the hole: one layer holds all three.
    const Found tree = layersOf(image, cv::RETR_TREE);
    ASSERT_EQ(tree.layers.size(), 1);
    const ContourLayer& layer = tree.layers[0];
    ASSERT_EQ(layer.outerIndexes.size(), 2);
    ASSERT_EQ(layer.holeIndexes.size(), 1);
    const double outer = polygonArea(tree.contours[layer.outerIndexes[0]]);
    const double island = polygonArea(tree.contours[layer.outerIndexes[1]]);
    const double hole = polygonArea(tree.contours[layer.holeIndexes[0]]);
    EXPECT_DOUBLE_EQ(island, 9.0 * 9.0);
    EXPECT_DOUBLE_EQ(getContourArea(layer), outer - hole + island);
    EXPECT_NEAR(getContourFocus(layer).x, 49.5, 1e-9);
    cv::Mat painted = cv::Mat::zeros(image.size(), CV_8UC1);
    getLayerMat_CCOMP(layer, painted);
    EXPECT_EQ(painted.at<uchar>(50, 50), 0);   // island
    EXPECT_EQ(painted.at<uchar>(40, 40), 0);   // hole
    EXPECT_EQ(painted.at<uchar>(25, 25), 255); // solid

    // The two-level hierarchy makes the island a region of its own.
    const Found ccomp = layersOf(image);
    ASSERT_EQ(ccomp.layers.size(), 2);
    EXPECT_EQ(ccomp.layers[0].holeIndexes.size() + ccomp.layers[1].holeIndexes.size(), 1);
}

TEST(ContourLayers, GroupingFollowsIndexOrderDepthFirst)
{
    // Contour 0 holds holes 1 and 3; hole 1 holds islands 2 and 6; island 2 holds hole 5;
    // hole 3 holds island 4. Sibling order is by index whatever the next links say.
    const std::vector<cv::Vec4i> hierarchy = parents({-1, 0, 1, 0, 3, 2, 1});
    QVector<int> outer{99}, holes;
    groupIndex(-1, hierarchy, true, outer, holes);
    EXPECT_EQ(outer, (QVector<int>{99, 0, 2, 6, 4})); // appended, not replaced
    EXPECT_EQ(holes, (QVector<int>{1, 5, 3}));

    outer.clear();
    holes.clear();
    groupIndex(1, hierarchy, false, outer, holes);
    EXPECT_EQ(outer, (QVector<int>{5}));
    EXPECT_EQ(holes, (QVector<int>{2, 6}));

    const std::vector<std::vector<cv::Point>> contours(7, std::vector<cv::Point>{{0, 0}, {4, 0}, {4, 4}});
    QVector<ContourLayer> layers(3);
    groupingContours(contours, hierarchy, layers);
    ASSERT_EQ(layers.size(), 1);
    EXPECT_EQ(layers[0].outerIndexes, (QVector<int>{0, 2, 6, 4}));
    EXPECT_EQ(layers[0].holeIndexes, (QVector<int>{1, 5, 3}));

    EXPECT_TRUE(getOutermostIndexs({}).isEmpty());
    groupingContours({}, {}, layers);
    EXPECT_TRUE(layers.isEmpty());
}

TEST(ContourLayers, MalformedInputNeitherLoopsNorReadsOutside)
{
    // Cycles: each contour is taken once, and a cycle without a top gives no layer.
    const std::vector<cv::Vec4i> cycle = parents({1, 0, 2});
    QVector<int> outer, holes;
    groupIndex(0, cycle, true, outer, holes);
    EXPECT_EQ(outer, (QVector<int>{1}));
    EXPECT_TRUE(holes.isEmpty());
    outer.clear();
    groupIndex(2, cycle, true, outer, holes);
    EXPECT_TRUE(outer.isEmpty());
    QVector<ContourLayer> layers;
    groupingContours({}, cycle, layers);
    EXPECT_TRUE(layers.isEmpty());

    // A layer whose holes cancel its area has its centroid at the origin.
    ContourLayer cancelled;
    cancelled.contours = {{{10, 10}, {20, 10}, {20, 20}, {10, 20}}};
    cancelled.outerIndexes = {0};
    cancelled.holeIndexes = {0};
    EXPECT_EQ(getContourArea(cancelled), 0.0);
    EXPECT_EQ(getContourFocus(cancelled), cv::Point2d(0, 0));

    // Indexes outside the contour list: area 0, centroid at the origin, nothing painted
    // (a hole index of -1 must not clear every contour).
    ContourLayer broken = cancelled;
    broken.holeIndexes = {-1};
    cv::Mat image = cv::Mat::zeros(30, 30, CV_8UC1);
    getLayerMat_CCOMP(broken, image);
    EXPECT_EQ(cv::countNonZero(image), 0);
    broken.holeIndexes = {};
    broken.outerIndexes = {0, 3};
    EXPECT_EQ(getContourArea(broken), 0.0);
    EXPECT_EQ(getContourFocus(broken), cv::Point2d(0, 0));
    broken.outerIndexes = {0};
    broken.outerIndex = 1;
    getLayerMat_CCOMP(broken, image);
    EXPECT_EQ(cv::countNonZero(image), 0);

    // An empty contour encloses nothing.
    ContourLayer empty = cancelled;
    empty.contours.emplace_back();
    empty.holeIndexes = {1};
    EXPECT_EQ(getContourArea(empty), 100.0);
    EXPECT_EQ(getContourFocus(empty), cv::Point2d(15, 15));
    getLayerMat_CCOMP(empty, image);
    EXPECT_EQ(cv::countNonZero(image), 121);
}
