#include "report/page_parts.h"

namespace report {

const std::string_view page_style = R"css(
:root {
  color-scheme: light dark;
  --back: #f5f6f8; --front: #ffffff; --ink: #1b1f24; --soft: #5b6470; --line: #e3e6ea; --link: #0b63c5;
  --c1: #0b63c5; --c2: #0f8a5f; --c3: #8250df; --c4: #b54708; --lack: #c2410c;
}
@media (prefers-color-scheme: dark) {
  :root {
    --back: #0d1013; --front: #14171b; --ink: #e6e8eb; --soft: #9aa3ad; --line: #2b3138; --link: #6cb2ff;
    --c1: #6cb2ff; --c2: #4ac29a; --c3: #c297ff; --c4: #f0b35a; --lack: #ff9d5c;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--back); color: var(--ink); font: 15px/1.5 system-ui, -apple-system, "Segoe UI",
  "Noto Sans", "Noto Sans CJK JP", "Hiragino Sans", "Yu Gothic UI", Meiryo, sans-serif; }
main, footer { max-width: 1240px; margin: 0 auto; padding: 0 24px; }
header { padding: 32px 0 8px; }
h1 { margin: 0; font-size: 28px; line-height: 1.25; letter-spacing: -.01em; }
h2 { margin: 0 0 12px; font-size: 19px; }
h2 small { color: var(--soft); font-size: 14px; font-weight: 400; margin-left: 4px; }
.what { margin: 4px 0 20px; color: var(--soft); }
dl { display: flex; flex-wrap: wrap; gap: 1px; margin: 0; background: var(--line); border: 1px solid var(--line);
  border-radius: 10px; overflow: hidden; }
dl div { flex: 1 1 auto; padding: 10px 16px; background: var(--front); }
dt { color: var(--soft); font-size: 12px; }
dd { margin: 0; font-weight: 600; font-variant-numeric: tabular-nums; }
section { margin: 32px 0; }
.scroll { overflow-x: auto; background: var(--front); border: 1px solid var(--line); border-radius: 10px; }
table { width: 100%; border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: 7px 16px; text-align: left; white-space: nowrap; }
th { border-bottom: 1px solid var(--line); }
th button { all: unset; cursor: pointer; color: var(--soft); font-size: 12px; font-weight: 600; }
th button:hover, th[aria-sort] button { color: var(--ink); }
th button:focus-visible { outline: 2px solid var(--link); outline-offset: 2px; border-radius: 2px; }
th[aria-sort=ascending] button::after { content: " \2191"; }
th[aria-sort=descending] button::after { content: " \2193"; }
tbody tr + tr td { border-top: 1px solid var(--line); }
tbody tr:hover td { background: color-mix(in srgb, var(--link) 6%, transparent); }
.n { text-align: right; }
a { color: var(--link); text-decoration: none; }
a:hover { text-decoration: underline; }
.plots { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(560px, 100%), 1fr)); gap: 16px;
  margin-top: 16px; }
figure { margin: 0; padding: 14px 16px 10px; background: var(--front); border: 1px solid var(--line);
  border-radius: 10px; min-width: 0; scroll-margin-top: 12px; }
figure:target { border-color: var(--link); }
figcaption span { color: var(--soft); margin-left: 6px; font-size: 13px; }
.key { min-height: 20px; color: var(--soft); font-size: 12px; font-variant-numeric: tabular-nums; white-space: nowrap;
  overflow: hidden; text-overflow: ellipsis; }
.key i { display: inline-block; width: 10px; height: 10px; margin-right: 5px; border-radius: 3px; }
.key span { margin-right: 14px; }
.key b { color: var(--ink); }
.key em { color: var(--lack); font-style: normal; }
.plot { width: 100%; height: 0; }
.plot.drawn { height: 210px; }
.dygraph-axis-label { color: var(--soft); font-size: 11px; }
figure svg { display: block; width: 100%; height: auto; }
.nothing { color: var(--soft); }
footer { padding: 8px 24px 32px; color: var(--soft); font-size: 12px; }
footer pre { white-space: pre-wrap; }
@media print { body { background: none; } figure { break-inside: avoid; } .plots { grid-template-columns: 1fr 1fr; } }
)css";

