"""The Python package against what people would use otherwise: the cost of a call (against a
numpy ufunc on one element), labelling the blobs that RegionsBench.cpp writes (against OpenCV
on one thread and scikit-image, and against the node's own time inside the call), and a batch
of small files on a Dask cluster of two worker processes (against `orva run` once per file,
two at a time). Skipped when the package was not built."""
import os
import pathlib
import subprocess
import sys
import time

import numpy as np

from timing import median_ms

SIZE = 4096
ROOT = os.environ.get("ORVADIR", "")
sys.path.insert(0, ROOT)
try:
    import orva
except ImportError:
    orva = None
if orva is not None and not hasattr(orva, "Node"):
    orva = None  # a leftover folder, not the built package


def calls_1x1(data_dir):
    # A thousand calls, so milliseconds read as microseconds per call.
    node = orva.Node("CopyImage")
    pixel = np.zeros((1, 1), np.uint8)

    def thousand(function):
        return median_ms(lambda: [function(pixel) for _ in range(1000)], repetitions=21)

    ours, reference = thousand(node), thousand(np.negative)
    print(f"python call on a 1 x 1 image: {ours:.2f} us (numpy ufunc: {reference:.2f} us)",
          file=sys.stderr)
    return {"ours": ours, "reference": reference}


def labeling_8(data_dir):
    import cv2
    from skimage.measure import label

    path = pathlib.Path(data_dir) / "blobs.u8"
    if not path.exists():
        return {}
    blobs = np.fromfile(path, dtype=np.uint8).reshape(SIZE, SIZE)
    node = orva.Node("Labeling", neighbourhood=8)
    before = (node.seconds, node.runs)
    ours = median_ms(lambda: node(blobs))
    inside = (node.seconds - before[0]) / (node.runs - before[1]) * 1e3  # mean, warm-up included
    cv2.setNumThreads(1)
    reference = median_ms(lambda: cv2.connectedComponents(blobs, connectivity=8, ltype=cv2.CV_32S))
    return {"ours": ours, "reference": reference, "node": inside, "vs_node": ours / inside,
            "skimage": median_ms(lambda: label(blobs, connectivity=2), repetitions=3)}


FILES = 200


def batch_files(directory):
    rng = np.random.default_rng(7)
    files = []
    for index in range(FILES):
        path = directory / f"small_{index:03d}.txt"
        if not path.exists():
            image = (rng.random((64, 64)) > 0.7).astype(np.uint8) * 255
            np.savetxt(path, image, fmt="%d")
        files.append(str(path))
    return files


def dask_batch(data_dir):
    from distributed import Client, LocalCluster

    import orva.dask

    directory = pathlib.Path(data_dir) / "python_batch"
    directory.mkdir(exist_ok=True)
    files = batch_files(directory)
    graph = orva.Graph()
    graph.add("read", "ReadASCII", filename=files[0])
    graph.add("byte", "ConvertType", out_type="IMAGE_GREY_8", inputs=["read:0"])
    graph.add("label", "Labeling", neighbourhood=8, inputs=["byte:0"])
    graph.add("zones", "ZoneList", output_mode="IMAGE", inputs=["label:0"])
    graph_path = directory / "graph.json"
    graph.save(graph_path)

    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                      dashboard_address=None) as cluster, Client(cluster) as client:
        def batch():
            results = orva.dask.map_graph(graph, files, outputs=["zones:0"], client=client)
            assert all(result.error is None for result in results)
        ours = median_ms(batch, repetitions=3)

    orva_binary = os.path.join(ROOT, "bin", "orva")
    settings = "\n".join(files) + "\n"

    def loop():
        # xargs -P 2: the shell loop of `orva run`, two at a time.
        subprocess.run(["xargs", "-P", "2", "-I", "{}", orva_binary, "run", str(graph_path),
                        "--set", "read.filename={}"], input=settings, text=True, check=True,
                       stdout=subprocess.DEVNULL)
    return {"ours": ours, "reference": median_ms(loop, repetitions=3)}


REFERENCES = {} if orva is None else {
    "PythonCall1x1x1000": calls_1x1,
    "PythonLabeling8": labeling_8,
    "PythonDaskBatch200": dask_batch,
}
