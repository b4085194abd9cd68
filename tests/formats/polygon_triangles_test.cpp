// Polygons cut into triangles.
#include "formats/polygon_triangles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

using point = std::array<double, 2>;
using polygon = std::vector<point>;
using triangles = std::vector<std::array<unsigned int, 3>>;

double area2(point a, point b, point c) {
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}
double area2(const polygon& p) {
    double sum = 0.0;
    for (std::size_t k = 2; k < p.size(); ++k) sum += area2(p[0], p[k - 1], p[k]);
    return sum;
}

// Where x and y of a polygon go in space.
using placement = std::array<double, 3> (*)(point);
std::array<double, 3> flat(point p) { return {p[0], p[1], 0.0}; }
std::array<double, 3> upside_down(point p) { return {p[1], p[0], -2.0}; }
std::array<double, 3> on_yz(point p) { return {7.0, p[0], p[1]}; }
std::array<double, 3> on_zx(point p) { return {p[1], -3.0, p[0]}; }
std::array<double, 3> tilted(point p) { return {p[0], p[1], 2.0 * p[0] - 3.0 * p[1] + 1.0}; }
std::array<double, 3> tiny_and_far(point p) {
    return {1.0 + p[0] * 0x1p-40, 5.0, 3.0 - p[1] * 0x1p-40};
}
std::array<double, 3> huge(point p) { return {p[0] * 1e307, p[1] * 1e307, -1e307}; }
std::array<double, 3> subnormal(point p) { return {p[0] * 1e-323, p[1] * 1e-323, 0.0}; }

struct cut_polygon {
    bool is_proper;
    triangles all;
};

cut_polygon cut(const polygon& p, placement place, polygon_triangles& cutter) {
    std::vector<double> points;
    for (const point& corner : p) {
        for (const double x : place(corner)) points.push_back(x);
    }
    cut_polygon result{cutter.cut(points.data(), p.size()), {}};
    const std::vector<unsigned int>& corners = cutter.corners();
    EXPECT_EQ(corners.size(), 3 * (p.size() - 2));
    for (std::size_t k = 0; k + 2 < corners.size(); k += 3) {
        result.all.push_back({corners[k], corners[k + 1], corners[k + 2]});
    }
    return result;
}
cut_polygon cut(const polygon& p, placement place = flat) {
    polygon_triangles cutter;
    return cut(p, place, cutter);
}

// Whether each side of the polygon is a side of one triangle, and each other side of a triangle one
// of another, in the opposite direction.
bool fit_together(const triangles& all, std::size_t n) {
    std::map<std::pair<unsigned int, unsigned int>, int> sides;
    for (const auto& t : all) {
        for (std::size_t i = 0; i < 3; ++i) {
            const unsigned int a = t[i];
            const unsigned int b = t[(i + 1) % 3];
            if (a >= n || b >= n || a == b) return false;
            const bool is_outline = b == (a + 1) % n;
            if (!is_outline && sides.count({b, a}) != 0) {
                sides.erase({b, a});
            } else if (++sides[{a, b}] != 1) {
                return false;
            }
        }
    }
    if (sides.size() != n) return false;
    return std::all_of(sides.begin(), sides.end(), [n](const auto& side) {
        return side.first.second == (side.first.first + 1) % n;
    });
}

// What holds of every outline that doesn't cross itself: the triangles turn as it does, have an
// area, and cover it.
void expect_covered(const polygon& p, const cut_polygon& result, double tolerance = 0.0) {
    EXPECT_TRUE(result.is_proper);
    EXPECT_TRUE(fit_together(result.all, p.size()));
    const double whole = area2(p);
    double sum = 0.0;
    for (const auto& t : result.all) {
        const double area = area2(p[t[0]], p[t[1]], p[t[2]]);
        EXPECT_GT(area * whole, 0.0);
        sum += area;
    }
    EXPECT_NEAR(sum, whole, tolerance * std::abs(whole));
}

polygon reversed(polygon p) {
    std::reverse(p.begin(), p.end());
    return p;
}

// A star of `n` points, or with `inner` 1 a circle of 2 n corners.
polygon star(std::size_t n, double inner) {
    polygon p;
    for (std::size_t k = 0; k < 2 * n; ++k) {
        const double angle = std::acos(-1.0) * static_cast<double>(k) / static_cast<double>(n);
        const double radius = k % 2 == 0 ? 1.0 : inner;
        p.push_back({radius * std::cos(angle), radius * std::sin(angle)});
    }
    return p;
}

