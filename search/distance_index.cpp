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
        if (index_.nbr_roots_ == 1) {
            add_node(0, 0, nbr_buckets);
        } else {
            index_.root_axis_ = split(0, nbr_buckets);
            add_node(0, 0, nbr_buckets / 2);
            const bounds<DIM> second = add_node(1, nbr_buckets / 2, nbr_buckets / 2);
            index_.root_plane_ = second.lower[index_.root_axis_];
        }
        return nbr_coarse_ <= most_coarse;
    }

private:
    // Boxes that rounding widens much do not keep queries from what they hold. Few are no harm.
    static constexpr unsigned int most_coarse = 16;

    // A node with the buckets below it.
    bounds<DIM> add_node(std::size_t node, std::size_t bucket, std::size_t nbr_buckets) {
        if (nbr_buckets == 1) return add_bucket(bucket);
        const std::size_t quarter = nbr_buckets / 4;
        split(bucket, nbr_buckets);
        split(bucket, 2 * quarter);
        split(bucket + 2 * quarter, 2 * quarter);
        bounds<DIM> all;
        for (std::size_t k = 0; k < 4; ++k) {
            const bounds<DIM> branch =
                add_node(index_.first_branch(node) + k, bucket + k * quarter, quarter);
            set_box(node, k, branch);
            all.include(branch);
        }
        if (quarter == 1 && is_coarse(all)) ++nbr_coarse_;
        return all;
    }

    bounds<DIM> add_bucket(std::size_t bucket) {
        bounds<DIM> all;
        for (std::size_t i = index_.begin_of(bucket); i < index_.begin_of(bucket + 1); ++i) {
            index_.order_[i] = points_[i].id;
            all.include(coordinates_.of(points_[i].id));
        }
        return all;
    }

    // Puts the lower half of the points in the first half of the buckets. Returns on which axis.
    unsigned int split(std::size_t bucket, std::size_t nbr_buckets) {
        keyed_point* const first = points_ + index_.begin_of(bucket);
        keyed_point* const middle = points_ + index_.begin_of(bucket + nbr_buckets / 2);
        keyed_point* const last = points_ + index_.begin_of(bucket + nbr_buckets);
        const unsigned int axis = widest_axis(first, last);
        select(first, middle, last, axis, coordinates_);
        return axis;
    }

    // By a sample of the points.
    unsigned int widest_axis(const keyed_point* first, const keyed_point* last) const {
        const auto n = static_cast<std::size_t>(last - first);
        const std::size_t step = n / 256 + 1;
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
    if (n <= largest_bucket || !order_.resize(n)) return false;
    std::size_t nbr_indexed = 0;
    for (std::size_t i = 0; i < n; ++i) {
        order_[nbr_indexed] = ids[i];
        nbr_indexed += is_indexed<DIM>(coordinates.of(ids[i])) ? 1 : 0;
    }
    order_.resize(nbr_indexed);
    while (nbr_indexed > largest_bucket << log_buckets_) ++log_buckets_;
    nbr_roots_ = 1 + log_buckets_ % 2;
    first_bucket_ = ((std::size_t{1} << log_buckets_) - nbr_roots_) / 3;
    return first_bucket_ != 0 && boxes_.resize(first_bucket_);
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
    if (!order_.copy(other.order_) || !boxes_.copy(other.boxes_)) {
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
    if (boxes_.capacity() != 0) boxes_ = dense1D<branch_boxes<DIM>, 16>();
    log_buckets_ = 0;
    first_bucket_ = 0;
}

template class distance_index<2>;
template class distance_index<3>;

} // namespace kv7::tessmaker
