// Inspection recipes: dimensions that follow the part wherever it lies, measurements on
// a calibrated plane, load-time faults named at their JSON path, batch capability, and
// the example recipe run end to end through functions-cli.

#include "DemoPart.h"
#include "PlaneCamera.h"
#include "Recipe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace frontend;

namespace {

const std::string kPlateRecipe = std::string(FUNCTIONS_EXAMPLES_DIR) + "/recipes/plate.json";

std::string readFile(const fs::path& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The example recipe on noise-free pictures: taught on the reference pose, every
// dimension must come out the same, within 0.05 px, with the part moved by up to 50 px
// and turned by up to 20 degrees.
TEST(RecipePose, DimensionsFollowThePart)
{
    Recipe recipe = loadRecipe(kPlateRecipe);
    const std::vector<synthetic::DemoPose> poses = synthetic::demoPartPoses();
    const synthetic::DemoPart part;
    const auto render = [&](const synthetic::DemoPose& pose) {
        return synthetic::renderDemoPart({1280, 1024}, part, pose, 0.8, 0.0);
    };
    recipe.fixture.reference = RecipeRunner(recipe).teach(render(poses[0]));
    const RecipeRunner runner(recipe);
    const InspectionResult reference = runner.inspect(render(poses[0]));
    ASSERT_TRUE(reference.pass);
    const double pixel = recipe.units.millimetresPerPixel;
    for (size_t k = 1; k < poses.size(); ++k) {
        const InspectionResult moved = runner.inspect(render(poses[k]));
        ASSERT_TRUE(moved.fixtureFound) << moved.fixtureError;
        EXPECT_NEAR(std::remainder(moved.pose.angle - reference.pose.angle, 360.0), poses[k].angle, 0.01);
        for (size_t d = 0; d < recipe.dimensions.size(); ++d) {
            ASSERT_TRUE(moved.dimensions[d].computed) << recipe.dimensions[d].name << ": " << moved.dimensions[d].error;
            // An angle is held to 0.05 px across the 200 px its lines span.
            const double tolerance =
                recipe.dimensions[d].kind == "angle" ? std::atan(0.05 / 200) * 180 / M_PI : 0.05 * pixel;
            EXPECT_NEAR(moved.dimensions[d].value, reference.dimensions[d].value, tolerance)
                << recipe.dimensions[d].name << " at pose " << k;
        }
    }
}

// Two holes 100 mm apart on the measuring plane, seen through a lens with k1 = -0.2:
// after calibrating from ten board views the distance is right within 0.05 %, and the
// same calibration without its lens model is far off.
TEST(RecipeCalibration, HundredMillimetresOnThePlane)
{
    const synthetic::CalibrationRig rig = synthetic::demoCalibrationRig();
    const synthetic::PlaneCameraRenderer renderer(rig.camera, 4);
    const synthetic::PlanePainting board = synthetic::chessboard(rig.columns, rig.rows, rig.square, 10, 30, 220, 90);
    const cv::Size inner(rig.columns - 1, rig.rows - 1);
    std::vector<std::vector<cv::Point2f>> views;
    for (const synthetic::PlanePose& pose : rig.boardViews) {
        std::vector<cv::Point2f> corners;
        ASSERT_TRUE(findCalibrationBoard(renderer.render(pose, board, 90), inner, corners));
        views.push_back(corners);
    }
    PlaneCalibration calibration;
    ASSERT_TRUE(calibratePlane(views, inner, rig.square, 0, rig.camera.size, calibration));
    EXPECT_LT(calibration.reprojectionError, 0.1);
    EXPECT_NEAR(calibration.distortion[0], -0.2, 0.02);

    const cv::Mat image = renderer.render(rig.boardViews[0], synthetic::twoHolePlate(100, 8), 90);
    const std::vector<cv::Point2d> centres =
        renderer.project(rig.boardViews[0], synthetic::twoHolePlateCentres(100));
    Recipe recipe;
    recipe.units.kind = RecipeUnits::Kind::Calibration;
    recipe.units.calibrationFile = "cal.json";
    recipe.units.calibration = calibration;
    for (size_t k = 0; k < 2; ++k)
        recipe.measurements.push_back({"hole" + std::to_string(k + 1), "circle",
                                       {{"type", "ring"}, {"centre", {centres[k].x, centres[k].y}},
                                        {"radius1", 6}, {"radius2", 30}},
                                       {{"transition", "DarkToLight"}}});
    RecipeDimension spacing;
    spacing.name = "spacing";
    spacing.kind = "distance";
    spacing.operands = {{"from", "hole1"}, {"to", "hole2"}};
    spacing.nominal = 100;
    spacing.lowerTolerance = -0.05;
    spacing.upperTolerance = 0.05;
    recipe.dimensions = {spacing};

    const InspectionResult corrected = RecipeRunner(recipe).inspect(image);
    ASSERT_TRUE(corrected.dimensions[0].computed) << corrected.measurements[0].error << corrected.measurements[1].error;
    recipe.units.calibration.distortion = cv::Vec<double, 5>::all(0);
    const InspectionResult uncorrected = RecipeRunner(recipe).inspect(image);
    ASSERT_TRUE(uncorrected.dimensions[0].computed);
    const double error = std::abs(corrected.dimensions[0].value - 100) / 100;
    const double errorWithoutLens = std::abs(uncorrected.dimensions[0].value - 100) / 100;
    std::printf("100 mm measured as %.4f mm (error %.4f %%), without the lens model %.4f mm (%.3f %%)\n",
                corrected.dimensions[0].value, 100 * error, uncorrected.dimensions[0].value, 100 * errorWithoutLens);
    EXPECT_LT(error, 0.0005);
    EXPECT_GT(errorWithoutLens, 10 * 0.0005);
}

// Capability against a hand computation: values 9.9, 10.0, 10.1, 10.2 against 10 -0.3/+0.1
// have mean 10.05 and s = sqrt(0.05 / 3), so Cp = 0.4 / 6s and Cpk = 0.05 / 3s (the upper
// limit is the nearer); the fourth part is out of tolerance, a fifth was not measured.
TEST(RecipeStatistics, CapabilityByHand)
{
    Recipe recipe;
    RecipeDimension d;
    d.name = "d";
    d.kind = "diameter";
    d.nominal = 10;
    d.lowerTolerance = -0.3;
    d.upperTolerance = 0.1;
    recipe.dimensions = {d};
    std::vector<InspectionResult> results;
    for (double value : {9.9, 10.0, 10.1, 10.2}) {
        InspectionResult r;
        r.dimensions.resize(1);
        r.dimensions[0].computed = true;
        r.dimensions[0].value = value;
        r.dimensions[0].pass = value <= 10.1;
        results.push_back(r);
    }
    results.emplace_back();
    results.back().dimensions.resize(1);
    const DimensionStatistics s = dimensionStatistics(recipe, results)[0];
    const double sigma = std::sqrt(0.05 / 3);
    EXPECT_EQ(s.count, 4u);
    EXPECT_EQ(s.failures, 2u);
    EXPECT_NEAR(s.mean, 10.05, 1e-12);
    EXPECT_NEAR(s.standardDeviation, sigma, 1e-12);
    EXPECT_DOUBLE_EQ(s.minimum, 9.9);
    EXPECT_DOUBLE_EQ(s.maximum, 10.2);
    EXPECT_NEAR(s.cp, 0.4 / (6 * sigma), 1e-12);
    EXPECT_NEAR(s.cpk, (10.1 - 10.05) / (3 * sigma), 1e-12);
}

// What the studio saves is what it loads: asymmetric tolerances, line options, an
// untaught or unrefined fixture and a calibration file name all survive the round trip.
TEST(RecipeFile, SavedAsLoaded)
{
    json document = json::parse(readFile(kPlateRecipe));
    document["fixture"].erase("reference");
    document["fixture"]["refine"] = false;
    document["dimensions"][3]["at"] = "max";
    const Recipe recipe = parseRecipe(document, "r.json", ".");
    EXPECT_FALSE(recipe.fixture.taught);
    const json saved = recipeJson(recipe);
    EXPECT_EQ(saved, recipeJson(parseRecipe(saved, "saved", ".")));
    EXPECT_EQ(saved.at("fixture"), document.at("fixture"));
    EXPECT_EQ(saved.at("dimensions")[6].at("tolerance"), json::array({-0.03, 0.05}));
    EXPECT_EQ(saved.at("dimensions")[3].at("at"), "max");
}

// Each fault of a recipe is found at load time and named at its JSON path.
struct Fault {
    const char* what;
    std::function<void(json&)> damage;
    const char* message;
};

class RecipeFaults : public ::testing::TestWithParam<Fault> {};

TEST_P(RecipeFaults, NamedAtTheirPath)
{
    json document = json::parse(readFile(kPlateRecipe));
    GetParam().damage(document);
    try {
        parseRecipe(document, "r.json", ".");
        FAIL() << "accepted: " << GetParam().what;
    } catch (const InputError& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().message), std::string::npos) << e.what();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Recipes, RecipeFaults,
    ::testing::Values(
        Fault{"unknown measurement", [](json& r) { r["dimensions"][0]["of"] = "bore"; },
              "r.json: $.dimensions[0].of: 'bore' names no measurement"},
        Fault{"wrong feature", [](json& r) { r["dimensions"][0]["of"] = "top"; },
              "$.dimensions[0].of: a diameter needs a circle here, 'top' is a line"},
        Fault{"missing point", [](json& r) { r["dimensions"][1]["point"] = "hole.start"; },
              "$.dimensions[1].point: 'hole.start': a circle measurement has no point 'start'"},
        Fault{"cycle through a ROI",
              [](json& r) {
                  r["measurements"][4]["roi"]["centre"] = "slot_left.midpoint";
                  r["measurements"][5]["roi"]["centre"] = "hole.centre";
              },
              "$.measurements[5].roi.centre: cycle: hole -> slot_left -> hole"},
        Fault{"cycle through the fixture", [](json& r) { r["measurements"][0]["roi"]["centre"] = "hole.centre"; },
              "$.measurements[4] (placed by the fixture): cycle: top -> hole -> top"},
        Fault{"fixture of the wrong feature", [](json& r) { r["fixture"]["from"][1] = "hole"; },
              "$.fixture.from[1]: a line_line fixture needs a line here, 'hole' is a circle"},
        Fault{"unknown tool", [](json& r) { r["measurements"][2]["tool"] = "ruler"; },
              "$.measurements[2].tool: unknown tool 'ruler'"},
        Fault{"setting out of range", [](json& r) { r["measurements"][1]["params"]["percent"] = 300; },
              "$.measurements[1].params: parameter 'percent' is 300, outside its range 0 .. 100"},
        Fault{"inverted tolerance", [](json& r) { r["dimensions"][6]["tolerance"] = {0.1, -0.1}; },
              "$.dimensions[6].tolerance: the lower limit must not exceed the upper one"},
        Fault{"unknown dimension kind", [](json& r) { r["dimensions"][2]["kind"] = "area"; },
              "$.dimensions[2].kind: unknown kind 'area'"},
        Fault{"duplicate name", [](json& r) { r["measurements"][3]["name"] = "top"; },
              "$.measurements[3].name: 'top' is used twice"},
        Fault{"bad pixel size", [](json& r) { r["units"] = {{"mm_per_pixel", -1}}; },
              "$.units.mm_per_pixel: must be above 0"}),
    [](const ::testing::TestParamInfo<Fault>& info) {
        std::string name = info.param.what;
        for (char& c : name)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return name;
    });

// The example end to end: pictures rendered by the tool, the recipe as committed, one
// part with an oversize hole that fails on that dimension alone.
TEST(RecipeExample, InspectsTheDemoPictures)
{
    const fs::path dir = fs::temp_directory_path() / ("recipes-" + std::to_string(getpid()));
    fs::remove_all(dir);
    const std::string cli = FUNCTIONS_CLI;
    ASSERT_EQ(std::system((cli + " demo --recipe-images " + (dir / "images").string() + " > /dev/null").c_str()), 0);
    ASSERT_EQ(std::system((cli + " inspect --recipe " + kPlateRecipe + " --images " + (dir / "images").string() +
                           " --jobs 2 --out " + (dir / "out").string() + " > /dev/null 2>&1")
                              .c_str()),
              0);
    std::istringstream csv(readFile(dir / "out" / "results.csv"));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line.rfind("image,pass,hole_diameter [mm],", 0), 0u) << line;
    size_t rows = 0;
    while (std::getline(csv, line)) {
        ++rows;
        const bool oversize = line.find("oversize") != std::string::npos;
        EXPECT_NE(line.find(oversize ? ",false," : ",true,"), std::string::npos) << line;
        EXPECT_TRUE(fs::exists(dir / "out" / (fs::path(line.substr(0, line.find(','))).stem().string() + ".overlay.png")));
    }
    EXPECT_EQ(rows, synthetic::demoPartPoses().size());
    size_t failedDimensions = 0;
    std::istringstream jsonl(readFile(dir / "out" / "results.jsonl"));
    while (std::getline(jsonl, line)) {
        const json record = json::parse(line);
        for (const auto& [name, d] : record.at("dimensions").items())
            if (!d.at("pass").get<bool>()) {
                EXPECT_EQ(name, "hole_diameter");
                ++failedDimensions;
            }
    }
    EXPECT_EQ(failedDimensions, 1u);
    const std::string summary = readFile(dir / "out" / "summary.txt");
    EXPECT_NE(summary.find("slot_width"), std::string::npos) << summary;
    EXPECT_NE(summary.find("Cpk"), std::string::npos);
    fs::remove_all(dir);
}

} // namespace
