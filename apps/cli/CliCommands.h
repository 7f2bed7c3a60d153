#pragma once

// The sub-commands of functions-cli. Each returns the process exit status and throws
// frontend::InputError for bad input (main prints it and exits with 2).

#include "ToolDefinition.h"

#include <string>

namespace cli {

/// Lists the tools and the probe (or only the one named) with their ROI shapes, settings
/// with ranges and defaults, and outputs.
int listTools(const std::string& only);

/// Runs one tool on one image and prints the JSON record of the run to stdout;
/// optionally writes an annotated picture. A failed measurement is not an error.
int runTool(const std::string& imagePath, const std::string& toolName, const std::string& paramsPath,
            const std::string& roiText, const std::string& overlayPath, bool compact = false);

/// Runs one tool over every image of a folder in parallel; one JSON line per image in
/// name order, to outPath (written whole at the end) or stdout, an image that could not
/// be read or measured as a line with "error". Progress and a summary on stderr. Returns
/// 1 when some image was an error, 0 otherwise.
int runBatch(const std::string& folder, const std::string& paramsPath, const std::string& roiText,
             const std::string& toolName, int jobs, const std::string& outPath);

/// The parameters of a command: the file's (when paramsPath is given), with the ROI
/// replaced by roiText (JSON, when given). source receives the name messages use.
frontend::json commandParameters(const std::string& paramsPath, const std::string& roiText, std::string& source);

} // namespace cli
