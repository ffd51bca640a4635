// Calls one service that a Foxglove WebSocket server offers, with @foxglove/ws-protocol's
// FoxgloveClient, the request written and the response read by @foxglove/rosmsg2-serialization
// from the schemas the server advertised. It prints
//   service <name> <type>              once the service is advertised
//   response <the response as JSON>    or  failure <the server's message>
//   withdrawn <name>                   once the server no longer offers it (then exit 0)
// and "error <what>" when something does not come in time (exit 1).
// Usage: node foxglove-call.js URL SERVICE REQUEST_JSON [SECONDS]  (SECONDS bounds each wait)
"use strict";

const WebSocket = require("ws");
const { FoxgloveClient } = require("@foxglove/ws-protocol");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");

const [url, name, requestText, secondsText] = process.argv.slice(2);
if (!url || !name || !requestText) {
  console.log("error usage: node foxglove-call.js URL SERVICE REQUEST_JSON [SECONDS]");
  process.exit(2);
}
const timeout = 1000 * (Number(secondsText) || 30);

function fail(what) {
  console.log(`error ${what}`);
  process.exit(1);
}

const ws = new WebSocket(url, [FoxgloveClient.SUPPORTED_SUBPROTOCOL]);
const client = new FoxgloveClient({ ws });
let service = null;
let answered = false;
let timer = setTimeout(() => fail(`${name} was not advertised`), timeout);

function schemaOf(part, fallback) {
  return part && part.schema !== undefined ? part.schema : fallback;
}

client.on("advertiseServices", (services) => {
  const found = services.find((s) => s.name === name);
  if (!found || service) return;
  service = found;
  console.log(`service ${found.name} ${found.type}`);
  const writer = new MessageWriter(
    parse(schemaOf(found.request, found.requestSchema), { ros2: true }));
  clearTimeout(timer);
  timer = setTimeout(() => fail(`no answer from ${name}`), timeout);
  client.sendServiceCallRequest({
    serviceId: found.id,
    callId: 1,
    encoding: "cdr",
    data: writer.writeMessage(JSON.parse(requestText)),
  });
});

function answeredWith(line) {
  if (answered) return;
  answered = true;
  console.log(line);
  clearTimeout(timer);
  timer = setTimeout(() => fail(`${name} is still offered`), timeout);
}

client.on("serviceCallResponse", (response) => {
  const reader = new MessageReader(
    parse(schemaOf(service.response, service.responseSchema), { ros2: true }));
  answeredWith(`response ${JSON.stringify(reader.readMessage(response.data))}`);
});
client.on("serviceCallFailure", (failure) => answeredWith(`failure ${failure.message}`));
client.on("unadvertiseServices", (ids) => {
  if (service && ids.includes(service.id)) {
    console.log(`withdrawn ${name}`);
    process.exit(answered ? 0 : 1);
  }
});
client.on("error", (error) => fail(`client error ${error}`));
client.on("close", () => fail("connection closed"));
