#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when any is missing.
set -euo pipefail
packages=(g++ cmake make libgtest-dev libgmock-dev nlohmann-json3-dev valgrind
    libeigen3-dev # sparse factorisations: the least-squares drive, Drag, the diagnostics
    python3-ezdxf # the DXF export is read back by another program in the tests
    "$@")
# The WebAssembly module, its node tests and the sketcher's tests in a headless browser.
packages+=(emscripten nodejs chromium)
# A node that brings its own npm needs no Debian npm (the two packages conflict).
command -v npm >/dev/null || packages+=(npm)
# The Python module, its tests and examples (python/, examples/python/).
packages+=(python3-dev python3-venv python3-pip python3-setuptools pybind11-dev python3-pybind11
    python3-numpy python3-pytest python3-matplotlib python3-dask python3-distributed)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq "${missing[@]}"
