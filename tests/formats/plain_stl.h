// Reading and writing of STL files as plainly as possible, for tests to compare with.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_STL_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_STL_H

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "repair/plain_merge.h"
#include "support/meshes.h"

namespace test {

struct surface {
    int code = 0;
    std::vector<std::vector<double>> points;
    column_list triangles;
};

using vector3 = std::array<double, 3>;

inline vector3 minus(const vector3& a, const vector3& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline double dot(const vector3& a, const vector3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline vector3 cross(const vector3& a, const vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The squared smallest height of a triangle.
inline double plain_min_height2(const std::array<vector3, 3>& corners) {
    double least = std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < 3; ++i) {
        const vector3& a = corners[i];
        const vector3& b = corners[(i + 1) % 3];
        const vector3& c = corners[(i + 2) % 3];
        const bool b_is_near = dot(minus(a, b), minus(a, b)) <= dot(minus(a, c), minus(a, c));
        const vector3& near = b_is_near ? b : c;
        const vector3& far = b_is_near ? c : b;
        const vector3 e = minus(far, near);
        const vector3 d = minus(a, near);
        double value = dot(cross(e, d), cross(e, d));
        if (dot(e, e) > 0) value /= dot(e, e);
        if (value < least) least = value;
    }
    return least;
}

class plain_stl_reader {
public:
    explicit plain_stl_reader(std::FILE* file) : file_(file) {}

    surface read() {
        std::fpos_t start;
        std::fgetpos(file_, &start);
        read_text();
        if (result_.code < 0) {
            std::fsetpos(file_, &start);
            result_ = surface();
            least_height2_ = std::numeric_limits<double>::max();
            read_binary();
        }
        if (result_.code == 0) weld();
        if (result_.code < 0) result_ = surface{result_.code, {}, {}};
        return result_;
    }

private:
    bool next_line() {
        if (!std::fgets(line_, sizeof line_, file_)) return false;
        for (char* c = line_; *c; ++c) {
            *c = static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
        }
        return true;
    }
    bool line_has(const char* word) const { return std::strstr(line_, word) != nullptr; }

    // False when the text is over, well or not.
    bool before_facet() {
        for (;;) {
            do {
                if (!next_line()) return fail(-3);
            } while (line_has("color"));
            if (!line_has("endsolid")) return true;
            if (!next_line()) return false;
            if (!line_has("solid")) return true;
        }
    }

    void read_text() {
        if (!next_line() || !line_has("solid")) {
            fail(-2);
            return;
        }
        while (before_facet()) {
            if (!read_text_facet()) return;
            look_at_height();
        }
    }

    bool read_text_facet() {
        double x, y, z;
        if (std::sscanf(line_, " facet normal %lg %lg %lg\n", &x, &y, &z) != 3) return fail(-3);
        if (!next_line() || !line_has("outer loop")) return fail(-3);
        for (int k = 0; k < 3; ++k) {
            if (!next_line() || std::sscanf(line_, " vertex %lg %lg %lg\n", &x, &y, &z) != 3) {
                return fail(-3);
            }
            result_.points.push_back({x, y, z});
        }
        if (!next_line() || !line_has("endloop")) return fail(-3);
        if (!next_line() || !line_has("endfacet")) return fail(-3);
        return true;
    }

    void read_binary() {
        char header[80];
        if (std::fread(header, 1, 80, file_) != 80) {
            fail(-2);
            return;
        }
        std::int32_t count = 0;
        if (std::fread(&count, 4, 1, file_) != 1) {
            fail(-3);
            return;
        }
        for (std::int32_t k = 0; k < count; ++k) {
            float values[12];
            char attributes[2];
            if (std::fread(values, 4, 12, file_) != 12 ||
                std::fread(attributes, 1, 2, file_) != 2) {
                fail(-3);
                return;
            }
            for (int v = 3; v < 12; v += 3) {
                result_.points.push_back({static_cast<double>(values[v]),
                                          static_cast<double>(values[v + 1]),
                                          static_cast<double>(values[v + 2])});
            }
            look_at_height();
        }
    }

    void look_at_height() {
        std::array<vector3, 3> corners;
        for (std::size_t k = 0; k < 3; ++k) {
            const std::vector<double>& p = result_.points[result_.points.size() - 3 + k];
            corners[k] = {p[0], p[1], p[2]};
        }
        const double h2 = plain_min_height2(corners);
        if (h2 > 0 && h2 < least_height2_) least_height2_ = h2;
    }

    void weld() {
        column_list& triangles = result_.triangles;
        for (unsigned int k = 0; k < result_.points.size(); k += 3) {
            triangles.push_back({k, k + 1, k + 2});
        }
        if (!(least_height2_ < std::numeric_limits<double>::max())) return;
        dense2D<double> pos(3, result_.points.size());
        for (std::size_t c = 0; c < pos.cols(); ++c) {
            for (std::size_t r = 0; r < 3; ++r) pos(r, c) = result_.points[c][r];
        }
        constexpr std::size_t block_size = 100000;
        for (std::size_t c = 0; c < triangles.size(); c += block_size) {
            const std::size_t end = std::min(c + block_size, triangles.size());
            const auto first = triangles.begin() + static_cast<std::ptrdiff_t>(c);
            std::vector<column_list> block{
                column_list(first, triangles.begin() + static_cast<std::ptrdiff_t>(end))};
            plain_merge(pos, block, 0.0, 0);
            std::copy(block[0].begin(), block[0].end(), first);
        }
        std::vector<column_list> all{std::move(triangles)};
        plain_merge(pos, all, 0.05 * std::sqrt(least_height2_), 0);
        plain_remove_degenerated(all[0], true);
        plain_simplify(result_.points, all, 0);
        triangles = std::move(all[0]);
    }

    bool fail(int code) {
        result_.code = code;
        return false;
    }

    std::FILE* file_;
    char line_[256];
    double least_height2_ = std::numeric_limits<double>::max();
    surface result_;
};

inline surface plain_stl_input(const std::string& bytes) {
    const scratch_stream file(bytes);
    return plain_stl_reader(file.get()).read();
}

inline vector3 plain_normal(const vector3& a, const vector3& b, const vector3& c) {
    const vector3 u = minus(a, c);
    const vector3 v = minus(b, c);
    const vector3 w = minus(b, a);
    vector3 n = dot(w, w) <= std::min(dot(u, u), dot(v, v)) ? cross(u, w) : cross(u, v);
    const double s = dot(n, n);
    if (s != 0 && s != 1) {
        for (double& x : n) x *= 1.0 / std::sqrt(s);
    }
    return n;
}

} // namespace test

#endif
