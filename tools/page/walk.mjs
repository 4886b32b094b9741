// The walk of docs/operator.md: what the page offers is done by clicks, the rest by switchctl between them.
import {check, expect, expectIn} from "./checks.mjs";
import {keyboardWalk, pictures, says, text} from "./browser.mjs";
import {until} from "./lab.mjs";

const EVIL = "<script>alert(1)</script>";

function event(lab, words, number = "0x00010002") { return lab.ctl("event", "log", "--type", "0", "--number", number, "--slot", "3", words); }

function without(mail, ...names) {
  return mail.split("\n").map((line) => line.trimEnd()).filter((line) => !names.some((name) => line.startsWith(name))).join("\n").trim();
}

async function setUp({lab, page}) {
  await check("an empty switch: what to mend, in order, each with its remedy", async () => {
    await says(page, "#verdict", "CallHome cannot send.");
    const problems = await page.locator("#problems li").allInnerTexts();
    expect(problems.length === 4, `${problems.length} problems: ${problems}`);
    expectIn(problems[0], "CallHome is switched off");
    expectIn(problems[0], "switchctl callhome setup --enable");
    expectIn(await text(page, "#profiles-empty"), "nobody is told anything");
  });
  await check("set up by switchctl, the page can send and says so by itself", async () => {
    lab.port = await lab.startMailServer("mail1");
    await lab.ctl("callhome", "setup", "--enable", "--from", "switch@example.com", "--smtp", `1-127.0.0.1:${lab.port}`);
    await lab.ctl("profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email", "operator@example.com", "--subject", "Switch in the lab");
    await lab.ctl("profile", "add", "Support", "--level", "None", "--format", "FullText", "--email", "support@example.com", "--capture", "Mon,02:30,1");
    await says(page, "#servers", `127.0.0.1:${lab.port}`);
    await says(page, "#profiles", "operator@example.com");
    await page.click("#ask");
    await says(page, "#asked", "orvApp was asked");
    await until("it can send", async () => {
      await lab.ctl("status", "--json").catch(() => "");
      return (await text(page, "#verdict")) === "CallHome can send.";
    }, 30).catch(async () => {
      await page.waitForTimeout(10000);  // so often a person may ask
      await page.click("#ask");
      await says(page, "#verdict", "CallHome can send.");
    });
  });
}

async function firstMail({lab, page}) {
  await check("Test: a test message arrives", async () => {
    await page.click("button[aria-label='Test: send a message to Operators']");
    await says(page, "#answer", "operator@example.com taken");
    expect(lab.mails("mail1").length === 1, `${lab.mails("mail1").length} mails`);
  });
  await check("Preview: the mail that is delivered then, but for its dates", async () => {
    await page.fill("#preview-text", "Power supply 1 has failed");
    await page.click("button[aria-label='Preview: the mail that Operators would get']");
    await says(page, "#preview-line", "a mail to operator@example.com");
    const shown = await page.locator("#preview-mail").textContent();
    await lab.ctl("event", "log", "--type", "0", "--number", "0x00010002", "Power supply 1 has failed");
    const mail = await until("the mail", () => lab.mails("mail1").find((one) => one.includes("Power supply 1 has failed")));
    const OF_THE_WAY = ["Date:", "Time:", "X-"];
    const [ours, theirs] = [without(shown, ...OF_THE_WAY), without(mail, ...OF_THE_WAY)].map((one) => one.split("\n"));
    const different = ours.map((line, at) => [line, theirs[at]]).filter(([one, other]) => one !== other);
    expect(different.length === 0 && ours.length === theirs.length, `shown and delivered: ${JSON.stringify(different.slice(0, 3))}`);
  });
  await check("Preview: who gets none, and why", async () => {
    await page.selectOption("#preview-type", "3");
    await page.fill("#preview-text", "A fan is slow");
    await page.click("button[aria-label='Preview: the mail that Support would get']");
    await says(page, "#preview-line", "Support: none, the event is");
    expect(!(await page.locator("#preview-mail").isVisible()), "a mail is shown");
    await page.selectOption("#preview-type", "0");
  });
  await check("the captures with their next ten dates", async () => {
    await says(page, "#captures", "Mon 02:30, every week");
    await until("dates", async () => (await page.locator("#captures li").count()) === 10);
    await page.click("#captures summary");
    const dates = await page.locator("#captures li").allInnerTexts();
    expect(dates.every((date) => /^Mon \d{4}-\d\d-\d\d 02:30:00 UTC$/.test(date)), dates.join(", "));
  });
}

