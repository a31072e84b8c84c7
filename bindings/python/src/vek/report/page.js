"use strict";
(() => {
  const table = document.querySelector("table");
  const header = table.tHead.rows[0];
  const bodies = Array.from(table.tBodies);
  const rows = bodies.flatMap((body) => Array.from(body.rows));
  const words = document.getElementById("words");
  const kind = document.getElementById("kind");
  const file = document.getElementById("file");
  const shown = document.getElementById("shown");
  const perBody = 100;
  const texts = new Map();

  function textOf(row) {
    let text = texts.get(row);
    if (text === undefined) {
      text = row.textContent.toLowerCase();
      texts.set(row, text);
    }
    return text;
  }

  function matches(row, wanted) {
    if (file.value && row.dataset.file !== file.value) return false;
    if (kind.value === "*" && !row.dataset.count) return false;
    if (kind.value && kind.value !== "*" && !(row.dataset.kinds || "").split(" ").includes(kind.value)) return false;
    if (!wanted.length) return true;
    const text = textOf(row);
    return wanted.every((word) => text.includes(word));
  }

  function filter() {
    const wanted = words.value.toLowerCase().split(/\s+/).filter(Boolean);
    let count = 0;
    for (const row of rows) {
      const isShown = matches(row, wanted);
      count += isShown;
      if (row.hidden === isShown) row.hidden = !isShown;
    }
    for (const body of bodies) {
      body.hidden = Array.from(body.rows).every((row) => row.hidden);
    }
    const number = new Intl.NumberFormat("en");
    shown.value = `${number.format(count)} of ${number.format(rows.length)} shown`;
  }

  // The order of definition is the order in the page.
  function order(column, direction) {
    if (!direction) return rows;
    const collator = new Intl.Collator("en", { numeric: true });
    const isCount = header.cells[column].textContent === "Problems";
    const keys = new Map(
      rows.map((row) => [row, isCount ? Number(row.dataset.count || 0) : row.cells[column].textContent.toLowerCase()]),
    );
    const compare = isCount ? (a, b) => a - b : collator.compare;
    return rows.slice().sort((a, b) => direction * compare(keys.get(a), keys.get(b)));
  }

  function sort(cell) {
    const now = cell.getAttribute("aria-sort");
    const isCount = cell.textContent === "Problems";
    const following = isCount
      ? { none: "descending", descending: "ascending", ascending: "none" }
      : { none: "ascending", ascending: "descending", descending: "none" };
    for (const other of header.cells) other.setAttribute("aria-sort", "none");
    const direction = following[now];
    cell.setAttribute("aria-sort", direction);
    const sorted = order(cell.cellIndex, { none: 0, ascending: 1, descending: -1 }[direction]);
    bodies.forEach((body, index) => body.replaceChildren(...sorted.slice(index * perBody, (index + 1) * perBody)));
    filter();
  }

  for (const cell of header.cells) {
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = cell.textContent;
    cell.replaceChildren(button);
    cell.setAttribute("aria-sort", "none");
    button.addEventListener("click", () => sort(cell));
  }
  for (const link of document.querySelectorAll("svg a, a[data-kind]")) {
    link.addEventListener("click", () => {
      words.value = "";
      file.value = link.dataset.file || "";
      kind.value = link.dataset.kind || "";
      filter();
    });
  }
  document.getElementById("filter").hidden = false;
  document.getElementById("filter").addEventListener("submit", (event) => event.preventDefault());
  for (const control of [words, kind, file]) control.addEventListener("input", filter);
  document.addEventListener("keydown", (event) => {
    const isTyping = /^(INPUT|SELECT|TEXTAREA)$/.test(document.activeElement.tagName);
    if (event.key === "/" && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      words.focus();
    }
    if (event.key === "Escape" && isTyping) {
      words.value = kind.value = file.value = "";
      filter();
    }
  });
  filter();
})();
