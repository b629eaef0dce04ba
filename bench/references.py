"""References written in Python (numpy, pandas, scikit-image), timed on the inputs that the C++
workloads left in the data directory. Every module of bench/refs/ contributes a REFERENCES
dictionary: workload name -> function(data directory) returning {side: milliseconds}.
Prints 'WORKLOAD SIDE MILLISECONDS' lines."""
import importlib.util
import pathlib
import re
import sys


def load_references():
    references = {}
    directory = pathlib.Path(__file__).parent / "refs"
    sys.path.insert(0, str(directory))  # for the shared helpers of refs/timing.py
    for path in sorted(directory.glob("*.py")):
        found = importlib.util.spec_from_file_location(path.stem, path)
        module = importlib.util.module_from_spec(found)
        found.loader.exec_module(module)
        references.update(getattr(module, "REFERENCES", {}))
    return references


def main():
    data, pattern = sys.argv[1], re.compile(sys.argv[2] if len(sys.argv) > 2 else ".")
    for workload, measure in load_references().items():
        if pattern.search(workload):
            for side, ms in measure(data).items():
                print(f"{workload} {side} {ms:.3f}")


if __name__ == "__main__":
    main()
