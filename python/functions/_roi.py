"""ROI shapes for the measurement tools, as the command-line tool's parameters files give them.

Coordinates are pixels with x to the right, y down and the origin at the top-left pixel's
centre; angles are degrees. ``to_dict()`` gives the ROI object of a parameters file.
"""

from __future__ import annotations

import dataclasses
from typing import ClassVar, Tuple

Point = Tuple[float, float]


@dataclasses.dataclass(frozen=True)
class ROI:
    """Base of the ROI shapes; ``kind`` is the ``"type"`` of the parameters file."""

    kind: ClassVar[str] = ""

    def to_dict(self) -> dict:
        # Field by field from the instance's own dict: dataclasses.fields() would cost more
        # than the rest of a tool call's preparation.
        return {"type": self.kind, **{k: list(v) if isinstance(v, tuple) else v for k, v in vars(self).items()}}

    @staticmethod
    def from_dict(roi: dict) -> "ROI":
        """The ROI object of a parameters file (or of ``Result.roi``) as a shape."""
        fields = dict(roi)
        kind = fields.pop("type", None)
        for shape in (RectROI, RotateRectROI, LineROI, RingROI, ArcROI):
            if shape.kind == kind:
                return shape(**{k: tuple(v) if isinstance(v, list) else v for k, v in fields.items()})
        raise ValueError(f"unknown ROI type {kind!r} (rect, rotated_rect, line, ring or arc)")


@dataclasses.dataclass(frozen=True)
class RectROI(ROI):
    """Upright rectangle: top-left corner (x, y), width and height. Whole pixels x .. x + width - 1."""

    x: float
    y: float
    width: float
    height: float
    kind: ClassVar[str] = "rect"


@dataclasses.dataclass(frozen=True)
class RotateRectROI(ROI):
    """Rotated rectangle: centre (x, y), angle in degrees (positive turns its own x axis
    towards +y, clockwise on screen), width along its own x axis, height along its y axis."""

    centre: Point
    angle: float
    width: float
    height: float
    kind: ClassVar[str] = "rotated_rect"


@dataclasses.dataclass(frozen=True)
class LineROI(ROI):
    """Line segment from start (x, y) to end (x, y)."""

    start: Point
    end: Point
    kind: ClassVar[str] = "line"


@dataclasses.dataclass(frozen=True)
class RingROI(ROI):
    """Annulus around centre (x, y) between radius1 and radius2 (either order), pixels."""

    centre: Point
    radius1: float
    radius2: float
    kind: ClassVar[str] = "ring"


@dataclasses.dataclass(frozen=True)
class ArcROI(ROI):
    """Annular sector around centre between radius1 and radius2, from angle1 to angle2
    (degrees, counter-clockwise with y up)."""

    centre: Point
    radius1: float
    radius2: float
    angle1: float
    angle2: float
    kind: ClassVar[str] = "arc"
