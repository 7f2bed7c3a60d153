// End-to-end tests of functions-cli through its executable.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;

namespace {

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readFile(const fs::path& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class Cli : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() /
              ("functions-cli-" + std::to_string(getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    Outcome run(const std::string& arguments) const
    {
        const fs::path errFile = dir / "stderr.txt";
        const std::string command = std::string(FUNCTIONS_CLI) + " " + arguments + " 2> '" + errFile.string() + "'";
        Outcome outcome;
        FILE* pipe = popen(command.c_str(), "r");
        if (!pipe)
            return outcome;
        char buffer[4096];
        size_t n;
        while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
            outcome.out.append(buffer, n);
        const int status = pclose(pipe);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.err = readFile(errFile);
        return outcome;
    }

    std::string path(const std::string& name) const { return "'" + (dir / name).string() + "'"; }

    void write(const std::string& name, const std::string& text) const { std::ofstream(dir / name) << text; }

    // A dark-to-light vertical step at column 50 of a 100 x 60 image.
    void writeStepImage(const std::string& name, int stepColumn = 50) const
    {
        cv::Mat image(60, 100, CV_8U, cv::Scalar(20));
        if (stepColumn < 100)
            image.colRange(stepColumn, 100).setTo(200);
        ASSERT_TRUE(cv::imwrite((dir / name).string(), image));
    }

    static constexpr const char* kStepParams =
        R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40, "height": 10},
            "transition": "DarkToLight", "threshold": 50})";

    fs::path dir;
};

} // namespace

TEST_F(Cli, DemoMeasuresEveryToolWithinTolerance)
{
    const Outcome o = run("demo --out " + path("demo"));
    EXPECT_EQ(o.status, 0) << o.out << o.err;
    EXPECT_NE(o.out.find(" 0 outside tolerance"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("NOT FOUND"), std::string::npos) << o.out;
    for (const char* picture :
         {"scene.png", "overview.png", "edge_point.png", "line.png", "line_pair.png", "circle.png", "arc.png", "diameter.png"})
        EXPECT_TRUE(fs::exists(dir / "demo" / picture)) << picture;
}

TEST_F(Cli, RunPrintsTheDocumentedRecord)
{
    writeStepImage("step.png");
    write("params.json", kStepParams);
    Outcome o = run("run --image " + path("step.png") + " --tool edge_point --params " + path("params.json") +
                    " --overlay " + path("overlay.png"));
    ASSERT_EQ(o.status, 0) << o.err;
    const json record = json::parse(o.out);
    std::vector<std::string> keys;
    for (auto it = record.begin(); it != record.end(); ++it)
        keys.push_back(it.key());
    EXPECT_EQ(keys, (std::vector<std::string>{"tool", "image", "roi", "params", "success", "outputs", "timing_us"}));
    EXPECT_EQ(record["tool"], "edge_point");
    EXPECT_EQ(record["image"]["width"], 100);
    EXPECT_EQ(record["params"]["threshold"], 50);
    EXPECT_EQ(record["params"]["smoothWidth"], 3); // defaults are echoed too
    EXPECT_EQ(record["success"], true);
    EXPECT_DOUBLE_EQ(record["outputs"]["point"][0].get<double>(), 50.0);
    EXPECT_DOUBLE_EQ(record["outputs"]["point"][1].get<double>(), 30.0);
    EXPECT_GE(record["timing_us"].get<double>(), 0.0);
    EXPECT_FALSE(cv::imread((dir / "overlay.png").string()).empty());

    // A measurement that finds nothing is a result, not an error.
    write("reverse.json", R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40,
                             "height": 10}, "direction": "RightToLeft", "transition": 2})");
    o = run("run --image " + path("step.png") + " --tool edge_point --params " + path("reverse.json"));
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(json::parse(o.out)["success"], false);
}

