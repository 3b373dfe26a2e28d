// Elements and controls. Every control that sends a command shows it: in its title, and in the
// command line while the pointer or the keyboard is on it.

import {model, tell} from './model.js';
import {send} from './server.js';

/**
 * @typedef {Record<string, string|number|boolean|undefined>} Attributes
 * @typedef {Node|string|null|undefined} Child
 */

/** @param {Child[]} children */
const present = (children) =>
    /** @type {(Node|string)[]} */ (
        children.filter((child) => child !== null && child !== undefined));

/**
 * An element with attributes and children; an attribute of true is empty, of false or undefined
 * absent.
 * @template {keyof HTMLElementTagNameMap} T
 * @param {T} tag @param {Attributes} [attributes] @param {...Child} children
 * @returns {HTMLElementTagNameMap[T]}
 */
export function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value !== undefined && value !== false)
            made.setAttribute(name, value === true ? '' : String(value));
    }
    made.append(...present(children));
    return made;
}

/**
 * The same for pictures.
 * @param {string} tag @param {Attributes} [attributes] @param {...Child} children
 * @returns {SVGElement}
 */
export function shape(tag, attributes = {}, ...children) {
    const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value !== undefined && value !== false)
            made.setAttribute(name, value === true ? '' : String(value));
    }
    made.append(...present(children));
    return made;
}

/**
 * @param {Element} target @param {string} text  set only where it differs: readers are told of
 *     changes
 */
export function setText(target, text) {
    if (target.textContent !== text) target.textContent = text;
}

/**
 * A panel: a section with a heading.
 * @param {string} name  its id and CSS class @param {string} title @param {...Child} children
 */
export function panel(name, title, ...children) {
    const heading = element('h2', {id: `${name}-title`}, title);
    return element(
        'section', {id: name, class: `panel ${name}`, 'aria-labelledby': `${name}-title`},
        element('header', {}, heading), ...children);
}

/** @typedef {string|(() => string)} Commands  to be sent, one a line; a function where they vary */

/** @param {Commands} commands */
const textOf = (commands) => (typeof commands === 'string' ? commands : commands());

/**
 * Shows a control's commands while the pointer or the keyboard is on it.
 * @param {HTMLElement|SVGElement} control @param {Commands} commands
 */
export function offer(control, commands) {
    const show = () => {
        const text = textOf(commands);
        control.dataset.command = text;
        if (text !== '') control.setAttribute('title', text);
        tell('offered', text);
    };
    const hide = () => tell('offered', '');
    control.dataset.command = textOf(commands);
    control.toggleAttribute('disabled', model.recording);
    control.addEventListener('pointerenter', show);
    control.addEventListener('focus', show);
    control.addEventListener('pointerleave', hide);
    control.addEventListener('blur', hide);
}

/** From here on no control sends anything: what is shown is a recording. */
export function lockControls() {
    model.recording = true;
    document.body.classList.add('recording');
    for (const control of document.querySelectorAll('[data-command]'))
        control.setAttribute('disabled', '');
}

/**
 * A button that sends commands.
 * @param {Child} label @param {Commands} commands
 * @param {{class?: string, name?: string}} [how]  a spoken name
 */
export function commandButton(label, commands, how = {}) {
    const button =
        element('button', {type: 'button', class: how.class, 'aria-label': how.name}, label);
    offer(button, commands);
    button.addEventListener('click', () => send(textOf(commands)));
    return button;
}

/**
 * A button that moves something for as long as it is held, by pointer, Enter or the space bar.
 * @param {Child} label @param {Commands} begin @param {Commands} end
 * @param {{class?: string, name?: string}} [how]
 */
export function holdButton(label, begin, end, how = {}) {
    const button = element(
        'button', {type: 'button', class: `hold ${how.class ?? ''}`, 'aria-label': how.name},
        label);
    offer(button, () => `${textOf(begin)}\n${textOf(end)}`);
    let held = false;
    const press = () => {
        if (held) return;
        held = true;
        button.classList.add('held');
        send(textOf(begin));
    };
    const release = () => {
        if (!held) return;
        held = false;
        button.classList.remove('held');
        send(textOf(end));
    };
    button.addEventListener('pointerdown', (event) => {
        if (event.button !== 0) return;
        button.setPointerCapture(event.pointerId);
        press();
    });
    for (const over of ['pointerup', 'pointercancel', 'lostpointercapture', 'blur']) {
        button.addEventListener(over, release);
    }
    button.addEventListener('keydown', (event) => {
        if (event.key !== ' ' && event.key !== 'Enter') return;
        event.preventDefault();
        press();
    });
    button.addEventListener('keyup', (event) => {
        if (event.key === ' ' || event.key === 'Enter') release();
    });
    // A long touch is a hold, not a request for a menu.
    button.addEventListener('contextmenu', (event) => event.preventDefault());
    return button;
}

/**
 * Calls a drawing function once before the next picture, however often it is asked for.
 * @param {() => void} draw @returns {() => void}
 */
export function drawSoon(draw) {
    let asked = false;
    return () => {
        if (asked) return;
        asked = true;
        requestAnimationFrame(() => {
            asked = false;
            draw();
        });
    };
}

/** @param {number} value @param {number} [digits] */
export const fixed = (value, digits = 0) => {
    const text = value.toFixed(digits);
    return (/^-0(\.0*)?$/.test(text) ? text.slice(1) : text).replace('-', '−');
};
