// Boxes in a tree without links: J. L. Bentley and J. H. Friedman, Data structures for range
// searching, ACM Computing Surveys 11 (4), 1979; the widest axis: J. H. Friedman, J. L. Bentley and
// R. A. Finkel, An algorithm for finding best matches in logarithmic expected time, ACM
// Transactions on Mathematical Software 3 (3), 1977.
#include "search/distance_index.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "search/keyed_points.h"

namespace kv7::tessmaker {

namespace {

template <unsigned DIM> bool is_indexed(const double* p) {
    bool is_near = true; // NaN is not
    for (unsigned int axis = 0; axis < DIM; ++axis) {
        is_near &= std::fabs(p[axis]) <= distance_index<DIM>::farthest;
    }
    return is_near;
}

// The bounds of some points, as coordinates.
template <unsigned DIM> struct bounds {
    std::array<double, DIM> lower;
    std::array<double, DIM> upper;

    bounds() {
        lower.fill(std::numeric_limits<double>::max());
        upper.fill(-std::numeric_limits<double>::max());
    }
    void include(const double* p) { include(p, p); }
    void include(const bounds& other) { include(other.lower.data(), other.upper.data()); }
    unsigned int widest_axis() const {
        unsigned int widest = 0;
        for (unsigned int axis = 1; axis < DIM; ++axis) {
            if (width(axis) > width(widest)) widest = axis;
        }
        return widest;
    }
    double width(unsigned int axis) const { return upper[axis] - lower[axis]; }

private:
    void include(const double* low, const double* high) {
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            lower[axis] = std::min(lower[axis], low[axis]);
            upper[axis] = std::max(upper[axis], high[axis]);
        }
    }
};

} // namespace

