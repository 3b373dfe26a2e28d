// The camera's picture, computed from the head's truth: direction, roll, field of view, blur, light
// and colour, and what the encoder makes of it. A click centres the picture there.

import * as THREE from '../three.module.js';
import {fit, makeRenderer} from '../scene/renderer.js';
import {makeWorld, pointCamera} from '../scene/world.js';
import {
    aimAt,
    decoded,
    elevationOf,
    encoded,
    headingOf,
    rollOf,
    viewOf
} from '../shared/attitude.js';
import {axes, isLongLens, stopsOf} from '../shared/axes.js';
import {commandButton, drawSoon, element, fixed, panel, setText} from '../shared/dom.js';
import {encoding, listen, model, published, scene, steerable, tell} from '../shared/model.js';
import {bestFocus, blurOf, colourFilter, fieldOfView, irisLight} from '../shared/optics.js';
import {send} from '../shared/server.js';
import {combine, dot, normalized, radians} from '../shared/vector.js';

/** @typedef {import('../shared/attitude.js').View} View */
/** @typedef {import('../shared/vector.js').Vector} Vector */

const canvas = element('canvas', {class: 'sensor', 'aria-hidden': 'true'});
const believed = element('div', {class: 'believed', hidden: true}, element('span', {}, 'daemon'));
const frame = element('div', {class: 'frame'}, canvas, believed);
const cross = element('div', {class: 'cross', 'aria-hidden': 'true'});
const off = element('p', {class: 'off', hidden: true}, 'The camera is off');
const readings = element('dl', {class: 'readings'});
const hintText = element('span');
const sharpen = commandButton('Autofocus', 'set lens.camN.focus fullrange', {class: 'quiet'});
const focusHint = element('div', {class: 'hint', hidden: true}, hintText, sharpen);
const stage = element(
    'div', {
        class: 'stage',
        tabindex: '0',
        role: 'group',
        'aria-describedby': 'picture-help',
    },
    frame, cross, focusHint, off);
const help = element('p', {id: 'picture-help', class: 'help'}, 'Click to centre there');

/** @type {Record<string, HTMLElement>} */
const values = {};
for (const name of ['heading', 'elevation', 'roll', 'view', 'focus']) {
    values[name] = element('dd');
    readings.append(element('div', {}, element('dt', {}, name), values[name]));
}

/** @type {THREE.WebGLRenderer|null} */
let renderer = null;
/**
 * Made with the first picture, so that the rest of the page does not wait for it.
 * @type {THREE.Scene|null}
 */
let world = null;
const camera = new THREE.PerspectiveCamera(60, 16 / 9, 1, 4000);

function startDrawing() {
    try {
        renderer = makeRenderer(canvas);
    } catch {
        stage.append(element(
            'p', {class: 'off'}, 'This browser draws no WebGL; the readings below are true'));
    }
}

/**
 * The sensor's view of the present truth.
 * @param {import('../shared/model.js').Head} head
 */
const trueView = (head) =>
    viewOf(head.mount, head.pan.position, head.tilt.position, head.rotate.position);

/**
 * Where a direction appears in the encoded picture: from its middle to the right and to the top, as
 * parts of the half of its sides; null behind the camera.
 * @param {View} view @param {number} across @param {Vector} direction
 * @returns {[number, number]|null}
 */
function project(view, across, direction) {
    const depth = dot(direction, view.z);
    if (depth <= 0.01) return null;
    const half = Math.tan((across / 2) * radians);
    const right = -dot(direction, view.x) / depth / half;
    const top = dot(direction, view.y) / depth / half / (9 / 16);
    return encoded(encoding(), right, top);
}

/**
 * The direction that appears at a place of the encoded picture.
 * @param {View} view @param {number} across @param {number} right @param {number} top  as project's
 */
