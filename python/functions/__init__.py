"""Machine-vision measurement tools of the Functions library on numpy images.

Images are numpy uint8 arrays: (rows, columns) grey, or (rows, columns, 3) colour in RGB
order (the library converts colour with RGB -> grey weights; arrays from imageio or PIL
are RGB, arrays from cv2 are BGR and need ``image[..., ::-1]``). Arrays are used in place
when each row's pixels are contiguous (crops included); others are copied. Coordinates
are pixels, x to the right, y down, origin at the top-left pixel's centre; angles are
degrees.

Every tool of the command-line tool is a function here with the same settings, defaults
and ranges, e.g. ``functions.line(image, functions.RotateRectROI((171, 223), 10, 70, 160),
transition="DarkToLight")``, returning a ``Result``. Bad settings or ROIs raise
ValueError; arrays of the wrong dtype TypeError, of the wrong shape ValueError. Library
calls release the GIL, so threads measure in parallel.
"""

from ._functions import *  # noqa: F401,F403  (the compiled bindings)
from ._functions import __version__, _tool_table
from ._generated import *  # noqa: F401,F403  (tool functions and enumerations)
from ._roi import ROI, ArcROI, LineROI, RectROI, RingROI, RotateRectROI  # noqa: F401


def tools() -> list:
    """Every tool as a dict: name, summary, accepted ROI kinds ("roi") and settings
    ("params": name, type, default, help, allowed, choices, minimum, maximum)."""
    return _tool_table()
