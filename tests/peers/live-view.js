// Loads the live view's page in headless Chromium (driven by playwright-core) and uses it as a
// user would, printing one line per thing it saw, for the test to check:
//   camera <distinct pixel values in the camera canvas> <width>x<height>
//   cloud <points drawn> <frame>
//   joints <joint stamp> <joint stamp later>
//   clock <sim time> <real-time factor>
//   control <button id> <enabled|disabled> <its title>
//   moved <joint> <value>
//   table <joint> <position shown once it came within 0.05 of the value>
//   screenshot <path>
//   error <what did not happen>, then the page's text and console: it exits 1
// Usage: node live-view.js URL SCREENSHOT.png JOINT VALUE [SECONDS]
// SECONDS bounds each wait (default 30).
"use strict";

const { withPage } = require("./headless-chromium");

const [url, screenshot, joint, valueText, secondsText] = process.argv.slice(2);
if (!url || !screenshot || !joint || !Number.isFinite(Number(valueText))) {
  console.log("error usage: node live-view.js URL SCREENSHOT.png JOINT VALUE [SECONDS]");
  process.exit(2);
}
const value = Number(valueText);
const timeout = 1000 * (Number(secondsText) || 30);

async function main(page) {
  const response = await page.goto(url, { timeout });
  if (!response || !response.ok()) throw new Error(`GET ${url} answered ${response ? response.status() : "nothing"}`);

  // The camera canvas shows an image once it holds more than a handful of distinct pixels.
  const camera = await page.waitForFunction(() => {
    const canvas = document.getElementById("camera");
    const pixels = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
    const seen = new Set();
    for (let i = 0; i < pixels.length; i += 4) seen.add((pixels[i] << 16) | (pixels[i + 1] << 8) | pixels[i + 2]);
    return seen.size > 50 ? `${seen.size} ${canvas.width}x${canvas.height}` : false;
  }, null, { timeout, polling: 200 });
  console.log(`camera ${await camera.jsonValue()}`);

  // The lidar's cloud from above, every point it could place.
  const cloud = await page.waitForFunction(() => {
    const match = /^(\d+) points in (\S+),/.exec(document.getElementById("cloud-info").textContent);
    return match && Number(match[1]) > 0 ? `${match[1]} ${match[2]}` : false;
  }, null, { timeout, polling: 200 });
  console.log(`cloud ${await cloud.jsonValue()}`);

  // The joint table follows the joint states: its stamp moves on.
  const stamp = () => page.$eval("#joint-stamp", (e) => e.textContent);
  await page.waitForFunction(() => /^[0-9.]+$/.test(document.getElementById("joint-stamp").textContent), null, { timeout });
  const first = await stamp();
  await page.waitForFunction((before) => document.getElementById("joint-stamp").textContent !== before, first, { timeout });
  console.log(`joints ${first} ${await stamp()}`);

  await page.waitForFunction(() => document.getElementById("rtf").textContent !== "–", null, { timeout });
  console.log(`clock ${await page.$eval("#sim-time", (e) => e.textContent)} ${await page.$eval("#rtf", (e) => e.textContent)}`);

  // One look at the four buttons: each call into a loaded browser takes its time.
  const controls = await page.$$eval("header button", (buttons) => buttons.map((b) => [b.id, b.disabled, b.title]));
  for (const [id, disabled, title] of controls) console.log(`control ${id} ${disabled ? "disabled" : "enabled"} ${title}`);

  // The slider is moved as a user drags it: its value changes, then an input event.
  const slider = page.locator(`#joints input[type=range][data-joint="${joint}"]`);
  await slider.waitFor({ timeout });
  await slider.evaluate((element, target) => {
    element.value = String(target);
    element.dispatchEvent(new Event("input", { bubbles: true }));
  }, value);
  console.log(`moved ${joint} ${await slider.inputValue()}`);

  const shown = await page.waitForFunction(([name, target]) => {
    const row = document.querySelector(`#joints tr[data-joint="${name}"]`);
    const position = row ? Number(row.cells[1].textContent) : NaN;
    return Math.abs(position - target) < 0.05 ? String(position) : false;
  }, [joint, value], { timeout, polling: 100 });
  console.log(`table ${joint} ${await shown.jsonValue()}`);

  await page.screenshot({ path: screenshot, fullPage: true });
  console.log(`screenshot ${screenshot}`);
}

withPage(main).then((code) => process.exit(code));
