#pragma once

// The grey-value profile a segment caliper sees along a line or across a rotated
// rectangle, with every stage of its analysis (smoothing, derivative, edge strength,
// threshold) and the edges that the chosen settings find. The command-line probe prints
// and plots it; the studio shows it under the mouse. The stages are the library's own
// exported profile functions, called in the order its calipers call them, so the edges
// found here are the edges the line, edge points and line-ROI edge tools find.

#include "ToolDefinition.h"

#include <FunctionsDef.h>

#include <opencv2/core.hpp>

#include <vector>

namespace frontend {

/// The caliper settings shared by the segment-based tools.
struct ProfileSettings {
    /// Scan from the end of the line (a rectangle's right side) towards its start.
    bool reverse = false;
    /// Edge polarity along the scan.
    EdgeTransition transition = BothTransitions;
    /// Gaussian kernel index k, 0 .. 100: sigma = 0.3 (k - 1) + 0.8 px; 0 smooths nothing.
    int sigma = 2;
    /// Edges below this percent of the strongest response are ignored (0 .. 100).
    double percent = 30;
    /// Absolute edge threshold on the strength scale (a difference across two samples).
    double minStrength = 20;
    /// Take a rectangle at an angle of exactly 0 pixel for pixel (its truncated integer
    /// rectangle) as the edge points tool does, instead of warping it as the line tool
    /// does at every angle.
    bool copyUpright = false;
};

/// One edge the settings find.
struct ProfileEdge {
    double position = 0; ///< sample index, sub-pixel (0 = the line's start, the rectangle's left side)
    cv::Point2d point;   ///< in image coordinates, as the tools report it
    double strength = 0; ///< edge strength at the nearest sample
    bool darkToLight = true; ///< brighter further along the scan
};

/// A sampled profile and its analysis. All curves have one value per sample, in sample
/// order (index 0 at the line's start or the rectangle's left side) whatever the scan
/// direction.
struct Profile {
    std::vector<float> grey;       ///< averaged grey value (0 .. 255)
    std::vector<float> smoothed;   ///< grey after the Gaussian
    std::vector<float> derivative; ///< smoothed[i+1] - smoothed[i-1] (one-sided at the ends), signed
    std::vector<float> strength;   ///< the derivative turned to the scan and polarity: what is searched
    std::vector<cv::Point2d> samplePoints; ///< image position of each sample
    int linesAveraged = 1;         ///< image lines averaged into each sample (a rectangle's height)
    double top = 0;                ///< largest strength, at least 0
    double threshold = 0;          ///< max(percent / 100 * top, minStrength): an edge reaches at least this
    std::vector<ProfileEdge> edges; ///< every edge, in scan order (the first is the one a caliper keeps)
};

/// Longest profile: the library samples at most 32766 pixels in one caliper.
constexpr int kMaxProfileSamples = 32766;

/// The profile along a LineROI (one sample per pixel from its start, bicubic, as the
/// line-ROI edge tool samples) or across a RotateRectROI (straightened, each column
/// averaged over the rectangle's height, as the calipers average their bands), analysed
/// with the settings. image: 8-bit, 1 channel or 3 in RGB order; samples
/// outside it read 0. Throws InputError for other shapes, non-finite geometry, a line of
/// no length, a rectangle side below 1 px, profiles of more than kMaxProfileSamples
/// samples, and a rectangle to be copied that starts left of or above the image.
Profile measureProfile(const cv::Mat& image, const ROI& roi, const ProfileSettings& settings);

/// The probe's own parameters as the front ends read them: a line or rotated_rect ROI and
/// direction, transition, percent, sigma and minStrength with the segment calipers'
/// ranges, for prepareInput. It measures nothing itself, so it is not among tools().
const ToolDefinition& probeDefinition();

/// The profile settings of an input prepared for probeDefinition(), or for any tool with
/// the same five settings (the line and edge points tools, whose direction index 1 is
/// the reverse scan too).
ProfileSettings profileSettings(const ToolInput& input);

} // namespace frontend
