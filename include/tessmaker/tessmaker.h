// Everything.
#ifndef TESSMAKER_TESSMAKER_H
#define TESSMAKER_TESSMAKER_H

#include "tessmaker/connectivity.h"
#include "tessmaker/containers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/formats.h"
#include "tessmaker/geometry.h"
#include "tessmaker/histogram.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"
#include "tessmaker/node_detector.h"
#include "tessmaker/quality.h"
#include "tessmaker/repair.h"

#endif