function directionAt(view, across, right, top) {
    const [r, t] = decoded(encoding(), right, top);
    const half = Math.tan((across / 2) * radians);
    return normalized(
        combine(1, combine(1, view.z, -r * half, view.x), t * half * (9 / 16), view.y));
}

/** The stage keeps its shape; a portrait picture stands in its middle. */
function layOut() {
    const {flip, mirror, rotate} = encoding();
    const wide = stage.clientWidth;
    const tall = stage.clientHeight;
    const long = rotate ? tall : Math.min(wide, (tall * 16) / 9);
    const short = (long * 9) / 16;
    frame.style.width = `${rotate ? short : long}px`;
    frame.style.height = `${rotate ? long : short}px`;
    canvas.style.width = `${long}px`;
    canvas.style.height = `${short}px`;
    canvas.style.transform = `translate(-50%, -50%) rotate(${rotate ? 90 : 0}deg) ` +
        `scale(${mirror ? -1 : 1}, ${flip ? -1 : 1})`;
    if (renderer) fit(renderer, long, short);
    return long;
}

/** @param {View} view @param {number} across */
function showBelieved(view, across) {
    const head = /** @type {import('../shared/model.js').Head} */ (model.head);
    const pan = published('pan');
    const tilt = published('tilt');
    const rests = !head.pan.busy && !head.tilt.busy;
    const differs = rests && pan !== null && tilt !== null &&
        (pan !== head.pan.position || tilt !== head.tilt.position);
    const place =
        differs ? project(view, across, viewOf(head.mount, Number(pan), Number(tilt), 0).z) : null;
    const inside = place !== null && Math.abs(place[0]) < 1 && Math.abs(place[1]) < 1;
    believed.hidden = !inside;
    if (place !== null && inside) {
        believed.style.left = `${50 * (1 + place[0])}%`;
        believed.style.top = `${50 * (1 - place[1])}%`;
        believed.classList.toggle('on-the-right', place[0] > 0);
    }
}

/** @param {number} distance  from the sharpest focus */
function showFocus(distance) {
    const {dark, flat} = scene();
    const text = dark           ? 'The scene is dark' :
        flat                    ? 'Nothing to focus on' :
        Math.abs(distance) < 40 ? '' :
                                  `Out of focus by ${fixed(Math.abs(distance))} steps`;
    focusHint.hidden = text === '';
    setText(hintText, text);
    sharpen.hidden = dark || flat;
}

/**
 * @param {import('../shared/model.js').Head} head
 * @param {View} view @param {number} across @param {number} distance  from the sharpest focus
 */
function showPicture(head, view, across, distance) {
    const iris = axes[5];
    const closed = stopsOf(iris, isLongLens(head.lensType))[1];
    const colours =
        colourFilter(irisLight(head.iris.position, closed), head.icr === 'day', scene());
    // What fits the canvas waits for the graphics to start; the world is made meanwhile.
    world ??= makeWorld();
    const blur = (blurOf(distance) * layOut()) / 100;
    canvas.style.filter = `blur(${blur.toFixed(2)}px) ${colours}`;
    stage.dataset.blur = blur.toFixed(3);
    pointCamera(camera, view, across);
    renderer?.render(world, camera);
}

/** @param {View} view @param {number} across @param {number} distance  from the sharpest focus */
function showReadings(view, across, distance) {
    const roll = rollOf(view, encoding());
    const off = distance > 0 ? `+${fixed(distance)}` : fixed(distance);
    setText(values.heading, `${fixed(headingOf(view.z), 1)}°`);
    setText(values.elevation, `${fixed(elevationOf(view.z), 1)}°`);
    setText(values.roll, `${fixed(roll, 1)}°`);
    setText(values.view, `${fixed(across, 1)}°`);
    setText(values.focus, Math.abs(distance) < 0.5 ? 'sharp' : off);
    stage.dataset.roll = roll.toFixed(3);
    stage.setAttribute(
        'aria-label',
        `The picture: heading ${fixed(headingOf(view.z))} degrees, elevation ` +
            `${fixed(elevationOf(view.z))}, roll ${fixed(roll)}, field of view ${fixed(across)}`);
}

