"""Graphs of nodes, in the format `orva run` reads."""

import copy

from . import _orva


class Graph:
    """Nodes in the order they run, each fed by outputs of earlier ones.

        g = orva.Graph.load("examples/zones.json")
        g.run(set={"read.filename": path})     # {"ID:PIN": value} of the graph's last nodes
        g["label:0"]                           # any output after a run

        g = orva.Graph()
        g.add("read", "ReadASCII", filename=path)
        g.add("conv", "ConvertType", out_type="IMAGE_GREY_8")
        g.connect("read:0", "conv", 0)
        g.save("mine.json")                    # runs with `orva run mine.json`

    Node objects live as long as the graph: repeated runs behave as `orva run --repeat`, and a
    change keeps the objects (and state) of the nodes whose id and plugin stay. Every change is
    checked at once; a change that fails is undone.
    """

    def __init__(self, document=None, lenient=False):
        self._lenient = lenient
        self._graph = None
        self._ready = False
        self._document = {"nodes": []}
        if document is not None:
            self._change(lambda: copy.deepcopy(dict(document)))

    @classmethod
    def load(cls, path, lenient=False):
        """Reads and checks a graph file and makes its nodes."""
        graph = cls(lenient=lenient)
        graph._graph = _orva.Graph.load(str(path), lenient)
        graph._document = graph._graph.to_dict()
        return graph

    def _change(self, change):
        before = self._document
        self._document = change()
        try:
            self._graph = _orva.Graph.from_dict(self._document, self._lenient, self._graph)
            self._document = self._graph.to_dict()  # as the file format writes it
        except BaseException:
            self._document, self._graph = before, None
            raise
        finally:
            self._ready = False

    def _entry(self, id):
        for entry in self._document["nodes"]:
            if entry["id"] == id:
                return entry
        raise ValueError(f"the graph has no node '{id}'")

    def add(self, id, plugin, inputs=None, **parameters):
        """Appends node `id` of `plugin` with its settings; `inputs` as in the file format
        (["ID:PIN", ...] or {pin: "ID:PIN"})."""
        def change():
            document = copy.deepcopy(self._document)
            entry = {"id": id, "plugin": plugin}
            if parameters:
                entry["parameters"] = dict(parameters)
            if inputs is not None:
                entry["inputs"] = ({str(pin): source for pin, source in inputs.items()}
                                   if isinstance(inputs, dict) else list(inputs))
            document["nodes"].append(entry)
            return document
        self._change(change)
        return self

    def connect(self, source, target, pin=0):
        """Feeds output `source` ("ID:PIN") to input `pin` of node `target`."""
        def change():
            document = copy.deepcopy(self._document)
            for entry in document["nodes"]:
                if entry["id"] == target:
                    inputs = entry.get("inputs", {})
                    if isinstance(inputs, list):
                        inputs = {str(i): s for i, s in enumerate(inputs) if s is not None}
                    inputs[str(pin)] = source
                    entry["inputs"] = inputs
                    return document
            raise ValueError(f"the graph has no node '{target}'")
        self._change(change)
        return self

    def set(self, settings):
        """Sets parameters: {"ID.KEY": value, ...}."""
        def change():
            document = copy.deepcopy(self._document)
            for reference, value in settings.items():
                id, dot, key = reference.partition(".")
                if not dot or not key:
                    raise ValueError(f"malformed setting '{reference}': expected ID.KEY")
                for entry in document["nodes"]:
                    if entry["id"] == id:
                        entry.setdefault("parameters", {})[key] = value
                        break
                else:
                    raise ValueError(f"setting '{reference}' names no node of the graph")
            return document
        self._change(change)
        return self

    def run(self, set=None, repeat=1, outputs=None):
        """Runs every node once in order, `repeat` times, after the settings `set`
        ({"ID.KEY": value}) are laid over the graph's. Returns {"ID:PIN": value} for `outputs`,
        by default the outputs of the nodes that feed no other."""
        if set:
            self.set(set)
        if self._graph is None:
            self._change(lambda: self._document)
        if not self._ready:
            self._graph.initialise()
            self._ready = True
        for _ in range(repeat):
            self._graph.run()
        return {reference: self[reference]
                for reference in (outputs if outputs is not None else self._graph.ends())}

    def __getitem__(self, reference):
        """The value on output "ID:PIN" (None before a run sets it)."""
        if self._graph is None:
            raise ValueError("the graph has not run")
        return self._graph.output(reference)

    @property
    def nodes(self):
        """The ids, in running order."""
        return [entry["id"] for entry in self._document["nodes"]]

    def to_dict(self):
        """The graph in the file format."""
        return copy.deepcopy(self._document)

    def save(self, path):
        """Writes the graph in the file format."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(_orva.to_text(self._document))
            file.write("\n")

    def __repr__(self):
        return f"orva.Graph({', '.join(self.nodes)})"
