// Whole runs with one button: homing, autofocus, levelling, presets.

import {commandButton, drawSoon, element, panel, setText} from '../shared/dom.js';
import {listen, model} from '../shared/model.js';

/** @param {string} title @param {...Node} buttons */
const group = (title, ...buttons) => element(
    'div', {class: 'group', role: 'group', 'aria-label': title}, element('h3', {}, title),
    element('div', {class: 'buttons'}, ...buttons));

/** @param {string} label @param {string} key @param {string} word @param {string} [name] */
const word = (label, key, word, name) => commandButton(
    element('span', {}, label, element('code', {}, `${key} ${word}`)),
    `set lens.camN.${key} ${word}`, {name});

/** @param {number} number  1 or 2 */
function preset(number) {
    const record = element('p', {class: 'record'});
    const show = drawSoon(() => {
        const fields = (model.bus.get(`lens.camN.preset${number}`) ?? '').split(',').map(Number);
        const stored = fields.length === 8 && [0, 1, 2, 4].every((field) => fields[field] >= 0);
        setText(record, stored ? `pan ${fields[0]}, tilt ${fields[1]}` : 'empty');
        record.title = stored ? `zoom ${fields[2]}, turn ${fields[4]}, ` +
                (fields[3] < 0 ? 'then autofocus' : `focus ${fields[3]}`) :
                                 '';
    });
    for (const topic of /** @type {const} */ (['keys', 'bus'])) listen(topic, show);
    const made = group(
        `Preset ${number}`, word('Go', 'act_preset', `${number}:go`, `Go to preset ${number}`),
        word('Store', 'act_preset', `${number}:set`, `Store preset ${number}`),
        word('Lock', 'act_preset', `${number}:set:lock`, `Store preset ${number}, locked`),
        word('Delete', 'act_preset', `${number}:del`, `Delete preset ${number}`));
    made.querySelector('h3')?.append(record);
    return made;
}

export function makeActions() {
    const made = panel(
        'actions', 'Runs',
        group(
            'Home', word('All', 'action.cmd', 'home1', 'Home all axes'),
            word('Fast', 'action.cmd', 'homefast', 'Home all at once'),
            word('Pan, tilt', 'action.cmd', 'home3', 'Home pan and tilt'),
            word('Lens', 'action.cmd', 'home', 'Home the lens')),
        group(
            'Focus', word('Autofocus', 'focus', 'fullrange'),
            word('Contrast', 'action.cmd', 'AF', 'Contrast autofocus')),
        group(
            'Level', word('Level', 'rotate', 'auto', 'Level the picture'),
            word('By mount', 'mode_rotate', 'auto', 'Orient by the mount after moves'),
            word('After turns', 'mode_rotate', 'rotate', 'Level or turn the picture after moves'),
            word('Off', 'mode_rotate', 'off', 'Orient nothing after moves')),
        preset(1), preset(2));
    made.querySelector('header')?.append(element(
        'p', {class: 'help'}, 'Each sends ', element('code', {}, 'set lens.camN.'),
        ' and what stands below it'));
    return made;
}
