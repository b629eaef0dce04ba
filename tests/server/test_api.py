"""The editor server's JSON API, against a running `orva serve` (see conftest.py)."""
import json
import os
import socket
import struct
import time
import urllib.error
import urllib.request

import pytest

ZONES = {"nodes": [
    {"id": "read", "plugin": "ReadASCII", "parameters": {"filename": "%ORVADIR%/examples/images/coconut.txt"}},
    {"id": "byte", "plugin": "ConvertType", "parameters": {"out_type": "IMAGE_GREY_8"}, "inputs": ["read:0"]},
    {"id": "label", "plugin": "Labeling", "inputs": ["byte:0"]},
    {"id": "zones", "plugin": "ZoneList", "inputs": ["label:0"]},
], "ui": {"nodes": {"read": {"x": 0, "y": 0}}}}


def call(server, path, body=None, headers=None, token=True):
    request = urllib.request.Request(server.base + path, data=None if body is None else body.encode(),
                                     method="GET" if body is None else "POST")
    if token:
        request.add_header("X-Orva-Token", server.token)
    for key, value in (headers or {}).items():
        request.add_header(key, value)
    try:
        with urllib.request.urlopen(request, timeout=30) as response:
            return response.status, response.headers, response.read()
    except urllib.error.HTTPError as error:
        return error.code, error.headers, error.read()


def get_json(server, path):
    status, _, body = call(server, path)
    assert status == 200, body
    return json.loads(body)


def run(server, graph):
    """Runs a graph; the node events and the end event of its stream."""
    status, _, body = call(server, "/api/run", json.dumps({"graph": graph}))
    assert status == 200, body
    run_id = json.loads(body)["run"]
    _, _, stream = call(server, f"/api/run/{run_id}/events")
    events = [json.loads(line[6:]) for line in stream.decode().split("\n") if line.startswith("data: ")]
    return [e for e in events if e["type"] == "node"], events[-1]


def final_states(events):
    return {e["id"]: e["state"] for e in events if e["state"] != "running"}


def outputs(events, node):
    return [e for e in events if e["id"] == node and "outputs" in e][-1]["outputs"]


def with_parameter(graph, node, key, value):
    changed = json.loads(json.dumps(graph))
    for n in changed["nodes"]:
        if n["id"] == node:
            n.setdefault("parameters", {})[key] = value
    return changed


def test_nodes_are_described_from_their_declarations(server):
    modules = get_json(server, "/api/nodes")["modules"]
    assert [m["name"] for m in modules] == ["filters", "utility"]
    assert "filters::Threshold" in {n["address"] for n in modules[0]["nodes"]}
    nodes = {n["address"]: n for n in modules[1]["nodes"]}
    assert all(n["listed"] and not n["deprecated"] for n in nodes.values())
    # the texts are the declarations' own; here, how the server maps their parts
    labeling = nodes["Labeling"]
    assert labeling["help"] == "/doc/utility/PLabeling/index.html"
    assert [(p["pin"], p["kind"], p["optional"]) for p in labeling["inputs"]] == [(0, "image", False)]
    params = {p["key"]: p for p in labeling["parameters"]}
    assert (params["neighbourhood"]["type"], params["neighbourhood"]["value"]) == ("long", 4)
    assert params["in]"]["documentationOnly"] and not params["neighbourhood"]["documentationOnly"]
    assert nodes["Sleep"]["parameters"][1]["enum"] == ["milliseconds", "seconds"]
    assert "ExpandBox" not in nodes
    # a pin of any kind, and pins of other kinds than images
    assert [p["kind"] for p in nodes["AddMetaData"]["inputs"]] == ["value"]
    assert [p["kind"] for p in nodes["TimerStop"]["inputs"]] == ["vector", "image"]


@pytest.mark.parametrize("address, status, listed", [
    ("ExpandBox", 200, False),     # unlisted: known only to graphs that use it
    ("utility::Labeling", 200, True),
    ("Nope", 400, None),
    ("", 400, None),
])
def test_single_node_description(server, address, status, listed):
    code, _, body = call(server, "/api/node?address=" + address)
    assert code == status, body
    if status == 200:
        node = json.loads(body)
        assert (node["listed"], node["deprecated"]) == (listed, not listed)


def test_help_pages_and_the_editor_are_served(server):
    status, headers, body = call(server, "/doc/utility/PLabeling/index.html")
    assert status == 200 and headers["Content-Type"].startswith("text/html")
    assert b"<h1>Labeling</h1>" in body
    for path in ("/doc/../../bin/orva", "/doc/utility/PNope/index.html", "/api/nothing"):
        assert call(server, path)[0] == 404, path


