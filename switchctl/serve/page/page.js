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

// Between two looks it goes on by itself.
let retry = null;

function countDown() {
  if (!retry) {
    say("retry", "");
    return;
  }
  const left = Math.max(0, Math.round((retry.due - Date.now()) / 1000));
  const clock = `${Math.floor(left / 60)}:${String(left % 60).padStart(2, "0")}`;
  say("retry", `Next try ${left === 0 ? "is due" : `in ${clock} minutes`} through ${retry.server}.`);
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
  retry = now.retry ? {due: Date.now() + now.retry.seconds * 1000, server: now.retry.server} : null;
  countDown();
  const failure = now.lastFailure;
  say("failure", failure ? `Last failure ${moment(failure.time)}${failure.recovered ? ", recovered since" : ""}: ${failure.text}` : "");
  say("version", `switchctl ${now.version}`);
  document.querySelectorAll("[data-change]").forEach((one) => { one.hidden = !sheet.changes || token === ""; });
}

// --- The last day ---
// A column is a quarter of an hour: what was received behind what was mailed, failed tries in a lane of their own, and
// what waited as a line.

const SVG = "http://www.w3.org/2000/svg";
const HEIGHT = 208;
const BARS = {top: 14, bottom: 104};
const FAILED = {top: 108, bottom: 118};
const WAITING = {top: 132, bottom: 182};
const LEFT = 34;

function shape(name, type, attributes, text) {
  const made = document.createElementNS(SVG, name);
  if (type) made.setAttribute("class", type);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  if (text !== undefined) made.textContent = text;
  return made;
}

function label(x, y, text, anchor) {
  return shape("text", "", {x, y, "text-anchor": anchor || "end"}, text);
}

// Where a value stands in a band that goes up to the most.
function heightIn(band, value, most) {
  return band.bottom - (band.bottom - band.top) * value / Math.max(most, 1);
}

function bar(type, x, width, band, value, most) {
  const top = heightIn(band, value, most);
  return shape("rect", type, {x, y: top, width, height: band.bottom - top});
}

function highestOf(steps, ...keys) {
  return Math.max(1, ...steps.flatMap((step) => keys.map((key) => step[key] || 0)));
}

function sum(steps, key) {
  return steps.reduce((all, step) => all + (step[key] || 0), 0);
}

function waitingLine(steps, place, width, highest) {
  let path = "";
  steps.forEach((step, index) => {
    if (step.waiting === null) return;
    const y = heightIn(WAITING, step.waiting, highest);
    path += `${path === "" ? "M" : "L"}${place(index)},${y}H${place(index) + width}`;
  });
  return shape("path", "waiting", {d: path});
}

function hourLabels(steps, place, wide) {
  const every = wide > 600 ? 3 : 6;
  return steps.flatMap((step, index) => {
    const time = new Date(step.time);
    const due = time.getMinutes() === 0 && time.getHours() % every === 0;
    return due ? [shape("path", "axis", {d: `M${place(index)},${BARS.top}V${WAITING.bottom}`}),
      label(place(index), HEIGHT - 8, time.toLocaleTimeString(undefined, {hour: "2-digit", minute: "2-digit"}), "middle")] : [];
  });
}

function summary(steps) {
  const waits = steps[steps.length - 1].waiting;
  return `In the last 24 hours: ${sum(steps, "received")} received, ${sum(steps, "mailed")} mailed, ` +
    `${sum(steps, "failed")} tries failed; ${waits === null ? "what waits is not known" : `${waits} wait now`}.`;
}

// Of the width that it is shown with, so that its texts keep their size.
function dayPlot(steps, wide) {
  const width = Math.max(wide - LEFT - 4, 96) / steps.length;
  const place = (index) => LEFT + index * width;
  const highest = highestOf(steps, "received", "mailed");
  const failures = highestOf(steps, "failed");
  const waiters = highestOf(steps, "waiting");
  const plot = shape("svg", "plot", {viewBox: `0 0 ${wide} ${HEIGHT}`, role: "img", "aria-label": summary(steps)});
  plot.append(...hourLabels(steps, place, wide));
  steps.forEach((step, index) => {
    if (step.received === null) {
      plot.append(shape("rect", "unknown", {x: place(index), y: BARS.top, width, height: BARS.bottom - BARS.top}));
    }
    plot.append(bar("received", place(index), width * 0.9, BARS, step.received || 0, highest),
      bar("mailed", place(index) + width * 0.2, width * 0.5, BARS, step.mailed || 0, highest),
      bar("failed", place(index), width * 0.9, FAILED, step.failed, failures));
  });
  plot.append(shape("path", "axis", {d: `M${LEFT},${BARS.bottom}H${wide}M${LEFT},${WAITING.bottom}H${wide}`}),
    waitingLine(steps, place, width, waiters),
    label(LEFT - 6, BARS.top + 8, highest), label(LEFT - 6, BARS.bottom, 0),
    label(LEFT - 6, WAITING.top + 8, waiters), label(LEFT - 6, WAITING.bottom, 0));
  return plot;
}

// The same as numbers, the newest hour first.
function dayHours(steps) {
  const hours = [];
  for (const step of steps) {
    const begin = new Date(step.time);
    if (begin.getMinutes() === 0 || hours.length === 0) hours.push({begin, steps: []});
    hours[hours.length - 1].steps.push(step);
  }
  const known = (of, key) => (of.every((step) => step[key] === null) ? "not known" : String(sum(of, key)));
  return hours.reverse().map((hour) => [
    hour.begin.toLocaleString(undefined, {weekday: "short", hour: "2-digit", minute: "2-digit"}),
    known(hour.steps, "received"), known(hour.steps, "mailed"), String(sum(hour.steps, "failed")),
    hour.steps.every((step) => step.waiting === null) ? "not known" : String(highestOf(hour.steps, "waiting") * (hour.steps.some((step) => step.waiting) ? 1 : 0)),
  ]);
}

