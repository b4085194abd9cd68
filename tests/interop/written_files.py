"""Files of `write_mesh`, read by other programs: counts, box, volume, area and fields.

usage: written_files.py gmsh|meshio|vtk WRITE_FILE

Works in the current folder. WRITE_FILE is our program that writes a file and tells what is in it.
"""

import math
import subprocess
import sys
from pathlib import Path

import numpy

program = sys.argv[2]

# Numbers of our element types.
NODE, BAR2, BAR3, TRIA3, QUAD4, TRIA6, QUAD8, QUAD9 = 1, 3, 4, 6, 7, 8, 9, 10
TETRA4, TETRA10, PYRA5, PYRA13 = 12, 13, 14, 15
PENTA6, PENTA15, PENTA18, HEXA8, HEXA20, HEXA27 = 17, 18, 19, 20, 21, 22

LINEAR = [BAR2, TRIA3, QUAD4, TETRA4, PYRA5, PENTA6, HEXA8]
VTK_TYPES = {1: NODE, 3: BAR2, 5: TRIA3, 9: QUAD4, 10: TETRA4, 12: HEXA8, 13: PENTA6, 14: PYRA5,
             21: BAR3, 22: TRIA6, 23: QUAD8, 24: TETRA10, 25: HEXA20, 26: PENTA15, 27: PYRA13,
             28: QUAD9, 29: HEXA27, 32: PENTA18}
MESHIO_TYPES = {"vertex": NODE, "line": BAR2, "line3": BAR3, "triangle": TRIA3, "quad": QUAD4,
                "triangle6": TRIA6, "quad8": QUAD8, "quad9": QUAD9, "tetra": TETRA4,
                "tetra10": TETRA10, "pyramid": PYRA5, "pyramid13": PYRA13, "wedge": PENTA6,
                "wedge15": PENTA15, "wedge18": PENTA18, "hexahedron": HEXA8, "hexahedron20": HEXA20,
                "hexahedron27": HEXA27}


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def write(file, types, fields):
    """Writes a file, and returns what is in it."""
    wanted = {"types": {}, "fields": {}}
    for line in run(program, file, "fields" if fields else "no_fields", *types).splitlines():
        word, *rest = line.split()
        if word == "type":
            wanted["types"][int(rest[0])] = int(rest[1])
        elif word == "field":
            wanted["fields"][rest[0]] = (int(rest[1]), int(rest[2]), float(rest[3]))
        else:
            wanted[word] = [float(number) for number in rest]
    return wanted


def is_close(a, b):
    if isinstance(a, dict):
        return a.keys() == b.keys() and all(is_close(a[key], b[key]) for key in a)
    if isinstance(a, (list, tuple)):
        return len(a) == len(b) and all(map(is_close, a, b))
    return math.isclose(a, b, rel_tol=1e-6, abs_tol=1e-6)


def expect(file, found, wanted):
    for what, value in found.items():
        if not is_close(value, wanted[what]):
            sys.exit(f"{file}: {what}: {value} in place of {wanted[what]}")
    told = {what: value for what, value in found.items() if what != "box"}
    print(f"{file}: {told}")


def box(points):
    return [float(x) for pair in zip(numpy.min(points, 0), numpy.max(points, 0)) for x in pair]


# Tetrahedra that fill the linear cells of VTK, with a positive determinant.
PARTS = {TETRA4: [(0, 1, 2, 3)],
         PYRA5: [(0, 1, 2, 4), (0, 2, 3, 4)],
         PENTA6: [(0, 2, 1, 3), (1, 3, 5, 4), (1, 2, 5, 3)],
         HEXA8: [(0, 1, 2, 5), (0, 2, 7, 5), (0, 2, 3, 7), (0, 5, 7, 4), (2, 7, 5, 6)]}
CORNERS = {TETRA10: TETRA4, PYRA13: PYRA5, PENTA15: PENTA6, PENTA18: PENTA6, HEXA20: HEXA8,
           HEXA27: HEXA8, TRIA6: TRIA3, QUAD8: QUAD4, QUAD9: QUAD4}


def measures(points, cells):
    """Volume and area of cells of our types with VTK's order of corners. Volumes have signs."""
    volume = area = 0.0
    for type, ids in cells:
        corners = CORNERS.get(type, type)
        p = [numpy.array(points[k], float) for k in ids]
        for part in PARTS.get(corners, []):
            a, b, c, d = (p[k] for k in part)
            volume += float(numpy.dot(numpy.cross(b - a, c - a), d - a)) / 6
        for part in {TRIA3: [(0, 1, 2)], QUAD4: [(0, 1, 2), (0, 2, 3)]}.get(corners, []):
            a, b, c = (p[k] for k in part)
            area += float(numpy.linalg.norm(numpy.cross(b - a, c - a))) / 2
    return {"volume": [volume], "area": [area]}


def count(types):
    return {type: types.count(type) for type in set(types)}


def contents(points, cells):
    return {"nodes": [len(points)], "box": box(points), "types": count([t for t, _ in cells]),
            **measures(points, cells)}


# VTK.


def edges_and_facets(file, grid, k):
    """Middle nodes of edges are there, and facets of solids look out of them."""
    cell = grid.GetCell(k)
    for e in range(cell.GetNumberOfEdges()):
        points = cell.GetEdge(e).GetPoints()
        if points.GetNumberOfPoints() == 3:
            a, b, middle = (numpy.array(points.GetPoint(i)) for i in range(3))
            if numpy.abs(a + b - 2 * middle).max() > 1e-9:
                sys.exit(f"{file}: cell {k}: a node is not at the middle of edge {e}")
    if cell.GetCellDimension() < 3:
        return
    all_points = [numpy.array(cell.GetPoints().GetPoint(i)) for i in range(cell.GetNumberOfPoints())]
    centre = sum(all_points) / len(all_points)
    for f in range(cell.GetNumberOfFaces()):
        facet = cell.GetFace(f).GetPoints()
        a, b, c = (numpy.array(facet.GetPoint(i)) for i in range(3))
        if numpy.dot(numpy.cross(b - a, c - a), a - centre) <= 0:
            sys.exit(f"{file}: cell {k}: facet {f} looks into it")


