"""Circle transforms and projection: scikit-image's hough_circle and numpy's sum on the inputs
that ShapeBench.cpp writes."""
import pathlib

import numpy as np
from skimage.transform import hough_circle

from timing import median_ms

CIRCLE_SIZE = 512
PROJECTION_SIZE = 4096


def hough_circle_512(data_dir):
    path = pathlib.Path(data_dir) / "hough_circle_edges.u8"
    edges = np.fromfile(path, dtype=np.uint8).reshape(CIRCLE_SIZE, CIRCLE_SIZE)
    radii = np.arange(20, 41)
    return {"reference": median_ms(lambda: hough_circle(edges, radii))}


def projection_sum_y(data_dir):
    path = pathlib.Path(data_dir) / "projection.f32"
    image = np.fromfile(path, dtype=np.float32).reshape(PROJECTION_SIZE, PROJECTION_SIZE)
    return {"reference": median_ms(lambda: image.sum(axis=0))}


REFERENCES = {"HoughCircle512": hough_circle_512, "ProjectionSumY4096": projection_sum_y}