def test_the_opened_graph_is_offered(server):
    answer = get_json(server, "/api/graph")
    assert answer["path"] == "zones.json"
    assert [n["id"] for n in answer["graph"]["nodes"]] == ["read", "byte", "label", "zones", "save"]


def test_run_reports_every_node_with_previews(server):
    events, end = run(server, ZONES)
    assert end == {"type": "end", "state": "done"}
    assert [(e["id"], e["state"]) for e in events] == [
        (n, s) for n in ("read", "byte", "label", "zones") for s in ("running", "done")]
    byte = outputs(events, "byte")[0]
    assert byte["image"] == {"type": "IMAGE_GREY_8", "size": [512, 384, 1], "min": 0.0, "max": 236.0,
                             "mean": byte["image"]["mean"], "nonfinite": 0}
    assert byte["preview"] == f"/api/preview/byte/0?v={byte['version']}"
    zones = outputs(events, "zones")[0]
    labels = int(outputs(events, "label")[0]["image"]["max"])
    assert zones["kind"] == "vector" and [z["label"] for z in zones["json"]] == list(range(1, labels + 1))


def test_previews_are_served_as_png_thumbnails(server):
    # what the picture holds is checked where the previews are made; here, that they are served
    run(server, ZONES)
    status, headers, body = call(server, "/api/preview/byte/0?max=128")
    assert status == 200 and body[:8] == b"\x89PNG\r\n\x1a\n"
    assert struct.unpack(">II", body[16:24]) == (128, 96)
    assert 0 <= get_json(server, "/api/pixel/byte/0?x=3&y=5")["value"] <= 236


def test_only_what_a_change_touches_runs_again(server):
    run(server, ZONES)
    changed = with_parameter(ZONES, "label", "neighbourhood", 8)
    events, end = run(server, changed)
    assert end["state"] == "done"
    assert final_states(events) == {"read": "cached", "byte": "cached", "label": "done", "zones": "done"}
    # a cached node still reports its outputs, under the version they were made with
    assert outputs(events, "byte")[0]["kind"] == "image"
    assert set(final_states(run(server, changed)[0]).values()) == {"cached"}
    # moving nodes about changes nothing that runs
    changed["ui"] = {"nodes": {"read": {"x": 300, "y": 40}}}
    assert set(final_states(run(server, changed)[0]).values()) == {"cached"}


def test_a_failing_node_stops_the_run_there(server):
    broken = json.loads(json.dumps(ZONES))
    del broken["nodes"][2]["inputs"]
    events, end = run(server, broken)
    assert end["state"] == "error"
    assert final_states(events) == {"read": "cached", "byte": "cached", "label": "error", "zones": "skipped"}
    message = [e for e in events if e["state"] == "error"][0]["message"]
    assert "input image is NULL" in message
    # mended, the failed node and those after it run again
    events, end = run(server, ZONES)
    assert final_states(events) == {"read": "cached", "byte": "cached", "label": "done", "zones": "done"}


def test_graphs_that_cannot_run_are_refused(server):
    # the checks and their messages are the command line's, tested there
    graph = {"nodes": [{"id": "a", "plugin": "Sleep", "inputs": ["b:0"]}]}
    status, _, body = call(server, "/api/run", json.dumps({"graph": graph}))
    assert status == 400 and "names 'b', which is not an earlier node" in json.loads(body)["error"]


def test_nodes_that_keep_state_run_every_time(server):
    graph = json.load(open(os.path.join(server.root, "static-image.json")))
    events, _ = run(server, graph)
    assert outputs(events, "before")[0]["image"]["size"] == [0, 0, 0]  # nothing stored yet
    for _ in range(2):
        events, _ = run(server, graph)
        assert final_states(events) == {"before": "done", "info": "done", "read": "cached", "keep": "done"}
        assert outputs(events, "before")[0]["image"]["size"] == [512, 384, 1]


def test_a_run_stops_between_nodes_when_cancelled_or_replaced(server):
    slow = {"nodes": [ZONES["nodes"][0]] + [
        {"id": f"s{i}", "plugin": "Sleep", "parameters": {"time": 300 + i}, "inputs": ["s%d:0" % (i - 1) if i else "read:0"]}
        for i in range(4)]}
    status, _, body = call(server, "/api/run", json.dumps({"graph": slow}))
    first = json.loads(body)["run"]
    time.sleep(0.1)
    assert call(server, f"/api/run/{first}/cancel", "{}")[0] == 200
    _, _, stream = call(server, f"/api/run/{first}/events")
    assert stream.decode().rstrip().endswith('{"type": "end", "state": "cancelled"}')
    state = get_json(server, f"/api/run/{first}")
    assert state["state"] == "cancelled" and "s1" not in state["nodes"]

    # a new run replaces the one running
    status, _, body = call(server, "/api/run", json.dumps({"graph": slow}))
    second = json.loads(body)["run"]
    time.sleep(0.1)
    events, end = run(server, with_parameter(slow, "s3", "time", 1))
    assert get_json(server, f"/api/run/{second}")["state"] == "cancelled"
    assert end["state"] == "done" and final_states(events)["s3"] == "done"
    assert call(server, "/api/run/999999")[0] == 404