def vtk_contents(file, grid, is_grid):
    points = [grid.GetPoint(k) for k in range(grid.GetNumberOfPoints())]
    cells = []
    for k in range(grid.GetNumberOfCells()):
        ids = grid.GetCell(k).GetPointIds()
        cells.append((VTK_TYPES[grid.GetCellType(k)], [ids.GetId(i) for i in range(ids.GetNumberOfIds())]))
        edges_and_facets(file, grid, k)
    found = contents(points, cells)
    if is_grid:
        found["fields"] = {}
        for place, data in ((0, grid.GetPointData()), (1, grid.GetCellData())):
            for k in range(data.GetNumberOfArrays()):
                array = data.GetArray(k)
                rows = array.GetNumberOfComponents()
                total = sum(sum(array.GetTuple(i)) for i in range(array.GetNumberOfTuples()))
                if array.GetName() != "property":
                    found["fields"][array.GetName()] = (place, rows, total)
        properties = grid.GetCellData().GetArray("property")
        for k in range(grid.GetNumberOfCells()):
            if properties.GetTuple1(k) != 10 + k % 3:
                sys.exit(f"{file}: the property of cell {k} is {properties.GetTuple1(k)}")
    return found


def with_reader(reader, file):
    reader.SetFileName(file)
    reader.Update()
    return reader.GetOutput()


def by_vtk():
    from vtkmodules.vtkIOGeometry import vtkOBJReader, vtkSTLReader
    from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader
    from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader

    for file, reader in (("mesh.vtk", vtkUnstructuredGridReader), ("mesh.vtu", vtkXMLUnstructuredGridReader)):
        wanted = write(file, VTK_TYPES.values(), True)
        expect(file, vtk_contents(file, with_reader(reader(), file), True), wanted)
    wanted = write("mesh.stl", [TRIA3], False)
    expect("mesh.stl", vtk_contents("mesh.stl", with_reader(vtkSTLReader(), "mesh.stl"), False), wanted)
    wanted = write("mesh.obj", [TRIA3, QUAD4], False)
    grid = with_reader(vtkOBJReader(), "mesh.obj")
    found = {"nodes": [grid.GetNumberOfPoints()], "box": list(grid.GetBounds())}
    found["types"] = {TRIA3: 2, QUAD4: grid.GetNumberOfCells() - 2}
    expect("mesh.obj", found, wanted)


# meshio.


def by_meshio():
    import meshio

    # Some of its versions know the names of all cells, but can't read them.
    known = [type for name, type in MESHIO_TYPES.items() if name in meshio._mesh.topological_dimension]
    for file, types in (("mesh.vtk", known), ("mesh.vtu", known), ("mesh.mesh", LINEAR), ("mesh.stl", [TRIA3]), ("mesh.obj", [TRIA3, QUAD4])):
        has_fields = file in ("mesh.vtk", "mesh.vtu")
        wanted = write(file, types, has_fields)
        mesh = meshio.read(file)
        # Its linear wedges look the other way than those of VTK, and it turns them in files of VTK.
        cells = [(MESHIO_TYPES[block.type], ids[[0, 2, 1, 3, 5, 4]] if block.type == "wedge" else ids)
                 for block in mesh.cells for ids in block.data]
        found = contents(mesh.points, cells)
        if has_fields:
            found["fields"] = {name: (0, values.size // len(mesh.points), float(values.sum()))
                               for name, values in mesh.point_data.items()}
            stress = sum(float(values.sum()) for values in mesh.cell_data["stress"])
            found["fields"]["stress"] = (1, 1, stress)
        expect(file, found, wanted)


# gmsh.


GMSH_CELLS = {1: BAR2, 2: TRIA3, 3: QUAD4, 4: TETRA4, 5: HEXA8, 6: PENTA6, 7: PYRA5, 8: BAR3,
              9: TRIA6, 11: TETRA10, 15: NODE}


def read_by_gmsh(file):
    run("gmsh", file, "-save", "-format", "msh22", "-setnumber", "Mesh.SaveAll", 1, "-o", "out.msh")
    lines = iter(Path("out.msh").read_text().splitlines())

    def table(title):
        while next(lines) != title:
            pass
        return [next(lines).split() for _ in range(int(next(lines)))]

    nodes = {row[0]: [float(x) for x in row[1:]] for row in table("$Nodes")}
    places = {tag: k for k, tag in enumerate(nodes)}
    cells = []
    for row in table("$Elements"):
        ids = [places[tag] for tag in row[3 + int(row[2]):]]
        cells.append((GMSH_CELLS[int(row[1])], ids))
    return contents(list(nodes.values()), cells)


def by_gmsh():
    for file, types in (("mesh.mesh", [BAR2, TRIA3, QUAD4, TETRA4, HEXA8, BAR3, TRIA6, TETRA10]),
                        ("mesh.vtk", LINEAR), ("mesh.stl", [TRIA3])):
        wanted = write(file, types, False)
        expect(file, read_by_gmsh(file), wanted)


{"gmsh": by_gmsh, "meshio": by_meshio, "vtk": by_vtk}[sys.argv[1]]()
