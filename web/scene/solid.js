// Many simple bodies as one mesh, and writing in the world.

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

/**
 * A sign that faces the camera, upright in the world.
 * @param {string} text @param {Vector} position @param {number} height  of the letters, in metres
 * @param {{colour?: string, back?: string}} [look]
 */
export function sign(text, position, height, look = {}) {
    const pixels = 64;
    const font = `600 ${pixels}px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif`;
    const canvas = document.createElement('canvas');
    const pen = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
    pen.font = font;
    const margin = pixels * (look.back ? 0.45 : 0.2);
    canvas.width = Math.ceil(pen.measureText(text).width + 2 * margin);
    canvas.height = Math.ceil(pixels * 1.5);
    if (look.back) {
        pen.fillStyle = look.back;
        pen.beginPath();
        pen.moveTo(canvas.height / 2, 0);
        pen.arcTo(canvas.width, 0, canvas.width, canvas.height, canvas.height / 2);
        pen.arcTo(canvas.width, canvas.height, 0, canvas.height, canvas.height / 2);
        pen.arcTo(0, canvas.height, 0, 0, canvas.height / 2);
        pen.arcTo(0, 0, canvas.width, 0, canvas.height / 2);
        pen.fill();
    }
    pen.font = font;
    pen.textAlign = 'center';
    pen.textBaseline = 'middle';
    if (!look.back) {
        // Plain letters have a rim, so that they can be read on snow, too.
        pen.lineJoin = 'round';
        pen.lineWidth = pixels / 5;
        pen.strokeStyle = 'rgba(14, 28, 44, 0.75)';
        pen.strokeText(text, canvas.width / 2, canvas.height / 2 + pixels * 0.05);
    }
    pen.fillStyle = look.colour ?? '#ffffff';
    pen.fillText(text, canvas.width / 2, canvas.height / 2 + pixels * 0.05);
    const map = new THREE.CanvasTexture(canvas);
    map.minFilter = THREE.LinearMipMapLinearFilter;
    map.anisotropy = 4;
    const tall = height * 1.5;
    const mesh = new THREE.Mesh(
        new THREE.PlaneBufferGeometry((tall * canvas.width) / canvas.height, tall),
        new THREE.MeshBasicMaterial({map, transparent: true, depthTest: false, fog: false}));
    mesh.position.set(...position);
    // A camera's up is lost straight above and below; there the top points north.
    const flatDistance = Math.hypot(position[0], position[2]);
    if (flatDistance < 1e-3) mesh.up.set(0, 0, -1);
    mesh.lookAt(0, 0, 0);
    mesh.renderOrder = 3;
    return mesh;
}
