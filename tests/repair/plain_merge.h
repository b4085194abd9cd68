// Welding and the two clean-ups told once more as plainly as possible, for tests to compare with.
#ifndef TESSMAKER_TESTS_REPAIR_PLAIN_MERGE_H
#define TESSMAKER_TESTS_REPAIR_PLAIN_MERGE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "support/meshes.h"
#include "tessmaker/containers.h"

namespace test {

using id_vector = std::vector<unsigned int>;
using column_list = std::vector<id_vector>;
using coordinates = std::array<double, 3>;

inline coordinates coordinates_of(const dense2D<double>& pos, unsigned int id) {
    coordinates p{};
    for (std::size_t r = 0; r < pos.rows(); ++r) p[r] = pos(r, id);
    return p;
}

// The order of the sum decides about ties.
inline double squared_distance(const coordinates& p, const coordinates& q) {
    const double dx = p[0] - q[0];
    const double dy = p[1] - q[1];
    const double dz = p[2] - q[2];
    return (dy * dy + dx * dx) + dz * dz;
}

struct box {
    coordinates low, high;

    bool holds(const coordinates& p) const {
        for (std::size_t r = 0; r < p.size(); ++r) {
            if (!(low[r] <= p[r] && p[r] <= high[r])) return false;
        }
        return true;
    }
};

inline box box_around(const coordinates& p, double tol) {
    box around{p, p};
    if (tol == 0) return around;
    for (std::size_t r = 0; r < p.size(); ++r) {
        around.low[r] = p[r] - tol;
        around.high[r] = p[r] + tol;
    }
    return around;
}

// k-d tree by medians of (coordinate, ID), which lists hits in the order node, right, left. Points
// with a coordinate that is not a number have no place in it.
class plain_tree {
public:
    plain_tree(const dense2D<double>& pos, const id_vector& ids) : pos_(pos) {
        id_vector placed;
        for (const unsigned int id : ids) {
            const coordinates p = coordinates_of(pos, id);
            if (std::none_of(p.begin(), p.end(), [](double v) { return std::isnan(v); })) {
                placed.push_back(id);
            }
        }
        root_ = build(placed.data(), placed.size(), 0);
    }

    id_vector hits(const box& wanted) const {
        id_vector found;
        search(root_, 0, wanted, found);
        return found;
    }

private:
    static constexpr std::size_t no_node = static_cast<std::size_t>(-1);
    struct node {
        unsigned int id;
        std::size_t left, right;
    };

    std::size_t build(unsigned int* ids, std::size_t n, std::size_t axis) {
        if (n == 0) return no_node;
        std::sort(ids, ids + n, [&](unsigned int a, unsigned int b) {
            return std::pair(pos_(axis, a), a) < std::pair(pos_(axis, b), b);
        });
        const std::size_t mid = n / 2;
        const std::size_t next = (axis + 1) % pos_.rows();
        const std::size_t here = nodes_.size();
        nodes_.push_back({ids[mid], no_node, no_node});
        const std::size_t left = build(ids, mid, next);
        const std::size_t right = build(ids + mid + 1, n - mid - 1, next);
        nodes_[here].left = left;
        nodes_[here].right = right;
        return here;
    }

    void search(std::size_t at, std::size_t axis, const box& wanted, id_vector& found) const {
        if (at == no_node) return;
        const node& here = nodes_[at];
        const double c = pos_(axis, here.id);
        const bool reaches_right = c <= wanted.high[axis];
        const bool reaches_left = wanted.low[axis] <= c;
        const std::size_t next = (axis + 1) % pos_.rows();
        if (reaches_left && reaches_right && wanted.holds(coordinates_of(pos_, here.id))) {
            found.push_back(here.id);
        }
        if (reaches_right) search(here.right, next, wanted, found);
        if (reaches_left) search(here.left, next, wanted, found);
    }

