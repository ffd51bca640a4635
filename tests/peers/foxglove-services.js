// Drives a simulation through the services a Foxglove WebSocket server offers, with
// @foxglove/ws-protocol's FoxgloveClient, each request written and each response read by
// @foxglove/rosmsg2-serialization from the schemas the server advertised. It prints
//   service <name> <type> <request schemaName> <response schemaName> <request schema as JSON>
//           <response schema as JSON>     (one per advertised service)
// then "ok <what>" for each check and "error <what, expected and seen>" at the first that fails
// (exit 1), then "done" (exit 0):
//   - pausing (set_simulation_state PAUSED) and get_simulation_state answering PAUSED;
//   - /clock standing still while paused;
//   - step_simulation of STEPS steps advancing /clock by exactly STEPS times STEP_NS;
//   - reset_simulation answered during an endless run with a step waiting behind it, ending the
//     run, and taking the server's time back;
//   - an unknown service id and a request that is no CDR answered with serviceCallFailure, a
//     call frame cut short with an error status;
//   - playing again, and /clock moving again.
// Usage: node foxglove-services.js URL STEP_NS [STEPS] [SECONDS]  (SECONDS bounds each wait)
"use strict";

const WebSocket = require("ws");
const { FoxgloveClient } = require("@foxglove/ws-protocol");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");

const [url, stepText, stepsText, secondsText] = process.argv.slice(2);
if (!url || !stepText) {
  console.log("error usage: node foxglove-services.js URL STEP_NS [STEPS] [SECONDS]");
  process.exit(2);
}
const stepNs = BigInt(stepText);
const steps = BigInt(stepsText || 25);
const timeout = 1000 * (Number(secondsText) || 30);
// How long /clock must stay still to count as stopped: far above the demo's step.
const stillMs = 2000;

const PAUSED = 2;
const PLAYING = 1;
const RESULT_OK = 1;
const RESULT_OPERATION_FAILED = 4;
const wanted = ["get_simulation_state", "set_simulation_state", "step_simulation", "reset_simulation"];

function fail(what) {
  console.log(`error ${what}`);
  process.exit(1);
}

const ws = new WebSocket(url, [FoxgloveClient.SUPPORTED_SUBPROTOCOL]);
const client = new FoxgloveClient({ ws });
const services = new Map();  // name suffix -> {service, writer, reader}
const pending = new Map();   // call id -> resolve
let nextCallId = 1;
let capabilities = [];
let clock = null;            // the newest /clock, in ns
let clockArrived = 0;        // Date.now() when it came
let clocks = 0;              // how many came
let serverTime = null;       // the newest time frame, in ns
const statuses = [];
const waiters = new Set();   // checked on every event

function changed() {
  for (const waiter of [...waiters]) waiter();
}

// Resolves once `condition()` holds, checked on each event and every 50 ms; fails after the
// bound with `what`.
function until(condition, what, bound = timeout) {
  return new Promise((resolve) => {
    const started = Date.now();
    const check = () => {
      if (condition()) {
        waiters.delete(check);
        clearInterval(timer);
        resolve();
      } else if (Date.now() - started > bound) {
        fail(what);
      }
    };
    const timer = setInterval(check, 50);
    waiters.add(check);
    check();
  });
}

client.on("error", (error) => fail(`client: ${error && error.message ? error.message : error}`));
client.on("close", (event) => fail(`the server closed the connection: ${event.code} ${event.reason || ""}`));
client.on("serverInfo", (info) => {
  capabilities = info.capabilities || [];
  changed();
});
client.on("status", (status) => {
  statuses.push(status);
  changed();
});
client.on("time", (event) => {
  serverTime = event.timestamp;
  changed();
});
client.on("advertise", (channels) => {
  for (const channel of channels) {
    if (channel.topic !== "/clock") continue;
    const reader = new MessageReader(parse(channel.schema, { ros2: true }));
    const subscription = client.subscribe(channel.id);
    client.on("message", (event) => {
      if (event.subscriptionId !== subscription) return;
      const { clock: stamp } = reader.readMessage(event.data);
      clock = BigInt(stamp.sec) * 1000000000n + BigInt(stamp.nanosec);
      clockArrived = Date.now();
      clocks += 1;
      changed();
    });
  }
});
client.on("advertiseServices", (list) => {
  for (const service of list) {
    console.log(`service ${service.name} ${service.type} ${service.request.schemaName} ` +
                `${service.response.schemaName} ${JSON.stringify(service.request.schema)} ` +
                `${JSON.stringify(service.response.schema)}`);
    const suffix = service.name.split("/").pop();
    services.set(suffix, {
      service,
      writer: new MessageWriter(parse(service.request.schema, { ros2: true })),
      reader: new MessageReader(parse(service.response.schema, { ros2: true })),
    });
  }
  changed();
});
client.on("serviceCallResponse", (response) => {
  const resolve = pending.get(response.callId);
  pending.delete(response.callId);
  if (resolve) resolve({ response });
});
client.on("serviceCallFailure", (failure) => {
  const resolve = pending.get(failure.callId);
  pending.delete(failure.callId);
  if (resolve) resolve({ failure });
});

