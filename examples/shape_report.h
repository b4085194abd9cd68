// The shape qualities of a mesh.
#ifndef SHAPE_REPORT_H
#define SHAPE_REPORT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include <tessmaker/quality.h>

struct shape_report {
    // Bins leave out triangles whose coordinates are too large to be measured (quality -1) and
    // inverted solids (below 0).
    kv7::misc::histogram histogram{0.0, 1.0, 10};
    double worst = 1.0;
    unsigned int worst_element = 0xFFFFFFFF; // none when all are ideal

    bool has_worst() const { return worst_element != 0xFFFFFFFF; }
    bool adds_up(std::size_t nbr_elements) const {
        std::uint64_t sum = histogram.underflow();
        for (std::size_t bin = 0; bin < histogram.nbr_bins(); ++bin) sum += histogram.count(bin);
        const bool all_numbers = sum == histogram.total();
        return histogram.total() == nbr_elements &&
               (!all_numbers || !has_worst() || histogram.min() == worst);
    }
};

// False when memory fails.
inline bool find_quality(const kv7::dense2D<double>& pos, const kv7::dense2D<unsigned int>& connect,
                         kv7::element_type type, kv7::dense1D<double>& qualities,
                         shape_report& quality) {
    using namespace kv7::tessmaker;
    if (shape_qualities(pos, connect, type, qualities) < 0 ||
        min_quality(pos, connect, type, quality.worst, quality.worst_element) < 0) {
        return false;
    }
    for (const double q : qualities) quality.histogram.process(q);
    return true;
}

inline void print_bin(const char* range, std::uint64_t count, std::uint64_t largest) {
    // At least one mark if there is an element at all.
    const auto length = static_cast<std::size_t>((32 * count + largest - 1) / largest);
    std::printf("%-24s%14llu%s%s\n", range, static_cast<unsigned long long>(count),
                length > 0 ? "  " : "", std::string(length, '#').c_str());
}

inline void print_quality(const kv7::dense2D<double>& pos,
                          const kv7::dense2D<unsigned int>& connect, const shape_report& q) {
    std::printf("\n%-24s%14s  0 is flat, 1 ideal\n", "quality", "elements");
    const kv7::misc::histogram& h = q.histogram;
    std::uint64_t largest = std::max<std::uint64_t>(h.underflow(), 1);
    for (std::size_t bin = 0; bin < h.nbr_bins(); ++bin) largest = std::max(largest, h.count(bin));
    if (h.underflow() > 0) print_bin("  below 0", h.underflow(), largest);
    for (std::size_t bin = 0; bin < h.nbr_bins(); ++bin) {
        char range[32];
        std::snprintf(range, sizeof range, "  %.1f to %.1f", 0.1 * static_cast<double>(bin),
                      0.1 * static_cast<double>(bin + 1));
        print_bin(range, h.count(bin), largest);
    }
    if (h.total() > 0) std::printf("%-24s%14.6g\n", "mean quality", h.mean());
    if (!q.has_worst()) return;
    std::printf("%-24s%14.6g\n%-24s%14u\n", "worst quality", q.worst, "worst element",
                q.worst_element);
    for (std::size_t r = 0; r < connect.rows(); ++r) {
        const unsigned int node = connect(r, q.worst_element);
        if (node == 0xFFFFFFFF) break;
        const double* const p = pos.column(node);
        std::printf("%-24s%14u  (%.9g, %.9g, %.9g)\n", "  corner, node", node, p[0], p[1], p[2]);
    }
}

#endif
