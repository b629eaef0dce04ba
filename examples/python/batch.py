#!/usr/bin/env python3
"""Counts the regions of many images on a Dask cluster.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/batch.py [FILE ...]

Without files it makes a few variants of the coconut image. Here the cluster is a LocalCluster
of two worker processes on this machine; on a cluster of machines, start `dask scheduler` on
one and `dask worker tcp://SCHEDULER:8786` on each of the others (each with the package
importable and ORVADIR set), and make the client with Client("tcp://SCHEDULER:8786") instead:
nothing else changes.
"""
import os
import sys
import tempfile

import numpy as np
from distributed import Client, LocalCluster

import orva
import orva.dask


def sample_files(directory):
    # The coconut image and shifted copies of it, as ASCII images.
    coconut = orva.Node("ReadASCII", filename="%ORVADIR%/examples/images/coconut.txt")()
    files = []
    for shift in range(0, 120, 20):
        path = os.path.join(directory, f"coconut_{shift:03d}.txt")
        np.savetxt(path, np.roll(coconut, shift, axis=1), fmt="%d")
        files.append(path)
    files.append(os.path.join(directory, "missing.txt"))  # one that fails, on purpose
    return files


def main():
    graph = orva.Graph()
    graph.add("read", "ReadASCII", filename="")
    graph.add("byte", "ConvertType", out_type="IMAGE_GREY_8", inputs=["read:0"])
    graph.add("label", "Labeling", neighbourhood=8, inputs=["byte:0"])
    graph.add("zones", "ZoneList", output_mode="IMAGE", inputs=["label:0"])

    with tempfile.TemporaryDirectory() as directory:
        files = sys.argv[1:] or sample_files(directory)
        # One thread per worker process: nodes release the GIL, but processes share nothing.
        with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
                Client(cluster) as client:
            results = orva.dask.map_graph(graph, files, key="read.filename",
                                          outputs=["zones:0"], client=client)
    for result in results:
        name = os.path.basename(result.file)
        if result.error:
            print(f"{name}: failed: {result.error}")
        else:
            print(f"{name}: {len(result.outputs['zones:0'])} regions")


if __name__ == "__main__":
    main()
