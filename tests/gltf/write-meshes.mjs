// Writes the glTF files that the mesh loader's tests read, with @gltf-transform/core: a widely used glTF
// writer that this project did not write, so the loader meets files as other tools lay them out.
//
//   node write-meshes.mjs <folder>
//
// Every case is <folder>/<case>.gltf with its own <case>.bin (and images) beside it. The numbers the tests
// check are the ones written here: keep the two in step.
import { Document, NodeIO, VertexLayout } from '@gltf-transform/core';
import path from 'node:path';
import fs from 'node:fs';
import zlib from 'node:zlib';

const folder = process.argv[2];
if (!folder) {
    console.error('usage: node write-meshes.mjs <folder>');
    process.exit(2);
}
fs.mkdirSync(folder, { recursive: true });

// A unit cube, 24 vertices (flat normals), 36 indices.
function cube(half = 0.5) {
    const faces = [
        [[1, 0, 0], [0, 1, 0], [0, 0, 1]], [[-1, 0, 0], [0, 0, 1], [0, 1, 0]],
        [[0, 1, 0], [0, 0, 1], [1, 0, 0]], [[0, -1, 0], [1, 0, 0], [0, 0, 1]],
        [[0, 0, 1], [1, 0, 0], [0, 1, 0]], [[0, 0, -1], [0, 1, 0], [1, 0, 0]],
    ];
    const positions = [], normals = [], uvs = [], indices = [];
    for (const [n, u, v] of faces) {
        const base = positions.length / 3;
        for (const [a, b] of [[-1, -1], [1, -1], [1, 1], [-1, 1]]) {
            for (let k = 0; k < 3; ++k) positions.push(half * (n[k] + a * u[k] + b * v[k]));
            normals.push(...n);
            uvs.push((a + 1) / 2, (b + 1) / 2);
        }
        indices.push(base, base + 1, base + 2, base, base + 2, base + 3);
    }
    return { positions: new Float32Array(positions), normals: new Float32Array(normals), uvs: new Float32Array(uvs), indices };
}

// A 2 x 2 PNG, RGBA: red, green, blue, white.
function png() {
    const crcTable = Array.from({ length: 256 }, (_, n) => {
        let c = n;
        for (let k = 0; k < 8; ++k) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
        return c >>> 0;
    });
    const crc = (bytes) => {
        let c = 0xffffffff;
        for (const b of bytes) c = crcTable[(c ^ b) & 0xff] ^ (c >>> 8);
        return (c ^ 0xffffffff) >>> 0;
    };
    const chunk = (type, data) => {
        const head = Buffer.alloc(8);
        head.writeUInt32BE(data.length, 0);
        head.write(type, 4, 'ascii');
        const tail = Buffer.alloc(4);
        tail.writeUInt32BE(crc(Buffer.concat([head.subarray(4), data])), 0);
        return Buffer.concat([head, data, tail]);
    };
    const header = Buffer.alloc(13);
    header.writeUInt32BE(2, 0);
    header.writeUInt32BE(2, 4);
    header.set([8, 6, 0, 0, 0], 8);
    const rows = Buffer.from([0, 255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 0, 255, 255, 255, 255, 255, 255]);
    return new Uint8Array(Buffer.concat([
        Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]),
        chunk('IHDR', header), chunk('IDAT', zlib.deflateSync(rows)), chunk('IEND', Buffer.alloc(0)),
    ]));
}

function start(name) {
    const doc = new Document();
    const buffer = doc.createBuffer(name).setURI(`${name}.bin`);
    const scene = doc.createScene(name);
    return { doc, buffer, scene };
}

function accessor(doc, buffer, type, array, normalized = false) {
    return doc.createAccessor().setType(type).setArray(array).setBuffer(buffer).setNormalized(normalized);
}

async function write(name, doc, layout = VertexLayout.SEPARATE) {
    const io = new NodeIO().setVertexLayout(layout);
    await io.write(path.join(folder, `${name}.gltf`), doc);
}

// crate: one node, one primitive, 16-bit indices, normals and UVs, a full metallic-roughness material.
async function crate() {
    const { doc, buffer, scene } = start('crate');
    const c = cube();
    const material = doc.createMaterial('wood').setBaseColorFactor([0.5, 0.25, 0.125, 1])
        .setMetallicFactor(0.25).setRoughnessFactor(0.75).setEmissiveFactor([0.1, 0.2, 0.3]);
    const prim = doc.createPrimitive()
        .setAttribute('POSITION', accessor(doc, buffer, 'VEC3', c.positions))
        .setAttribute('NORMAL', accessor(doc, buffer, 'VEC3', c.normals))
        .setAttribute('TEXCOORD_0', accessor(doc, buffer, 'VEC2', c.uvs))
        .setIndices(accessor(doc, buffer, 'SCALAR', new Uint16Array(c.indices)))
        .setMaterial(material);
    scene.addChild(doc.createNode('body').setMesh(doc.createMesh('crate').addPrimitive(prim)));
    await write('crate', doc);
}

