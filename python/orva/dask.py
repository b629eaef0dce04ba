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
        import dask
        tasks = [dask.delayed(run_file, pure=False)(file, **arguments) for file in files]
        return list(dask.compute(*tasks, scheduler="threads"))
    futures = client.map(run_file, files, pure=False, **arguments)
    return client.gather(futures)
