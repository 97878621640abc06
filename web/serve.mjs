// A static server for the sketcher, on 127.0.0.1 only: the page from web/, the module from the
// wasm build and the sketches from web/examples and examples/.
//   node web/serve.mjs [--port N] [--wasm DIR] [--for SECONDS]
import http from "node:http";
import { readFile } from "node:fs/promises";
import path from "node:path";
import { fileURLToPath } from "node:url";

const webDir = path.dirname(fileURLToPath(import.meta.url));
const root = path.resolve(webDir, "..");

const types = {
  ".html": "text/html; charset=utf-8",
  ".js": "text/javascript; charset=utf-8",
  ".mjs": "text/javascript; charset=utf-8",
  ".css": "text/css; charset=utf-8",
  ".json": "application/json; charset=utf-8",
  ".svg": "image/svg+xml",
};

/** Candidate files for a URL path, first found wins; null for paths outside the served trees. */
function candidates(urlPath, wasmDir) {
  const clean = path.posix.normalize(decodeURIComponent(urlPath));
  if (clean.includes("..")) return null;
  if (clean.startsWith("/wasm/")) return [path.join(wasmDir, clean.slice(6))];
  if (clean.startsWith("/examples/")) {
    const name = clean.slice(10);
    return [path.join(webDir, "examples", name), path.join(root, "examples", name)];
  }
  return [path.join(webDir, clean === "/" ? "index.html" : clean.slice(1))];
}

export function startServer({ port = 0, wasmDir = path.join(root, "build/wasm") } = {}) {
  const server = http.createServer(async (req, res) => {
    const files = candidates(new URL(req.url, "http://127.0.0.1").pathname, wasmDir) ?? [];
    for (const file of files) {
      try {
        const body = await readFile(file);
        res.writeHead(200, {
          "content-type": types[path.extname(file)] ?? "application/octet-stream",
          "cache-control": "no-store",
        });
        res.end(body);
        return;
      } catch {
        // the next candidate
      }
    }
    res.writeHead(404, { "content-type": "text/plain" });
    res.end("not found\n");
  });
  return new Promise((resolve, reject) => {
    server.once("error", reject);
    server.listen(port, "127.0.0.1", () => resolve(server));
  });
}

if (process.argv[1] && path.resolve(process.argv[1]) === fileURLToPath(import.meta.url)) {
  const args = process.argv.slice(2);
  const option = (name, fallback) => {
    const i = args.indexOf(name);
    return i >= 0 ? args[i + 1] : fallback;
  };
  const server = await startServer({
    port: Number(option("--port", 8080)),
    wasmDir: path.resolve(option("--wasm", path.join(root, "build/wasm"))),
  });
  console.log(`Qsolver sketcher on http://127.0.0.1:${server.address().port}/`);
  const seconds = Number(option("--for", 0));
  if (seconds > 0) setTimeout(() => server.close(() => process.exit(0)), seconds * 1000).unref();
}
