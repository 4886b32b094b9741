// Browsers that mean no good, many at once, and what all of them cost.
import http from "node:http";
import net from "node:net";

import {check, expect, expectIn} from "./checks.mjs";
import {says} from "./browser.mjs";
import {until} from "./lab.mjs";

const MOST_MEMORY = 96 * 1024;

function ask(port, path, {method = "GET", headers = {}, body} = {}) {
  return new Promise((resolve, reject) => {
    const request = http.request({host: "127.0.0.1", port, path, method, agent: false, headers}, (answer) => {
      let all = "";
      answer.on("data", (data) => { all += data; });
      answer.on("end", () => resolve({status: answer.statusCode, body: all}));
    });
    request.setTimeout(20000, () => request.destroy(new Error("no answer in 20 s")));
    request.on("error", reject);
    request.end(body);
  });
}

function connect(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, "127.0.0.1");
    socket.on("error", () => resolve(socket));
    socket.on("connect", () => resolve(socket));
  });
}

async function answersIn(port, seconds) {
  const begin = Date.now();
  const answer = await ask(port, "/api/status");
  expect(answer.status === 200, `${answer.status}`);
  expect(Date.now() - begin < seconds * 1000, `it took ${Date.now() - begin} ms`);
  return `${Date.now() - begin} ms`;
}

async function names(port, token) {
  await check("a foreign Host is refused, and a foreign Origin", async () => {
    for (const host of ["evil.example", `evil.example:${port}`, "127.0.0.1"]) {
      expect((await ask(port, "/api/status", {headers: {Host: host}})).status === 421, host);
    }
    const headers = {"X-CallHome": "page", "X-CallHome-Token": token};
    for (const Origin of ["http://evil.example", "null"]) {
      expect((await ask(port, "/api/try", {method: "POST", headers: {...headers, Origin}})).status === 403, Origin);
    }
    expect((await ask(port, "/api/try", {method: "POST", headers})).status === 200, "the page's own is refused");
  });
}

async function masses(lab, port) {
  await check("a gigabyte is refused, not kept", async () => {
    const socket = await connect(port);
    socket.setMaxListeners(0);
    let said = "";
    socket.on("data", (data) => { said += data; });
    socket.write(`POST /api/test HTTP/1.1\r\nHost: 127.0.0.1:${port}\r\nX-CallHome: page\r\nContent-Length: ${2 ** 30}\r\n\r\n`);
    const part = Buffer.alloc(1 << 20, "x");
    for (let sent = 0; sent < 1024 && !socket.destroyed; ++sent) {
      if (!socket.write(part)) await Promise.race([new Promise((go) => socket.once("drain", go)), new Promise((go) => socket.once("close", go))]);
    }
    socket.destroy();
    await answersIn(port, 5);
    const memory = lab.memory("serve");
    expect(memory < MOST_MEMORY, `${memory} kB`);
    return `${said.split("\r\n")[0] || "closed"}; at most ${Math.round(memory / 1024)} MB`;
  });
  await check("garbage and a thousand connections keep nobody out", async () => {
    const sockets = await Promise.all(Array.from({length: 1000}, () => Promise.race([connect(port), new Promise((go) => setTimeout(go, 3000))])));
    sockets.forEach((socket, index) => { if (socket && index % 2 === 0) socket.write(Buffer.from([0, 255, 13, 10, 13, 10])); });
    const took = await answersIn(port, 15);
    sockets.forEach((socket) => socket && socket.destroy());
    expect(lab.memory("serve") < MOST_MEMORY, `${lab.memory("serve")} kB`);
    return took;
  });
  await check("two hundred that trickle keep nobody out", async () => {
    const sockets = await Promise.all(Array.from({length: 200}, () => connect(port)));
    sockets.forEach((socket) => socket.write("GET / HTTP/1.1\r\nX: "));
    const trickle = setInterval(() => sockets.forEach((socket) => { if (socket.writable) socket.write("x"); }), 100);
    const took = await answersIn(port, 3);
    clearInterval(trickle);
    sockets.forEach((socket) => socket.destroy());
    return took;
  });
  await check("a slow request is let go", async () => {
    const socket = await connect(port);
    socket.write("GET / HTT");
    socket.resume();
    await until("it is closed", () => socket.destroyed, 10);
  });
}

