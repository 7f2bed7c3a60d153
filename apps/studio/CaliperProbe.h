#pragma once

// The caliper of a ROI's tool under a point, and the profile it sees: for the profile
// view, which shows why a setting finds or misses an edge. Segment calipers only (the
// edge points, line, circle and arc tools), whose settings percent, sigma and
// minStrength the profile makes visible; the profile itself is the shared layer's
// (frontend::measureProfile), sampled and analysed as those tools do.

#include "MeasureSession.h"

#include <Profile.h>

#include <QPolygonF>

#include <memory>
#include <optional>
#include <string>

namespace studio {

struct CaliperProbe {
    RotateRectROI caliper; // the band, straightened along its scan (its x axis)
    frontend::ProfileSettings settings;
    int index = 0, count = 0; // which caliper of how many (bands along the ROI)
    std::string note;         // how the probe relates to the tool's own sampling
    frontend::Profile profile;

    /// The band's outline in image coordinates.
    QPolygonF outline() const;
};

/// The caliper of `entry`'s tool nearest to an image point inside its ROI, with its
/// profile measured on `image`; none when the point is outside the ROI, the tool has no
/// segment calipers or its settings or ROI are refused (then `why` says so).
std::optional<CaliperProbe> probeCaliper(const RoiEntry& entry, const cv::Mat& image, QPointF at,
                                         std::string* why = nullptr);

/// Whether the tool scans with segment calipers the probe can show.
bool hasSegmentCalipers(const std::string& tool);

} // namespace studio
