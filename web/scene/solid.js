// Many simple bodies as one mesh, and places in the world.

import * as THREE from '../three.module.js';

/** @typedef {import('../shared/vector.js').Vector} Vector */

/**
 * Collects bodies into one geometry with a colour for each corner, to be drawn at once.
 */
export class Solid {
    /** @type {number[]} */
    #positions = [];
    /** @type {number[]} */
    #normals = [];
    /** @type {number[]} */
    #colours = [];

    /**
     * @param {THREE.BufferGeometry} geometry @param {number} colour  0xRRGGBB
     * @param {THREE.Matrix4} place
     */
    add(geometry, colour, place) {
        const flat = (geometry.index ? geometry.toNonIndexed() : geometry).clone();
        flat.applyMatrix(place);
        flat.computeVertexNormals();
        const {r, g, b} = new THREE.Color(colour);
        const {position, normal} = flat.attributes;
        for (let i = 0; i < position.count; ++i) this.#colours.push(r, g, b);
        this.#positions.push(...position.array);
        this.#normals.push(...normal.array);
        flat.dispose();
        geometry.dispose();
    }

    /** @param {THREE.Material} material */
    mesh(material) {
        const geometry = new THREE.BufferGeometry();
        const attribute = (/** @type {number[]} */ values) =>
            new THREE.BufferAttribute(new Float32Array(values), 3);
        geometry.setAttribute('position', attribute(this.#positions));
        geometry.setAttribute('normal', attribute(this.#normals));
        geometry.setAttribute('color', attribute(this.#colours));
        return new THREE.Mesh(geometry, material);
    }
}

/**
 * @param {Vector} position @param {number} [turn]  about the vertical, in radians
 * @param {Vector} [size] @param {number} [lean]  about its own east-west axis, before the turn
 */
export function place(position, turn = 0, size = [1, 1, 1], lean = 0) {
    return new THREE.Matrix4().compose(
        new THREE.Vector3(...position),
        new THREE.Quaternion().setFromEuler(new THREE.Euler(lean, turn, 0, 'YXZ')),
        new THREE.Vector3(...size));
}

/**
 * A row of numbers from 0 to 1 that is the same at every visit.
 * @param {number} seed @returns {() => number}
 */
export function randomRow(seed) {
    let state = seed;
    return () => {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        return state / 2 ** 32;
    };
}

/**
 * @param {number} heading  degrees @param {number} distance  metres on the ground
 * @param {number} [height]
 * @returns {Vector}
 */
export function at(heading, distance, height = 0) {
    const angle = (heading * Math.PI) / 180;
    return [distance * Math.sin(angle), height, -distance * Math.cos(angle)];
}
