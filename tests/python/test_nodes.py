import threading
import time

import numpy as np
import pytest

import orva


def test_nodes_and_their_documents():
    names = orva.nodes()
    assert "Labeling" in names and len(names) == len(set(names))
    document = orva.describe("Labeling")
    assert document["name"] == "Labeling"
    assert "neighbourhood" in document["parameters"]
    doc = orva.Labeling.__doc__
    assert doc.startswith("Labeling (module utility")
    assert orva.Node("Labeling").__doc__ == doc


@pytest.mark.parametrize("name, settings, text", [
    ("Labeling", {"neighbourhood": "8"}, "takes a long"),
    ("Labeling", {"neighbour": 8}, "neighbour"),
    ("Labeling", {"neighbourhood": 2**40}, "32-bit"),
    ("Labelling", {}, "did you mean Labeling"),
])
def test_names_and_settings_are_checked(name, settings, text):
    with pytest.raises(ValueError, match=text):
        orva.Node(name, **settings)


def test_lenient_settings_pass_with_a_warning(capfd):
    orva.Node("Labeling", lenient=True, neighbour=8)
    assert "neighbour" in capfd.readouterr().err


def test_node_errors_carry_location_and_message():
    node = orva.Node("CopyImage", id="copy")
    with pytest.raises(orva.NodeError) as raised:
        node()
    error = raised.value
    assert (error.node, error.plugin) == ("copy", "CopyImage")
    assert error.message == "input image is NULL" and error.location
    assert str(error).startswith("node 'copy' (CopyImage): ")
    with pytest.raises(ValueError, match="pin"):
        node(inputs={-1: np.ones((1, 1), np.uint8)})
    # the node still works afterwards
    assert node(np.ones((1, 1), np.uint8))[0, 0] == 1


def test_state_lives_across_calls():
    ring = orva.Node("RingBuffer", size=2)
    assert ring.shares_state
    means = [ring(np.full((1, 2), value, np.float32))[1][0, 0] for value in (2, 4, 8)]
    assert means == [2, 3, 6]
    values, mean = ring(inputs={0: np.zeros((1, 2), np.float32)})
    assert [v[0, 0] for v in values] == [8, 0] and mean[0, 0] == 4


def test_the_gil_is_released_while_a_node_runs():
    nodes = [orva.Node("Sleep", time=200) for _ in range(2)]
    assert not nodes[0].shares_state
    assert run_together([lambda node=node: node(0) for node in nodes]) < 0.35


def run_together(nodes):
    threads = [threading.Thread(target=node) for node in nodes]
    start = time.monotonic()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return time.monotonic() - start


def test_nodes_that_keep_state_wait_for_each_other():
    # Two objects, but a node that keeps state may keep it for the whole process.
    nodes = [orva.Node("Script", command="sleep 0.2") for _ in range(2)]
    assert nodes[0].shares_state
    assert run_together(nodes) >= 0.4


def test_inputs_by_position_and_by_pin():
    first = np.array([[0, 255], [0, 255]], np.uint8)
    node = orva.Node("MutualInformation", bin_count=2)
    value, joint = node(first, first)
    assert value == 1.0
    assert node(inputs={0: first, 1: first})[0] == 1.0
    assert joint.shape == (2, 2) and joint.sum() == 4
