"""Line transforms: scikit-image's radon on the phantom that TransformsBench.cpp writes."""
import pathlib

import numpy as np
from skimage.transform import radon

from timing import median_ms

PHANTOM_SIZE = 256


def radon_phantom(data_dir):
    path = pathlib.Path(data_dir) / "radon_phantom.f32"
    image = np.fromfile(path, dtype=np.float32).reshape(PHANTOM_SIZE, PHANTOM_SIZE)
    theta = np.arange(PHANTOM_SIZE) * 180.0 / PHANTOM_SIZE  # 256 angles over the half-turn
    return {"reference": median_ms(lambda: radon(image, theta=theta, circle=False))}


REFERENCES = {"RadonPhantom256": radon_phantom}
