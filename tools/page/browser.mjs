// Chromium with the page, and what must hold of every page that it shows.
import {readFileSync} from "node:fs";
import {createRequire} from "node:module";
import {join} from "node:path";
import {chromium} from "playwright-core";

import {expect} from "./checks.mjs";
import {until} from "./lab.mjs";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
export const WIDTHS = {wide: 1280, tablet: 768, phone: 375};

export class Browser {
  // What a browser complains of, and every dialog: a script from outside that has run would open one.
  complaints = [];

  async start() {
    this.chromium = await chromium.launch({executablePath: process.env.ORV_CHROMIUM || "/usr/bin/chromium",
      args: ["--no-sandbox", "--disable-dev-shm-usage"]});
  }
  async open(address, options = {}) {
    const context = await this.chromium.newContext({viewport: {width: WIDTHS.wide, height: 900}, timezoneId: "UTC", locale: "en-GB", ...options});
    const page = await context.newPage();
    page.on("console", (message) => { if (message.type() === "error" || message.type() === "warning") this.complaints.push(message.text()); });
    page.on("pageerror", (error) => this.complaints.push(error.message));
    page.on("dialog", (dialog) => { this.complaints.push(`dialog: ${dialog.message()}`); dialog.dismiss(); });
    page.on("request", (request) => { if (new URL(request.url()).host !== new URL(address).host) this.complaints.push(`asks ${request.url()}`); });
    await page.goto(address);
    return page;
  }
  takeComplaints() { return this.complaints.splice(0); }
  async stop() { await this.chromium.close(); }
}

export async function text(page, selector) { return (await page.locator(selector).innerText()).trim(); }

export async function says(page, selector, words, seconds = 30) {
  let last = "";
  await until(`${selector} says "${words}", it says "${last}"`, async () => {
    last = await text(page, selector);
    return last.includes(words);
  }, seconds).catch(() => { throw new Error(`${selector} does not say "${words}" but "${last.slice(0, 300)}"`); });
}

export async function findings(page) {
  await page.evaluate(AXE);
  return page.evaluate(async () => (await globalThis.axe.run()).violations
    .map((one) => `${one.id}: ${one.nodes.map((node) => node.html).join(" | ")}`));
}

// In three widths, light and dark: a picture, nothing beside the page's edge, and axe finds nothing.
export async function pictures(browser, address, directory, state) {
  for (const [name, width] of Object.entries(WIDTHS)) {
    for (const colorScheme of ["light", "dark"]) {
      const page = await browser.open(address, {viewport: {width, height: 900}, colorScheme});
      await page.waitForFunction(() => document.querySelector("#day svg") && !document.getElementById("verdict").textContent.startsWith("Looking"));
      await page.waitForFunction(() => !document.getElementById("captures").textContent.includes("computed"));
      await page.screenshot({path: join(directory, `${state}-${name}-${colorScheme}.png`), fullPage: true});
      const broad = await page.evaluate(() => document.documentElement.scrollWidth);
      expect(broad <= width, `${state}, ${name}: ${broad} pixels broad`);
      const found = await findings(page);
      expect(found.length === 0, `${state}, ${name}, ${colorScheme}: ${found.join("\n")}`);
      await page.context().close();
    }
  }
}

// Tab comes to everything that can be pressed, opened, typed into or scrolled, and what has the focus is to be seen.
export async function keyboardWalk(page) {
  await page.evaluate(() => {
    const all = [...document.querySelectorAll("a[href], button, summary, input, select, [tabindex='0']")];
    all.filter((one) => one.checkVisibility() && !one.disabled).forEach((one, index) => { one.dataset.walk = index; });
    document.activeElement.blur();
  });
  const wanted = await page.locator("[data-walk]").count();
  const reached = new Set();
  for (let step = 0; step < wanted * 2 + 20 && reached.size < wanted; ++step) {
    await page.keyboard.press("Tab");
    const at = await page.evaluate(() => {
      const one = document.activeElement;
      const style = getComputedStyle(one);
      return {walk: one.dataset.walk, outlined: style.outlineStyle !== "none" || one.matches(".skip")};
    });
    expect(at.walk === undefined || at.outlined, `nobody sees that control ${at.walk} has the focus`);
    if (at.walk !== undefined) reached.add(at.walk);
  }
  expect(reached.size === wanted, `Tab comes to ${reached.size} of ${wanted} controls`);
  return `${wanted} controls`;
}
