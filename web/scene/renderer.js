// What draws a scene into a canvas.

import * as THREE from '../three.module.js';

/**
 * @param {HTMLCanvasElement} canvas
 * @returns {THREE.WebGLRenderer} throws where the browser cannot
 */
export function makeRenderer(canvas) {
    const context = canvas.getContext('webgl2', {antialias: true, alpha: true});
    if (context === null) throw new Error('no WebGL 2');
    const renderer = new THREE.WebGLRenderer({canvas, context, antialias: true, alpha: true});
    renderer.setPixelRatio(Math.min(2, window.devicePixelRatio));
    return renderer;
}

/**
 * Fits a renderer's picture to a size, where it has another one: that makes its buffers anew.
 * @param {THREE.WebGLRenderer} renderer @param {number} width @param {number} height
 */
export function fit(renderer, width, height) {
    const size = renderer.getSize(new THREE.Vector2());
    if (size.x !== width || size.y !== height) renderer.setSize(width, height, false);
}
