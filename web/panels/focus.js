// Focus: sharpness over the focus position, the samples of the last search in their order, the
// peak, and the place that the search chose.

import {axes, isLongLens, stopsOf} from '../shared/axes.js';
import {drawSoon, element, fixed, panel, setText, shape} from '../shared/dom.js';
import {listen, model, scene} from '../shared/model.js';
import {bestFocus, greatestSharpness, sharpness} from '../shared/optics.js';

const width = 560;
const height = 150;
const floor = 126;  // the line of sharpness 0
const head = 112;   // from there up to the greatest sharpness

const axisOf =
    /** @type {import('../shared/axes.js').Axis} */ (axes.find(({name}) => name === 'focus'));

/** @type {{samples: {position: number, value: number}[], chosen: number|null}} */
let search = {samples: [], chosen: null};

const curve = shape('path', {class: 'curve'});
const path = shape('path', {class: 'order'});
const dots = shape('g', {class: 'samples'});
const peak = shape(
    'g', {class: 'peak'}, shape('line', {y1: floor - head - 6, y2: floor}),
    shape('text', {y: 10, 'text-anchor': 'middle'}));
const chosen =
    shape('path', {class: 'chosen', d: `M-5 ${floor + 13}L0 ${floor + 4}L5 ${floor + 13}Z`});
const present =
    shape('g', {class: 'present'}, shape('line', {y1: 16, y2: floor}), shape('circle', {r: 5}));
const scale = shape('g', {class: 'scale'});
const chart = shape(
    'svg',
    {viewBox: `-12 0 ${width + 24} ${height}`, role: 'img', 'aria-label': 'Sharpness over focus'},
    shape('line', {class: 'floor', x1: 0, x2: width, y1: floor, y2: floor}), scale, peak, curve,
    path, dots, present, chosen);
const summary = element('p', {class: 'summary'});

/** Two ways of looking: the whole range, or the part round the peak and the samples. */
const close = element('input', {type: 'checkbox', id: 'focus-close'});

/** @returns {[number, number]} the positions at the chart's left and right side */
function extent() {
    const [low, high] = stopsOf(axisOf, isLongLens(model.head?.lensType ?? 0));
    if (!close.checked || model.head === null) return [low, high];
    const best = bestFocus(model.head.zoom.position, isLongLens(model.head.lensType), scene());
    return [Math.max(low, best - 260), Math.min(high, best + 260)];
}

/** @param {number} position */
function across(position) {
    const [low, high] = extent();
    return ((position - low) / (high - low)) * width;
}

/** @param {number} value  sharpness */
const up = (value) => floor - (value / greatestSharpness) * head;

/** @param {number} best */
function curvePath(best) {
    const [low, high] = extent();
    const steps = 280;
    return Array
        .from(
            {length: steps + 1},
            (_, i) => {
                const position = low + ((high - low) * i) / steps;
                return `${i ? 'L' : 'M'}${across(position).toFixed(1)} ${
                    up(sharpness(position - best, scene())).toFixed(1)}`;
            })
        .join('');
}

function showScale() {
    const [low, high] = extent();
    const step = high - low > 1000 ? 500 : 100;
    const marks = [];
    for (let position = Math.ceil(low / step) * step; position <= high; position += step) {
        const x = across(position).toFixed(1);
        marks.push(
            shape('line', {x1: x, x2: x, y1: floor, y2: floor + 4}),
            shape('text', {x, y: floor + 15, 'text-anchor': 'middle'}, String(position)));
    }
    scale.replaceChildren(...marks);
}

function showSearch() {
    const points = search.samples.map(
        ({position, value}) =>
            ({x: across(position).toFixed(1), y: up(value).toFixed(1), position, value}));
    path.setAttribute('d', points.map(({x, y}, i) => `${i ? 'L' : 'M'}${x} ${y}`).join(''));
    dots.replaceChildren(...points.map(({x, y, position, value}, i) => {
        const dot = shape(
            'circle', {cx: x, cy: y, r: 2.6, 'data-order': i + 1},
            shape('title', {}, `sample ${i + 1}: ${fixed(value, 3)} at ${position}`));
        // Early samples are pale, late ones strong.
        dot.style.opacity = String(0.3 + (0.7 * (i + 1)) / points.length);
        return dot;
    }));
    chosen.style.display = search.chosen === null ? 'none' : '';
    chosen.setAttribute('transform', `translate(${across(search.chosen ?? 0).toFixed(1)} 0)`);
}

const draw = drawSoon(() => {
    const truth = model.head;
    if (truth === null || truth.focus === undefined) return;
    const best = bestFocus(truth.zoom.position, isLongLens(truth.lensType), scene());
    const at = truth.focus.position;
    curve.setAttribute('d', curvePath(best));
    showScale();
    showSearch();
    peak.setAttribute('transform', `translate(${across(best).toFixed(1)} 0)`);
    setText(/** @type {Element} */ (peak.lastElementChild), `peak ${fixed(best)}`);
    present.setAttribute('transform', `translate(${across(at).toFixed(1)} 0)`);
    present.lastElementChild?.setAttribute('cy', up(sharpness(at - best, scene())).toFixed(1));
    const found = search.samples.length === 0 ? 'No search yet.' :
                                                `Last search: ${search.samples.length} samples` +
            (search.chosen === null ? '.' : `, chose ${search.chosen}.`);
    setText(
        summary,
        `Focus ${at}, ${fixed(Math.abs(at - best))} steps from the peak. ` +
            `Sharpness ${
                truth.sharpness.map((value) => value.toFixed(2)).join(' · ')} in areas A, B, C. ${
                found}`);
    chart.dataset.best = best.toFixed(2);
});

/**
 * The daemon's own lines tell of a search.
 * @param {import('../shared/model.js').TraceEvent} event
 */
function follow({kind, text}) {
    if (kind !== 'log') return;
    const sample = /^Pos:(-?\d+) Fv:(-?\d+)/.exec(text);
    const end = /^Auto focus ponsition (-?\d+)/.exec(text);
    if (/^Start:-?\d+ End:-?\d+/.test(text)) search = {samples: [], chosen: null};
    if (sample)
        search.samples.push({position: Number(sample[1]), value: Number(sample[2]) / 10000});
    if (end) search.chosen = Number(end[1]);
}

export function makeFocus() {
    listen('trace', (events) => {
        events.forEach(follow);
        draw();
    });
    listen('power', (on) => {
        if (on) search = {samples: [], chosen: null};
    });
    for (const topic of /** @type {const} */ (['head', 'faults'])) listen(topic, draw);
    close.addEventListener('change', draw);
    const made = panel('focus', 'Focus', chart, summary);
    made.querySelector('header')?.append(
        element('label', {class: 'switch'}, close, ' near the peak'));
    return made;
}
