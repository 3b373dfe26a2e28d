// The whole synthetic world, and a camera in it.

import * as THREE from '../three.module.js';
import {haze, makeLand} from './land.js';
import {makeChart, makeLandmarks} from './landmarks.js';
import {makeScales} from './scales.js';
import {Solid} from './solid.js';

/** @typedef {import('../shared/attitude.js').View} View */

export function makeWorld() {
    const scene = new THREE.Scene();
    scene.fog = haze;
    const solid = new Solid();
    scene.add(...makeLand(solid), ...makeLandmarks(solid), ...makeChart(), ...makeScales());
    scene.add(solid.mesh(new THREE.MeshLambertMaterial({vertexColors: THREE.VertexColors})));
    return scene;
}

/**
 * Points a camera as the image sensor stands.
 * @param {THREE.PerspectiveCamera} camera @param {View} view
 * @param {number} across  field of view across the sensor's longer side, in degrees
 */
export function pointCamera(camera, view, across) {
    const half = (across / 2) * (Math.PI / 180);
    camera.fov = (2 * Math.atan(Math.tan(half) / camera.aspect)) / (Math.PI / 180);
    const [x, y, z] = [view.x, view.y, view.z].map((axis) => new THREE.Vector3(...axis));
    // The camera's own axes are right, top and back.
    camera.quaternion.setFromRotationMatrix(
        new THREE.Matrix4().makeBasis(x.negate(), y, z.negate()));
    camera.updateProjectionMatrix();
    camera.updateMatrixWorld(true);
}
