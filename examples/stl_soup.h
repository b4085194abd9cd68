// The triangles of an STL file as they are stored, each with three corners of its own.
#ifndef STL_SOUP_H
#define STL_SOUP_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include <tessmaker/containers.h>
#include <tessmaker/repair.h>

inline bool add_corners(const double* corners, std::size_t n, kv7::dense2D<double>& pos) {
    const std::size_t cols = pos.cols();
    if (!pos.reserve(3, cols + n, 2) || !pos.resize(3, cols + n)) return false;
    std::copy_n(corners, 3 * n, pos.column(cols));
    return true;
}

// Appends the corners of a facet, three nodes; nothing if a coordinate is no finite number.
inline bool add_facet(const double* corners, kv7::dense2D<double>& pos) {
    const bool is_finite =
        std::all_of(corners, corners + 9, [](double x) { return std::isfinite(x); });
    return !is_finite || add_corners(corners, 3, pos);
}

// The corners of all facets of a binary file that read_mesh has accepted.
inline bool read_binary_corners(std::FILE* file, kv7::dense2D<double>& pos) {
    unsigned char bytes[4];
    if (std::fseek(file, 80, SEEK_SET) != 0 || std::fread(bytes, 1, 4, file) != 4) return false;
    const std::uint32_t nbr_facets = std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 |
                                     std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
    for (std::uint32_t k = 0; k < nbr_facets; ++k) {
        float values[12]; // the normal and three corners
        unsigned char attribute[2];
        if (std::fread(values, 4, 12, file) != 12 || std::fread(attribute, 1, 2, file) != 2) {
            return false;
        }
        double corners[9];
        std::copy_n(values + 3, 9, corners);
        if (!add_facet(corners, pos)) return false;
    }
    return true;
}

// The next word, in lower case. False at the end of the file; long words are cut into several.
inline bool read_word(std::FILE* file, char (&word)[64]) {
    if (std::fscanf(file, "%63s", word) != 1) return false;
    for (char* c = word; *c != '\0'; ++c) {
        if (*c >= 'A' && *c <= 'Z') *c = static_cast<char>(*c - 'A' + 'a');
    }
    return true;
}

inline void skip_line(std::FILE* file) {
    for (int c = std::fgetc(file); c != EOF && c != '\n' && c != '\r'; c = std::fgetc(file)) {
    }
}

// The same of a text file.
inline bool read_text_corners(std::FILE* file, kv7::dense2D<double>& pos) {
    double corners[9];
    std::size_t n = 0;
    for (char word[64]; read_word(file, word);) {
        // Names may be any words.
        if (std::strcmp(word, "solid") == 0 || std::strcmp(word, "endsolid") == 0) skip_line(file);
        if (std::strcmp(word, "vertex") != 0) continue;
        for (int r = 0; r < 3; ++r) {
            if (!read_word(file, word)) return false;
            corners[n++] = std::strtod(word, nullptr);
        }
        if (n < 9) continue;
        if (!add_facet(corners, pos)) return false;
        n = 0;
    }
    return n == 0;
}

// The smallest height of a facet that isn't degenerate; 0 if there is none.
inline double smallest_height(const kv7::dense2D<double>& pos) {
    double smallest2 = std::numeric_limits<double>::max();
    for (std::size_t first = 0; first < pos.cols(); first += 3) {
        double facet_smallest2 = std::numeric_limits<double>::max();
        for (std::size_t i = 0; i < 3; ++i) {
            // The height of corner `a` over the opposite edge, computed from the nearer end.
            const double* const a = pos.column(first + i);
            const double* near = pos.column(first + (i + 1) % 3);
            const double* far = pos.column(first + (i + 2) % 3);
            const auto distance2 = [a](const double* p) {
                return (a[0] - p[0]) * (a[0] - p[0]) + (a[1] - p[1]) * (a[1] - p[1]) +
                       (a[2] - p[2]) * (a[2] - p[2]);
            };
            if (distance2(near) > distance2(far)) std::swap(near, far);
            double e[3];
            double d[3];
            for (int r = 0; r < 3; ++r) {
                e[r] = far[r] - near[r];
                d[r] = a[r] - near[r];
            }
            const double n[3] = {e[1] * d[2] - e[2] * d[1], e[2] * d[0] - e[0] * d[2],
                                 e[0] * d[1] - e[1] * d[0]};
            const double length2 = e[0] * e[0] + e[1] * e[1] + e[2] * e[2];
            const double area2 = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
            facet_smallest2 = std::min(facet_smallest2, length2 > 0.0 ? area2 / length2 : area2);
        }
        if (facet_smallest2 > 0.0) smallest2 = std::min(smallest2, facet_smallest2);
    }
    return smallest2 < std::numeric_limits<double>::max() ? std::sqrt(smallest2) : 0.0;
}

// Merges nodes that coincide exactly, in blocks of facets, then nodes within the tolerance.
inline int weld_soup(double tolerance, kv7::dense2D<double>& pos,
                     kv7::dense2D<unsigned int>& connect) {
    constexpr std::size_t block_size = 100000;
    for (std::size_t c = 0; c < connect.cols(); c += block_size) {
        const std::size_t nbr_facets = std::min(block_size, connect.cols() - c);
        kv7::dense2D<unsigned int> block = connect.sub_matrix(0, c, 3, nbr_facets);
        const int result = kv7::tessmaker::merge(pos, block, 0.0, 0);
        if (result < 0) return result;
    }
    return kv7::tessmaker::merge(pos, connect, tolerance, 0);
}

inline int clean_soup(kv7::dense2D<double>& pos, kv7::dense2D<unsigned int>& connect) {
    const int result = kv7::tessmaker::remove_degenerated(connect, true);
    return result < 0 ? result : kv7::tessmaker::simplify(pos, connect, 0);
}

#endif
