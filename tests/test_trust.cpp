// How far the front ends let a user trust a result: the reason each tool gives when it
// finds nothing, and the record written for people (rounded, optionally compact) beside
// the exact one kept in memory.

#include "Readable.h"
#include "ToolDefinition.h"

#include <Functions.h>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <functional>
#include <string>

namespace {

using frontend::json;

// A 120 x 80 picture: grey 20 with, from column 40 to 79, a bar of grey `bar` and right of
// it grey `right`, so that the bar's walls step by bar - 20 and bar - right.
cv::Mat walls(int bar, int right)
{
    cv::Mat image(80, 120, CV_8U, cv::Scalar(20));
    image.colRange(40, 80).setTo(bar);
    image.colRange(80, 120).setTo(right);
    return image;
}

// Grey 20 with two bright 20 x 20 squares.
cv::Mat twoSquares()
{
    cv::Mat image(80, 120, CV_8U, cv::Scalar(20));
    image(cv::Rect(10, 10, 20, 20)).setTo(200);
    image(cv::Rect(60, 40, 20, 20)).setTo(200);
    return image;
}

struct FailureCase {
    const char* name;
    const char* tool;
    std::function<cv::Mat()> image;
    std::string parameters;
    const char* reason; // the sentence the diagnostics must hold
};

std::ostream& operator<<(std::ostream& out, const FailureCase& c)
{
    return out << c.name;
}

const char* kAcross = R"("roi": {"type": "rotated_rect", "centre": [60, 40], "angle": 0, "width": 100, "height": 40})";

class FailureReason : public ::testing::TestWithParam<FailureCase> {};

TEST_P(FailureReason, NamesTheRuleAndTheNumber)
{
    const FailureCase& c = GetParam();
    const frontend::ToolDefinition& tool = frontend::findTool(c.tool);
    frontend::ToolInput input =
        frontend::prepareInput(tool, json::parse(c.parameters), c.image(), "params.json", "image.png");
    const frontend::ToolResult result = tool.run(input);
    EXPECT_FALSE(result.success);
    ASSERT_TRUE(result.diagnostics.contains("failure")) << result.diagnostics.dump();
    EXPECT_EQ(result.diagnostics["failure"].get<std::string>(), c.reason);
}

INSTANTIATE_TEST_SUITE_P(
    Tools, FailureReason,
    ::testing::Values(
        // A 10-grey wall against a floor of 60: the tool's own strongest step is named.
        FailureCase{"edge_point", "edge_point", [] { return walls(30, 30); },
                    std::string("{") + kAcross + R"(, "transition": "DarkToLight", "minGradient": 60})",
                    "no step reached minGradient 60, the strongest was 10 (grey levels between neighbouring "
                    "samples, with the polarity asked for)"},
        FailureCase{"edges", "edges", [] { return walls(30, 30); },
                    std::string("{") + kAcross + R"(, "minGradient": 60})",
                    "no step reached minGradient 60, the strongest was 10 (grey levels between neighbouring "
                    "samples, with the polarity asked for)"},
        FailureCase{"edge_points", "edge_points", [] { return walls(30, 30); },
                    std::string("{") + kAcross + R"(, "transition": "DarkToLight", "sigma": 0, "minStrength": 300})",
                    "no caliper's strongest response reached minStrength 300, the strongest was 10"},
        FailureCase{"regions, empty band", "regions", [] { return walls(30, 30); },
                    R"({"roi": {"type": "rect", "x": 0, "y": 0, "width": 120, "height": 80}, "minGray": 128})",
                    "no pixel of the ROI lies in the grey band 128 .. 255 (its grey levels run 20 .. 30)"},
        FailureCase{"regions, no shape passes", "regions", twoSquares,
                    R"({"roi": {"type": "rect", "x": 0, "y": 0, "width": 120, "height": 80}, "minArea": 1000,
                        "minRectangularity": 0.9})",
                    "2 regions lie in the grey band 128 .. 255: 0 pass area 1000 .. 1e+09, 2 pass rectangularity "
                    "0.9 .. 1, none passes both (And)"},
        // Walls of 180 and 30 grey: the weaker reaches 17 % of the stronger.
        FailureCase{"edge_pairs, weaker wall", "edge_pairs", [] { return walls(200, 170); },
                    std::string("{") + kAcross + R"(, "threshold": 50, "minGradient": 5})",
                    "the weaker wall reached 17 % of the band's strongest, threshold 50 %"}),
    [](const ::testing::TestParamInfo<FailureCase>& info) {
        std::string name = info.param.name;
        for (char& ch : name)
            if (!std::isalnum(static_cast<unsigned char>(ch)))
                ch = '_';
        return name;
    });

