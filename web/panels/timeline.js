// The statuses of each axis in the last minute: run, stop, fail.

import {axes} from '../shared/axes.js';
import {drawSoon, element, panel} from '../shared/dom.js';
import {cameraTime, listen, model} from '../shared/model.js';

const span = 60;  // seconds
const labelWidth = 52;
const rowHeight = 18;

/** @typedef {{t: number, status: string}} Change */

/** @type {Map<string, Change[]>} */
const changes = new Map(axes.map(({name}) => [name, []]));

const canvas = element('canvas', {role: 'img'});

/** The latest moment that is known. */
let latest = 0;

/** @param {string} name  of a colour in the style sheet */
const colour = (name) => getComputedStyle(canvas).getPropertyValue(`--${name}`).trim();

/**
 * @param {CanvasRenderingContext2D} pen @param {Change[]} list @param {number} y
 * @param {number} width @param {Record<string, string>} colours
 */
function drawRow(pen, list, y, width, colours) {
    const x = (/** @type {number} */ t) =>
        labelWidth + ((t - latest + span) / span) * (width - labelWidth);
    list.forEach(({t, status}, i) => {
        const from = Math.max(labelWidth, x(t));
        const to = x(list[i + 1]?.t ?? latest);
        if (to < labelWidth) return;
        const thick = status === 'stop' ? 2 : 8;
        pen.fillStyle = colours[status] ?? colours.other;
        // However short a run was, it can be seen.
        pen.fillRect(
            from, y + rowHeight / 2 - thick / 2, Math.max(status === 'stop' ? 0 : 2, to - from),
            thick);
    });
}

const draw = drawSoon(() => {
    const width = canvas.clientWidth;
    const height = axes.length * rowHeight + 16;
    const sharp = Math.min(2, window.devicePixelRatio);
    canvas.width = width * sharp;
    canvas.height = height * sharp;
    const pen = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
    pen.scale(sharp, sharp);
    pen.font = '12px system-ui, sans-serif';
    pen.textBaseline = 'middle';
    const colours =
        {run: colour('run'), stop: colour('line'), fail: colour('bad'), other: colour('warn')};
    axes.forEach(({name, label}, i) => {
        pen.fillStyle = colour('dim');
        pen.textAlign = 'left';
        pen.fillText(label, 0, i * rowHeight + rowHeight / 2);
        drawRow(pen, changes.get(name) ?? [], i * rowHeight, width, colours);
    });
    pen.fillStyle = colour('dim');
    for (const ago of [60, 45, 30, 15, 0]) {
        const x = labelWidth + ((span - ago) / span) * (width - labelWidth);
        pen.textAlign = ago === 0 ? 'right' : ago === 60 ? 'left' : 'center';
        pen.fillText(ago === 0 ? 'now' : `−${ago} s`, x, height - 7);
    }
    canvas.setAttribute(
        'aria-label',
        `Statuses of the last minute. Now: ${
            axes.map(
                    ({name, label}) => `${label} ${changes.get(name)?.at(-1)?.status ?? 'unknown'}`)
                .join(', ')}`);
});

/** @param {string} name @param {Change} change */
function add(name, change) {
    const list = changes.get(name);
    if (list === undefined) return;
    list.push(change);
    // What lies before the minute counts only as its beginning.
    while (list.length > 1 && list[1].t < latest - span) list.shift();
}

export function makeTimeline() {
    listen('trace', (events) => {
        for (const {t, kind, text} of events) {
            latest = Math.max(latest, t);
            const [, name, status] = /^lens\.camN\.(\w+)status (.*)$/.exec(text) ?? [];
            if (name !== undefined && (kind === 'bus' || kind === 'cmd')) add(name, {t, status});
        }
        draw();
    });
    // A boot begins at time 0.
    listen('power', (on) => {
        if (!on) return;
        latest = 0;
        for (const list of changes.values()) list.length = 0;
    });
    listen('bus', () => {
        for (const {name} of axes) {
            const status = model.bus.get(`lens.camN.${name}status`);
            if (status !== undefined && changes.get(name)?.length === 0)
                add(name, {t: latest, status});
        }
        draw();
    });
    const goOn = () => {
        latest = Math.max(latest, cameraTime());
        draw();
    };
    listen('moment', goOn);
    setInterval(goOn, 250);
    new ResizeObserver(draw).observe(canvas);
    return panel('timeline', 'Last minute', canvas);
}
