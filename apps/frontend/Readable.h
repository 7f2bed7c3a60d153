#pragma once

// The record of a run as a person reads it (the command-line tool's JSON): numbers rounded
// to what they mean instead of 17 digits, and optionally without the per-point lists. The
// records the front ends keep in memory stay exact, so that a front end can compare its
// results bit for bit with a direct library call.

#include "ToolDefinition.h"

namespace frontend {

/// The record with every fractional number of its outputs, quality and diagnostics
/// rounded to what it means: positions, lengths, residuals and angles to 1e-4 (pixels or
/// degrees), a line's direction components to 1e-6 (about 1e-4 degree), areas as they are.
/// Whole numbers, the echoed settings and ROI, and the timing stay as they are. compact
/// leaves out the per-point lists: outputs.edgePoints, outputs.points, outputs.pairs and
/// diagnostics.points.
json readableRecord(json record, bool compact);

} // namespace frontend
