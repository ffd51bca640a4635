// Writes an MCAP file with @mcap/core's writer from a JSON description, so that our reader is
// checked against files it did not write. Usage: node mcap-write.js DESCRIPTION.json OUT.mcap
// The description: { profile, chunked, compression: "" | "zstd" | "lz4", chunkSize, summary,
//   statistics (default: as summary),
//   schemas: [{name, encoding, data}], channels: [{topic, schema (1-based, 0: none), encoding,
//   metadata}], metadata: [{name, entries}],
//   messages: [{channel (0-based index into channels), sequence, logTime, publishTime, data (hex)}] }
"use strict";
const fs = require("fs");
const { execFileSync } = require("child_process");
const { McapWriter } = require("@mcap/core");
const zstd = require("@foxglove/wasm-zstd");

// LZ4 frames from the lz4 tool: no npm package of the peers compresses them.
const lz4Frame = (data) => new Uint8Array(execFileSync("lz4", ["-c", "-q", "--content-size"], { input: data }));

async function main() {
  const [descriptionFile, outFile] = process.argv.slice(2);
  const d = JSON.parse(fs.readFileSync(descriptionFile, "utf8"));
  await zstd.isLoaded;
  const chunks = [];
  let position = 0n;
  const writable = {
    position: () => position,
    write: async (buffer) => {
      chunks.push(Buffer.from(buffer));
      position += BigInt(buffer.byteLength);
    },
  };
  const compressChunk =
    d.compression === "zstd"
      ? (data) => ({ compression: "zstd", compressedData: new Uint8Array(zstd.compress(data, 3)) })
      : d.compression === "lz4"
        ? (data) => ({ compression: "lz4", compressedData: lz4Frame(data) })
        : undefined;
  const summary = d.summary !== false;
  const writer = new McapWriter({
    writable,
    useChunks: d.chunked !== false,
    chunkSize: d.chunkSize ?? 1024,
    compressChunk,
    useStatistics: d.statistics ?? summary,
    useSummaryOffsets: summary,
    repeatSchemas: summary,
    repeatChannels: summary,
    useMetadataIndex: summary,
    useAttachmentIndex: summary,
    useChunkIndex: summary,
    useMessageIndex: summary,
  });
  await writer.start({ profile: d.profile ?? "ros2", library: "mcap-write.js" });
  const schemaIds = [0];
  for (const s of d.schemas ?? []) {
    schemaIds.push(await writer.registerSchema({ name: s.name, encoding: s.encoding, data: Buffer.from(s.data) }));
  }
  const channelIds = [];
  for (const c of d.channels ?? []) {
    channelIds.push(
      await writer.registerChannel({
        topic: c.topic,
        schemaId: schemaIds[c.schema ?? 0],
        messageEncoding: c.encoding,
        metadata: new Map(Object.entries(c.metadata ?? {})),
      }),
    );
  }
  for (const m of d.metadata ?? []) {
    await writer.addMetadata({ name: m.name, metadata: new Map(Object.entries(m.entries)) });
  }
  for (const m of d.messages ?? []) {
    await writer.addMessage({
      channelId: channelIds[m.channel],
      sequence: m.sequence,
      logTime: BigInt(m.logTime),
      publishTime: BigInt(m.publishTime),
      data: Buffer.from(m.data, "hex"),
    });
  }
  await writer.end();
  fs.writeFileSync(outFile, Buffer.concat(chunks));
  process.stdout.write(JSON.stringify({ channelIds, schemaIds: schemaIds.slice(1) }) + "\n");
}

main().catch((error) => {
  process.stderr.write(`mcap-write.js: ${error.stack ?? error}\n`);
  process.exitCode = 1;
});
