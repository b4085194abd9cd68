#include "quality/lanes.h"

namespace kv7::tessmaker {

const lanes lane_ones{1.0, 1.0};
const lanes lane_minus_ones{-1.0, -1.0};

} // namespace kv7::tessmaker