function dayRemark(steps) {
  const begin = steps.find((step) => step.received !== null);
  const unknown = begin === steps[0] ? "" : !begin ? "The traces tell nothing of it yet. "
    : `What came and was mailed before ${new Date(begin.time).toLocaleTimeString(undefined, {hour: "2-digit", minute: "2-digit"})} is not known: the traces do not go back further. `;
  return unknown + (steps.some((step) => step.gap) ? "Traces have gone unread meanwhile: more may have come." : "");
}

function showDay(sheet) {
  if (!sheet.steps) return;
  const place = part("day");
  fill(place, [dayPlot(sheet.steps, Math.max(place.clientWidth, 240))]);
  fill(part("hours"), dayHours(sheet.steps).map((cells) => rowOf(cells.map((cell) => element("td", cell)))));
  say("day-remark", dayRemark(sheet.steps));
}

// --- Queue, profiles, captures, log ---

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
  const count = sheet.messages.length;
  say("queue-size", count === 0 ? "" : `${count} ${count === 1 ? "message" : "messages"}, ${bytes} bytes`);
}

function captureText(capture) {
  const [day, time, weeks] = String(capture).split(",");
  if (weeks === undefined) return "none";
  return `${day} ${time}, every ${weeks === "1" ? "week" : `${weeks} weeks`}`;
}

function profileRow(profile) {
  const row = rowOf([element("td", profile.name), element("td", profile.level), element("td", profile.format),
    element("td", profile.emails.join(", "), "text")]);
  const test = buttonCell("Test", `Test: send a message to ${profile.name}`, profile.name, "test");
  test.dataset.change = "";
  test.hidden = part("profile-actions").hidden;
  row.append(buttonCell("Preview", `Preview: the mail that ${profile.name} would get`, profile.name, "preview"), test);
  return row;
}

function buttonCell(text, name, profile, action) {
  const cell = element("td");
  const button = element("button", text);
  button.type = "button";
  button.dataset.profile = profile;
  button.dataset.action = action;
  button.setAttribute("aria-label", name);
  cell.append(button);
  return cell;
}

function showProfiles(sheet) {
  if (!sheet.profiles) return;
  fill(part("profiles"), sheet.profiles.map(profileRow));
  show("profiles-empty", sheet.profiles.length === 0);
  showCaptures(sheet.profiles.filter((profile) => captureText(profile.capture) !== "none"));
}

// The dates that switchctl has computed, by profile; asked for again when they are ten minutes old or a setting changes.
const AGE_OF_DATES = 600000;
const dates = new Map();

async function computeDates(profile) {
  const known = dates.get(profile.name);
  if (known && known.capture === profile.capture && Date.now() - known.since < AGE_OF_DATES) return;
  const made = {capture: profile.capture, since: Date.now(), result: null};
  dates.set(profile.name, made);
  try {
    made.result = await act("/api/captures", {profile: profile.name});
  } catch (error) {
    dates.delete(profile.name);
  }
}

function datesCell(profile) {
  const cell = element("td");
  const result = (dates.get(profile.name) || {}).result;
  if (!result || !result.runs) {
    cell.textContent = result ? result.reason : "is computed\u2026";
    return cell;
  }
  const more = element("details");
  const list = element("ol");
  list.append(...result.runs.map((run) => element("li", run.local + (run.offTime ? ", the clock has changed" : ""))));
  more.append(element("summary", result.runs[0].local), list);
  cell.append(more);
  return cell;
}

function showCaptures(profiles) {
  profiles.forEach(computeDates);
  fill(part("captures"), profiles.map((profile) =>
    rowOf([element("td", profile.name), element("td", captureText(profile.capture)), datesCell(profile)])));
  show("captures-table", profiles.length > 0);
  show("captures-empty", profiles.length === 0);
}

// What the profile would get of the event that stands in the form.
async function preview(profile) {
  show("preview-mail", false);
  say("preview-line", "Working\u2026");
  try {
    const result = await act("/api/preview", {type: part("preview-type").value, text: part("preview-text").value});
    const about = (result.profiles || []).find((one) => one.name === profile);
    const mail = (result.mails || []).find((one) => one.profile === profile);
    say("preview-line", result.error ? result.reason : !about ? `${profile}: no such profile.`
      : about.matches ? `${profile}: a mail to ${mail ? mail.recipients.join(", ") : "nobody"}. The queue ${result.queue.text}.`
        : `${profile}: none, ${about.reason}.`);
    say("preview-mail", mail ? mail.text : "");
    show("preview-mail", Boolean(mail));
  } catch (error) {
    say("preview-line", "switchctl serve does not answer.");
  }
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
const SELDOM = [["/api/day", showDay]];
const SELDOM_EVERY = 5;
let looks = 0;

async function look() {
  const sheets = looks++ % SELDOM_EVERY === 0 ? SHEETS.concat(SELDOM) : SHEETS;
  await Promise.all(sheets.map(async ([path, shown]) => {
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
  if (!button) return;
  if (button.dataset.action === "preview") preview(button.dataset.profile);
  else press(button, "/api/test", {profile: button.dataset.profile});
});
document.addEventListener("visibilitychange", () => { if (!document.hidden) look(); });
setInterval(countDown, 1000);
watch();
