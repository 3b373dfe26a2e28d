// The synthetic world round the camera: sky, mountains, fields, trees. The camera stands at the
// origin.

import * as THREE from '../three.module.js';
import {Solid, at, place, randomRow} from './solid.js';

/** Metres from the camera down to the ground. */
export const ground = -16;
const horizonColour = 0xd9e8f0;

function sky() {
    const geometry = new THREE.SphereBufferGeometry(3000, 48, 48);
    const colours = new Float32Array(geometry.attributes.position.count * 3);
    const stops =
        [[-1, 0xcfdfe6], [-0.02, horizonColour], [0.12, 0xa9d2ee], [0.4, 0x5fa6e0], [1, 0x2a6bbf]];
    for (let i = 0; i < geometry.attributes.position.count; ++i) {
        const height = geometry.attributes.position.array[3 * i + 1] / 3000;
        const next = Math.max(1, stops.findIndex(([at]) => at >= height));
        const [[below, low], [above, high]] = [stops[next - 1], stops[next]];
        const part = Math.min(1, Math.max(0, (height - below) / (above - below)));
        new THREE.Color(low).lerp(new THREE.Color(high), part).toArray(colours, 3 * i);
    }
    geometry.setAttribute('color', new THREE.BufferAttribute(colours, 3));
    return new THREE.Mesh(geometry, new THREE.MeshBasicMaterial({
        vertexColors: THREE.VertexColors,
        side: THREE.BackSide,
        depthWrite: false,
        fog: false
    }));
}

/**
 * A chain of mountains all round, as a band of triangles.
 * @param {number} distance @param {number} height @param {number} colour @param {number} snow
 * @param {number} seed
 */
function mountains(distance, height, colour, snow, seed) {
    const random = randomRow(seed);
    const waves = Array.from({length: 7}, (_, i) => ({
                                              turns: 3 + Math.floor(random() * 4) + i * 5,
                                              size: 1 / (1 + i * 0.8),
                                              shift: random() * 6.3
                                          }));
    const heightAt = (/** @type {number} */ heading) => {
        const sum = waves.reduce(
            (all, {turns, size, shift}) =>
                all + size * Math.abs(Math.sin((heading * Math.PI * turns) / 360 + shift)),
            0);
        return height * (0.25 + 0.3 * sum);
    };
    const corners = [];
    const colours = [];
    const base = new THREE.Color(colour);
    const peak = new THREE.Color(snow);
    const step = 1.5;
    for (let heading = 0; heading < 360; heading += step) {
        const [left, right] = [heightAt(heading), heightAt((heading + step) % 360)];
        const [a, b] =
            [at(heading, distance, ground - 4), at(heading + step, distance, ground - 4)];
        const [c, d] =
            [at(heading + step, distance, ground + right), at(heading, distance, ground + left)];
        corners.push(...a, ...b, ...c, ...a, ...c, ...d);
        // The slopes towards the sun are brighter.
        const shade = 1 + 0.09 * Math.tanh(((right - left) / height) * 9);
        for (const top of [0, 0, right, 0, right, left]) {
            const white = Math.min(1, Math.max(0, (top / height - 0.75) * 1.6));
            const mixed = base.clone().multiplyScalar(shade).lerp(peak, white);
            colours.push(mixed.r, mixed.g, mixed.b);
        }
    }
    const geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.BufferAttribute(new Float32Array(corners), 3));
    geometry.setAttribute('color', new THREE.BufferAttribute(new Float32Array(colours), 3));
    return new THREE.Mesh(
        geometry,
        new THREE.MeshBasicMaterial(
            {vertexColors: THREE.VertexColors, side: THREE.DoubleSide, fog: false}));
}

