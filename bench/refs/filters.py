"""scikit-image's regionprops and threshold_otsu against the filters kernels: timed on the inputs
that FiltersBench.cpp writes, and compared with the results it writes beside them (a difference
stops the bench)."""
import pathlib

import numpy as np
from skimage.filters import threshold_otsu
from skimage.measure import regionprops_table

from timing import median_ms

SIZE = 4096
PROPERTIES = ("label", "area", "centroid", "bbox", "perimeter", "equivalent_diameter",
              "orientation", "eccentricity", "mean_intensity", "min_intensity", "max_intensity")


def region_props_blobs(data_dir):
    directory = pathlib.Path(data_dir)
    labels = np.fromfile(directory / "filters_labels.i32", dtype=np.int32).reshape(SIZE, SIZE)
    intensity = np.fromfile(directory / "filters_intensity.f32", dtype=np.float32).reshape(SIZE, SIZE)
    run = lambda: regionprops_table(labels, intensity, properties=PROPERTIES)
    table = run()
    ours = np.loadtxt(directory / "filters_regions.txt", ndmin=2)
    theirs = np.column_stack([table[k] for k in (
        "label", "area", "centroid-0", "centroid-1", "bbox-0", "bbox-1", "bbox-2", "bbox-3",
        "perimeter", "equivalent_diameter", "orientation", "eccentricity", "mean_intensity",
        "min_intensity", "max_intensity")])
    if ours.shape != theirs.shape:
        raise SystemExit(f"RegionPropsBlobs: {ours.shape[0]} regions against {theirs.shape[0]}")
    # Integers exactly, measures to 1e-9 relative (scikit-image sums in floating point), the
    # mean intensity to 1e-6.
    difference = np.abs(ours - theirs) / np.maximum(1.0, np.abs(theirs))
    # Orientations are axes, equal modulo pi. Where our exact moments leave the axis open (no
    # covariance: +-pi/2; equal variances: +-pi/4), scikit-image's floating-point moments pick a
    # side by their rounding, so a half or quarter turn is accepted there.
    turn = np.abs(ours[:, 10] - theirs[:, 10])
    folded = np.minimum(turn, np.abs(turn - np.pi))
    open_axis = np.isin(np.abs(ours[:, 10]), (np.pi / 4, np.pi / 2))
    difference[:, 10] = np.where(open_axis, np.minimum(folded, np.abs(turn - np.pi / 2)), folded)
    # numpy averages the float32 intensities in float32; we sum them in double.
    difference[:, 12] *= 1e-3
    worst = np.unravel_index(np.argmax(difference), difference.shape)
    if difference[worst] > 1e-9:
        raise SystemExit(f"RegionPropsBlobs: column {worst[1]} of region {int(theirs[worst[0], 0])}"
                         f" is {ours[worst]!r}, scikit-image says {theirs[worst]!r}")
    return {"reference": median_ms(run)}


def otsu_float(data_dir):
    directory = pathlib.Path(data_dir)
    image = np.fromfile(directory / "filters_noise.f32", dtype=np.float32).reshape(SIZE, SIZE)
    theirs = float(threshold_otsu(image))
    ours = float((directory / "filters_otsu.txt").read_text())
    if ours != theirs:
        raise SystemExit(f"ThresholdOtsuFloat: ours {ours!r}, scikit-image {theirs!r}")
    return {"reference": median_ms(lambda: threshold_otsu(image))}


REFERENCES = {
    "RegionPropsBlobs": region_props_blobs,
    "ThresholdOtsuFloat": otsu_float,
}
