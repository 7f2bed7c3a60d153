// A 12-measurement recipe (the example plate's seven tool runs and five of them again)
// on a 1280 x 1024 image, against the same library calls made directly with records
// prepared once: what the recipe layer adds (fixture, ROI placement, results in JSON,
// units, dimensions). The fixture's two tool runs are made twice per image (the second
// time square on the part), so the direct calls include them twice too: x_tools, the
// target (at most 1.2). x_twelve compares with the twelve measurements' calls alone.
//
// Both are timed in processor time on one thread: on a machine shared with other builds
// a wall-clock round of the longer call is almost never left uninterrupted, which made
// the wall-clock ratio a measure of the machine's load rather than of the recipe layer.

#include "DemoPart.h"
#include "Recipe.h"

#include <Functions.h>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <functional>
#include <ctime>

namespace {

using namespace frontend;

double processSeconds()
{
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Processor seconds per call of each, fastest of `rounds` interleaved rounds.
template <typename A, typename B>
std::pair<double, double> fastestProcessTime(int rounds, int callsPerRound, A&& a, B&& b)
{
    double fastestA = 1e300, fastestB = 1e300;
    const auto timeOne = [callsPerRound](auto& call) {
        const double start = processSeconds();
        for (int k = 0; k < callsPerRound; ++k)
            call();
        return (processSeconds() - start) / callsPerRound;
    };
    for (int round = 0; round < rounds; ++round) {
        fastestA = std::min(fastestA, timeOne(a));
        fastestB = std::min(fastestB, timeOne(b));
    }
    return {fastestA, fastestB};
}

struct DirectCall {
    std::unique_ptr<ROI> roi;
    std::function<bool(cv::Mat&)> call;
};

DirectCall directCall(const RecipeMeasurement& m)
{
    const ToolDefinition& tool = findTool(m.tool);
    ToolInput input;
    input.settings = validatedSettings(tool, m.params, m.name);
    input.paramDefinitions = &tool.params;
    DirectCall direct;
    direct.roi = parseRoi(m.roi, tool.roiKinds, m.name).shape;
    if (m.tool == "line") {
        auto param = std::make_shared<_EdgeLineDetParam>();
        fillCaliperSettings(*param, input);
        param->roi = static_cast<RotateRectROI*>(direct.roi.get());
        const int fitMode = input.choice("fitMode");
        direct.call = [param, fitMode](cv::Mat& image) { return clcEdgeLineAndFit(image, *param, fitMode); };
    } else if (m.tool == "circle") {
        auto param = std::make_shared<_CircleDetParam>();
        fillCaliperSettings(*param, input);
        param->roi = direct.roi.get();
        const int fitMode = input.choice("fitMode");
        const bool best = input.boolean("bestEdgePerCaliper");
        const int smoothing = input.integer("angularSmoothing");
        const double outlier = input.number("outlierDistance");
        direct.call = [=](cv::Mat& image) {
            return clcCirclePointsAndFit(image, *param, fitMode, best, smoothing, outlier);
        };
    } else {
        auto param = std::make_shared<_MulEdgePointDetParam>();
        param->pairMode = input.choice("pairMode");
        param->segmentAxis = input.choice("segmentAxis");
        param->direction = input.choice("direction");
        param->transition = static_cast<EdgeTransition>(input.choice("transition"));
        param->threshold = input.integer("threshold");
        param->smoothWidth = input.integer("smoothWidth");
        param->minGradient = input.integer("minGradient");
        param->segmentWidth = input.integer("segmentWidth");
        param->segmentStep = input.integer("segmentStep");
        param->skipCount = input.integer("skipCount");
        param->minPairDistance = static_cast<float>(input.number("minPairDistance"));
        param->roi = static_cast<RotateRectROI*>(direct.roi.get());
        direct.call = [param](cv::Mat& image) { return clcMulEdgePoints(image, *param); };
    }
    return direct;
}

void BM_recipeOverDirectTools(benchmark::State& state)
{
    cv::setNumThreads(1); // processor time then counts the tools' whole work
    cv::Mat image = synthetic::renderDemoPart({1280, 1024}, synthetic::DemoPart(), synthetic::demoPartPoses()[0], 0.8,
                                              2.0);
    Recipe recipe = loadRecipe(std::string(FUNCTIONS_EXAMPLES_DIR) + "/recipes/plate.json");
    const std::vector<RecipeMeasurement> seven = recipe.measurements;
    for (size_t k = 0; k < 5; ++k) {
        RecipeMeasurement m = seven[k];
        m.name += "_again";
        recipe.measurements.push_back(m);
    }
    recipe.fixture.reference = RecipeRunner(recipe).teach(image);
    const RecipeRunner runner(recipe);
    std::vector<DirectCall> direct;
    for (const RecipeMeasurement& m : recipe.measurements)
        direct.push_back(directCall(m));
    const size_t twelve = direct.size();
    for (const RecipeMeasurement& m : recipe.measurements)
        if (m.name == recipe.fixture.first || m.name == recipe.fixture.second)
            direct.push_back(directCall(m));

    const auto viaRecipe = [&] {
        const InspectionResult result = runner.inspect(image);
        benchmark::DoNotOptimize(result.pass);
    };
    const auto directly = [&] {
        for (DirectCall& d : direct)
            benchmark::DoNotOptimize(d.call(image));
    };
    const auto twelveDirectly = [&] {
        for (size_t k = 0; k < twelve; ++k)
            benchmark::DoNotOptimize(direct[k].call(image));
    };
    for (auto _ : state)
        viaRecipe();
    if (!runner.inspect(image).pass)
        state.SkipWithError("the reference part does not pass its own recipe");
    const auto [recipeTime, directTime] = fastestProcessTime(20, 5, viaRecipe, directly);
    const double twelveTime = fastestProcessTime(20, 5, twelveDirectly, twelveDirectly).first;
    state.counters["recipe_us"] = recipeTime * 1e6;
    state.counters["tools_us"] = directTime * 1e6;
    state.counters["x_tools"] = recipeTime / directTime;
    state.counters["x_twelve"] = recipeTime / twelveTime;
}
BENCHMARK(BM_recipeOverDirectTools)->Unit(benchmark::kMicrosecond);

} // namespace
