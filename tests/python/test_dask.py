import os

import pytest

import orva
import orva.dask

distributed = pytest.importorskip("distributed")


def graph():
    g = orva.Graph()
    g.add("read", "ReadASCII", filename="")
    g.add("byte", "ConvertType", out_type="IMAGE_GREY_8", inputs=["read:0"])
    g.add("label", "Labeling", inputs=["byte:0"])
    return g


def batch(examples):
    # More files than workers, so that tasks take several; the one that fails in the middle.
    coconut = os.path.join(examples, "images", "coconut.txt")
    return [coconut] * 4 + ["missing.txt"] + [coconut] * 4


def check(results, files):
    assert [result.file for result in results] == files
    for result in results[:4] + results[5:]:
        assert result.error is None and result.outputs["label:0"].max() == 10
        assert result.outputs["label:0"].pixel_type == "IMAGE_GREY_8"
    assert results[4].outputs is None and "missing.txt" in results[4].error


def test_a_batch_on_local_threads(examples):
    files = batch(examples)
    check(orva.dask.map_graph(graph(), files), files)


def test_a_batch_on_a_cluster_of_processes(examples):
    files = batch(examples)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            check(orva.dask.map_graph(graph(), files, key="read.filename", client=client), files)
