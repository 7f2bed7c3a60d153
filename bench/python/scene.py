"""A 1280 x 1024 grey image with a straight dark-to-light edge, for the Python benchmarks."""

import math

import numpy as np

WIDTH, HEIGHT = 1280, 1024


def edge_image(shift=0.0, seed=0):
    """Dark left of a line through (400 + shift, 512) turned 10 degrees from vertical,
    light right of it, blurred by about a pixel, with noise of 2 grey levels."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    angle = math.radians(10)
    distance = (x - 400 - shift) * math.cos(angle) + (y - 512) * math.sin(angle)
    image = 40 + 160 / (1 + np.exp(-np.clip(distance, -30, 30) / 0.6))
    image += np.random.default_rng(seed).normal(0, 2, image.shape)
    return np.clip(np.round(image), 0, 255).astype(np.uint8)


# The edge crosses this ROI's width; calipers run along its height (as the demo's line).
LINE_PARAMETERS = {
    "roi": {"type": "rotated_rect", "centre": [400.0, 512.0], "angle": 10, "width": 70, "height": 160},
    "transition": "DarkToLight",
}
