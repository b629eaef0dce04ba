"""Runs the editor's browser test against a real `orva serve`.

Usage: serve_and_test.py ORVA [PYTEST ARGS...]. Starts `orva serve --port 0` on a temporary
copy of the example graphs (the test saves a file there), reads the address from its first
line, runs test_editor.py with it and stops the server.
"""
import os
import shutil
import subprocess
import sys
import tempfile

orva, extra = sys.argv[1], sys.argv[2:]
examples = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(orva))), "examples")
root = tempfile.mkdtemp(prefix="orva-editor-")
for name in os.listdir(examples):
    if name.endswith(".json"):
        shutil.copy(os.path.join(examples, name), root)
server = subprocess.Popen([orva, "serve", "--port", "0", "--root", root, os.path.join(root, "zones.json")],
                          stdout=subprocess.PIPE, text=True)
try:
    url = server.stdout.readline().strip()
    if not url.startswith("http://"):
        sys.exit(f"orva serve printed no address (status {server.wait()})")
    env = dict(os.environ, ORVA_SERVE_URL=url)
    test = os.path.join(os.path.dirname(os.path.abspath(__file__)), "test_editor.py")
    status = subprocess.call([sys.executable, "-B", "-m", "pytest", "-p", "no:cacheprovider", "-s", "-q", test] + extra,
                             env=env)
finally:
    server.terminate()
    server.wait(timeout=10)
    shutil.rmtree(root, ignore_errors=True)
sys.exit(status)
