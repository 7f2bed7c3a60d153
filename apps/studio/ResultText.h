#pragma once

// Measurements in words and tables: the one-line summary the ROI list and the overlay
// show, and the flat name/value columns of the results table and its CSV.

#include "MeasureSession.h"

#include <string>
#include <utility>
#include <vector>

namespace studio {

/// "Ø 149.983 ± 0.004 px  centre (311.81, 309.15)" for a result (± half its 95 %
/// interval where the tool judged its fit), the reason for a failure. Brief: the main
/// value only (a diameter, an angle, a width), as written beside a ROI.
std::string resultSummary(const Measurement& measurement, bool brief = false);

/// The outputs as columns: numbers, booleans and strings as they are (numbers with every
/// digit), points as name.x and name.y, short number lists by index, objects by
/// name.field, long lists (edge points, pairs, regions) as their count.
std::vector<std::pair<std::string, std::string>> flattenOutputs(const json& outputs);
/// The outputs, then the quality (quality.radius.sigma, ...) and the diagnostics' counts
/// and failure reason (diagnostics.inliers, ...), flattened the same way.
std::vector<std::pair<std::string, std::string>> flattenMeasurement(const Measurement& measurement);

/// One row of a results table: an image, a ROI and its measurement.
struct ResultRow {
    std::string image;
    RoiEntry entry;
    Measurement measurement;
};

/// A table of rows: fixed columns image, roi, tool, success, error, then the union of
/// every row's measurement columns in the order they first appear.
struct ResultTable {
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> cells;
};
ResultTable tabulate(const std::vector<ResultRow>& rows);

/// The table as CSV (RFC 4180 quoting: fields with a comma, quote or line break are
/// quoted, quotes doubled), or as tab-separated text for the clipboard.
std::string toCsv(const ResultTable& table);
std::string toTabSeparated(const ResultTable& table);

} // namespace studio
