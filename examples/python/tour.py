#!/usr/bin/env python3
"""A typical session, cell by cell: read an image, label it, measure the regions, look at them.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/tour.py

Plots go to coconut-tour.png when matplotlib is installed.
"""
import numpy as np

import orva

# %% What is there, and what a node takes.
print(len(orva.nodes()), "nodes, among them", ", ".join(orva.nodes()[:6]), "...")
print(orva.Labeling.__doc__.split("Parameters:")[1].split("Inputs:")[0])

# %% Read the sample image and make it bytes; results are numpy arrays (orva.Image).
coconut = orva.ReadASCII(filename="%ORVADIR%/examples/images/coconut.txt")()
grey = orva.ConvertType(out_type="IMAGE_GREY_8")(coconut)
print("image:", grey.shape, grey.dtype, grey.pixel_type)

# %% Label the regions, then list their boxes: xmin xmax ymin ymax per region.
labels = orva.Labeling(neighbourhood=8)(grey)
zones = orva.ZoneList(output_mode="IMAGE")(labels)
print(f"{labels.max()} regions; the first boxes:\n{np.asarray(zones[:3], dtype=int)}")

# %% Any numpy code works on the results, and its arrays go back in without a copy.
sizes = np.bincount(labels.ravel())[1:]
print("largest region:", sizes.argmax() + 1, "with", sizes.max(), "pixels")

# %% A node that fails says where and why.
try:
    orva.Labeling()(None)
except orva.NodeError as error:
    print("NodeError from", error.location, "-", error.message)

# %% The same as a graph, saved for `orva run`.
graph = orva.Graph()
graph.add("read", "ReadASCII", filename="%ORVADIR%/examples/images/coconut.txt")
graph.add("byte", "ConvertType", out_type="IMAGE_GREY_8", inputs=["read:0"])
graph.add("label", "Labeling", neighbourhood=8, inputs=["byte:0"])
assert (graph.run()["label:0"] == labels).all()
graph.save("coconut-tour.json")
print("saved coconut-tour.json; run it with: orva run coconut-tour.json --print label:0")

# %% Look at it.
try:
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
except ImportError:
    plt = None
if plt:
    figure, (left, right) = plt.subplots(1, 2, figsize=(10, 4))
    left.imshow(grey, cmap="gray")
    left.set_title("coconut")
    right.imshow(labels, cmap="nipy_spectral")
    for xmin, xmax, ymin, ymax in zones:
        right.add_patch(plt.Rectangle((xmin, ymin), xmax - xmin, ymax - ymin, fill=False,
                                      color="white"))
    right.set_title(f"{labels.max()} regions")
    figure.savefig("coconut-tour.png", dpi=80)
    print("plotted coconut-tour.png")
