"""Meshes that we write, read by other programs: coordinates, cells and their order.

usage: written_mesh.py medit_gmsh|medit_meshio|ensight_vtk|vtk_vtk WRITTEN_MESH

Works in the current folder. WRITTEN_MESH is our program that writes a file and tells what is in it.
"""

import collections
import subprocess
import sys
from pathlib import Path

program = sys.argv[2]

BAR2, BAR3, FACE_MIX, TRIA3, QUAD4, TRIA6, QUAD8, QUAD9 = 3, 4, 5, 6, 7, 8, 9, 10
SOLID_MIX, TETRA4, TETRA10, PYRA5, PYRA13, PYRA14 = 11, 12, 13, 14, 15, 16
PENTA6, PENTA15, PENTA18, HEXA8, HEXA20, HEXA27 = 17, 18, 19, 20, 21, 22
NAMES = {number: name for name, number in list(globals().items()) if name.isupper()}

# The cell that a client finds for an element, and the nodes of the element that are its nodes.
LINEAR = {
    **dict.fromkeys((BAR2, BAR3), ("line", range(2))),
    **dict.fromkeys((TRIA3, TRIA6), ("triangle", range(3))),
    **dict.fromkeys((QUAD4, QUAD8, QUAD9), ("quad", range(4))),
    **dict.fromkeys((TETRA4, TETRA10), ("tetra", range(4))),
    **dict.fromkeys((PYRA5, PYRA14), ("pyramid", range(5))),
    **dict.fromkeys((PENTA6, PENTA18), ("wedge", range(6))),
    **dict.fromkeys((HEXA8, HEXA20, HEXA27), ("hexahedron", range(8))),
}
MEDIT = {
    **LINEAR,
    **dict.fromkeys((PYRA5, PYRA14), ("hexahedron", (0, 1, 2, 3, 4, 4, 4, 4))),
    **dict.fromkeys((PENTA6, PENTA18), ("hexahedron", (0, 1, 2, 2, 3, 4, 5, 5))),
}
# VTK's reader keeps the corners of quadratic elements. Of three nodes of a line it takes the first
# and the last as the corners; of wedges and tetrahedra we and it change the order.
ENSIGHT = {
    **{type: LINEAR[type] for type in (BAR2, TRIA3, QUAD4, QUAD8, QUAD9, HEXA8, HEXA20, HEXA27)},
    BAR3: ("line", (0, 2)),
    **dict.fromkeys((TETRA4, TETRA10), ("tetra", (0, 2, 1, 3))),
    **dict.fromkeys((PENTA6, PENTA18), ("wedge", (0, 2, 1, 3, 5, 4))),
}
VTK = {**LINEAR, **dict.fromkeys((TETRA4, TETRA10), ("tetra", (0, 1, 3, 2)))}

VTK_CELLS = {2: "points", 3: "line", 5: "triangle", 9: "quad", 10: "tetra", 12: "hexahedron",
             13: "wedge", 14: "pyramid"}
GMSH_CELLS = {1: "line", 2: "triangle", 3: "quad", 4: "tetra", 5: "hexahedron"}

Element = collections.namedtuple("Element", "place type ids")


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def write(format, file, types):
    """Writes a file, and returns the nodes and elements that belong in it."""
    nodes, elements = [], []
    for line in run(program, format, file, *types).splitlines():
        word, *numbers = line.split()
        if word == "node":
            nodes.append(tuple(map(float, numbers)))
        else:
            place, type, *ids = map(int, numbers)
            elements.append(Element(place, type, ids))
    return nodes, elements


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}:\n{found}\nin place of\n{wanted}")


def cell(table, element):
    kind, nodes = table[element.type]
    return kind, tuple(element.ids[node] for node in nodes)


def medit_cells(elements):
    """Cells with their reference, by type; the order within a type stays."""
    written = sorted((e for e in elements if e.type in MEDIT), key=lambda e: e.type)
    return [(*cell(MEDIT, e), e.place) for e in written]


def read_by_meshio(file):
    import meshio

    mesh = meshio.read(file)
    cells = []
    for block, references in zip(mesh.cells, mesh.cell_data["medit:ref"]):
        for ids, reference in zip(block.data, references):
            cells.append((block.type, tuple(map(int, ids)), int(reference)))
    return [tuple(map(float, point)) for point in mesh.points], cells


def medit_meshio(types):
    nodes, elements = write("medit", "mesh.mesh", types)
    found_nodes, found = read_by_meshio("mesh.mesh")
    expect("nodes", found_nodes, nodes)
    expect("cells", found, medit_cells(elements))
    return len(found)


