"""References written in Python (numpy, pandas, scikit-image), timed on the inputs the C++
workloads left in the data directory. Prints 'WORKLOAD SIDE MILLISECONDS' lines."""
import re
import sys
import time


def median_ms(function, repetitions=5):
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        function()
        times.append((time.perf_counter() - start) * 1e3)
    times.sort()
    return times[len(times) // 2]


# Each entry: workload name -> function(data_directory) returning {side: milliseconds}.
REFERENCES = {}


def main():
    data, pattern = sys.argv[1], re.compile(sys.argv[2] if len(sys.argv) > 2 else ".")
    for workload, measure in REFERENCES.items():
        if pattern.search(workload):
            for side, ms in measure(data).items():
                print(f"{workload} {side} {ms:.3f}")


if __name__ == "__main__":
    main()
