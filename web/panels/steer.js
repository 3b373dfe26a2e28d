// Moving by hand: a pad for pan and tilt with a speed, zoom, focus, turn and iris, for as long as a
// button is held.

import {element, holdButton, panel} from '../shared/dom.js';

const speed = element(
    'input',
    {type: 'range', id: 'speed', min: 1, max: 9, value: 5, 'aria-describedby': 'speed-value'});
const speedValue = element('output', {
    id: 'speed-value', for: 'speed'
}, '5');

/**
 * The nine fields of the pad, row by row: an arrow, and the words for pan and tilt.
 * @type {readonly [string, string, string][]}
 */
const pad = [
    ['↖', 'left', 'up'],
    ['↑', '', 'up'],
    ['↗', 'right', 'up'],
    ['←', 'left', ''],
    ['■', '', ''],
    ['→', 'right', ''],
    ['↙', 'left', 'down'],
    ['↓', '', 'down'],
    ['↘', 'right', 'down'],
];

/** @param {string} arrow @param {string} pan @param {string} tilt  words, or empty */
function padField(arrow, pan, tilt) {
    const stop = [
        ...(pan || !tilt ? ['set lens.camN.pan stop'] : []),
        ...(tilt || !pan ? ['set lens.camN.tilt stop'] : [])
    ];
    const begin = () => [...(pan ? [`set lens.camN.pan ${pan}:${speed.value}`] : []),
                         ...(tilt ? [`set lens.camN.tilt ${tilt}:${speed.value}`] : []),
    ].join('\n') ||
        stop.join('\n');
    const name = [tilt, pan].filter((word) => word !== '').join(' and ') || 'stop';
    return holdButton(arrow, begin, stop.join('\n'), {name, class: pan || tilt ? '' : 'stop'});
}

/**
 * An axis with two directions. The iris knows no word for stop: a move by nothing ends its motion.
 * @param {string} label @param {string} axis @param {[string, string]} minus  sign and word
 * @param {[string, string]} plus @param {string} [stop]
 */
function rocker(label, axis, minus, plus, stop = 'stop') {
    const button = (/** @type {[string, string]} */[sign, word]) => holdButton(
        sign, `set lens.camN.${axis} ${word}`, `set lens.camN.${axis} ${stop}`,
        {name: `${label} ${word}`});
    return element(
        'div', {class: 'rocker', role: 'group', 'aria-label': label}, button(minus),
        element('span', {}, label), button(plus));
}

export function makeSteer() {
    speed.addEventListener('input', () => {
        speedValue.textContent = speed.value;
    });
    const keypad = element(
        'div', {class: 'pad', role: 'group', 'aria-label': 'Pan and tilt'},
        ...pad.map(([arrow, pan, tilt]) => padField(arrow, pan, tilt)));
    const rockers = element(
        'div', {class: 'rockers'}, rocker('Zoom', 'zoom', ['−', 'out'], ['+', 'in']),
        rocker('Focus', 'focus', ['near', 'near'], ['far', 'far']),
        rocker('Turn', 'rotate', ['↺', 'backward'], ['↻', 'forward']),
        rocker('Iris', 'iris', ['−', 'close'], ['+', 'open'], 'r:0'),
        element('div', {class: 'speed'}, element('label', {for: 'speed'
                }, 'Speed'), speed, speedValue));
    const made = panel('steer', 'Move', element('div', {class: 'steering'}, keypad, rockers));
    made.querySelector('header')?.append(element(
        'p', {class: 'help'}, 'Hold to move; left and right name the way the picture moves'));
    return made;
}
