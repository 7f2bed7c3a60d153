#pragma once

// Framework of the accuracy study: every study places a shape of exactly known geometry
// many times at random, measures it under each setting (blur and noise for images, noise
// and outliers for point sets) and records the signed error of every quantity a tool
// reports. Placements are drawn from fixed seeds, so a run is reproducible, and the same
// placements are measured under every setting, so the curves compare like with like.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace accuracy {

/// One quantity measured by one tool, e.g. {"clcEdgePoint", "position", "px"}.
struct Metric {
    std::string tool;
    std::string quantity;
    std::string unit;
};

/// One measuring condition. series is the blur sigma in pixels for image studies and the
/// share of gross outliers in percent for point-set studies; noise is Gaussian noise in
/// grey levels (images) or pixels (point sets).
struct Setting {
    double series;
    double noise;
};

/// Signed errors of one placement, per setting and metric, and the results a tool failed
/// to deliver. One recorder per placement keeps parallel placements apart.
class Recorder {
public:
    Recorder(size_t settings, size_t metrics);

    void error(size_t setting, size_t metric, double value);
    void miss(size_t setting, size_t metric);
    /// A 95 % interval the tool reported for a result of the metric, with its standard
    /// uncertainty sigma, and whether the truth lay inside it.
    void interval(size_t setting, size_t metric, double sigma, bool covered);
    /// Appends another recorder's errors behind this one's.
    void append(const Recorder& other);

    const std::vector<double>& errors(size_t setting, size_t metric) const;
    int misses(size_t setting, size_t metric) const;
    /// Intervals reported, how many held the truth, and their mean sigma (NaN for none).
    int intervals(size_t setting, size_t metric) const;
    int covered(size_t setting, size_t metric) const;
    double meanSigma(size_t setting, size_t metric) const;

private:
    struct Cell {
        std::vector<double> errors;
        int misses = 0;
        int intervals = 0;
        int covered = 0;
        double sigmaSum = 0;
    };
    size_t metrics_;
    std::vector<Cell> cells_;
};

/// Statistics of the errors of one metric under one setting. bias is the mean signed
/// error, rms the root mean square, p95 the 95th percentile of the absolute error and
/// worst the largest absolute error; all NaN when nothing was found.
struct Summary {
    int trials = 0; ///< results expected
    int found = 0;  ///< results delivered
    double bias = 0;
    double rms = 0;
    double p95 = 0;
    double worst = 0;
    /// Reported 95 % intervals: how many, the share holding the truth (coverage, NaN
    /// when none was reported) and the mean reported standard uncertainty.
    int intervals = 0;
    double coverage = 0;
    double meanSigma = 0;
};

Summary summarise(const std::vector<double>& errors, int misses);

struct Row {
    Metric metric;
    Setting setting;
    Summary summary;
};

struct StudyResult {
    std::string name;         ///< file stem of its CSV, e.g. "edge"
    std::string seriesColumn; ///< CSV header of Setting::series, e.g. "blur_px"
    std::string noiseColumn;  ///< CSV header of Setting::noise, e.g. "noise_grey"
    std::vector<Row> rows;    ///< metric-major, then settings in the order given

    /// The row of a metric and setting; throws std::out_of_range when there is none.
    const Row& at(const std::string& tool, const std::string& quantity, double series, double noise) const;
};

/// Size and scope of a run. Empty lists take the study's own settings.
struct StudyOptions {
    int placements = 500;
    std::vector<double> series;
    std::vector<double> noises;
};

/// Measures placement(index, settings, recorder) for every placement in parallel and
/// summarises the merged errors. The placement function must draw everything from
/// placementSeed(studyTag, index) so that the result does not depend on threading.
using PlacementFn = std::function<void(int index, const std::vector<Setting>& settings, Recorder& recorder)>;

StudyResult runStudy(const std::string& name, const std::string& seriesColumn, const std::string& noiseColumn,
                     const std::vector<Metric>& metrics, const std::vector<Setting>& settings, int placements,
                     const PlacementFn& placement);

/// Every combination of series and noise level, series-major.
std::vector<Setting> gridOf(const std::vector<double>& series, const std::vector<double>& noises);

/// The given list, or the fallback when it is empty.
std::vector<double> orDefault(const std::vector<double>& given, const std::vector<double>& fallback);

/// Seed of one placement of one study (a well-mixed 64-bit value, never 0).
uint64_t placementSeed(uint64_t studyTag, int index);

void writeCsv(const StudyResult& result, const std::string& path);

/// Signed difference of two angles in degrees folded into [-period/2, period/2): 180 for
/// line directions, 360 for oriented angles.
double angleDifference(double measured, double truth, double period);

} // namespace accuracy
