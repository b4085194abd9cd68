// Utilities for finite-element meshes: free functions on arrays that the caller owns. This header
// includes all others. Element types and what all functions have in common are told in
// element_type.h, the arrays in containers.h.
//
// Each header begins with the words that it uses. A function that returns an int lists its codes,
// one to a line, in the order of the checks; scripts/contracts.awk reads them.
#ifndef TESSMAKER_TESSMAKER_H
#define TESSMAKER_TESSMAKER_H

#include "tessmaker/connectivity.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"
#include "tessmaker/geometry.h"
#include "tessmaker/histogram.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/mesh_file.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"
#include "tessmaker/node_detector.h"
#include "tessmaker/quality.h"
#include "tessmaker/repair.h"

#endif
