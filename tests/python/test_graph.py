import os
import subprocess

import numpy as np
import pytest

import orva

FIRST_ZONES = [[170, 250, 32, 108], [29, 131, 46, 134]]


def test_a_graph_file_runs_and_its_outputs_are_reachable(examples, capfd):
    graph = orva.Graph.load(os.path.join(examples, "zones.json"))
    assert graph.nodes == ["read", "byte", "label", "zones", "save"]
    assert graph.run() == {}  # its last node saves and has no outputs
    assert capfd.readouterr().out.startswith("# one zone per row")
    labels, zones = graph["label:0"], graph["zones:0"]
    assert labels.dtype == np.uint8 and labels.shape == (384, 512) and labels.max() == 10
    np.testing.assert_array_equal(zones[:2], FIRST_ZONES)
    with pytest.raises(ValueError, match="names no node"):
        graph["nowhere:0"]


def test_settings_apply_to_later_runs(examples):
    graph = orva.Graph.load(os.path.join(examples, "zones.json"))
    result = graph.run(set={"byte.out_type": "IMAGE_GREY_F"}, outputs=["byte:0"])
    assert result["byte:0"].dtype == np.float32
    assert graph.run(outputs=["byte:0"])["byte:0"].dtype == np.float32
    with pytest.raises(ValueError, match="not one of"):
        graph.run(set={"byte.out_type": "IMAGE_GREY_9"})
    # the refused setting left the graph as it was
    assert graph.to_dict()["nodes"][1]["parameters"]["out_type"] == "IMAGE_GREY_F"


def build(examples):
    graph = orva.Graph()
    graph.add("read", "ReadASCII", filename=os.path.join(examples, "images", "coconut.txt"))
    graph.add("byte", "ConvertType", out_type="IMAGE_GREY_8")
    graph.connect("read:0", "byte", 0)
    graph.add("ring", "RingBuffer", size=4, inputs=["byte:0"])
    return graph


def test_node_objects_keep_their_state_across_runs_and_changes(examples):
    graph = build(examples)
    assert graph.run(repeat=2)["ring:0"].__len__() == 2
    graph.add("label", "Labeling", inputs={0: "byte:0"})
    result = graph.run(outputs=["ring:0", "label:0"])
    assert len(result["ring:0"]) == 3 and result["label:0"].max() == 10


@pytest.mark.parametrize("change, text", [
    (lambda g: g.connect("nowhere:0", "byte", 0), "not an earlier node"),
    (lambda g: g.connect("read:0", "nowhere", 0), "has no node"),
    (lambda g: g.add("byte", "CopyImage"), "two nodes have the id"),
    (lambda g: g.add("x", "NoSuchNode"), "unknown node"),
    (lambda g: g.set({"read.nosuchkey": 1}), "nosuchkey"),
    (lambda g: g.set({"readfilename": 1}), "malformed"),
])
def test_wrong_changes_are_refused_and_undone(examples, change, text):
    graph = build(examples)
    before = graph.to_dict()
    with pytest.raises(ValueError, match=text):
        change(graph)
    assert graph.to_dict() == before
    assert len(graph.run()["ring:0"]) == 1


def test_a_failing_node_names_itself(examples):
    graph = build(examples)
    graph.set({"read.filename": "/nonexistent/file.txt"})
    with pytest.raises(orva.NodeError) as raised:
        graph.run()
    assert raised.value.node == "read" and "/nonexistent/file.txt" in str(raised.value)


def test_a_saved_graph_runs_with_the_command_line(examples, tmp_path):
    graph = build(examples)
    graph.add("zones", "ZoneList", output_mode="IMAGE", inputs=["byte:0"])
    path = tmp_path / "built.json"
    graph.save(path)
    assert orva.Graph.load(path).to_dict() == graph.to_dict()
    orva_binary = os.path.join(os.environ["ORVADIR"], "bin", "orva")
    if not os.path.exists(orva_binary):
        pytest.skip("the command line is not built here")
    environment = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}
    run = subprocess.run([orva_binary, "run", str(path), "--print", "ring:0"],
                         capture_output=True, text=True, env=environment, check=True)
    assert '"ring:0"' in run.stdout
