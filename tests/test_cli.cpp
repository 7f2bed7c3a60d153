// End-to-end tests of functions-cli through its executable.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

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
         {"scene.png", "overview.png", "edge_point.png", "line.png", "line_pair.png", "circle.png", "arc.png"})
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

TEST_F(Cli, BatchWritesOneLinePerImageAndCountsFailures)
{
    fs::create_directories(dir / "images");
    for (int i = 0; i < 20; ++i) // every fifth image has no edge at all
        writeStepImage("images/img" + std::to_string(100 + i) + ".png", i % 5 == 0 ? 100 : 45 + i / 2);
    write("images/notes.txt", "not an image");
    write("params.json", kStepParams);
    const Outcome o = run("batch --images " + path("images") + " --tool edge_point --jobs 3 --params " +
                          path("params.json") + " --out " + path("results.jsonl"));
    ASSERT_EQ(o.status, 0) << o.err;
    std::istringstream lines(readFile(dir / "results.jsonl"));
    std::string line;
    int count = 0, failures = 0;
    while (std::getline(lines, line)) {
        const json record = json::parse(line);
        EXPECT_NE(record["image"]["path"].get<std::string>().find("img" + std::to_string(100 + count)),
                  std::string::npos); // name order, whatever finished first
        failures += record["success"].get<bool>() ? 0 : 1;
        ++count;
    }
    EXPECT_EQ(count, 20);
    EXPECT_EQ(failures, 4);
    EXPECT_NE(o.err.find("20 images, 4 failed"), std::string::npos) << o.err;
    EXPECT_FALSE(fs::exists(dir / "results.jsonl.tmp"));
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
    write("notimage.png", "plain text");
    fs::create_directories(dir / "empty");

    const std::string run1 = "run --image " + path("step.png") + " --tool edge_point --params ";
    const std::vector<std::pair<std::string, std::string>> cases = {
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
    EXPECT_EQ(compact["quality"], circle["quality"]);

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
