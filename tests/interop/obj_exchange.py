"""OBJ files from other programs, and OBJ files for other programs: coordinates and faces.

usage: obj_exchange.py to_assimp|to_meshio|to_vtk|from_assimp|from_meshio OBJ_MESH

Works in the current folder. OBJ_MESH is our program that reads and writes OBJ files.
"""

import subprocess
import sys
from pathlib import Path

program = sys.argv[2]

KINDS = ("plain", "textures", "normals", "both")


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class Mesh:
    def __init__(self, nodes=(), textures=(), normals=(), faces=()):
        self.nodes, self.textures = list(nodes), list(textures)
        self.normals, self.faces = list(normals), list(faces)


def ours(*arguments):
    mesh = Mesh()
    for line in run(program, *arguments).splitlines():
        word, *numbers = line.split()
        if word == "face":
            mesh.faces.append(tuple(map(int, numbers)))
        else:
            getattr(mesh, word + "s").append(tuple(map(float, numbers)))
    return mesh


def tuples(rows, kind=float):
    return [tuple(map(kind, row)) for row in rows]


def expect(what, found, wanted):
    if found != wanted or not wanted:
        sys.exit(f"{what}:\n{found}\nin place of\n{wanted}")


def places(mesh, faces=None):
    """The faces by the coordinates of their nodes."""
    return [tuple(mesh.nodes[id] for id in face) for face in faces or mesh.faces]


# ---- PLY, which assimp reads and writes as well


def write_ply(file, mesh, with_normals, with_textures):
    columns = ["x", "y", "z"]
    columns += ["nx", "ny", "nz"] if with_normals else []
    columns += ["s", "t"] if with_textures else []
    lines = ["ply", "format ascii 1.0", f"element vertex {len(mesh.nodes)}"]
    lines += [f"property float {column}" for column in columns]
    lines += [f"element face {len(mesh.faces)}", "property list uchar int vertex_index", "end_header"]
    for place, node in enumerate(mesh.nodes):
        row = [*node]
        row += mesh.normals[place] if with_normals else []
        row += mesh.textures[place] if with_textures else []
        lines.append(" ".join(map(str, row)))
    lines += [" ".join(map(str, (len(face), *face))) for face in mesh.faces]
    Path(file).write_text("\n".join(lines) + "\n")


def read_ply(file):
    """Each corner has a vertex of its own."""
    lines = iter(Path(file).read_text().splitlines())
    count, columns = {}, []
    for line in lines:
        words = line.split()
        if words[0] == "element":
            count[words[1]] = int(words[2])
        elif words[0] == "property" and words[1] == "float":
            columns.append(words[2])
        elif words[0] == "end_header":
            break
    rows = [dict(zip(columns, map(float, next(lines).split()))) for _ in range(count["vertex"])]
    faces = [tuple(map(int, next(lines).split()))[1:] for _ in range(count["face"])]

    def part(*names):
        return [tuple(row[name] for name in names) for row in rows if names[0] in row]

    return Mesh(part("x", "y", "z"), part("s", "t"), part("nx", "ny", "nz"), faces)


# ---- Each with each


def to_assimp():
    for kind in KINDS:
        wanted = ours("write", "mesh.obj", kind)
        run("assimp", "export", "mesh.obj", "out.ply")
        found = read_ply("out.ply")
        expect("faces", places(found), places(wanted))
        for what in ("textures", "normals"):
            if getattr(wanted, what):
                corners = [getattr(wanted, what)[id] for face in wanted.faces for id in face]
                at_corners = [getattr(found, what)[id] for face in found.faces for id in face]
                expect(what, at_corners, corners)
        print(f"{kind}: {len(found.faces)} faces")


def to_meshio():
    import meshio

    for kind in KINDS:
        wanted = ours("write", "mesh.obj", kind)
        found = meshio.read("mesh.obj")
        expect("nodes", tuples(found.points), wanted.nodes)
        expect("faces", [face for block in found.cells for face in tuples(block.data, int)], wanted.faces)
        if wanted.textures:
            expect("textures", tuples(found.point_data["obj:vt"]), wanted.textures)
        if wanted.normals:
            expect("normals", tuples(found.point_data["obj:vn"]), wanted.normals)
        print(f"{kind}: {len(wanted.faces)} faces")