// Images that cannot be read or measured are recorded and the batch goes on: every good
// image still has its result, the broken one an error line, and the exit status says so.
TEST_F(Cli, BatchRecordsBrokenImagesAndGoesOn)
{
    fs::create_directories(dir / "images");
    for (int i = 0; i < 20; ++i) // every fifth image has no edge at all
        writeStepImage("images/img" + std::to_string(100 + i) + ".png", i % 5 == 0 ? 100 : 45 + i / 2);
    // Cut short in its pixel data: the decoder gives up half-way and says so on stderr.
    const std::string whole = readFile(dir / "images/img101.png");
    write("images/img110b.png", whole.substr(0, whole.size() * 2 / 3));
    write("images/notes.txt", "not an image");
    write("params.json", kStepParams);
    const Outcome o = run("batch --images " + path("images") + " --tool edge_point --jobs 3 --params " +
                          path("params.json") + " --out " + path("results.jsonl"));
    EXPECT_EQ(o.status, 1) << o.err;
    std::istringstream lines(readFile(dir / "results.jsonl"));
    std::string line;
    std::vector<std::string> names, errors;
    int failures = 0;
    while (std::getline(lines, line)) {
        const json record = json::parse(line);
        names.push_back(fs::path(record["image"]["path"].get<std::string>()).filename().string());
        if (record.contains("error"))
            errors.push_back(record["error"]);
        else
            failures += record["success"].get<bool>() ? 0 : 1;
    }
    ASSERT_EQ(names.size(), 21u);
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end())); // name order, whatever finished first
    EXPECT_EQ(failures, 4);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("img110b.png"), std::string::npos) << errors[0];
    EXPECT_NE(o.err.find("21 images: 16 measured, 4 failed to measure, 1 error"), std::string::npos) << o.err;
    EXPECT_EQ(o.err.find("libpng"), std::string::npos) << o.err; // the decoder's own chatter stays out
    EXPECT_FALSE(fs::exists(dir / "results.jsonl.tmp"));

    // A ROI that fits one image and not another: an error naming that image, the rest measured.
    fs::create_directories(dir / "sizes");
    cv::Mat narrow(60, 70, CV_8U, cv::Scalar(20));
    ASSERT_TRUE(cv::imwrite((dir / "sizes/narrow.png").string(), narrow));
    writeStepImage("sizes/wide.png");
    const Outcome sized = run("batch --images " + path("sizes") + " --tool edge_point --params " + path("params.json"));
    EXPECT_EQ(sized.status, 1) << sized.err;
    EXPECT_NE(sized.out.find("narrow.png (70 x 60): it crosses the right border"), std::string::npos) << sized.out;
    EXPECT_NE(sized.err.find("2 images: 1 measured, 0 failed to measure, 1 error"), std::string::npos) << sized.err;
}

