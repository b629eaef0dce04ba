"""Starts `orva serve` for the API tests: a fresh server on a free port, serving a temporary
copy of the examples."""
import os
import shutil
import subprocess
import tempfile
import urllib.parse

import pytest

ORVA = os.environ.get("ORVA_BIN")


class Server:
    def __init__(self, root, graph=None):
        args = [ORVA, "serve", "--port", "0", "--root", root] + ([graph] if graph else [])
        self.process = subprocess.Popen(args, stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().strip()
        parts = urllib.parse.urlsplit(self.url)
        self.base = f"{parts.scheme}://{parts.netloc}"
        self.host = parts.netloc
        self.token = urllib.parse.parse_qs(parts.query)["token"][0]
        self.root = root

    def stop(self):
        self.process.terminate()
        self.process.wait(timeout=10)


@pytest.fixture(scope="module")
def server():
    if not ORVA:
        pytest.skip("ORVA_BIN names no orva")
    root = tempfile.mkdtemp(prefix="orva-serve-test-")
    examples = os.path.join(os.path.dirname(os.path.dirname(ORVA)), "examples")
    for name in os.listdir(examples):
        if name.endswith(".json"):
            shutil.copy(os.path.join(examples, name), root)
    running = Server(root, os.path.join(root, "zones.json"))
    yield running
    running.stop()
    shutil.rmtree(root, ignore_errors=True)