// Teeth that all end on one line, with their tips at heights between.
polygon comb(std::size_t nbr_teeth) {
    polygon p{{0.0, -1.0}, {2.0 * static_cast<double>(nbr_teeth), -1.0}};
    for (std::size_t k = nbr_teeth; k-- > 0;) {
        p.push_back({2.0 * static_cast<double>(k) + 1.5, 0.0});
        p.push_back({2.0 * static_cast<double>(k) + 0.5, 5.0 + static_cast<double>(k % 7)});
    }
    p.push_back({0.0, 0.0});
    return p;
}

// A band that winds inwards.
polygon spiral(std::size_t n) {
    polygon outer;
    polygon inner;
    for (std::size_t k = 0; k < n; ++k) {
        const double angle = 0.1 * static_cast<double>(k);
        const double radius = 1.0 + angle;
        outer.push_back({radius * std::cos(angle), radius * std::sin(angle)});
        inner.push_back({(radius + 3.0) * std::cos(angle), (radius + 3.0) * std::sin(angle)});
    }
    outer.insert(outer.end(), inner.rbegin(), inner.rend());
    return outer;
}

TEST(polygon_triangles, a_convex_polygon_is_cut_into_triangles_of_like_size) {
    const polygon octagon = star(4, 1.0);
    const cut_polygon result = cut(octagon);
    expect_covered(octagon, result, 1e-14);
    EXPECT_EQ(result.all,
              (triangles{{0, 1, 2}, {2, 3, 4}, {4, 5, 6}, {6, 7, 0}, {0, 2, 4}, {6, 0, 4}}));
}

TEST(polygon_triangles, concave_ones_are_covered_whichever_way_they_lie_and_turn) {
    const std::vector<polygon> all{
        {{0, 0}, {4, 0}, {4, 4}, {2, 1}, {0, 4}},                         // a notch
        {{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}},                 // an L
        {{0, 0}, {5, 0}, {5, 5}, {0, 5}, {0, 4}, {4, 4}, {4, 1}, {0, 1}}, // a C
        {{0, 0}, {6, 0}, {6, 3}, {5, 3}, {5, 1}, {3, 1}, {3, 3}, {2, 3}, {2, 1}, {0, 1}},
        {{0, 0}, {2, 0}, {4, 0}, {4, 2}, {4, 4}, {2, 4}, {0, 4}, {0, 2}}, // corners on sides
        {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 3}},
        {{0, 0}, {4, 0}, {2, 0.5}, {4, 4}, {1, 2}, {0, 4}},
        comb(6),
    };
    for (const polygon& p : all) {
        for (const placement place :
             {flat, upside_down, on_yz, on_zx, tilted, tiny_and_far, huge, subnormal}) {
            expect_covered(p, cut(p, place));
            expect_covered(reversed(p), cut(reversed(p), place));
        }
    }
}

TEST(polygon_triangles, stars_and_spirals_are_covered) {
    for (std::size_t n = 3; n < 40; ++n) {
        for (const double inner : {0.01, 0.3, 0.9}) {
            const polygon p = star(n, inner);
            expect_covered(p, cut(p), 1e-12);
            expect_covered(reversed(p), cut(reversed(p), tilted), 1e-12);
        }
    }
    expect_covered(spiral(500), cut(spiral(500)), 1e-12);
}

// A hole that repeated corners lead to and back from.
TEST(polygon_triangles, holes_are_left_out) {
    const polygon square{{0, 0}, {9, 0}, {9, 9}, {0, 9}};
    const polygon hole{{3, 3}, {3, 6}, {6, 6}, {6, 3}};
    for (std::size_t from = 0; from < 4; ++from) {
        for (std::size_t to = 0; to < 4; ++to) {
            // Other bridges cross the hole.
            const bool is_free = (from == 0 && to != 2) || (from == 1 && to != 1) ||
                                 (from == 2 && to != 0) || (from == 3 && to != 3);
            if (!is_free) continue;
            polygon p;
            for (std::size_t k = 0; k <= 4; ++k) p.push_back(square[(from + k) % 4]);
            for (std::size_t k = 0; k <= 4; ++k) p.push_back(hole[(to + k) % 4]);
            EXPECT_EQ(area2(p), 144.0);
            expect_covered(p, cut(p));
            expect_covered(p, cut(p, tilted));
            expect_covered(reversed(p), cut(reversed(p), on_yz));
        }
    }
}

