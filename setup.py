"""Has CMake build the native module of the wheel, and puts the libraries beside it."""
import re
import shutil
import subprocess
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

TREE = Path(__file__).resolve().parent
VERSION = re.search(r"project\(pxflowbook VERSION ([0-9.]+)", (TREE / "CMakeLists.txt").read_text())[1]
MODULES = f"pxplatform-{VERSION}"


class BuildByCMake(build_ext):
    def build_extension(self, ext):
        build = Path(self.build_temp).resolve()
        target = Path(self.get_ext_fullpath(ext.name)).parent
        subprocess.run(["cmake", "-S", TREE, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DPXFLOWBOOK_TESTS=OFF",
                        "-DPXFLOWBOOK_PYTHON=ON"], check=True)
        subprocess.run(["cmake", "--build", build, "--parallel", "2", "--target", "flowbook_python"],
                       check=True)
        target.mkdir(parents=True, exist_ok=True)
        for name in self.files_of(build):
            shutil.copy(name, target / name.name)
        shutil.copytree(build / "lib" / MODULES, target / MODULES, dirs_exist_ok=True)
        # The names that the loader asks for; wheels know no links.
        for name in ("libpxflowbook", "libpxplatform"):
            (target / f"{name}.so.{VERSION}").rename(target / f"{name}.so.{VERSION.split('.')[0]}")

    def files_of(self, build):
        yield from (build / "python/flowbook").glob("_native*.so")
        yield from (build / "lib" / f"{name}.so.{VERSION}" for name in ("libpxflowbook", "libpxplatform"))


setup(version=VERSION, ext_modules=[Extension("flowbook._native", [])], cmdclass={"build_ext": BuildByCMake})