@pytest.mark.parametrize("headers, token, status", [
    # each check wired in once; their cases are tested on the checks themselves
    ({}, True, 200),
    ({}, False, 403),
    ({"Cookie": "a=b; orva_token=TOKEN; c=d"}, False, 200),
    ({"Host": "evil.example:PORT"}, True, 403),          # a rebound name
    ({"Origin": "http://evil.example"}, True, 403),
])
def test_requests_need_the_token_and_this_host(server, headers, token, status):
    port = server.host.rsplit(":", 1)[1]
    filled = {k: v.replace("TOKEN", server.token).replace("PORT", port) for k, v in headers.items()}
    assert call(server, "/api/graph", headers=filled, token=token)[0] == status


def test_the_first_visit_sets_the_cookie(server):
    status, headers, body = call(server, "/?token=" + server.token, token=False)
    assert status == 200 and b"<html" in body.lower()
    assert headers["Set-Cookie"] == f"orva_token={server.token}; HttpOnly; SameSite=Strict; Path=/"
    assert call(server, "/?token=wrong", token=False)[0] == 403


def test_request_bodies_are_limited(server):
    host, port = server.host.rsplit(":", 1)
    with socket.create_connection((host, int(port)), timeout=10) as s:
        s.sendall((f"POST /api/run HTTP/1.1\r\nHost: {server.host}\r\nX-Orva-Token: {server.token}\r\n"
                   "Content-Type: application/json\r\nContent-Length: 1000000000\r\n\r\n{").encode())
        assert s.recv(100).split(b"\r\n")[0] == b"HTTP/1.1 413 Payload Too Large"


@pytest.mark.parametrize("path", ["/api/files?dir=..", "/api/load?path=out/secret.json"])
def test_files_stay_below_the_root(server, path):
    outside = os.path.join(os.path.dirname(server.root), os.path.basename(server.root) + "-outside")
    os.makedirs(outside, exist_ok=True)
    open(os.path.join(outside, "secret.json"), "w").write("{}")
    link = os.path.join(server.root, "out")
    if not os.path.islink(link):
        os.symlink(outside, link)
    assert call(server, path)[0] == 403
    assert "out" not in [e["name"] for e in get_json(server, "/api/files?dir=")["entries"]]


@pytest.mark.parametrize("path, status", [("../escape.json", 403), ("", 400)])
def test_saves_stay_below_the_root(server, path, status):
    code, _, _ = call(server, "/api/save", json.dumps({"path": path, "graph": ZONES}))
    assert code == status
    assert not os.path.exists(os.path.join(os.path.dirname(server.root), "escape.json"))


def test_save_and_load_round_trip(server):
    graph = with_parameter(ZONES, "label", "scale", 2.0)
    status, _, body = call(server, "/api/save", json.dumps({"path": "sub/graph.json", "graph": graph}))
    assert status == 200 and json.loads(body) == {"path": "sub/graph.json"}
    text = open(os.path.join(server.root, "sub", "graph.json")).read()
    assert '"scale": 2.0' in text    # a double stays a double
    assert get_json(server, "/api/load?path=sub/graph.json") == {"graph": graph, "path": "sub/graph.json"}
    listing = get_json(server, "/api/files?dir=sub")
    assert listing == {"dir": "sub", "entries": [{"name": "graph.json", "dir": False, "size": float(len(text))}]}
    root = get_json(server, "/api/files?dir=")
    assert root["dir"] == "" and {"name": "sub", "dir": True, "size": 0.0} in root["entries"]


def test_relative_paths_are_read_from_the_root(server):
    with open(os.path.join(server.root, "small.txt"), "w") as f:
        f.write("1 2 3\n4 5 6\n")
    events, end = run(server, {"nodes": [{"id": "small", "plugin": "ReadASCII", "parameters": {"filename": "small.txt"}}]})
    assert end["state"] == "done", events
    image = outputs(events, "small")[0]["image"]
    assert (image["size"], image["min"], image["max"]) == ([3, 2, 1], 1.0, 6.0)
