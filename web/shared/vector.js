// Vectors of three numbers.

/** @typedef {readonly [number, number, number]} Vector */

/** @param {Vector} a @param {Vector} b */
export const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

/** @param {number} p @param {Vector} a @param {number} q @param {Vector} b @returns {Vector} */
export const combine =
    (p, a, q, b) => [p * a[0] + q * b[0], p * a[1] + q * b[1], p * a[2] + q * b[2]];

/** @param {number} factor @param {Vector} a @returns {Vector} */
export const scale = (factor, a) => [factor * a[0], factor * a[1], factor * a[2]];

/** @param {Vector} a @returns {Vector} */
export const normalized = (a) => scale(1 / Math.hypot(...a), a);

export const radians = Math.PI / 180;

/** @param {number} angle  in degrees @returns {number} the same from -180 to 180 */
export const folded = (angle) => angle - 360 * Math.round(angle / 360);
