#include "Demo.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>

namespace demo {

namespace {

struct Step {
    int order;
    std::string name;
    StepFunction run;
};

std::vector<Step>& registry()
{
    static std::vector<Step> steps;
    return steps;
}

} // namespace

bool Measurement::passed() const
{
    return found && std::isfinite(measured) && std::abs(error()) <= tolerance;
}

StepRegistration::StepRegistration(int order, const char* name, StepFunction run)
{
    registry().push_back({order, name, run});
}

Context::Context(SceneImage scene, std::string outDir) : scene_(std::move(scene)), outDir_(std::move(outDir))
{
    overview_ = annotationCanvas();
}

void Context::report(const std::string& tool, const std::string& quantity, double truth, double measured,
                     double tolerance, bool found)
{
    rows_.push_back({tool, quantity, truth, measured, tolerance, found});
}

cv::Mat Context::annotationCanvas() const
{
    cv::Mat colour;
    cv::cvtColor(scene_.grey, colour, cv::COLOR_GRAY2BGR);
    return colour;
}

bool Context::savePicture(const std::string& name, const cv::Mat& picture)
{
    const std::string path = (std::filesystem::path(outDir_) / (name + ".png")).string();
    return cv::imwrite(path, picture);
}

int runDemo(const std::string& outDir)
{
    std::error_code ec;
    std::filesystem::create_directories(outDir, ec);
    if (ec || !std::filesystem::is_directory(outDir)) {
        std::cerr << "functions-cli: cannot create output folder '" << outDir << "'\n";
        return 2;
    }

    const auto start = std::chrono::steady_clock::now();
    Context context(renderDemoScene(), outDir);
    if (!context.savePicture("scene", context.image())) {
        std::cerr << "functions-cli: cannot write into output folder '" << outDir << "'\n";
        return 2;
    }

    std::vector<Step> steps = registry();
    std::sort(steps.begin(), steps.end(),
              [](const Step& a, const Step& b) { return a.order != b.order ? a.order < b.order : a.name < b.name; });
    for (const Step& step : steps)
        step.run(context);
    context.savePicture("overview", context.overview());

    std::printf("%-22s %-26s %12s %12s %10s %9s  %s\n", "tool", "quantity", "true", "measured", "error",
                "tolerance", "result");
    int failures = 0;
    for (const Measurement& m : context.measurements()) {
        const bool ok = m.passed();
        failures += ok ? 0 : 1;
        if (m.found)
            std::printf("%-22s %-26s %12.4f %12.4f %10.4f %9.3f  %s\n", m.tool.c_str(), m.quantity.c_str(), m.truth,
                        m.measured, m.error(), m.tolerance, ok ? "ok" : "OUT OF TOLERANCE");
        else
            std::printf("%-22s %-26s %12.4f %12s %10s %9.3f  %s\n", m.tool.c_str(), m.quantity.c_str(), m.truth,
                        "-", "-", m.tolerance, "NOT FOUND");
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("\n%zu measurements, %d outside tolerance; pictures in %s (%.2f s)\n", context.measurements().size(),
                failures, outDir.c_str(), seconds);
    return failures == 0 ? 0 : 1;
}

} // namespace demo
