// What stands in the world and has a name, so that a direction can be told from a picture: a ring
// of buildings, things in the sky for a camera that looks up, and a test chart far away.

import * as THREE from '../three.module.js';
import {ground} from './land.js';
import {sign} from './sign.js';
import {at, place} from './solid.js';

/** @typedef {import('./solid.js').Solid} Solid */

const white = 0xf6f4ee;
const red = 0xc9473d;
const stone = 0xb9ab94;
const roof = 0x9c4f3d;
const steel = 0x6f7b86;

const box = () => new THREE.BoxBufferGeometry(1, 1, 1);
/** @param {number} top @param {number} bottom @param {number} [sides] */
const tube = (top, bottom, sides = 16) => new THREE.CylinderBufferGeometry(top, bottom, 1, sides);
/** @param {number} sides */
const cone = (sides) => new THREE.ConeBufferGeometry(1, 1, sides);
const ball = () => new THREE.SphereBufferGeometry(1, 20, 14);

/**
 * Puts bodies down in a frame that stands on the ground and faces the camera.
 * @typedef {(geometry: THREE.BufferGeometry, colour: number, x: number, y: number, z: number,
 *   wide: number, tall: number, deep: number, turn?: number, lean?: number) => void} Put
 *   y is the middle of the body above the ground
 */

/** @param {Put} put */
function lighthouse(put) {
    for (let i = 0; i < 6; ++i) {
        put(tube(3 - 0.25 * (i + 1), 3 - 0.25 * i), i % 2 ? red : white, 0, 3 + 6 * i, 0, 1, 6, 1);
    }
    put(tube(2.6, 2.6), steel, 0, 36.4, 0, 1, 0.8, 1);
    put(tube(1.3, 1.3, 10), 0xffe9a8, 0, 38.2, 0, 1, 3, 1);
    put(cone(16), red, 0, 41, 0, 1.9, 2.6, 1.9);
    put(box(), white, 8, 2.5, 0, 8, 5, 6);
    put(cone(4), roof, 8, 6.2, 0, 6.5, 2.6, 5.4, Math.PI / 4);
}

/** @param {Put} put */
function windFarm(put) {
    for (const [x, z, turn] of [[-46, 20, 0.2], [0, -30, 0.9], [48, 10, 1.5]]) {
        put(tube(0.8, 1.6, 10), white, x, 32, z, 1, 64, 1);
        put(box(), white, x, 64, z + 1, 2, 2, 5);
        for (let blade = 0; blade < 3; ++blade) {
            const angle = turn + (blade * 2 * Math.PI) / 3;
            const geometry = box().scale(1.3, 26, 0.4).translate(0, 14, 0).rotateZ(angle);
            put(geometry, white, x, 64, z + 4, 1, 1, 1);
        }
    }
}

/** @param {Put} put */
function castle(put) {
    put(tube(26, 44, 24), 0x7c9a5b, 0, 8, 0, 1, 16, 1);
    put(box(), stone, 0, 22, 0, 30, 14, 14);
    for (const [x, z, tall] of [
             [-16, 7, 20], [16, 7, 20], [-16, -7, 24], [16, -7, 24], [0, 0, 34]]) {
        put(tube(4, 4.4, 14), stone, x, 16 + tall / 2, z, 1, tall, 1);
        put(cone(14), 0x4d6a86, x, 16 + tall + 4, z, 5, 8, 5);
    }
    put(box(), 0x5a4632, 0, 19, 7.2, 6, 8, 0.5);
}

/** @param {Put} put */
function mast(put) {
    for (let i = 0; i < 12; ++i) {
        put(tube(1.5 - 0.1 * (i + 1), 1.5 - 0.1 * i, 4), i % 2 ? white : red, 0, 4 + 8 * i, 0, 1, 8,
            1);
    }
    put(box(), steel, 0, 70, 0, 7, 0.6, 0.6);
    put(box(), steel, 0, 52, 0, 9, 0.6, 0.6);
    put(ball(), red, 0, 97, 0, 1.2, 1.2, 1.2);
}

