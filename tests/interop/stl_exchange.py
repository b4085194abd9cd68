"""STL files from other programs, and STL files for other programs.

usage: stl_exchange.py openscad|gmsh|admesh STL_SURFACE DATA

Works in the current folder. STL_SURFACE is our program that reports on a file, DATA the folder of
the models.
"""

import re
import struct
import subprocess
import sys
from pathlib import Path

program = sys.argv[2]
data = Path(sys.argv[3])


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def ours(*arguments):
    """What our program says of the mesh: a number for each name."""
    lines = run(program, *arguments).splitlines()
    return {name: int(number) for name, number in map(str.split, lines)}


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}: {found} in place of {wanted}")
    print(f"{what}: {found}")


def facets_in(file):
    contents = Path(file).read_bytes()
    if contents.startswith(b"solid"):
        return contents.count(b"facet normal")
    return struct.unpack_from("<i", contents, 80)[0]


def expect_closed(file, parts, genus):
    """A closed, oriented surface of `parts` parts with `genus` handles in all."""
    mesh = ours("report", file)
    expect(f"{file}, facets", mesh["facets"], facets_in(file))
    expect(f"{file}, open edges", mesh["open_edges"], 0)
    expect(f"{file}, odd edges", mesh["odd_edges"], 0)
    expect(f"{file}, edges", 2 * mesh["shared_edges"], 3 * mesh["facets"])
    characteristic = mesh["nodes"] - mesh["edges"] + mesh["facets"]
    expect(f"{file}, Euler characteristic", characteristic, 2 * parts - 2 * genus)
    return mesh


def expect_admesh_agrees(file, mesh):
    report = run("admesh", "--exact", "--normal-directions", "--normal-values", file)

    def number(name):
        return int(re.search(name + r"\s*:\s*(\d+)", report).group(1))

    expect(f"{file}, facets for admesh", number("Number of facets"), mesh["facets"])
    open_edges = sum(k * number(rf"Facets with {k} disconnected edges?") for k in (1, 2, 3))
    expect(f"{file}, open edges for admesh", open_edges, mesh["open_edges"])
    shared = (3 * number("Number of facets") - open_edges) // 2
    expect(f"{file}, shared edges for admesh", shared, mesh["shared_edges"])
    for fault in ("Degenerate facets", "Facets reversed", "Backwards edges", "Normals fixed"):
        expect(f"{file}, {fault.lower()} for admesh", number(fault), 0)


def openscad():
    model = data / "block_with_holes.scad"
    meshes = []
    for variant in ("asciistl", "binstl"):
        file = f"{variant}.stl"
        run("openscad", "-o", file, "--export-format", variant, model)
        meshes.append(expect_closed(file, parts=2, genus=2))
    expect("binary and text", meshes[1], meshes[0])
    pass_on("asciistl.stl")


def gmsh():
    meshes = []
    for options, file in (([], "text.stl"), (["-bin"], "binary.stl")):
        run("gmsh", "-2", data / "torus.geo", "-format", "stl", *options, "-o", file, "-v", "2")
        meshes.append(expect_closed(file, parts=1, genus=1))
    expect("binary and text", meshes[1], meshes[0])
    pass_on("text.stl")


def pass_on(file):
    """Read and written by us, the file of one program serves another."""
    for variant in ("text", "binary"):
        welded = f"welded_{variant}.stl"
        mesh = ours("weld", file, welded, variant)
        expect(f"{welded}, read again", ours("report", welded), mesh)
        expect_admesh_agrees(welded, mesh)


def admesh():
    for shape in ("torus", "sheet"):
        for variant in ("text", "binary"):
            file = f"{shape}_{variant}.stl"
            mesh = ours("make", shape, file, variant)
            expect(f"{file}, read again", ours("report", file), mesh)
            expect_admesh_agrees(file, mesh)


{"openscad": openscad, "gmsh": gmsh, "admesh": admesh}[sys.argv[1]]()
