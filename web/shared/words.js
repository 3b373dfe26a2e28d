// The words that a key takes, to be offered where one is set.

const onOff = ['on', 'off'];
const light = {
    state: ['off', 'on', 'slow', 'medium', 'fast'],
    color: ['white', 'green', 'yellow', 'red', 'blue'],
    brightness: ['high', 'medium', 'low']
};
const speeds = [1, 3, 5, 7, 9];

/** @type {readonly [RegExp, readonly string[]][]} */
const rows = [
    [/^lens\.camN\.focus_after_zoom$/, onOff],
    [
        /^lens\.camN\.focus$/,
        [
            'fullrange', 'shortrange', 'near', 'far', 'stop', 'full_near', 'full_far', 'home',
            'a:', 'r:'
        ]
    ],
    [/^lens\.camN\.zoom$/, ['in', 'out', 'stop', 'full_in', 'full_out', 'home', 'a:', 'r:']],
    [
        /^lens\.camN\.rotate$/,
        [
            'auto', 'autoh', 'autov', 'forward', 'backward', 'stop', 'full_forward',
            'full_backward', 'home', 'test', 'a:', 'r:'
        ]
    ],
    [
        /^lens\.camN\.pan$/,
        [
            ...speeds.flatMap((speed) => [`left:${speed}`, `right:${speed}`]), 'stop', 'home',
            'homeaf', 'homefast', 'a:', 'r:'
        ]
    ],
    [
        /^lens\.camN\.tilt$/,
        [
            ...speeds.flatMap((speed) => [`up:${speed}`, `down:${speed}`]), 'stop', 'full_up',
            'full_down', 'home', 'a:', 'r:'
        ]
    ],
    [/^lens\.camN\.iris$/, ['open', 'close', 'full_open', 'full_close', 'home', 'a:', 'r:']],
    [/^lens\.camN\.\w+status$/, ['run', 'stop', 'fail']],
    [
        /^lens\.camN\.act_preset$/,
        ['1:set', '1:set:lock', '1:go', '1:del', '2:set', '2:set:lock', '2:go', '2:del']
    ],
    [
        /^lens\.camN\.action\.cmd$/,
        [
            'AF', 'AAF', 'CAF', 'test_af', 'home', 'home1', 'home2', 'home3', 'home4', 'homefast',
            'homepos', 'homeP1', 'homeP2', 'full_in', 'full_out', 'full_near', 'full_far',
            'full_forward', 'full_backward'
        ]
    ],
    [/^lens\.camN\.mode_rotate$/, ['off', 'auto', 'rotate']],
    [/^gpio\.camN\.out\.icr$/, ['day', 'night']],
    [/^image\.camN\.(flip|mirror|rotate|exposure\.wdr)$/, onOff],
    [/^encode\.camN\.status$/, ['start', 'stop']],
    [/^encode\.camN\.denoise_status$/, onOff],
    [/^encode\.perspective\.mode$/, ['ceiling', 'desktop', 'wall']],
    [/^system\.info\.poe_status$/, ['ready', 'not_ready', 'fail']],
    [/^system\.camN\.action\.fwupdate$/, ['kick-off']],
    [/^event\.camN\.light\.flash$/, ['slow', 'medium', 'fast']],
    [/^event\.camN\.light\.brightness$/, ['low', 'medium', 'high']],
    [/^lens\.camN\.light\.relay1\d\.mode$/, ['monostable', 'bistable']],
    [/^lens\.camN\.light\..*\.state$/, light.state],
    [/^lens\.camN\.light\..*\.color$/, light.color],
    [/^lens\.camN\.light\..*\.brightness$/, light.brightness],
    [
        /^lens\.camN\.light\.test_mode$|^demo\.led\.mode$/,
        ['0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '10']
    ],
];

/** Keys that are heard but may not have been set yet. */
export const commandKeys = [
    'lens.camN.pan', 'lens.camN.tilt', 'lens.camN.rotate', 'lens.camN.zoom', 'lens.camN.focus',
    'lens.camN.iris', 'lens.camN.action.cmd', 'lens.camN.act_preset', 'lens.camN.mode_rotate',
    'demo.ptz.action', 'demo.led.mode'
];

/** @param {string} key @returns {readonly string[]} empty where any text or number may come */
export const wordsOf = (key) => rows.find(([pattern]) => pattern.test(key))?.[1] ?? [];
