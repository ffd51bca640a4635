// The live view's page in headless Chromium against a server that offers the simulation services
// (the demo's --web): each button clicked as a user would, the answer the page logs, and the
// simulation time it shows. It prints "ok <what>" for each check, and "error <what>" with the
// page's text and console at the first that fails (exit 1):
//   - the four buttons enabled, each titled with the service it calls;
//   - Pause: "pause: done", and the time shown stands still;
//   - Step: "step: done", and the time shown moves on by one step of STEP_SECONDS;
//   - Reset then Step: the time shown is back at the first step;
//   - Play: "play: done", and the time moves on again.
// Usage: node live-view-buttons.js URL STEP_SECONDS [SECONDS]  (SECONDS bounds each wait)
"use strict";

const { withPage, waitUntil: waitUntilWithin } = require("./headless-chromium");

const [url, stepText, secondsText] = process.argv.slice(2);
const step = Number(stepText);
if (!url || !(step > 0)) {
  console.log("error usage: node live-view-buttons.js URL STEP_SECONDS [SECONDS]");
  process.exit(2);
}
const timeout = 1000 * (Number(secondsText) || 30);
// How long the time shown must not change to count as standing still: far above a step.
const stillMs = 2000;

const waitUntil = (what, condition) => waitUntilWithin(what, condition, timeout);

async function main(page) {
  const response = await page.goto(url, { timeout });
  if (!response || !response.ok()) throw new Error(`GET ${url} answered ${response ? response.status() : "nothing"}`);
  const simTime = () => page.$eval("#sim-time", (e) => e.textContent);
  // How many log lines hold `text`: a button's answer is a new line each time.
  const count = (text) => page.$eval("#log", (l, t) => [...l.querySelectorAll("li")].filter((li) => li.textContent.includes(t)).length, text);
  const click = async (id, answer) => {
    const before = await count(answer);
    await page.click(`#${id}`);
    await waitUntil(`the log line "${answer}" after ${id}`, async () => (await count(answer)) > before);
  };

  const titles = { play: "set_simulation_state", pause: "set_simulation_state", step: "step_simulation", reset: "reset_simulation" };
  for (const [id, service] of Object.entries(titles)) {
    await waitUntil(`${id} enabled`, () => page.$eval(`#${id}`, (b) => !b.disabled));
    const title = await page.$eval(`#${id}`, (b) => b.title);
    if (title !== `calls /${service}`) throw new Error(`${id}'s title: "${title}", not "calls /${service}"`);
  }
  console.log("ok buttons enabled");
  await waitUntil("a simulation time", async () => Number(await simTime()) > 0);

  await click("pause", "pause: done");
  let shown = await simTime();
  let since = Date.now();
  await waitUntil("the time standing still after Pause", async () => {
    const now = await simTime();
    if (now !== shown) {
      shown = now;
      since = Date.now();
    }
    return Date.now() - since >= stillMs;
  });
  console.log(`ok paused at ${shown}`);

  await click("step", "step: done");
  const next = (Number(shown) + step).toFixed(3);
  await waitUntil(`the time at ${next} after one step from ${shown}`, async () => (await simTime()) === next);
  console.log(`ok stepped to ${next}`);

  await click("reset", "reset: done");
  await click("step", "step: done");
  await waitUntil(`the time back at the first step after Reset (${await simTime()})`,
                  async () => Number(await simTime()) <= 2 * step + 1e-9);
  console.log(`ok reset to ${await simTime()}`);

  await click("play", "play: done");
  const played = await simTime();
  await waitUntil(`the time moving on from ${played} after Play`, async () => Number(await simTime()) > Number(played) + 10 * step);
  console.log("ok playing");
}

withPage(main).then((code) => process.exit(code));