// parts: a node without mesh; "hull" with two primitives (byte colours with TEXCOORD_1, float colours);
// "panel" whose material is named "screen" and has no base colour; "lamp" with a material that has no
// pbrMetallicRoughness at all (removed from the JSON after writing); and a textured "decal".
async function parts() {
    const { doc, buffer, scene } = start('parts');
    const c = cube();
    const count = c.positions.length / 3;
    const bytes = new Uint8Array(count * 4).map((_, i) => (i * 7) % 256);
    const floats = new Float32Array(count * 4).map((_, i) => (i % 4) / 4);
    const paint = doc.createMaterial('paint').setBaseColorFactor([0, 0.5, 1, 1]);
    const glass = doc.createMaterial('glass').setBaseColorFactor([1, 1, 1, 0.5]).setRoughnessFactor(0.125);
    const screen = doc.createMaterial('screen').setMetallicFactor(0.5);
    const light = doc.createMaterial('light').setEmissiveFactor([4, 3, 2]);
    const texture = doc.createTexture('grid').setImage(png()).setMimeType('image/png').setURI('parts-grid.png');
    const decalMaterial = doc.createMaterial('decal').setBaseColorTexture(texture);
    const indices = () => accessor(doc, buffer, 'SCALAR', new Uint16Array(c.indices));
    const primitive = (material) => doc.createPrimitive()
        .setAttribute('POSITION', accessor(doc, buffer, 'VEC3', c.positions))
        .setIndices(indices()).setMaterial(material);

    const byteColours = primitive(paint)
        .setAttribute('COLOR_0', accessor(doc, buffer, 'VEC4', bytes, true))
        .setAttribute('TEXCOORD_0', accessor(doc, buffer, 'VEC2', c.uvs))
        .setAttribute('TEXCOORD_1', accessor(doc, buffer, 'VEC2', c.uvs));
    const floatColours = primitive(glass).setAttribute('COLOR_0', accessor(doc, buffer, 'VEC4', floats));
    scene.addChild(doc.createNode('pivot'));
    scene.addChild(doc.createNode('hull').setMesh(doc.createMesh('hull').addPrimitive(byteColours).addPrimitive(floatColours)));
    scene.addChild(doc.createNode('panel').setMesh(doc.createMesh('panel').addPrimitive(primitive(screen))));
    scene.addChild(doc.createNode('lamp').setMesh(doc.createMesh('lamp').addPrimitive(primitive(light))));
    scene.addChild(doc.createNode('decal').setMesh(doc.createMesh('decal').addPrimitive(
        primitive(decalMaterial).setAttribute('TEXCOORD_0', accessor(doc, buffer, 'VEC2', c.uvs)))));
    await write('parts', doc);

    // The writer always gives a material pbrMetallicRoughness; a material without it is valid glTF too.
    const file = path.join(folder, 'parts.gltf');
    const json = JSON.parse(fs.readFileSync(file, 'utf8'));
    for (const m of json.materials) if (m.name === 'light') delete m.pbrMetallicRoughness;
    fs.writeFileSync(file, JSON.stringify(json));
}

// big: 70,000 vertices in a strip of triangles, 32-bit indices.
async function big() {
    const { doc, buffer, scene } = start('big');
    const vertices = 70000;
    const positions = new Float32Array(vertices * 3).map((_, i) => (i % 3 === 0 ? Math.floor(i / 6) : i % 3 === 1 ? (i / 3) % 2 : 0));
    const indices = new Uint32Array((vertices - 2) * 3);
    for (let t = 0; t < vertices - 2; ++t) indices.set([t, t + 1, t + 2], t * 3);
    const prim = doc.createPrimitive()
        .setAttribute('POSITION', accessor(doc, buffer, 'VEC3', positions))
        .setIndices(accessor(doc, buffer, 'SCALAR', indices))
        .setMaterial(doc.createMaterial('strip'));
    scene.addChild(doc.createNode('strip').setMesh(doc.createMesh('strip').addPrimitive(prim)));
    await write('big', doc);
}

// Files outside the subset, one fault each.
async function faults() {
    const c = cube();
    const make = async (name, build, layout) => {
        const { doc, buffer, scene } = start(name);
        const prim = doc.createPrimitive().setAttribute('POSITION', accessor(doc, buffer, 'VEC3', c.positions));
        build(doc, buffer, prim);
        scene.addChild(doc.createNode(name).setMesh(doc.createMesh(name).addPrimitive(prim)));
        await write(name, doc, layout);
    };
    const material = (doc) => doc.createMaterial('m');
    await make('byte-indices', (doc, buffer, prim) =>
        prim.setIndices(accessor(doc, buffer, 'SCALAR', new Uint8Array(c.indices))).setMaterial(material(doc)));
    await make('no-material', (doc, buffer, prim) =>
        prim.setIndices(accessor(doc, buffer, 'SCALAR', new Uint16Array(c.indices))));
    await make('short-colours', (doc, buffer, prim) =>
        prim.setAttribute('COLOR_0', accessor(doc, buffer, 'VEC4', new Uint16Array(96), true)).setMaterial(material(doc)));
    // Interleaved: position and normal share a view with a stride of 24.
    await make('interleaved', (doc, buffer, prim) =>
        prim.setAttribute('NORMAL', accessor(doc, buffer, 'VEC3', c.normals)).setMaterial(material(doc)),
        VertexLayout.INTERLEAVED);
}

await crate();
await parts();
await big();
await faults();
