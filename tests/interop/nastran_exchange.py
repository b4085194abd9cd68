"""NASTRAN decks from other programs, and decks for other programs, node by node and element by element.

usage: nastran_exchange.py from_gmsh|to_gmsh|from_meshio|to_meshio NASTRAN_MESH

Works in the current folder. NASTRAN_MESH is our program that reads and writes decks.
"""

import subprocess
import sys
from pathlib import Path

program = sys.argv[2]

BAR2, BAR3, FACE_MIX, TRIA3, QUAD4, TRIA6, QUAD8 = 3, 4, 5, 6, 7, 8, 9
TETRA4, TETRA10, PYRA5, PYRA13, PYRA14 = 12, 13, 14, 15, 16
PENTA6, PENTA15, PENTA18, HEXA8, HEXA20, HEXA27 = 17, 18, 19, 20, 21, 22
NAMES = {number: name for name, number in list(globals().items()) if name.isupper()}

# A node of the card by its place in the element, for us, for gmsh and for meshio; in the same order
# where a type is missing. Ours differ on input (`ours[i] = card[order[i]]`) and output
# (`card[i] = ours[order[i]]`), theirs are `card[i] = theirs[order[i]]`.
OUR_INPUT = {
    TRIA6: (0, 1, 2, 4, 5, 3),
    TETRA4: (0, 2, 1, 3),
    TETRA10: (0, 2, 1, 3, 5, 4, 6, 7, 9, 8),
    PENTA15: (0, 1, 2, 3, 4, 5, 11, 9, 10, 6, 7, 8, 14, 12, 13),
    HEXA20: (*range(12), *range(16, 20), *range(12, 16)),
}
OUR_OUTPUT = {**OUR_INPUT, TRIA6: (0, 1, 2, 5, 3, 4)}
GMSH = {
    TETRA10: (0, 1, 2, 3, 4, 5, 6, 7, 9, 8),
    PENTA15: (0, 1, 2, 3, 4, 5, 6, 9, 7, 8, 10, 11, 12, 14, 13),
    HEXA20: (*range(8), 8, 11, 13, 9, 10, 12, 14, 15, 16, 18, 19, 17),
}
MESHIO = {HEXA20: (*range(12), *range(16, 20), *range(12, 16))}

# What becomes of a type on a card.
CARD = {BAR3: BAR2, PYRA14: PYRA13, PENTA18: PENTA15, HEXA27: HEXA20}
NBR_NODES = {BAR2: 2, TRIA3: 3, QUAD4: 4, TRIA6: 6, QUAD8: 8, TETRA4: 4, TETRA10: 10, PYRA5: 5,
             PYRA13: 13, PENTA6: 6, PENTA15: 15, HEXA8: 8, HEXA20: 20}

GMSH_KINDS = {BAR2: 1, TRIA3: 2, QUAD4: 3, TETRA4: 4, HEXA8: 5, PENTA6: 6, PYRA5: 7, TRIA6: 9,
              TETRA10: 11, QUAD8: 16, HEXA20: 17, PENTA15: 18, PYRA13: 19}
# What gmsh writes and we have no type for on a card: kind and number of nodes.
GMSH_OTHERS = {8: 3, 10: 9, 12: 27, 13: 18, 14: 14}
MESHIO_KINDS = {BAR2: "line", TRIA3: "triangle", QUAD4: "quad", TRIA6: "triangle6",
                QUAD8: "quad8", TETRA4: "tetra", TETRA10: "tetra10", PYRA5: "pyramid",
                PENTA6: "wedge", HEXA8: "hexahedron", HEXA20: "hexahedron20"}


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def ours(*arguments):
    """Nodes, and elements as (type, property, IDs)."""
    nodes, elements = [], []
    for line in run(program, *arguments).splitlines():
        word, *numbers = line.split()
        if word == "node":
            nodes.append(tuple(map(float, numbers)))
        else:
            kind, property, *ids = map(int, numbers)
            elements.append((kind, property, tuple(ids)))
    return nodes, elements


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}:\n{found}\nin place of\n{wanted}")
    print(f"{what}: {len(found)}")


