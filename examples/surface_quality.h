// How well the facets of a triangle surface are shaped.
#ifndef SURFACE_QUALITY_H
#define SURFACE_QUALITY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include <tessmaker/quality.h>

struct surface_quality {
    // A facet whose coordinates are too large to be measured is rated -1, which is in no bin.
    kv7::misc::histogram histogram{0.0, 1.0, 10};
    double worst = 1.0;
    unsigned int worst_facet = 0xFFFFFFFF; // none when all facets are equilateral

    bool has_worst() const { return worst_facet != 0xFFFFFFFF; }
    bool adds_up(std::size_t nbr_facets) const {
        std::uint64_t sum = histogram.underflow();
        for (std::size_t bin = 0; bin < histogram.nbr_bins(); ++bin) sum += histogram.count(bin);
        return sum == nbr_facets && (!has_worst() || histogram.min() == worst);
    }
};

// False when memory fails.
inline bool find_quality(const kv7::dense2D<double>& pos, const kv7::dense2D<unsigned int>& connect,
                         surface_quality& quality) {
    using namespace kv7;
    using namespace kv7::tessmaker;
    dense1D<double> qualities;
    if (shape_qualities(pos, connect, ET_TRIA3, qualities) < 0 ||
        min_quality(pos, connect, ET_TRIA3, quality.worst, quality.worst_facet) < 0) {
        return false;
    }
    for (const double q : qualities) quality.histogram.process(q);
    return true;
}

inline void print_bin(const char* range, std::uint64_t count, std::uint64_t largest) {
    // A facet shows, however few there are.
    const auto length = static_cast<std::size_t>((32 * count + largest - 1) / largest);
    std::printf("%-24s%14llu%s%s\n", range, static_cast<unsigned long long>(count),
                length > 0 ? "  " : "", std::string(length, '#').c_str());
}

inline void print_quality(const kv7::dense2D<double>& pos,
                          const kv7::dense2D<unsigned int>& connect, const surface_quality& q) {
    std::printf("\n%-24s%14s  0 is flat, 1 equilateral\n", "quality", "facets");
    const kv7::misc::histogram& h = q.histogram;
    std::uint64_t largest = std::max<std::uint64_t>(h.underflow(), 1);
    for (std::size_t bin = 0; bin < h.nbr_bins(); ++bin) largest = std::max(largest, h.count(bin));
    if (h.underflow() > 0) print_bin("  not measurable", h.underflow(), largest);
    for (std::size_t bin = 0; bin < h.nbr_bins(); ++bin) {
        char range[32];
        std::snprintf(range, sizeof range, "  %.1f to %.1f", 0.1 * static_cast<double>(bin),
                      0.1 * static_cast<double>(bin + 1));
        print_bin(range, h.count(bin), largest);
    }
    if (h.total() > 0) std::printf("%-24s%14.6g\n", "mean quality", h.mean());
    if (!q.has_worst()) return;
    std::printf("%-24s%14.6g\n%-24s%14u\n", "worst quality", q.worst, "worst facet", q.worst_facet);
    for (std::size_t r = 0; r < 3; ++r) {
        const unsigned int node = connect(r, q.worst_facet);
        const double* const p = pos.column(node);
        std::printf("%-24s%14u  (%.9g, %.9g, %.9g)\n", "  corner, node", node, p[0], p[1], p[2]);
    }
}

#endif
