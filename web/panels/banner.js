// The head of the page: whether the program and the camera are there, the camera's clock, and the
// switch for its power.

import {commandButton, drawSoon, element, setText} from '../shared/dom.js';
import {cameraTime, listen, model, steerable} from '../shared/model.js';

const state = element('span', {class: 'state', role: 'status'});
const clock = element('time', {class: 'clock', title: "The camera's time since power-up"});
const cut = commandButton('Cut power', 'power-cut', {class: 'danger'});
/** With the virtual clock time moves only where somebody lets it. */
const steps = [1, 10].map((seconds) => commandButton(`Run ${seconds} s`, `run ${seconds}`));
const boot = commandButton('Power on', 'power-on', {class: 'primary'});

/** @param {number} seconds */
function clockText(seconds) {
    const whole = Math.floor(seconds);
    const two = (/** @type {number} */ value) => String(value).padStart(2, '0');
    return `${two(Math.floor(whole / 3600))}:${two(Math.floor(whole / 60) % 60)}:${
        two(whole % 60)}`;
}

const draw = drawSoon(() => {
    const {link, head} = model;
    const name = link === 'lost' ? 'lost' : head === null ? 'connecting' : head.on ? 'on' : 'off';
    document.body.dataset.state = name;
    setText(state, {
        lost: 'The program does not answer',
        connecting: 'Connecting',
        on: 'Camera on',
        off: 'Camera off'
    }[name]);
    state.dataset.state = name;
    setText(clock, head?.t === undefined ? '' : clockText(cameraTime()));
    cut.hidden = !steerable();
    for (const step of steps) step.hidden = !steerable() || head?.clock !== 'virtual';
    boot.hidden = name !== 'off' || model.recording;
});

export function makeBanner() {
    for (const topic of /** @type {const} */ (['head', 'link', 'power'])) listen(topic, draw);
    draw();
    setInterval(draw, 250);
    return element(
        'header', {class: 'banner'}, element('h1', {}, 'kestrel', element('span', {}, 'twin')),
        state, clock, element('span', {class: 'spring'}), ...steps, cut, boot);
}
