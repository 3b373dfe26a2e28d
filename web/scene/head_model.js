// The head in three dimensions, built in its mount's own axes: the surface is at z = 0 and z points
// into the room. A pose turns its parts.

import * as THREE from '../three.module.js';
import {frameOf, panAngle, rotateAngle, tiltAngle} from '../shared/attitude.js';
import {lamps, lightOf} from '../shared/lamps.js';
import {radians} from '../shared/vector.js';

const tiltAxisHeight = 1.5;

/** @typedef {(colour: number) => THREE.Material} Paint */

/** @type {Paint} */
const solidPaint = (color) =>
    new THREE.MeshPhongMaterial({color, shininess: 42, specular: 0x333a42});
/** @type {Paint} */
const ghostPaint = () => new THREE.MeshBasicMaterial(
    {color: 0xffb84d, transparent: true, opacity: 0.34, depthWrite: false});

/**
 * @param {THREE.BufferGeometry} geometry @param {THREE.Material} material
 * @param {number} x @param {number} y @param {number} z
 */
function part(geometry, material, x, y, z) {
    const mesh = new THREE.Mesh(geometry, material);
    mesh.position.set(x, y, z);
    return mesh;
}

/**
 * A cylinder whose axis is z.
 * @param {number} top @param {number} bottom @param {number} tall
 */
const post = (top, bottom, tall) =>
    new THREE.CylinderBufferGeometry(top, bottom, tall, 40).rotateX(Math.PI / 2);
/**
 * A cylinder whose axis is x.
 * @param {number} front @param {number} back @param {number} long
 */
const barrel = (front, back, long) =>
    new THREE.CylinderBufferGeometry(front, back, long, 36).rotateZ(-Math.PI / 2);

/**
 * What pan, tilt, turn and lens move.
 * @param {Paint} paint
 */
function makeMoving(paint) {
    const white = paint(0xe9edf1);
    const dark = paint(0x27313b);
    const pan = new THREE.Group();
    pan.add(part(post(0.62, 0.72, 0.34), white, 0, 0, 0.63));
    for (const side of [-1, 1]) {
        pan.add(part(new THREE.BoxBufferGeometry(0.5, 0.16, 1.1), white, 0, side * 0.86, 1.15));
        pan.add(part(
            post(0.25, 0.25, 0.18).rotateX(Math.PI / 2), white, 0, side * 0.86,
            tiltAxisHeight + 0.2));
    }
    pan.add(part(new THREE.BoxBufferGeometry(0.5, 1.88, 0.16), white, 0, 0, 0.8));
    const tilt = new THREE.Group();
    tilt.position.z = tiltAxisHeight + 0.2;
    tilt.add(part(new THREE.SphereBufferGeometry(0.74, 36, 24), white, 0, 0, 0));
    const turn = new THREE.Group();
    turn.add(part(barrel(0.5, 0.56, 0.5), dark, 0.62, 0, 0));
    // The sensor's top: the picture's too, as long as nothing turns it.
    turn.add(part(new THREE.BoxBufferGeometry(0.34, 0.12, 0.12), paint(0xff5d52), 0.66, 0, -0.56));
    const lens = part(barrel(0.4, 0.42, 0.5), paint(0x3a4651), 0.95, 0, 0);
    const glass = part(barrel(0.33, 0.33, 0.03), paint(0x6fb7e6), 1.2, 0, 0);
    const iris = part(
        new THREE.RingBufferGeometry(0.5, 1, 40).rotateY(Math.PI / 2), paint(0x0b0f13), 1.218, 0,
        0);
    turn.add(lens, glass, iris);
    tilt.add(turn);
    pan.add(tilt);
    return {pan, tilt, turn, lens, glass, iris};
}

/**
 * @typedef {{pan: number, tilt: number, rotate: number, zoom: number, iris: number}} Pose  in
 * steps
 */

/** @param {ReturnType<typeof makeMoving>} moving @param {Pose} pose */
function setPose(moving, pose) {
    moving.pan.rotation.z = panAngle(pose.pan) * radians;
    moving.tilt.rotation.y = -tiltAngle(pose.tilt) * radians;
    moving.turn.rotation.x = rotateAngle(pose.rotate) * radians;
    const out = 0.34 * Math.min(1, pose.zoom / 2361);
    moving.lens.position.x = 0.95 + out;
    moving.glass.position.x = 1.2 + out;
    moving.iris.position.x = 1.218 + out;
    // The ring's outer rim stays on the glass while its inner one closes.
    const closed = Math.min(1, pose.iris / 100);
    moving.iris.scale.setScalar(0.33);
    moving.iris.geometry.dispose();
    moving.iris.geometry =
        new THREE.RingBufferGeometry(0.95 - 0.85 * closed, 1, 40).rotateY(Math.PI / 2);
}

function makeGlow() {
    const canvas = document.createElement('canvas');
    canvas.width = canvas.height = 64;
    const pen = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
    const fall = pen.createRadialGradient(32, 32, 2, 32, 32, 32);
    fall.addColorStop(0, 'rgba(255, 255, 255, 0.95)');
    fall.addColorStop(0.3, 'rgba(255, 255, 255, 0.4)');
    fall.addColorStop(1, 'rgba(255, 255, 255, 0)');
    pen.fillStyle = fall;
    pen.fillRect(0, 0, 64, 64);
    return new THREE.CanvasTexture(canvas);
}

