// The degrees: headings along the horizon, elevations on eight meridians, drawn over everything.

import * as THREE from '../three.module.js';
import {sign} from './sign.js';

/** @typedef {import('../shared/vector.js').Vector} Vector */

const radius = 900;
const letter = 16;

/** @param {number} heading @param {number} elevation @returns {Vector} */
function onSphere(heading, elevation) {
    const turn = (heading * Math.PI) / 180;
    const lift = (elevation * Math.PI) / 180;
    return [
        radius * Math.cos(lift) * Math.sin(turn), radius * Math.sin(lift),
        -radius * Math.cos(lift) * Math.cos(turn)
    ];
}

/** @type {Readonly<Record<number, string>>} */
const winds = {
    0: 'N',
    45: 'NE',
    90: 'E',
    135: 'SE',
    180: 'S',
    225: 'SW',
    270: 'W',
    315: 'NW'
};

export function makeScales() {
    /** @type {number[]} */
    const corners = [];
    /** @type {THREE.Object3D[]} */
    const signs = [];
    const line = (/** @type {Vector} */ from, /** @type {Vector} */ to) =>
        corners.push(...from, ...to);
    for (let heading = 0; heading < 360; ++heading) {
        line(onSphere(heading, 0), onSphere(heading + 1, 0));
        const long = heading % 10 === 0 ? 1.6 : heading % 5 === 0 ? 1 : 0.5;
        line(onSphere(heading, 0), onSphere(heading, -long));
        if (heading % 10 === 0) {
            signs.push(sign(`${heading}°`, onSphere(heading, -3.4), letter, {colour: '#ffffff'}));
        }
        if (winds[heading]) {
            signs.push(
                sign(winds[heading], onSphere(heading, 3.4), letter * 1.5, {colour: '#ffd166'}));
        }
    }
    for (let heading = 0; heading < 360; heading += 45) {
        for (let elevation = -80; elevation <= 80; elevation += 1) {
            if (elevation % 5 !== 0 || elevation === 0) continue;
            const wide = (elevation % 10 === 0 ? 1.2 : 0.6) / Math.cos((elevation * Math.PI) / 180);
            line(onSphere(heading - wide, elevation), onSphere(heading + wide, elevation));
            if (elevation % 10 === 0) {
                const beside = heading + 3.2 / Math.cos((elevation * Math.PI) / 180);
                const text = `${elevation > 0 ? '+' : '−'}${Math.abs(elevation)}°`;
                signs.push(
                    sign(text, onSphere(beside, elevation), letter * 0.9, {colour: '#ffffff'}));
            }
        }
    }
    const geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.BufferAttribute(new Float32Array(corners), 3));
    const lines = new THREE.LineSegments(
        geometry,
        new THREE.LineBasicMaterial(
            {color: 0xffffff, transparent: true, opacity: 0.8, depthTest: false, fog: false}));
    lines.renderOrder = 2;
    return [lines, ...signs];
}
