// The six axes: the true position, the published one and the target on one bar, with the range and
// the end stops. A click on a bar goes there.

import {
    axes,
    isLongLens,
    movedBy,
    parseRange,
    rangeKey,
    statusKey,
    stopsOf,
    wordKey
} from '../shared/axes.js';
import {drawSoon, element, fixed, offer, panel, setText} from '../shared/dom.js';
import {listen, model, published, steerable} from '../shared/model.js';
import {send} from '../shared/server.js';

/** @typedef {import('../shared/axes.js').Axis} Axis */

/**
 * Where an axis is going: the end of a running order, or the position that a word asked for.
 * @type {Map<string, {goal: number, asked: boolean}>}
 */
const targets = new Map();

/** @param {Axis} axis @returns {[number, number]} */
const endsOf = (axis) => stopsOf(axis, isLongLens(model.head?.lensType ?? 0));

/** @param {Axis} axis @returns {[number, number]} what the daemon may use */
const rangeOf = (axis) => parseRange(model.bus.get(rangeKey(axis.name))) ?? endsOf(axis);

/**
 * @param {Axis} axis @param {number} position @returns {number} its place on the bar, in percent
 */
function placeOf(axis, position) {
    const [low, high] = endsOf(axis);
    return Math.max(0, Math.min(100, ((position - low) / (high - low)) * 100));
}

/** @param {Axis} axis */
function makeRow(axis) {
    const parts = {
        range: element('span', {class: 'range'}),
        target: element('span', {class: 'target'}),
        published: element('span', {class: 'published'}),
        true: element('span', {class: 'true'}),
    };
    const bar = element(
        'div',
        {class: 'bar', tabindex: '0', role: 'slider', 'aria-label': `${axis.label}, true position`},
        ...Object.values(parts));
    const status = element('span', {class: 'status'}, '–');
    const value = element('span', {class: 'number'}, '–');
    const mark = element('span', {class: 'mark', hidden: true});
    const lost = element('span', {class: 'lost'});
    const row = element(
        'div', {class: 'axis', 'data-axis': axis.name},
        element('span', {class: 'name'}, axis.label), status, bar, value,
        element('span', {class: 'remarks'}, mark, lost));
    const shown = {axis, row, bar, status, value, mark, lost, parts};
    addAiming(shown);
    return shown;
}

/** @typedef {ReturnType<typeof makeRow>} Row */

/** @param {Row} row */
function addAiming({axis, bar}) {
    const {name} = axis;
    let goal = 0;
    const command = () => `set ${wordKey(name)} a:${goal}`;
    const follow = (/** @type {PointerEvent|MouseEvent} */ event) => {
        const area = bar.getBoundingClientRect();
        const [low, high] = endsOf(axis);
        const [least, most] = rangeOf(axis);
        const part = (event.clientX - area.left) / area.width;
        goal = Math.round(Math.max(least, Math.min(most, low + part * (high - low))));
    };
    offer(bar, command);
    bar.addEventListener('pointermove', (event) => {
        follow(event);
        bar.dispatchEvent(new Event('pointerenter'));
    });
    bar.addEventListener('click', (event) => {
        follow(event);
        if (steerable()) send(command());
    });
    bar.addEventListener('keydown', (event) => {
        const steps = /** @type {Record<string, number>} */ ({
            ArrowLeft: -0.01,
            ArrowDown: -0.01,
            ArrowRight: 0.01,
            ArrowUp: 0.01,
            PageDown: -0.1,
            PageUp: 0.1,
            Home: -1,
            End: 1
        });
        const step = steps[event.key];
        if (step === undefined || !steerable()) return;
        event.preventDefault();
        const [least, most] = rangeOf(axis);
        const from = targets.get(name)?.goal ?? model.head?.[name].position ?? 0;
        goal = Math.round(Math.max(least, Math.min(most, from + step * (most - least))));
        send(command());
    });
}

/**
 * What was asked for is reached where the daemon says so, wherever the axis may really be.
 * @param {import('../shared/axes.js').AxisName} name @param {import('../shared/model.js').Head}
 *     head
 */
function dropReached(name, head) {
    const target = targets.get(name);
    if (target && !head[name].busy && (!target.asked || published(name) === target.goal))
        targets.delete(name);
}

/** @param {Row} row @param {import('../shared/model.js').Head} head */
function showRow({axis, bar, status, value, mark, lost, parts}, head) {
    const truth = head[axis.name];
    const said = published(axis.name);
    const word = model.bus.get(statusKey(axis.name)) ?? '–';
    const [least, most] = rangeOf(axis);
    dropReached(axis.name, head);
    const target = targets.get(axis.name);
    parts.range.style.left = `${placeOf(axis, least)}%`;
    parts.range.style.right = `${100 - placeOf(axis, most)}%`;
    parts.true.style.left = `${placeOf(axis, truth.position)}%`;
    parts.published.style.left = `${placeOf(axis, said ?? 0)}%`;
    parts.published.hidden = said === null;
    parts.target.hidden = !targets.has(axis.name);
    parts.target.style.left = `${placeOf(axis, target?.goal ?? 0)}%`;
    bar.classList.toggle('busy', truth.busy);
    bar.setAttribute('aria-valuemin', String(least));
    bar.setAttribute('aria-valuemax', String(most));
    bar.setAttribute('aria-valuenow', String(truth.position));
    setText(status, word);
    status.dataset.status = word;
    setText(value, String(truth.position));
    const differs = said !== null && said !== truth.position;
    mark.hidden = truth.busy || !differs;
    setText(mark, differs ? `daemon says ${said}` : '');
    setText(lost, truth.lost > 0 ? `${fixed(truth.lost)} lost` : '');
    lost.title =
        'steps that were ordered and did not move the axis, driving into its stop included';
}

/** @type {Row[]} */
const rows = axes.map(makeRow);

const draw = drawSoon(() => {
    const head = model.head;
    if (head === null || head.pan === undefined) return;
    for (const row of rows) showRow(row, head);
});

/** @param {import('../shared/model.js').TraceEvent} event */
function followOrder({kind, text}) {
    const head = model.head;
    if (head === null) return;
    if (kind === 'mcu') {
        const [name, , steps] = text.split(' ');
        const moved = movedBy(name, isLongLens(head.lensType));
        if (moved === null || targets.get(moved.axis.name)?.asked) return;
        const goal = head[moved.axis.name].position + moved.direction * Number(steps);
        targets.set(moved.axis.name, {goal, asked: false});
    } else if (/^lens\.camN\.(action\.cmd|act_preset) /.test(text)) {
        targets.clear();
    } else if (kind === 'cmd' || kind === 'bus') {
        const word = /^lens\.camN\.(pan|tilt|rotate|zoom|focus|iris) (?:a:(-?\d+)|.*)$/.exec(text);
        if (word === null) return;
        if (word[2] === undefined)
            targets.delete(word[1]);
        else
            targets.set(word[1], {goal: Number(word[2]), asked: true});
    }
}

export function makeAxes() {
    listen('trace', (events) => {
        events.forEach(followOrder);
        draw();
    });
    listen('power', () => targets.clear());
    for (const topic of /** @type {const} */ (['head', 'keys', 'bus'])) listen(topic, draw);
    const legend = element(
        'p', {class: 'legend'}, element('span', {class: 'key true'}), 'true ',
        element('span', {class: 'key published'}), 'published ',
        element('span', {class: 'key target'}), 'target');
    const made = panel('axes', 'Axes', ...rows.map(({row}) => row));
    made.querySelector('header')?.append(legend);
    return made;
}
