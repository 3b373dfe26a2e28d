// The eight LEDs: where they sit, and what an LED word looks like.

/**
 * In the order of the words, once round the camera; each light has two.
 * @type {readonly {light: string, angle: number}[]}  angle about the mount's normal, in degrees of
 *     pan
 */
export const lamps = [
    'back left', 'back left', 'front left', 'front left', 'front right', 'front right',
    'back right', 'back right'
].map((light, i) => ({light, angle: 22.5 + 45 * i}));

/**
 * The levels of an LED word, 0 to 255.
 * @param {string} word  eight hexadecimal digits: white, red, green, blue
 */
export function levelsOf(word) {
    const bits = Number.parseInt(word, 16) >>> 0;
    return {
        white: bits >>> 24,
        red: (bits >>> 16) & 255,
        green: (bits >>> 8) & 255,
        blue: bits & 255
    };
}

/**
 * The colour that an eye sees, red, green and blue from 0 to 1: the white channel lights all three,
 * and a screen's numbers are not linear, light is.
 * @param {string} word @returns {[number, number, number]}
 */
export function lightOf(word) {
    const {white, red, green, blue} = levelsOf(word);
    const seen = [red, green, blue].map((level) => Math.min(1, (level + white) / 255) ** (1 / 2.2));
    return [seen[0], seen[1], seen[2]];
}

/** @param {string} word @returns {string} the same as a CSS colour */
export const cssOf = (word) =>
    `rgb(${lightOf(word).map((part) => Math.round(part * 255)).join(', ')})`;

/** @param {string} word @returns {string} the word for a person: "red 64, white 255", or "off" */
export function describe(word) {
    const lit = Object.entries(levelsOf(word)).filter(([, level]) => level > 0);
    return lit.length === 0 ? 'off' : lit.map(([name, level]) => `${name} ${level}`).join(', ');
}
