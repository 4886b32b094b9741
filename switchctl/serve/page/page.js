// Shows what the sheets say, and looks again every two seconds while somebody sees the page. Whatever comes from
// outside - events, mail servers, attributes - is put in as text, never as markup.
"use strict";

const PERIOD = 2000;
const HEADINGS = {
  ok: "CallHome can send.",
  failing: "CallHome can send, but something is failing.",
  blocked: "CallHome cannot send.",
  down: "CallHome is down.",
};
const LEVELS = {0: "alarm", 2: "critical", 3: "warning"};
const BADNESS = ["ok", "failing", "blocked", "down"];

const token = location.hash.slice(1);
const part = (id) => document.getElementById(id);

function element(name, text, type) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (type) made.className = type;
  return made;
}

// Keeps what has not changed, so that a reader's place and focus stay.
function fill(parent, children) {
  const now = children.map((child) => child.outerHTML).join("");
  if (parent.dataset.shown === now) return;
  parent.dataset.shown = now;
  parent.replaceChildren(...children);
}

function say(id, text) {
  const place = part(id);
  if (place.textContent !== text) place.textContent = text;
}

function show(id, visible) {
  part(id).hidden = !visible;
}

function rowOf(cells) {
  const row = element("tr");
  row.append(...cells);
  return row;
}

function ageText(seconds) {
  if (seconds < 120) return `${seconds} s`;
  if (seconds < 7200) return `${Math.floor(seconds / 60)} min`;
  if (seconds < 172800) return `${Math.floor(seconds / 3600)} h`;
  return `${Math.floor(seconds / 86400)} days`;
}

function moment(time) {
  const date = new Date(time.replace(/([+-]\d\d)(\d\d)$/, "$1:$2"));
  return Number.isNaN(date.getTime()) ? time : date.toLocaleString(undefined, {dateStyle: "short", timeStyle: "medium"});
}

// --- Can it send? ---

function problemItem(problem, remark) {
  const item = element("li", problem.text + remark);
  item.dataset.id = problem.id;
  item.append(element("span", problem.remedy, "remedy"));
  return item;
}

// What orvApp alone knows stays on the page until it is asked again.
function joined(now, asked, secondsAgo, key) {
  const known = new Set(now[key].map((one) => one.id));
  const more = asked && asked[key] ? asked[key].filter((one) => !known.has(one.id)) : [];
  return now[key].map((one) => problemItem(one, ""))
    .concat(more.map((one) => problemItem(one, ` (orvApp said so ${ageText(secondsAgo)} ago)`)));
}

function stateOf(now, asked) {
  const worse = asked && asked.state ? Math.max(BADNESS.indexOf(now.state), BADNESS.indexOf(asked.state))
    : BADNESS.indexOf(now.state);
  return BADNESS[worse] || "down";
}

function serverRow(name, server, active) {
  const there = server.address !== "";
  const address = there ? `${server.address}:${server.port}` : "none";
  const isActive = there && active.address === server.address && String(active.port) === String(server.port);
  const state = !there ? "" : !server.enabled ? "off" : isActive ? "active" : "standing by";
  return rowOf([element("td", name), element("td", address, "text"), element("td", state)]);
}

function showUnknown(reason) {
  const verdict = part("verdict");
  verdict.dataset.state = "down";
  say("verdict", "Not known.");
  say("seen", reason);
}

function showStatus(sheet) {
  const now = sheet.status;
  if (!now || now.error) {
    showUnknown(now ? now.reason : "The switch has not answered yet.");
    return;
  }
  const asked = sheet.asked && !sheet.asked.error ? sheet.asked : null;
  const state = stateOf(now, asked);
  part("verdict").dataset.state = state;
  say("verdict", HEADINGS[state]);
  document.title = `${HEADINGS[state]} - CallHome`;
  const problems = joined(now, asked, sheet.askedSecondsAgo, "problems");
  const notices = joined(now, asked, sheet.askedSecondsAgo, "warnings")
    .filter((item) => !problems.some((other) => other.dataset.id === item.dataset.id));
  fill(part("problems"), problems);
  fill(part("notices"), notices);
  show("notices-title", notices.length > 0);
  show("no-problems", problems.length === 0);
  say("asked", sheet.askedSecondsAgo === null ? "orvApp has not been asked yet."
    : `orvApp was asked ${ageText(sheet.askedSecondsAgo)} ago${sheet.asked && sheet.asked.error ? `: ${sheet.asked.reason}` : "."}`);
  fill(part("servers"), [serverRow("primary", now.primary, now.active), serverRow("secondary", now.secondary, now.active)]);
  say("retry", now.retry ? `Next try ${now.retry.seconds === 0 ? "is due" : `in ${ageText(now.retry.seconds)}`} through ${now.retry.server}.` : "");
  const failure = now.lastFailure;
  say("failure", failure ? `Last failure ${moment(failure.time)}${failure.recovered ? ", recovered since" : ""}: ${failure.text}` : "");
  say("version", `switchctl ${now.version}`);
  document.querySelectorAll("[data-change]").forEach((one) => { one.hidden = !sheet.changes || token === ""; });
}

