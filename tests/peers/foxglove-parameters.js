// Reads and sets a node's parameters through a Foxglove WebSocket server with
// @foxglove/ws-protocol's FoxgloveClient, named as ROS 2 web bridges name them ("NODE.name"). It
// prints "ok <what>" for each check and "error <what, expected and seen>" at the first that fails
// (exit 1), then "done" (exit 0):
//   - the parameters and parametersSubscribe capabilities;
//   - getParameters of NODE.camera.rate and NODE.use_sim_time, answered with the request's id
//     (asked again until the values come, for a server that has not seen the node yet);
//   - setParameters of camera.rate to 12.5, answered with the new value, and the update pushed to
//     this client, subscribed to camera.rate;
//   - setParameters of use_sim_time (read-only) and of camera.rate beyond its range, each refused
//     with a warning status while the value stays;
//   - getParameters of every parameter ("ok all" and their names, sorted);
//   - "waiting for ROS 2", then the update pushed when camera.rate becomes ROS2_RATE from the
//     ROS 2 side.
// Usage: node foxglove-parameters.js URL NODE ROS2_RATE [SECONDS]  (SECONDS bounds each wait)
"use strict";

const WebSocket = require("ws");
const { FoxgloveClient } = require("@foxglove/ws-protocol");

const [url, node, rosRateText, secondsText] = process.argv.slice(2);
if (!url || !node || !rosRateText) {
  console.log("error usage: node foxglove-parameters.js URL NODE ROS2_RATE [SECONDS]");
  process.exit(2);
}
const rosRate = Number(rosRateText);
const timeout = 1000 * (Number(secondsText) || 30);
const rate = `${node}.camera.rate`;
const simTime = `${node}.use_sim_time`;

function fail(what) {
  console.log(`error ${what}`);
  process.exit(1);
}

const ws = new WebSocket(url, [FoxgloveClient.SUPPORTED_SUBPROTOCOL]);
const client = new FoxgloveClient({ ws });
let capabilities = null;
const answers = new Map();  // request id -> parameters
const updates = [];         // parameterValues without an id
const statuses = [];
const waiters = new Set();

function changed() {
  for (const waiter of [...waiters]) waiter();
}

// Resolves with what `found()` returns once it is not undefined; fails after the bound.
function until(found, what) {
  return new Promise((resolve) => {
    const started = Date.now();
    const check = () => {
      const value = found();
      if (value !== undefined) {
        waiters.delete(check);
        clearInterval(timer);
        resolve(value);
      } else if (Date.now() - started > timeout) {
        fail(what);
      }
    };
    const timer = setInterval(check, 50);
    waiters.add(check);
    check();
  });
}

function valueOf(parameters, name) {
  const parameter = parameters.find((p) => p.name === name);
  return parameter === undefined ? undefined : parameter.value;
}

client.on("serverInfo", (info) => {
  capabilities = info.capabilities;
  changed();
});
client.on("parameterValues", (event) => {
  if (event.id === undefined) {
    updates.push(event.parameters);
  } else {
    answers.set(event.id, event.parameters);
  }
  changed();
});
client.on("status", (status) => {
  statuses.push(status);
  changed();
});
client.on("error", (error) => fail(`client error ${error}`));
client.on("close", () => fail("connection closed"));

// Sets `parameters` with request `id` and waits for the answer; returns it and the warning that
// came with it, if any.
async function set(parameters, id) {
  const before = statuses.length;
  client.setParameters(parameters, id);
  const answer = await until(() => answers.get(id), `no answer to ${id}`);
  const warning = statuses.slice(before).find((s) => s.level === 1);
  return { answer, warning: warning ? warning.message : undefined };
}

async function main() {
  await until(() => capabilities || undefined, "no serverInfo");
  for (const capability of ["parameters", "parametersSubscribe"]) {
    if (!capabilities.includes(capability)) {
      fail(`capability ${capability} missing from ${JSON.stringify(capabilities)}`);
    }
  }
  console.log("ok capabilities");
  client.subscribeParameterUpdates([rate]);

  // Asked again until the node's values come: a bridge may not have seen the node yet.
  let got = [];
  for (let attempt = 1; valueOf(got, rate) === undefined; ++attempt) {
    if (attempt > 1) await new Promise((resolve) => setTimeout(resolve, 200));
    const id = `get-${attempt}`;
    client.getParameters([rate, simTime], id);
    got = await until(() => answers.get(id), `no answer to ${id}`);
    if (attempt * 200 > timeout) fail(`no value of ${rate} in ${JSON.stringify(got)}`);
  }
  console.log(`ok get camera.rate ${valueOf(got, rate)} use_sim_time ${valueOf(got, simTime)}`);

  const done = await set([{ name: rate, value: 12.5, type: "float64" }], "set-1");
  if (valueOf(done.answer, rate) !== 12.5 || done.warning !== undefined) {
    fail(`set camera.rate: ${JSON.stringify(done)}`);
  }
  console.log("ok set camera.rate 12.5");
  await until(() => (updates.some((u) => valueOf(u, rate) === 12.5) ? true : undefined),
              `no update of camera.rate to 12.5 in ${JSON.stringify(updates)}`);
  console.log("ok update camera.rate 12.5");

  const readOnly = await set([{ name: simTime, value: false }], "set-2");
  if (valueOf(readOnly.answer, simTime) !== true || readOnly.warning === undefined) {
    fail(`set use_sim_time: ${JSON.stringify(readOnly)}`);
  }
  console.log(`ok refused use_sim_time: ${readOnly.warning}`);
  const beyond = await set([{ name: rate, value: 5000, type: "float64" }], "set-3");
  if (valueOf(beyond.answer, rate) !== 12.5 || beyond.warning === undefined) {
    fail(`set camera.rate 5000: ${JSON.stringify(beyond)}`);
  }
  console.log(`ok refused camera.rate: ${beyond.warning}`);

  client.getParameters([], "all");
  const all = await until(() => answers.get("all"), "no answer to all");
  console.log(`ok all ${all.map((p) => p.name).sort().join(",")}`);

  console.log("waiting for ROS 2");
  await until(() => (updates.some((u) => valueOf(u, rate) === rosRate) ? true : undefined),
              `no update of camera.rate to ${rosRate} in ${JSON.stringify(updates)}`);
  console.log(`ok update from ROS 2 camera.rate ${rosRate}`);
  console.log("done");
  process.exit(0);
}

main().catch((error) => fail(error.stack));
