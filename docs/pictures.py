"""Draws the pictures of these pages: pictures.py FOLDER < output of pictures.cpp."""

import io
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
from matplotlib.lines import Line2D
from PIL import Image


def save(figure, filename):
    """With 256 colours: half of the bytes, and no difference to be seen."""
    picture = io.BytesIO()
    figure.savefig(picture, dpi=80)
    Image.open(picture).convert("RGB").quantize(256).save(filename, optimize=True)


def read_arrays(file):
    """By name; one row for each column of the array."""
    arrays = {}
    for line in file:
        name, rows, cols = line.split()
        values = [[float(v) for v in next(file).split()] for _ in range(int(cols))]
        arrays[name] = np.array(values).reshape(int(cols), int(rows))
    return arrays


def triangles(arrays, name):
    return arrays[name].astype(int)


def sizes(arrays, folder):
    pos, connect = arrays["sizes_pos"], triangles(arrays, "sizes_connect")
    figure, axes = plt.subplots(1, 2, figsize=(9, 4.1), layout="constrained")
    for axis, name, title in zip(axes, ("before", "after"), ("sizes", "bounded, gradation 0.8")):
        drawn = axis.tripcolor(pos[:, 0], pos[:, 1], connect, arrays["sizes_" + name][:, 0],
                               shading="gouraud", cmap="viridis", vmin=0.0, vmax=0.5)
        axis.triplot(pos[:, 0], pos[:, 1], connect, color="white", linewidth=0.15)
        axis.set_title(title)
        axis.set_aspect("equal")
        axis.set_axis_off()
    figure.colorbar(drawn, ax=axes, label="size", shrink=0.9)
    save(figure, folder + "/bounded_sizes.png")


def metrics(arrays, folder):
    figure, axes = plt.subplots(1, 2, figsize=(9, 4.3), layout="constrained")
    for axis, name in zip(axes, ("minimum", "maximum")):
        axis.fill(*arrays["metric_" + name].T, color="gold", alpha=0.6, label=name + "_metric")
        for metric, colour in (("a", "tab:blue"), ("b", "tab:red")):
            axis.plot(*arrays["metric_" + metric].T, color=colour, label="M" + "12"[metric == "b"])
        for x, y in arrays["metric_basis"]:
            axis.plot([-2.3 * x, 2.3 * x], [-2.3 * y, 2.3 * y], "k:", linewidth=0.8)
        axis.set_xlim(-2.3, 2.3)
        axis.set_ylim(-2.0, 2.0)
        axis.set_aspect("equal")
        axis.legend(loc="lower right", fontsize=9)
        axis.set_axis_off()
    save(figure, folder + "/two_metrics.png")


def qualities(arrays, folder):
    values = arrays["quality"]
    extent = (-0.5, 1.5, -0.6, 1.2)
    figure, axis = plt.subplots(figsize=(5.6, 4.4), layout="constrained")
    image = axis.imshow(values, origin="lower", extent=extent, cmap="RdYlGn", vmin=-1, vmax=1)
    x = np.linspace(extent[0], extent[1], values.shape[1])
    y = np.linspace(extent[2], extent[3], values.shape[0])
    levels = [tenths / 10 for tenths in range(-8, 9, 2)]
    lines = axis.contour(x, y, values, levels=levels, colors="k", linewidths=0.6)
    axis.clabel(lines, fontsize=7, fmt="%.1f")
    axis.plot([0, 1], [0, 0], "k-", linewidth=3)
    axis.plot([0, 0.5, 1], [0, 0.75**0.5, 0], "k--", linewidth=0.8)
    axis.text(-0.02, -0.02, "0", ha="right", va="top")
    axis.text(1.02, -0.02, "1", ha="left", va="top")
    axis.set_title("quality of a triangle, by the place of node 2", fontsize=10)
    figure.colorbar(image, ax=axis)
    save(figure, folder + "/triangle_quality.png")


def parts(arrays, folder):
    pos, connect = arrays["parts_pos"], triangles(arrays, "parts_connect")
    figure, axes = plt.subplots(1, 2, figsize=(8.4, 4.2), layout="constrained")
    for axis, field, lines, title in (
            (axes[0], "part", "boundaries", "get_subdomains, get_mesh_boundaries"),
            (axes[1], "color", "borders", "three colours, get_colors_boundaries")):
        axis.tripcolor(pos[:, 0], pos[:, 1], connect, arrays["parts_" + field][:, 0],
                       cmap="Pastel1", vmin=0, vmax=8, edgecolors="white", linewidth=0.5)
        for a, b in arrays["parts_" + lines].astype(int):
            axis.plot(pos[[a, b], 0], pos[[a, b], 1], "k-", linewidth=1.8)
        axis.set_title(title, fontsize=10)
        axis.set_aspect("equal")
        axis.set_axis_off()
    save(figure, folder + "/parts.png")


def copies(arrays, folder):
    pos = arrays["copies_pos"]
    figure, axis = plt.subplots(figsize=(9, 3.6), layout="constrained")
    legend = []
    for name, colour, label in (("source", "black", "the mesh"),
                                ("around", "tab:blue", "copy_mesh: 5 copies, turned"),
                                ("mirrored", "tab:red", "copy_sym_mesh: all mirrored")):
        connect = triangles(arrays, "copies_" + name)
        axis.triplot(pos[:, 0], pos[:, 1], connect, color=colour, linewidth=0.8)
        legend.append(Line2D([], [], color=colour, label=label))
    axis.axvline(0.0, color="grey", linestyle=":")
    axis.set_aspect("equal")
    axis.set_axis_off()
    axis.legend(handles=legend, loc="upper center", fontsize=8)
    save(figure, folder + "/copies.png")