    const dense2D<double>& pos_;
    std::vector<node> nodes_;
    std::size_t root_ = no_node;
};

inline id_vector identity(std::size_t n) {
    id_vector map(n);
    std::iota(map.begin(), map.end(), 0U);
    return map;
}

inline id_vector distinct(const id_vector& ids) {
    id_vector seen;
    for (const unsigned int id : ids) {
        if (id != none && std::find(seen.begin(), seen.end(), id) == seen.end()) {
            seen.push_back(id);
        }
    }
    return seen;
}

inline id_vector distinct(const std::vector<column_list>& arrays, std::size_t nbr_nodes) {
    id_vector seen;
    std::vector<char> known(nbr_nodes, 0);
    for (const column_list& array : arrays) {
        for (const id_vector& column : array) {
            for (const unsigned int id : column) {
                if (id == none || known[id]) continue;
                known[id] = 1;
                seen.push_back(id);
            }
        }
    }
    return seen;
}

inline void follow_chains(id_vector& map, const id_vector& ids) {
    for (const unsigned int id : ids) {
        unsigned int end = id;
        while (map[end] != end) end = map[end];
        for (unsigned int at = id; map[at] != end;) at = std::exchange(map[at], end);
    }
}

inline void relabel(std::vector<column_list>& arrays, const id_vector& map) {
    for (column_list& array : arrays) {
        for (id_vector& column : array) {
            for (unsigned int& id : column) {
                if (id < map.size()) id = map[id];
            }
        }
    }
}

struct merge_result {
    int count = 0;
    id_vector new_IDs;
};

// `list1` and `list2` hold distinct IDs.
inline merge_result plain_merge_distinct(const dense2D<double>& pos, const id_vector& list1,
                                         const id_vector& list2, double tol) {
    merge_result result;
    if (list1.empty() || list2.empty()) return result;
    const plain_tree tree(pos, list2);
    id_vector rank(pos.cols(), none);
    for (unsigned int k = 0; k < list2.size(); ++k) rank[list2[k]] = k;
    result.new_IDs = identity(pos.cols());
    for (const unsigned int p : list1) {
        const coordinates at = coordinates_of(pos, p);
        unsigned int best = p;
        double best_dist2 = tol * tol;
        for (const unsigned int q : tree.hits(box_around(at, tol))) {
            const double d2 = squared_distance(at, coordinates_of(pos, q));
            if (q != p && d2 <= best_dist2 && rank[q] < rank[p]) {
                best = q;
                best_dist2 = d2;
            }
        }
        if (best == p) continue;
        result.new_IDs[p] = best;
        ++result.count;
    }
    follow_chains(result.new_IDs, list1);
    return result;
}

inline merge_result plain_merge(const dense2D<double>& pos, const id_vector& nodes1,
                                const id_vector& nodes2, double tol) {
    return plain_merge_distinct(pos, distinct(nodes1), distinct(nodes2), tol);
}

// Moves the points of merged nodes as well.
inline merge_result plain_merge(dense2D<double>& pos, double tol) {
    const id_vector all = identity(pos.cols());
    const merge_result result = plain_merge_distinct(pos, all, all, tol);
    for (unsigned int k = 0; k < result.new_IDs.size(); ++k) {
        for (std::size_t r = 0; r < pos.rows(); ++r) pos(r, k) = pos(r, result.new_IDs[k]);
    }
    return result;
}

// Relabels `arrays`.
inline merge_result plain_merge(const dense2D<double>& pos, std::vector<column_list>& arrays,
                                double tol, unsigned int flag) {
    const id_vector unique = distinct(arrays, pos.cols());
    if (unique.empty()) return {0, identity(pos.cols())};
    if (flag == 0) {
        const merge_result result = plain_merge_distinct(pos, unique, unique, tol);
        relabel(arrays, result.new_IDs);
        return result;
    }

    struct record {
        double dist2;
        unsigned int keep, drop;
    };
    const plain_tree tree(pos, unique);
    merge_result result{0, identity(pos.cols())};
    for (;;) {
        std::vector<record> records;
        for (const column_list& array : arrays) {
            for (const id_vector& column : array) {
                for (const unsigned int a : column) {
                    if (a == none) continue;
                    const coordinates at = coordinates_of(pos, a);
                    for (const unsigned int b : tree.hits(box_around(at, tol))) {
                        const double d2 = squared_distance(at, coordinates_of(pos, b));
                        if (b != a && d2 <= tol * tol &&
                            std::find(column.begin(), column.end(), b) != column.end()) {
                            records.push_back({d2, a, b});
                        }
                    }
                }
            }
        }
        std::stable_sort(records.begin(), records.end(), [](const record& a, const record& b) {
            return std::pair(a.dist2, a.keep) < std::pair(b.dist2, b.keep);
        });
        id_vector moved = identity(pos.cols());
        int count = 0;
        for (const record& r : records) {
            if (moved[r.keep] != r.keep || moved[r.drop] != r.drop) continue;
            result.new_IDs[r.drop] = r.keep;
            moved[r.drop] = r.keep;
            ++count;
        }
        if (count == 0) break;
        follow_chains(result.new_IDs, unique);
        relabel(arrays, result.new_IDs);
        result.count += count;
        if (flag == 1) break;
    }
    return result;
}

// Returns the map of columns.
inline id_vector plain_remove_degenerated(column_list& columns, bool strict) {
    id_vector map;
    column_list kept;
    for (const id_vector& column : columns) {
        bool repeated = false;
        for (std::size_t i = 0; i < column.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                repeated |= column[i] == column[j] && (strict || column[i] != none);
            }
        }
        map.push_back(repeated ? none : static_cast<unsigned int>(kept.size()));
        if (!repeated) kept.push_back(column);
    }
    columns = std::move(kept);
    return map;
}

// Returns the map of nodes.
inline id_vector plain_simplify(std::vector<std::vector<double>>& points,
                                std::vector<column_list>& arrays, unsigned int first_node) {
    std::vector<char> used(points.size(), 0);
    for (const unsigned int id : distinct(arrays, points.size())) used[id] = 1;
    id_vector map;
    std::vector<std::vector<double>> kept;
    for (unsigned int i = 0; i < points.size(); ++i) {
        const bool stays = i < first_node || used[i];
        map.push_back(stays ? static_cast<unsigned int>(kept.size()) : none);
        if (stays) kept.push_back(points[i]);
    }
    points = std::move(kept);
    relabel(arrays, map);
    return map;
}

} // namespace test

#endif
