"""Timing shared by the Python references."""
import time


def median_ms(function, repetitions=5):
    """Median wall-clock time of `function` in milliseconds, after one warm-up call."""
    function()
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        function()
        times.append((time.perf_counter() - start) * 1e3)
    times.sort()
    return times[len(times) // 2]