/** @param {Put} put */
function village(put) {
    const houses = [[-20, 6, 7], [-10, -6, 6], [12, 5, 7], [22, -4, 8], [31, 8, 6], [-30, -3, 7]];
    for (const [x, z, wide] of houses) {
        put(box(), [0xf1e6d2, 0xe8d3b5, 0xf4efe6][Math.abs(x) % 3], x, 2.6, z, wide, 5.2, 6);
        put(cone(4), roof, x, 6.8, z, wide * 0.78, 3.4, 4.8, Math.PI / 4);
    }
    put(box(), white, 2, 4, 0, 8, 8, 14);
    put(cone(4), roof, 2, 10, 0, 6.6, 4.5, 10.5, Math.PI / 4);
    put(box(), white, 2, 9, 9, 5, 18, 5);
    put(cone(4), 0x49606e, 2, 24, 9, 3.8, 12, 3.8, Math.PI / 4);
}

/** @param {Put} put */
function oak(put) {
    put(tube(0.9, 1.7, 9), 0x5e4630, 0, 4, 0, 1, 8, 1);
    for (const [x, y, z, size] of [
             [0, 13, 0, 6], [-4.5, 11, 1, 4.4], [4.6, 11, 0, 4.6], [1, 10, 4, 4.2]]) {
        put(new THREE.IcosahedronBufferGeometry(1, 1), y > 12 ? 0x5f8f45 : 0x527f3d, x, y, z, size,
            size, size);
    }
}

/** @param {Put} put */
function waterTower(put) {
    for (const [x, z] of [[-4, -4], [4, -4], [-4, 4], [4, 4]])
        put(tube(0.5, 0.6, 6), steel, x, 9, z, 1, 18, 1);
    put(tube(7.5, 7.5, 20), 0x9fc3d6, 0, 22, 0, 1, 9, 1);
    put(cone(20), 0x5f8397, 0, 28.6, 0, 8.2, 4.4, 8.2);
    put(tube(7.5, 2, 20), 0x82aabf, 0, 16.6, 0, 1, 2, 1);
}

/** @param {Put} put */
function factory(put) {
    put(box(), 0xa4664f, 0, 7, 0, 60, 14, 24);
    for (let i = 0; i < 5; ++i) put(box(), 0x8a5643, -24 + 12 * i, 16, 0, 9, 5, 24, 0, 0.35);
    for (const x of [-18, 0, 18]) {
        put(tube(1.8, 2.6, 14), 0xb8735a, x, 26, -16, 1, 52, 1);
        put(tube(1.9, 1.9, 14), white, x, 48, -16, 1, 4, 1);
    }
}

/** @param {Put} put */
function lake(put) {
    put(new THREE.CircleBufferGeometry(1, 48).rotateX(-Math.PI / 2), 0x5d9fc4, 0, 0.45, 0, 74, 1,
        46);
    put(box(), white, 4, 1.2, 6, 7, 1.6, 2.2);
    put(cone(3), white, 4.6, 7.4, 6, 3.4, 11, 0.6);
    put(cone(3), red, 1.4, 6, 6, 2, 8, 0.5);
}

/** @param {Put} put */
function crane(put) {
    for (const x of [-6, 6]) put(box(), 0xe0a12f, x, 15, 0, 1.6, 30, 1.6);
    put(box(), 0xe0a12f, 0, 30, 0, 16, 2, 3);
    put(box(), 0xe0a12f, 12, 37, 0, 46, 1.8, 1.8);
    put(box(), 0xe0a12f, 0, 36, 0, 2, 14, 2);
    put(box(), steel, 28, 28, 0, 0.3, 16, 0.3);
    put(box(), 0x3c78a8, 28, 18, 0, 8, 4, 4);
    for (const [x, y, colour] of [
             [-16, 2, 0xb8473f], [-16, 6, 0x3f7d58], [-26, 2, 0x3c78a8], [18, 2, 0xd9a441]]) {
        put(box(), colour, x, y, 6, 9, 4, 4);
    }
}

/** @param {Put} put */
function observatory(put) {
    put(tube(20, 40, 24), 0x7f9d5e, 0, 7, 0, 1, 14, 1);
    put(tube(9, 9, 22), white, 0, 19, 0, 1, 10, 1);
    put(ball(), 0xdfe5ea, 0, 24, 0, 9, 9, 9);
    put(box(), 0x2f3b46, 0, 29, 6.2, 2, 9, 4, 0, -0.6);
}

