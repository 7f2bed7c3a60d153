"""Measures the plate's left edge in the demo scene (functions-cli demo writes scene.png).

    python3 examples/python/measure.py demo-out/scene.png
"""

import sys

import functions

image = functions.load_image(sys.argv[1])  # grey (rows, columns) uint8; colour would be RGB
roi = functions.RotateRectROI(centre=(171.0, 223.4), angle=10, width=70, height=160)
result = functions.line(image, roi, transition="DarkToLight", noiseDistance=1.0)

if not result.success:
    sys.exit(f"no line found: {result.diagnostics.get('failure', '')}")
vx, vy, x0, y0 = result.line
print(f"line through ({x0:.3f}, {y0:.3f}) px, direction ({vx:.5f}, {vy:.5f}), angle {result.angle:.3f} deg")
print(f"from {result.start} to {result.end}, {len(result.edgePoints)} edge points")
quality = result.quality
if quality:
    print(f"angle 95 % interval {quality['angle']['ci95']} deg, rms residual {quality['rmsResidual']} px")
