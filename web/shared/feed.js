// Takes what is told of the camera, live or from a recording, into the model.

import {model, tell} from './model.js';

/**
 * @param {import('./model.js').Head} head
 * @returns {boolean} whether the power has been switched since the head before
 */
export function takeHead(head) {
    const was = model.head;
    model.head = head;
    model.headCame = performance.now();
    // Time that goes back is another boot's.
    const switched = was === null || was.on !== head.on || head.t < was.t;
    if (switched) tell('power', head.on);
    tell('head', head);
    return switched && was !== null;
}

/**
 * @param {import('./model.js').TraceEvent[]} events  in their order
 * @returns {Set<string>} the keys that they have set, of which nobody has been told yet
 */
export function takeEvents(events) {
    /** @type {Set<string>} */
    const keys = new Set();
    for (const {kind, text} of events) {
        if (kind !== 'bus' && kind !== 'cmd') continue;
        const blank = text.indexOf(' ');
        const key = blank < 0 ? text : text.slice(0, blank);
        model.bus.set(key, blank < 0 ? '' : text.slice(blank + 1));
        keys.add(key);
    }
    tell('trace', events);
    return keys;
}