def project(pos):
    return np.stack([pos[:, 0] + 0.42 * pos[:, 1], pos[:, 2] + 0.3 * pos[:, 1]], axis=1)


def is_seen(corners, centre):
    """Whether a facet of a solid faces the viewer, by the way it goes round in the picture."""
    a, b, c = corners[0], corners[1], corners[2]
    normal = np.cross(b - a, c - a)
    if np.dot(normal, corners.mean(axis=0) - centre) < 0:
        normal = -normal
    return np.dot(normal, [0.42, -1.0, 0.3]) > 0


def outline(axis, name, pos, edges, facets):
    """Edges, corners and their numbers. The nodes in the picture, and which facets are seen."""
    nbr_corners = int(edges.max()) + 1
    is_solid = pos[:, 2].any()
    flat = project(pos) if is_solid else pos[:, :2]
    nodes_of = [[int(n) for n in facet if n != 0xFFFFFFFF] for facet in facets]
    centre = pos[:nbr_corners].mean(axis=0)
    seen = [not is_solid or is_seen(pos[nodes], centre) for nodes in nodes_of]
    for a, b in edges.astype(int):
        shown = [s for s, nodes in zip(seen, nodes_of) if a in nodes and b in nodes]
        style = "k-" if any(shown) or not is_solid else "k:"
        axis.plot(flat[[a, b], 0], flat[[a, b], 1], style, linewidth=1.2)
    middle = flat[:nbr_corners].mean(axis=0)
    for n, (x, y) in enumerate(flat[:nbr_corners]):
        away = np.array([x, y]) - middle
        x, y = np.array([x, y]) + 0.13 * away / max(np.hypot(*away), 1e-9)
        axis.plot(*flat[n], "ko", markersize=4)
        axis.text(x, y, str(n), ha="center", va="center", fontsize=11)
    axis.set_title(name, fontsize=10)
    axis.set_xlim(flat[:, 0].min() - 0.25, flat[:, 0].max() + 0.25)
    axis.set_ylim(flat[:, 1].min() - 0.25, flat[:, 1].max() + 0.3)
    axis.set_aspect("equal")
    axis.set_axis_off()
    return flat, nodes_of, seen


def number(axis, point, value, colour, **box):
    axis.text(*point, str(value), color=colour, ha="center", va="center", fontsize=9,
              bbox={"boxstyle": "circle,pad=0.2", **box})


def linear_shape(axis, name, pos, edges, facets, _places):
    flat, nodes_of, seen = outline(axis, name, pos, edges, facets)
    for f, nodes in enumerate(nodes_of):
        point = flat[nodes].mean(axis=0)
        if len(nodes) == 1:
            point = point + [0, 0.2]
        number(axis, point, f, "white", edgecolor="none",
               facecolor="tab:blue" if seen[f] else "lightsteelblue")


def quadratic_shape(axis, name, pos, edges, facets, places):
    flat, _, _ = outline(axis, name, pos, edges, facets)
    nbr_corners = int(edges.max()) + 1
    fills = ("gold", "white", "tab:red")
    for n, place in enumerate(places[:, 0].astype(int)):
        number(axis, flat[nbr_corners + n], nbr_corners + n, "white" if place == 2 else "black",
               facecolor=fills[place], edgecolor="black", linewidth=0.5)


def shapes(arrays, folder):
    figure = plt.figure(figsize=(9.5, 11.5), layout="constrained")
    upper, lower = figure.subfigures(2, 1, height_ratios=(5, 6.5))
    above = upper.subplots(2, 4)
    above[0][3].text(0.5, 0.5, "black: corners\nblue: local facets,\npale where hidden",
                     ha="center", va="center", fontsize=10)
    below = lower.subplot_mosaic([["BAR3"] * 3 + ["TRIA6"] * 3 + ["QUAD9"] * 3 + ["TETRA10"] * 3,
                                  ["PYRA14"] * 4 + ["PENTA18"] * 4 + ["HEXA27"] * 4],
                                 gridspec_kw={"height_ratios": (3, 4)})
    below["BAR3"].text(0.5, -0.9, "yellow: on edges\nwhite: on facets\nred: inside",
                       ha="center", va="center", fontsize=10)
    linear = dict(zip(["BAR2", "TRIA3", "QUAD4", "", "TETRA4", "PYRA5", "PENTA6", "HEXA8"],
                      above.flat))
    linear.pop("").set_axis_off()
    titles = {"QUAD9": "ET_QUAD8, ET_QUAD9", "PYRA14": "ET_PYRA13, ET_PYRA14",
              "PENTA18": "ET_PENTA15, ET_PENTA18", "HEXA27": "ET_HEXA20, ET_HEXA27"}
    for draw, axes in ((linear_shape, linear), (quadratic_shape, below)):
        for name, axis in axes.items():
            draw(axis, titles.get(name, "ET_" + name), *(arrays["shape_" + name + "_" + part]
                                for part in ("pos", "edges", "facets", "places")))
    save(figure, folder + "/element_types.png")


def main(folder):
    arrays = read_arrays(sys.stdin)
    for draw in (sizes, metrics, qualities, parts, copies, shapes):
        draw(arrays, folder)


main(sys.argv[1])
