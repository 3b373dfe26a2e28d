// Where the camera looks, from the true axes and the mount: the same geometry as the motion sensor
// feels, with a heading added. The world's axes are east, up and south.

import {combine, dot, folded, radians, scale} from './vector.js';

/** @typedef {import('./vector.js').Vector} Vector */

/** @type {Vector} */
const north = [0, 0, -1];
/** @type {Vector} */
const east = [1, 0, 0];
/** @type {Vector} */
const up = [0, 1, 0];

/**
 * A mount's own three axes in the world. The third is its normal, which points into the room.
 * @typedef {readonly [Vector, Vector, Vector]} Frame
 */

/**
 * A wall faces north; the mount is turned on it by an angle about its normal.
 * @param {number} degrees @returns {Frame}
 */
function onWall(degrees) {
    const c = Math.cos(degrees * radians);
    const s = Math.sin(degrees * radians);
    return [combine(c, up, -s, east), combine(s, up, c, east), north];
}

/** @type {Readonly<Record<string, Frame>>} */
export const mounts = {
    ceiling: [north, east, scale(-1, up)],
    desktop: [north, scale(-1, east), up],
    wall0: onWall(0),
    wall90: onWall(90),
    wall180: onWall(180),
    wall270: onWall(270),
};

/** @param {string} mount */
export const frameOf = (mount) => mounts[mount] ?? mounts.ceiling;

const panTurn = 44333;   // steps of a full turn
const tiltBottom = 130;  // degrees of drop at tilt 0
const tiltDegree = 32;   // steps
const rotateUpright = 533;
const rotateHalfTurn = 10133;  // steps

/** @param {number} pan  steps */
export const panAngle = (pan) => (360 * pan) / panTurn;
/**
 * Degrees from the mount's plane towards its normal.
 * @param {number} tilt  steps
 */
export const tiltAngle = (tilt) => tiltBottom - tilt / tiltDegree;
/** @param {number} rotate  steps */
export const rotateAngle = (rotate) => ((rotate - rotateUpright) * 180) / rotateHalfTurn;

/**
 * The image sensor's axes in the world: x to the left of its picture, y to its top, z where it
 * looks.
 * @typedef {{x: Vector, y: Vector, z: Vector}} View
 */

/**
 * @param {string} mount
 * @param {number} pan @param {number} tilt @param {number} rotate  true positions in steps
 * @returns {View}
 */
export function viewOf(mount, pan, tilt, rotate) {
    const [first, second, normal] = frameOf(mount);
    const heading = panAngle(pan) * radians;
    const drop = tiltAngle(tilt) * radians;
    const roll = rotateAngle(rotate) * radians;
    const ahead = combine(Math.cos(heading), first, Math.sin(heading), second);
    const left = combine(Math.sin(heading), first, -Math.cos(heading), second);
    const top = combine(Math.sin(drop), ahead, -Math.cos(drop), normal);
    return {
        x: combine(Math.cos(roll), left, Math.sin(roll), top),
        y: combine(-Math.sin(roll), left, Math.cos(roll), top),
        z: combine(Math.cos(drop), ahead, Math.sin(drop), normal),
    };
}

/** @param {Vector} direction @returns {number} degrees from north by east, 0 to 360 */
export const headingOf = (direction) =>
    (Math.atan2(direction[0], -direction[2]) / radians + 360) % 360;

/** @param {Vector} direction  a unit vector @returns {number} degrees above the horizon */
export const elevationOf = (direction) =>
    Math.asin(Math.max(-1, Math.min(1, direction[1]))) / radians;

/**
 * What the encoder does with the sensor's picture: flip and mirror exchange its rows and columns,
 * rotate then turns it clockwise by a quarter, from landscape to portrait.
 * @typedef {{flip: boolean, mirror: boolean, rotate: boolean}} Encoding
 */

/**
 * A direction of the sensor's picture (to its right, to its top) in the encoded one.
 * @param {Encoding} encoding @param {number} right @param {number} top
 * @returns {[number, number]} to the right and to the top
 */
export function encoded(encoding, right, top) {
    const r = encoding.mirror ? -right : right;
    const t = encoding.flip ? -top : top;
    return encoding.rotate ? [t, -r] : [r, t];
}

/**
 * The way back: a direction of the encoded picture in the sensor's.
 * @param {Encoding} encoding @param {number} right @param {number} top
 * @returns {[number, number]}
 */
export function decoded(encoding, right, top) {
    const [r, t] = encoding.rotate ? [-top, right] : [right, top];
    return [encoding.mirror ? -r : r, encoding.flip ? -t : t];
}

/**
 * How far what is up in the world leans from the top of the encoded picture, in degrees clockwise,
 * -180 to 180; 0 is upright.
 * @param {View} view @param {Encoding} encoding
 */
export function rollOf(view, encoding) {
    const [right, top] = encoded(encoding, -dot(view.x, up), dot(view.y, up));
    return folded(Math.atan2(right, top) / radians);
}

/**
 * The pan and tilt positions that look into a direction, of the two possible ones that which is
 * nearer to the present pan; null if the head cannot look there.
 * @param {string} mount @param {Vector} direction  a unit vector @param {number} pan  present
 *     position
 * @returns {{pan: number, tilt: number}|null}
 */
export function aimAt(mount, direction, pan) {
    const [first, second, normal] = frameOf(mount);
    const drop = Math.asin(Math.max(-1, Math.min(1, dot(direction, normal)))) / radians;
    const heading = Math.atan2(dot(direction, second), dot(direction, first)) / radians;
    const choices = [[heading, drop], [heading + 180, 180 - drop]]
                        .map(([turn, down]) => ({
                                 pan: Math.round(((((turn % 360) + 360) % 360) * panTurn) / 360),
                                 tilt: Math.round((tiltBottom - down) * tiltDegree),
                             }))
                        .filter(({tilt}) => tilt >= 0 && tilt <= 5120);
    choices.sort((a, b) => Math.abs(a.pan - pan) - Math.abs(b.pan - pan));
    return choices[0] ?? null;
}
