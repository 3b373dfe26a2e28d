// What the page knows: the latest truth, the keys, the faults, the link. Panels listen to a topic
// and read here; nobody but the modules that are told of the camera write.

/**
 * @typedef {{position: number, busy: boolean, lost: number}} AxisTruth
 * @typedef {Record<import('./axes.js').AxisName, AxisTruth>} AxisTruths
 * @typedef {AxisTruths & {t: number, on: boolean, clock: string, mount: string, lensType: number,
 * speed: number, supply: number, icr: string, leds: string[], gravity: [number, number, number],
 *   sharpness: [number, number, number]}} Head  the truth as GET /head tells it
 * @typedef {{t: number, kind: string, text: string}} TraceEvent
 * @typedef {{usage: string, effect: string}} Fault
 * @typedef {{text: string, ok: boolean, answers: string[]}} Sent  commands and what came of them
 * @typedef {'connecting'|'connected'|'lost'} Link
 */

/**
 * @typedef {object} Topics  what each topic's listeners are given
 * @property {Head} head  the truth has changed
 * @property {TraceEvent[]} trace  what happened since the last call, in order
 * @property {number} missed  so many events of the trace did not reach the page
 * @property {Set<string>} keys  these keys have been set
 * @property {null} bus  all keys have been read anew
 * @property {null} faults  the lists of faults have been read anew
 * @property {Link} link
 * @property {boolean} power
 * @property {Sent} sent
 * @property {{events: TraceEvent[], happened: number}} moment  of a recording: what there is in its
 *     boot, and how much of that has happened
 * @property {string} offered  a command that the user is about to send; empty: none any more
 */

/** @type {{[T in keyof Topics]?: ((value: Topics[T]) => void)[]}} */
const listeners = {};

/**
 * @template {keyof Topics} T
 * @param {T} topic @param {(value: Topics[T]) => void} listener
 */
export function listen(topic, listener) {
    const known = /** @type {((value: Topics[T]) => void)[]} */ (listeners[topic] ?? []);
    known.push(listener);
    // The compiler does not see that one topic's list is stored under that topic.
    listeners[topic] = /** @type {any} */ (known);
}

/**
 * @template {keyof Topics} T
 * @param {T} topic @param {Topics[T]} value
 */
export function tell(topic, value) {
    for (const listener of listeners[topic] ?? []) listener(value);
}

export const model = {
    /** @type {Head|null} */
    head: null,
    /** When it came, in milliseconds of the browser's clock. */
    headCame: 0,
    /** @type {Map<string, string>} */
    bus: new Map(),
    /** @type {Fault[]} */
    knownFaults: [],
    /** @type {string[]} */
    activeFaults: [],
    /** @type {Link} */
    link: 'connecting',
    /** Whether what is shown is a recording, which nobody steers. */
    recording: false,
};

/**
 * The camera's time in seconds. The truth comes only when something has changed; in real time the
 * clock goes on meanwhile.
 */
export function cameraTime() {
    const {head, headCame} = model;
    if (head === null) return 0;
    const passed = head.on && head.clock === 'real' ? (performance.now() - headCame) / 1000 : 0;
    return head.t + passed * head.speed;
}

/** Whether there is a camera that runs. */
export const powered = () => model.link === 'connected' && model.head !== null && model.head.on;

/** Whether there is a camera that takes commands. */
export const steerable = () => powered() && !model.recording;

/**
 * The scene as the faults in force have it.
 * @returns {import('./optics.js').Scene}
 */
export function scene() {
    const offset =
        model.activeFaults.map((fault) => /^scene offset (-?\d+)/.exec(fault)).find(Boolean);
    return {
        dark: model.activeFaults.includes('scene dark'),
        flat: model.activeFaults.includes('scene flat'),
        offset: offset ? Number(offset[1]) : 0,
    };
}

/**
 * What the encoder does, by the keys.
 * @returns {import('./attitude.js').Encoding}
 */
export function encoding() {
    const isOn = (/** @type {string} */ name) => model.bus.get(`image.camN.${name}`) === 'on';
    return {flip: isOn('flip'), mirror: isOn('mirror'), rotate: isOn('rotate')};
}

/**
 * A position as the daemon publishes it, or null before it has.
 * @param {import('./axes.js').AxisName} axis
 */
export function published(axis) {
    const text = model.bus.get(`lens.camN.position_${axis}`);
    return text === undefined || text === '' ? null : Number(text);
}
