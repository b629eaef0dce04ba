"""The scaling table: a few nodes and their OpenCV references at 1k x 1k to 16k x 16k pixels,
each size in a process of its own (orva_scaling), with time per megapixel and peak memory
against the bytes of input and output.

Usage: scaling.py BUILD_DIR   (SCALING_SIDES="1024 2048" and SCALING_WORKLOADS="Hough"
narrow it down)"""
import os
import subprocess
import sys

WORKLOADS = ["Labeling", "Normalize", "Histogram", "Hough", "ReadImagePng"]
SIDES = [1024, 2048, 4096, 8192, 16384]
# Timed runs after two untimed ones; fewer as they grow: the large sizes take seconds and
# gigabytes each.
REPEATS = {1024: 7, 2048: 5, 4096: 3, 8192: 1, 16384: 1}


def measure(driver, workload, side, who):
    repeats = REPEATS.get(side, 1)
    out = subprocess.run([driver, workload, str(side), who, str(repeats)], check=True,
                         capture_output=True, text=True).stdout.split()
    ms, peak, data = float(out[0]), int(out[1]), int(out[2])
    return {"ms": ms, "ms_mp": ms / (side * side / 1e6), "memory": peak / data}


def main():
    build = sys.argv[1]
    driver = os.path.join(build, "bench", "orva_scaling")
    os.environ.setdefault("ORVADIR", build)
    os.environ.setdefault("ORVA_BENCH_DATA", os.path.join(build, "bench", "data"))
    os.makedirs(os.environ["ORVA_BENCH_DATA"], exist_ok=True)
    sides = [int(s) for s in os.environ.get("SCALING_SIDES", " ".join(map(str, SIDES))).split()]
    workloads = os.environ.get("SCALING_WORKLOADS", " ".join(WORKLOADS)).split()

    print()
    print("SCALING: ms, ms per megapixel, peak memory / (input + output bytes); one thread")
    header = f"{'workload':<13}{'side':>6}{'ours_ms':>11}{'ms/MP':>8}{'mem':>6}" \
             f"{'ref_ms':>11}{'ms/MP':>8}{'mem':>6}{'ratio':>7}"
    print(header)
    summary = []
    for workload in workloads:
        rows = {}
        for side in sides:
            ours = measure(driver, workload, side, "ours")
            ref = measure(driver, workload, side, "reference")
            rows[side] = (ours, ref)
            print(f"{workload:<13}{side:>6}{ours['ms']:>11.2f}{ours['ms_mp']:>8.2f}"
                  f"{ours['memory']:>6.2f}{ref['ms']:>11.2f}{ref['ms_mp']:>8.2f}"
                  f"{ref['memory']:>6.2f}{ours['ms'] / ref['ms']:>7.2f}", flush=True)
        first, last = rows[sides[0]], rows[sides[-1]]
        summary.append(
            f"{workload:<13}per-pixel time {sides[-1]}^2 / {sides[0]}^2: "
            f"ours {last[0]['ms_mp'] / first[0]['ms_mp']:.2f}, "
            f"reference {last[1]['ms_mp'] / first[1]['ms_mp']:.2f}; "
            f"peak memory / data at most: ours {max(r[0]['memory'] for r in rows.values()):.2f}, "
            f"reference {max(r[1]['memory'] for r in rows.values()):.2f}")
    print()
    print("\n".join(summary))
    if "Hough" in workloads:
        print("(Hough's angles and distances grow with the side: its work per pixel does too.)")


if __name__ == "__main__":
    main()
