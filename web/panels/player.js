// The player of a recording, at the page's foot: play and pause, speed, and the line of time with
// its marks. Keys: space, arrows (with Shift further), Page Up and Down, Home, End.

import {element, lockControls, setText} from '../shared/dom.js';
import {model} from '../shared/model.js';
import {beginningsOf, placeOf, showMoment} from '../shared/recording.js';

/** @typedef {import('../shared/recording.js').Recording} Recording */

const speeds = [0.25, 0.5, 1, 2, 5, 10, 30, 60];
const retryAfter = 700;  // milliseconds

/** @type {Recording} */
let recording;
/** The end of the line of time, in seconds. */
let end = 0;
/** The moment on it that is shown, or is to be as soon as it has been fetched. */
let moment = 0;
let playing = false;

const play = element('button', {type: 'button', class: 'play', 'aria-label': 'Play'}, '▶');
const before = element('button', {type: 'button', 'aria-label': 'To the mark before'}, '|◀');
const behind = element('button', {type: 'button', 'aria-label': 'To the next mark'}, '▶|');
const slider = element('input', {type: 'range', min: 0, 'aria-label': 'Time'});
const marks = element('div', {class: 'marks', 'aria-hidden': 'true'});
const place = element('output', {class: 'place'});
const speed = element('select', {'aria-label': 'Speed of the recording'});

/** @type {{at: number, kind: string, title: string}[]} */
let stops = [];

/**
 * The first step at which what happens at a moment is seen.
 * @param {number} at
 */
const stepOf = (at) => Math.ceil(at / recording.step - 1e-6);

function showPlace() {
    const {boot, t} = placeOf(recording, moment);
    const {boots} = recording;
    const which = boots.length > 1 ? `boot ${boot + 1} of ${boots.length}, ` : '';
    const text = `${which}${t.toFixed(2)} of ${boots[boot].end.toFixed(2)} s`;
    setText(place, text);
    slider.value = String(stepOf(moment));
    slider.setAttribute('aria-valuetext', text);
}

let asked = false;

/** Shows the moment once before the next picture; if it has to be fetched, afterwards. */
function show() {
    if (asked) return;
    asked = true;
    const draw = () => {
        if (showMoment(recording, moment)) {
            asked = false;
        } else {
            setTimeout(() => requestAnimationFrame(draw), model.link === 'lost' ? retryAfter : 0);
        }
    };
    requestAnimationFrame(draw);
}

/** @param {number} wanted  rests on a step, where the recording's head is known */
function goTo(wanted) {
    moment = Math.min(end, stepOf(Math.max(0, wanted)) * recording.step);
    showPlace();
    show();
}

/** @param {number} direction */
function goToMark(direction) {
    const now = stepOf(moment);
    const next = direction > 0 ? stops.find(({at}) => stepOf(at) > now) :
                                 stops.filter(({at}) => stepOf(at) < now).at(-1);
    goTo(next?.at ?? (direction > 0 ? end : 0));
}

/** @param {boolean} on */
function setPlaying(on) {
    if (on && moment >= end) goTo(0);
    if (on && !playing) requestAnimationFrame((now) => playOn(now, now));
    playing = on;
    setText(play, on ? '❚❚' : '▶');
    play.setAttribute('aria-label', on ? 'Pause' : 'Play');
    if (!on) goTo(moment);
}

/** @param {number} last @param {number} now  milliseconds of the browser's clock */
function playOn(last, now) {
    if (!playing) return;
    // What has to be fetched is waited for.
    if (!asked) {
        moment = Math.min(end, moment + ((now - last) / 1000) * Number(speed.value));
        showPlace();
        show();
        if (moment >= end) setPlaying(false);
    }
    requestAnimationFrame((next) => playOn(now, next));
}

/** @type {Record<string, (event: KeyboardEvent) => void>} */
const keys = {
    ' ': () => setPlaying(!playing),
    ArrowLeft: ({shiftKey}) => goTo(moment - (shiftKey ? 10 : 1)),
    ArrowRight: ({shiftKey}) => goTo(moment + (shiftKey ? 10 : 1)),
    PageUp: () => goToMark(-1),
    PageDown: () => goToMark(1),
    Home: () => goTo(0),
    End: () => goTo(end),
};

/** Where a key means something else. */
const others = 'input:not([type="range"]), select, .events, .table, canvas';

/** @param {KeyboardEvent} event */
function takeKey(event) {
    const target = /** @type {Element} */ (event.target);
    const pressed = event.key === ' ' && target.matches('button');
    if (event.defaultPrevented || pressed || target.matches(others)) return;
    if (keys[event.key] === undefined || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    keys[event.key](event);
}

/** What the line of time marks. */
function stopsOf() {
    const beginnings = beginningsOf(recording);
    return recording.boots
        .flatMap(
            (boot, i) =>
                [...(i > 0 ? [{at: beginnings[i], kind: 'boot', title: `Boot ${i + 1}`}] : []),
                 ...boot.fails.map((t) => ({
                                       at: beginnings[i] + t,
                                       kind: 'fail',
                                       title: `A status fail at ${t.toFixed(2)} s`
                                   })),
                 ...(boot.off ? [{at: beginnings[i] + boot.end, kind: 'cut', title: 'Power off'}] :
                                [])])
        .sort((one, other) => one.at - other.at);
}

/** @param {Recording} shown */
export function makePlayer(shown) {
    recording = shown;
    end = beginningsOf(recording).at(-1) ?? 0;
    stops = stopsOf();
    slider.max = String(stepOf(end));
    marks.append(...stops.map(({at, kind, title}) => {
        const mark = element('span', {class: kind, title});
        mark.style.left = `${(100 * at) / end}%`;
        return mark;
    }));
    const choices = [...new Set([...speeds, recording.speed])].sort((one, other) => one - other);
    speed.append(...choices.map((factor) => element('option', {value: factor}, `×${factor}`)));
    speed.value = String(recording.speed);
    slider.addEventListener('input', () => goTo(Number(slider.value) * recording.step));
    play.addEventListener('click', () => setPlaying(!playing));
    before.addEventListener('click', () => goToMark(-1));
    behind.addEventListener('click', () => goToMark(1));
    document.addEventListener('keydown', takeKey);
    document.title = `${recording.file} · kestrel-twin`;
    lockControls();
    goTo(0);
    return element(
        'footer', {class: 'player'},
        element('div', {class: 'buttons'}, before, play, behind, speed),
        element('div', {class: 'line'}, marks, slider), place,
        element('span', {class: 'file', title: 'The recording'}, recording.file));
}
