"""Turns the benchmark medians into one line per workload."""
import json
import sys

medians = {}
with open(sys.argv[1]) as f:
    for b in json.load(f)["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        workload, _, side = b["run_name"].rpartition("/")
        unit = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[b["time_unit"]]
        medians.setdefault(workload, {})[side] = b["real_time"] * unit
with open(sys.argv[2]) as f:
    for line in f:
        workload, side, ms = line.split()
        medians.setdefault(workload, {})[side] = float(ms)

for workload, sides in medians.items():
    ours, reference = sides.get("ours"), sides.get("reference")
    if ours is None or reference is None:
        continue
    line = f"{workload}\t{ours:.3f}\t{reference:.3f}\t{ours / reference:.2f}"
    for side in sorted(sides):
        if side not in ("ours", "reference"):
            line += f"\t{side}={sides[side]:.3f}"
    print(line)
