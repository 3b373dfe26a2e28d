// A recording that the program shows in the place of a camera: its boots one after the other on one
// line of time, and any moment of that in the model, as if it were the present.

import {takeEvents, takeHead} from './feed.js';
import {model, tell} from './model.js';

/** @typedef {import('./model.js').Head} Head */
/** @typedef {import('./model.js').TraceEvent} TraceEvent */

/**
 * @typedef {{end: number, off: boolean, fails: number[]}} Boot  times in seconds from its beginning
 * @typedef {{file: string, speed: number, step: number, boots: Boot[]}} Recording
 * @typedef {object} Film  what happened in one boot
 * @property {Map<string, string>} bus  the keys to begin with
 * @property {TraceEvent[]} events
 * @property {{t: number, json: string}[]} heads  most of them are never looked at
 * @property {{t: number, list: string[]}[]} faults  those in force from then on
 */

/** For so long a cut of the power is seen, in seconds on the line of time. */
const offSpan = 1;

/** @returns {Promise<Recording|null>} null where the program shows a camera */
export async function readRecording() {
    try {
        const response = await fetch('/recording');
        return response.status === 200 ? await response.json() : null;
    } catch {
        // The program has gone away; the live page finds that out, too.
        return null;
    }
}

/** @param {Boot} boot */
const lengthOf = ({end, off}) => end + (off ? offSpan : 0);

/**
 * Where each boot begins on the line of time, and behind them its end.
 * @param {Recording} recording
 */
export function beginningsOf({boots}) {
    const beginnings = [0];
    for (const boot of boots) beginnings.push((beginnings.at(-1) ?? 0) + lengthOf(boot));
    return beginnings;
}

/**
 * The boot at a moment, and the time in it.
 * @param {Recording} recording @param {number} moment  on the line of time
 */
export function placeOf(recording, moment) {
    const beginnings = beginningsOf(recording);
    const later = beginnings.findIndex((begin, i) => i > 0 && moment < begin);
    const boot = (later < 0 ? recording.boots.length : later) - 1;
    return {boot, t: Math.max(0, Math.min(recording.boots[boot].end, moment - beginnings[boot]))};
}

/** @param {string} text  events, as the live page gets them @returns {Film} */
function filmOf(text) {
    /** @type {Film} */
    const film = {bus: new Map(), events: [], heads: [], faults: []};
    let latest = 0;
    for (const block of text.split('\n\n')) {
        const [name, json] = block.replace('event: ', '').split('\ndata: ');
        if (name === 'head') {
            latest = Number.parseFloat(json.slice('{"t":'.length));
            film.heads.push({t: latest, json});
        } else if (name === 'trace') {
            film.events.push(JSON.parse(json));
            latest = film.events.at(-1)?.t ?? latest;
        } else if (name === 'faults') {
            film.faults.push({t: latest, list: JSON.parse(json)});
        } else if (name === 'bus') {
            film.bus = new Map(Object.entries(JSON.parse(json)));
        }
    }
    return film;
}

/** @type {Map<number, Film|Promise<void>>} */
const films = new Map();

/** @param {number} boot */
async function load(boot) {
    try {
        const response = await fetch(`/recording/${boot + 1}`);
        if (!response.ok) throw new Error(await response.text());
        films.set(boot, filmOf(await response.text()));
        model.link = 'connected';
    } catch {
        films.delete(boot);
        model.link = 'lost';
    }
    tell('link', model.link);
}

/**
 * A boot's film; null as long as it is on its way.
 * @param {number} boot
 */
function filmOfBoot(boot) {
    const film = films.get(boot);
    if (film === undefined) films.set(boot, load(boot));
    return film === undefined || film instanceof Promise ? null : film;
}

/** What the model shows. */
const shown = {
    /** @type {Film|null} */
    film: null,
    t: 0,
    events: 0,  // so many have happened
    head: 0,    // this one is the latest
};

/** @param {Film} film @param {number} index @returns {Head} */
const headOf = (film, index) => JSON.parse(film.heads[index].json);

/** @param {Film} film */
function rewind(film) {
    Object.assign(shown, {film, t: 0, events: 0, head: 0});
    model.bus = new Map(film.bus);
    model.head = null;
    takeHead(headOf(film, 0));
}

/**
 * Tells the events up to a time, each with the head as it stood then.
 * @param {Film} film @param {number} t
 */
function tellEvents(film, t) {
    const {events, heads} = film;
    /** @type {Set<string>} */
    const keys = new Set();
    const now = model.head;
    while (shown.events < events.length && events[shown.events].t <= t) {
        const first = shown.events;
        while (heads[shown.head + 1]?.t <= events[first].t) shown.head++;
        const until = heads[shown.head + 1]?.t ?? Infinity;
        while (events[shown.events]?.t <= t && events[shown.events].t < until) shown.events++;
        model.head = headOf(film, shown.head);
        for (const key of takeEvents(events.slice(first, shown.events))) keys.add(key);
    }
    model.head = now;
    while (heads[shown.head + 1]?.t <= t) shown.head++;
    return keys;
}

/** @param {Film} film @param {number} t */
function tellFaults(film, t) {
    const list = film.faults.filter((faults) => faults.t <= t).at(-1)?.list ?? [];
    if (list.join() === model.activeFaults.join()) return;
    model.activeFaults = list;
    tell('faults', null);
}

/**
 * Shows a moment. False if its boot has to be fetched first.
 * @param {Recording} recording @param {number} moment  on the line of time
 */
export function showMoment(recording, moment) {
    const {boot, t} = placeOf(recording, moment);
    const film = filmOfBoot(boot);
    if (film === null) return false;
    const back = film !== shown.film || t < shown.t;
    if (back) rewind(film);
    const keys = tellEvents(film, t);
    shown.t = t;
    tellFaults(film, t);
    takeHead({...headOf(film, shown.head), t});
    if (back)
        tell('bus', null);
    else if (keys.size > 0)
        tell('keys', keys);
    tell('moment', {events: film.events, happened: shown.events});
    return true;
}
