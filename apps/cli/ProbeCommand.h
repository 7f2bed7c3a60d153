#pragma once

// The probe command: the grey-value profile along a line or across a rotated rectangle
// and the edges the caliper settings find in it, as text and optionally as a plot. The
// quickest way to choose percent, minStrength and sigma on a new part.

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

struct ProbeOptions {
    std::string image;
    std::string params;
    std::string roi;
    std::string tool;
    std::string plot;
};

/// Adds the probe sub-command, its options filling `options`.
CLI::App* addProbeCommand(CLI::App& app, ProbeOptions& options);

/// Prints the profile to stdout (and writes the plot); returns the exit status.
int runProbe(const ProbeOptions& options);

} // namespace cli
