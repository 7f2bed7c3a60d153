// functions-accuracy: runs the accuracy studies and writes one CSV per study.
//
//   functions-accuracy [--out DIR] [--placements N] [--threads N] [--study NAME]...
//
// Without --study every study runs. The CSVs go to DIR (default: the current folder).

#include "Studies.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

struct StudyEntry {
    const char* name;
    accuracy::StudyResult (*run)(const accuracy::StudyOptions&);
};

const StudyEntry kStudies[] = {
    {"edge", accuracy::studyEdgePosition},
    {"edge_pairs", accuracy::studyEdgePairs},
    {"line", accuracy::studyLineTool},
    {"circle", accuracy::studyCircleTools},
    {"diameter", accuracy::studyCircleDiameter},
    {"saddle", accuracy::studySaddlePoints},
    {"fit_line", accuracy::studyLineFits},
    {"fit_circle", accuracy::studyCircleFits},
    {"fit_ellipse", accuracy::studyEllipseFits},
};

int usage()
{
    std::fprintf(stderr, "usage: functions-accuracy [--out DIR] [--placements N] [--threads N] [--study NAME]...\n"
                         "studies:");
    for (const StudyEntry& e : kStudies)
        std::fprintf(stderr, " %s", e.name);
    std::fprintf(stderr, "\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    std::string out = ".";
    accuracy::StudyOptions options;
    std::vector<std::string> chosen;
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (!std::strcmp(argv[i], "--out") && hasValue)
            out = argv[++i];
        else if (!std::strcmp(argv[i], "--placements") && hasValue)
            options.placements = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--threads") && hasValue)
            cv::setNumThreads(std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--study") && hasValue)
            chosen.emplace_back(argv[++i]);
        else
            return usage();
    }
    if (options.placements < 1)
        return usage();
    for (const std::string& name : chosen) {
        bool known = false;
        for (const StudyEntry& e : kStudies)
            known = known || name == e.name;
        if (!known)
            return usage();
    }

    std::filesystem::create_directories(out);
    for (const StudyEntry& e : kStudies) {
        if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), e.name) == chosen.end())
            continue;
        const auto start = std::chrono::steady_clock::now();
        const accuracy::StudyResult result = e.run(options);
        const std::string path = out + "/" + result.name + ".csv";
        accuracy::writeCsv(result, path);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf("%-12s %5d placements  %6.1f s  -> %s\n", e.name, options.placements, seconds, path.c_str());
    }
    return 0;
}
