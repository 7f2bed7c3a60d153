// functions-cli: runs the library's tools without writing a host.

#include "Demo.h"

#include <CLI/CLI.hpp>

#include <string>

int main(int argc, char** argv)
{
    CLI::App app{"functions-cli: machine-vision measurement tools of the Functions library"};
    app.require_subcommand(1);

    std::string demoOut = "demo-out";
    CLI::App* demoCommand =
        app.add_subcommand("demo", "Render the built-in inspection scene, run every tool on it and compare with the truth");
    demoCommand->add_option("--out", demoOut, "Folder for the annotated pictures")->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }

    if (*demoCommand)
        return demo::runDemo(demoOut);
    return 2;
}
