// The HTTP client undici for Node.js: performs one work and prints what it cost as one line of JSON.
// Options as of compare_client; those that concern the plugin alone are passed over.
"use strict";

const fs = require("node:fs");
const { Pool } = require("undici");

function optionsOf(words) {
  const options = {};
  for (let i = 0; i < words.length; i += 2) options[words[i].slice(2)] = words[i + 1];
  return options;
}

const options = optionsOf(process.argv.slice(2));
const connections = Number(options.connections);
const wanted = Number(options["response-bytes"]);
const body = Buffer.alloc(Number(options["request-bytes"]), "x");
const request = {
  path: `/answer/${wanted}/${options.delay}`,
  method: body.length > 0 ? "POST" : "GET",
};
if (body.length > 0) {
  request.headers = { "content-type": "application/octet-stream" };
  request.body = body;
}
const scheme = options.authority ? "https" : "http";
const pool = new Pool(`${scheme}://127.0.0.1:${options.port}`, {
  connections,
  connect: options.authority ? { ca: fs.readFileSync(options.authority) } : {},
});

// Result: the latencies in microseconds.
async function perform(count) {
  const latencies = [];
  let begun = 0;
  const turn = async () => {
    while (begun < count) {
      ++begun;
      const begin = process.hrtime.bigint();
      const answer = await pool.request(request);
      const received = await answer.body.arrayBuffer();
      if (answer.statusCode !== 200 || received.byteLength !== wanted) {
        throw new Error("not the answer that was asked for");
      }
      latencies.push(Number(process.hrtime.bigint() - begin) / 1e3);
    }
  };
  await Promise.all(Array.from({ length: connections }, turn));
  return latencies;
}

async function run() {
  await perform(Math.max(Number(options["warm-up"]), connections));
  const count = Number(options.requests);
  const before = process.resourceUsage();
  const begin = process.hrtime.bigint();
  const latencies = await perform(count);
  const seconds = Number(process.hrtime.bigint() - begin) / 1e9;
  const after = process.resourceUsage();
  latencies.sort((a, b) => a - b);
  const percentile = (share) => latencies[Math.floor(share * (count - 1))];
  const each = (name) => (after[name] - before[name]) / count;
  console.log(
    JSON.stringify({
      client: "undici",
      requests: count,
      failures: 0,
      rate: count / seconds,
      userMicros: each("userCPUTime"),
      systemMicros: each("systemCPUTime"),
      voluntarySwitches: each("voluntaryContextSwitches"),
      involuntarySwitches: each("involuntaryContextSwitches"),
      p50Micros: percentile(0.5),
      p90Micros: percentile(0.9),
      p99Micros: percentile(0.99),
      p999Micros: percentile(0.999),
    }),
  );
  await pool.close();
}

run().catch((failure) => {
  console.error(`undici: ${failure.message}`);
  process.exit(1);
});
