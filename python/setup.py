"""Installs the package orva with pip, built by CMake:

    python3 -m venv --system-site-packages env      # numpy from Debian
    env/bin/pip install --no-build-isolation ./python

The package carries the installation it needs (bin/utility.so, lib/libtarsel.so, examples/)
inside it, and points ORVADIR there unless the environment sets it. ORVA_BUILD_DIR names a
build directory to use (or reuse) instead of a fresh one.
"""
import os
import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parent


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        build = pathlib.Path(os.environ.get("ORVA_BUILD_DIR") or
                             pathlib.Path(self.build_temp).resolve() / "cmake")
        subprocess.run(["cmake", "-S", str(SOURCE), "-B", str(build), "-G", "Ninja", "-Wno-dev",
                        "-DCMAKE_BUILD_TYPE=Release", "-DORVA_TESTS=OFF",
                        f"-DORVA_PYTHON_EXECUTABLE={sys.executable}"], check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "orva_python", "examples"],
                       check=True)
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        target.mkdir(parents=True, exist_ok=True)
        shutil.copy2(next((build / "orva").glob("_orva*.so")), target)
        for part, pattern in (("bin", "utility.so"), ("lib", "libtarsel.so*")):
            (target / part).mkdir(exist_ok=True)
            for path in (build / part).glob(pattern):
                shutil.copy2(path, target / part, follow_symlinks=False)
        shutil.copytree(build / "examples", target / "examples", dirs_exist_ok=True)


setup(
    name="orva",
    version="0.1",
    description="Image-processing nodes on numpy arrays, and graphs of them",
    packages=["orva"],
    package_dir={"orva": "orva"},
    ext_modules=[Extension("orva._orva", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    install_requires=["numpy"],
    extras_require={"dask": ["dask", "distributed"]},
    zip_safe=False,
)
