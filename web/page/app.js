// The live view: a client of the Foxglove WebSocket protocol (JSON operations in text frames,
// samples in binary frames, all little endian) that shows the camera, the lidar, the joints and
// the clock of the server that served this page, and commands the joints.
"use strict";

(function () {
  const { decode, decoders, encodeJointPositions, requests, decodeResult } = window.QorCdr;
  const $ = (id) => document.getElementById(id);
  const params = new URLSearchParams(location.search);
  const token = params.get("token");
  const commandTopic = params.get("command") || "/joint_commands";
  const commandSchema = "sensor_msgs/msg/JointState";
  const plotSeconds = 10;
  const palette = ["#4fc3f7", "#ffb74d", "#81c784", "#e57373", "#ba68c8", "#fff176", "#90a4ae", "#f06292"];

  // What each panel shows: one channel per role, chosen among the advertised ones.
  const roles = {
    camera: { schema: "sensor_msgs/msg/Image", prefer: /image_raw$/, label: "camera-topic", topic: params.get("image") },
    cloud: { schema: "sensor_msgs/msg/PointCloud2", prefer: /points$/, label: "cloud-topic" },
    joints: { schema: "sensor_msgs/msg/JointState", prefer: /joint_states$/, label: "joints-topic" },
    clock: { schema: "rosgraph_msgs/msg/Clock", prefer: /^\/clock$/ },
    description: { schema: "std_msgs/msg/String", prefer: /robot_description$/, only: true },
  };

  let ws = null;
  let capabilities = [];
  let channels = new Map();       // channel id -> advertised channel
  let subscriptions = new Map();  // subscription id -> {role, channel}
  let chosen = {};                // role -> channel id
  let nextSubscriptionId = 1;
  let services = new Map();       // service name suffix -> advertised service
  let pendingCalls = new Map();   // call id -> what it was for
  let nextCallId = 1;
  let commandChannelId = null;
  let decodeErrors = 0;

  const clockSamples = [];  // [wall ms, sim s], the last few seconds
  let latestImage = null;
  let latestCloud = null;
  let latestJoints = null;
  let timeChanged = false;
  const history = new Map();  // joint -> [[sim s, position]]
  let jointNames = [];
  let jointLimits = new Map();  // joint -> [lower, upper], from the robot description
  let lastSimTime = null;

  function log(text) {
    const list = $("log");
    const item = document.createElement("li");
    item.textContent = text;
    list.appendChild(item);
    while (list.children.length > 30) list.removeChild(list.firstChild);  // never floods
  }

  function socketUrl() {
    const scheme = location.protocol === "https:" ? "wss" : "ws";
    return `${scheme}://${location.host}/` + (token === null ? "" : "?token=" + encodeURIComponent(token));
  }

  function send(json) {
    if (ws && ws.readyState === WebSocket.OPEN) ws.send(JSON.stringify(json));
  }

  function connect() {
    ws = new WebSocket(socketUrl(), ["foxglove.websocket.v1"]);
    ws.binaryType = "arraybuffer";
    let opened = false;
    ws.onopen = () => {
      opened = true;
      $("connection").textContent = "connected";
      $("connection").className = "state open";
    };
    ws.onclose = (event) => {
      $("connection").textContent = `disconnected (${event.code}${event.reason ? ": " + event.reason : ""}), retrying` +
        // A refused token shows in the browser as a connection that never opened.
        (opened ? "" : " (if the server wants a token, the address needs ?token=...)");
      $("connection").className = "state";
      reset();
      setTimeout(connect, 2000);
    };
    ws.onmessage = (event) => {
      try {
        if (typeof event.data === "string") onText(JSON.parse(event.data));
        else onBinary(new DataView(event.data));
      } catch (error) {
        noteDecodeError(error);
      }
    };
  }

  function reset() {
    channels = new Map();
    subscriptions = new Map();
    chosen = {};
    services = new Map();
    pendingCalls = new Map();
    commandChannelId = null;
    capabilities = [];
    updateControls();
  }

  function noteDecodeError(error) {
    decodeErrors++;
    // The first and then every hundredth: a stream of bad samples stays one line in a while.
    if (decodeErrors === 1 || decodeErrors % 100 === 0) log(`cannot read a message (${decodeErrors} so far): ${error.message}`);
  }

  function onText(message) {
    switch (message.op) {
      case "serverInfo":
        capabilities = message.capabilities || [];
        $("connection").textContent = `connected to ${message.name}`;
        if (capabilities.includes("clientPublish")) {
          commandChannelId = 1;
          send({ op: "advertise", channels: [{ id: commandChannelId, topic: commandTopic, encoding: "cdr", schemaName: commandSchema }] });
        }
        $("command-topic").textContent = commandTopic;
        updateControls();
        break;
      case "advertise":
        for (const channel of message.channels) channels.set(channel.id, channel);
        chooseChannels();
        break;
      case "unadvertise":
        for (const id of message.channelIds) {
          channels.delete(id);
          for (const [role, channelId] of Object.entries(chosen)) if (channelId === id) delete chosen[role];
          for (const [subscription, entry] of subscriptions) if (entry.channel === id) subscriptions.delete(subscription);
        }
        chooseChannels();
        break;
      case "advertiseServices":
        for (const service of message.services) services.set(service.name.split("/").pop(), service);
        updateControls();
        break;
      case "unadvertiseServices":
        for (const [name, service] of services) if (message.serviceIds.includes(service.id)) services.delete(name);
        updateControls();
        break;
      case "serviceCallFailure":
        log(`${(pendingCalls.get(message.callId) || "call")} failed: ${message.message}`);
        pendingCalls.delete(message.callId);
        break;
      case "status":
        log(["info", "warning", "error"][message.level] + ": " + message.message);
        break;
      default:
        break;  // operations this page has no use for
    }
  }

  function chooseChannels() {
    for (const [role, want] of Object.entries(roles)) {
      if (chosen[role] !== undefined) continue;
      // A topic named in the page's address (?image=/depth/image_raw) is the only one taken.
      const fitting = [...channels.values()].filter((c) => c.schemaName === want.schema && c.topic !== commandTopic &&
                                                          (!want.topic || c.topic === want.topic));
      const best = fitting.find((c) => want.prefer.test(c.topic)) || (want.only ? undefined : fitting[0]);
      if (!best) continue;
      chosen[role] = best.id;
      const id = nextSubscriptionId++;
      subscriptions.set(id, { role, channel: best.id });
      send({ op: "subscribe", subscriptions: [{ id, channelId: best.id }] });
      if (want.label) $(want.label).textContent = best.topic;
    }
  }

  function onBinary(view) {
    const opcode = view.getUint8(0);
    if (opcode === 1) {  // a sample: subscription, log time, CDR
      const entry = subscriptions.get(view.getUint32(1, true));
      const channel = entry && channels.get(entry.channel);
      if (!channel) return;  // of a subscription or channel just dropped
      const bytes = new Uint8Array(view.buffer, view.byteOffset + 13, view.byteLength - 13);
      onSample(entry.role, decode(channel.schemaName, bytes));
    } else if (opcode === 2) {  // the server's time, when no /clock is followed
      if (chosen.clock === undefined) onSimTime(Number(view.getBigUint64(1, true)) / 1e9);
    } else if (opcode === 3) {  // a service's response: service, call, encoding, payload
      const callId = view.getUint32(5, true);
      const encodingLength = view.getUint32(9, true);
      const bytes = new Uint8Array(view.buffer, view.byteOffset + 13 + encodingLength);
      const what = pendingCalls.get(callId) || "call";
      pendingCalls.delete(callId);
      const answer = decodeResult(bytes);
      log(`${what}: ` + (answer.result === 1 ? "done" : `refused (${answer.result}) ${answer.error_message}`));
    }
  }

  function onSample(role, message) {
    if (role === "camera") latestImage = message;
    else if (role === "cloud") latestCloud = message;
    else if (role === "joints") onJoints(message);
    else if (role === "clock") onSimTime(message.clock.sec + message.clock.nanosec / 1e9);
    else if (role === "description") readLimits(message.data);
  }

  // Messages only note what came; the page is drawn once per animation frame (frame()), so that
  // hundreds of states a second cost a browser no more than it can show, and answers behind them
  // are read at once instead of after seconds of queued drawing.
  function onSimTime(seconds) {
    const now = performance.now();
    // Time that went back is a reset: the rate starts over.
    if (lastSimTime !== null && seconds < lastSimTime) clockSamples.length = 0;
    lastSimTime = seconds;
    clockSamples.push([now, seconds]);
    if (now - clockSamples[0][0] > 4000) {
      let old = 0;
      while (clockSamples.length - old > 2 && now - clockSamples[old][0] > 3000) old++;
      clockSamples.splice(0, old);
    }
    timeChanged = true;
  }

  function showSimTime() {
    if (!timeChanged || lastSimTime === null) return;
    timeChanged = false;
    $("sim-time").textContent = lastSimTime.toFixed(3);
    const now = performance.now();
    const [wall0, sim0] = clockSamples[0];
    if (now - wall0 >= 500) $("rtf").textContent = ((lastSimTime - sim0) / ((now - wall0) / 1000)).toFixed(2);
  }

  // Joint limits from the URDF the simulation publishes, for the sliders' ranges.
  function readLimits(urdf) {
    const document_ = new DOMParser().parseFromString(urdf, "application/xml");
    const limits = new Map();
    for (const joint of document_.querySelectorAll("joint")) {
      const limit = joint.querySelector("limit");
      const lower = limit && Number(limit.getAttribute("lower"));
      const upper = limit && Number(limit.getAttribute("upper"));
      if (limit && Number.isFinite(lower) && Number.isFinite(upper) && lower < upper) limits.set(joint.getAttribute("name"), [lower, upper]);
    }
    jointLimits = limits;
    for (const slider of document.querySelectorAll("#joints input[type=range]")) applyLimits(slider);
  }

  function applyLimits(slider) {
    const [lower, upper] = jointLimits.get(slider.dataset.joint) || [-Math.PI, Math.PI];
    slider.min = lower;
    slider.max = upper;
  }

  function onJoints(message) {
    const time = message.header.stamp.sec + message.header.stamp.nanosec / 1e9;
    latestJoints = message;
    message.name.forEach((name, k) => {
      const position = message.position[k];
      if (position === undefined) return;
      let points = history.get(name);
      if (!points) history.set(name, (points = []));
      if (points.length > 0 && time < points[points.length - 1][0]) points.length = 0;  // a reset
      // A point per plotted pixel or so is all a plot can show of states that come every step.
      if (points.length > 0 && time - points[points.length - 1][0] < plotSeconds / 1000) return;
      points.push([time, position]);
      // Trimmed a slice at a time: one shift per state would move the whole history each time.
      if (time - points[0][0] > plotSeconds * 1.1) {
        let old = 0;
        while (old < points.length && time - points[old][0] > plotSeconds) old++;
        points.splice(0, old);
      }
    });
  }

  function showJoints(message) {
    const time = message.header.stamp.sec + message.header.stamp.nanosec / 1e9;
    $("joint-stamp").textContent = time.toFixed(3);
    if (message.name.join("\n") !== jointNames.join("\n")) buildJointRows(message);
    const rows = $("joints").tBodies[0].rows;
    message.name.forEach((name, k) => {
      const position = message.position[k];
      const velocity = message.velocity[k];
      rows[k].cells[1].textContent = position === undefined ? "–" : position.toFixed(4);
      rows[k].cells[2].textContent = velocity === undefined ? "–" : velocity.toFixed(4);
    });
    drawPlot();
  }

  function buildJointRows(message) {
    jointNames = message.name.slice();
    history.clear();
    const body = $("joints").tBodies[0];
    body.textContent = "";
    message.name.forEach((name, k) => {
      const row = body.insertRow();
      row.dataset.joint = name;
      row.insertCell().textContent = name;
      row.insertCell();
      row.insertCell();
      const slider = document.createElement("input");
      slider.type = "range";
      slider.step = "any";
      slider.dataset.joint = name;
      applyLimits(slider);
      slider.value = message.position[k] || 0;
      slider.addEventListener("input", () => commandJoint(name, Number(slider.value)));
      const value = document.createElement("span");
      value.className = "note";
      slider.addEventListener("input", () => (value.textContent = Number(slider.value).toFixed(2)));
      const cell = row.insertCell();
      cell.append(slider, " ", value);
    });
    updateControls();
  }

  function commandJoint(name, position) {
    if (commandChannelId === null || ws.readyState !== WebSocket.OPEN) return;
    const payload = encodeJointPositions([name], [position]);
    const frame = new Uint8Array(5 + payload.length);
    frame[0] = 1;  // client message data
    new DataView(frame.buffer).setUint32(1, commandChannelId, true);
    frame.set(payload, 5);
    ws.send(frame);
  }

  // The simulation-control buttons: each needs the services capability and its service.
  const controls = {
    play: { service: "set_simulation_state", type: "simulation_interfaces/srv/SetSimulationState", argument: 1 },
    pause: { service: "set_simulation_state", type: "simulation_interfaces/srv/SetSimulationState", argument: 2 },
    step: { service: "step_simulation", type: "simulation_interfaces/srv/StepSimulation", argument: 1 },
    reset: { service: "reset_simulation", type: "simulation_interfaces/srv/ResetSimulation", argument: 0 },
  };

  function updateControls() {
    for (const [id, control] of Object.entries(controls)) {
      const button = $(id);
      const service = services.get(control.service);
      if (!capabilities.includes("services")) {
        button.disabled = true;
        button.title = "this server does not offer service calls";
      } else if (!service || service.type !== control.type) {
        button.disabled = true;
        button.title = `no ${control.service} service (${control.type}) is offered`;
      } else {
        button.disabled = false;
        button.title = `calls ${service.name}`;
      }
    }
    const publishing = capabilities.includes("clientPublish");
    for (const slider of document.querySelectorAll("#joints input[type=range]")) {
      slider.disabled = !publishing;
      slider.title = publishing ? `publishes a position command on ${commandTopic}` : "this server does not accept messages from clients";
    }
  }

  function callService(id) {
    const control = controls[id];
    const service = services.get(control.service);
    if (!service) return;
    const payload = requests[control.type](control.argument);
    const encoding = new TextEncoder().encode("cdr");
    const frame = new Uint8Array(13 + encoding.length + payload.length);
    const view = new DataView(frame.buffer);
    const callId = nextCallId++;
    frame[0] = 2;  // service call request
    view.setUint32(1, service.id, true);
    view.setUint32(5, callId, true);
    view.setUint32(9, encoding.length, true);
    frame.set(encoding, 13);
    frame.set(payload, 13 + encoding.length);
    pendingCalls.set(callId, id);
    ws.send(frame);
  }

  for (const id of Object.keys(controls)) $(id).addEventListener("click", () => callService(id));

  // Drawing, once per animation frame, of the newest image and cloud only.
  function drawImage(image) {
    const canvas = $("camera");
    const { width, height, step, data, encoding } = image;
    const channelsOf = { rgb8: 3, bgr8: 3, rgba8: 4, bgra8: 4, mono8: 1, "8UC1": 1, mono16: 2, "16UC1": 2 };
    const bytesPerPixel = channelsOf[encoding];
    if (bytesPerPixel === undefined) {
      $("camera-info").textContent = `cannot show the encoding ${encoding}`;
      return;
    }
    // Checked before the canvas takes the size: an image is never larger than its bytes.
    if (width === 0 || height === 0 || step < width * bytesPerPixel ||
        step * (height - 1) + width * bytesPerPixel > data.length) {
      $("camera-info").textContent = `cannot show ${encoding} ${width}×${height}: step ${step} and ${data.length} bytes do not fit`;
      return;
    }
    const context = canvas.getContext("2d");
    if (canvas.width !== width || canvas.height !== height) {
      canvas.width = width;
      canvas.height = height;
    }
    const out = context.createImageData(width, height);
    const rgba = out.data;
    const view = new DataView(data.buffer, data.byteOffset, data.byteLength);
    let scale = 1;
    if (bytesPerPixel === 2) {
      // Depth: the farthest value of the frame is white.
      let max = 0;
      for (let y = 0; y < height; y++) for (let x = 0; x < width; x++) max = Math.max(max, view.getUint16(y * step + 2 * x, !image.is_bigendian));
      scale = max > 0 ? 255 / max : 0;
    }
    for (let y = 0, o = 0; y < height; y++) {
      const row = y * step;
      for (let x = 0; x < width; x++, o += 4) {
        const i = row + x * bytesPerPixel;
        if (encoding === "rgb8" || encoding === "rgba8") { rgba[o] = data[i]; rgba[o + 1] = data[i + 1]; rgba[o + 2] = data[i + 2]; }
        else if (encoding === "bgr8" || encoding === "bgra8") { rgba[o] = data[i + 2]; rgba[o + 1] = data[i + 1]; rgba[o + 2] = data[i]; }
        else if (bytesPerPixel === 1) { rgba[o] = rgba[o + 1] = rgba[o + 2] = data[i]; }
        else { rgba[o] = rgba[o + 1] = rgba[o + 2] = view.getUint16(i, !image.is_bigendian) * scale; }
        rgba[o + 3] = 255;
      }
    }
    context.putImageData(out, 0, 0);
    $("camera-info").textContent = `${encoding} ${width}×${height}, stamp ${(image.header.stamp.sec + image.header.stamp.nanosec / 1e9).toFixed(3)}`;
  }

  function drawCloud(cloud) {
    const canvas = $("cloud");
    const context = canvas.getContext("2d");
    const field = (name) => cloud.fields.find((f) => f.name === name && (f.datatype === 7 || f.datatype === 8));
    const x = field("x"), y = field("y"), z = field("z");
    const count = cloud.width * cloud.height;
    const size = (f) => (f.datatype === 7 ? 4 : 8);
    // Points that fit in their step and steps that fit in the bytes: the loop below is bounded by
    // the sample's size, whatever width and height say.
    const fits = x && y && [x, y, z].every((f) => !f || f.offset + size(f) <= cloud.point_step) &&
                 count * cloud.point_step <= cloud.data.length;
    if (!fits) {
      $("cloud-info").textContent = `cannot show a cloud of ${count} points of ${cloud.point_step} bytes in ${cloud.data.length} bytes ` +
        "(it needs float x and y within each point)";
      return;
    }
    const view = new DataView(cloud.data.buffer, cloud.data.byteOffset, cloud.data.byteLength);
    const little = !cloud.is_bigendian;
    const read = (f, base) => (f.datatype === 7 ? view.getFloat32(base + f.offset, little) : view.getFloat64(base + f.offset, little));
    const points = [];
    let reach = 1, low = Infinity, high = -Infinity;
    for (let n = 0; n < count; n++) {
      const base = n * cloud.point_step;
      const px = read(x, base), py = read(y, base), pz = z ? read(z, base) : 0;
      if (!Number.isFinite(px) || !Number.isFinite(py)) continue;
      points.push([px, py, pz]);
      reach = Math.max(reach, Math.abs(px), Math.abs(py));
      low = Math.min(low, pz);
      high = Math.max(high, pz);
    }
    reach = Math.ceil(reach);
    const side = canvas.width;
    const half = side / 2;
    const metre = half / reach;
    context.fillStyle = "#000";
    context.fillRect(0, 0, side, side);
    context.strokeStyle = "#2e3a46";
    for (let r = 1; r <= reach; r++) {
      context.beginPath();
      context.arc(half, half, r * metre, 0, 2 * Math.PI);
      context.stroke();
    }
    // x forward is up, y left is left, as seen from above.
    for (const [px, py, pz] of points) {
      const hue = high > low ? 240 - 240 * (pz - low) / (high - low) : 120;
      context.fillStyle = `hsl(${hue},90%,55%)`;
      context.fillRect(half - py * metre - 1, half - px * metre - 1, 2, 2);
    }
    $("cloud-info").textContent = `${points.length} points in ${cloud.header.frame_id}, rings every metre`;
  }

  function drawPlot() {
    const canvas = $("plot");
    const context = canvas.getContext("2d");
    const { width, height } = canvas;
    context.fillStyle = "#000";
    context.fillRect(0, 0, width, height);
    let low = Infinity, high = -Infinity, end = -Infinity;
    for (const points of history.values()) for (const [t, p] of points) { low = Math.min(low, p); high = Math.max(high, p); end = Math.max(end, t); }
    if (!Number.isFinite(end)) return;
    if (high - low < 0.2) { low -= 0.1; high += 0.1; }
    const toX = (t) => width - ((end - t) / plotSeconds) * width;
    const toY = (p) => height - 14 - ((p - low) / (high - low)) * (height - 28);
    jointNames.forEach((name, k) => {
      const points = history.get(name) || [];
      context.strokeStyle = palette[k % palette.length];
      context.beginPath();
      points.forEach(([t, p], i) => (i === 0 ? context.moveTo(toX(t), toY(p)) : context.lineTo(toX(t), toY(p))));
      context.stroke();
      context.fillStyle = context.strokeStyle;
      context.fillText(name, 6 + 90 * k, 11);
    });
    context.fillStyle = "#8b96a3";
    context.fillText(`${high.toFixed(2)}`, width - 40, 24);
    context.fillText(`${low.toFixed(2)}   last ${plotSeconds} s`, width - 110, height - 3);
  }

  function frame() {
    try {
      if (latestImage) drawImage(latestImage);
      if (latestCloud) drawCloud(latestCloud);
      if (latestJoints) showJoints(latestJoints);
      showSimTime();
    } catch (error) {
      noteDecodeError(error);
    }
    latestImage = null;
    latestCloud = null;
    latestJoints = null;
    requestAnimationFrame(frame);
  }

  if (!decoders) throw new Error("cdr.js did not load");
  updateControls();
  connect();
  requestAnimationFrame(frame);
})();
