// Writing in the world.

import * as THREE from '../three.module.js';

/**
 * @typedef {import('../shared/vector.js').Vector} Vector
 * @typedef {{colour: string, back?: string}} Look  back: what the letters stand on
 */

const pixels = 64;  // of the letters

/** @param {CanvasRenderingContext2D} pen @param {number} wide @param {number} tall */
function fillPill(pen, wide, tall) {
    pen.beginPath();
    pen.moveTo(tall / 2, 0);
    pen.arcTo(wide, 0, wide, tall, tall / 2);
    pen.arcTo(wide, tall, 0, tall, tall / 2);
    pen.arcTo(0, tall, 0, 0, tall / 2);
    pen.arcTo(0, 0, wide, 0, tall / 2);
    pen.fill();
}

/** @param {string} text @param {Look} look */
function write(text, look) {
    const font = `600 ${pixels}px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif`;
    const canvas = document.createElement('canvas');
    const pen = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
    pen.font = font;
    const margin = pixels * (look.back ? 0.45 : 0.2);
    canvas.width = Math.ceil(pen.measureText(text).width + 2 * margin);
    canvas.height = Math.ceil(pixels * 1.5);
    // A new size has taken the pen's settings back.
    pen.font = font;
    pen.textAlign = 'center';
    pen.textBaseline = 'middle';
    const [x, y] = [canvas.width / 2, canvas.height / 2 + pixels * 0.05];
    if (look.back) {
        pen.fillStyle = look.back;
        fillPill(pen, canvas.width, canvas.height);
    } else {
        // Plain letters have a rim, so that they can be read on snow, too.
        pen.lineJoin = 'round';
        pen.lineWidth = pixels / 5;
        pen.strokeStyle = 'rgba(14, 28, 44, 0.75)';
        pen.strokeText(text, x, y);
    }
    pen.fillStyle = look.colour;
    pen.fillText(text, x, y);
    const map = new THREE.CanvasTexture(canvas);
    map.minFilter = THREE.LinearMipMapLinearFilter;
    map.anisotropy = 4;
    return {map, ratio: canvas.width / canvas.height};
}

/**
 * What has been written, so that the same text in the same look is one texture.
 * @type {Map<string, ReturnType<typeof write>>}
 */
const written = new Map();

/**
 * A sign that faces the camera, upright in the world.
 * @param {string} text @param {Vector} position @param {number} height  of the letters, in metres
 * @param {Look} look
 */
export function sign(text, position, height, look) {
    const name = `${text} ${look.colour} ${look.back}`;
    const {map, ratio} = written.get(name) ?? write(text, look);
    written.set(name, {map, ratio});
    const tall = height * 1.5;
    const mesh = new THREE.Mesh(
        new THREE.PlaneBufferGeometry(tall * ratio, tall),
        new THREE.MeshBasicMaterial({map, transparent: true, depthTest: false, fog: false}));
    mesh.position.set(...position);
    mesh.lookAt(0, 0, 0);
    mesh.renderOrder = 3;
    return mesh;
}