function makeLamps() {
    const map = makeGlow();
    return lamps.map(({angle}) => {
        const x = 1.13 * Math.cos(angle * radians);
        const y = 1.13 * Math.sin(angle * radians);
        const bulb = part(
            new THREE.SphereBufferGeometry(0.11, 18, 12),
            new THREE.MeshBasicMaterial({color: 0x1a222a}), x, y, 0.3);
        const glow = new THREE.Sprite(new THREE.SpriteMaterial(
            {map, blending: THREE.AdditiveBlending, depthWrite: false, transparent: true}));
        glow.position.set(x * 1.03, y * 1.03, 0.32);
        glow.scale.set(1.15, 1.15, 1);
        return {bulb, glow};
    });
}

/** An arrow of length 1.3 along its own y. */
function makeArrow() {
    const arrow = new THREE.Group();
    const paint = new THREE.MeshBasicMaterial({color: 0x7fd1ff});
    arrow.add(part(new THREE.CylinderBufferGeometry(0.035, 0.035, 1, 10), paint, 0, 0.5, 0));
    arrow.add(part(new THREE.ConeBufferGeometry(0.11, 0.3, 18), paint, 0, 1.15, 0));
    return arrow;
}

export class HeadModel {
    scene = new THREE.Scene();
    #mount = new THREE.Group();
#true = makeMoving(solidPaint);
    #ghost = makeMoving(ghostPaint);
    #lamps = makeLamps();
    #gravity = makeArrow();
    #key = new THREE.DirectionalLight(0xffffff, 0.75);
    #fill = new THREE.DirectionalLight(0xbfd8ff, 0.3);

    constructor() {
        const surface = part(
            new THREE.CircleBufferGeometry(2.5, 64),
            new THREE.MeshPhongMaterial(
                {color: 0x55626f, side: THREE.DoubleSide, transparent: true, opacity: 0.55}),
            0, 0, -0.01);
        const rim = part(
            new THREE.RingBufferGeometry(2.44, 2.5, 64),
            new THREE.MeshBasicMaterial({color: 0x8fa1b2, side: THREE.DoubleSide}), 0, 0, 0);
        const base = part(post(1.02, 1.14, 0.46), solidPaint(0xdfe4e9), 0, 0, 0.23);
        // The front, where pan stands after homing.
        const front = part(
            new THREE.BoxBufferGeometry(0.5, 0.05, 0.02),
            new THREE.MeshBasicMaterial({color: 0x7fd1c7}), -1.8, 0, 0.01);
        this.#mount.add(surface, rim, base, front, this.#true.pan, this.#ghost.pan);
        for (const {bulb, glow} of this.#lamps) this.#mount.add(bulb, glow);
        // Where both nearly coincide the outline still shows, as a rim.
        this.#ghost.pan.scale.setScalar(1.03);
        this.#mount.matrixAutoUpdate = false;
        this.scene.add(
            this.#mount, this.#gravity, this.#key, this.#fill,
            new THREE.AmbientLight(0xffffff, 0.42));
    }

    /** @param {string} mount */
    setMount(mount) {
        const [x, y, z] = frameOf(mount).map((axis) => new THREE.Vector3(...axis));
        this.#mount.matrix.makeBasis(x, y, z);
        // The middle of the head is the middle of the picture.
        this.#mount.matrix.setPosition(z.clone().multiplyScalar(-1.25));
        this.#mount.matrixWorldNeedsUpdate = true;
    }

    /**
     * Lights the head from where it is looked at, and puts gravity's arrow beside it.
     * @param {number} heading  of the eye, in radians
     * @param {number} lift
     */
    setEye(heading, lift) {
        const [s, c] = [Math.sin(heading), Math.cos(heading)];
        this.#key.position.set(3 * c + 4 * s, 5 + 4 * lift, 4 * c - 3 * s);
        this.#fill.position.set(-4 * c + 3 * s, 3 * lift - 3, 3 * c + 4 * s);
        this.#gravity.position.set(2.5 * c, 0.6, -2.5 * s);
    }

    /** @param {Pose} pose @param {Pose|null} believed  the daemon's, where it differs */
    setPose(pose, believed) {
        setPose(this.#true, pose);
        this.#ghost.pan.visible = believed !== null;
        if (believed !== null) setPose(this.#ghost, believed);
    }

    /** @param {readonly string[]} words  the LED words */
    setLamps(words) {
        this.#lamps.forEach(({bulb, glow}, i) => {
            const [r, g, b] = lightOf(words[i] ?? '00000000');
            const lit = r + g + b > 0;
            const bulbPaint = /** @type {THREE.MeshBasicMaterial} */ (bulb.material);
            if (lit)
                bulbPaint.color.setRGB(r, g, b);
            else
                bulbPaint.color.setHex(0x1a222a);
            glow.visible = lit;
            glow.material.color.setRGB(r, g, b);
        });
    }

    /** @param {import('../shared/vector.js').Vector} down  the direction of gravity in the world */
    setGravity(down) {
        this.#gravity.quaternion.setFromUnitVectors(
            new THREE.Vector3(0, 1, 0), new THREE.Vector3(...down).normalize());
    }
}
