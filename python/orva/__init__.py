"""orva: image-processing nodes on numpy arrays, and graphs of them.

    >>> import orva
    >>> label = orva.Node("Labeling", neighbourhood=8)
    >>> regions = label(image)            # image: a 2-D numpy array

Nodes
    orva.nodes() lists the nodes of a module, orva.describe(name) gives a node's setup document
    as a dict, and every node is reachable as orva.<Name> (a factory with the node's help as its
    docstring). A Node keeps its state between calls, as repeated runs of `orva run` do.

Values
    Images are numpy arrays: GREY_8 uint8, GREY_16 uint16, GREY_32 uint32, GREY_64 uint64,
    GREY_F float32, GREY_D float64, each (y, x) or (z, y, x); RGB_8I (y, x, 3) uint8,
    RGB_FI (y, x, 3) float32, RGB_8 (3, y, x) uint8 (colour with a z axis before y);
    BINARY_FG and BINARY_BG uint8. Results are orva.Image arrays, which carry the pixel type
    and the image's attributes. Maps are dicts, vectors lists, scalars Python scalars.

    Arrays are borrowed for the call and used in place when they are C-contiguous, aligned and
    in native byte order (nodes never write their inputs); other arrays are copied once.
    Results share the node's pixels: no copy either way.

Threads
    The GIL is released while a node runs. A node object runs one call at a time; nodes that
    keep state between runs (their declaration says so, or they declare nothing) run one at a
    time in the whole process, since their state may be shared by every object.

Errors
    A node that fails raises orva.NodeError; wrong names, settings and values raise ValueError
    or TypeError before anything runs.
"""

import os as _os

# The installation the nodes come from: ORVADIR when set, else the tree this package lies in
# (an installed package carries bin/ and lib/ inside it, the build tree beside it).
_here = _os.path.dirname(_os.path.abspath(__file__))
if not _os.environ.get("ORVADIR"):
    for _root in (_here, _os.path.dirname(_here)):
        if _os.path.exists(_os.path.join(_root, "bin", "utility.so")):
            _os.environ["ORVADIR"] = _root
            break

import numpy as _np  # noqa: E402

from . import _orva  # noqa: E402

__all__ = ["Node", "Graph", "Image", "NodeError", "nodes", "describe", "as_type", "pixel_types"]


class NodeError(RuntimeError):
    """A node failed while it ran: `node` (its id), `plugin`, and its exception's `location` and
    `message`."""

    def __init__(self, text, node, plugin, location, message):
        super().__init__(text)
        self.node = node
        self.plugin = plugin
        self.location = location
        self.message = message


class Image(_np.ndarray):
    """A numpy array holding an image: `pixel_type` ("IMAGE_GREY_8", ...) and `attributes`
    (a dict) come with the pixels.

    Passed to a node, the pixel type is used when it fits the array's dtype and shape (so
    IMAGE_BINARY_FG and planar IMAGE_RGB_8 survive a round trip), and the attributes go along.
    Arrays made from an Image keep both only while dtype and shape stay the same.
    """

    pixel_type = None
    attributes = {}

    def __array_finalize__(self, source):
        if source is None or not isinstance(source, Image):
            return
        if source.shape == self.shape and source.dtype == self.dtype:
            self.pixel_type = source.pixel_type
            self.attributes = dict(source.attributes)

    def __reduce__(self):
        constructor, arguments, state = super().__reduce__()
        return constructor, arguments, (state, self.pixel_type, self.attributes)

    def __setstate__(self, state):
        array_state, self.pixel_type, self.attributes = state
        super().__setstate__(array_state)


_orva._set_classes(Image, NodeError)


def nodes(module="utility"):
    """The names of the nodes of `module` (a module of the installation, or a path without
    .so), in the module's order."""
    return _orva.nodes(module)


def describe(name):
    """The setup document of the node `name` ("Labeling", "MODULE::Name") as a dict."""
    return _orva.describe(name)


def pixel_types():
    """The names of the pixel types ("IMAGE_GREY_8", ...)."""
    return _orva.pixel_types()


def as_type(array, pixel_type):
    """`array` (no copy) as an orva.Image of `pixel_type`, for types its dtype and shape alone
    do not say: "IMAGE_BINARY_FG" on uint8, "IMAGE_RGB_8" on (3, y, x) uint8, a 3-D grey image
    of width 3."""
    array = _np.asarray(array)
    if pixel_type not in _orva.pixel_types():
        raise ValueError(f"unknown pixel type {pixel_type!r}; one of {', '.join(pixel_types())}")
    if not _orva.fits(array, pixel_type):
        raise ValueError(f"an array of dtype {array.dtype} and shape {array.shape} cannot be "
                         f"an image of type {pixel_type}")
    image = array.view(Image)
    image.pixel_type = pixel_type
    image.attributes = dict(getattr(array, "attributes", {}))
    return image


class _HelpText:
    # The class's own doc on the class, the node's page on an instance, made when asked for.
    def __get__(self, instance, owner):
        return owner._doc if instance is None else _orva.help_text(instance.name)


class Node:
    """A node of a module, made once and run on every call.

    Node(name, id=None, lenient=False, **settings): `name` is "Name" (module utility) or
    "MODULE::Name"; settings are checked against the node's declaration as the command line
    checks them (unknown keys, kinds, allowed values, ranges); `lenient=True` passes what the
    declaration does not allow after a warning. Call the node with its inputs by position, or
    `inputs={pin: value}`; it returns its output (or a tuple of its outputs). An output a call
    leaves unset keeps the value of the call before.
    """

    def __init__(self, name, id=None, lenient=False, **settings):
        self._node = _orva.Node(name, id or name.rsplit("::", 1)[-1], lenient, settings)

    def __call__(self, *positional, inputs=None):
        return self._node(positional, dict(inputs or {}))

    _doc = __doc__
    __doc__ = _HelpText()

    name = property(lambda self: self._node.name, doc="The node's address.")
    id = property(lambda self: self._node.id, doc="The node's id (instance name).")
    outputs = property(lambda self: self._node.outputs, doc="Output pins, in result order.")
    settings = property(lambda self: self._node.settings, doc="The settings given.")
    runs = property(lambda self: self._node.runs, doc="Calls that ran to the end.")
    seconds = property(lambda self: self._node.seconds, doc="Time spent running, in seconds.")
    shares_state = property(lambda self: self._node.shares_state,
                            doc="Whether the node runs alone (it keeps state between runs).")

    def __repr__(self):
        settings = "".join(f", {k}={v!r}" for k, v in self.settings.items())
        return f"orva.Node({self.name!r}{settings})"


def _factory(name):
    def make(id=None, lenient=False, **settings):
        return Node(name, id=id, lenient=lenient, **settings)

    make.__name__ = make.__qualname__ = name.rsplit("::", 1)[-1]
    make.__doc__ = _orva.help_text(name)
    return make


def __getattr__(name):
    # orva.Labeling(...) makes the node; help(orva.Labeling) shows its page.
    if not name.startswith("_") and name in _orva.nodes("utility"):
        factory = _factory(name)
        globals()[name] = factory
        return factory
    raise AttributeError(f"module 'orva' has no attribute {name!r}")


def __dir__():
    return sorted(set(globals()) | set(_orva.nodes("utility")))


from .graph import Graph  # noqa: E402