TEST_F(Cli, BadInputExitsWithTwoAndNamesTheFault)
{
    writeStepImage("step.png");
    write("params.json", kStepParams);
    write("malformed.json", R"({"roi": )");
    write("typed.json", R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40,
                           "height": 10}, "threshold": "high"})");
    write("unknown.json", R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40,
                             "height": 10}, "treshold": 5})");
    write("noroi.json", R"({"threshold": 5})");
    write("outside.json", R"({"roi": {"type": "rotated_rect", "centre": [95, 30], "angle": 0, "width": 40,
                             "height": 10}})");
    write("wrongshape.json", R"({"roi": {"type": "ring", "centre": [50, 30], "radius1": 5, "radius2": 9}})");
    write("choice.json", R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40,
                            "height": 10}, "transition": 9})");
    write("oddcount.json", R"({"roi": {"type": "ring", "centre": [50, 30], "radius1": 5, "radius2": 20},
                              "caliperCount": 7})");
    write("notimage.png", "plain text");
    ASSERT_TRUE(cv::imwrite((dir / "deep.png").string(), cv::Mat(60, 100, CV_16U, cv::Scalar(4000))));
    fs::create_directories(dir / "empty");

    // Values outside what a setting or a ROI field means, each refused by name.
    const std::string rotated = R"("roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40,
                                  "height": 10})";
    const std::string ring = R"("roi": {"type": "ring", "centre": [50, 30], "radius1": 5, "radius2": 20})";
    const std::string rect = R"("roi": {"type": "rect", "x": 10, "y": 10, "width": 50, "height": 30})";
    const auto bad = [&](const std::string& tool, const std::string& name, const std::string& text) {
        write(name, "{" + text + "}");
        return "run --image " + path("step.png") + " --tool " + tool + " --params " + path(name);
    };

    const std::string run1 = "run --image " + path("step.png") + " --tool edge_point --params ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {bad("circle", "huge.json", R"("roi": {"type": "ring", "centre": [50, 30], "radius1": 5, "radius2": 1e400})"),
         "malformed JSON: field 'radius2': number overflow parsing '1e400'"},
        {bad("circle", "negative.json", R"("roi": {"type": "ring", "centre": [50, 30], "radius1": -5, "radius2": 9})"),
         "field 'radius1' is -5, it must be at least 0"},
        {bad("circle", "thin.json", R"("roi": {"type": "ring", "centre": [50, 30], "radius1": 9, "radius2": 9})"),
         "radius1 and radius2 are both 9"},
        {bad("line", "flat.json", R"("roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 0,
                                    "height": 10})"),
         "field 'width' is 0, it must be at least 1"},
        {bad("line", "turned.json", R"("roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 1e300, "width": 40,
                                      "height": 10})"),
         "field 'angle' is 1e+300, outside its range -360 .. 360"},
        {bad("line", "percent.json", rotated + R"(, "percent": 500)"),
         "parameter 'percent' is 500, outside its range 0 .. 100"},
        {bad("circle", "sigma.json", ring + R"(, "sigma": 1000)"), "parameter 'sigma' is 1000, outside its range 0 .. 100"},
        {bad("edge_points", "segment.json", rotated + R"(, "segmentWidth": -3)"),
         "parameter 'segmentWidth' is -3, it must be at least 1"},
        {bad("line", "fit.json", rotated + R"(, "fitMode": 7)"), "parameter 'fitMode' must be one of AllPoints"},
        {bad("regions", "grey.json", rect + R"(, "minGray": 200, "maxGray": 100)"),
         "parameter 'minGray' (200) is above 'maxGray' (100)"},
        {bad("regions", "area.json", rect + R"(, "minArea": 5000, "maxArea": 10)"),
         "parameter 'minArea' (5000) is above 'maxArea' (10)"},
        {bad("regions", "border.json", R"("roi": {"type": "rect", "x": 0, "y": 0, "width": 101, "height": 60})"),
         "step.png (100 x 60): it crosses the right border by 1.00 px"},
        {"run --image " + path("step.png") + " --tool line --params " + path("percent.json") + " --roi '{\"type\": '",
         "--roi: malformed JSON: parse error"},
        {"run --image " + path("deep.png") + " --tool edge_point --params " + path("params.json"), "16-bit samples"},
        {"probe --image " + path("step.png") + " --roi '{\"type\": \"ring\", \"centre\": [50, 30], \"radius1\": 5, "
         "\"radius2\": 20}'",
         "type 'ring' is not accepted"},
        {"probe --image " + path("step.png") + " --tool edge_point --params " + path("params.json"),
         "this tool has no 'percent' setting"},
        {"tools nosuchtool", "unknown tool 'nosuchtool'"},
        {"run --image " + path("missing.png") + " --tool edge_point --params " + path("params.json"), "missing.png"},
        {"run --image " + path("notimage.png") + " --tool edge_point --params " + path("params.json"),
         "not a readable image"},
        {run1 + path("nothing.json"), "nothing.json: cannot open"},
        {run1 + path("malformed.json"), "malformed JSON"},
        {run1 + path("typed.json"), "'threshold' must be an integer"},
        {run1 + path("unknown.json"), "unknown parameter 'treshold'"},
        {run1 + path("noroi.json"), "missing 'roi'"},
        {run1 + path("outside.json"), "crosses the right border by 15.50 px"},
        {run1 + path("wrongshape.json"), "type 'ring' is not accepted"},
        {run1 + path("choice.json"), "'transition' must be one of"},
        {"run --image " + path("step.png") + " --tool diameter --params " + path("oddcount.json"),
         "'caliperCount' must be even"},
        {"run --image " + path("step.png") + " --tool nosuchtool --params " + path("params.json"),
         "unknown tool 'nosuchtool'"},
        {"batch --images " + path("empty") + " --tool edge_point --params " + path("params.json"), "no images"},
        {"batch --images " + path("absent") + " --tool edge_point --params " + path("params.json"), "not a folder"},
        {"run --image " + path("step.png") + " --tool edge_point", "--params"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome o = run(arguments);
        EXPECT_EQ(o.status, 2) << arguments;
        EXPECT_NE(o.err.find(message), std::string::npos) << arguments << "\n" << o.err;
        EXPECT_TRUE(o.out.empty()) << arguments << "\n" << o.out; // nothing half-written on stdout
    }
}

