// The live view's page against a server that is not ours (@foxglove/ws-protocol's FoxgloveServer
// on `ws`, the page's files over plain HTTP on the same port) that offers what our bridge does
// not: service calls. Samples are written by @foxglove/rosmsg2-serialization, and what the page
// sends is read back by it, so the page's own CDR code is checked against another one.
// It checks, printing "ok <what>" for each and "error <what, expected and seen>" at the first
// that fails (exit 1):
//   - bgr8, mono8 with padded rows, little- and big-endian 16-bit depth, drawn pixel for pixel;
//   - an image and a cloud larger than their bytes, and a sample cut short, each said once;
//   - the simulation time and the real-time factor of a clock running at half speed, and the
//     server's time once the clock topic goes;
//   - a slider's range from the robot description's URDF, and the position command it publishes;
//   - Pause, Step and Reset calling their services, and the answers shown.
// Usage: node live-view-services.js PAGE_DIR [SECONDS]  (SECONDS bounds each wait, default 30)
"use strict";

const fs = require("fs");
const http = require("http");
const path = require("path");
const { WebSocketServer } = require("ws");
const { FoxgloveServer } = require("@foxglove/ws-protocol");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");
const { ros2jazzy } = require("@foxglove/rosmsg-msgs-common");
const { withPage, waitUntil: waitUntilWithin } = require("./headless-chromium");

const [pageDir, secondsText] = process.argv.slice(2);
if (!pageDir) {
  console.log("error usage: node live-view-services.js PAGE_DIR [SECONDS]");
  process.exit(2);
}
const timeout = 1000 * (Number(secondsText) || 30);

// A type with every type it uses, from the common definitions.
function definitions(name) {
  const out = [];
  const queue = [name];
  while (queue.length > 0) {
    const definition = ros2jazzy[queue.shift()];
    if (out.includes(definition)) continue;
    out.push(definition);
    for (const field of definition.definitions) if (field.isComplex) queue.push(field.type);
  }
  return out;
}
const writers = {};
function encode(type, message) {
  writers[type] = writers[type] || new MessageWriter(definitions(type));
  return writers[type].writeMessage(message);
}

// --- the server -----------------------------------------------------------------------------
const types = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css" };
const httpServer = http.createServer((request, response) => {
  const name = new URL(request.url, "http://x").pathname.slice(1) || "index.html";
  const file = path.join(pageDir, path.basename(name));
  if (!fs.existsSync(file)) {
    response.writeHead(404).end();
    return;
  }
  response.writeHead(200, { "Content-Type": types[path.extname(file)] || "application/octet-stream" });
  response.end(fs.readFileSync(file));
});
const server = new FoxgloveServer({ name: "services peer", capabilities: ["services", "clientPublish", "time"], supportedEncodings: ["cdr"] });
const sockets = new WebSocketServer({ server: httpServer, handleProtocols: (protocols) => server.handleProtocols(protocols) });
sockets.on("connection", (connection, request) => server.handleConnection(connection, `${request.socket.remotePort}`));
server.on("error", (error) => console.log(`server error ${error.message}`));

function channel(topic, schemaName) {
  return server.addChannel({ topic, encoding: "cdr", schemaName, schema: "", schemaEncoding: "ros2msg" });
}
const header = { stamp: { sec: 3, nanosec: 0 }, frame_id: "camera" };
const samples = [
  [channel("/camera/bgr", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 1, width: 2, encoding: "bgr8", is_bigendian: 0, step: 6, data: new Uint8Array([10, 20, 30, 200, 100, 50]) })],
  [channel("/camera/mono", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 2, width: 2, encoding: "mono8", is_bigendian: 0, step: 4, data: new Uint8Array([1, 2, 99, 99, 3, 4, 99, 99]) })],
  [channel("/camera/depth", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 1, width: 3, encoding: "16UC1", is_bigendian: 0, step: 6, data: new Uint8Array([0, 0, 0xf4, 0x01, 0xe8, 0x03]) })],
  [channel("/camera/depth_be", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 1, width: 2, encoding: "mono16", is_bigendian: 1, step: 4, data: new Uint8Array([0x03, 0xe8, 0x00, 0xfa]) })],
  [channel("/robot_description", "std_msgs/msg/String"), encode("std_msgs/String", {
    data: '<robot name="r"><link name="l"/><joint name="b" type="revolute"><limit lower="-0.5" upper="0.25" effort="1" velocity="0"/></joint></robot>' })],
  // Bad samples: sizes their bytes do not hold, and a sample cut short.
  [channel("/camera/bad", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 1000000, width: 2, encoding: "rgb8", is_bigendian: 0, step: 0, data: new Uint8Array(6) })],
  [channel("/camera/cut", "sensor_msgs/msg/Image"), encode("sensor_msgs/Image",
    { header, height: 1, width: 2, encoding: "rgb8", is_bigendian: 0, step: 6, data: new Uint8Array(6) }).subarray(0, 40)],
  [channel("/lidar/points", "sensor_msgs/msg/PointCloud2"), encode("sensor_msgs/PointCloud2", {
    header, height: 1, width: 1000000000, is_bigendian: false, point_step: 0, row_step: 0, data: new Uint8Array(0), is_dense: true,
    fields: [{ name: "x", offset: 0, datatype: 7, count: 1 }, { name: "y", offset: 4, datatype: 7, count: 1 }] })],
  [channel("/joint_states", "sensor_msgs/msg/JointState"), null],
  [channel("/clock", "rosgraph_msgs/msg/Clock"), null],
];
const started = Date.now();
setInterval(() => {
  // The clock runs at half the wall clock's speed.
  const sim = (Date.now() - started) / 2000;
  const stamp = { sec: Math.floor(sim), nanosec: Math.round((sim % 1) * 1e9) % 1000000000 };
  samples[samples.length - 2][1] = encode("sensor_msgs/JointState", { header: { stamp, frame_id: "" }, name: ["a", "b"], position: [0.1, -0.2], velocity: [0, 0], effort: [] });
  samples[samples.length - 1][1] = encode("rosgraph_msgs/Clock", { clock: stamp });
  for (const [id, bytes] of samples) if (id !== null) server.sendMessage(id, BigInt(Date.now()) * 1000000n, bytes);
  // The server's own time, 1000 s ahead of the clock topic: what the page shows once that goes.
  server.broadcastTime(BigInt(Math.round((1000 + sim) * 1e9)));
}, 50);

