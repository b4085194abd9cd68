#!/usr/bin/env python3
"""Writes two_boxes.stl: two boxes that touch in a face, as a careless exporter would write them."""

import itertools
import random

STEP = 2.5  # mm between grid lines
NOISE = 0.01  # mm, on each coordinate of each corner
NBR_COLLAPSED = 6  # extra facets of each box, two corners of which are in one place


def box_facets(x, y, z, nx, ny, nz):
    """Two triangles for each grid cell on the surface, counter-clockwise from outside."""
    size = (nx, ny, nz)
    for axis, side in itertools.product(range(3), (0, 1)):
        u, v = (axis + 1) % 3, (axis + 2) % 3
        for i, j in itertools.product(range(size[u]), range(size[v])):
            cell = []
            for a, b in ((0, 0), (1, 0), (1, 1), (0, 1)):
                corner = [0, 0, 0]
                corner[axis] = side * size[axis]
                corner[u], corner[v] = i + a, j + b
                cell.append((x + corner[0], y + corner[1], z + corner[2]))
            if side == 0:
                cell.reverse()
            normal = tuple((2 * side - 1) * int(r == axis) for r in range(3))
            yield normal, (cell[0], cell[1], cell[2])
            yield normal, (cell[0], cell[2], cell[3])


def main():
    rng = random.Random(1)
    with open("two_boxes.stl", "w", encoding="ascii", newline="\n") as file:
        for name, box in (("lower", (0, 0, 0, 8, 8, 5)), ("upper", (0, 0, 5, 8, 8, 3))):
            facets = list(box_facets(*box))
            collapsed = set(rng.sample(range(len(facets)), NBR_COLLAPSED))
            file.write(f"solid {name}\n")
            for k, (normal, corners) in enumerate(facets):
                points = [[STEP * r + rng.uniform(-NOISE, NOISE) for r in c] for c in corners]
                facets_here = [points]
                if k in collapsed:
                    facets_here.append([points[0], points[1], points[1]])
                for a_facet in facets_here:
                    file.write("  facet normal {} {} {}\n".format(*normal))
                    file.write("    outer loop\n")
                    for p in a_facet:
                        file.write("      vertex {:.6f} {:.6f} {:.6f}\n".format(*p))
                    file.write("    endloop\n")
                    file.write("  endfacet\n")
            file.write(f"endsolid {name}\n")


if __name__ == "__main__":
    main()
