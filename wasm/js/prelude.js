// Emscripten's node branch reads __dirname, which an ES module does not have; the module
// carries its .wasm inside, so no path is ever used.
var __dirname = typeof __dirname != "undefined" ? __dirname : "";
