// The head on its mount: the true pose in full, the daemon's as an outline where it differs, the
// eight LEDs, and gravity as the motion sensor feels it.

import * as THREE from '../three.module.js';
import {HeadModel} from '../scene/head_model.js';
import {fit, makeRenderer} from '../scene/renderer.js';
import {viewOf} from '../shared/attitude.js';
import {cssOf, describe, lamps} from '../shared/lamps.js';
import {drawSoon, element, panel, setText} from '../shared/dom.js';
import {listen, model, published} from '../shared/model.js';
import {combine, scale} from '../shared/vector.js';

const canvas = element('canvas', {tabindex: '0', role: 'img', 'aria-label': 'The head'});
const stage = element('div', {class: 'room'}, canvas);
const note = element('p', {class: 'note'});
const bulbs = lamps.map(({light}, i) => {
    const bulb = element('span', {class: 'bulb', 'data-led': i});
    return {bulb, item: element('li', {}, bulb, element('span', {class: 'sr'}, light))};
});
const lampList =
    element('ul', {class: 'lamps', 'aria-label': 'LEDs'}, ...bulbs.map(({item}) => item));

const headModel = new HeadModel();
const camera = new THREE.PerspectiveCamera(32, 1, 0.1, 60);
/** @type {THREE.WebGLRenderer|null} */
let renderer = null;
const orbit = {
    heading: 0.62,
    lift: 0.06,
    distance: 8.2
};
/** A wall is looked at from the room. */
const wallSide = Math.PI * 0.68;

function aimCamera() {
    const {lift, distance} = orbit;
    const heading = orbit.heading + (model.head?.mount.startsWith('wall') ? wallSide : 0);
    camera.position.set(
        distance * Math.cos(lift) * Math.sin(heading), distance * Math.sin(lift),
        distance * Math.cos(lift) * Math.cos(heading));
    headModel.setEye(heading, lift);
    camera.lookAt(0, 0, 0);
    camera.aspect = stage.clientWidth / Math.max(1, stage.clientHeight);
    camera.updateProjectionMatrix();
}

/** @param {import('../shared/model.js').Head} head */
function believedPose(head) {
    const of = (/** @type {'pan'|'tilt'|'rotate'} */ axis) =>
        published(axis) ?? head[axis].position;
    const moving = head.pan.busy || head.tilt.busy || head.rotate.busy;
    const same = of('pan') === head.pan.position && of('tilt') === head.tilt.position &&
        of('rotate') === head.rotate.position;
    return moving || same ? null : {
        pan: of('pan'),
        tilt: of('tilt'),
        rotate: of('rotate'),
        zoom: head.zoom.position,
        iris: head.iris.position
    };
}

const draw = drawSoon(() => {
    const head = model.head;
    if (head === null || head.pan === undefined) return;
    const believed = believedPose(head);
    headModel.setMount(head.mount);
    headModel.setPose(
        {
            pan: head.pan.position,
            tilt: head.tilt.position,
            rotate: head.rotate.position,
            zoom: head.zoom.position,
            iris: head.iris.position
        },
        believed);
    headModel.setLamps(head.leds);
    const {x, y, z} =
        viewOf(head.mount, head.pan.position, head.tilt.position, head.rotate.position);
    const [gx, gy, gz] = head.gravity;
    headModel.setGravity(scale(-1, combine(1, combine(gx, x, gy, y), gz, z)));
    aimCamera();
    if (renderer) fit(renderer, stage.clientWidth, stage.clientHeight);
    renderer?.render(headModel.scene, camera);
    setText(note, believed === null ? '' : 'Outline: where the daemon believes it is');
    bulbs.forEach(({bulb, item}, i) => {
        const word = head.leds[i] ?? '00000000';
        const lit = word !== '00000000';
        bulb.classList.toggle('lit', lit);
        bulb.style.color = lit ? cssOf(word) : '';
        item.title = `${lamps[i].light}: ${describe(word)} (${word})`;
        setText(/** @type {Element} */ (item.lastElementChild), item.title);
    });
});

/** @param {number} heading @param {number} lift  by how much the eye goes round, in radians */
function turnEye(heading, lift) {
    orbit.heading += heading;
    orbit.lift = Math.max(-1.45, Math.min(1.45, orbit.lift + lift));
    draw();
}

canvas.addEventListener('pointermove', (event) => {
    if (event.buttons === 1) turnEye(-event.movementX * 0.01, event.movementY * 0.01);
});
canvas.addEventListener('pointerdown', (event) => canvas.setPointerCapture(event.pointerId));
canvas.addEventListener('keydown', (event) => {
    const turns = /** @type {Record<string, [number, number]>} */ (
        {ArrowLeft: [-0.15, 0], ArrowRight: [0.15, 0], ArrowUp: [0, 0.15], ArrowDown: [0, -0.15]});
    const turn = turns[event.key];
    if (turn === undefined) return;
    event.preventDefault();
    turnEye(...turn);
});

export function makeHead() {
    try {
        renderer = makeRenderer(canvas);
    } catch {
        setText(note, 'This browser draws no WebGL');
    }
    for (const topic of /** @type {const} */ (['head', 'keys', 'bus', 'link'])) listen(topic, draw);
    new ResizeObserver(draw).observe(stage);
    return panel('head', 'Head', stage, element('div', {class: 'under'}, lampList, note));
}
