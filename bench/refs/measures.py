"""Region measures: scikit-image's regionprops centroids and peak_local_max and numpy's joint
histogram, on the inputs that MeasuresBench.cpp writes."""
import pathlib

import numpy as np
from skimage.feature import peak_local_max
from skimage.measure import regionprops_table

from timing import median_ms

SIZE = 4096


def balance_point_blobs(data_dir):
    path = pathlib.Path(data_dir) / "blob_labels.f32"
    labels = np.fromfile(path, dtype=np.float32).reshape(SIZE, SIZE).astype(np.int32)
    return {"reference": median_ms(lambda: regionprops_table(labels, properties=("centroid",)))}


def mutual_information(a, b):
    joint, _, _ = np.histogram2d(a, b, bins=256, range=[[0, 255], [0, 255]])
    p = joint / joint.sum()
    independent = np.outer(p.sum(axis=1), p.sum(axis=0))
    nonzero = p > 0
    return np.sum(p[nonzero] * np.log2(p[nonzero] / independent[nonzero]))


def mutual_information_256(data_dir):
    directory = pathlib.Path(data_dir)
    a = np.fromfile(directory / "mi_first.u8", dtype=np.uint8)
    b = np.fromfile(directory / "mi_second.u8", dtype=np.uint8)
    return {"reference": median_ms(lambda: mutual_information(a, b))}


def find_max_radius_1_at_512(data_dir):
    """The maxima above 0 of a 3 x 3 square, up to the image's border, strongest first; of two
    that touch only the stronger stays. The same maxima as FindMax finds on this input, equal
    values perhaps in another order."""
    path = pathlib.Path(data_dir) / "blurred_noise_512.f32"
    image = np.fromfile(path, dtype=np.float32).reshape(512, 512)
    return {"reference": median_ms(
        lambda: peak_local_max(image, min_distance=1, threshold_abs=0.0, exclude_border=False))}


REFERENCES = {
    "BalancePointBlobs": balance_point_blobs,
    "MutualInformation256": mutual_information_256,
    "FindMaxRadius1At512": find_max_radius_1_at_512,
}