def to_vtk():
    from vtkmodules.vtkCommonCore import vtkIdList
    from vtkmodules.vtkIOGeometry import vtkOBJReader

    for kind in KINDS:
        if kind == "textures":
            continue  # VTK takes no corners of the form 3/3/
        wanted = ours("write", "mesh.obj", kind)
        reader = vtkOBJReader()
        reader.SetFileName("mesh.obj")
        reader.Update()
        found = reader.GetOutput()
        expect("nodes", [found.GetPoint(k) for k in range(found.GetNumberOfPoints())], wanted.nodes)
        faces, ids = [], vtkIdList()
        for cell in range(found.GetNumberOfCells()):
            found.GetCellPoints(cell, ids)
            faces.append(tuple(ids.GetId(k) for k in range(ids.GetNumberOfIds())))
        expect("faces", faces, wanted.faces)
        data = found.GetPointData()
        for what, array in (("textures", data.GetTCoords()), ("normals", data.GetNormals())):
            if getattr(wanted, what):
                rows = [array.GetTuple(k) for k in range(array.GetNumberOfTuples())]
                expect(what, [row[:len(wanted.textures[0])] if what == "textures" else row
                              for row in rows], getattr(wanted, what))
        print(f"{kind}: {len(faces)} faces")


def some_mesh():
    """Triangles and quadrangles, mixed, on nodes that are all in use."""
    mesh = Mesh()
    for k in range(40):
        mesh.nodes.append((0.25 * k - 4, 0.5 * (k * k % 11), 0.125 * (k * 7 % 17)))
        mesh.textures.append((0.03125 * k, 0.25))
        mesh.normals.append(tuple((1.0 - k % 2 * 2) * (axis == k % 3) for axis in range(3)))
        mesh.faces.append(tuple((7 * i + 3 * k) % 40 for i in range(4 if k % 5 == 0 else 3)))
    return mesh


def by_size(faces):
    """Ours come triangles first."""
    return sorted(faces, key=len)


def from_assimp():
    """assimp numbers nodes by their first use in a face, and normals and textures apart from them."""
    wanted = some_mesh()
    for with_normals in (False, True):
        for with_textures in (False, True):
            write_ply("mesh.ply", wanted, with_normals, with_textures)
            run("assimp", "export", "mesh.ply", "mesh.obj")
            found = ours("read", "mesh.obj")
            expect("nodes", sorted(found.nodes), sorted(wanted.nodes))
            expect("faces", by_size(places(found)), by_size(places(wanted)))
            if with_textures:
                three = [(*texture, 0.0) for texture in wanted.textures]
                expect("textures", sorted(found.textures), sorted(three))
            if with_normals:
                expect("normals", sorted(found.normals), sorted(set(wanted.normals)))
            print(f"normals {with_normals}, textures {with_textures}: {len(found.faces)} faces")


def from_meshio():
    import meshio
    import numpy

    wanted = some_mesh()
    for data in ({}, {"obj:vt": wanted.textures}, {"obj:vn": wanted.normals},
                 {"obj:vt": wanted.textures, "obj:vn": wanted.normals}):
        blocks = [(name, numpy.array([face for face in wanted.faces if len(face) == size]))
                  for name, size in (("triangle", 3), ("quad", 4))]
        meshio.Mesh(numpy.array(wanted.nodes), blocks,
                    point_data={name: numpy.array(rows) for name, rows in data.items()}
                    ).write("mesh.obj")
        found = ours("read", "mesh.obj")
        expect("nodes", found.nodes, wanted.nodes)
        expect("faces", found.faces, by_size(wanted.faces))
        if "obj:vt" in data:
            expect("textures", found.textures, wanted.textures)
        if "obj:vn" in data:
            expect("normals", found.normals, wanted.normals)
        print(f"{', '.join(data) or 'plain'}: {len(found.faces)} faces")


globals()[sys.argv[1]]()