def read_by_gmsh(file):
    """All in gmsh's own order, cells by the coordinates of their nodes."""
    run("gmsh", file, "-save", "-format", "msh22", "-setnumber", "Mesh.SaveAll", 1, "-o", "out.msh")
    lines = iter(Path("out.msh").read_text().splitlines())

    def table(title):
        while next(lines) != title:
            pass
        return [next(lines).split() for _ in range(int(next(lines)))]

    nodes = {row[0]: tuple(map(float, row[1:])) for row in table("$Nodes")}
    cells = []
    for row in table("$Elements"):
        _, kind, nbr_tags, _, reference, *ids = row
        expect("tags", nbr_tags, "2")
        cells.append((GMSH_CELLS[int(kind)], tuple(nodes[id] for id in ids), int(reference)))
    return list(nodes.values()), cells


def medit_gmsh(types):
    nodes, elements = write("medit", "mesh.mesh", types)
    found_nodes, found = read_by_gmsh("mesh.mesh")
    cells = medit_cells(elements)
    used = {id for _, ids, _ in cells for id in ids}
    wanted = [(kind, tuple(nodes[id] for id in ids), reference) for kind, ids, reference in cells]
    expect("nodes", [node for node in nodes if node not in found_nodes],
           [node for id, node in enumerate(nodes) if id not in used])
    expect("cells", sorted(found), sorted(wanted))
    return len(found)


def contents_of_grid(grid):
    from vtkmodules.vtkCommonCore import vtkIdList

    points = [grid.GetPoint(k) for k in range(grid.GetNumberOfPoints())]
    cells = []
    ids = vtkIdList()
    for k in range(grid.GetNumberOfCells()):
        grid.GetCellPoints(k, ids)
        nodes = tuple(ids.GetId(i) for i in range(ids.GetNumberOfIds()))
        cells.append((VTK_CELLS[grid.GetCellType(k)], nodes))
    return points, cells


def ensight_vtk(types):
    from vtkmodules.vtkIOEnSight import vtkGenericEnSightReader

    nodes, elements = write("ensight", "mesh.geo", types)
    Path("mesh.case").write_text("FORMAT\ntype: ensight\nGEOMETRY\nmodel: mesh.geo\n")
    reader = vtkGenericEnSightReader()
    reader.SetCaseFileName("mesh.case")
    reader.Update()
    parts = reader.GetOutput()

    mixed = [place for place, type in enumerate(types) if type in (FACE_MIX, SOLID_MIX)]
    wanted = {}
    for e in elements:
        if e.type in ENSIGHT and e.place not in mixed:
            wanted.setdefault(e.place, []).append(cell(ENSIGHT, e))
    expect("number of parts", parts.GetNumberOfBlocks(), len(wanted))
    for block, cells in enumerate(wanted.values()):
        found_nodes, found = contents_of_grid(parts.GetBlock(block))
        expect("nodes", found_nodes, nodes)
        expect("cells", found, cells)
    return sum(map(len, wanted.values()))


def vtk_vtk(types):
    from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader

    nodes, elements = write("vtk", "mesh.vtk", types)
    reader = vtkUnstructuredGridReader()
    reader.SetFileName("mesh.vtk")
    reader.Update()
    found_nodes, found = contents_of_grid(reader.GetOutput())

    wanted = []
    mixed = [place for place, type in enumerate(types) if type in (FACE_MIX, SOLID_MIX)]
    for e in sorted(elements, key=lambda e: (e.place, -len(e.ids) if e.place in mixed else 0)):
        kind, ids = cell(VTK, e)
        wanted.append((kind, ids))
        if len(e.ids) > len(ids):
            wanted.append(("points", tuple(e.ids[len(ids):])))
    expect("nodes", found_nodes, nodes)
    expect("cells", found, wanted)
    return len(found)


LEFT_OUT = [PYRA13, PENTA15]
EVERY_TYPE = {
    "medit_meshio": [*MEDIT, FACE_MIX, SOLID_MIX],
    "medit_gmsh": [*MEDIT, FACE_MIX, SOLID_MIX],
    "ensight_vtk": [*ENSIGHT],
    "vtk_vtk": [*VTK, FACE_MIX, SOLID_MIX],
}
ALL_TOGETHER = {
    "medit_meshio": LEFT_OUT,
    "medit_gmsh": LEFT_OUT,
    "ensight_vtk": [*LEFT_OUT, FACE_MIX, SOLID_MIX, PYRA5, PYRA14],
    "vtk_vtk": [],
}

exchange = sys.argv[1]
for type in EVERY_TYPE[exchange]:
    print(f"{NAMES[type]}: {globals()[exchange]([type])} cells")
everything = ALL_TOGETHER[exchange] + EVERY_TYPE[exchange]
print(f"in one file: {globals()[exchange](everything)} cells")