// Exact, in small integers.
bool is_on(point a, point b, point p) {
    return area2(a, b, p) == 0.0 && std::min(a[0], b[0]) <= p[0] && p[0] <= std::max(a[0], b[0]) &&
           std::min(a[1], b[1]) <= p[1] && p[1] <= std::max(a[1], b[1]);
}
bool meet(point a, point b, point c, point d) {
    if (is_on(a, b, c) || is_on(a, b, d) || is_on(c, d, a) || is_on(c, d, b)) return true;
    return (area2(a, b, c) > 0.0) != (area2(a, b, d) > 0.0) &&
           (area2(c, d, a) > 0.0) != (area2(c, d, b) > 0.0);
}
bool is_simple(const polygon& p) {
    const std::size_t n = p.size();
    for (std::size_t i = 0; i < n; ++i) {
        const point a = p[i];
        const point b = p[(i + 1) % n];
        if (a == b || is_on(a, b, p[(i + 2) % n]) || is_on(b, p[(i + 2) % n], a)) return false;
        for (std::size_t j = i + 2; j < n; ++j) {
            if ((j + 1) % n != i && meet(a, b, p[j], p[(j + 1) % n])) return false;
        }
    }
    return true;
}

// Draws corners one by one until the outline closes without crossing itself.
polygon random_simple(random_source& random, std::size_t n, std::size_t side) {
    for (;;) {
        polygon p;
        for (std::size_t tries = 0; p.size() < n && tries < 60; ++tries) {
            const point next{static_cast<double>(random.below(side)),
                             static_cast<double>(random.below(side))};
            bool is_good = p.empty() || next != p.back();
            for (std::size_t k = 0; is_good && k + 2 < p.size(); ++k) {
                is_good = !meet(p[k], p[k + 1], p.back(), next);
            }
            if (is_good && p.size() > 1) {
                is_good = !is_on(p.back(), next, p[p.size() - 2]) &&
                          !is_on(p[p.size() - 2], p.back(), next);
            }
            if (is_good) p.push_back(next);
        }
        if (p.size() == n && is_simple(p)) return p;
    }
}

TEST(polygon_triangles, random_outlines_that_dont_cross_themselves_are_covered) {
    random_source random(7);
    polygon_triangles cutter;
    const std::vector<placement> places{flat, upside_down, on_yz, on_zx, tilted, tiny_and_far};
    for (std::uint64_t k = 0; k < nbr_runs(4000); ++k) {
        const std::size_t side = random.between(3, 8);
        const polygon p = random_simple(random, random.between(3, side + 3), side);
        expect_covered(p, cut(p, random.one_of(places), cutter));
    }
}

// Whatever the outline: as many triangles as ever, and each side of it is a side of one of them.
TEST(polygon_triangles, any_outline_comes_to_an_end) {
    random_source random(8);
    polygon_triangles cutter;
    for (std::uint64_t k = 0; k < nbr_runs(20000); ++k) {
        polygon p;
        const std::size_t n = random.between(3, 14);
        const std::size_t side = random.between(1, 5);
        for (std::size_t i = 0; i < n; ++i) {
            p.push_back(
                {static_cast<double>(random.below(side)), static_cast<double>(random.below(side))});
        }
        const cut_polygon result = cut(p, random.one_in(2) ? flat : tilted, cutter);
        EXPECT_TRUE(fit_together(result.all, n));
        bool all_have_area = true;
        for (const auto& t : result.all) {
            if (area2(p[t[0]], p[t[1]], p[t[2]]) * area2(p) <= 0.0) all_have_area = false;
        }
        if (result.is_proper) {
            EXPECT_TRUE(all_have_area);
        }
    }
}

TEST(polygon_triangles, what_has_no_area_is_told) {
    EXPECT_FALSE(cut({{0, 0}, {1, 1}, {2, 2}, {5, 5}}).is_proper);                 // a line
    EXPECT_FALSE(cut({{3, 3}, {3, 3}, {3, 3}}).is_proper);                         // a point
    EXPECT_FALSE(cut({{0, 0}, {0, 0}, {0, 0}}).is_proper);                         // at the origin
    EXPECT_FALSE(cut({{0, 0}, {1, 1}, {1, 0}, {0, 1}}).is_proper);                 // crossed
    EXPECT_FALSE(cut({{0, 0}, {4, 0}, {4, 4}, {4, 4}, {0, 4}}).is_proper);         // a corner twice
    EXPECT_FALSE(cut({{0, 0}, {4, 0}, {7, 0}, {4, 0}, {4, 4}, {0, 4}}).is_proper); // a thorn
    EXPECT_TRUE(cut({{0, 0}, {4, 0}, {0, 4}}).is_proper);
}