TEST_F(Cli, EveryExampleRunsOnTheDemoScene)
{
    ASSERT_EQ(run("demo --out " + path("demo")).status, 0);
    int examples = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(FUNCTIONS_EXAMPLES_DIR)) {
        if (entry.path().extension() != ".json")
            continue;
        const std::string tool = entry.path().stem().string();
        const Outcome o = run("run --image " + path("demo/scene.png") + " --tool " + tool + " --params '" +
                              entry.path().string() + "'");
        ASSERT_EQ(o.status, 0) << tool << ": " << o.err;
        EXPECT_EQ(json::parse(o.out)["success"], true) << tool << ": " << o.out;
        ++examples;
    }
    EXPECT_GE(examples, 1);
}

// A rectangle covering exactly the image lies inside it; --roi replaces the file's ROI.
TEST_F(Cli, WholeImageRectangleMeasures)
{
    writeStepImage("step.png");
    // The file's own ROI holds only the dark half: no region there.
    write("regions.json", R"({"roi": {"type": "rect", "x": 5, "y": 5, "width": 10, "height": 10}, "minArea": 10})");
    const Outcome o = run("run --image " + path("step.png") + " --tool regions --params " + path("regions.json") +
                          R"( --roi '{"type": "rect", "x": 0, "y": 0, "width": 100, "height": 60}')");
    ASSERT_EQ(o.status, 0) << o.err;
    const json record = json::parse(o.out);
    EXPECT_EQ(record["roi"]["width"], 100);
    ASSERT_EQ(record["outputs"]["count"], 1) << o.out;
    // The bright half, columns 50 .. 99: its outline runs through the outer pixels' centres.
    const json& region = record["outputs"]["regions"][0];
    EXPECT_DOUBLE_EQ(region["area"].get<double>(), 49.0 * 59.0);
    EXPECT_DOUBLE_EQ(region["perimeter"].get<double>(), 2 * (49.0 + 59.0));
    EXPECT_NEAR(region["rectangularity"].get<double>(), 1.0, 1e-6);
    EXPECT_NEAR(region["circularity"].get<double>(), 4 * 3.141592653589793 * 49 * 59 / (216.0 * 216.0), 1e-9);
}

// The probe finds a known step where it is, across a rectangle and along a line scanned
// from its end, and plots the profile.
TEST_F(Cli, ProbeReportsAStepAtItsPosition)
{
    writeStepImage("step.png"); // dark to light between columns 49 and 50
    Outcome o = run("probe --image " + path("step.png") + " --plot " + path("plot.png") +
                    R"( --roi '{"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40, "height": 10}')");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("40 samples, each the mean of 10 lines"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("edges in scan order: 1\n  edge 1 at sample 19.50, (49.50, 30.00), strength"),
              std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("dark to light"), std::string::npos) << o.out;
    const cv::Mat plot = cv::imread((dir / "plot.png").string());
    EXPECT_GT(plot.cols, 500);

    // A line tool's own file: its ROI turned into a line from x 90 leftwards, its settings kept.
    write("line.json", R"({"roi": {"type": "rotated_rect", "centre": [50, 30], "angle": 0, "width": 40, "height": 10},
                           "direction": "RightToLeft", "transition": "LightToDark", "percent": 60, "fitMode": 1})");
    o = run("probe --image " + path("step.png") + " --tool line --params " + path("line.json") +
            R"( --roi '{"type": "line", "start": [10, 20], "end": [90, 20]}')");
    EXPECT_EQ(o.status, 2) << o.out; // the line tool takes no line ROI
    o = run("probe --image " + path("step.png") + " --tool line --params " + path("line.json"));
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("direction RightToLeft, transition LightToDark, sigma 2, percent 60"), std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("edge 1 at sample 19.50, (49.50, 30.00)"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("light to dark"), std::string::npos) << o.out;
    write("along.json", R"({"roi": {"type": "line", "start": [90, 20], "end": [10, 20]}, "sigma": 0})");
    o = run("probe --image " + path("step.png") + " --params " + path("along.json"));
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("edge 1 at sample 40.50, (49.50, 20.00), strength 180.00, light to dark"), std::string::npos)
        << o.out;
}

