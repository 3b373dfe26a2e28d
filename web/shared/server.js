// The link to the program that serves the page: commands there, events back. It comes back by
// itself after the program has been started again.

import {takeEvents, takeHead} from './feed.js';
import {model, tell} from './model.js';

/** @typedef {import('./model.js').TraceEvent} TraceEvent */

const retryAfter = 700;  // milliseconds

/**
 * Sends console commands, one a line, and tells what came of them.
 * @param {string} commands
 * @returns {Promise<import('./model.js').Sent>}
 */
export async function send(commands) {
    const sent = await ask(commands);
    tell('sent', sent);
    if (/^(fault|power-on)\b/m.test(commands)) await readFaults();
    return sent;
}

/**
 * The same for the page's own questions, of which nobody is told.
 * @param {string} commands
 * @returns {Promise<import('./model.js').Sent>}
 */
async function ask(commands) {
    try {
        const response = await fetch('/console', {method: 'POST', body: `${commands}\n`});
        const answers = (await response.text()).split('\n').filter((line) => line !== '');
        return {text: commands, ok: response.ok, answers};
    } catch {
        return {text: commands, ok: false, answers: ['the program does not answer']};
    }
}

/**
 * For each reading of all keys that is under way, what events have set meanwhile.
 * @type {Set<Map<string, string>>}
 */
const readings = new Set();

/** Reads all keys anew. What the answer says may be older than what events say by then. */
async function readBus() {
    /** @type {Map<string, string>} */
    const meanwhile = new Map();
    readings.add(meanwhile);
    try {
        const response = await fetch('/bus');
        if (!response.ok) return;
        const keys = Object.entries(await response.json());
        model.bus = new Map([...keys, ...meanwhile]);
        tell('bus', null);
    } finally {
        readings.delete(meanwhile);
    }
}

let faultReadings = 0;

/**
 * Reads which faults there are and which are in force. Of readings that overlap the last one
 * counts, and a list that is as it was is not drawn anew under the pointer.
 */
export async function readFaults() {
    const mine = ++faultReadings;
    const {ok, answers} = await ask('fault');
    if (!ok || mine !== faultReadings) return;
    const before = JSON.stringify([model.knownFaults, model.activeFaults]);
    model.knownFaults = [];
    model.activeFaults = [];
    for (const line of answers) {
        const active = /^= active: (.*)$/.exec(line);
        const known = /^= (.+?): (.*)$/.exec(line);
        if (active) {
            model.activeFaults.push(active[1]);
        } else if (known) {
            model.knownFaults.push({usage: known[1], effect: known[2]});
        }
    }
    if (JSON.stringify([model.knownFaults, model.activeFaults]) !== before) tell('faults', null);
}

/** @param {import('./model.js').Link} link */
function setLink(link) {
    if (model.link === link) return;
    model.link = link;
    tell('link', link);
}

/** Everything that no event repeats. */
async function readAnew() {
    try {
        await Promise.all([readBus(), readFaults()]);
    } catch {
        // The stream of events ends as well then, and the next connection reads again.
    }
}

/** @type {TraceEvent[]} */
let waiting = [];

/** What came in one picture's time is told at once. */
function tellTrace() {
    const events = waiting;
    waiting = [];
    const keys = takeEvents(events);
    for (const key of keys) {
        for (const meanwhile of readings) meanwhile.set(key, model.bus.get(key) ?? '');
    }
    if (events.some(({kind, text}) => kind === 'act' && text.startsWith('fault'))) readFaults();
    if (keys.size > 0) tell('keys', keys);
}

/** @param {TraceEvent} event */
function takeTrace(event) {
    // A page in the background draws nothing, but it still listens.
    if (waiting.length === 0) setTimeout(tellTrace, 16);
    waiting.push(event);
}

/** Opens the stream of events, and again whenever it ends. */
export function connect() {
    const events = new EventSource('/events');
    events.addEventListener('open', () => {
        setLink('connected');
        readAnew();
    });
    events.addEventListener('head', ({data}) => {
        // A boot has another bus, and its faults are those of before.
        if (takeHead(JSON.parse(data)) && model.head?.on) readAnew();
    });
    events.addEventListener('trace', ({data}) => takeTrace(JSON.parse(data)));
    events.addEventListener('lost', ({data}) => {
        tell('missed', JSON.parse(data).count);
        readAnew();
    });
    events.addEventListener('error', () => {
        events.close();
        setLink('lost');
        setTimeout(connect, retryAfter);
    });
}
