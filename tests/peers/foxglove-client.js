// A Foxglove WebSocket client built on @foxglove/ws-protocol's FoxgloveClient and `ws`, for the
// tests of our server. It prints one line per event, so that a test can check it against what
// the server was fed:
//   open <subprotocol>
//   serverInfo <JSON of the message>
//   channel <id> <topic> <schemaName> <encoding> <schemaEncoding> <schema as a JSON string>
//   unadvertise <id>
//   message <topic> <log time ns> <the sample decoded with the advertised schema, as JSON>
//   latency <topic> <ns>   (with --latency, instead of message: arrival minus log time)
//   time <ns>
//   status <level> <message>
//   published <topic> <count>
//   close <code> <reason> | error <text>
// Usage: node foxglove-client.js URL [--subprotocol NAME] [--subscribe TOPIC]...
//                                [--publish TOPIC NAME POSITION] [--publish-count N]
//                                [--publish-hex TOPIC HEX] [--brief] [--latency]
// --publish advertises TOPIC as sensor_msgs/msg/JointState and sends, every 100 ms, a JointState
// with one joint NAME at POSITION (header stamp 7 s 42 ns, frame "web"), N times (default: until
// it is stopped). --publish-hex advertises TOPIC the same way and sends the bytes HEX once, as
// they are: what the server makes of bytes that are no sample. --brief prints an array of more
// than 64 numbers as {"length": N, "distinct": how many different values}. --latency decodes
// nothing and prints when each message arrived, on the system clock, less its log time.
"use strict";

const WebSocket = require("ws");
const { FoxgloveClient } = require("@foxglove/ws-protocol");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");
const { ros2jazzy } = require("@foxglove/rosmsg-msgs-common");

const args = process.argv.slice(2);
const url = args.shift();
let subprotocol = FoxgloveClient.SUPPORTED_SUBPROTOCOL;
const wanted = new Set();
let publish = null;
let publishCount = Infinity;
let publishHex = null;
let brief = false;
let latency = false;
while (args.length > 0) {
  const flag = args.shift();
  if (flag === "--subprotocol") subprotocol = args.shift();
  else if (flag === "--subscribe") wanted.add(args.shift());
  else if (flag === "--publish") publish = { topic: args.shift(), name: args.shift(), position: Number(args.shift()) };
  else if (flag === "--publish-count") publishCount = Number(args.shift());
  else if (flag === "--brief") brief = true;
  else if (flag === "--latency") latency = true;
  else if (flag === "--publish-hex") publishHex = { topic: args.shift(), bytes: Buffer.from(args.shift(), "hex") };
  else {
    console.log(`error unknown argument ${flag}`);
    process.exit(2);
  }
}

// JSON cannot hold BigInt or typed arrays: numbers as text, arrays as arrays.
function plain(key, value) {
  if (typeof value === "bigint") return value.toString();
  if (ArrayBuffer.isView(value) && brief && value.length > 64) {
    return { length: value.length, distinct: new Set(value).size };
  }
  if (ArrayBuffer.isView(value)) return Array.from(value);
  return value;
}

const ws = new WebSocket(url, [subprotocol]);
const client = new FoxgloveClient({ ws });
const channels = new Map();       // channel id -> {topic, reader}
const subscriptions = new Map();  // subscription id -> channel

client.on("open", () => console.log(`open ${ws.protocol}`));
client.on("error", (error) => console.log(`error ${error && error.message ? error.message : error}`));
client.on("close", (event) => {
  console.log(`close ${event.code} ${event.reason || ""}`.trimEnd());
  process.exit(0);
});
client.on("serverInfo", (info) => {
  console.log(`serverInfo ${JSON.stringify(info)}`);
  if (publish) startPublishing(info);
  if (publishHex) {
    const id = client.advertise({ topic: publishHex.topic, encoding: "cdr", schemaName: "sensor_msgs/msg/JointState" });
    client.sendMessage(id, new Uint8Array(publishHex.bytes));
    console.log(`published ${publishHex.topic} 1`);
  }
});
client.on("status", (status) => console.log(`status ${status.level} ${status.message}`));
client.on("time", (event) => console.log(`time ${event.timestamp.toString()}`));
client.on("unadvertise", (ids) => ids.forEach((id) => console.log(`unadvertise ${id}`)));
client.on("advertise", (list) => {
  for (const channel of list) {
    console.log(`channel ${channel.id} ${channel.topic} ${channel.schemaName} ${channel.encoding} ` +
                `${channel.schemaEncoding} ${JSON.stringify(channel.schema)}`);
    let reader = null;
    try {
      reader = new MessageReader(parse(channel.schema, { ros2: true }));
    } catch (error) {
      console.log(`error schema of ${channel.topic}: ${String(error.message).split("\n")[0]}`);
    }
    channels.set(channel.id, { topic: channel.topic, reader });
    if (wanted.has(channel.topic)) subscriptions.set(client.subscribe(channel.id), channels.get(channel.id));
  }
});
client.on("message", (event) => {
  const channel = subscriptions.get(event.subscriptionId);
  if (!channel) {
    console.log(`error message for unknown subscription ${event.subscriptionId}`);
    return;
  }
  if (latency) {
    const arrivedNs = BigInt(Math.round((performance.timeOrigin + performance.now()) * 1e6));
    console.log(`latency ${channel.topic} ${arrivedNs - event.timestamp}`);
    return;
  }
  let text;
  try {
    text = JSON.stringify(channel.reader.readMessage(event.data), plain);
  } catch (error) {
    text = `! ${String(error.message).split("\n")[0]}`;
  }
  console.log(`message ${channel.topic} ${event.timestamp.toString()} ${text}`);
});

function startPublishing(info) {
  if (!(info.capabilities || []).includes("clientPublish")) {
    console.log("error the server does not offer clientPublish");
    return;
  }
  const id = client.advertise({ topic: publish.topic, encoding: "cdr", schemaName: "sensor_msgs/msg/JointState" });
  const writer = new MessageWriter([ros2jazzy["sensor_msgs/JointState"], ros2jazzy["std_msgs/Header"],
                                    ros2jazzy["builtin_interfaces/Time"]]);
  const bytes = writer.writeMessage({
    header: { stamp: { sec: 7, nanosec: 42 }, frame_id: "web" },
    name: [publish.name], position: [publish.position], velocity: [], effort: [],
  });
  let sent = 0;
  const send = () => {
    if (sent >= publishCount) return;
    client.sendMessage(id, bytes);
    sent += 1;
    console.log(`published ${publish.topic} ${sent}`);
    setTimeout(send, 100);
  };
  send();
}
