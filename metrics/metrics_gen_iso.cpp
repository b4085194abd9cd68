#include <algorithm>
#include <cmath>

#include "core/element_walk.h"
#include "core/ids.h"
#include "metrics/sizes.h"
#include "tessmaker/metric_fields.h"

namespace kv7::tessmaker {

namespace {

double distance(const double* a, const double* b, std::size_t rows) {
    double sum = 0.0;
    for (std::size_t r = 0; r < rows; ++r) sum += (b[r] - a[r]) * (b[r] - a[r]);
    return std::sqrt(sum);
}

// Ways to gather the lengths of the edges at a node: the shortest, the longest, their sum, the sum
// of a power.
struct shortest {
    static constexpr double start = no_limit;
    void operator()(double& size, double d) const { size = std::min(size, d); }
};
struct longest {
    static constexpr double start = 0.0;
    void operator()(double& size, double d) const { size = std::max(size, d); }
};
struct sum {
    static constexpr double start = 0.0;
    void operator()(double& size, double d) const { size += d; }
};
struct power_sum {
    static constexpr double start = 0.0;
    double exponent;
    void operator()(double& size, double d) const { size += std::pow(d, exponent); }
};

// Walks the edges element by element: an edge that several elements share counts once for each.
template <class Gather>
void gather_lengths(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                    element_type type, Gather gather, double* sizes, unsigned int* counts) {
    const std::size_t rows = pos.rows();
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        const unsigned int* const column = connect.column(c);
        const local_edges& edges = topology_of(column_type(type, column)).edges;
        for (unsigned int e = 0; e < edges.count; ++e) {
            const unsigned int ends[2] = {column[edges.edge[e].a], column[edges.edge[e].b]};
            const double d = distance(pos.column(ends[0]), pos.column(ends[1]), rows);
            if (d == 0.0 || !std::isfinite(d)) continue;
            for (const unsigned int node : ends) {
                if (counts[node] == 0) sizes[node] = Gather::start;
            }
            for (const unsigned int node : ends) gather(sizes[node], d);
            for (const unsigned int node : ends) ++counts[node];
        }
    }
}

void sums_to_means(double exponent, const id_list& counts, dense1D<double, 8>& sizes) {
    for (std::size_t n = 0; n < counts.size(); ++n) {
        if (counts[n] == 0) continue;
        sizes[n] /= counts[n];
        if (exponent != 1.0) sizes[n] = std::pow(sizes[n], 1.0 / exponent);
    }
}

} // namespace

int metrics_gen_iso(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                    element_type type, dense1D<double, 8>& sizes, double exponent) {
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (element_dim(type) > pos.rows()) return -1;
    if (!check_IDs(connect, type, id_limit(pos))) return -2;
    if (!(exponent >= 0.0)) return -5;
    if (!sizes.resize(std::max(sizes.size(), pos.cols()), 0.0)) return -199;
    if (!is_linear_type(type)) return -3;
    id_list counts(sizes.size(), 0);
    if (counts.size() != sizes.size()) return -199;

    const auto gather = [&](auto how) {
        gather_lengths(pos, connect, type, how, sizes.data(), counts.data());
    };
    if (exponent == 0.0) {
        gather(shortest{});
    } else if (exponent == no_limit) {
        gather(longest{});
    } else if (exponent == 1.0) {
        gather(sum{});
    } else {
        gather(power_sum{exponent});
    }
    if (exponent > 0.0 && exponent < no_limit) sums_to_means(exponent, counts, sizes);
    return 0;
}

} // namespace kv7::tessmaker