/** @param {Put} put */
function viaduct(put) {
    for (let i = -4; i <= 4; ++i) put(box(), stone, i * 14, 11, 0, 3.4, 22, 6);
    put(box(), stone, 0, 23.5, 0, 122, 3, 7);
    for (let i = 0; i < 5; ++i)
        put(box(), i ? 0x2f6f8f : 0x24485c, -30 + 12 * i, 27, 0, 11, 4, 3.4);
}

/** @param {Put} put */
function helipad(put) {
    const lying = (/** @type {THREE.BufferGeometry} */ geometry) => geometry.rotateX(-Math.PI / 2);
    put(lying(new THREE.CircleBufferGeometry(1, 56)), 0x59636d, 0, 0.4, 0, 9, 1, 9);
    put(lying(new THREE.RingBufferGeometry(0.86, 0.93, 56)), 0xf5d565, 0, 0.44, 0, 9, 1, 9);
    for (let i = 0; i < 18; ++i) {
        put(lying(new THREE.RingBufferGeometry(0.62, 0.82, 4, 1, (i * Math.PI) / 9, Math.PI / 18)),
            white, 0, 0.46, 0, 9, 1, 9);
    }
    put(box(), white, -2, 0.45, 0, 1.1, 0.06, 7);
    put(box(), white, 2, 0.45, 0, 1.1, 0.06, 7);
    put(box(), white, 0, 0.45, 0, 3, 0.06, 1.1);
}

/** @param {Put} put */
function peaks(put) {
    for (const [x, tall, wide] of [[-120, 250, 210], [110, 310, 240]]) {
        put(cone(7), 0x7f97a3, x, tall / 2, 0, wide, tall, wide, 0.4);
        put(cone(7), white, x, tall * 0.83, 0, wide * 0.345, tall * 0.345, wide * 0.345, 0.4);
    }
}

/** @param {Put} put */
function balloon(put) {
    for (let i = 0; i < 12; ++i) {
        put(new THREE.SphereBufferGeometry(1, 3, 16, (i * Math.PI) / 6, Math.PI / 6),
            i % 2 ? 0xf2c14e : red, 0, 0, 0, 9, 10.5, 9);
    }
    put(box(), 0x6b4a2f, 0, -15, 0, 2.6, 2.2, 2.6);
    for (const x of [-1, 1]) put(box(), steel, x, -12, 0, 0.15, 5, 0.15);
}

/** @param {Put} put */
function airship(put) {
    put(ball(), 0xd8dee4, 0, 0, 0, 26, 6.5, 6.5);
    put(box(), red, 0, 0, 0, 46, 1.4, 13.1);
    put(box(), steel, 2, -7.2, 0, 9, 2, 2.4);
    put(box(), red, -23, 0, 0, 7, 11, 0.6);
    put(box(), red, -23, 0, 0, 7, 0.6, 11);
}

/**
 * @typedef {object} Landmark
 * @property {string} name
 * @property {number} heading  degrees from north by east
 * @property {number} distance  metres
 * @property {number} top  where its name stands, metres above its foot
 * @property {(put: Put) => void} build
 * @property {number} [elevation]  degrees above the horizon, for what flies
 */

/** @type {readonly Landmark[]} */
export const landmarks = [
    {name: 'Twin Peaks', heading: 0, distance: 1150, top: 335, build: peaks},
    {name: 'Lighthouse', heading: 22, distance: 130, top: 46, build: lighthouse},
    {name: 'Wind farm', heading: 48, distance: 330, top: 98, build: windFarm},
    {name: 'Castle', heading: 76, distance: 210, top: 66, build: castle},
    {name: 'Radio mast', heading: 99, distance: 240, top: 103, build: mast},
    {name: 'Village', heading: 126, distance: 120, top: 34, build: village},
    {name: 'Old oak', heading: 153, distance: 62, top: 22, build: oak},
    {name: 'Water tower', heading: 207, distance: 115, top: 34, build: waterTower},
    {name: 'Factory', heading: 231, distance: 260, top: 60, build: factory},
    {name: 'Lake', heading: 256, distance: 150, top: 20, build: lake},
    {name: 'Harbour crane', heading: 280, distance: 165, top: 50, build: crane},
    {name: 'Observatory', heading: 308, distance: 190, top: 40, build: observatory},
    {name: 'Viaduct', heading: 334, distance: 230, top: 37, build: viaduct},
    {name: 'Helipad', heading: 180, distance: 30, top: 6.5, build: helipad},
    {name: 'Balloon', heading: 184, distance: 130, top: 15, build: balloon, elevation: 27},
    {name: 'Airship', heading: 8, distance: 210, top: 13, build: airship, elevation: 56},
    {name: 'Balloon 2', heading: 62, distance: 190, top: 15, build: balloon, elevation: 17},
    {name: 'Balloon 3', heading: 296, distance: 210, top: 15, build: balloon, elevation: 21},
];

