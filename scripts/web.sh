#!/usr/bin/env bash
# Builds the WebAssembly module and serves the sketcher on http://127.0.0.1:PORT/ (8080).
#   scripts/web.sh [--port N] [--for SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
export NODE_PATH=/usr/share/nodejs
emcmake cmake -S wasm -B build/wasm >/dev/null
cmake --build build/wasm -j2
exec node web/serve.mjs "$@"
