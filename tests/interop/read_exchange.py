"""Meshes that other programs write, read by us.

usage: read_exchange.py gmsh|meshio|vtk READ_FILE

Works in the current folder. READ_FILE is our program that tells what it finds in a file.
"""

import itertools
import re
import subprocess
import sys
from pathlib import Path

program = sys.argv[2]

# Numbers of our element types.
NODE, BAR2, BAR3, TRIA3, QUAD4, TRIA6, QUAD8, QUAD9 = 1, 3, 4, 6, 7, 8, 9, 10
TETRA4, TETRA10, PYRA5, PYRA13 = 12, 13, 14, 15
PENTA6, PENTA15, PENTA18, HEXA8, HEXA20, HEXA27 = 17, 18, 19, 20, 21, 22


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def ours(file):
    """What our program says of a file."""
    found = {"types": {}, "fields": {}, "remarks": []}
    for line in run(program, file).splitlines():
        word, rest = line.split(" ", 1)
        if word == "type":
            number, count = rest.split()
            found["types"][int(number)] = int(count)
        elif word == "field":
            name, place, rows, total = rest.rsplit(" ", 3)
            found["fields"][name] = (int(place), int(rows), float(total))
        elif word == "remark":
            found["remarks"].append(rest)
        else:
            found[word] = [float(number) for number in rest.split()]
    return found


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}: {found} in place of {wanted}")


UNIT_BOX = [0, 1, 0, 1, 0, 1]


def expect_mesh(file, nbr_nodes, types, fields):
    found = ours(file)
    expect(f"{file}: nodes", found["nodes"], [nbr_nodes])
    expect(f"{file}: box", found["box"], UNIT_BOX)
    expect(f"{file}: types", found["types"], types)
    expect(f"{file}: inverted", found["inverted"], [0])
    if found["off"][0] > 1e-6:
        sys.exit(f"{file}: a mid-edge node is {found['off'][0]} off")
    expect(f"{file}: fields", found["fields"], fields)
    print(f"{file}: {nbr_nodes} nodes, {types}, {sorted(fields)}")
    return found["remarks"]


def reads_compressed(file, write):
    """Writes a compressed file; false if our program, built without zlib, says that it can't."""
    write(file)
    done = subprocess.run([program, file], capture_output=True, text=True)
    if done.returncode == 0 or "built without zlib" not in done.stdout + done.stderr:
        return True
    print(f"{file}: compressed files are not read")
    return False


def counts_in_medit(file):
    """Nodes and elements by the counts that follow the keywords."""
    words = Path(file).read_text().split()
    keywords = {"Edges": BAR2, "Triangles": TRIA3, "Tetrahedra": TETRA4, "EdgesP2": BAR3,
                "TrianglesP2": TRIA6, "TetrahedraP2": TETRA10, "Quadrilaterals": QUAD4,
                "Hexahedra": HEXA8}
    counts = {keywords[word]: int(words[k + 1]) for k, word in enumerate(words) if word in keywords}
    return int(words[words.index("Vertices") + 1]), counts


def counts_in_vtk(file):
    """Points and cells of a legacy file, by VTK's reader."""
    from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader

    reader = vtkUnstructuredGridReader()
    reader.SetFileName(str(file))
    reader.Update()
    grid = reader.GetOutput()
    cells = [grid.GetCellType(k) for k in range(grid.GetNumberOfCells())]
    types = {cell: cells.count(cell) for cell in set(cells)}
    return grid.GetNumberOfPoints(), {VTK_TYPES[cell]: n for cell, n in types.items()}


VTK_TYPES = {1: NODE, 3: BAR2, 5: TRIA3, 9: QUAD4, 10: TETRA4, 12: HEXA8, 13: PENTA6, 14: PYRA5,
             21: BAR3, 22: TRIA6, 23: QUAD8, 24: TETRA10, 25: HEXA20, 26: PENTA15, 27: PYRA13,
             28: QUAD9, 29: HEXA27, 32: PENTA18}


