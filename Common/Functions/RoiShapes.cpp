#include "RoiShapes.h"

#include <cmath>

// The destructor is the key function: it anchors the vtables and type information of
// the shape classes in this library, so the host's dynamic_casts agree with ours.
ROI::~ROI() = default;

RectROI::RectROI() = default;
RectROI::RectROI(const QRectF& r) : rect(r) {}
ROI* RectROI::clone() const { return new RectROI(*this); }
int RectROI::type() const { return RectROIType; }

LineROI::LineROI() = default;
LineROI::LineROI(double ax, double ay, double bx, double by) : x1(ax), y1(ay), x2(bx), y2(by) {}
ROI* LineROI::clone() const { return new LineROI(*this); }
int LineROI::type() const { return LineROIType; }

CircleROI::CircleROI() = default;
CircleROI::CircleROI(const QRectF& r) : rect(r) {}
ROI* CircleROI::clone() const { return new CircleROI(*this); }
int CircleROI::type() const { return CircleROIType; }

RingROI::RingROI() = default;
RingROI::RingROI(double cx, double cy, float r1, float r2) : centreX(cx), centreY(cy), radius1(r1), radius2(r2) {}
ROI* RingROI::clone() const { return new RingROI(*this); }
int RingROI::type() const { return RingROIType; }

ArcROI::ArcROI() = default;
ArcROI::ArcROI(double cx, double cy, float r1, float r2, float a1, float a2)
    : centreX(cx), centreY(cy), radius1(r1), radius2(r2), angle1(a1), angle2(a2) {}
ROI* ArcROI::clone() const { return new ArcROI(*this); }
int ArcROI::type() const { return ArcROIType; }

RotateRectROI::RotateRectROI() = default;
RotateRectROI::RotateRectROI(double cx, double cy, float a, float w, float h)
    : centreX(cx), centreY(cy), angle(a), width(w), height(h) {}
ROI* RotateRectROI::clone() const { return new RotateRectROI(*this); }
int RotateRectROI::type() const { return RotateRectROIType; }

namespace {

constexpr double kPi = 3.141592653589793;

// Corner offsets rotated in single precision, as both overloads require, then added to
// the double centre. The caller decides whether the sum is narrowed.
template <typename Emit>
void forEachCorner(const RotateRectROI& roi, Emit emit)
{
    const double theta = roi.angle * kPi / 180.0;
    const float c = static_cast<float>(std::cos(theta));
    const float s = static_cast<float>(std::sin(theta));
    const float hw = roi.width * 0.5f;
    const float hh = roi.height * 0.5f;
    const float local[4][2] = {{-hw, -hh}, {hw, -hh}, {hw, hh}, {-hw, hh}};
    for (const auto& offset : local) {
        const float rx = offset[0] * c - offset[1] * s;
        const float ry = offset[0] * s + offset[1] * c;
        emit(roi.centreX + rx, roi.centreY + ry);
    }
}

} // namespace

void getCornerPoints(RotateRectROI* roi, std::vector<cv::Point_<float>>& corners)
{
    if (!roi)
        return;
    corners.clear();
    corners.reserve(4);
    forEachCorner(*roi, [&](double x, double y) {
        corners.emplace_back(static_cast<float>(x), static_cast<float>(y));
    });
}

QPolygonF getCornerPoints(RotateRectROI* roi)
{
    QPolygonF polygon;
    if (!roi)
        return polygon;
    forEachCorner(*roi, [&](double x, double y) { polygon << QPointF(x, y); });
    return polygon;
}

void pointRotation(cv::Point_<double> p, cv::Point_<double> centre, double angle, cv::Point_<double>& result)
{
    const double theta = angle * kPi / 180.0;
    const double c = std::cos(theta);
    const double s = std::sin(theta);
    const double dx = p.x - centre.x;
    const double dy = p.y - centre.y;
    result.x = dx * c - dy * s + centre.x;
    result.y = dx * s + dy * c + centre.y;
}

void transformPoints(std::vector<cv::Point_<double>>& in, std::vector<cv::Point_<double>>& out, ROI* roi)
{
    // The count comes from out by design; an in shorter than that would be read past its
    // end, so such a call is refused rather than trusted.
    const size_t count = out.size();
    if (!roi || count == 0 || in.size() < count)
        return;

    switch (roi->type()) {
    case RectROIType: {
        const auto* rect = dynamic_cast<const RectROI*>(roi);
        if (!rect)
            return;
        const float left = static_cast<float>(rect->rect.left());
        const float top = static_cast<float>(rect->rect.top());
        for (size_t i = 0; i < count; ++i)
            out[i] = cv::Point_<double>(in[i].x + left, in[i].y + top);
        return;
    }
    case CircleROIType:
    case RingROIType: {
        double cx = 0, cy = 0;
        if (const auto* circle = dynamic_cast<const CircleROI*>(roi)) {
            const QPointF c = circle->rect.center();
            cx = c.x();
            cy = c.y();
        } else if (const auto* ring = dynamic_cast<const RingROI*>(roi)) {
            cx = ring->centreX;
            cy = ring->centreY;
        } else {
            return;
        }
        for (size_t i = 0; i < count; ++i) {
            const double r = in[i].x;
            const double a = in[i].y;
            out[i] = cv::Point_<double>(r * std::cos(a) + cx, r * std::sin(a) + cy);
        }
        return;
    }
    case RotateRectROIType: {
        const auto* rr = dynamic_cast<const RotateRectROI*>(roi);
        if (!rr)
            return;
        const float hw = rr->width * 0.5f;
        const float hh = rr->height * 0.5f;
        const cv::Point_<double> origin(0.0, 0.0);
        for (size_t i = 0; i < count; ++i) {
            cv::Point_<double> rotated;
            pointRotation(cv::Point_<double>(in[i].x - hw, in[i].y - hh), origin, rr->angle, rotated);
            out[i] = cv::Point_<double>(rotated.x + rr->centreX, rotated.y + rr->centreY);
        }
        return;
    }
    default:
        return;
    }
}
