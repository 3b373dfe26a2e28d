// Power, supply, filter, mount, lens, clock and speed, and the switches that belong to them.

import {commandButton, drawSoon, element, fixed, offer, panel, setText} from '../shared/dom.js';
import {mounts} from '../shared/attitude.js';
import {listen, model, powered} from '../shared/model.js';
import {send} from '../shared/server.js';

const speeds = [0.1, 0.25, 0.5, 1, 2, 5, 10];

/** @param {string} name @param {Node} value */
const fact = (name, value) => element('div', {}, element('dt', {}, name), element('dd', {}, value));

const watts = element('span');
const poe = element('span');
const supply = element('span');
const filter = element('span');
const encoder = element('span');
const lens = element('span');
const firmware = element('span');

/**
 * A choice that sends a command.
 * @param {string} label @param {readonly string[]} choices @param {(choice: string) => string}
 *     command
 */
function chooser(label, choices, command) {
    const select = element(
        'select', {'aria-label': label},
        ...choices.map((choice) => element('option', {value: choice}, choice)));
    offer(select, () => command(select.value));
    select.addEventListener('change', () => send(command(select.value)));
    return select;
}

const mount = chooser('Mount', Object.keys(mounts), (choice) => `mount ${choice}`);
const speed = chooser('Speed of time', speeds.map(String), (choice) => `speed ${choice}`);

const facts = element(
    'dl', {class: 'facts'}, fact('Mount', mount), fact('Speed ×', speed), fact('Draws', watts),
    fact('Supply', poe), fact('Motors', supply), fact('Filter', filter), fact('Encoder', encoder),
    fact('Lens', lens), fact('Firmware', firmware));

/** @param {HTMLSelectElement} select @param {string} value  perhaps none of its choices */
function choose(select, value) {
    if (document.activeElement === select) return;
    if (![...select.options].some((option) => option.value === value)) {
        select.append(element('option', {value}, value));
    }
    select.value = value;
}

const draw = drawSoon(() => {
    const head = model.head;
    if (head === null || head.pan === undefined) return;
    const key = (/** @type {string} */ name) => model.bus.get(name) ?? '–';
    /** @type {HTMLElement} */ (speed.closest('div')).hidden = model.recording;
    choose(mount, head.mount);
    choose(speed, String(head.speed ?? 1));
    setText(watts, powered() ? `${key('system.camN.info.power_consumption')} W` : '0 W');
    setText(poe, key('system.info.poe_status'));
    setText(supply, head.supply === 0 ? 'off' : `on (${head.supply})`);
    setText(filter, head.icr === 'day' ? 'in (day)' : 'out (night)');
    setText(encoder, key('encode.camN.status') === 'start' ? 'running' : 'stopped');
    setText(lens, `type ${fixed(head.lensType)}`);
    setText(
        firmware,
        `${key('system.camN.info.mcu_version_mb')} · ${
            key('system.camN.info.mcu_version_sensor')}`);
});

/** @param {string} label @param {...Node} buttons */
const pair = (label, ...buttons) =>
    element('div', {class: 'pair'}, element('span', {class: 'label'}, label), ...buttons);

export function makeCamera() {
    for (const topic of /** @type {const} */ (['head', 'keys', 'bus', 'power', 'link']))
        listen(topic, draw);
    const groups = element(
        'div', {class: 'pairs'},
        pair(
            'Filter', commandButton('Day', 'set gpio.camN.out.icr day', {name: 'Filter in: day'}),
            commandButton('Night', 'set gpio.camN.out.icr night', {name: 'Filter out: night'})),
        pair(
            'Encoder',
            commandButton('Start', 'set encode.camN.status start', {name: 'Start the encoder'}),
            commandButton('Stop', 'set encode.camN.status stop', {name: 'Stop the encoder'})));
    return panel('camera', 'Camera', facts, groups);
}
