"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const strings = data.strings, columns = data.columns, count = data.count;
  const byId = (id) => document.getElementById(id);
  let utc = data.utc;

  // ---- Texts

  // Characters that turn the direction of writing or do not show are shown by their number.
  const unsafe = /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028\u2029\u202a-\u202e\u2066-\u2069\ufeff]/g;
  const shown = (text) => text.replace(unsafe, (c) => "\\u" + c.codePointAt(0).toString(16).padStart(4, "0"));
  const textAt = (name, i) => strings[columns[name][i]];
  const two = (n) => String(n).padStart(2, "0");
  const number = (n) => n.toLocaleString("en-US").replaceAll(",", "\u2009");

  function parts(time) {
    const d = new Date(time);
    return utc
      ? { y: d.getUTCFullYear(), m: d.getUTCMonth() + 1, d: d.getUTCDate(), h: d.getUTCHours(), i: d.getUTCMinutes(),
          s: d.getUTCSeconds(), zone: "Z" }
      : { y: d.getFullYear(), m: d.getMonth() + 1, d: d.getDate(), h: d.getHours(), i: d.getMinutes(),
          s: d.getSeconds(), zone: zoneOf(d) };
  }
  function zoneOf(d) {
    const ahead = -d.getTimezoneOffset();
    if (ahead === 0) return "Z";
    const minutes = Math.abs(ahead);
    return (ahead < 0 ? "-" : "+") + two(Math.floor(minutes / 60)) + ":" + two(minutes % 60);
  }
  const dayText = (time) => { const p = parts(time); return `${p.y}-${two(p.m)}-${two(p.d)}`; };
  function timeText(time) {
    const p = parts(time);
    return `${dayText(time)} ${two(p.h)}:${two(p.i)}:${two(p.s)}.${String(((time % 1000) + 1000) % 1000).padStart(3, "0")}${p.zone}`;
  }
  const dateText = (i) => columns.time[i] === null ? shown(textAt("date", i)) : timeText(columns.time[i]);

  function element(name, className, text) {
    const made = document.createElement(name);
    if (className) made.className = className;
    if (text !== undefined) made.textContent = text;
    return made;
  }

  const isRefused = (i) => textAt("type", i) === "afailure";
  const isGranted = (i) => textAt("type", i) === "asuccess";

  // ---- What is shown: every filter narrows it, the table sorts it

  const filters = { search: "", user: null, device: null, computer: null, type: null, from: null, to: null, timeName: "" };
  let order = { column: "time", up: false };
  let view = [];
  let searchTexts = null;
  const ranks = (() => {
    const sorted = strings.map((text, i) => i).sort((a, b) => strings[a] < strings[b] ? -1 : strings[a] > strings[b] ? 1 : 0);
    const rank = new Int32Array(strings.length);
    sorted.forEach((string, at) => { rank[string] = at; });
    return rank;
  })();

  const names = ["type", "user", "device", "name", "action", "process", "computer", "reason", "information", "extra", "sid",
    "uuid", "schema", "date"];
  function searchText(i) {
    searchTexts ??= new Array(count);
    return searchTexts[i] ??= [...names.map((name) => textAt(name, i)), columns.record[i], columns.event[i], columns.pid[i],
      dateText(i)].join("\n").toLowerCase();
  }

  function computeView() {
    const words = filters.search.toLowerCase().split(/\s+/).filter((word) => word !== "");
    const kept = [];
    for (let i = 0; i < count; ++i) {
      const time = columns.time[i];
      if (filters.from !== null && (time === null || time < filters.from || time >= filters.to)) continue;
      let fits = true;
      for (const name of ["user", "device", "computer", "type"]) {
        if (filters[name] !== null && columns[name][i] !== filters[name]) { fits = false; break; }
      }
      if (!fits || !words.every((word) => searchText(i).includes(word))) continue;
      kept.push(i);
    }
    const values = columns[order.column], up = order.up ? 1 : -1;
    if (order.column === "time") {
      kept.sort((a, b) => up * ((values[a] ?? -Infinity) - (values[b] ?? -Infinity)) || up * (a - b));
    } else {
      kept.sort((a, b) => up * (ranks[values[a]] - ranks[values[b]]) || a - b);
    }
    view = kept;
  }

  function update() {
    computeView();
    byId("shown").textContent = view.length === count ? `${number(count)} records` : `${number(view.length)} of ${number(count)} records`;
    byId("space").style.height = view.length * rowHeight() + "px";
    byId("body").scrollTop = 0;
    active = 0;
    drawRows();
    drawHead();
    drawChips();
    for (const button of document.querySelectorAll("[data-filter]")) {
      button.setAttribute("aria-pressed", String(filters[button.dataset.filter] === Number(button.dataset.value)));
    }
    for (const bar of byId("timeline").children) {
      bar.setAttribute("aria-pressed", String(filters.from === Number(bar.dataset.from) && filters.to === Number(bar.dataset.to)));
    }
  }

  function toggle(name, value) {
    filters[name] = filters[name] === value ? null : value;
    update();
  }

  function drawChips() {
    const chips = byId("chips");
    chips.replaceChildren();
    const add = (text, undo) => {
      const chip = element("button", "", text + " \u00d7");
      chip.type = "button";
      chip.title = "Remove this filter";
      chip.addEventListener("click", undo);
      chips.append(chip);
    };
    for (const name of ["user", "device", "computer", "type"]) {
      if (filters[name] !== null) add(`${name}: ${shown(strings[filters[name]]) || "-"}`, () => toggle(name, filters[name]));
    }
    if (filters.from !== null) add(filters.timeName, () => { filters.from = filters.to = null; update(); });
    byId("clear").hidden = chips.childElementCount === 0 && filters.search === "";
  }

  // ---- The table, of which only the rows in sight exist

  const shownColumns = [["time", "Time"], ["type", "Type"], ["user", "User"], ["device", "Device"], ["name", "Name"],
    ["action", "Action"], ["process", "Process"], ["computer", "Computer"], ["reason", "Reason"]];
  let active = 0;
  const rowHeight = () => parseFloat(getComputedStyle(document.documentElement).getPropertyValue("--row")) || 30;

  function drawHead() {
    const head = byId("head");
    if (head.childElementCount === 0) {
      for (const [name, title] of shownColumns) {
        const cell = element("div");
        cell.setAttribute("role", "columnheader");
        const button = element("button", "", title);
        button.type = "button";
        button.addEventListener("click", () => {
          order = { column: name, up: order.column === name ? !order.up : name !== "time" };
          update();
        });
        cell.append(button);
        head.append(cell);
      }
    }
    shownColumns.forEach(([name, title], at) => {
      const cell = head.children[at], sorted = order.column === name;
      cell.setAttribute("aria-sort", sorted ? (order.up ? "ascending" : "descending") : "none");
      cell.firstChild.textContent = title + (sorted ? (order.up ? " \u25b2" : " \u25bc") : "");
    });
  }

  function drawRows() {
    const body = byId("body"), height = rowHeight();
    const first = Math.max(0, Math.floor(body.scrollTop / height) - 5);
    const last = Math.min(view.length, Math.ceil((body.scrollTop + body.clientHeight) / height) + 5);
    const rows = document.createDocumentFragment();
    for (let at = first; at < last; ++at) {
      const i = view[at];
      const row = element("div", "row" + (at === active ? " active" : ""));
      row.setAttribute("role", "row");
      row.setAttribute("aria-rowindex", String(at + 1));
      row.style.top = at * height + "px";
      row.dataset.at = at;
      for (const [name] of shownColumns) {
        const text = name === "time" ? dateText(i) : shown(textAt(name, i));
        const cell = element("div", "cell" + (name === "time" ? " time" : name === "type" ? " " + typeClass(i) : ""), text);
        cell.setAttribute("role", "gridcell");
        cell.title = text;
        row.append(cell);
      }
      rows.append(row);
    }
    byId("rows").replaceChildren(rows);
    byId("table").setAttribute("aria-rowcount", String(view.length));
  }
  const typeClass = (i) => ({ afailure: "afailure", error: "error", asuccess: "asuccess" })[textAt("type", i)] ?? "";

  function moveTo(at) {
    if (view.length === 0) return;
    active = Math.min(Math.max(at, 0), view.length - 1);
    const body = byId("body"), height = rowHeight();
    if (active * height < body.scrollTop) body.scrollTop = active * height;
    if ((active + 1) * height > body.scrollTop + body.clientHeight) body.scrollTop = (active + 1) * height - body.clientHeight;
    drawRows();
  }

  function showDetail(i) {
    const fields = byId("fields");
    fields.replaceChildren();
    const add = (name, value) => {
      if (value === "" || value === null || value === undefined) return;
      fields.append(element("dt", "", name), element("dd", "", String(value)));
    };
    add("Time", dateText(i));
    const titles = { type: "Type", user: "User", sid: "SID", uuid: "UUID", device: "Device", name: "Name", action: "Action",
      process: "Process", computer: "Computer", reason: "Reason", information: "Information", extra: "Extra", schema: "Schema tag" };
    for (const [name, title] of Object.entries(titles)) add(title, shown(textAt(name, i)));
    if (columns.pid[i] !== -1) add("Process id", columns.pid[i]);
    add("Record id", columns.record[i]);
    add("Event id", columns.event[i]);
    add("Status", columns.status[i]);
    if (columns.item) add("Stream item", columns.item[i]);
    byId("detail").showModal();
  }

  // ---- The timeline

  const hour = 3600000;
  let span = null;  // [from, to) when the timeline shows one day of many

  function startOf(time, ofDay) {
    const p = parts(time);
    return utc ? Date.UTC(p.y, p.m - 1, p.d, ofDay ? 0 : p.h) : new Date(p.y, p.m - 1, p.d, ofDay ? 0 : p.h).getTime();
  }
  function nextStart(time, byDay) {
    const p = parts(time);
    const next = byDay ? (utc ? Date.UTC(p.y, p.m - 1, p.d + 1) : new Date(p.y, p.m - 1, p.d + 1).getTime()) : startOf(time, false) + hour;
    return next > time ? next : time + hour;  // where clocks are set back
  }

  function drawTimeline() {
    const timeline = byId("timeline");
    timeline.replaceChildren();
    let from = Infinity, to = -Infinity;
    for (const time of columns.time) {
      if (time === null) continue;
      if (time < from) from = time;
      if (time > to) to = time;
    }
    byId("wider").hidden = span === null;
    if (from === Infinity) {
      byId("timeline-note").textContent = "No record has a date that is understood.";
      return;
    }
    if (span !== null) [from, to] = [span[0], span[1] - 1];
    const mostBars = 400, byDay = (to - from) / hour > 24 * 10;
    const starts = [];
    for (let at = startOf(from, byDay); at <= to; at = nextStart(at, byDay)) starts.push(at);
    const each = Math.ceil(starts.length / mostBars);  // years of days are drawn some days at a time
    const bars = [];
    for (let i = 0; i < starts.length; i += each) {
      bars.push({ from: starts[i], to: i + each < starts.length ? starts[i + each] : nextStart(starts[starts.length - 1], byDay), refused: 0, granted: 0, other: 0 });
    }
    for (let i = 0; i < count; ++i) {
      const time = columns.time[i];
      if (time === null || time < bars[0].from || time >= bars[bars.length - 1].to) continue;
      let low = 0, high = bars.length - 1;
      while (low < high) {
        const middle = (low + high + 1) >> 1;
        if (bars[middle].from <= time) low = middle; else high = middle - 1;
      }
      ++bars[low][isRefused(i) ? "refused" : isGranted(i) ? "granted" : "other"];
    }
    const most = bars.reduce((m, bar) => Math.max(m, bar.refused + bar.granted + bar.other), 1);
    bars.forEach((bar, at) => {
      const total = bar.refused + bar.granted + bar.other;
      const name = byDay ? dayText(bar.from) + (each > 1 ? " to " + dayText(bar.to - 1) : "") : `${dayText(bar.from)} ${two(parts(bar.from).h)}:00${parts(bar.from).zone}`;
      const button = element("button");
      button.type = "button";
      button.tabIndex = at === 0 ? 0 : -1;
      button.dataset.from = bar.from;
      button.dataset.to = bar.to;
      button.title = `${name}: ${total} records, ${bar.refused} refused, ${bar.granted} granted`;
      button.setAttribute("aria-label", button.title);
      button.setAttribute("aria-pressed", "false");
      for (const part of ["other", "granted", "refused"]) {
        if (bar[part] === 0) continue;
        const block = element("span", "part " + part);
        block.style.height = Math.max(1.5, 100 * bar[part] / most) + "%";
        button.append(block);
      }
      button.addEventListener("click", () => choose(bar, name, byDay));
      button.addEventListener("focus", () => { byId("timeline-note").textContent = button.title; });
      button.addEventListener("mouseenter", () => { byId("timeline-note").textContent = button.title; });
      timeline.append(button);
    });
    byId("timeline-note").textContent = `${timeText(from)} to ${timeText(to)}, ${byDay ? "a bar a day: choose one for its hours" : "a bar an hour"}`;
  }

  function choose(bar, name, byDay) {
    const again = filters.from === bar.from && filters.to === bar.to;
    filters.from = again ? null : bar.from;
    filters.to = again ? null : bar.to;
    filters.timeName = name;
    if (byDay && !again) {
      span = [bar.from, bar.to];
      drawTimeline();
      byId("timeline").firstChild?.focus();
    }
    update();
    if (!again && !byDay) byId("records").scrollIntoView({ block: "start" });
  }

  // ---- Who and what

  function drawTallies() {
    const tallies = byId("tallies");
    for (const [name, title] of [["user", "Users"], ["device", "Devices"], ["computer", "Computers"], ["type", "Types"]]) {
      const found = new Map();
      for (let i = 0; i < count; ++i) {
        const key = columns[name][i];
        let tally = found.get(key);
        if (!tally) found.set(key, tally = { key, total: 0, refused: 0, granted: 0 });
        ++tally.total;
        if (isRefused(i)) ++tally.refused;
        if (isGranted(i)) ++tally.granted;
      }
      const rows = [...found.values()].sort((a, b) => b.total - a.total || ranks[a.key] - ranks[b.key]);
      const card = element("div", "tally");
      card.append(element("h2", "", `${title} (${number(rows.length)})`));
      const list = element("ol");
      for (const row of rows.slice(0, 100)) {
        const button = element("button");
        button.type = "button";
        button.dataset.filter = name;
        button.dataset.value = row.key;
        const text = shown(strings[row.key]) || "-";
        button.title = `${text}: ${row.total} records, ${row.refused} refused, ${row.granted} granted`;
        button.append(element("span", "text", text), element("span", "count", number(row.total)));
        const meter = element("span", "meter");
        for (const [part, value] of [["refused", row.refused], ["granted", row.granted], ["other", row.total - row.refused - row.granted]]) {
          const block = element("span", "part " + part);
          block.style.width = 100 * value / rows[0].total + "%";
          meter.append(block);
        }
        button.append(meter);
        button.addEventListener("click", () => toggle(name, row.key));
        const item = element("li");
        item.append(button);
        list.append(item);
      }
      card.append(list);
      if (rows.length > 100) card.append(element("p", "quiet", `and ${number(rows.length - 100)} more`));
      tallies.append(card);
    }
  }

  function drawFigures() {
    const figures = byId("figures");
    figures.replaceChildren();
    const add = (title, value, small) => {
      const card = element("div", small ? "small" : "");
      card.append(element("dt", "", title), element("dd", "", value));
      figures.append(card);
    };
    add("Records", number(data.total.records));
    add("Refused", number(data.total.refused));
    add("Granted", number(data.total.granted));
    add("Others", number(data.total.records - data.total.refused - data.total.granted));
    if (data.first !== null) {
      add("First", timeText(data.first), true);
      add("Last", timeText(data.last), true);
    }
    byId("source").textContent = `${shown(data.source)}, made ${timeText(data.made)}` +
      (data.asked === "" ? "" : `, asked for ${shown(data.asked)}`) +
      (count < data.total.records ? `; the page holds the last ${number(count)} records` : "");
    byId("zone").textContent = utc ? "UTC" : "Local time";
    byId("zone").setAttribute("aria-pressed", String(utc));
  }

  // ---- What a person does

  const dark = matchMedia("(prefers-color-scheme: dark)");
  const isDark = () => (document.documentElement.dataset.theme ?? (dark.matches ? "dark" : "light")) === "dark";
  const nameTheme = () => { byId("theme").textContent = isDark() ? "Light" : "Dark"; };
  byId("theme").addEventListener("click", () => {
    document.documentElement.dataset.theme = isDark() ? "light" : "dark";
    nameTheme();
  });
  dark.addEventListener("change", nameTheme);
  byId("zone").addEventListener("click", () => {
    utc = !utc;
    searchTexts = null;
    span = filters.from = filters.to = null;
    drawFigures();
    drawTimeline();
    update();
  });
  byId("wider").addEventListener("click", () => {
    span = filters.from = filters.to = null;
    drawTimeline();
    update();
  });
  let waiting = 0;
  byId("search").addEventListener("input", () => {
    clearTimeout(waiting);
    waiting = setTimeout(() => { filters.search = byId("search").value; update(); }, 120);
  });
  byId("clear").addEventListener("click", () => {
    Object.assign(filters, { search: "", user: null, device: null, computer: null, type: null, from: null, to: null });
    byId("search").value = "";
    update();
    byId("search").focus();
  });
  byId("timeline").addEventListener("keydown", (event) => {
    const bars = [...byId("timeline").children], at = bars.indexOf(document.activeElement);
    const next = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: bars.length - 1 }[event.key];
    if (next === undefined || at < 0 || !bars[next]) return;
    event.preventDefault();
    bars[at].tabIndex = -1;
    bars[next].tabIndex = 0;
    bars[next].focus();
  });
  byId("body").addEventListener("scroll", () => requestAnimationFrame(drawRows), { passive: true });
  addEventListener("resize", () => { byId("space").style.height = view.length * rowHeight() + "px"; drawRows(); });
  byId("rows").addEventListener("click", (event) => {
    const row = event.target.closest(".row");
    if (!row) return;
    active = Number(row.dataset.at);
    drawRows();
    showDetail(view[active]);
  });
  byId("table").addEventListener("keydown", (event) => {
    if (event.target !== byId("table")) return;
    const page = Math.max(1, Math.floor(byId("body").clientHeight / rowHeight()) - 1);
    const next = { ArrowDown: active + 1, ArrowUp: active - 1, PageDown: active + page, PageUp: active - page, Home: 0,
      End: view.length - 1 }[event.key];
    if (next !== undefined) {
      event.preventDefault();
      moveTo(next);
    } else if (event.key === "Enter" && view.length > 0) {
      event.preventDefault();
      showDetail(view[active]);
    }
  });
  byId("close").addEventListener("click", () => byId("detail").close());
  byId("detail").addEventListener("click", (event) => { if (event.target === byId("detail")) byId("detail").close(); });
  addEventListener("keydown", (event) => {
    if (event.key !== "/" || event.target.matches("input, dialog *")) return;
    event.preventDefault();
    byId("search").focus();
  });

  nameTheme();
  drawFigures();
  drawTallies();
  drawTimeline();
  update();
})();