async function serverDies({lab, page, browser, directory, address}) {
  await check("the mail server dies: what to do, the failure, the countdown, what waits", async () => {
    await lab.end("mail1");
    await event(lab, EVIL, "0x00010003");
    await says(page, "#verdict", "CallHome cannot send.");
    await says(page, "#problems", "cannot be reached: Connection refused");
    await says(page, "#failure", "Connect Error");
    await says(page, "#queue", EVIL);
    await says(page, "#queue-size", "1 message,");
    const countdown = async () => Number(/in (\d+):(\d\d) minutes/.exec(await text(page, "#retry"))?.slice(1).reduce((all, part) => all * 60 + Number(part), 0) ?? -1);
    const before = await until("a countdown", async () => { const left = await countdown(); return left > 2 && left; }, 30);
    await until("it counts down", async () => { const left = await countdown(); return left > 0 && left < before; });
  });
  await check("the event log explains an entry that is opened", async () => {
    const entry = await page.locator("#log details", {hasText: "Encountered failure communicating"}).first().elementHandle();
    await (await entry.$("summary")).click();
    await until("an explanation", async () => (await entry.innerText()).includes("What to do:"));
    await page.waitForTimeout(4500);
    expect(await entry.evaluate((one) => one.open && one.isConnected), "it does not stay open");
  });
  await check("the last day: received, mailed, failed, waiting", async () => {
    await until("the plot", async () => /4 received|3 received/.test(await page.locator("#day svg").getAttribute("aria-label")), 30);
    const label = await page.locator("#day svg").getAttribute("aria-label");
    expect(/: (\d+) received, 2 mailed, [1-9]\d* tries failed; 1 wait now/.test(label), label);
    await page.click("summary:text('By the hour')");
    expect((await page.locator("#hours tr").count()) >= 24, "not every hour has a row");
  });
  await check("<script> in an event and in a location is text", async () => {
    await lab.ctl("attr", "set", `Global.Snmp.Location=${EVIL}`);
    await page.fill("#preview-text", `${EVIL} here`);
    await page.click("button[aria-label='Preview: the mail that Operators would get']");
    await until("the mail", async () => (await page.locator("#preview-mail").isVisible()) && (await page.locator("#preview-mail").textContent()).split(EVIL).length >= 3);
    expect((await page.locator("#preview-mail script, #queue script, #log script").count()) === 0, "it is markup");
    expectIn(await text(page, "#log"), EVIL);
  });
  await check("pictures of trouble: three widths, light and dark, axe finds nothing", () => pictures(browser, address, directory, "trouble"));
  await check("the keyboard comes to everything", () => keyboardWalk(page));
}

async function backAgain({lab, page, browser, directory, address}) {
  await check("Try now: through the second server it leaves at once", async () => {
    const port = await lab.startMailServer("mail2", "127.0.0.2");
    await lab.ctl("callhome", "setup", "--smtp2", `1-127.0.0.2:${port}`);
    await says(page, "#servers", `127.0.0.2:${port}`);
    // A try that fails leads to the other server, five seconds later.
    await page.locator("#try:enabled").click();
    await until("the mail", () => lab.mails("mail2").some((mail) => mail.includes(EVIL)), 20);
    await says(page, "#queue-empty", "Nothing waits.");
    expect(lab.mails("mail2").filter((mail) => mail.includes(EVIL)).length === 1, "it came more than once");
  });
  await check("back through the first: changeover, Test, and it can send", async () => {
    await lab.startMailServer("mail1");
    await until("the first is active", async () => {
      await lab.ctl("callhome", "changeover");
      await page.waitForTimeout(2500);
      return (await text(page, "#servers tr:first-child")).includes("active");
    });
    await page.locator("button[aria-label='Test: send a message to Operators']:enabled").click();
    await says(page, "#answer", "operator@example.com taken");
    await page.waitForTimeout(10000);  // so often a person may ask
    await page.click("#ask");
    await until("it can send", async () => (await text(page, "#verdict")) === "CallHome can send.");
  });
  await check("pictures of a healthy switch: three widths, light and dark, axe finds nothing", () => pictures(browser, address, directory, "healthy"));
}

export async function walk(room) {
  await setUp(room);
  await firstMail(room);
  await serverDies(room);
  await backAgain(room);
}

export async function endings({lab, page}) {
  await check("the daemon is killed while it is looked at: the page says so, and recovers", async () => {
    await lab.end("orvApp", "SIGKILL");
    await says(page, "#verdict", "CallHome is down.");
    await lab.startDaemon();
    await says(page, "#verdict", "CallHome can send");
  });
  await check("the switch goes: not known", async () => {
    await lab.end("switchd");
    await says(page, "#verdict", "Not known.");
  });
  await check("switchctl serve ends: the page says who does not answer", async () => {
    await lab.end("serve");
    await says(page, "#seen", "switchctl serve does not answer.");
  });
}
