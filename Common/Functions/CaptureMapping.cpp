#include "CaptureMapping.h"

#include "CoordinateUtility.h"
#include "Geometry.h"

namespace {

/// Transformer from a reference pose to a current pose, positions narrowed to float.
CoordinateTransformer poses(QPointF ref, float refAngle, QPointF cur, float curAngle)
{
    CoordinateTransformer t;
    t.refX = static_cast<float>(ref.x());
    t.refY = static_cast<float>(ref.y());
    t.refAngle = refAngle;
    t.curX = static_cast<float>(cur.x());
    t.curY = static_cast<float>(cur.y());
    t.curAngle = curAngle;
    return t;
}

/// transformXY of p under the transformer, in float.
QPointF toReference(QPointF p, CoordinateTransformer t)
{
    float x = static_cast<float>(p.x());
    float y = static_cast<float>(p.y());
    AlgorithmUtility::transformXY(x, y, t);
    return QPointF(x, y);
}

} // namespace

QPointF grabBeforePhoto(QPointF point, float angleA, float angleB, bool mirrored, bool rotate, QPointF firstRef,
                        QPointF secondRef, float extraAngle, float angleOffset)
{
    // The turns go into the transformer's float angles.
    float a = static_cast<float>(getAngleCalculation_180(angleA, angleB, Subtraction) + angleOffset);
    float b = extraAngle;
    if (mirrored) {
        a = -a;
        b = -b;
    }
    if (rotate) {
        firstRef = toReference(firstRef, poses(point, 0, point, a));
        secondRef = toReference(secondRef, poses(point, 0, point, a + b));
    }
    return toReference(point, poses(secondRef, 0, firstRef, 0));
}

QPointF photoBeforeGrab(QPointF point, bool mirrored, bool rotate, QPointF firstRef, QPointF secondRef, float angle,
                        float offsetX, float offsetY)
{
    float x = static_cast<float>(point.x() + offsetX);
    float y = static_cast<float>(point.y() + offsetY);
    const float phi = !rotate ? 0.0f : (mirrored ? angle : -angle);
    CoordinateTransformer t = poses(firstRef, 0, secondRef, phi);
    AlgorithmUtility::transformInvertXY(x, y, t);
    return QPointF(x, y);
}