const std::string_view page_script = R"js('use strict';
(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const style = getComputedStyle(document.documentElement);
  const colour = name => style.getPropertyValue('--' + name).trim();
  const colours = count => Array.from({length: count}, (_, i) => colour('c' + (i % 4 + 1)));
  const prefixes = ['', ' k', ' M', ' G', ' T', ' P', ' E'];
  const text = number => {
    let step = 0;
    while (Math.abs(number) >= 999.5 && step < 6) { number /= 1000; ++step; }
    return String(Number(number.toPrecision(3))) + prefixes[step];
  };
  const quantity = (number, unit) => {
    if (number === null || number === undefined || isNaN(number)) return '-';
    if (unit === '%') return number.toFixed(2) + ' %';
    const shown = text(number);
    if (unit === '-' || unit === '1') return shown;
    return shown + (/[a-zA-Z]$/.test(shown) ? '' : ' ') + unit;
  };
  // The clocks of the place where the values were collected, not of the reader's.
  const place = seconds => new Date((seconds + data.offset) * 1000);
  const clock = date => date.toISOString().slice(0, 19).replace('T', ' ');
  const shadesOf = plot => data.shades.concat(plot.shades).map(one => ({
    from: +place(one[0]), to: +place(one[1]), reason: data.reasons[one[2]]}));

  function rowsOf(plot) {
    return data.times.map((time, i) => [place(time)].concat(plot.columns.map(column => {
      const average = column.average[i];
      if (average === null) return [null, null, null];
      return [column.least ? column.least[i] : average, average, column.most ? column.most[i] : average];
    })));
  }

  // All of them at once: shades that lie side by side, as of a silent agent that is asked now and then, look as one.
  function hatch(canvas, area, bars) {
    if (!bars.length) return;
    canvas.save();
    canvas.beginPath();
    let end = -1;
    for (const [from, to] of bars.sort((a, b) => a[0] - b[0])) {
      const left = Math.max(from, end);
      if (to <= left) continue;
      canvas.rect(left, area.y, to - left, area.h);
      end = to;
    }
    canvas.clip();
    canvas.globalAlpha = 0.1;
    canvas.fillStyle = canvas.strokeStyle = colour('lack');
    canvas.fillRect(area.x, area.y, area.w, area.h);
    canvas.globalAlpha = 0.5;
    canvas.lineWidth = 1;
    canvas.beginPath();
    for (let x = area.x - area.h; x < area.x + area.w; x += 7) {
      canvas.moveTo(x, area.y + area.h);
      canvas.lineTo(x + area.h, area.y);
    }
    canvas.stroke();
    canvas.restore();
  }

  const drawn = [];
  let zooming = false;
  function zoomAll(range) {
    if (zooming) return;
    zooming = true;
    for (const graph of drawn) graph.updateOptions({dateWindow: range});
    zooming = false;
  }

  function draw(figure) {
    const box = figure.querySelector('.plot');
    const key = figure.querySelector('.key');
    const plot = data.plots[box.dataset.plot];
    const shades = shadesOf(plot);
    const names = plot.names.map((name, i) => [name, i]);
    const tell = (time, values) => {
      key.textContent = '';
      const add = (parent, kind, words) => {
        const made = document.createElement(kind);
        made.textContent = words;
        parent.append(made);
        return made;
      };
      for (const [name, i] of names) {
        const span = add(key, 'span', '');
        add(span, 'i', '').style.background = colour('c' + (i % 4 + 1));
        span.append(name + ' ');
        if (values) add(span, 'b', quantity(values[i], plot.unit));
      }
      if (time === undefined) return;
      add(key, 'span', clock(new Date(time)));
      const shade = shades.find(one => time >= one.from && time <= one.to);
      if (shade) add(key, 'em', shade.reason);
    };
    box.classList.add('drawn');
    const rows = rowsOf(plot);
    const flat = rows.every(row => row.slice(1).every(bars => !bars[2]));
    const graph = new Dygraph(box, rows, {
      labels: ['time'].concat(plot.names), customBars: true, fillAlpha: 0.2, colors: colours(plot.names.length),
      strokeWidth: 1.5, drawGapEdgePoints: true, labelsUTC: true, legend: 'never', includeZero: true,
      highlightCircleSize: 3, axisLineColor: colour('line'), gridLineColor: colour('line'), gridLineWidth: 1,
      valueRange: flat && plot.unit === '%' ? [0, 103] : null, xRangePad: 2, yRangePad: 4, rightGap: 8,
      dateWindow: drawn.length ? drawn[0].getOption('dateWindow') : null,
      axes: {y: {axisLabelFormatter: text, axisLabelWidth: 54, pixelsPerLabel: 36}, x: {pixelsPerLabel: 72}},
      highlightCallback: (event, x, points) => {
        const values = plot.names.map(name => { const at = points.find(p => p.name === name); return at && at.yval; });
        tell(x, values);
      },
      unhighlightCallback: () => tell(),
      zoomCallback: (from, to) => zoomAll(graph.isZoomed('x') ? [from, to] : null),
      underlayCallback: (canvas, area, made) => {
        hatch(canvas, area, shades.map(shade => {
          const left = Math.max(made.toDomXCoord(shade.from), area.x);
          return [left, Math.min(Math.max(made.toDomXCoord(shade.to), left + 1.5), area.x + area.w)];
        }));
      },
    });
    drawn.push(graph);
    tell();
  }

  const watcher = new IntersectionObserver(entries => {
    for (const entry of entries) {
      if (!entry.isIntersecting) continue;
      watcher.unobserve(entry.target);
      draw(entry.target);
    }
  }, {rootMargin: '400px'});
  for (const figure of document.querySelectorAll('figure')) {
    figure.querySelector('.plot').classList.add('drawn');
    watcher.observe(figure);
  }
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    for (const graph of drawn) {
      graph.updateOptions({colors: colours(graph.numColumns() - 1), axisLineColor: colour('line'),
                           gridLineColor: colour('line')});
    }
  });
  addEventListener('beforeprint', () => {
    for (const figure of document.querySelectorAll('figure')) {
      if (!figure.querySelector('canvas')) draw(figure);
    }
  });

  for (const table of document.querySelectorAll('table.sortable')) {
    const body = table.tBodies[0];
    [...table.tHead.rows[0].cells].forEach((head, at) => head.firstChild.addEventListener('click', () => {
      const number = head.classList.contains('n');
      const down = head.ariaSort ? head.ariaSort === 'ascending' : number;
      const value = row => number ? Number(row.cells[at].dataset.v ?? row.cells[at].textContent)
                                  : row.cells[at].textContent;
      const order = (a, b) => number ? value(a) - value(b) : value(a).localeCompare(value(b), undefined, {numeric: true});
      const rows = [...body.rows].sort((a, b) => down ? order(b, a) : order(a, b));
      for (const other of table.tHead.rows[0].cells) other.removeAttribute('aria-sort');
      head.setAttribute('aria-sort', down ? 'descending' : 'ascending');
      body.append(...rows);
    }));
  }
})();
)js";