const request = (text) => new MessageReader(parse(text, { ros2: true }));
const services = {
  set_simulation_state: { type: "simulation_interfaces/srv/SetSimulationState",
    reader: request("simulation_interfaces/SimulationState state\n================================================================================\nMSG: simulation_interfaces/SimulationState\nuint8 state") },
  step_simulation: { type: "simulation_interfaces/srv/StepSimulation", reader: request("uint64 steps") },
  reset_simulation: { type: "simulation_interfaces/srv/ResetSimulation", reader: request("uint8 scope") },
};
const byId = new Map();
for (const [name, service] of Object.entries(services)) {
  const schema = { encoding: "cdr", schemaName: service.type, schemaEncoding: "ros2msg", schema: "" };
  byId.set(server.addService({ name: `/${name}`, type: service.type, request: schema, response: schema }), name);
}
// A response as the services write it: a Result (uint8 result, string error_message).
function result(code, message) {
  const bytes = [0, 1, 0, 0, code, 0, 0, 0];
  const text = Buffer.from(message + "\0");
  const length = Buffer.alloc(4);
  length.writeUInt32LE(text.length);
  return new Uint8Array([...bytes, ...length, ...text]);
}
const calls = [];
server.on("serviceCallRequest", (call, connection) => {
  const name = byId.get(call.serviceId);
  const decoded = services[name].reader.readMessage(call.data);
  calls.push({ name, encoding: call.encoding, decoded });
  const answer = { serviceId: call.serviceId, callId: call.callId, encoding: "cdr" };
  if (name === "set_simulation_state") server.sendServiceCallResponse({ ...answer, data: result(1, "") }, connection);
  else if (name === "step_simulation") server.sendServiceCallResponse({ ...answer, data: result(4, "not paused") }, connection);
  else server.sendServiceCallFailure({ op: "serviceCallFailure", serviceId: call.serviceId, callId: call.callId, message: "no reset here" }, connection);
});
const published = [];
const jointReader = new MessageReader(definitions("sensor_msgs/JointState"));
server.on("advertise", (advertised) => published.push({ advertised, messages: [] }));
server.on("message", (event) => {
  const entry = published.find((p) => p.advertised.id === event.channel.id);
  if (entry) entry.messages.push(jointReader.readMessage(event.data));
});

// --- the checks -----------------------------------------------------------------------------
function check(what, expected, seen) {
  const same = JSON.stringify(expected) === JSON.stringify(seen);
  if (!same) throw new Error(`${what}: expected ${JSON.stringify(expected)}, seen ${JSON.stringify(seen)}`);
  console.log(`ok ${what}`);
}

const waitUntil = (what, condition) => waitUntilWithin(what, condition, timeout);

async function cameraPixels(page, base, topic, width, height) {
  await page.goto(`${base}/?image=${encodeURIComponent(topic)}`, { timeout });
  await page.waitForFunction(([w, h]) => {
    const c = document.getElementById("camera");
    return c.width === w && c.height === h;
  }, [width, height], { timeout });
  return page.evaluate(() => {
    const c = document.getElementById("camera");
    return Array.from(c.getContext("2d").getImageData(0, 0, c.width, c.height).data);
  });
}

