# Builds the extension qsolver._qsolver with CMake (python/CMakeLists.txt) for the interpreter
# that runs pip. QSOLVER_BUILD_DIR names a CMake build tree to reuse (default build/python).
import os
import shutil
import subprocess
import sys
import sysconfig
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build_dir = Path(os.environ.get("QSOLVER_BUILD_DIR") or ROOT / "build" / "python")
        # A venv's interpreter resolves to the one it was made from: the same headers and ABI,
        # and a build tree that outlives the venv.
        python = os.path.realpath(sys.executable)
        configure = ["cmake", "-S", str(ROOT), "-B", str(build_dir),
                     f"-DPython_EXECUTABLE={python}", "-DQSOLVER_BUILD_PYTHON=ON"]
        if not (build_dir / "CMakeCache.txt").exists():
            configure += ["-DCMAKE_BUILD_TYPE=Release", "-DQSOLVER_BUILD_TESTS=OFF"]
        subprocess.check_call(configure)
        jobs = os.environ.get("QSOLVER_JOBS", "2")
        subprocess.check_call(["cmake", "--build", str(build_dir), "--target", "_qsolver",
                               "-j", jobs])
        built = build_dir / "python" / "qsolver" / ("_qsolver" + sysconfig.get_config_var("EXT_SUFFIX"))
        if not built.exists():
            sys.exit(f"setup.py: CMake did not build {built} (is pybind11-dev installed?)")
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built, target)


setup(ext_modules=[CMakeExtension("qsolver._qsolver")], cmdclass={"build_ext": CMakeBuild})