// Brings the points in order, and sets the boxes from the bottom up.
template <unsigned DIM> class distance_index<DIM>::builder {
public:
    builder(distance_index& index, coordinate_columns coordinates, keyed_point* points)
        : index_(index), coordinates_(coordinates), points_(points) {
        scales_ = set_keys<DIM>(index.order_.data(), index.order_.size(), coordinates, points);
    }

    // Whether boxes are as tight as they must be.
    bool run() {
        const std::size_t nbr_buckets = std::size_t{1} << index_.log_buckets_;
        const point_range all{points_, points_ + index_.order_.size()};
        if (index_.nbr_roots_ == 1) {
            add_node(0, {0, nbr_buckets}, all);
        } else {
            index_.root_axis_ = widest_axis(all);
            const halves of = split(all, nbr_buckets);
            add_node(0, {0, nbr_buckets / 2}, of.lower);
            const bounds<DIM> second = add_node(1, {nbr_buckets / 2, nbr_buckets / 2}, of.upper);
            index_.root_plane_ = second.lower[index_.root_axis_];
        }
        index_.begin_[nbr_buckets] = static_cast<unsigned int>(index_.order_.size());
        return nbr_coarse_ <= most_coarse;
    }

private:
    // Boxes that rounding widens much do not keep queries from what they hold. Few are no harm.
    static constexpr unsigned int most_coarse = 16;

    struct bucket_range {
        std::size_t first;
        std::size_t size;
    };
    struct halves {
        point_range lower;
        point_range upper;
    };

    // A node with the buckets below it.
    bounds<DIM> add_node(std::size_t node, bucket_range buckets, point_range points) {
        if (buckets.size == 1) return add_bucket(buckets.first, points);
        const halves half = split(points, buckets.size);
        const halves lower = split(half.lower, buckets.size / 2);
        const halves upper = split(half.upper, buckets.size / 2);
        const point_range branches[] = {lower.lower, lower.upper, upper.lower, upper.upper};
        const std::size_t quarter = buckets.size / 4;
        bounds<DIM> all;
        for (std::size_t k = 0; k < 4; ++k) {
            const bounds<DIM> branch = add_node(
                index_.first_branch(node) + k, {buckets.first + k * quarter, quarter}, branches[k]);
            set_box(node, k, branch);
            all.include(branch);
        }
        if (quarter == 1 && is_coarse(all)) ++nbr_coarse_;
        return all;
    }

    bounds<DIM> add_bucket(std::size_t bucket, point_range points) {
        bounds<DIM> all;
        auto at = static_cast<std::size_t>(points.first - points_);
        index_.begin_[bucket] = static_cast<unsigned int>(at);
        for (const keyed_point* point = points.first; point != points.last; ++point) {
            index_.order_[at++] = point->id;
            all.include(coordinates_.of(point->id));
        }
        return all;
    }

    // Halves the points on their widest axis, for as many buckets each. Nodes of one coordinate
    // stay together if the halves are still about equal: layers of a grid that are torn apart give
    // boxes that overlap.
    halves split(point_range points, std::size_t nbr_buckets) const {
        const unsigned int axis = widest_axis(points);
        keyed_point* const middle = points.first + points.size() / 2;
        const point_range level = level_with(points, middle, axis);
        keyed_point* const end =
            middle - level.first < level.last - middle ? level.first : level.last;
        if (middle == level.first || !are_about_equal(points, end, nbr_buckets / 2)) {
            std::nth_element(level.first, middle, level.last, axis_order{coordinates_, axis});
            return {{points.first, middle}, {middle, points.last}};
        }
        return {{points.first, end}, {end, points.last}};
    }

    // The points that have the key of the one in the middle, after those of lower ones and before
    // those of higher ones.
    static point_range level_with(point_range points, keyed_point* middle, unsigned int axis) {
        point_range level = select_key(points.first, middle, points.last, axis);
        if (level.size() > few_points) return level;
        const auto is_less = [=](const keyed_point& a, const keyed_point& b) {
            return a.key[axis] < b.key[axis];
        };
        std::sort(level.first, level.last, is_less);
        const auto [first, last] = std::equal_range(level.first, level.last, *middle, is_less);
        return {first, last};
    }

    // A grid of an odd number of layers, three or more, can be halved with an error of a sixth.
    static bool are_about_equal(point_range points, const keyed_point* middle,
                                std::size_t nbr_buckets) {
        const auto size = static_cast<std::size_t>(points.size());
        const auto lower = static_cast<std::size_t>(middle - points.first);
        const std::size_t least = std::min(lower, size - lower);
        return least >= nbr_buckets && size - least <= largest_bucket * nbr_buckets &&
               least + size / 6 + 1 >= size / 2;
    }

    // By a sample of the points.
    unsigned int widest_axis(point_range points) const {
        const keyed_point* const first = points.first;
        const auto n = static_cast<std::size_t>(points.size());
        const std::size_t step = n / 64 + 1;
        std::array<unsigned int, DIM> lower, upper;
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            lower[axis] = upper[axis] = first->key[axis];
        }
        for (std::size_t i = 0; i < n; i += step) {
            for (unsigned int axis = 0; axis < DIM; ++axis) {
                lower[axis] = std::min(lower[axis], first[i].key[axis]);
                upper[axis] = std::max(upper[axis], first[i].key[axis]);
            }
        }
        unsigned int widest = 0;
        for (unsigned int axis = 1; axis < DIM; ++axis) {
            if (scales_[axis].half_length(upper[axis] - lower[axis]) >
                scales_[widest].half_length(upper[widest] - lower[widest])) {
                widest = axis;
            }
        }
        // Few steps: the keys of a far node leave none for the rest.
        if (upper[widest] - lower[widest] > 64) return widest;
        bounds<DIM> all;
        for (std::size_t i = 0; i < n; i += step) all.include(coordinates_.of(first[i].id));
        return all.widest_axis();
    }

    double in_units(double x, unsigned int axis) const {
        return (x - index_.origin_[axis]) * index_.scale_;
    }

    void set_box(std::size_t node, std::size_t branch, const bounds<DIM>& points) {
        branch_boxes<DIM>& boxes = index_.boxes_[node];
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            boxes.lower[axis][branch] = rounded_down(in_units(points.lower[axis], axis));
            boxes.upper[axis][branch] = -rounded_down(-in_units(points.upper[axis], axis));
        }
    }

    // Rounding moves a bound by up to 1.6e-7 of itself.
    bool is_coarse(const bounds<DIM>& points) const {
        const unsigned int widest = points.widest_axis();
        double largest = 1e-11; // squares of lengths far below are lost as float
        for (unsigned int axis = 0; axis < DIM; ++axis) {
            largest = std::max({largest, std::fabs(in_units(points.lower[axis], axis)),
                                std::fabs(in_units(points.upper[axis], axis))});
        }
        return points.width(widest) * index_.scale_ < 1e-6 * largest;
    }

    distance_index& index_;
    coordinate_columns coordinates_;
    keyed_point* points_;
    std::array<key_scale, DIM> scales_;
    unsigned int nbr_coarse_ = 0;
};