namespace {

// An example's parameters with some settings changed.
std::string exampleWith(const std::string& tool, const json& changes)
{
    std::ifstream in(std::string(FUNCTIONS_EXAMPLES_DIR) + "/" + tool + ".json");
    json parameters = json::parse(in);
    parameters.update(changes);
    return parameters.dump();
}

} // namespace

TEST_F(Cli, ResultsSayHowFarToTrustThemAndWhyTheyFailed)
{
    ASSERT_EQ(run("demo --out " + path("demo")).status, 0);
    const auto runTool = [&](const std::string& tool, const json& changes, const std::string& extra = "") {
        write(tool + ".json", exampleWith(tool, changes));
        const Outcome o = run("run --image " + path("demo/scene.png") + " --tool " + tool + " --params " +
                              path(tool + ".json") + extra);
        EXPECT_EQ(o.status, 0) << o.err;
        return json::parse(o.out);
    };

    // A found circle: its diameter with an interval that holds it, and every point judged.
    const json circle = runTool("circle", json::object());
    const json& diameter = circle["quality"]["diameter"];
    EXPECT_NEAR(diameter["value"].get<double>(), 2 * circle["outputs"]["radius"].get<double>(), 1e-3);
    EXPECT_LT(diameter["ci95"][0].get<double>(), diameter["value"].get<double>());
    EXPECT_GT(diameter["ci95"][1].get<double>(), diameter["value"].get<double>());
    EXPECT_GT(circle["quality"]["rmsResidual"].get<double>(), 0.0);
    EXPECT_EQ(circle["diagnostics"]["points"].size(), circle["outputs"]["edgePoints"].size());
    EXPECT_EQ(circle["diagnostics"]["inliers"].get<int>() + circle["diagnostics"]["outliers"].get<int>(),
              static_cast<int>(circle["outputs"]["edgePoints"].size()));
    const json compact = runTool("circle", json::object(), " --compact");
    EXPECT_FALSE(compact["diagnostics"].contains("points"));
    EXPECT_FALSE(compact["outputs"].contains("edgePoints"));
    EXPECT_EQ(compact["quality"], circle["quality"]);
    // Written for people: positions to 1e-4 px, not 17 digits.
    const std::string radius = circle["outputs"]["radius"].dump();
    EXPECT_LE(radius.size() - radius.find('.') - 1, 4u) << radius;

    // Each failure names its rule and the number behind it.
    const json line = runTool("line", {{"minStrength", 500}});
    EXPECT_EQ(line["success"], false);
    EXPECT_NE(line["diagnostics"]["failure"].get<std::string>().find("reached minStrength 500, the strongest was"),
              std::string::npos)
        << line["diagnostics"];
    const json pairs = runTool("edge_pairs", {{"minPairDistance", 500}});
    EXPECT_EQ(pairs["success"], false);
    EXPECT_NE(pairs["diagnostics"]["failure"].get<std::string>().find("more than minPairDistance 500 px apart"),
              std::string::npos)
        << pairs["diagnostics"];
    const json arc = runTool("arc", {{"segmentStep", 40}}); // too few calipers for the 3 px check
    EXPECT_EQ(arc["success"], false);
    EXPECT_NE(arc["diagnostics"]["failure"].get<std::string>().find("within 3 px of the circle, 10 are needed"),
              std::string::npos)
        << arc["diagnostics"];
}
