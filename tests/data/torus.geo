// The surface of a torus.
SetFactory("OpenCASCADE");
Torus(1) = {0, 0, 0, 3, 1, 2 * Pi};
Mesh.MeshSizeMax = 0.4;
