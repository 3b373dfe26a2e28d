// What happens: the trace as it comes, by kind, with filter, pause and search.

import {drawSoon, element, panel, setText} from '../shared/dom.js';
import {listen, model} from '../shared/model.js';

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
    if (model.recording) {
        listAnew();
        markMoment();
        return;
    }
    fresh = [];
    list.replaceChildren(
        ...(held ?? events).filter(matches).slice(-shownAtMost).reverse().map(row));
});

const around = 150;  // events shown before, and behind, a recording's moment
const margin = 20;   // so many rows behind the mark there is more, or the recording's end

/** What is listed of a recording. */
const listed = {
    events,
    happened: 0,
    /** @type {{index: number, row: HTMLElement}[]} */
    rows: [],
    mark: -1,  // of the rows: the latest that has happened
};

function listAnew() {
    const {events: all, happened} = listed;
    /** @type {number[]} */
    const indices = [];
    for (let i = happened; i < all.length && indices.length < around; i++) {
        if (matches(all[i])) indices.unshift(i);
    }
    const later = indices.length;
    for (let i = happened - 1; i >= 0 && indices.length < later + around; i--) {
        if (matches(all[i])) indices.push(i);
    }
    listed.rows = indices.map((index) => ({index, row: row(all[index])}));
    list.replaceChildren(...listed.rows.map((one) => one.row));
    listed.mark = -1;
}

/** Marks the row of a recording's moment, in the middle of the list. */
function markMoment() {
    const {rows, happened} = listed;
    const found = rows.findIndex(({index}) => index < happened);
    const mark = found < 0 ? rows.length : found;
    if (mark === listed.mark) return false;
    rows[listed.mark]?.row.removeAttribute('aria-current');
    listed.mark = mark;
    const present = rows[mark]?.row;
    present?.setAttribute('aria-current', 'true');
    list.scrollTop = (present?.offsetTop ?? list.scrollHeight) - list.clientHeight / 2;
    return mark < margin || mark > rows.length - margin;
}

const showMoment = drawSoon(() => {
    if (!markMoment()) return;
    listAnew();
    markMoment();
});

/** @param {{events: TraceEvent[], happened: number}} moment */
function takeMoment(moment) {
    if (moment.events !== listed.events) Object.assign(listed, {rows: [], mark: -1});
    Object.assign(listed, moment);
    showMoment();
}

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
    listen('moment', takeMoment);
    listen('trace', (more) => {
        if (model.recording) return;
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