// The record kept in memory holds the library's numbers exactly (a front end compares them
// bit for bit with a direct call); the one written for people rounds them to what they
// mean and, compact, leaves every per-point list out.
TEST(ReadableRecord, RoundsWhatPeopleReadAndKeepsTheMemoryExact)
{
    cv::Mat image(160, 160, CV_8U, cv::Scalar(20));
    cv::fillConvexPoly(image, std::vector<cv::Point>{{0, 0}, {83, 0}, {71, 159}, {0, 159}}, cv::Scalar(200));
    const json parameters = json::parse(R"({"roi": {"type": "rotated_rect", "centre": [78, 80], "angle": 0,
                                             "width": 60, "height": 120}, "transition": "LightToDark"})");
    const frontend::ToolDefinition& tool = frontend::findTool("line");
    frontend::ToolInput input = frontend::prepareInput(tool, parameters, image, "params.json", "image.png");
    frontend::ToolResult result;
    const json record = frontend::runRecord(tool, input, "image.png", result);
    ASSERT_TRUE(result.success);

    _EdgeLineDetParam direct;
    fillCaliperSettings(direct, input);
    direct.roi = static_cast<RotateRectROI*>(input.roi.shape.get());
    ASSERT_TRUE(clcEdgeLineAndFit(input.image, direct, 0));
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(record["outputs"]["line"][k].get<double>(), direct.line[k]);
    EXPECT_EQ(record["outputs"]["angle"].get<double>(), std::atan2(direct.line[1], direct.line[0]) * 180.0 / CV_PI);

    const json readable = frontend::readableRecord(record, false);
    const auto decimals = [](const json& v) {
        const std::string text = v.dump();
        const size_t dot = text.find('.');
        return dot == std::string::npos ? 0 : static_cast<int>(text.size() - dot - 1);
    };
    EXPECT_LE(decimals(readable["outputs"]["angle"]), 4);
    EXPECT_LE(decimals(readable["outputs"]["line"][0]), 6);
    EXPECT_LE(decimals(readable["outputs"]["line"][2]), 4);
    EXPECT_LE(decimals(readable["outputs"]["edgePoints"][0][0]), 4);
    EXPECT_LE(decimals(readable["quality"]["angle"]["sigma"]), 4);
    EXPECT_NEAR(readable["outputs"]["angle"].get<double>(), record["outputs"]["angle"].get<double>(), 5e-5);
    EXPECT_EQ(readable["params"], record["params"]);

    const json compact = frontend::readableRecord(record, true);
    EXPECT_FALSE(compact["outputs"].contains("edgePoints"));
    EXPECT_FALSE(compact["diagnostics"].contains("points"));
    EXPECT_TRUE(compact["outputs"].contains("line"));
    EXPECT_EQ(compact["quality"], readable["quality"]);

    // Areas keep their digits; no list is left for the other tools either.
    const json regions = frontend::readableRecord(
        {{"outputs", {{"regions", {{{"area", 1234.5}, {"centroid", {1.234567, 2.0}}}}},
                      {"points", {{1.0, 2.0}}},
                      {"pairs", json::array()}}}},
        true);
    EXPECT_EQ(regions["outputs"]["regions"][0]["area"].get<double>(), 1234.5);
    EXPECT_EQ(regions["outputs"]["regions"][0]["centroid"][0].get<double>(), 1.2346);
    EXPECT_FALSE(regions["outputs"].contains("points"));
    EXPECT_FALSE(regions["outputs"].contains("pairs"));
}

} // namespace
