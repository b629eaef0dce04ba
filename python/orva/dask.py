"""A graph over many files on a Dask cluster.

    from dask.distributed import Client, LocalCluster
    import orva.dask

    client = Client(LocalCluster(n_workers=4, threads_per_worker=1))
    # on a cluster of machines: client = Client("tcp://scheduler:8786")
    results = orva.dask.map_graph("zones.json", files, set={"byte.out_type": "IMAGE_GREY_8"})
    for result in results:
        print(result.file, result.error or result.outputs)

Each worker process keeps one graph (its node objects) per graph document and runs it once per
file, with the file's path set on the node parameter `key`.
"""

import collections
import threading

from . import Graph, NodeError

FileResult = collections.namedtuple("FileResult", "file outputs error")
FileResult.__doc__ = """What a graph gave for one file: `outputs` ({"ID:PIN": value}) or `error`
(the text of the NodeError or ValueError that stopped it, with `outputs` None)."""

_local = threading.local()


def _graph_for(document, lenient):
    key = (repr(document), lenient)
    graphs = getattr(_local, "graphs", None)
    if graphs is None:
        graphs = _local.graphs = {}
    if key not in graphs:
        graphs[key] = Graph(document, lenient=lenient)
    return graphs[key]


def run_file(file, document, parameter, settings=None, outputs=None, lenient=False):
    """Runs the graph `document` on one file; what map_graph runs on the workers."""
    try:
        graph = _graph_for(document, lenient)
        result = graph.run(set={**(settings or {}), parameter: str(file)}, outputs=outputs)
        return FileResult(file, result, None)
    except (NodeError, ValueError, TypeError) as error:
        return FileResult(file, None, str(error))


def run_files(files, document, parameter, settings=None, outputs=None, lenient=False):
    """run_file for each of `files`: one task of map_graph."""
    return [run_file(file, document, parameter, settings, outputs, lenient) for file in files]


def _chunks(files, workers):
    # A few tasks per worker: the scheduler's cost per task is more than a small file's run,
    # and more than one per worker keeps them all busy until the end.
    size = max(1, -(-len(files) // (4 * max(1, workers))))
    return [files[start:start + size] for start in range(0, len(files), size)]


def map_graph(graph, files, key=None, set=None, outputs=None, client=None, lenient=False):
    """Runs `graph` (an orva.Graph, a graph file or its dict) once per file of `files` on the
    Dask cluster of `client` (by default the current client; without one, on local threads),
    and returns one FileResult per file, in order. The file's path goes to the parameter
    `key` ("ID.KEY"; by default "filename" of the first node), `set` to the others; `outputs`
    names the outputs kept ("ID:PIN"; by default those of the graph's last nodes). A file that
    fails gives its error; the others go on."""
    if isinstance(graph, Graph):
        document = graph.to_dict()
    elif isinstance(graph, dict):
        document = Graph(graph, lenient=lenient).to_dict()
    else:
        document = Graph.load(graph, lenient=lenient).to_dict()
    if key is None:
        if not document["nodes"]:
            raise ValueError("the graph has no nodes")
        key = document["nodes"][0]["id"] + ".filename"
    files = list(files)
    # Not `key`: Dask's map takes that for itself.
    arguments = dict(document=document, parameter=key, settings=set, outputs=outputs,
                     lenient=lenient)
    if client is None:
        try:
            from distributed import get_client
            client = get_client()
        except (ImportError, ValueError):
            client = None
    if client is None:
        import os

        import dask
        tasks = [dask.delayed(run_files, pure=False)(chunk, **arguments)
                 for chunk in _chunks(files, os.cpu_count() or 1)]
        chunks = dask.compute(*tasks, scheduler="threads")
    else:
        workers = sum(client.nthreads().values())
        futures = client.map(run_files, _chunks(files, workers), pure=False, **arguments)
        chunks = client.gather(futures)
    return [result for chunk in chunks for result in chunk]