async function crowd(lab, browser, address) {
  await check("twenty browsers wait for nothing and cost the daemon next to nothing", async () => {
    const alone = [lab.cpu("orvApp"), Date.now()];
    await new Promise((go) => setTimeout(go, 10000));
    const own = (lab.cpu("orvApp") - alone[0]) / (Date.now() - alone[1]) * 1000;
    const size = lab.traceSize();
    const pages = await Promise.all(Array.from({length: 20}, () => browser.open(address)));
    await Promise.all(pages.map((page) => page.waitForFunction(() => document.querySelector("#day svg") && document.querySelector("#log li"), null, {polling: 500, timeout: 120000})));
    const begin = [lab.cpu("orvApp"), Date.now()];
    await new Promise((go) => setTimeout(go, 10000));
    const watched = (lab.cpu("orvApp") - begin[0]) / (Date.now() - begin[1]) * 1000;
    await Promise.all(pages.map((page) => page.context().close()));
    expect(watched - own < 1, `${watched} ms a second, alone ${own}`);
    expect(lab.traceSize() === size, `the trace grew by ${lab.traceSize() - size} bytes`);
    return `orvApp's processor time ${own.toFixed(2)} ms a second alone, ${watched.toFixed(2)} watched`;
  });
  await check("twenty ask at once while the daemon stands still, and wait for nothing", async () => {
    const {port} = new URL(address);
    const runs = await longestOfTwenty(port);
    lab.children.orvApp.kill("SIGSTOP");
    const stands = await longestOfTwenty(port);
    lab.children.orvApp.kill("SIGCONT");
    expect(stands < runs + 2000, `${stands} ms; ${runs} ms while it runs`);
    return `the longest answer took ${stands} ms, ${runs} ms while it runs`;
  });
}

async function longestOfTwenty(port) {
  const paths = ["/api/status", "/api/queue", "/api/log", "/api/profiles", "/api/day"];
  return Math.max(...await Promise.all(Array.from({length: 20}).flatMap(() => paths).map(async (path) => {
    const begin = Date.now();
    expect((await ask(port, path)).status === 200, path);
    return Date.now() - begin;
  })));
}

async function firstPaints(browser, address) {
  const paints = [];
  for (let load = 0; load < 5; ++load) {
    const page = await browser.open(address);
    paints.push(await page.waitForFunction(() => performance.getEntriesByName("first-contentful-paint")[0]?.startTime).then((one) => one.jsonValue()));
    await page.context().close();
  }
  return paints;
}

export async function strangers({lab, browser, address}) {
  const {port, hash} = new URL(address);
  await check("a token of yesterday changes nothing", async () => {
    const page = await browser.open(address.replace(hash, `#${"0".repeat(32)}`));
    await page.locator("#try").click();
    await says(page, "#answer", "not that of this run");
    await page.context().close();
    // A refusal is an error to the browser's console, too.
    const complaints = browser.takeComplaints();
    expect(complaints.every((one) => one.includes("403")), complaints.join("\n"));
  });
  await check("without --allow-changes there is nothing to press but Ask and Preview", async () => {
    const page = await browser.open(address.replace(hash, ""));
    await until("profiles", async () => (await page.locator("#profiles tr").count()) > 0);
    const buttons = await page.locator("button:visible").allInnerTexts();
    expect(buttons.every((one) => ["Ask orvApp now", "Preview"].includes(one)), buttons.join(", "));
    await page.context().close();
  });
  await check("the first paint is there within 300 ms", async () => {
    const [paints, words] = [await firstPaints(browser, address), await firstPaints(browser, new URL("/healthz", address).href)];
    const remark = `${paints.map(Math.round).join(", ")} ms; of a page of two words ${words.map(Math.round).join(", ")} ms`;
    // What else the machine does only adds; where even two words take long it says nothing about the page.
    expect(Math.min(...paints) < Math.max(300, 3 * Math.min(...words)), remark);
    return remark;
  });
  await names(Number(port), hash.slice(1));
  await crowd(lab, browser, address);
  await masses(lab, Number(port));
  expectIn((await ask(Number(port), "/metrics")).body, "# EOF");
}
