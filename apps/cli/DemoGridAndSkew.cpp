// Demo steps: the fiducial grid's matches visited as a serpentine, and the skewed line of
// print measured, levelled and cropped to its character rows.

#include "Demo.h"

#include "Synthetic.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <random>

namespace demo {
namespace {

cv::Mat zoomed(const cv::Mat& picture, int factor)
{
    cv::Mat out;
    cv::resize(picture, out, picture.size() * factor, 0, 0, cv::INTER_NEAREST);
    return out;
}

// ---------------------------------------------------------------------------------
// Grid of matches
// ---------------------------------------------------------------------------------

void runGridOrder(Context& context)
{
    const SceneTruth& truth = context.truth();
    const int columns = truth.fiducialColumns;

    // The host's matcher would report each fiducial with a whole-pixel centre, its angle
    // and a score, in no useful order. The opaque fourth field carries the fiducial's
    // index so the order can be checked afterwards.
    std::vector<_MatchingResult> matches;
    cv::RNG scores(3);
    for (size_t i = 0; i < truth.fiducials.size(); ++i) {
        _MatchingResult m;
        m.x = cvRound(truth.fiducials[i].x);
        m.y = cvRound(truth.fiducials[i].y);
        m.angle = static_cast<float>(truth.fiducialAngle);
        m.reserved = static_cast<int>(i);
        m.score = static_cast<float>(scores.uniform(0.85, 1.0));
        matches.push_back(m);
    }
    std::shuffle(matches.begin(), matches.end(), std::mt19937(17));

    // The scene turns the grid clockwise on screen; the sort's angle counts the other way.
    sortMatchingResult(matches, SortSnakeRowsYAscendXAscend, static_cast<float>(-truth.fiducialAngle), -1);

    // Expected visit: first row left to right, next right to left, and so on.
    int inPlace = 0;
    for (size_t k = 0; k < matches.size(); ++k) {
        const int row = static_cast<int>(k) / columns, step = static_cast<int>(k) % columns;
        const int expected = row * columns + (row % 2 == 0 ? step : columns - 1 - step);
        inPlace += matches[k].reserved == expected ? 1 : 0;
    }
    context.report("sortMatchingResult", "records in serpentine place", static_cast<double>(matches.size()),
                   inPlace, 0);

    std::vector<cv::Point> path;
    for (const _MatchingResult& m : matches)
        path.emplace_back(m.x, m.y);
    cv::polylines(context.overview(), path, false, kFoundColour, 1, cv::LINE_AA);

    const cv::Rect crop = (cv::boundingRect(path) + cv::Size(120, 120) - cv::Point(60, 60)) &
                          cv::Rect(0, 0, context.image().cols, context.image().rows);
    const int factor = 2;
    cv::Mat picture = zoomed(context.annotationCanvas()(crop), factor);
    const auto toPicture = [&](cv::Point p) { return (p - crop.tl()) * factor; };
    for (size_t k = 0; k + 1 < path.size(); ++k)
        cv::arrowedLine(picture, toPicture(path[k]), toPicture(path[k + 1]), kFoundColour, 2, cv::LINE_AA, 0, 0.08);
    for (size_t k = 0; k < path.size(); ++k) {
        cv::circle(picture, toPicture(path[k]), static_cast<int>(truth.fiducialRadius * factor), kRoiColour, 1,
                   cv::LINE_AA);
        cv::putText(picture, std::to_string(k + 1), toPicture(path[k]) + cv::Point(18, -18), cv::FONT_HERSHEY_SIMPLEX,
                    0.8, kTruthColour, 2, cv::LINE_AA);
    }
    context.savePicture("grid_order", picture);
}

const StepRegistration gridRegistration(70, "matching results order", &runGridOrder);

// ---------------------------------------------------------------------------------
// Skewed print
// ---------------------------------------------------------------------------------

// Rows of a grey picture of light print on a dark ground that hold ink, measured
// independently of the library: the row-wise maximum against the mid grey.
int inkHeight(const cv::Mat& grey, double midGrey)
{
    cv::Mat rowMax;
    cv::reduce(grey, rowMax, 1, cv::REDUCE_MAX);
    std::vector<int> inked;
    for (int y = 0; y < rowMax.rows; ++y)
        if (rowMax.at<uchar>(y) > midGrey)
            inked.push_back(y);
    return inked.empty() ? 0 : inked.back() - inked.front() + 1;
}

void drawLineThrough(cv::Mat& picture, cv::Point2d centre, double angleDeg, const cv::Scalar& colour)
{
    const double t = angleDeg * 3.141592653589793 / 180.0, half = picture.cols;
    const cv::Point2d d(std::cos(t) * half, std::sin(t) * half);
    cv::line(picture, centre - d, centre + d, colour, 1, cv::LINE_AA);
}

void runSkew(Context& context)
{
    const SceneTruth& truth = context.truth();
    const cv::Size cropSize(400, 120);
    const cv::Rect crop(cv::Point(cvRound(truth.textCentre.x - cropSize.width * 0.5),
                                  cvRound(truth.textCentre.y - cropSize.height * 0.5)),
                        cropSize);
    cv::Mat print = context.image()(crop).clone();

    // The estimate is positive when the edges descend to the right on screen, the sense in
    // which the scene turns its text, so it compares with textAngle directly; the
    // correction turns counter-clockwise by the same amount.
    const double skew = clcHorizontalSkew(print);
    context.report("clcHorizontalSkew", "skew of the print (deg)", truth.textAngle, skew, 0.5);

    cv::Mat levelled;
    skewCorrectionRot(print, levelled, skew, cv::Scalar(truth.background)); // no edge at the canvas border
    context.report("clcHorizontalSkew", "skew after correction (deg)", 0.0, clcHorizontalSkew(levelled), 0.5);

    // Character rows: the level print made binary, against the same text rendered level.
    const double midGrey = (truth.background + 230) * 0.5;
    cv::Mat ink;
    cv::threshold(levelled, ink, midGrey, 255, cv::THRESH_BINARY);
    int top = 0, bottom = 0;
    const bool cut = cutCharacterTopBottom(ink, top, bottom);
    synthetic::Scene level(cropSize, truth.background);
    level.drawText(truth.text, {cropSize.width * 0.5, cropSize.height * 0.5}, truth.textHeight, 0.0, 230);
    context.report("cutCharacterTopBottom", "character rows (px)", inkHeight(level.toGrey(), midGrey),
                   bottom - top + 1, 2.0, cut);

    cv::rectangle(context.overview(), crop, kRoiColour, 1);

    const int factor = 2;
    cv::Mat before;
    cv::cvtColor(print, before, cv::COLOR_GRAY2BGR);
    before = zoomed(before, factor);
    const cv::Point2d middle(before.cols * 0.5, before.rows * 0.5);
    drawLineThrough(before, middle, truth.textAngle, kTruthColour);
    drawLineThrough(before, middle, skew, kFoundColour);
    context.savePicture("skew_before", before);

    cv::Mat after;
    cv::cvtColor(levelled, after, cv::COLOR_GRAY2BGR);
    after = zoomed(after, factor);
    if (cut) {
        for (int row : {top, bottom + 1})
            cv::line(after, {0, row * factor}, {after.cols, row * factor}, kFoundColour, 1);
    }
    context.savePicture("skew_after", after);
}

const StepRegistration skewRegistration(80, "skew and character rows", &runSkew);

} // namespace
} // namespace demo