// Sends `data` to service `serviceId`; resolves with {response} or {failure}.
function callRaw(serviceId, data) {
  const callId = nextCallId++;
  return new Promise((resolve) => {
    const timer = setTimeout(() => fail(`no answer to call ${callId} of service ${serviceId}`), timeout);
    pending.set(callId, (answer) => {
      clearTimeout(timer);
      resolve(answer);
    });
    client.sendServiceCallRequest({ serviceId, callId, encoding: "cdr", data });
  });
}

// Calls the service named `suffix` with `request`, and returns its decoded response.
async function call(suffix, request) {
  const { service, writer, reader } = services.get(suffix);
  const answer = await callRaw(service.id, writer.writeMessage(request));
  if (answer.failure) fail(`${suffix} failed: ${answer.failure.message}`);
  if (answer.response.encoding !== "cdr") fail(`${suffix} answered in ${answer.response.encoding}`);
  return reader.readMessage(answer.response.data);
}

function expectOk(what, response) {
  if (response.result.result !== RESULT_OK) {
    fail(`${what}: result ${response.result.result} (${response.result.error_message})`);
  }
  console.log(`ok ${what}`);
}

// Waits until /clock has not moved for `stillMs`, and returns where it stands.
async function stillClock(what) {
  await until(() => clock !== null && Date.now() - clockArrived >= stillMs, `${what}: /clock never stood still (at ${clock})`);
  return clock;
}

async function main() {
  await until(() => capabilities.length > 0, "no serverInfo");
  if (!capabilities.includes("services")) fail(`no services capability: ${JSON.stringify(capabilities)}`);
  await until(() => wanted.every((name) => services.has(name)),
              `not every service advertised: ${[...services.keys()].join(", ")}`);
  console.log("ok advertised");
  await until(() => clock !== null, "no /clock");

  expectOk("paused", await call("set_simulation_state", { state: { state: PAUSED } }));
  const state = await call("get_simulation_state", {});
  if (state.state.state !== PAUSED) fail(`get_simulation_state: state ${state.state.state}, not ${PAUSED}`);
  expectOk("get_simulation_state PAUSED", state);
  const before = await stillClock("paused");
  console.log(`ok clock stopped at ${before}`);

  expectOk(`stepped ${steps}`, await call("step_simulation", { steps }));
  // The response and the samples of the steps come by different ways: either may be first.
  await until(() => clock > before, `/clock did not move from ${before} after the steps`);
  const expected = before + steps * stepNs;
  const after = await stillClock("stepped");
  // The clock is the simulation's time in seconds rounded to the nanosecond: one either way.
  const difference = after - expected;
  if (difference > 1n || difference < -1n) {
    fail(`after ${steps} steps of ${stepNs} ns /clock is at ${after}, not ${expected} (from ${before})`);
  }
  console.log(`ok clock advanced by ${after - before} ns`);

  // A run far too long to end, a step behind it, and a reset: the reset is answered although the
  // step waits, and ends the run, after which the waiting step is made.
  const endless = call("step_simulation", { steps: 1000000000000n });
  const behind = call("step_simulation", { steps: 1n });
  expectOk("reset during a run", await call("reset_simulation", { scope: 0 }));
  const ended = await endless;
  if (ended.result.result !== RESULT_OPERATION_FAILED) {
    fail(`the run a reset ended: result ${ended.result.result} (${ended.result.error_message})`);
  }
  console.log(`ok run ended by the reset: ${ended.result.error_message}`);
  expectOk("step made after the run", await behind);
  await until(() => serverTime !== null && serverTime < before, `the time did not go back: ${serverTime}`);
  console.log(`ok time back at ${serverTime}`);

  const unknown = await callRaw(9999, new Uint8Array([0, 1, 0, 0]));
  if (!unknown.failure) fail("a call of service 9999 was answered");
  console.log(`ok unknown service: ${unknown.failure.message}`);
  const step = services.get("step_simulation").service;
  const garbage = await callRaw(step.id, new Uint8Array([0, 1, 0, 0, 5]));
  if (!garbage.failure) fail("a step_simulation request of 5 bytes was answered");
  console.log(`ok garbage request: ${garbage.failure.message}`);
  const seen = statuses.length;
  ws.send(new Uint8Array([2, 1, 0]));
  await until(() => statuses.length > seen, "no status for a cut call frame");
  console.log(`ok cut frame: ${statuses[seen].level} ${statuses[seen].message}`);

  expectOk("playing", await call("set_simulation_state", { state: { state: PLAYING } }));
  const resumed = clocks;
  await until(() => clocks > resumed + 10, `/clock did not move again (${clocks - resumed} samples)`);
  console.log("ok running again");
  console.log("done");
  process.exit(0);
}

main().catch((error) => fail(`script: ${error.stack}`));
