# `pip install --no-build-isolation .` from the checkout: setuptools hands the build to CMake,
# which builds the module `tavrin` against Debian's pybind11 (python/CMakeLists.txt). Nothing is
# downloaded. TAVRIN_BUILD_DIR names a build tree to reuse (default: build-python/).
import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(Tavrin VERSION ([0-9.]+)",
                    (SOURCE / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(os.environ.get("TAVRIN_BUILD_DIR", SOURCE / "build-python"))
        # The interpreter itself, not a virtual environment's link to it: the environment may
        # be gone when the tree is built again, and the module is the same for both.
        python = os.path.realpath(sys.executable)
        subprocess.run(["cmake", "-S", str(SOURCE), "-B", str(build), "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=Release", f"-DPYTHON_EXECUTABLE={python}"],
                       check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "tavrin_python", "-j",
                        str(os.cpu_count() or 1)], check=True)
        built = next((build / "python").glob("tavrin*.so"))
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built, target)


setup(
    name="tavrin",
    version=VERSION,
    description="Tavrin's embedded host: render composition documents from Python",
    ext_modules=[Extension("tavrin", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
    # setuptools' own scratch folder, apart from the CMake trees (its default is build/).
    options={"build": {"build_base": str(SOURCE / "build-setuptools")}},
)