/** @param {Solid} solid */
function fields(solid) {
    const random = randomRow(11);
    const crops = [0x84a35c, 0x9bae63, 0xb9a866, 0x73955a, 0xa5b574, 0x8c9c5c, 0xc4b47c, 0x6a8c56];
    const flat = () => new THREE.PlaneBufferGeometry(1, 1).rotateX(-Math.PI / 2);
    for (let ring = 0; ring < 6; ++ring) {
        const distance = 34 * 1.75 ** ring;
        const count = 13 + ring * 3;
        for (let i = 0; i < count; ++i) {
            const heading = (360 / count) * (i + 0.3 * random());
            const wide = ((2 * Math.PI * distance) / count) * (0.55 + 0.35 * random());
            solid.add(
                flat(), crops[Math.floor(random() * crops.length)],
                place(
                    at(heading, distance, ground + 0.05 + 0.002 * i), -(heading * Math.PI) / 180,
                    [wide, 1, distance * (0.3 + 0.12 * random())]));
        }
    }
    const road = 0xb9b3a8;
    for (const heading of [38, 112, 196, 287]) {
        solid.add(
            flat(), road,
            place(at(heading, 620, ground + 0.22), -(heading * Math.PI) / 180, [5, 1, 1200]));
        for (let metre = 30; metre < 420; metre += 9) {
            solid.add(
                flat(), 0xf4f1e8,
                place(
                    at(heading, metre, ground + 0.27), -(heading * Math.PI) / 180, [0.35, 1, 3.4]));
        }
    }
    solid.add(
        new THREE.RingBufferGeometry(17.5, 21.5, 72).rotateX(-Math.PI / 2), road,
        place([0, ground + 0.24, 0]));
    solid.add(
        new THREE.CircleBufferGeometry(17.5, 72).rotateX(-Math.PI / 2), 0x9aab80,
        place([0, ground + 0.23, 0]));
}

/** @param {Solid} solid */
function trees(solid) {
    const random = randomRow(5);
    const leaves = [0x3f7245, 0x4d8048, 0x5c8c4b, 0x38663f, 0x6d9a4f];
    for (let i = 0; i < 210; ++i) {
        const heading = 360 * random();
        const distance = 34 + 460 * random() ** 1.6;
        // The way to the test chart stays free.
        if (Math.abs(heading - 180) < 16 && distance < 190) continue;
        const tall = 3.5 + 4.5 * random();
        const colour = leaves[Math.floor(random() * leaves.length)];
        solid.add(
            new THREE.CylinderBufferGeometry(0.25, 0.35, 2, 5), 0x6b5138,
            place(at(heading, distance, ground + 1)));
        const crown = random() < 0.55 ? new THREE.ConeBufferGeometry(tall * 0.34, tall, 7) :
                                        new THREE.IcosahedronBufferGeometry(tall * 0.38, 1);
        solid.add(
            crown, colour, place(at(heading, distance, ground + 1.4 + tall * 0.5), random() * 6));
    }
}

function clouds() {
    const random = randomRow(23);
    const solid = new Solid();
    for (let i = 0; i < 22; ++i) {
        const heading = i * (360 / 22) + 12 * random();
        const lift = (7 + 46 * random() ** 1.4) * (Math.PI / 180);
        const distance = 1500 * Math.cos(lift);
        const height = 1500 * Math.sin(lift);
        for (let puff = 0; puff < 6; ++puff) {
            const size = 26 + 44 * random();
            solid.add(
                new THREE.IcosahedronBufferGeometry(size, 1), 0xffffff,
                place(
                    at(heading + (puff - 2.5) * 2.1, distance, height + 14 * random()), random(),
                    [1.25, 0.42, 1.25]));
        }
    }
    return solid.mesh(new THREE.MeshLambertMaterial(
        {vertexColors: THREE.VertexColors, emissive: 0x8a94a0, fog: false}));
}

/** @param {Solid} solid  gets what stands on the ground @returns {THREE.Object3D[]} the rest */
export function makeLand(solid) {
    fields(solid);
    trees(solid);
    const meadow = new THREE.Mesh(
        new THREE.CircleBufferGeometry(1700, 96).rotateX(-Math.PI / 2),
        new THREE.MeshLambertMaterial({color: 0x809c63}));
    meadow.position.y = ground;
    const sun = new THREE.DirectionalLight(0xfff3d8, 0.75);
    sun.position.set(-0.6, 0.7, 0.25);
    const backdrop = [
        sky(), mountains(1650, 210, 0x9fbdcf, 0xf4f8fb, 3),
        mountains(1500, 105, 0x86a9a5, 0xa9c4bd, 8), mountains(1350, 48, 0x7d9f7c, 0x93b08b, 14)
    ];
    backdrop.forEach((object, i) => {
        object.renderOrder = -10 + i;
    });
    return [
        ...backdrop, meadow, clouds(), sun, new THREE.HemisphereLight(0xe4f1ff, 0x97a676, 0.74)
    ];
}

export const haze = new THREE.Fog(horizonColour, 220, 2300);
