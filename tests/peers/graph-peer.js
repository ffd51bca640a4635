// Checks graph-topic payloads against an independent implementation: the ROS 2 definitions of
// the rmw_dds_common graph messages, written out below, read and written by
// @foxglove/rosmsg2-serialization.
//
// Reads lines from stdin, tab-separated:
//   <gid size, 24 or 16> <payload in hex> <the message's values as JSON>
// and prints one line per input line, tab-separated:
//   <verdict> <the peer's payload for the same values, in hex>
// The verdict is "ok" when the peer decodes the payload to exactly the JSON values, otherwise what
// differed; that no byte is left over shows when the peer's payload equals ours.
"use strict";

const fs = require("fs");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");

// rmw_dds_common/msg/ParticipantEntitiesInfo and the messages it uses. The gid is 24 bytes up to
// Humble and 16 from Iron on; rosidl turns a .msg `char` into uint8.
function definitionText(gidSize) {
  return [
    "rmw_dds_common/Gid gid",
    "rmw_dds_common/NodeEntitiesInfo[] node_entities_info_seq",
    "================================================================================",
    "MSG: rmw_dds_common/NodeEntitiesInfo",
    "string<=256 node_namespace",
    "string<=256 node_name",
    "rmw_dds_common/Gid[] reader_gid_seq",
    "rmw_dds_common/Gid[] writer_gid_seq",
    "================================================================================",
    "MSG: rmw_dds_common/Gid",
    `uint8[${gidSize}] data`,
  ].join("\n");
}

// Typed arrays as plain arrays, so that values compare with the JSON.
function plain(value) {
  if (ArrayBuffer.isView(value)) return Array.from(value);
  if (Array.isArray(value)) return value.map(plain);
  if (value !== null && typeof value === "object") {
    const out = {};
    for (const key of Object.keys(value)) out[key] = plain(value[key]);
    return out;
  }
  return value;
}

function hex(bytes) {
  return Buffer.from(bytes).toString("hex");
}

function withTypedGids(message) {
  const gid = (g) => ({ data: Uint8Array.from(g.data) });
  return {
    gid: gid(message.gid),
    node_entities_info_seq: message.node_entities_info_seq.map((node) => ({
      node_namespace: node.node_namespace,
      node_name: node.node_name,
      reader_gid_seq: node.reader_gid_seq.map(gid),
      writer_gid_seq: node.writer_gid_seq.map(gid),
    })),
  };
}

function check(line) {
  const [gidText, payloadHex, json] = line.split("\t");
  const definitions = parse(definitionText(Number(gidText)), { ros2: true });
  const expected = JSON.parse(json);
  let verdict = "ok";
  try {
    const decoded = plain(new MessageReader(definitions).readMessage(Buffer.from(payloadHex, "hex")));
    const got = JSON.stringify(decoded);
    if (got !== JSON.stringify(expected)) verdict = `decoded ${got}`;
  } catch (error) {
    verdict = `cannot decode: ${error.message}`;
  }
  const writer = new MessageWriter(definitions);
  return `${verdict}\t${hex(writer.writeMessage(withTypedGids(expected)))}`;
}

const input = fs.readFileSync(0, "utf8").split("\n").filter((line) => line.length > 0);
process.stdout.write(input.map(check).join("\n") + "\n");
