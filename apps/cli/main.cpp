// functions-cli: runs the library's tools without writing a host.

#include "CliCommands.h"
#include "CliInspect.h"
#include "Console.h"
#include "Demo.h"
#include "ProbeCommand.h"
#include "ToolDefinition.h"

#include <CLI/CLI.hpp>
#include <FunctionsVersion.h>
#include <QThread>

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    CLI::App app{"functions-cli: machine-vision measurement tools of the Functions library"};
    app.require_subcommand(1);
    app.set_version_flag("--version", [] {
        // The library is found at run time, so it may not be the one this was built with.
        const std::string library = functionsVersion();
        return std::string("functions-cli ") + FUNCTIONS_VERSION_STRING +
               (library == FUNCTIONS_VERSION_STRING ? "" : " (library " + library + ")");
    });

    std::string demoOut = "demo-out";
    CLI::App* demoCommand = app.add_subcommand(
        "demo", "Render the built-in inspection scene, run every tool family on it and compare with the truth");
    demoCommand->add_option("--out", demoOut, "Folder for the annotated pictures")->capture_default_str();
    std::string recipeImages, calibrationImages;
    demoCommand->add_option("--recipe-images", recipeImages,
                            "Instead: write the recipe example's pictures of the part into this folder");
    demoCommand->add_option("--calibration-images", calibrationImages,
                            "Instead: write chessboard views through a distorted camera into this folder");

    std::string image, tool, params, roi, overlay;
    CLI::App* toolsCommand =
        app.add_subcommand("tools", "List the tools with their settings (ranges, defaults) and outputs");
    toolsCommand->add_option("name", tool, "Only this tool");

    CLI::App* runCommand = app.add_subcommand("run", "Run one tool on one image; JSON result on stdout");
    runCommand->add_option("--image", image, "Image file (8-bit png, bmp, jpg, tif)")->required();
    runCommand->add_option("--tool", tool, "Tool name (see 'tools')")->required();
    runCommand->add_option("--params", params, "Parameters file (JSON: roi and settings)");
    runCommand->add_option("--roi", roi, "The ROI as JSON text, replacing the file's");
    runCommand->add_option("--overlay", overlay, "Write an annotated picture (png)");
    bool compact = false;
    runCommand->add_flag("--compact", compact, "Leave the per-point lists out of the JSON");

    std::string folder, out;
    int jobs = QThread::idealThreadCount();
    CLI::App* batchCommand = app.add_subcommand(
        "batch", "Run one tool over every image of a folder; JSON lines, an image that fails as a line with "
                 "\"error\"; exit status 1 when some image was an error");
    batchCommand->add_option("--images", folder, "Folder of images")->required();
    batchCommand->add_option("--params", params, "Parameters file (JSON: roi and settings)");
    batchCommand->add_option("--roi", roi, "The ROI as JSON text, replacing the file's");
    batchCommand->add_option("--tool", tool, "Tool name (see 'tools')")->required();
    batchCommand->add_option("--jobs", jobs, "Images processed in parallel")->capture_default_str();
    batchCommand->add_option("--out", out, "Write the JSON lines to this file instead of stdout");

    cli::ProbeOptions probe;
    CLI::App* probeCommand = cli::addProbeCommand(app, probe);

    std::string recipe, images, board = "9x6", plane;
    double square = 0;
    CLI::App* inspectCommand = app.add_subcommand(
        "inspect", "Run an inspection recipe over images: dimensions with pass/fail, overlays, CSV, statistics");
    inspectCommand->add_option("--recipe", recipe, "Recipe file (JSON, see docs/recipes.md)")->required();
    inspectCommand->add_option("--images", images, "An image or a folder of images")->required();
    inspectCommand->add_option("--jobs", jobs, "Images processed in parallel")->capture_default_str();
    inspectCommand->add_option("--out", out, "Folder for overlays, results.jsonl, results.csv, summary.txt")
        ->default_str("inspect-out");
    CLI::App* teachCommand = app.add_subcommand("teach", "Measure a recipe's fixture pose on a reference image");
    teachCommand->add_option("--recipe", recipe, "Recipe file")->required();
    teachCommand->add_option("--image", image, "Reference image")->required();
    teachCommand->add_option("--out", out, "Write the taught recipe here instead of over the recipe");
    CLI::App* calibrateCommand =
        app.add_subcommand("calibrate", "Calibrate camera, lens and measuring plane from chessboard views");
    calibrateCommand->add_option("--images", folder, "Folder of chessboard views")->required();
    calibrateCommand->add_option("--board", board, "Inner corners, COLSxROWS")->capture_default_str();
    calibrateCommand->add_option("--square", square, "Square side in mm")->required();
    calibrateCommand->add_option("--plane", plane, "The view whose board lies on the measuring plane (default: first)");
    calibrateCommand->add_option("--out", out, "Calibration file to write")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }

    try {
        if (*demoCommand && !recipeImages.empty())
            return demo::writeRecipeImages(recipeImages);
        if (*demoCommand && !calibrationImages.empty())
            return demo::writeCalibrationImages(calibrationImages);
        if (*demoCommand)
            return demo::runDemo(demoOut);
        if (*toolsCommand)
            return cli::listTools(tool);
        if (*runCommand)
            return cli::runTool(image, tool, params, roi, overlay, compact);
        if (*batchCommand)
            return cli::runBatch(folder, params, roi, tool, jobs, out);
        if (*probeCommand)
            return cli::runProbe(probe);
        if (*inspectCommand)
            return cli::runInspect(recipe, images, jobs, out.empty() ? "inspect-out" : out);
        if (*teachCommand)
            return cli::runTeach(recipe, image, out);
        if (*calibrateCommand)
            return cli::runCalibrate(folder, board, square, plane, out);
    } catch (const frontend::InputError& e) {
        std::fprintf(cli::userErr(), "functions-cli: %s\n", e.what());
        return 2;
    } catch (const std::exception& e) {
        // Anything else (OpenCV, the JSON library, memory) is still one message and status 2,
        // never an abort.
        std::fprintf(cli::userErr(), "functions-cli: unexpected error: %s\n", e.what());
        return 2;
    } catch (...) {
        std::fprintf(cli::userErr(), "functions-cli: unexpected error\n");
        return 2;
    }
    return 2;
}
