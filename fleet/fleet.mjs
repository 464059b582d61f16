// The fleet's queries on DuckDB: loads a directory of tallyd exports into Parquet files, one per
// table, then answers every query of queries/ from them and writes the answers as JSON and as one
// offline HTML page.
//
//   node fleet/fleet.mjs load EXPORTS PARQUET   EXPORTS/<device>/<table>.jsonl -> PARQUET/<table>.parquet
//   node fleet/fleet.mjs query PARQUET OUT      -> OUT/results.json and OUT/fleet.html
import { DuckDBInstance } from "@duckdb/node-api";
import { existsSync, mkdirSync, readFileSync, readdirSync, renameSync, rmSync, writeFileSync } from "node:fs";
import { basename, dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const schema = JSON.parse(readFileSync(join(here, "schema.json"), "utf8"));

function fail(message, status = 64) {
  process.stderr.write("fleet: " + message + "\n");
  process.exit(status);
}

function quote(text) { return "'" + String(text).replace(/'/g, "''") + "'"; }

// Everything DuckDB needs is built into its library: it must never reach for an extension.
async function connect() {
  const instance = await DuckDBInstance.create(":memory:", {
    autoinstall_known_extensions: "false",
    autoload_known_extensions: "false",
    allow_community_extensions: "false",
  });
  return instance.connect();
}

async function load(exports, parquet) {
  if (!existsSync(exports)) fail(exports + ": no such directory");
  const devices = readdirSync(exports, { withFileTypes: true }).filter((e) => e.isDirectory());
  if (!devices.length) fail(exports + ": holds no device's export", 65);
  mkdirSync(parquet, { recursive: true });
  const connection = await connect();
  for (const [table, columns] of Object.entries(schema)) {
    const started = performance.now();
    const types = "{" + Object.entries(columns).map(([c, t]) => quote(c) + ": " + quote(t)).join(", ") + "}";
    // Columns by name, so that exports of a later schema with more columns load as well.
    const source = "read_json(" + quote(join(exports, "*", table + ".jsonl")) +
      ", format = 'newline_delimited', columns = " + types + ")";
    const target = join(parquet, table + ".parquet");
    // Written beside its place and renamed into it: a bad line leaves the table loaded before.
    try {
      await connection.run("COPY (SELECT * FROM " + source + " ORDER BY device_id, day) TO " +
                           quote(target + ".part") + " (FORMAT parquet, COMPRESSION zstd)");
    } catch (error) {
      rmSync(target + ".part", { force: true });
      fail(table + ": " + error.message, 65);
    }
    renameSync(target + ".part", target);
    const rows = (await connection.runAndReadAll("SELECT COUNT(*) FROM read_parquet(" + quote(target) + ")")).getRows()[0][0];
    process.stderr.write(`fleet: ${table}: ${rows} rows in ${((performance.now() - started) / 1000).toFixed(2)} s\n`);
  }
}

// Plain JSON values: DuckDB's big integers as numbers, dates as their text.
function plain(value) {
  if (typeof value === "bigint") return Number(value);
  if (value === null || value === undefined) return null;
  if (typeof value === "object") return String(value);
  return value;
}

async function query(parquet, out) {
  const connection = await connect();
  for (const table of Object.keys(schema)) {
    const file = join(parquet, table + ".parquet");
    if (!existsSync(file)) fail(file + ": missing; run load first", 65);
    await connection.run("CREATE VIEW " + table + " AS SELECT * FROM read_parquet(" + quote(file) + ")");
  }
  const results = {};
  const directory = join(here, "queries");
  for (const name of readdirSync(directory).filter((f) => f.endsWith(".sql")).sort()) {
    const text = readFileSync(join(directory, name), "utf8");
    const started = performance.now();
    const reader = await connection.runAndReadAll(text);
    const seconds = (performance.now() - started) / 1000;
    const columns = reader.columnNames();
    results[basename(name, ".sql")] = {
      about: text.split("\n").filter((l) => l.startsWith("--")).map((l) => l.slice(3)).join(" "),
      columns,
      rows: reader.getRows().map((row) => row.map(plain)),
    };
    process.stderr.write(`fleet: ${name}: ${reader.getRows().length} rows in ${seconds.toFixed(3)} s\n`);
  }
  mkdirSync(out, { recursive: true });
  writeFileSync(join(out, "results.json"), JSON.stringify(results, null, 1) + "\n");
  const { page } = await import("./fleet_page.mjs");
  writeFileSync(join(out, "fleet.html"), page(results));
}

const [command, from, to] = process.argv.slice(2);
if (command === "load" && from && to) {
  await load(resolve(from), resolve(to));
} else if (command === "query" && from && to) {
  await query(resolve(from), resolve(to));
} else {
  fail("usage: fleet.mjs load EXPORTS PARQUET | query PARQUET OUT");
}
