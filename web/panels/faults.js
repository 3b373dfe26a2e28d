// Faults, from the twin's own list: those in force, each with its end, and a form for another one.

import {commandButton, element, offer, panel} from '../shared/dom.js';
import {listen, model} from '../shared/model.js';
import {send} from '../shared/server.js';

const active = element('ul', {class: 'active'});
const select = element('select', {id: 'fault-name', 'aria-label': 'Fault'});
const argument = element('input', {
    id: 'fault-text',
    type: 'text',
    'aria-label': 'The fault with its arguments',
    spellcheck: 'false',
    autocapitalize: 'off',
    autocomplete: 'off'
});
const inject = element('button', {type: 'submit'}, 'Inject');
const effect = element('p', {class: 'note', id: 'fault-effect'});

/**
 * What to begin with, of a usage like "axis AXIS|all slip N (1 to 100000)": the first choice of
 * words, and the least or a telling number.
 * @param {string} usage
 */
function example(usage) {
    return usage.replace(/\((-?[\w.]+) to [^)]*\)/g, '')
        .replace(/\(N [^)]*\)/g, '')
        .trim()
        .split(/\s+/)
        .map((word) => ({
                 'AXIS|all': 'pan',
                 FUNCTION: 'setPanForwardS',
                 N: '200',
                 'N|always': 'always',
                 FACTOR: '4',
                 COUNTS: '200',
                 HEX: '00',
                 PERCENT: '0.5'
             }[word] ?? word.split('|')[0]))
        .join(' ');
}

const command = () => `fault ${argument.value.trim()}`;

function pick() {
    const fault = model.knownFaults.find(({usage}) => usage === select.value);
    argument.value = fault ? example(fault.usage) : '';
    effect.textContent = fault?.effect ?? '';
}

/** @param {string} fault  as the list has it, perhaps with what is left of it */
function clearing(fault) {
    const [name, subject] = fault.split(' ');
    return `fault clear ${['axis', 'call', 'mcu'].includes(name) ? `${name} ${subject}` : name}`;
}

function show() {
    // An offer to clear is no fault, and the power has a switch of its own.
    const known = model.knownFaults.filter(({usage}) => !/^(clear|scene normal)\b/.test(usage));
    if (select.options.length !== known.length) {
        select.replaceChildren(...known.map(
            ({usage}) => element('option', {value: usage}, usage.replace(/ \(.*\)$/, ''))));
        pick();
    }
    active.replaceChildren(...model.activeFaults.map(
        (fault) => element(
            'li', {}, element('span', {}, fault),
            commandButton('End', clearing(fault), {name: `End ${fault}`}))));
    if (model.activeFaults.length === 0)
        active.append(element('li', {class: 'none'}, 'None in force'));
}

export function makeFaults() {
    const form = element('form', {class: 'inject'}, select, argument, inject);
    offer(inject, command);
    offer(argument, command);
    select.addEventListener('change', pick);
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        send(command());
    });
    listen('faults', show);
    const made = panel('faults', 'Faults', active, form, effect);
    made.querySelector('header')?.append(commandButton('End all', 'fault clear', {class: 'quiet'}));
    return made;
}