template <unsigned DIM>
void distance_index<DIM>::build(const unsigned int* ids, std::size_t n,
                                coordinate_columns coordinates) {
    clear();
    dense1D<keyed_point> scratch;
    if (!list_nodes(ids, n, coordinates) || !scratch.resize(order_.size())) {
        clear();
        return;
    }
    set_units(coordinates);
    builder build(*this, coordinates, scratch.data());
    if (!build.run()) clear();
}

// Whether there are enough nodes, and memory for them.
template <unsigned DIM>
bool distance_index<DIM>::list_nodes(const unsigned int* ids, std::size_t n,
                                     coordinate_columns coordinates) {
    if (n <= mean_bucket || !order_.resize(n)) return false;
    std::size_t nbr_indexed = 0;
    for (std::size_t i = 0; i < n; ++i) {
        order_[nbr_indexed] = ids[i];
        nbr_indexed += is_indexed<DIM>(coordinates.of(ids[i])) ? 1 : 0;
    }
    order_.resize(nbr_indexed);
    while (nbr_indexed > mean_bucket << log_buckets_) ++log_buckets_;
    nbr_roots_ = 1 + log_buckets_ % 2;
    first_bucket_ = ((std::size_t{1} << log_buckets_) - nbr_roots_) / 3;
    return first_bucket_ != 0 && boxes_.resize(first_bucket_) &&
           begin_.resize((std::size_t{1} << log_buckets_) + 1);
}

// The origin is amid the nodes, by medians of a sample, rather than in the middle of their bounds:
// floats have their finest steps around it, and a node far off does not take them from the others.
template <unsigned DIM> void distance_index<DIM>::set_units(coordinate_columns coordinates) {
    constexpr std::size_t sample_size = 101;
    const std::size_t step = order_.size() / sample_size + 1;
    double largest = 0.0;
    for (unsigned int axis = 0; axis < DIM; ++axis) {
        std::array<double, sample_size> sample{};
        std::size_t size = 0;
        for (std::size_t i = 0; i < order_.size(); i += step) {
            sample[size++] = coordinates.of(order_[i])[axis];
        }
        std::nth_element(sample.begin(), sample.begin() + size / 2, sample.begin() + size);
        origin_[axis] = sample[size / 2];
        for (const unsigned int id : order_) {
            largest = std::max(largest, std::fabs(coordinates.of(id)[axis] - origin_[axis]));
        }
    }
    int exponent = 0;
    std::frexp(largest, &exponent); // largest < 2^exponent
    scale_ = largest > 0.0 ? largest_unit / std::ldexp(1.0, exponent) : 1.0;
    if (!std::isfinite(scale_)) scale_ = 1.0;
}

template <unsigned DIM> void distance_index<DIM>::copy(const distance_index& other) {
    if (!order_.copy(other.order_) || !begin_.copy(other.begin_) || !boxes_.copy(other.boxes_)) {
        clear();
        return;
    }
    nbr_roots_ = other.nbr_roots_;
    root_axis_ = other.root_axis_;
    root_plane_ = other.root_plane_;
    log_buckets_ = other.log_buckets_;
    first_bucket_ = other.first_bucket_;
    origin_ = other.origin_;
    scale_ = other.scale_;
}

// Gives up the memory, too.
template <unsigned DIM> void distance_index<DIM>::clear() {
    if (order_.capacity() != 0) order_ = id_list();
    if (begin_.capacity() != 0) begin_ = id_list();
    if (boxes_.capacity() != 0) boxes_ = dense1D<branch_boxes<DIM>, 16>();
    log_buckets_ = 0;
    first_bucket_ = 0;
}

template class distance_index<2>;
template class distance_index<3>;

} // namespace kv7::tessmaker
