"""The scaling table: a few nodes and their OpenCV references at 1k x 1k to 16k x 16k pixels,
each size in a process of its own (orva_scaling), with time per megapixel and peak memory
against the bytes of input and output. Each process first runs its side once at 64 x 64, so
that code and tables every run needs once are not counted as the memory of the work.

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
    """None when the run failed (its message goes to standard error)."""
    repeats = REPEATS.get(side, 1)
    done = subprocess.run([driver, workload, str(side), who, str(repeats)],
                          capture_output=True, text=True)
    if done.returncode != 0:
        sys.stderr.write(f"{workload} {side} {who}: failed: {done.stderr}")
        return None
    ms, peak, data = done.stdout.split()
    ms = float(ms)
    return {"ms": ms, "ms_mp": ms / (side * side / 1e6), "memory": int(peak) / int(data)}


def cells(result):
    if result is None:
        return f"{'-':>11}{'-':>8}{'-':>6}"
    return f"{result['ms']:>11.2f}{result['ms_mp']:>8.2f}{result['memory']:>6.2f}"


def main():
    build = sys.argv[1]
    driver = os.path.join(build, "bench", "orva_scaling")
    os.environ.setdefault("ORVADIR", build)
    os.environ.setdefault("ORVA_BENCH_DATA", os.path.join(build, "bench", "data"))
    os.makedirs(os.environ["ORVA_BENCH_DATA"], exist_ok=True)
    sides = [int(s) for s in os.environ.get("SCALING_SIDES", " ".join(map(str, SIDES))).split()]
    workloads = os.environ.get("SCALING_WORKLOADS", " ".join(WORKLOADS)).split()

    print()
    print("SCALING: ms, ms per megapixel, peak memory / (input + output bytes) after a 64 x 64 "
          "warm-up run; one thread")
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
            ratio = f"{ours['ms'] / ref['ms']:>7.2f}" if ours and ref else f"{'-':>7}"
            print(f"{workload:<13}{side:>6}{cells(ours)}{cells(ref)}{ratio}", flush=True)

        def growth(i):
            first, last = rows[sides[0]][i], rows[sides[-1]][i]
            return f"{last['ms_mp'] / first['ms_mp']:.2f}" if first and last else "-"

        def memory(i):
            measured = [r[i]["memory"] for r in rows.values() if r[i]]
            return f"{max(measured):.2f}" if measured else "-"

        summary.append(
            f"{workload:<13}per-pixel time {sides[-1]}^2 / {sides[0]}^2: ours {growth(0)}, "
            f"reference {growth(1)}; peak memory / data at most: ours {memory(0)}, "
            f"reference {memory(1)}")
    print()
    print("\n".join(summary))
    if "Hough" in workloads:
        print("(Hough's angles and distances grow with the side: its work per pixel does too.)")


if __name__ == "__main__":
    main()
