// What happens: the trace as it comes, by kind, with filter, pause and search.

import {drawSoon, element, panel, setText} from '../shared/dom.js';
import {listen} from '../shared/model.js';

/** @typedef {import('../shared/model.js').TraceEvent} TraceEvent */

const kept = 4000;
const shownAtMost = 300;

/** @type {readonly [string, string][]} */
const kinds = [
    ['cmd', 'set from outside'], ['act', 'acts of the console'], ['bus', 'set by the daemon'],
    ['mcu', 'orders to the library'], ['head', 'what the mechanism reports'],
    ['log', "the daemon's own lines"], ['i2c', 'writes to the motion sensor']
];

/** @type {TraceEvent[]} */
let events = [];
const hiddenKinds = new Set(['i2c']);
/**
 * While the list is held: what had happened by then, so that it can be filtered and searched.
 * @type {TraceEvent[]|null}
 */
let held = null;
let missed = 0;

const list =
    element('ol', {class: 'events', tabindex: '0', 'aria-label': 'Events, the latest first'});
const search =
    element('input', {type: 'search', placeholder: 'Search', 'aria-label': 'Search the events'});
const pause = element('button', {type: 'button', 'aria-pressed': 'false'}, 'Pause');
const clear = element('button', {type: 'button'}, 'Clear');
const note = element('p', {class: 'note', role: 'status'});

/** @param {TraceEvent} event */
const matches = ({kind, text}) =>
    !hiddenKinds.has(kind) && text.toLowerCase().includes(search.value.toLowerCase());

/** @param {TraceEvent} event */
const row = ({t, kind, text}) => element(
    'li', {'data-kind': kind}, element('time', {}, t.toFixed(3)), element('b', {}, kind),
    element('span', {}, text));

/** @type {TraceEvent[]} */
let fresh = [];

/** The latest stands first, so that nothing has to be scrolled to. */
const addFresh = drawSoon(() => {
    const rows = fresh.filter(matches).slice(-shownAtMost).reverse().map(row);
    fresh = [];
    list.prepend(...rows);
    while (list.children.length > shownAtMost) list.lastElementChild?.remove();
});

const showAll = drawSoon(() => {
    fresh = [];
    list.replaceChildren(
        ...(held ?? events).filter(matches).slice(-shownAtMost).reverse().map(row));
});

/** @param {string} kind @param {string} meaning */
function kindSwitch(kind, meaning) {
    const button = element(
        'button', {
            type: 'button',
            title: meaning,
            'aria-pressed': String(!hiddenKinds.has(kind)),
            'data-kind': kind
        },
        kind);
    button.addEventListener('click', () => {
        if (!hiddenKinds.delete(kind)) hiddenKinds.add(kind);
        button.setAttribute('aria-pressed', String(!hiddenKinds.has(kind)));
        showAll();
    });
    return button;
}

function togglePause() {
    held = held === null ? [...events] : null;
    pause.setAttribute('aria-pressed', String(held !== null));
    setText(pause, held === null ? 'Pause' : 'Go on');
    showAll();
}

export function makeTrace() {
    listen('trace', (more) => {
        events.push(...more);
        if (events.length > kept + 1000) events = events.slice(-kept);
        if (held !== null) return;
        fresh.push(...more);
        addFresh();
    });
    listen('missed', (count) => {
        missed += count;
        setText(note, `${missed} events did not reach this page: it was too slow`);
    });
    search.addEventListener('input', showAll);
    pause.addEventListener('click', togglePause);
    clear.addEventListener('click', () => {
        events = [];
        if (held !== null) held = [];
        showAll();
    });
    const tools = element(
        'div', {class: 'tools'},
        element(
            'div', {class: 'kinds', role: 'group', 'aria-label': 'Kinds of events'},
            ...kinds.map(([kind, meaning]) => kindSwitch(kind, meaning))),
        search, pause, clear);
    return panel('trace', 'What happens', tools, list, note);
}
