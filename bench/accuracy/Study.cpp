#include "Study.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace accuracy {

Recorder::Recorder(size_t settings, size_t metrics) : metrics_(metrics), cells_(settings * metrics) {}

void Recorder::error(size_t setting, size_t metric, double value)
{
    cells_.at(setting * metrics_ + metric).errors.push_back(value);
}

void Recorder::miss(size_t setting, size_t metric)
{
    ++cells_.at(setting * metrics_ + metric).misses;
}

void Recorder::append(const Recorder& other)
{
    for (size_t i = 0; i < cells_.size(); ++i) {
        cells_[i].errors.insert(cells_[i].errors.end(), other.cells_[i].errors.begin(),
                                other.cells_[i].errors.end());
        cells_[i].misses += other.cells_[i].misses;
        cells_[i].intervals += other.cells_[i].intervals;
        cells_[i].covered += other.cells_[i].covered;
        cells_[i].sigmaSum += other.cells_[i].sigmaSum;
    }
}

void Recorder::interval(size_t setting, size_t metric, double sigma, bool covered)
{
    Cell& cell = cells_.at(setting * metrics_ + metric);
    ++cell.intervals;
    cell.covered += covered;
    cell.sigmaSum += sigma;
}

int Recorder::intervals(size_t setting, size_t metric) const
{
    return cells_.at(setting * metrics_ + metric).intervals;
}

int Recorder::covered(size_t setting, size_t metric) const
{
    return cells_.at(setting * metrics_ + metric).covered;
}

double Recorder::meanSigma(size_t setting, size_t metric) const
{
    const Cell& cell = cells_.at(setting * metrics_ + metric);
    return cell.intervals ? cell.sigmaSum / cell.intervals : std::numeric_limits<double>::quiet_NaN();
}

const std::vector<double>& Recorder::errors(size_t setting, size_t metric) const
{
    return cells_.at(setting * metrics_ + metric).errors;
}

int Recorder::misses(size_t setting, size_t metric) const
{
    return cells_.at(setting * metrics_ + metric).misses;
}

Summary summarise(const std::vector<double>& errors, int misses)
{
    Summary s;
    s.found = static_cast<int>(errors.size());
    s.trials = s.found + misses;
    if (errors.empty()) {
        s.bias = s.rms = s.p95 = s.worst = std::numeric_limits<double>::quiet_NaN();
        return s;
    }
    double sum = 0, squares = 0;
    std::vector<double> magnitudes;
    magnitudes.reserve(errors.size());
    for (double e : errors) {
        sum += e;
        squares += e * e;
        magnitudes.push_back(std::abs(e));
    }
    std::sort(magnitudes.begin(), magnitudes.end());
    s.bias = sum / errors.size();
    s.rms = std::sqrt(squares / errors.size());
    // Nearest-rank percentile: the smallest error that at least 95 % of the errors reach.
    const size_t rank = static_cast<size_t>(std::ceil(0.95 * magnitudes.size()));
    s.p95 = magnitudes[std::max<size_t>(rank, 1) - 1];
    s.worst = magnitudes.back();
    return s;
}

const Row& StudyResult::at(const std::string& tool, const std::string& quantity, double series, double noise) const
{
    for (const Row& row : rows)
        if (row.metric.tool == tool && row.metric.quantity == quantity && row.setting.series == series &&
            row.setting.noise == noise)
            return row;
    throw std::out_of_range(name + ": no row for " + tool + " / " + quantity);
}

StudyResult runStudy(const std::string& name, const std::string& seriesColumn, const std::string& noiseColumn,
                     const std::vector<Metric>& metrics, const std::vector<Setting>& settings, int placements,
                     const PlacementFn& placement)
{
    std::vector<Recorder> perPlacement(static_cast<size_t>(std::max(placements, 0)),
                                       Recorder(settings.size(), metrics.size()));
    cv::parallel_for_(cv::Range(0, static_cast<int>(perPlacement.size())), [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i)
            placement(i, settings, perPlacement[i]);
    });

    // Merged in placement order, so the statistics do not depend on the thread count.
    Recorder all(settings.size(), metrics.size());
    for (const Recorder& r : perPlacement)
        all.append(r);

    StudyResult result{name, seriesColumn, noiseColumn, {}};
    for (size_t m = 0; m < metrics.size(); ++m)
        for (size_t s = 0; s < settings.size(); ++s) {
            Summary summary = summarise(all.errors(s, m), all.misses(s, m));
            summary.intervals = all.intervals(s, m);
            summary.coverage = summary.intervals ? static_cast<double>(all.covered(s, m)) / summary.intervals
                                                 : std::numeric_limits<double>::quiet_NaN();
            summary.meanSigma = all.meanSigma(s, m);
            result.rows.push_back({metrics[m], settings[s], summary});
        }
    return result;
}

std::vector<Setting> gridOf(const std::vector<double>& series, const std::vector<double>& noises)
{
    std::vector<Setting> grid;
    for (double s : series)
        for (double n : noises)
            grid.push_back({s, n});
    return grid;
}

std::vector<double> orDefault(const std::vector<double>& given, const std::vector<double>& fallback)
{
    return given.empty() ? fallback : given;
}

uint64_t placementSeed(uint64_t studyTag, int index)
{
    // splitmix64 finaliser: neighbouring indices give unrelated seeds.
    uint64_t z = studyTag * 0x9E3779B97F4A7C15ull + static_cast<uint64_t>(index) + 1;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    return z == 0 ? 1 : z;
}

void writeCsv(const StudyResult& result, const std::string& path)
{
    std::ofstream out(path);
    if (!out)
        throw std::runtime_error("cannot write " + path);
    out << "tool,quantity,unit," << result.seriesColumn << ',' << result.noiseColumn
        << ",trials,found,bias,rms,p95,worst,intervals,coverage,mean_sigma\n";
    out.precision(6);
    for (const Row& row : result.rows) {
        const Summary& s = row.summary;
        out << row.metric.tool << ',' << row.metric.quantity << ',' << row.metric.unit << ',' << row.setting.series
            << ',' << row.setting.noise << ',' << s.trials << ',' << s.found << ',' << s.bias << ',' << s.rms << ','
            << s.p95 << ',' << s.worst << ',' << s.intervals << ',' << s.coverage << ',' << s.meanSigma << '\n';
    }
}

double angleDifference(double measured, double truth, double period)
{
    double d = std::fmod(measured - truth, period);
    if (d < -period / 2)
        d += period;
    else if (d >= period / 2)
        d -= period;
    return d;
}

} // namespace accuracy
