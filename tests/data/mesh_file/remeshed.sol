MeshVersionFormatted 2

Dimension 3

SolAtVertices
4
2 1 3

.5 1 0 1 0 0 1
.25 4 0 4 0 0 4
.5 1 0 1 0 0 1
.5 1 0 1 0 0 1

End
