#pragma once

// The sub-commands of functions-cli. Each returns the process exit status and throws
// frontend::InputError for bad input (main prints it and exits with 2).

#include <string>

namespace cli {

/// Lists the tools with their ROI shapes, parameters and defaults.
int listTools();

/// Runs one tool on one image and prints the JSON record of the run to stdout;
/// optionally writes an annotated picture. A failed measurement is not an error.
int runTool(const std::string& imagePath, const std::string& toolName, const std::string& paramsPath,
            const std::string& overlayPath, bool compact = false);

/// Runs one tool over every image of a folder in parallel; one JSON line per image in
/// name order, to outPath (written whole at the end) or stdout; summary on stderr.
int runBatch(const std::string& folder, const std::string& paramsPath, const std::string& toolName, int jobs,
             const std::string& outPath);

} // namespace cli