def scattered_nodes(n):
    """All different, none the origin, of digits that fit in 8 columns."""
    return [(0.25 * k, 0.5 * (k * 7 % 13), 0.125 * (k * k % 17)) for k in range(1, n + 1)]


def made_elements(kinds, nbr_nodes):
    """Three elements of each kind, of nodes that differ: (kind, property, IDs)."""
    return [(kind, 10 + place, tuple((17 * r + 5 * c + place) % nbr_nodes for r in range(n)))
            for place, (kind, n) in enumerate(kinds.items()) for c in range(3)]


def onto_card(order, ids):
    return tuple(ids[k] for k in order)


def from_card(order, ids):
    """The inverse of `onto_card`."""
    element = [None] * len(ids)
    for place, id in zip(order, ids):
        element[place] = id
    return tuple(element)


def as_we_read(element, theirs):
    """An element of theirs, written on a card and read by us."""
    kind, property, ids = element
    straight = range(len(ids))
    card = onto_card(theirs.get(kind, straight), ids)
    return kind, property, onto_card(OUR_INPUT.get(kind, straight), card)


def as_they_read(element, theirs):
    """An element of ours, written on a card and read by them."""
    kind, property, ids = element
    kind = CARD.get(kind, kind)
    straight = range(NBR_NODES[kind])
    card = onto_card(OUR_OUTPUT.get(kind, straight), ids)
    return kind, property, from_card(theirs.get(kind, straight), card)


def by_coordinates(nodes, elements):
    """The elements without their node numbers, in an order of their own."""
    return sorted((kind, property, *(nodes[id] for id in ids)) for kind, property, ids in elements)


def used_nodes(nodes, elements):
    """What gmsh keeps of the nodes."""
    return sorted(nodes[id] for id in {id for _, _, ids in elements for id in ids})


def write_msh(filename, nodes, elements):
    with open(filename, "w") as file:
        print("$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes", file=file)
        print(len(nodes), file=file)
        for id, p in enumerate(nodes, 1):
            print(id, *p, file=file)
        print(f"$EndNodes\n$Elements\n{len(elements)}", file=file)
        for number, (kind, property, ids) in enumerate(elements, 1):
            print(number, kind, 2, 0, property, *(id + 1 for id in ids), file=file)
        print("$EndElements", file=file)


def read_msh(filename):
    lines = iter(Path(filename).read_text().splitlines())

    def table(title):
        while next(lines) != title:
            pass
        return [next(lines).split() for _ in range(int(next(lines)))]

    places = {}
    nodes = []
    for id, *p in table("$Nodes"):
        places[id] = len(nodes)
        nodes.append(tuple(map(float, p)))
    types = {kind: type for type, kind in GMSH_KINDS.items()}
    elements = []
    for _, kind, nbr_tags, _, property, *ids in table("$Elements"):
        if nbr_tags != "2":
            sys.exit(f"{nbr_tags} tags")
        elements.append((types[int(kind)], int(property), tuple(places[id] for id in ids)))
    return nodes, elements


def from_gmsh():
    kinds = {GMSH_KINDS[type]: NBR_NODES[type] for type in GMSH_KINDS} | GMSH_OTHERS
    nodes = scattered_nodes(211)
    made = made_elements(kinds, len(nodes))
    write_msh("all.msh", nodes, made)
    types = {kind: type for type, kind in GMSH_KINDS.items()}
    known = [(types[kind], property, ids) for kind, property, ids in made if kind in types]
    # Bars come with an orientation. In large fields the elements are in small ones, and those of
    # three lines lack the marks of their continuations.
    dropped = {"free": {BAR2}, "small": {BAR2}, "large": {BAR2, HEXA20, PENTA15}}
    for number, format in enumerate(("free", "small", "large")):
        deck = f"{format}.bdf"
        run("gmsh", "all.msh", "-save", "-format", "bdf", "-setnumber", "Mesh.SaveAll", 1,
            "-setnumber", "Mesh.BdfFieldFormat", number, "-o", deck)
        found_nodes, found = ours("read", deck)
        wanted = [as_we_read(e, GMSH) for e in known if e[0] not in dropped[format]]
        # Numbers without a node are zeros for us.
        expect(f"nodes, {format}", sorted(p for p in found_nodes if any(p)),
               used_nodes(nodes, made))
        expect(f"elements, {format}", by_coordinates(found_nodes, found),
               by_coordinates(nodes, wanted))