/**
 * @param {Solid} solid  gets the bodies
 * @returns {THREE.Object3D[]} their names
 */
export function makeLandmarks(solid) {
    return landmarks.map(({name, heading, distance, top, build, elevation}) => {
        const turn = -(heading * Math.PI) / 180;
        const lift = ((elevation ?? 0) * Math.PI) / 180;
        const foot = elevation === undefined ?
            at(heading, distance, ground) :
            at(heading, distance * Math.cos(lift), distance * Math.sin(lift));
        const frame = place(foot, turn);
        build((geometry, colour, x, y, z, wide, tall, deep, spin = 0, lean = 0) => {
            solid.add(
                geometry, colour,
                frame.clone().multiply(place([x, y, z], spin, [wide, tall, deep], lean)));
        });
        // Names are of one size in the picture, however far away their things are.
        const far = Math.hypot(foot[0], foot[1] + top, foot[2]);
        return sign(
            name, [foot[0], foot[1] + top, foot[2]], far * 0.021,
            {colour: '#ffffff', back: 'rgba(22, 34, 48, 0.72)'});
    });
}

/** The chart: wedges, rings and gratings, on a board at the far end of the southern fields. */
export function makeChart() {
    const size = 1024;
    const canvas = document.createElement('canvas');
    canvas.width = canvas.height = size;
    const pen = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
    pen.fillStyle = '#fdfdfb';
    pen.fillRect(0, 0, size, size);
    pen.strokeStyle = '#16202a';
    pen.lineWidth = 14;
    pen.strokeRect(22, 22, size - 44, size - 44);
    pen.fillStyle = '#16202a';
    const middle = size / 2;
    const star =
        (/** @type {number} */ x, /** @type {number} */ y, /** @type {number} */ r,
         /** @type {number} */ n) => {
            for (let i = 0; i < n; ++i) {
                const angle = (i * 2 * Math.PI) / n;
                pen.beginPath();
                pen.moveTo(x, y);
                pen.arc(x, y, r, angle, angle + Math.PI / n);
                pen.fill();
            }
        };
    star(middle, middle, 270, 36);
    for (const [x, y] of [[150, 150], [874, 150], [150, 874], [874, 874]]) star(x, y, 96, 18);
    for (let i = 0; i < 6; ++i) {
        const wide = 22 - 3.4 * i;
        for (let bar = 0; bar < 5; ++bar) {
            pen.fillRect(270 + i * 84 + bar * wide * 0.74, 58, wide * 0.37, 110);
            pen.fillRect(58, 270 + i * 84 + bar * wide * 0.74, 110, wide * 0.37);
        }
    }
    for (let i = 0; i < 11; ++i) {
        const grey = Math.round(25.5 * i);
        pen.fillStyle = `rgb(${grey}, ${grey}, ${grey})`;
        pen.fillRect(264 + i * 45, 862, 45, 62);
    }
    ['#d23f38', '#e8a33d', '#f1dc4b', '#4a9d55', '#3a7cc2', '#7a4fa3'].forEach((colour, i) => {
        pen.fillStyle = colour;
        pen.fillRect(866, 264 + i * 83, 62, 83);
    });
    pen.fillStyle = '#16202a';
    pen.font = '600 58px system-ui, "DejaVu Sans", sans-serif';
    pen.textAlign = 'center';
    pen.fillText('LEFT', 290, 236);
    pen.fillText('RIGHT', 720, 236);
    const map = new THREE.CanvasTexture(canvas);
    map.anisotropy = 8;
    const board = new THREE.Mesh(
        new THREE.PlaneBufferGeometry(44, 44), new THREE.MeshBasicMaterial({map, fog: false}));
    board.position.set(...at(180, 190, ground + 25));
    board.lookAt(0, ground + 25, 0);
    const name = sign(
        'Test chart', at(180, 190, ground + 51), 4,
        {colour: '#ffffff', back: 'rgba(22, 34, 48, 0.72)'});
    return [board, name];
}
