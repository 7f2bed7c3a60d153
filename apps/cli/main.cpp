// functions-cli: runs the library's tools without writing a host.

#include "CliCommands.h"
#include "ToolDefinition.h"
#include "Demo.h"

#include <CLI/CLI.hpp>
#include <FunctionsVersion.h>
#include <QThread>

#include <iostream>
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

    CLI::App* toolsCommand = app.add_subcommand("tools", "List the tools with their parameters and defaults");

    std::string image, tool, params, overlay;
    CLI::App* runCommand = app.add_subcommand("run", "Run one tool on one image; JSON result on stdout");
    runCommand->add_option("--image", image, "Image file (8-bit png, bmp, jpg, tif)")->required();
    runCommand->add_option("--tool", tool, "Tool name (see 'tools')")->required();
    runCommand->add_option("--params", params, "Parameters file (JSON: roi and settings)")->required();
    runCommand->add_option("--overlay", overlay, "Write an annotated picture (png)");
    bool compact = false;
    runCommand->add_flag("--compact", compact, "Leave the per-point lists out of the JSON");

    std::string folder, out;
    int jobs = QThread::idealThreadCount();
    CLI::App* batchCommand = app.add_subcommand("batch", "Run one tool over every image of a folder; JSON lines");
    batchCommand->add_option("--images", folder, "Folder of images")->required();
    batchCommand->add_option("--params", params, "Parameters file (JSON: roi and settings)")->required();
    batchCommand->add_option("--tool", tool, "Tool name (see 'tools')")->required();
    batchCommand->add_option("--jobs", jobs, "Images processed in parallel")->capture_default_str();
    batchCommand->add_option("--out", out, "Write the JSON lines to this file instead of stdout");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }

    try {
        if (*demoCommand)
            return demo::runDemo(demoOut);
        if (*toolsCommand)
            return cli::listTools();
        if (*runCommand)
            return cli::runTool(image, tool, params, overlay, compact);
        if (*batchCommand)
            return cli::runBatch(folder, params, tool, jobs, out);
    } catch (const frontend::InputError& e) {
        std::cerr << "functions-cli: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        // Anything else (OpenCV, the JSON library, memory) is still one message and status 2,
        // never an abort.
        std::cerr << "functions-cli: unexpected error: " << e.what() << "\n";
        return 2;
    }
    return 2;
}
