"""Renders a mesh with its qualities and sizes: render.py PREFIX, with a display.

PREFIX.vtk holds the cell field `quality` and the point fields `size_before` and `size_after`;
PREFIX_quality.png and PREFIX_sizes.png are written.
"""

import sys

import vtk


def colours(low_hue, high_hue, value_range):
    table = vtk.vtkLookupTable()
    table.SetHueRange(low_hue, high_hue)
    table.SetRange(*value_range)
    table.Build()
    return table


def view(grid, field, on_cells, table, title, area, camera):
    """One mesh, coloured by a field, in its part of the window."""
    mapper = vtk.vtkDataSetMapper()
    mapper.SetInputData(grid)
    mapper.SetLookupTable(table)
    mapper.UseLookupTableScalarRangeOn()
    mapper.SetScalarMode(4 if on_cells else 3)
    mapper.SelectColorArray(field)
    actor = vtk.vtkActor()
    actor.SetMapper(mapper)
    actor.GetProperty().LightingOff()  # colours as in the bar
    actor.GetProperty().EdgeVisibilityOn()
    actor.GetProperty().SetEdgeColor(0.2, 0.2, 0.2)
    actor.GetProperty().SetLineWidth(0.5)
    bar = vtk.vtkScalarBarActor()
    bar.SetLookupTable(table)
    bar.SetTitle(title)
    bar.SetNumberOfLabels(5)
    bar.UnconstrainedFontSizeOn()
    bar.GetTitleTextProperty().SetFontSize(18)
    bar.GetLabelTextProperty().SetFontSize(14)
    for text in (bar.GetTitleTextProperty(), bar.GetLabelTextProperty()):
        text.SetColor(0, 0, 0)
        text.ShadowOff()
        text.ItalicOff()
        text.BoldOff()
    bar.SetWidth(0.12)
    bar.SetHeight(0.6)
    bar.SetPosition(0.86, 0.2)
    renderer = vtk.vtkRenderer()
    renderer.SetBackground(1, 1, 1)
    renderer.SetViewport(*area)
    renderer.AddActor(actor)
    renderer.AddActor2D(bar)
    if camera is None:
        renderer.ResetCamera()
        renderer.GetActiveCamera().Azimuth(-35)
        renderer.GetActiveCamera().Elevation(-30)
        renderer.ResetCamera()
        renderer.GetActiveCamera().Zoom(0.85)  # room for the bar
    else:
        renderer.SetActiveCamera(camera)
    return renderer


def save(renderers, size, filename):
    window = vtk.vtkRenderWindow()
    window.SetOffScreenRendering(1)
    window.SetMultiSamples(4)
    window.SetSize(*size)
    for renderer in renderers:
        window.AddRenderer(renderer)
    window.Render()
    image = vtk.vtkWindowToImageFilter()
    image.SetInput(window)
    writer = vtk.vtkPNGWriter()
    writer.SetFileName(filename)
    writer.SetInputConnection(image.GetOutputPort())
    writer.Write()
    print("written to " + filename)


def main(prefix):
    reader = vtk.vtkUnstructuredGridReader()
    reader.SetFileName(prefix + ".vtk")
    reader.ReadAllScalarsOn()
    reader.Update()
    grid = reader.GetOutput()
    if grid.GetNumberOfCells() == 0:
        print("no pictures: " + prefix + ".vtk holds no cells")
        return
    quality = colours(0.0, 0.33, (0.0, 1.0))
    save([view(grid, "quality", True, quality, "quality", (0, 0, 1, 1), None)], (900, 700),
         prefix + "_quality.png")
    sizes = colours(0.0, 0.66, grid.GetPointData().GetArray("size_before").GetRange())
    before = view(grid, "size_before", False, sizes, "before", (0, 0, 0.5, 1), None)
    after = view(grid, "size_after", False, sizes, "after", (0.5, 0, 1, 1),
                 before.GetActiveCamera())
    save([before, after], (1600, 700), prefix + "_sizes.png")


main(sys.argv[1])