def to_gmsh():
    every_type = [BAR2, BAR3, TRIA3, QUAD4, TRIA6, QUAD8, FACE_MIX, TETRA4, TETRA10, PYRA5, PYRA13,
                  PYRA14, PENTA6, PENTA15, PENTA18, HEXA8, HEXA20, HEXA27]
    corners_of_pyramid = {PYRA13: PYRA5}
    for types in [[type] for type in every_type] + [every_type]:
        nodes, elements = ours("write", "ours.bdf", *types)
        run("gmsh", "ours.bdf", "-save", "-format", "msh22", "-setnumber", "Mesh.SaveAll", 1, "-o",
            "theirs.msh")
        found_nodes, found = read_msh("theirs.msh")
        wanted = []
        for kind, property, ids in (as_they_read(e, GMSH) for e in elements):
            kind = corners_of_pyramid.get(kind, kind)
            wanted.append((kind, property, ids[:NBR_NODES[kind]]))
        what = NAMES[types[0]] if len(types) == 1 else "all"
        expect(f"nodes, {what}", sorted(found_nodes), used_nodes(nodes, wanted))
        expect(f"elements, {what}", by_coordinates(found_nodes, found),
               by_coordinates(nodes, wanted))


def from_meshio():
    import meshio
    import numpy

    nodes = scattered_nodes(61)
    # It has a keyword of its own for TETRA10 and HEXA20, which is no card.
    types = [type for type in MESHIO_KINDS if type not in (TETRA10, HEXA20)]
    # In large fields it gives a bar a keyword that announces a second line, and none follows.
    without_bars = [type for type in types if type != BAR2]
    for points in ("free", "fixed-small", "fixed-large"):
        for cells, kept in (("fixed-small", types), ("fixed-large", without_bars)):
            made = made_elements({type: NBR_NODES[type] for type in kept}, len(nodes))
            blocks = [made[k:k + 3] for k in range(0, len(made), 3)]
            mesh = meshio.Mesh(
                numpy.array(nodes),
                [(MESHIO_KINDS[block[0][0]], numpy.array([ids for _, _, ids in block]))
                 for block in blocks],
                cell_data={"nastran:ref": [numpy.array([property for _, property, _ in block])
                                           for block in blocks]})
            mesh.write("theirs.bdf", file_format="nastran", point_format=points, cell_format=cells)
            found_nodes, found = ours("read", "theirs.bdf")
            what = f"nodes {points}, elements {cells}"
            expect(f"nodes, {what}", found_nodes, nodes)
            expect(f"elements, {what}", found, [as_we_read(e, MESHIO) for e in made])

            # Without a property the field is blank, and ends the card.
            mesh.cell_data.clear()
            mesh.write("bare.bdf", file_format="nastran", point_format=points, cell_format=cells)
            expect(f"elements without properties, {what}", ours("read", "bare.bdf")[1], [])


def to_meshio():
    import meshio

    # It reads, but has no name for, wedges and pyramids of second order.
    every_type = [BAR2, BAR3, TRIA3, QUAD4, TRIA6, QUAD8, FACE_MIX, TETRA4, TETRA10, PYRA5, PENTA6,
                  HEXA8, HEXA20, HEXA27]
    kinds = {kind: type for type, kind in MESHIO_KINDS.items()}
    for types in [[type] for type in every_type] + [every_type]:
        nodes, elements = ours("write", "ours.bdf", *types)
        mesh = meshio.read("ours.bdf", file_format="nastran")
        found = [(kinds[block.type], int(property), tuple(map(int, ids)))
                 for block, properties in zip(mesh.cells, mesh.cell_data["nastran:ref"])
                 for property, ids in zip(properties, block.data)]
        what = NAMES[types[0]] if len(types) == 1 else "all"
        expect(f"nodes, {what}", [tuple(map(float, p)) for p in mesh.points], nodes)
        expect(f"elements, {what}", found, [as_they_read(e, MESHIO) for e in elements])


globals()[sys.argv[1]]()
