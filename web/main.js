// Puts the panels together and opens the link, or the recording.

import {makeActions} from './panels/actions.js';
import {makeAxes} from './panels/axes.js';
import {makeBanner} from './panels/banner.js';
import {makeConsole} from './panels/console.js';
import {makeFaults} from './panels/faults.js';
import {makeFocus} from './panels/focus.js';
import {makeHead} from './panels/head.js';
import {makeKeys} from './panels/keys.js';
import {makeLights} from './panels/lights.js';
import {makePicture} from './panels/picture.js';
import {makePlayer} from './panels/player.js';
import {makeCamera} from './panels/camera.js';
import {makeSteer} from './panels/steer.js';
import {makeTimeline} from './panels/timeline.js';
import {makeTrace} from './panels/trace.js';
import {element} from './shared/dom.js';
import {readRecording} from './shared/recording.js';
import {connect} from './shared/server.js';

const left = element(
    'div', {class: 'column'}, makePicture(), makeSteer(), makeActions(), makeTimeline(),
    makeTrace());
const right = element(
    'div', {class: 'column'}, makeHead(), makeAxes(), makeFocus(), makeCamera(), makeLights(),
    makeFaults(), makeKeys());
document.body.append(makeBanner(), element('main', {}, left, right));
const recording = await readRecording();
if (recording === null) {
    document.body.append(makeConsole());
    connect();
} else {
    document.body.append(makePlayer(recording));
}