const std::string_view dygraphs_licence =
    R"text(Copyright (c) 2006, 2009, 2011, 2012, 2013, 2017 Dan Vanderkam <danvdk@gmail.com>
Copyright (c) 2011 Paul Felix, (c) 2011, 2013 Robert Konigsberg, (c) 2013 David Eberlein, (c) 2013 Google, Inc.,
(c) 2014 mirabilos, (c) 2015 Petr Shevtsov, (c) 2022, 2023 mirabilos, Deutsche Telekom LLCTO, and contributors

Permission is hereby granted, free of charge, to any person obtaining a copy of this software and associated
documentation files (the "Software"), to deal in the Software without restriction, including without limitation the
rights to use, copy, modify, merge, publish, distribute, sublicense, and/or sell copies of the Software, and to permit
persons to whom the Software is furnished to do so, subject to the following conditions:

The above copyright notice and this permission notice shall be included in all copies or substantial portions of the
Software.

THE SOFTWARE IS PROVIDED "AS IS", WITHOUT WARRANTY OF ANY KIND, EXPRESS OR IMPLIED, INCLUDING BUT NOT LIMITED TO THE
WARRANTIES OF MERCHANTABILITY, FITNESS FOR A PARTICULAR PURPOSE AND NONINFRINGEMENT. IN NO EVENT SHALL THE AUTHORS OR
COPYRIGHT HOLDERS BE LIABLE FOR ANY CLAIM, DAMAGES OR OTHER LIABILITY, WHETHER IN AN ACTION OF CONTRACT, TORT OR
OTHERWISE, ARISING FROM, OUT OF OR IN CONNECTION WITH THE SOFTWARE OR THE USE OR OTHER DEALINGS IN THE SOFTWARE.
)text";

}  // namespace report