TEST(polygon_triangles, one_that_is_not_flat_is_cut_as_seen_along_its_normal) {
    const polygon p = star(9, 0.4);
    std::vector<double> points;
    for (std::size_t k = 0; k < p.size(); ++k) {
        points.insert(points.end(), {p[k][0], p[k][1], k % 3 == 0 ? 0.2 : -0.1});
    }
    polygon_triangles cutter;
    cut_polygon result{cutter.cut(points.data(), p.size()), {}};
    for (std::size_t k = 0; k < cutter.corners().size(); k += 3) {
        const unsigned int* const t = cutter.corners().data() + k;
        result.all.push_back({t[0], t[1], t[2]});
    }
    expect_covered(p, result, 1e-13);
}

TEST(polygon_triangles, noise_in_the_coordinates_does_no_harm) {
    random_source random(9);
    polygon_triangles cutter;
    for (std::uint64_t k = 0; k < nbr_runs(500); ++k) {
        polygon p = random_simple(random, random.between(5, 9), 6);
        std::vector<double> points;
        for (const point& c : p) {
            for (const double x : tilted(c)) {
                points.push_back((x + 100.0) * (1.0 + random.uniform(-1.0, 1.0) * 0x1p-53));
            }
        }
        EXPECT_TRUE(cutter.cut(points.data(), p.size()));
        triangles all;
        for (std::size_t i = 0; i < cutter.corners().size(); i += 3) {
            const unsigned int* const t = cutter.corners().data() + i;
            all.push_back({t[0], t[1], t[2]});
        }
        double sum = 0.0;
        for (const auto& t : all) sum += std::abs(area2(p[t[0]], p[t[1]], p[t[2]]));
        EXPECT_EQ(sum, std::abs(area2(p)));
    }
}

std::array<double, 3> turned(point p) {
    return {0.8 * p[0] - 0.6 * p[1], 0.6 * p[0] + 0.8 * p[1], 3.0};
}

TEST(polygon_triangles, many_corners_take_their_time_once) {
    const std::vector<polygon> all{star(250000, 1.0), star(250000, 0.5), star(250000, 0.999),
                                   comb(250000), spiral(250000)};
    for (const polygon& p : all) {
        const cut_polygon result = cut(p, turned);
        EXPECT_TRUE(result.is_proper) << &p - all.data();
        double sum = 0.0;
        for (const auto& t : result.all) sum += std::abs(area2(p[t[0]], p[t[1]], p[t[2]]));
        EXPECT_NEAR(sum, std::abs(area2(p)), 1e-9 * sum);
    }
}

// Two combs that make an L: the corners between the teeth of one are in the way of the other.
polygon two_combs(std::size_t nbr_teeth) {
    const double length = 2.0 * static_cast<double>(nbr_teeth);
    polygon p{{-1.0, -1.0}, {length, -1.0}, {length, 0.0}};
    for (std::size_t k = nbr_teeth; k-- > 0;) {
        p.push_back({2.0 * static_cast<double>(k) + 1.5, 0.0});
        p.push_back({2.0 * static_cast<double>(k) + 0.5, 5.0});
    }
    p.insert(p.end(), {{0.0, 0.0}, {0.0, length}, {-1.0, length}});
    for (std::size_t k = nbr_teeth; k-- > 0;) {
        p.push_back({-1.0, 2.0 * static_cast<double>(k) + 1.5});
        p.push_back({-6.0, 2.0 * static_cast<double>(k) + 0.5});
    }
    return p;
}

TEST(polygon_triangles, work_is_bounded) {
    polygon_triangles cutter;
    EXPECT_FALSE(cut(two_combs(6000), flat, cutter).is_proper);
    EXPECT_TRUE(cutter.has_given_up());
    const polygon p = two_combs(300);
    expect_covered(p, cut(p, flat, cutter));
    EXPECT_FALSE(cutter.has_given_up());
}

TEST(polygon_triangles, many_crossings_come_to_an_end) {
    random_source random(10);
    polygon p;
    for (std::size_t k = 0; k < 30000; ++k) {
        const double reach = k < 10 ? 1.0 : 1e-6;
        p.push_back({random.uniform(-reach, reach), random.uniform(-reach, reach)});
    }
    const cut_polygon result = cut(p);
    EXPECT_FALSE(result.is_proper);
    EXPECT_TRUE(fit_together(result.all, p.size()));
}

} // namespace
