// A block with a ball cut out of its middle, meshed with tetrahedra.
SetFactory("OpenCASCADE");
Box(1) = {0, 0, 0, 3, 2, 2};
Sphere(2) = {1.5, 1, 1, 0.6};
BooleanDifference(3) = { Volume{1}; Delete; }{ Volume{2}; Delete; };
Mesh.MeshSizeMax = 0.3;