def counts_in_deck(file):
    """Nodes and elements by their cards. All solids are quadratic if a face is."""
    names = [re.split("[ ,*]", line)[0] for line in Path(file).read_text().splitlines()]
    is_quadratic = "CTRIA6" in names or "CQUAD8" in names
    keywords = {"CBAR": BAR2, "CTRIA3": TRIA3, "CTRIA6": TRIA6, "CQUAD4": QUAD4, "CQUAD8": QUAD8,
                "CPYRA": PYRA5, "CPYRAM": PYRA5,
                "CTETRA": TETRA10 if is_quadratic else TETRA4,
                "CPENTA": PENTA15 if is_quadratic else PENTA6,
                "CHEXA": HEXA20 if is_quadratic else HEXA8}
    types = [keywords[name] for name in names if name in keywords]
    return names.count("GRID"), {type: types.count(type) for type in types}


def counts_in_stl(file):
    """Different corners and facets of a text file."""
    lines = [line.split() for line in Path(file).read_text().splitlines()]
    corners = {tuple(map(float, line[1:])) for line in lines if line[0] == "vertex"}
    return len(corners), {TRIA3: sum(line[0] == "facet" for line in lines)}


def from_gmsh():
    square = """Point(1)={0,0,0,0.6};Point(2)={1,0,0,0.6};Point(3)={1,1,0,0.6};Point(4)={0,1,0,0.6};
Line(1)={1,2};Line(2)={2,3};Line(3)={3,4};Line(4)={4,1};Line Loop(1)={1:4};Plane Surface(1)={1};
"""
    models = {
        "tetra": square + "Extrude{0,0,1}{Surface{1};}\n",
        "wedge": square + "Extrude{0,0,1}{Surface{1};Layers{2};Recombine;}\n",
        "hexa": square + "Transfinite Line{1:4}=3;\nTransfinite Surface{1};\nRecombine Surface{1};\n"
        "Extrude{0,0,1}{Surface{1};Layers{2};Recombine;}\n",
    }
    for (name, model), order, ending in itertools.product(models.items(), (1, 2), ("mesh", "vtk")):
        # It has no sections for wedges and for quadratic quadrangles and hexahedra.
        if ending == "mesh" and (name == "wedge" or (name == "hexa" and order == 2)):
            continue
        Path("model.geo").write_text(model)
        file = f"{name}{order}.{ending}"
        run("gmsh", "-3", "-order", order, "-o", file, "-v", 1, "model.geo")
        nbr_nodes, types = counts_in_medit(file) if ending == "mesh" else counts_in_vtk(file)
        remarks = expect_mesh(file, nbr_nodes, types, {})
        for remark in remarks:
            if "a node has no property" not in remark and "faces in" not in remark:
                sys.exit(f"{file}: {remark}")
    # In large fields cards of three lines lack the marks of their continuations.
    for (name, model), order, layout in itertools.product(models.items(), (1, 2), (0, 1, 2)):
        Path("model.geo").write_text(model)
        file = f"{name}{order}_layout{layout}.bdf"
        run("gmsh", "-3", "-order", order, "-setnumber", "Mesh.SecondOrderIncomplete", 1,
            "-setnumber", "Mesh.BdfFieldFormat", layout, "-o", file, "-v", 1, "model.geo")
        expect("remarks", expect_mesh(file, *counts_in_deck(file), {}), [])
    for file, binary in (("text.stl", 0), ("binary.stl", 1)):
        run("gmsh", "-2", "-setnumber", "Mesh.Binary", binary, "-o", file, "-v", 1, "model.geo")
        expect_mesh(file, *counts_in_stl("text.stl"), {})


CUBE = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)]


