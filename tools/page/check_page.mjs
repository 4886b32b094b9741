// The page in a real browser: node check_page.mjs PROGRAMS TOP PICTURES
import {mkdirSync} from "node:fs";

import {Browser} from "./browser.mjs";
import {check, expect, tally} from "./checks.mjs";
import {Lab} from "./lab.mjs";
import {strangers} from "./strangers.mjs";
import {endings, walk} from "./walk.mjs";

const [programs, top, directory] = process.argv.slice(2);
mkdirSync(directory, {recursive: true});
const lab = new Lab(programs, top);
const browser = new Browser();
try {
  await lab.start();
  const address = await lab.startPage("--allow-changes");
  await browser.start();
  const page = await browser.open(address);
  const room = {lab, browser, page, address, directory};
  await walk(room);
  await check("the browser has complained of nothing", () => {
    const complaints = browser.takeComplaints();
    expect(complaints.length === 0, complaints.join("\n"));
  });
  await strangers(room);
  await endings(room);
} catch (error) {
  tally.failed += 1;
  console.log(`FAILED  ${error.stack}`);
} finally {
  await browser.stop().catch(() => {});
  await lab.stop();
}
console.log(`${tally.passed} passed, ${tally.failed} failed`);
process.exit(tally.failed === 0 && tally.passed > 0 ? 0 : 1);
