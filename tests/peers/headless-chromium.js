// Headless Debian Chromium driven by playwright-core, for the checks of the live view's page: a
// fresh profile each time, removed afterwards, and the page's console kept for the evidence.
"use strict";

const fs = require("fs");
const os = require("os");
const path = require("path");
const { chromium } = require("playwright-core");

const ARGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
              "--disable-background-networking", "--disable-component-update", "--disable-sync"];

// Runs `use(page, consoleLines)` in a new browser and prints, when it throws, "error <why>", the
// page's text and its console. Resolves to the exit code: 0, or 1 after an error.
async function withPage(use) {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), "qor-live-view-"));
  const consoleLines = [];
  let context = null;
  let code = 0;
  try {
    context = await chromium.launchPersistentContext(profile, {
      executablePath: "/usr/bin/chromium",
      headless: true,
      viewport: { width: 1100, height: 900 },
      args: ARGS,
    });
    const page = context.pages()[0] || (await context.newPage());
    page.on("console", (message) => consoleLines.push(`${message.type()}: ${message.text()}`));
    page.on("pageerror", (error) => consoleLines.push(`pageerror: ${error.message}`));
    try {
      await use(page);
    } catch (error) {
      code = 1;
      console.log(`error ${error.message.split("\n")[0]}`);
      const text = await page.evaluate(() => document.body.innerText).catch(() => "(no page)");
      console.log(`page text:\n${text}`);
    }
  } catch (error) {
    code = 1;
    console.log(`error cannot start the browser: ${error.message.split("\n")[0]}`);
  } finally {
    if (consoleLines.length > 0) console.log(`console:\n${consoleLines.slice(-40).join("\n")}`);
    if (context) await context.close().catch(() => {});
    fs.rmSync(profile, { recursive: true, force: true });
  }
  return code;
}

// Resolves to the first true value `condition()` gives, asked every 100 ms; throws, naming
// `what`, once `timeout` ms have passed without one, also when a page too busy to answer holds
// `condition()` up.
async function waitUntil(what, condition, timeout) {
  const end = Date.now() + timeout;
  let timer = null;
  const late = new Promise((resolve, reject) => {
    timer = setTimeout(() => reject(new Error(`${what}: not within ${timeout / 1000} s`)), timeout);
  });
  try {
    for (;;) {
      const value = await Promise.race([condition(), late]);
      if (value) return value;
      if (Date.now() > end) throw new Error(`${what}: not within ${timeout / 1000} s`);
      await new Promise((resolve) => setTimeout(resolve, 100));
    }
  } finally {
    clearTimeout(timer);
  }
}

module.exports = { withPage, waitUntil };