def from_meshio():
    import meshio
    import numpy

    cells = [("hexahedron", [[0, 1, 2, 3, 4, 5, 6, 7]]), ("pyramid", [[0, 1, 2, 3, 6]]),
             ("wedge", [[0, 1, 3, 4, 5, 7]]), ("tetra", [[0, 1, 3, 4]]), ("quad", [[0, 1, 2, 3]]),
             ("triangle", [[0, 1, 2]]), ("line", [[0, 1]])]
    types = {HEXA8: 1, PYRA5: 1, PENTA6: 1, TETRA4: 1, QUAD4: 1, TRIA3: 1, BAR2: 1}
    n = len(CUBE)
    point_data = {name: numpy.arange(float(n * rows)).reshape(shape)
                  for name, rows, shape in (("s", 1, n), ("v", 3, (n, 3)), ("t", 9, (n, 9)))}
    cell_data = {"c": [numpy.array([k + 0.5]) for k in range(len(cells))]}
    fields = {name: (0, data.size // n, float(data.sum())) for name, data in point_data.items()}
    fields["c"] = (1, 1, float(sum(k[0] for k in cell_data["c"])))
    mesh = meshio.Mesh(numpy.array(CUBE, float), cells, point_data, cell_data)
    meshio.Mesh(mesh.points, cells).write("mesh.mesh")
    expect_mesh("mesh.mesh", n, types, {})
    meshio.vtk.write("mesh.vtk", mesh, binary=False)
    expect_mesh("mesh.vtk", n, types, fields)
    for binary in (False, True):
        file = f"mesh{int(binary)}.vtu"
        meshio.vtu.write(file, mesh, binary=binary, compression=None)
        expect_mesh(file, n, types, fields)
    if reads_compressed("mesh.vtu", lambda file: meshio.vtu.write(file, mesh, compression="zlib")):
        expect_mesh("mesh.vtu", n, types, fields)
    plain = meshio.Mesh(mesh.points, cells)
    # Cards of bars in large fields have a star that announces a second line, and none follows.
    for points, elements in itertools.product(("free", "fixed-small", "fixed-large"),
                                              ("fixed-small", "fixed-large")):
        file = f"points_{points}_cells_{elements}.bdf"
        plain.write(file, file_format="nastran", point_format=points, cell_format=elements)
        expect("remarks", expect_mesh(file, n, types, {}), [])
    quads = [[0, 3, 2, 1], [4, 5, 6, 7]]
    sides = [[0, 1, 5], [0, 5, 4], [1, 2, 6], [1, 6, 5], [2, 3, 7], [2, 7, 6], [3, 0, 4], [3, 4, 7]]
    mixed = [("quad", numpy.array(quads)), ("triangle", numpy.array(sides))]
    meshio.Mesh(mesh.points, mixed).write("mesh.obj")
    expect("remarks", expect_mesh("mesh.obj", n, {QUAD4: 2, TRIA3: 8}, {}), [])
    halves = [[quad[0], quad[k], quad[k + 1]] for quad in quads for k in (1, 2)]
    surface = meshio.Mesh(mesh.points, [("triangle", numpy.array(sides + halves))])
    for binary in (False, True):
        file = f"mesh{int(binary)}.stl"
        meshio.stl.write(file, surface, binary=binary)
        expect_mesh(file, n, {TRIA3: 12}, {})


def vtk_grid():
    """One cell of each type, with its points where VTK has them, and data of several types."""
    import numpy
    from vtkmodules.vtkCommonCore import vtkPoints
    from vtkmodules.vtkCommonDataModel import vtkUnstructuredGrid, vtkGenericCell
    from vtkmodules.util.numpy_support import numpy_to_vtk

    grid, points = vtkUnstructuredGrid(), vtkPoints()
    points.SetDataTypeToDouble()
    grid.SetPoints(points)
    for number in VTK_TYPES:
        cell = vtkGenericCell()
        cell.SetCellType(number)
        n = cell.GetNumberOfPoints()
        places = cell.GetParametricCoords()
        places = [places[3 * k:3 * k + 3] for k in range(n)]
        if number == 13:  # the parametric wedge of VTK is inside out for its own measures
            places = [places[k] for k in (0, 2, 1, 3, 5, 4)]
        if number == 27:  # the apex of a pyramid is a face of the parametric cube
            places[10:] = [tuple((x + y) / 2 for x, y in zip(places[k], places[4])) for k in (1, 2, 3)]
        grid.InsertNextCell(number, n, [points.InsertNextPoint(place) for place in places])
    fields = {}
    for data, place, size in ((grid.GetPointData(), 0, grid.GetNumberOfPoints()),
                              (grid.GetCellData(), 1, grid.GetNumberOfCells())):
        for name, rows, type in (("real", 1, numpy.float64), ("vector", 3, numpy.float32),
                                 ("tensor", 9, numpy.float64), ("whole", 2, numpy.int32)):
            name = f"{name} {place}"
            values = (numpy.arange(size * rows) % 64).reshape(size, rows).astype(type)
            array = numpy_to_vtk(values, deep=True)
            array.SetName(name)
            data.AddArray(array)
            fields[name] = (place, rows, float(values.sum()))
        data.SetActiveScalars(f"real {place}")
        data.SetActiveVectors(f"vector {place}")
        data.SetActiveTensors(f"tensor {place}")
    return grid, fields


def surfaces_from_vtk():
    from vtkmodules.vtkFiltersCore import vtkTriangleFilter
    from vtkmodules.vtkFiltersSources import vtkCubeSource
    from vtkmodules.vtkIOGeometry import vtkOBJWriter, vtkSTLWriter

    cube, triangles = vtkCubeSource(), vtkTriangleFilter()
    cube.SetBounds(*UNIT_BOX)
    triangles.SetInputConnection(cube.GetOutputPort())
    for file, mode in (("text.stl", 1), ("binary.stl", 2)):
        writer = vtkSTLWriter()
        writer.SetFileType(mode)
        writer.SetFileName(file)
        writer.SetInputConnection(triangles.GetOutputPort())
        writer.Write()
        expect_mesh(file, 8, {TRIA3: 12}, {})
    # Each face of the cube has points of its own.
    writer = vtkOBJWriter()
    writer.SetFileName("cube.obj")
    writer.SetInputConnection(cube.GetOutputPort())
    writer.Write()
    expect_mesh("cube.obj", 24, {QUAD4: 6}, {})


def from_vtk():
    from vtkmodules.vtkIOLegacy import vtkUnstructuredGridWriter
    from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridWriter

    grid, fields = vtk_grid()
    n = grid.GetNumberOfPoints()
    types = {type: 1 for type in VTK_TYPES.values()}
    for version in (42, 51):
        writer = vtkUnstructuredGridWriter()
        writer.SetFileTypeToASCII()
        writer.SetFileVersion(version)
        writer.SetFileName(f"version{version}.vtk")
        writer.SetInputData(grid)
        writer.Write()
        expect_mesh(f"version{version}.vtk", n, types, fields)
    for mode, header, order, encoded in itertools.product((0, 1, 2), (32, 64), (0, 1), (0, 1)):
        writer = vtkXMLUnstructuredGridWriter()
        writer.SetDataMode(mode)
        writer.SetHeaderType(header)
        writer.SetByteOrder(order)
        writer.SetEncodeAppendedData(encoded)
        writer.SetInputData(grid)
        writer.SetCompressorTypeToNone()
        file = f"mode{mode}_header{header}_order{order}_encoded{encoded}.vtu"
        writer.SetFileName(file)
        writer.Write()
        expect_mesh(file, n, types, fields)

        def write(file):
            writer.SetFileName(file)
            writer.Write()

        writer.SetCompressorTypeToZLib()
        for size in (64, 32768):  # several blocks, and one
            writer.SetBlockSize(size)
            if reads_compressed(f"zlib{size}_{file}", write):
                expect_mesh(f"zlib{size}_{file}", n, types, fields)
    surfaces_from_vtk()


{"gmsh": from_gmsh, "meshio": from_meshio, "vtk": from_vtk}[sys.argv[1]]()
