#pragma once

/// \file
/// Capture and stage point mapping (\ref capture_mapping).

#include "FunctionsDef.h"

#include <QPointF>

/** \defgroup capture_mapping Capture and stage point mapping
 *
 * Mapping of a point between an imaging step and a handling step, for the two orders of
 * the steps. Both are compositions of the coordinate transformer's point operations:
 * rotations are about a point, clockwise on screen for positive angles (y down), in
 * degrees, and every point is handled in single precision (converted to float on entry,
 * back to double on return).
 * @{
 */

/// The part is picked before it is imaged. Its turn is a = (angleA - angleB, brought once
/// into [-180, 180]) + angleOffset, and b = extraAngle; mirrored negates both. With rotate,
/// firstRef is turned about point by -a and secondRef by -(a + b); the result is
/// point + secondRef - firstRef with the (turned) references. Without rotate the angles
/// play no part: point + secondRef - firstRef.
FUNCTIONS_EXPORT QPointF grabBeforePhoto(QPointF point, float angleA, float angleB, bool mirrored, bool rotate,
                                         QPointF firstRef, QPointF secondRef, float extraAngle, float angleOffset);

/// The part is imaged before it is picked. P = point + (offsetX, offsetY); the result is
/// secondRef + Rot(phi) (P - firstRef), with phi = 0 without rotate, -angle with rotate and
/// mirrored false, +angle with rotate and mirrored true (a mirrored setup keeps the sign).
FUNCTIONS_EXPORT QPointF photoBeforeGrab(QPointF point, bool mirrored, bool rotate, QPointF firstRef,
                                         QPointF secondRef, float angle, float offsetX, float offsetY);

/// @}