// --- Queue, profiles, log ---

function queueRow(message) {
  const text = message.text === undefined ? message.remark : message.text;
  const next = message.nextTry ? moment(message.nextTry) : message.after ? `after ${message.after}` : "";
  return rowOf([element("td", message.name), element("td", ageText(message.age)), element("td", message.state),
    element("td", next), element("td", text, "text")]);
}

function showQueue(sheet) {
  if (!sheet.messages) return;
  fill(part("queue"), sheet.messages.map(queueRow));
  show("queue-table", sheet.messages.length > 0);
  show("queue-empty", sheet.messages.length === 0);
  const bytes = sheet.messages.reduce((sum, one) => sum + Number(one.bytes), 0);
  say("queue-size", sheet.messages.length === 0 ? "" : `${sheet.messages.length} messages, ${bytes} bytes`);
}

function captureText(capture) {
  const [day, time, weeks] = String(capture).split(",");
  if (weeks === undefined) return "none";
  return `${day} ${time}, every ${weeks === "1" ? "week" : `${weeks} weeks`}`;
}

function profileRow(profile) {
  const row = rowOf([element("td", profile.name), element("td", profile.level), element("td", profile.format),
    element("td", profile.emails.join(", "), "text"), element("td", captureText(profile.capture))]);
  const cell = element("td");
  const button = element("button", "Test");
  button.type = "button";
  button.dataset.profile = profile.name;
  button.setAttribute("aria-label", `Send a test message to ${profile.name}`);
  cell.dataset.change = "";
  cell.hidden = part("profile-actions").hidden;
  cell.append(button);
  row.append(cell);
  return row;
}

function showProfiles(sheet) {
  if (!sheet.profiles) return;
  fill(part("profiles"), sheet.profiles.map(profileRow));
  show("profiles-empty", sheet.profiles.length === 0);
}

function logItem(entry) {
  const item = element("li");
  const line = element(entry.cause ? "summary" : "span");
  const time = element("time", moment(entry.time));
  time.dateTime = entry.time;
  line.append(time, element("span", entry.text, `text ${LEVELS[entry.level] || ""}`));
  if (!entry.cause) {
    item.append(line);
    return item;
  }
  const more = element("details");
  more.append(line, element("p", entry.cause, "quiet"));
  if (entry.remedy) more.append(element("p", `What to do: ${entry.remedy}`, "quiet"));
  item.append(more);
  return item;
}

// An entry that somebody has opened stays open: those that are there already are kept.
function showLog(sheet) {
  if (!sheet.entries) return;
  const list = part("log");
  const known = new Map([...list.children].map((item) => [item.dataset.id, item]));
  const items = sheet.entries.slice().reverse().map((entry) => {
    const item = known.get(String(entry.id)) || logItem(entry);
    item.dataset.id = entry.id;
    return item;
  });
  const same = items.length === list.children.length && items.every((item, index) => item === list.children[index]);
  if (!same) list.replaceChildren(...items);
  show("log-empty", items.length === 0);
}

// --- Asking ---

async function get(path) {
  const response = await fetch(path, {cache: "no-store"});
  return response.json();
}

async function act(path, body) {
  const response = await fetch(path, {
    method: "POST",
    headers: {"X-CallHome": "page", "X-CallHome-Token": token, "Content-Type": "application/x-www-form-urlencoded"},
    body: new URLSearchParams(body || {}),
  });
  return response.json();
}

function outcome(result) {
  if (result.recipients) {
    return `${result.profile}: ${result.recipients.map((one) => `${one.address} ${one.state}${one.words ? ` (${one.words})` : ""}`).join(", ")}` +
      (result.reason ? `: ${result.reason}` : "");
  }
  if (result.error) return result.reason;
  if (result.tried === false) return "Nothing waits that could be tried.";
  return "Done.";
}

// One thing at a time; what came of it is said below the problems.
async function press(button, path, body) {
  button.disabled = true;
  say("answer", "Working\u2026");
  try {
    const result = await act(path, body);
    say("answer", path === "/api/ask" ? (result.error ? result.reason : "") : outcome(result));
    if (path === "/api/ask" && !result.error) showStatus(result);
  } catch (error) {
    say("answer", "switchctl serve does not answer.");
  }
  button.disabled = false;
  look();
}

const SHEETS = [["/api/status", showStatus], ["/api/profiles", showProfiles], ["/api/queue", showQueue], ["/api/log", showLog]];

async function look() {
  await Promise.all(SHEETS.map(async ([path, shown]) => {
    try {
      shown(await get(path));
    } catch (error) {
      if (path === "/api/status") showUnknown("switchctl serve does not answer.");
    }
  }));
}

async function watch() {
  if (!document.hidden) await look();
  setTimeout(watch, PERIOD);
}

part("ask").addEventListener("click", () => press(part("ask"), "/api/ask"));
part("try").addEventListener("click", () => press(part("try"), "/api/try"));
part("profiles").addEventListener("click", (event) => {
  const button = event.target.closest("button");
  if (button) press(button, "/api/test", {profile: button.dataset.profile});
});
document.addEventListener("visibilitychange", () => { if (!document.hidden) look(); });
watch();