async function main(page, base) {
  check("bgr8 drawn as RGB", [30, 20, 10, 255, 50, 100, 200, 255], await cameraPixels(page, base, "/camera/bgr", 2, 1));
  check("mono8 rows read with their step", [1, 1, 1, 255, 2, 2, 2, 255, 3, 3, 3, 255, 4, 4, 4, 255],
        await cameraPixels(page, base, "/camera/mono", 2, 2));
  // The farthest depth of the frame is white: 500 of 1000 is 127.5, which pixels round to 128.
  check("16UC1 depth scaled to its farthest value", [0, 0, 0, 255, 128, 128, 128, 255, 255, 255, 255, 255],
        await cameraPixels(page, base, "/camera/depth", 3, 1));
  check("big-endian mono16", [255, 255, 255, 255, 64, 64, 64, 255], await cameraPixels(page, base, "/camera/depth_be", 2, 1));

  // What cannot be drawn is said once, and nothing is sized after it.
  await page.goto(`${base}/?image=/camera/bad`, { timeout });
  const bad = await waitUntil("the bad image's note", () => page.$eval("#camera-info", (e) => e.textContent.startsWith("cannot") && e.textContent));
  check("the bad image's note", "cannot show rgb8 2×1000000: step 0 and 6 bytes do not fit", bad);
  check("the canvas after a bad image", [320, 240], await page.$eval("#camera", (c) => [c.width, c.height]));
  const cloud = await waitUntil("the bad cloud's note", () => page.$eval("#cloud-info", (e) => e.textContent));
  check("the bad cloud's note", "cannot show a cloud of 1000000000 points of 0 bytes in 0 bytes (it needs float x and y within each point)", cloud);
  await page.goto(`${base}/?image=/camera/cut`, { timeout });
  await waitUntil("the cut sample's log line", () => page.$eval("#log", (l) => l.innerText.includes("cannot read a message")));
  await new Promise((resolve) => setTimeout(resolve, 1500));  // some 30 more of them
  check("the cut samples' log lines", ["cannot read a message (1 so far): the sample has 40 bytes, 41 needed"],
        await page.$$eval("#log li", (items) => items.map((i) => i.textContent)));

  // Half speed: the factor of sim time over wall time, once a few seconds have been seen.
  await waitUntil("the real-time factor", () => page.$eval("#rtf", (e) => e.textContent !== "–"));
  await new Promise((resolve) => setTimeout(resolve, 3000));
  const rtf = Number(await page.$eval("#rtf", (e) => e.textContent));
  if (!(rtf > 0.35 && rtf < 0.65)) throw new Error(`real-time factor of a clock at half speed: seen ${rtf}`);
  console.log(`ok real-time factor ${rtf}`);
  const simTime = Number(await page.$eval("#sim-time", (e) => e.textContent));
  const expectedSim = (Date.now() - started) / 2000;
  if (!(Math.abs(simTime - expectedSim) < 1)) throw new Error(`sim time: expected about ${expectedSim}, seen ${simTime}`);
  console.log("ok sim time");
  // Without a clock topic, the server's time is the simulation's.
  server.removeChannel(samples[samples.length - 1][0]);
  samples[samples.length - 1][0] = null;
  const serverTime = await waitUntil("the server's time", () => page.$eval("#sim-time", (e) => Number(e.textContent) >= 1000 && e.textContent));
  console.log(`ok sim time from the server's time ${serverTime}`);

  const slider = page.locator('#joints input[type=range][data-joint="b"]');
  await waitUntil("b's slider range from the URDF", () => slider.evaluate((e) => e.min === "-0.5" && e.max === "0.25"));
  console.log("ok slider range from the URDF");
  await slider.evaluate((e) => { e.value = "0.125"; e.dispatchEvent(new Event("input", { bubbles: true })); });
  const command = await waitUntil("the position command", () => {
    const entry = published.find((p) => p.advertised.topic === "/joint_commands");
    return entry && entry.messages.length > 0 && { schemaName: entry.advertised.schemaName, message: entry.messages[0] };
  });
  check("the slider's command", { schemaName: "sensor_msgs/msg/JointState", name: ["b"], position: [0.125], velocity: [], effort: [] },
        { schemaName: command.schemaName, name: command.message.name, position: Array.from(command.message.position),
          velocity: Array.from(command.message.velocity), effort: Array.from(command.message.effort) });

  await waitUntil("Pause enabled", () => page.$eval("#pause", (b) => !b.disabled));
  check("Pause's title", "calls /set_simulation_state", await page.$eval("#pause", (b) => b.title));
  const logged = (text) => waitUntil(`the log line "${text}"`, () => page.$eval("#log", (l, t) => l.innerText.includes(t), text));
  await page.click("#pause");
  await logged("pause: done");
  await page.click("#step");
  await logged("step: refused (4) not paused");
  await page.click("#reset");
  await logged("reset failed: no reset here");
  check("the requests", [
    { name: "set_simulation_state", encoding: "cdr", decoded: { state: { state: 2 } } },
    { name: "step_simulation", encoding: "cdr", decoded: { steps: "1" } },
    { name: "reset_simulation", encoding: "cdr", decoded: { scope: 0 } },
  ], JSON.parse(JSON.stringify(calls, (k, v) => (typeof v === "bigint" ? v.toString() : v))));
}

httpServer.listen(0, "127.0.0.1", async () => {
  const base = `http://127.0.0.1:${httpServer.address().port}`;
  const code = await withPage((page) => main(page, base));
  process.exit(code);
});
