// What the page uses of three.js, whose own module comes from Debian and has no types.

export const VertexColors: number;
export const BackSide: number;
export const DoubleSide: number;
export const AdditiveBlending: number;
export const LinearMipMapLinearFilter: number;

export class Vector2 {
    x: number;
    y: number;
}

export class Vector3 {
    constructor(x?: number, y?: number, z?: number);
    x: number;
    y: number;
    z: number;
    set(x: number, y: number, z: number): this;
    setScalar(value: number): this;
    setY(y: number): this;
    copy(from: Vector3): this;
    clone(): Vector3;
    add(other: Vector3): this;
    multiplyScalar(factor: number): this;
    negate(): this;
    normalize(): this;
}

export class Euler {
    constructor(x: number, y: number, z: number, order: string);
    x: number;
    y: number;
    z: number;
}

export class Quaternion {
    setFromEuler(euler: Euler): this;
    setFromUnitVectors(from: Vector3, to: Vector3): this;
    setFromRotationMatrix(matrix: Matrix4): this;
}

export class Matrix4 {
    compose(position: Vector3, turn: Quaternion, scale: Vector3): this;
    makeBasis(x: Vector3, y: Vector3, z: Vector3): this;
    setPosition(position: Vector3): this;
    multiply(other: Matrix4): this;
    clone(): Matrix4;
}

export class Color {
    constructor(hex: number);
    r: number;
    g: number;
    b: number;
    clone(): Color;
    lerp(other: Color, part: number): this;
    multiplyScalar(factor: number): this;
    setHex(hex: number): this;
    setRGB(r: number, g: number, b: number): this;
    toArray(array: Float32Array, offset: number): Float32Array;
}

export class BufferAttribute {
    constructor(array: Float32Array, size: number);
    array: Float32Array;
    count: number;
}

export class BufferGeometry {
    index: BufferAttribute | null;
    attributes: Record<string, BufferAttribute>;
    setAttribute(name: string, attribute: BufferAttribute): this;
    toNonIndexed(): BufferGeometry;
    clone(): this;
    applyMatrix(matrix: Matrix4): this;
    computeVertexNormals(): void;
    scale(x: number, y: number, z: number): this;
    translate(x: number, y: number, z: number): this;
    rotateX(angle: number): this;
    rotateY(angle: number): this;
    rotateZ(angle: number): this;
    dispose(): void;
}

export class BoxBufferGeometry extends BufferGeometry {
    constructor(wide: number, tall: number, deep: number);
}
export class CircleBufferGeometry extends BufferGeometry {
    constructor(radius: number, segments: number);
}
export class ConeBufferGeometry extends BufferGeometry {
    constructor(radius: number, tall: number, sides: number);
}
export class CylinderBufferGeometry extends BufferGeometry {
    constructor(top: number, bottom: number, tall: number, sides: number);
}
export class IcosahedronBufferGeometry extends BufferGeometry {
    constructor(radius: number, detail: number);
}
export class PlaneBufferGeometry extends BufferGeometry {
    constructor(wide: number, tall: number);
}
export class RingBufferGeometry extends BufferGeometry {
    constructor(inner: number, outer: number, segments: number, rings?: number, start?: number,
                length?: number);
}
export class SphereBufferGeometry extends BufferGeometry {
    constructor(radius: number, across: number, down: number, start?: number, length?: number);
}

export class Texture {
    minFilter: number;
    anisotropy: number;
}
export class CanvasTexture extends Texture {
    constructor(canvas: HTMLCanvasElement);
}

interface Look {
    color?: number;
    emissive?: number;
    specular?: number;
    shininess?: number;
    map?: Texture;
    vertexColors?: number;
    side?: number;
    opacity?: number;
    transparent?: boolean;
    blending?: number;
    wireframe?: boolean;
    depthTest?: boolean;
    depthWrite?: boolean;
    fog?: boolean;
}

export class Material {
    constructor(look?: Look);
    color: Color;
}
export class LineBasicMaterial extends Material {}
export class MeshBasicMaterial extends Material {}
export class MeshLambertMaterial extends Material {}
export class MeshPhongMaterial extends Material {}
export class SpriteMaterial extends Material {}

export class Object3D {
    position: Vector3;
    rotation: Euler;
    quaternion: Quaternion;
    scale: Vector3;
    up: Vector3;
    visible: boolean;
    renderOrder: number;
    matrix: Matrix4;
    matrixAutoUpdate: boolean;
    matrixWorldNeedsUpdate: boolean;
    add(...objects: Object3D[]): this;
    lookAt(x: number, y: number, z: number): void;
    updateMatrixWorld(force: boolean): void;
}
export class Group extends Object3D {}
export class Scene extends Object3D {
    fog: Fog | null;
}
export class Fog {
    constructor(color: number, near: number, far: number);
}
export class Mesh extends Object3D {
    constructor(geometry: BufferGeometry, material: Material);
    geometry: BufferGeometry;
    material: Material;
}
export class LineSegments extends Object3D {
    constructor(geometry: BufferGeometry, material: Material);
}
export class Sprite extends Object3D {
    constructor(material: SpriteMaterial);
    material: SpriteMaterial;
}

export class AmbientLight extends Object3D {
    constructor(color: number, intensity: number);
}
export class DirectionalLight extends Object3D {
    constructor(color: number, intensity: number);
}
export class HemisphereLight extends Object3D {
    constructor(sky: number, ground: number, intensity: number);
}

export class PerspectiveCamera extends Object3D {
    constructor(fov: number, aspect: number, near: number, far: number);
    fov: number;
    aspect: number;
    updateProjectionMatrix(): void;
}

export class WebGLRenderer {
    constructor(options: {canvas: HTMLCanvasElement, context: WebGL2RenderingContext,
                          antialias: boolean, alpha: boolean});
    setPixelRatio(ratio: number): void;
    getSize(size: Vector2): Vector2;
    setSize(wide: number, tall: number, style: boolean): void;
    render(scene: Scene, camera: PerspectiveCamera): void;
}
