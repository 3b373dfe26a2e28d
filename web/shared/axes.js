// The six axes as the mechanism has them: end stops, the orders that move them, their keys.

/**
 * @typedef {'pan'|'tilt'|'rotate'|'zoom'|'focus'|'iris'} AxisName
 * @typedef {object} Axis
 * @property {AxisName} name
 * @property {string} label  as a person says it
 * @property {[number, number]} stops  where the mechanism ends, in steps
 * @property {[number, number]} longStops  the same with lens type 10
 * @property {string} grows  the library's order that makes the position grow
 * @property {string} shrinks
 */

/** @type {readonly Axis[]} */
export const axes = [
    {
        name: 'pan',
        label: 'Pan',
        stops: [0, 44393],
        longStops: [0, 44393],
        grows: 'setPanForwardS',
        shrinks: 'setPanBackwardS'
    },
    {
        name: 'tilt',
        label: 'Tilt',
        stops: [-40, 5120],
        longStops: [-40, 5120],
        grows: 'setTiltForwardS',
        shrinks: 'setTiltBackwardS'
    },
    {
        name: 'rotate',
        label: 'Turn',
        stops: [0, 10720],
        longStops: [0, 10720],
        grows: 'setRotatForward',
        shrinks: 'setRotatBackward'
    },
    {
        name: 'zoom',
        label: 'Zoom',
        stops: [0, 2375],
        longStops: [0, 2950],
        grows: 'setZoom8Backward',
        shrinks: 'setZoom8Forward'
    },
    {
        name: 'focus',
        label: 'Focus',
        stops: [-16, 2433],
        longStops: [-16, 1812],
        grows: 'setFocus8Backward',
        shrinks: 'setFocus8Forward'
    },
    {
        name: 'iris',
        label: 'Iris',
        stops: [0, 100],
        longStops: [0, 122],
        grows: 'setIrisForward',
        shrinks: 'setIrisBackward'
    },
];

/** The lens type whose curve, stops and zoom direction differ from all others'. */
const longLensType = 10;

/** @param {number} lensType */
export const isLongLens = (lensType) => lensType === longLensType;

/** @param {Axis} axis @param {boolean} longLens */
export const stopsOf = (axis, longLens) => (longLens ? axis.longStops : axis.stops);

/**
 * What an order of the library moves, or null if it moves nothing.
 * @param {string} name  the library's function
 * @param {boolean} longLens  whose zoom motor turns the other way
 * @returns {{axis: Axis, direction: 1|-1}|null}
 */
export function movedBy(name, longLens) {
    for (const axis of axes) {
        const turned = longLens && axis.name === 'zoom' ? -1 : 1;
        if (name === axis.grows) return {axis, direction: turned === 1 ? 1 : -1};
        if (name === axis.shrinks) return {axis, direction: turned === 1 ? -1 : 1};
    }
    return null;
}

/** @param {AxisName} axis  the key that takes the axis's command words */
export const wordKey = (axis) => `lens.camN.${axis}`;
/** @param {AxisName} axis */
export const positionKey = (axis) => `lens.camN.position_${axis}`;
/** @param {AxisName} axis */
export const statusKey = (axis) => `lens.camN.${axis}status`;
/** @param {AxisName} axis */
export const rangeKey = (axis) => `lens.camN.range.${axis}`;

/**
 * The usable range that the daemon publishes, or null before it has.
 * @param {string|undefined} text  "MINIMUM~MAXIMUM"
 * @returns {[number, number]|null}
 */
export function parseRange(text) {
    const parts = /^(-?\d+)~(-?\d+)$/.exec(text ?? '');
    return parts ? [Number(parts[1]), Number(parts[2])] : null;
}
