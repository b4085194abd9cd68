MeshVersionFormatted 2

Dimension 3

SolAtVertices
3
3 1 2 3
1 2 3 4 5 6 7 8 9 10
1 2 3 4 5 6 7 nan 9 10
1 2 3 4 5 6 7 8 9 -1e3

SolAtTriangles 1
1 1
4
End
