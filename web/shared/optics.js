// What the lens makes of the scene, from the true zoom, focus and iris: sharpness and blur, field
// of view, light. The curves are the page's own copies.

import {radians} from './vector.js';

/** Zoom and the sharpest focus there, for every lens type but 10 and for type 10. */
const standardCurve = [
    [0, 274], [50, 308], [100, 436], [150, 550], [200, 658], [250, 756], [300, 854], [350, 944],
    [400, 1028], [450, 1112], [500, 1186], [550, 1256]
];
const longCurve = [
    [0, 562], [61, 554], [122, 532], [184, 516], [245, 498], [306, 478], [367, 456], [428, 436],
    [490, 418], [551, 400], [612, 384], [673, 366]
];

/**
 * What the lens looks at, as the scene's faults have it.
 * @typedef {{dark: boolean, flat: boolean, offset: number}} Scene
 */

/**
 * The sharpest focus position of the middle area: interpolated, constant beyond the curve's ends.
 * @param {number} zoom @param {boolean} longLens @param {Scene} scene
 */
export function bestFocus(zoom, longLens, scene) {
    const curve = longLens ? longCurve : standardCurve;
    const next = curve.findIndex(([z]) => z > zoom);
    if (next === 0) return curve[0][1] + scene.offset;
    if (next < 0) return curve[curve.length - 1][1] + scene.offset;
    const [z0, f0] = curve[next - 1];
    const [z1, f1] = curve[next];
    return f0 + ((zoom - z0) / (z1 - z0)) * (f1 - f0) + scene.offset;
}

const flat = 0.15;
const contrast = 1.4;
const peakWidth = 60;

/** The highest sharpness that there is. */
export const greatestSharpness = flat + contrast;

/**
 * @param {number} distance  steps from the sharpest focus
 * @param {Scene} scene
 */
export function sharpness(distance, scene) {
    if (scene.dark) return 0;
    if (scene.flat) return flat;
    return flat + contrast / (1 + (distance / peakWidth) ** 2) ** 2;
}

const widestBlur = 2.6;
const blurHalf = 420;

/**
 * The blur of the picture, in hundredths of its width: 0 at the sharpest focus, growing with the
 * distance from it and slower when there is hardly anything left to see.
 * @param {number} distance  steps from the sharpest focus
 */
export const blurOf = (distance) =>
    (widestBlur * Math.abs(distance)) / (Math.abs(distance) + blurHalf);

const widestView = 100;  // degrees across the sensor at zoom 0
const tenfold = 2361;    // zoom steps that make the focal length ten times as long

/** @param {number} zoom  steps @returns {number} degrees across the sensor's longer side */
export const fieldOfView = (zoom) =>
    (2 * Math.atan(Math.tan((widestView / 2) * radians) * 10 ** (-zoom / tenfold))) / radians;

/**
 * The share of the light that the iris lets through.
 * @param {number} iris  steps, 0 is open @param {number} closed  position of the far end
 */
export const irisLight = (iris, closed) =>
    Math.max(0.06, 1 - 0.94 * Math.min(1, Math.max(0, iris / closed)) ** 0.8);

/**
 * Light and colour as CSS filter functions: what the iris lets through, and the false colours of
 * infra-red while the filter is away.
 * @param {number} light  share @param {boolean} day @param {Scene} scene
 */
export function colourFilter(light, day, scene) {
    const brightness = scene.dark ? 0.02 : light;
    const tint = day ? '' : ' saturate(0.3) sepia(0.45) hue-rotate(265deg)';
    return `brightness(${brightness.toFixed(3)})${tint}${scene.flat ? ' contrast(0.04)' : ''}`;
}
