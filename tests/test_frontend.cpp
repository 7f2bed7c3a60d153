// The front ends' shared layer: the profile view must find exactly the edges the library's
// calipers find on the same ROI with the same settings and describe each stage honestly;
// the tool definitions must describe every setting and output they offer; records must
// round their numbers as their decimal text reads back.

#include "Profile.h"
#include "ToolDefinition.h"
#include "Trust.h"

#include <Functions.h>
#include <Synthetic.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <sstream>

namespace {

using frontend::measureProfile;
using frontend::Profile;
using frontend::ProfileSettings;

// Discs and bars of random grey on a blurred, noisy background: edges of every slope and
// polarity, flat stretches and plateaus of the strength curve.
cv::Mat clutteredImage(cv::RNG& rng, bool colour)
{
    synthetic::Scene scene({120, 90}, rng.uniform(0, 255));
    for (int k = 0; k < 12; ++k) {
        const cv::Point2d at(rng.uniform(0.0, 120.0), rng.uniform(0.0, 90.0));
        if (k % 2)
            scene.fillDisc(at, rng.uniform(3.0, 25.0), rng.uniform(0, 255));
        else
            scene.fillRotatedRect(at, rng.uniform(2.0, 40.0), rng.uniform(2.0, 60.0), rng.uniform(0.0, 180.0),
                                  rng.uniform(0, 255));
    }
    cv::Mat grey = scene.toGrey(rng.uniform(0.0, 1.5), rng.uniform(0.0, 6.0), rng.uniform(1, 1000));
    if (!colour)
        return grey;
    // Channels that differ, so a conversion done at the wrong point would show.
    cv::Mat rgb;
    cv::merge(std::vector<cv::Mat>{grey, 255 - grey, grey / 2 + 60}, rgb);
    return rgb;
}

ProfileSettings randomSettings(cv::RNG& rng)
{
    ProfileSettings settings;
    settings.reverse = rng.uniform(0, 2) == 1;
    settings.transition = static_cast<EdgeTransition>(rng.uniform(0, 3));
    settings.sigma = rng.uniform(0, 3) == 0 ? rng.uniform(40, 101) : rng.uniform(0, 12); // long kernels get cut
    settings.percent = rng.uniform(0, 101);
    settings.minStrength = rng.uniform(0, 3) == 0 ? 0 : rng.uniform(0, 120);
    return settings;
}

// The five caliper settings as the line, edge points and line-ROI edge tools' records take them.
template <typename Record>
Record caliperRecord(const ProfileSettings& settings)
{
    Record record;
    record.direction = settings.reverse ? 1 : 0;
    record.transition = settings.transition;
    record.percent = static_cast<int>(settings.percent);
    record.sigma = settings.sigma;
    record.minStrength = static_cast<int>(settings.minStrength);
    return record;
}


// Records round values to a step with a division where the decimal text round trip it
// replaced would read back the same double; this pins the two together.
// The rule as first written: print the rounded value with the step's decimals, read it back.
double textRoundTrip(double v, double step)
{
    const double r = std::round(v / step) * step;
    std::ostringstream text;
    text.precision(static_cast<int>(std::max(0.0, -std::floor(std::log10(step)))));
    text << std::fixed << r;
    return std::stod(text.str());
}

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

class Rounding : public ::testing::TestWithParam<double> {};

TEST_P(Rounding, MatchesTheDecimalTextRoundTrip)
{
    const double step = GetParam();
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> exponent(-9.0, 17.0), mantissa(1.0, 10.0), fraction(0.0, 1.0);
    for (int i = 0; i < 50000; ++i) {
        double v = 0;
        switch (i % 3) {
        case 0: v = mantissa(random) * std::pow(10.0, exponent(random)); break;
        // Near the half-way points between two steps, where the rounding direction flips.
        case 1: v = (std::floor(fraction(random) * 1e7) + 0.5) * step + (fraction(random) - 0.5) * 1e-12 * step; break;
        default: v = std::round(fraction(random) * 1e9) * step; break;
        }
        if (i % 2)
            v = -v;
        const double fast = frontend::rounded(v, step).get<double>();
        ASSERT_TRUE(sameBits(fast, textRoundTrip(v, step))) << "v " << v << " step " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(Steps, Rounding, ::testing::Values(1e-4, 1e-6, 1e-2, 1.0, 0.5, 25.0, 1e3));

} // namespace

// Differential against the line tool with one band as tall as the rectangle (whose first
// edge is the probe's first edge), against the edge points tool where it copies an upright
// rectangle instead, and against the line-ROI edge tool: sampling, averaging, the kernel
// cut, the extraction and the mapping back into the image all have to agree.
TEST(ProfileView, FindsTheEdgesTheCalipersFind)
{
    cv::RNG rng(20261124);
    int rectEdges = 0, copiedEdges = 0, lineEdges = 0;
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        cv::Mat image = clutteredImage(rng, round % 3 == 0);
        ProfileSettings settings = randomSettings(rng);
        cv::Point2d centre(rng.uniform(-10.0, 130.0), rng.uniform(-10.0, 100.0));
        const float width = static_cast<float>(rng.uniform(1.0, 100.0)), height = static_cast<float>(rng.uniform(1.0, 40.0));
        // One round in four keeps angle 0, where the edge points tool copies the pixels
        // (from the image's top-left quadrant on: it copies nothing from outside).
        const bool upright = round % 4 == 0;
        if (upright)
            centre = {std::max<double>(centre.x, width / 2), std::max<double>(centre.y, height / 2)};
        const float angle = upright ? 0.0f : static_cast<float>(rng.uniform(-180.0, 180.0));
        RotateRectROI rect(centre.x, centre.y, angle, width, height);

        const Profile across = measureProfile(image, rect, settings);
        ASSERT_EQ(across.grey.size(), static_cast<size_t>(rect.width));
        EXPECT_EQ(across.linesAveraged, static_cast<int>(rect.height));
        _EdgeLineDetParam line = caliperRecord<_EdgeLineDetParam>(settings);
        line.segmentWidth = line.segmentStep = static_cast<int>(rect.height);
        line.roi = &rect;
        clcLineEdgePoints(image, line);
        ASSERT_EQ(across.edges.empty(), line.edgePoints.empty());
        if (!line.edgePoints.empty()) {
            EXPECT_EQ(across.edges.front().point, line.edgePoints.front());
            ++rectEdges;
        }

        if (upright) {
            settings.copyUpright = true;
            const Profile copied = measureProfile(image, rect, settings);
            _EdgePointsDetParam points = caliperRecord<_EdgePointsDetParam>(settings);
            points.segmentWidth = points.segmentStep = line.segmentWidth;
            points.roi = &rect;
            ASSERT_EQ(clcEdgePointsAndTransform(image, points), !copied.edges.empty());
            if (!copied.edges.empty()) {
                // That tool maps its points back in single precision.
                EXPECT_NEAR(copied.edges.front().point.x, points.points.front().x, 1e-4);
                EXPECT_NEAR(copied.edges.front().point.y, points.points.front().y, 1e-4);
                ++copiedEdges;
            }
        }

        LineROI segment(centre.x, centre.y, centre.x + rng.uniform(-80.0, 80.0), centre.y + rng.uniform(-60.0, 60.0));
        if (segment.x1 == segment.x2 && segment.y1 == segment.y2)
            continue;
        const Profile along = measureProfile(image, segment, settings);
        _EdgePointDetParam_Line point = caliperRecord<_EdgePointDetParam_Line>(settings);
        point.roi = &segment;
        ASSERT_EQ(clcEdgePoint_Line(image, point), !along.edges.empty());
        if (point.found) {
            EXPECT_EQ(along.edges.front().point, cv::Point2d(point.x, point.y));
            ++lineEdges;
        }
    }
    // Every kind of round found edges often enough for the comparison to mean something.
    EXPECT_GT(rectEdges, 100);
    EXPECT_GT(copiedEdges, 25);
    EXPECT_GT(lineEdges, 100);
}

// A dark-to-light step between columns 59 and 60, seen through every stage.
TEST(ProfileView, DescribesEachStageOfAStep)
{
    cv::Mat image(40, 120, CV_8U, cv::Scalar(30));
    image.colRange(60, 120).setTo(210);
    struct Case {
        bool reverse;
        EdgeTransition transition;
        bool found;
    };
    for (const Case c : {Case{false, DarkToLight, true}, Case{false, LightToDark, false},
                         Case{true, LightToDark, true}, Case{true, DarkToLight, false},
                         Case{true, BothTransitions, true}}) {
        SCOPED_TRACE(std::to_string(c.reverse) + " " + std::to_string(c.transition));
        ProfileSettings settings;
        settings.reverse = c.reverse;
        settings.transition = c.transition;
        settings.sigma = 0;
        settings.percent = 50;
        settings.minStrength = 100;
        RotateRectROI rect(70, 20, 0, 40, 10); // columns 50 .. 89, the step at index 10
        const Profile profile = measureProfile(image, rect, settings);
        ASSERT_EQ(profile.grey.size(), 40u);
        EXPECT_FLOAT_EQ(profile.grey[9], 30.0f);
        EXPECT_FLOAT_EQ(profile.grey[10], 210.0f);
        EXPECT_FLOAT_EQ(profile.derivative[9], 180.0f); // across two samples, signed in sample order
        EXPECT_FLOAT_EQ(profile.derivative[10], 180.0f);
        EXPECT_DOUBLE_EQ(profile.top, c.found ? 180.0 : 0.0);
        EXPECT_DOUBLE_EQ(profile.threshold, 100.0); // minStrength, above half of the top
        ASSERT_EQ(profile.edges.size(), c.found ? 1u : 0u);
        if (c.found) {
            EXPECT_DOUBLE_EQ(profile.edges[0].position, 9.5); // the plateau's centre
            EXPECT_EQ(profile.edges[0].point, cv::Point2d(59.5, 20.0));
            EXPECT_EQ(profile.edges[0].darkToLight, !c.reverse);
            EXPECT_DOUBLE_EQ(profile.edges[0].strength, 180.0);
        }
    }
}

TEST(ProfileView, RefusesWhatCannotBeSampled)
{
    const cv::Mat image(20, 20, CV_8U, cv::Scalar(0));
    const ProfileSettings settings;
    EXPECT_THROW(measureProfile(image, LineROI(3, 3, 3, 3), settings), frontend::InputError);
    EXPECT_THROW(measureProfile(image, RingROI(10, 10, 2, 5), settings), frontend::InputError);
    EXPECT_THROW(measureProfile(image, RotateRectROI(10, 10, 0, 0.5f, 4), settings), frontend::InputError);
    EXPECT_THROW(measureProfile(image, LineROI(0, 0, 40000, 0), settings), frontend::InputError);
    EXPECT_THROW(measureProfile(cv::Mat(20, 20, CV_16U), LineROI(0, 0, 5, 0), settings), frontend::InputError);
}

// Every setting a front end shows is described and has a default inside its own range
// (one outside would refuse every file that leaves it out); every tool says what it
// outputs.
TEST(ToolDefinitions, DescribeEverySettingAndOutput)
{
    const std::map<std::string, frontend::json> rois = {
        {"rotated_rect", {{"type", "rotated_rect"}, {"centre", {20, 20}}, {"angle", 0}, {"width", 10}, {"height", 4}}},
        {"rect", {{"type", "rect"}, {"x", 2}, {"y", 2}, {"width", 10}, {"height", 4}}},
        {"line", {{"type", "line"}, {"start", {2, 2}}, {"end", {12, 2}}}},
        {"ring", {{"type", "ring"}, {"centre", {20, 20}}, {"radius1", 4}, {"radius2", 9}}},
        {"arc", {{"type", "arc"}, {"centre", {20, 20}}, {"radius1", 4}, {"radius2", 9}, {"angle1", 0}, {"angle2", 90}}},
    };
    std::vector<const frontend::ToolDefinition*> definitions = {&frontend::probeDefinition()};
    for (const frontend::ToolDefinition& tool : frontend::tools())
        definitions.push_back(&tool);
    for (const frontend::ToolDefinition* tool : definitions) {
        SCOPED_TRACE(tool->name);
        for (const frontend::ParamDefinition& setting : tool->params)
            EXPECT_FALSE(setting.help.empty()) << setting.name;
        for (const std::string& kind : tool->roiKinds)
            EXPECT_NO_THROW(frontend::prepareSettings(*tool, {{"roi", rois.at(kind)}}, "defaults")) << kind;
        EXPECT_EQ(tool->outputs.empty(), !tool->run); // the probe reports a profile, not outputs
        for (const frontend::OutputDefinition& output : tool->outputs)
            EXPECT_FALSE(output.help.empty()) << output.name;
    }
}

