// The studio's re-measure after a setting changes: five ROIs (edge point, edge points,
// line, circle, arc) on a blurred, noisy 1280 x 1024 scene, through the session the
// window measures with (the shared layer's checks, then each tool's run), against the
// five tool calls alone on inputs prepared beforehand. A frame at 30 Hz is 33 ms.
//
// x_five_calls is measured in the same run (rounds alternated, fastest kept): above 1 it
// is what the session adds to the tools; a change to one ROI re-measures that ROI only,
// so after a setting change it lies below 1.

#include "BenchSupport.h"
#include "MeasureSession.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using studio::json;

struct Recipe {
    cv::Mat image;
    std::vector<studio::RoiEntry> entries;
    Recipe()
    {
        // A plate turned by 8 degrees with a hole, and a round boss beside it.
        const double angle = 8, t = angle * CV_PI / 180;
        const cv::Point2d plate(520, 500);
        const auto onPlate = [&](double x, double y) {
            return cv::Point2d(plate.x + x * std::cos(t) - y * std::sin(t),
                               plate.y + x * std::sin(t) + y * std::cos(t));
        };
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        scene.fillRotatedRect(plate, 600, 400, angle, 190);
        const cv::Point2d hole = onPlate(-150, 0);
        scene.fillDisc(hole, 80, 40);
        scene.fillDisc({1050, 300}, 140, 170);
        image = scene.toGrey(1.0, 2.0);

        const auto point = [](cv::Point2d p) {
            return json::array({std::round(p.x * 10) / 10, std::round(p.y * 10) / 10});
        };
        const auto add = [this](const char* tool, json roi, json settings) {
            studio::RoiEntry entry;
            entry.id = static_cast<int>(entries.size()) + 1;
            entry.name = tool;
            entry.tool = tool;
            entry.shape = studio::RoiShape::fromJson(roi, tool);
            entry.settings = settings;
            entries.push_back(entry);
        };
        add("edge_point",
            {{"type", "rotated_rect"},
             {"centre", point(onPlate(-300, 100))},
             {"angle", angle},
             {"width", 80},
             {"height", 20}},
            {{"transition", "DarkToLight"}});
        add("edge_points",
            {{"type", "rotated_rect"},
             {"centre", point(onPlate(0, -200))},
             {"angle", angle},
             {"width", 400},
             {"height", 60}},
            {{"scanAxis", "AlongHeight"}});
        add("line",
            {{"type", "rotated_rect"},
             {"centre", point(onPlate(-300, 0))},
             {"angle", angle},
             {"width", 60},
             {"height", 300}},
            {{"transition", "DarkToLight"}});
        add("circle", {{"type", "ring"}, {"centre", point(hole)}, {"radius1", 60}, {"radius2", 100}}, json::object());
        add("arc",
            {{"type", "arc"},
             {"centre", {1050, 300}},
             {"radius1", 110},
             {"radius2", 170},
             {"angle1", 300},
             {"angle2", 50}},
            {{"transition", "LightToDark"}});
    }
};

const Recipe& recipe()
{
    static const Recipe r;
    return r;
}

// The five tool calls alone, on inputs the shared layer prepared beforehand.
struct FiveCalls {
    std::vector<frontend::ToolInput> inputs;
    explicit FiveCalls(const Recipe& r)
    {
        for (const studio::RoiEntry& entry : r.entries)
            inputs.push_back(
                frontend::prepareInput(frontend::findTool(entry.tool), entry.parameters(), r.image, "", ""));
    }
    void run()
    {
        for (size_t i = 0; i < inputs.size(); ++i)
            benchmark::DoNotOptimize(frontend::findTool(recipe().entries[i].tool).run(inputs[i]).success);
    }
};

// Runs a re-measure as the benchmark's body, checks that every ROI found its feature, and
// reports it against the five tool calls alone.
template <typename Remeasure>
void timeAgainstFiveCalls(benchmark::State& state, const studio::MeasureSession& session, Remeasure remeasure)
{
    for (auto _ : state)
        remeasure();
    for (const studio::Measurement& m : session.measurements())
        if (!m.success)
            state.SkipWithError("a ROI found nothing");
    FiveCalls five(recipe());
    const auto [sessionTime, fiveTime] = bench::fastestInterleaved(20, 10, remeasure, [&] { five.run(); });
    state.counters["session_ms"] = sessionTime * 1e3;
    state.counters["five_calls_ms"] = fiveTime * 1e3;
    state.counters["x_five_calls"] = sessionTime / fiveTime;
}

// The window's path after a setting of one ROI changes: the circle's percent goes back
// and forth, so each round re-measures that ROI.
void BM_RemeasureAfterSettingChange(benchmark::State& state)
{
    studio::MeasureSession session;
    session.setImage(recipe().image, "scene");
    std::vector<studio::RoiEntry> entries = recipe().entries;
    session.setEntries(entries);
    session.remeasure();
    int percent = 30;
    timeAgainstFiveCalls(state, session, [&] {
        percent = percent == 30 ? 31 : 30;
        entries[3].settings["percent"] = percent;
        session.setEntries(entries);
        benchmark::DoNotOptimize(session.remeasure());
    });
}
BENCHMARK(BM_RemeasureAfterSettingChange)->Unit(benchmark::kMicrosecond);

// Every ROI at once, as on a new image or a setting shared by all: the session's own
// cost (checking settings and ROIs, the JSON of the outputs) on top of the five calls.
void BM_RemeasureAllFive(benchmark::State& state)
{
    studio::MeasureSession session;
    session.setEntries(recipe().entries);
    timeAgainstFiveCalls(state, session, [&] {
        session.setImage(recipe().image, "scene");
        benchmark::DoNotOptimize(session.remeasure());
    });
}
BENCHMARK(BM_RemeasureAllFive)->Unit(benchmark::kMicrosecond);

} // namespace
