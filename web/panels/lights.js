// The four lights, the events that draw over them, the demo patterns, and what limits them all.

import {element, offer, panel} from '../shared/dom.js';
import {listen, model} from '../shared/model.js';
import {send} from '../shared/server.js';

/**
 * A choice of values for a key; it follows the key.
 * @param {string} key @param {string} name @param {readonly (string|[string, string])[]} choices
 *   values, or value and label
 */
function choice(key, name, choices) {
    const select = element(
        'select', {'aria-label': name}, element('option', {value: '', disabled: true}, '–'),
        ...choices.map(
            (one) =>
                (typeof one === 'string' ? element('option', {value: one}, one) :
                                           element('option', {value: one[0]}, one[1]))));
    const command = () => `set ${key} ${select.value}`;
    offer(select, command);
    select.addEventListener('change', () => send(command()));
    const show = () => {
        if (document.activeElement !== select) select.value = model.bus.get(key) ?? '';
    };
    listen('bus', show);
    listen('keys', (keys) => {
        if (keys.has(key)) show();
    });
    show();
    return select;
}

const places = [
    ['front_left', 'Front left'], ['front_right', 'Front right'], ['back_left', 'Back left'],
    ['back_right', 'Back right']
];

/** @param {string} place @param {string} label */
function light(place, label) {
    const key = (/** @type {string} */ what) => `lens.camN.light.${place}.${what}`;
    return element(
        'tr', {}, element('th', {scope: 'row'}, label),
        element(
            'td', {},
            choice(key('state'), `${label}: state`, ['off', 'on', 'slow', 'medium', 'fast'])),
        element(
            'td', {},
            choice(key('color'), `${label}: colour`, ['white', 'green', 'yellow', 'red', 'blue'])),
        element(
            'td', {},
            choice(key('brightness'), `${label}: brightness`, ['high', 'medium', 'low'])));
}

const eventCount = 11;  // event 0 to 10 draw something
const eventKey = 'lens.camN.light.onvif_mode';

/**
 * Whether an event is on, by the key.
 * @returns {boolean[]}
 */
const eventsOn = () => {
    const list = (model.bus.get(eventKey) ?? '').split(',');
    return Array.from({length: eventCount}, (_, i) => Number(list[i] ?? 0) !== 0);
};

/** @param {number} number */
function eventSwitch(number) {
    const button = element(
        'button', {type: 'button', 'aria-pressed': 'false', 'aria-label': `Event ${number}`},
        String(number));
    const command = () => {
        const on = eventsOn();
        on[number] = !on[number];
        return `set ${eventKey} ${on.map(Number).join(',')}`;
    };
    offer(button, command);
    button.addEventListener('click', () => send(command()));
    const show = () => button.setAttribute('aria-pressed', String(eventsOn()[number]));
    listen('bus', show);
    listen('keys', (keys) => {
        if (keys.has(eventKey)) show();
    });
    return button;
}

export function makeLights() {
    const table = element(
        'table', {class: 'lights'},
        element(
            'thead', {},
            element(
                'tr', {},
                ...['Light', 'State', 'Colour', 'Brightness'].map(
                    (name) => element('th', {scope: 'col'}, name)))),
        element('tbody', {}, ...places.map(([place, label]) => light(place, label))));
    const demos =
        [['0', 'none'], ...Array.from({length: 10}, (_, i) => [String(i + 1), `demo ${i + 1}`])];
    const row = (/** @type {string} */ name, /** @type {Node[]} */...controls) =>
        element('div', {class: 'pair'}, element('span', {class: 'label'}, name), ...controls);
    return panel(
        'lights', 'Lights', table,
        row('Events',
            element(
                'div', {class: 'buttons small', role: 'group', 'aria-label': 'Events'},
                ...Array.from({length: eventCount}, (_, i) => eventSwitch(i)))),
        row('Pattern',
            choice('demo.led.mode', 'Demo pattern', demos.map(([value, name]) => [value, name])),
            element('span', {class: 'label'}, 'Limit'),
            choice('lens.global.led_power', 'Power limit', ['255', '128', '64', '0'])));
}
