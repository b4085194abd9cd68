"""The boundary of a volume mesh by gmsh, found by us, by gmsh and by VTK.

usage: volume_exchange.py VOLUME_MESH DATA

Works in the current folder. VOLUME_MESH is our program, which compares our boundary with the surface
that gmsh wrote, and our graphs with those of METIS.
"""

import subprocess
import sys
from pathlib import Path

from vtkmodules.vtkCommonCore import vtkIdList
from vtkmodules.vtkFiltersGeometry import vtkGeometryFilter
from vtkmodules.vtkFiltersCore import vtkIdFilter
from vtkmodules.vtkIOLegacy import vtkUnstructuredGridReader

program = sys.argv[1]
data = Path(sys.argv[2])


def run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def surface_by_vtk(filename):
    """The outside triangles, each by its nodes in ascending order."""
    reader = vtkUnstructuredGridReader()
    reader.SetFileName(filename)
    ids = vtkIdFilter()
    ids.SetInputConnection(reader.GetOutputPort())
    ids.SetPointIdsArrayName("node")
    surface = vtkGeometryFilter()
    surface.SetInputConnection(ids.GetOutputPort())
    surface.Update()
    output = surface.GetOutput()
    node = output.GetPointData().GetArray("node")
    triangles = []
    points = vtkIdList()
    for cell in range(output.GetNumberOfCells()):
        output.GetCellPoints(cell, points)
        corners = (points.GetId(i) for i in range(points.GetNumberOfIds()))
        triangles.append(tuple(sorted(int(node.GetTuple1(p)) for p in corners)))
    return sorted(triangles)


run("gmsh", "-3", "-format", "mesh", "-o", "volume.mesh", data / "ball_in_block.geo")
lines = run(program, "volume.mesh", "volume.vtk").splitlines()
ours = sorted(tuple(map(int, line.split())) for line in lines)
vtk = surface_by_vtk("volume.vtk")
print(f"boundary facets: {len(ours)} by us, {len(vtk)} by VTK")
if not ours or ours != vtk:
    sys.exit("VTK finds another boundary")