const draw = drawSoon(() => {
    const head = model.head;
    if (head === null) return;
    off.hidden = head.on;
    stage.classList.toggle('dark', !head.on);
    focusHint.hidden = believed.hidden = true;
    // Without the keys nobody knows which way up the encoder turns the picture.
    if (head.pan === undefined || model.bus.size === 0) return;
    const view = trueView(head);
    const across = fieldOfView(head.zoom.position);
    const best = bestFocus(head.zoom.position, isLongLens(head.lensType), scene());
    const distance = head.focus.position - best;
    showPicture(head, view, across, distance);
    showReadings(view, across, distance);
    if (!head.on) return;
    showBelieved(view, across);
    showFocus(distance);
});

/**
 * The commands that centre the picture at a pointer's place.
 * @param {PointerEvent|MouseEvent} event
 */
function aim(event) {
    const head = model.head;
    if (head === null || !steerable()) return '';
    const area = frame.getBoundingClientRect();
    const right = ((event.clientX - area.left) / area.width) * 2 - 1;
    const top = 1 - ((event.clientY - area.top) / area.height) * 2;
    if (Math.abs(right) > 1 || Math.abs(top) > 1) return '';
    const direction = directionAt(trueView(head), fieldOfView(head.zoom.position), right, top);
    const goal = aimAt(head.mount, direction, head.pan.position);
    return goal === null ? '' :
                           `set lens.camN.pan a:${goal.pan}\nset lens.camN.tilt a:${goal.tilt}`;
}

stage.addEventListener('pointermove', (event) => {
    if (!focusHint.contains(/** @type {Node} */ (event.target))) tell('offered', aim(event));
});
stage.addEventListener('pointerleave', () => tell('offered', ''));
stage.addEventListener('click', (event) => {
    if (focusHint.contains(/** @type {Node} */ (event.target))) return;
    const commands = aim(event);
    if (commands !== '') send(commands);
});
stage.addEventListener('keydown', (event) => {
    const words = /** @type {Record<string, string>} */ ({
        ArrowLeft: 'pan left',
        ArrowRight: 'pan right',
        ArrowUp: 'tilt up',
        ArrowDown: 'tilt down'
    });
    const word = words[event.key];
    if (word === undefined || model.recording) return;
    event.preventDefault();
    if (!event.repeat) send(`set lens.camN.${word}:5`);
});
stage.addEventListener('keyup', (event) => {
    const axis = /^Arrow(Left|Right)$/.test(event.key) ? 'pan' :
        /^Arrow(Up|Down)$/.test(event.key)             ? 'tilt' :
                                                         '';
    if (axis !== '' && !model.recording) send(`set lens.camN.${axis} stop`);
});

/**
 * A switch of what the encoder does with the sensor's picture.
 * @param {'flip'|'mirror'|'rotate'} name
 */
function encoderSwitch(name) {
    const command = () => `set image.camN.${name} ${encoding()[name] ? 'off' : 'on'}`;
    const button = commandButton(name[0].toUpperCase() + name.slice(1), command, {class: 'quiet'});
    const show = () => button.setAttribute('aria-pressed', String(encoding()[name]));
    listen('bus', show);
    listen('keys', show);
    show();
    return button;
}

export function makePicture() {
    startDrawing();
    for (const topic of /** @type {const} */ (['head', 'keys', 'bus', 'faults', 'link']))
        listen(topic, draw);
    new ResizeObserver(draw).observe(stage);
    const switches = element(
        'div', {class: 'encoding', role: 'group', 'aria-label': 'What the encoder does'},
        encoderSwitch('flip'), encoderSwitch('mirror'), encoderSwitch('rotate'));
    const made = panel('picture', 'Picture', stage, readings);
    made.querySelector('header')?.append(help, switches);
    return made;
}
