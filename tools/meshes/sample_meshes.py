#!/usr/bin/env python3
"""Writes the sample module's meshes: one glTF per entity type, beside its entity config.

    python3 tools/meshes/sample_meshes.py [modules/Planet/entities]

For every <type>.conf in the folder it writes <type>.gltf and <type>.bin there, where the entity config
looks for its model (same folder, same stem). The model is one node named after the config's RENDERABLE
section, with one box per COLLIDER: 24 vertices with flat normals and texture coordinates, 36 16-bit
indices, and one material per mesh (the colour below). Boxes are converted from the config's Z-up
(x, y, z) to the game's Y-up (x, z, -y), as the config reader does.

The files stay within the subset the game's mesh loader reads: a .bin file beside the .gltf, tightly
packed arrays, all in one buffer, a material on every primitive.
"""
import json
import os
import re
import struct
import sys

# Material of each type: base colour, metallic, roughness.
MATERIALS = {
    "crate": ([0.55, 0.38, 0.2, 1.0], 0.0, 0.8),
    "rover": ([0.8, 0.75, 0.7, 1.0], 0.6, 0.4),
    "wheel": ([0.1, 0.1, 0.1, 1.0], 0.0, 0.9),
    "glider": ([0.9, 0.9, 0.95, 1.0], 0.2, 0.3),
    "tank": ([0.6, 0.65, 0.7, 1.0], 0.9, 0.25),
}
DEFAULT_MATERIAL = ([0.7, 0.7, 0.7, 1.0], 0.0, 0.5)


def read_config(path):
    """The RENDERABLE's name and the COLLIDER boxes (Z-up, as written) of one entity config."""
    renderable, boxes, section, box = None, [], None, {}
    with open(path) as text:
        for line in text:
            line = line.split("#", 1)[0].strip()
            header = re.match(r"^\[(\w+)\s+(.*?)\s*\]$", line)
            if header:
                if section == "COLLIDER" and "box_min" in box and "box_max" in box:
                    boxes.append((box["box_min"], box["box_max"]))
                section, box = header.group(1), {}
                if section == "RENDERABLE" and renderable is None:
                    renderable = header.group(2)
                continue
            words = line.split()
            if section == "COLLIDER" and words and words[0] in ("box_min", "box_max"):
                box[words[0]] = [float(w) for w in words[1:4]]
    if section == "COLLIDER" and "box_min" in box and "box_max" in box:
        boxes.append((box["box_min"], box["box_max"]))
    return renderable, boxes


def y_up(p):
    return (p[0], p[2], -p[1])


def box_arrays(zmin, zmax):
    """24 vertices (4 per face), normals, UVs and 36 indices of a box given by two Z-up corners."""
    a, b = y_up(zmin), y_up(zmax)
    lo = [min(a[i], b[i]) for i in range(3)]
    hi = [max(a[i], b[i]) for i in range(3)]
    positions, normals, uvs, indices = [], [], [], []
    for axis in range(3):
        for sign in (1, -1):
            u, v = (axis + 1) % 3, (axis + 2) % 3
            if sign < 0:
                u, v = v, u  # keep the winding counter-clockwise seen from outside
            base = len(positions)
            for cu, cv in ((0, 0), (1, 0), (1, 1), (0, 1)):
                p = [0.0, 0.0, 0.0]
                p[axis] = hi[axis] if sign > 0 else lo[axis]
                p[u] = hi[u] if cu else lo[u]
                p[v] = hi[v] if cv else lo[v]
                n = [0.0, 0.0, 0.0]
                n[axis] = float(sign)
                positions.append(p)
                normals.append(n)
                uvs.append([float(cu), float(cv)])
            indices += [base, base + 1, base + 2, base, base + 2, base + 3]
    return positions, normals, uvs, indices


def write_mesh(folder, stem, node_name, boxes):
    blob = bytearray()
    views, accessors, primitives = [], [], []

    def add(data, fmt, count, kind, component, target, minmax=None):
        while len(blob) % 4:
            blob.append(0)
        views.append({"buffer": 0, "byteOffset": len(blob), "byteLength": len(data), "target": target})
        blob.extend(data)
        accessor = {"bufferView": len(views) - 1, "componentType": component, "count": count, "type": kind}
        if minmax:
            accessor["min"], accessor["max"] = minmax
        accessors.append(accessor)
        return len(accessors) - 1

    for zmin, zmax in boxes:
        positions, normals, uvs, indices = box_arrays(zmin, zmax)
        flat = lambda rows: [x for row in rows for x in row]
        lo = [min(p[i] for p in positions) for i in range(3)]
        hi = [max(p[i] for p in positions) for i in range(3)]
        attributes = {
            "POSITION": add(struct.pack("<%df" % (3 * len(positions)), *flat(positions)), None, len(positions),
                            "VEC3", 5126, 34962, (lo, hi)),
            "NORMAL": add(struct.pack("<%df" % (3 * len(normals)), *flat(normals)), None, len(normals), "VEC3",
                          5126, 34962),
            "TEXCOORD_0": add(struct.pack("<%df" % (2 * len(uvs)), *flat(uvs)), None, len(uvs), "VEC2", 5126, 34962),
        }
        index = add(struct.pack("<%dH" % len(indices), *indices), None, len(indices), "SCALAR", 5123, 34963)
        primitives.append({"attributes": attributes, "indices": index, "material": 0})

    color, metallic, roughness = MATERIALS.get(stem, DEFAULT_MATERIAL)
    gltf = {
        "asset": {"version": "2.0", "generator": "Orkalin tools/meshes/sample_meshes.py"},
        "scene": 0,
        "scenes": [{"nodes": [0]}],
        "nodes": [{"name": node_name, "mesh": 0}],
        "meshes": [{"name": stem, "primitives": primitives}],
        "materials": [{"name": stem, "pbrMetallicRoughness": {"baseColorFactor": color, "metallicFactor": metallic,
                                                              "roughnessFactor": roughness}}],
        "buffers": [{"uri": stem + ".bin", "byteLength": len(blob)}],
        "bufferViews": views,
        "accessors": accessors,
    }
    with open(os.path.join(folder, stem + ".bin"), "wb") as out:
        out.write(blob)
    with open(os.path.join(folder, stem + ".gltf"), "w") as out:
        json.dump(gltf, out, indent=1)
        out.write("\n")


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "..", "modules", "Planet", "entities")
    for name in sorted(os.listdir(folder)):
        if not name.endswith(".conf"):
            continue
        stem = name[:-5]
        renderable, boxes = read_config(os.path.join(folder, name))
        if renderable is None or not boxes:
            print("skipped %s: no RENDERABLE or no COLLIDER box" % name)
            continue
        write_mesh(folder, stem, renderable, boxes)
        print("wrote %s.gltf (%d boxes, node %s)" % (stem, len(boxes), renderable))


if __name__ == "__main__":
    main()
