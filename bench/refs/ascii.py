"""References of the ASCII matrix workloads: pandas and numpy reading the 2048 x 2048 "%.8g"
matrix that bench/AsciiBench.cpp writes, and numpy writing it."""
import os

import numpy
import pandas
from timing import median_ms


def read_ascii(data):
    path = os.path.join(data, "ascii_matrix.txt")
    return {
        "reference": median_ms(
            lambda: pandas.read_csv(path, sep=" ", header=None, engine="c", dtype=numpy.float32)),
        "loadtxt": median_ms(lambda: numpy.loadtxt(path, dtype=numpy.float32), repetitions=3),
    }


def save_ascii(data):
    matrix = numpy.fromfile(os.path.join(data, "ascii_matrix.f32"), dtype=numpy.float32)
    matrix = matrix.reshape(2048, 2048)
    path = os.path.join(data, "ascii_savetxt.txt")
    return {"reference": median_ms(lambda: numpy.savetxt(path, matrix, fmt="%.8g"))}


REFERENCES = {"ReadASCII": read_ascii, "SaveASCII": save_ascii}
