#include "tessmaker/metric_fields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "metrics/metric_spectrum.h"
#include "metrics/random_metrics.h"
#include "support/memory_failure.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using test::metric;
using ids = dense1D<unsigned int>;
using size_field = dense1D<double>;
using metric_field = dense2D<double>;

template <std::size_t N> metric<N> column_of(const metric_field& metrics, std::size_t i) {
    metric<N> M{};
    std::copy_n(metrics.column(i), packed<N>, M.values);
    return M;
}
bool is_valid_column(const metric_field& metrics, std::size_t i) {
    return metrics.rows() == 3 ? is_valid_metric(column_of<2>(metrics, i))
                               : is_valid_metric(column_of<3>(metrics, i));
}

double odd_size(random_source& random) {
    if (!random.one_in(3)) return log_uniform(random, 0.1, 10.0);
    return random.one_of<double>(
        {0.0, -0.0, -1.0, not_a_number, infinity, -infinity, largest, 5e-324});
}
size_field odd_sizes(random_source& random, std::size_t n) {
    size_field sizes(n);
    for (double& h : sizes) h = odd_size(random);
    return sizes;
}
// On a block of its own, with gaps between the columns in half of the cases.
metric_field odd_metrics(random_source& random, std::size_t rows, std::size_t n) {
    metric_field metrics(rows, n, 0.0);
    for (std::size_t i = 0; i < n; ++i) {
        if (rows == 3) {
            const metric<2> M = random_metric<2>(random, 0.01, 100.0);
            std::copy_n(M.values, rows, metrics.column(i));
        } else {
            const metric<3> M = random_metric<3>(random, 0.01, 100.0);
            std::copy_n(M.values, rows, metrics.column(i));
        }
        if (random.one_in(3)) metrics(random.below(rows), i) = odd_size(random);
        if (random.one_in(8)) std::fill_n(metrics.column(i), rows, odd_size(random));
    }
    return random.one_in(2) ? with_gaps(metrics, 2, -3.0) : metrics;
}
metric_field wrong_rows() { return metric_field(4, 3, 1.0); }

// Validity

TEST(first_invalid, the_largest_double_is_an_invalid_size_that_overwriting_leaves) {
    size_field sizes{1.0, 5e-324, 1e308, largest, 1.0};
    EXPECT_EQ(first_invalid_metric(sizes), 3U);
    EXPECT_FALSE(are_valid_metrics(sizes));
    EXPECT_EQ(overwrite_invalid_metrics(sizes, 1.0), 0);
    EXPECT_EQ(sizes[3], largest);
}

TEST(first_invalid, an_id_beyond_the_field_stops_the_walk) {
    const size_field sizes{1.0, 2.0};
    EXPECT_EQ(first_invalid_metric(ids{1, 0, 2, 0}, sizes), 2U);
    EXPECT_EQ(first_invalid_metric(ids{none}, sizes), 0U);
    const metric_field metrics = points({{1, 0, 1}, {1, 0, 1}});
    EXPECT_EQ(first_invalid_metric(ids{1, 0, 2, 0}, metrics), 2U);
    EXPECT_EQ(first_invalid_metric(ids{1, 0, 1, 0}, metrics), 4U);
}

TEST(first_invalid, an_empty_list_is_valid_whatever_the_field) {
    EXPECT_TRUE(are_valid_metrics(ids(), size_field{not_a_number}));
    EXPECT_TRUE(are_valid_metrics(ids(), points({{0, 0, 0}})));
    EXPECT_TRUE(are_valid_metrics(ids(), wrong_rows()));
}

TEST(first_invalid, wrong_rows_are_invalid_unless_there_are_no_columns) {
    EXPECT_EQ(first_invalid_metric(wrong_rows()), 0U);
    EXPECT_FALSE(are_valid_metrics(wrong_rows()));
    EXPECT_EQ(first_invalid_metric(ids{0}, wrong_rows()), 0U);
    EXPECT_FALSE(are_valid_metrics(ids{0}, wrong_rows()));
    EXPECT_TRUE(are_valid_metrics(metric_field()));
    EXPECT_TRUE(are_valid_metrics(size_field()));
    ids valid{9};
    valid_metrics(wrong_rows(), valid);
    EXPECT_EQ(list(valid), (std::vector<unsigned int>{9}));
}

TEST(first_invalid, finds_what_a_plain_walk_finds) {
    random_source random(41);
    for (int n = 0; n < 500; ++n) {
        const std::size_t size = random.below(12);
        const std::size_t rows = random.one_in(2) ? 3 : 6;
        const size_field sizes = odd_sizes(random, size);
        const metric_field metrics = odd_metrics(random, rows, size);
        const ids nodes = vector_of(random_ids(random, random.below(6), size + 1, 20));
        std::size_t in_sizes = 0;
        while (in_sizes < size && sizes[in_sizes] > 0.0 && sizes[in_sizes] < largest) ++in_sizes;
        EXPECT_EQ(first_invalid_metric(sizes), in_sizes);
        EXPECT_EQ(are_valid_metrics(sizes), in_sizes == size);
        std::size_t in_metrics = 0;
        while (in_metrics < size && is_valid_column(metrics, in_metrics)) ++in_metrics;
        EXPECT_EQ(first_invalid_metric(metrics), in_metrics);
        EXPECT_EQ(are_valid_metrics(metrics), in_metrics == size);
        std::size_t k = 0;
        while (k < nodes.size() && nodes[k] < size && sizes[nodes[k]] > 0.0 &&
               sizes[nodes[k]] < largest) {
            ++k;
        }
        EXPECT_EQ(first_invalid_metric(nodes, sizes), k);
        EXPECT_EQ(are_valid_metrics(nodes, sizes), k == nodes.size());
        if (size == 0) continue;
        k = 0;
        while (k < nodes.size() && nodes[k] < size && is_valid_column(metrics, nodes[k])) ++k;
        EXPECT_EQ(first_invalid_metric(nodes, metrics), k);
        EXPECT_EQ(are_valid_metrics(nodes, metrics), k == nodes.size());
        std::vector<unsigned int> expected{7};
        for (unsigned int twice = 0; twice < 2; ++twice) {
            for (unsigned int i = 0; i < size; ++i) {
                if (is_valid_column(metrics, i)) expected.push_back(i);
            }
        }
        ids valid{7};
        valid_metrics(metrics, valid);
        valid_metrics(metrics, valid); // every index once more
        EXPECT_EQ(list(valid), expected);
    }
}

// Replacing

TEST(overwrite_invalid, codes_come_in_order_and_change_nothing) {
    size_field no_sizes;
    EXPECT_EQ(overwrite_invalid_metrics(no_sizes, -1.0), 0);
    size_field sizes{0.0, -1.0};
    for (const double h : {0.0, -1.0, not_a_number}) {
        EXPECT_EQ(overwrite_invalid_metrics(sizes, h), -2);
    }
    EXPECT_EQ(list(sizes), (std::vector<double>{0.0, -1.0}));

    metric_field empty;
    metric_field wrong = wrong_rows();
    metric_field plane = points({{0, 0, 0}});
    metric_field space(6, 1, 0.0);
    const metric<2> M2{1.0, 0.0, 1.0};
    const metric<3> M3{1.0, 0.0, 1.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(overwrite_invalid_metrics(empty, wrong_rows()), 0);
    EXPECT_EQ(overwrite_invalid_metrics(wrong, wrong_rows()), -1);
    EXPECT_EQ(overwrite_invalid_metrics(plane, wrong_rows()), -2);
    EXPECT_EQ(overwrite_invalid_metrics(plane, space), -2);
    EXPECT_EQ(overwrite_invalid_metrics(plane, empty), -2);
    EXPECT_EQ(overwrite_invalid_metrics(empty, sizes), 0);
    EXPECT_EQ(overwrite_invalid_metrics(wrong, sizes), -1);
    EXPECT_EQ(overwrite_invalid_metrics(empty, metric<2>{}), 0);
    EXPECT_EQ(overwrite_invalid_metrics(empty, metric<3>{}), 0);
    EXPECT_EQ(overwrite_invalid_metrics(wrong, metric<2>{}), -1);
    EXPECT_EQ(overwrite_invalid_metrics(space, M2), -1);
    EXPECT_EQ(overwrite_invalid_metrics(plane, M3), -1);
    EXPECT_EQ(overwrite_invalid_metrics(plane, metric<2>{}), -2);
    EXPECT_EQ(overwrite_invalid_metrics(space, metric<3>{}), -2);
    EXPECT_TRUE(same_bits(plane, points({{0, 0, 0}})));
    EXPECT_TRUE(same_bits(space, metric_field(6, 1, 0.0)));
    EXPECT_TRUE(same_bits(wrong, wrong_rows()));
}

TEST(overwrite_invalid, columns_whose_size_is_not_above_zero_stay) {
    metric_field metrics = points({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {1, 0, 1}});
    EXPECT_EQ(overwrite_invalid_metrics(metrics, size_field{0.0, not_a_number, 2.0, 2.0}), 1);
    EXPECT_TRUE(same_bits(metrics, points({{0, 0, 0}, {0, 0, 0}, {0.25, 0, 0.25}, {1, 0, 1}})));
}

TEST(overwrite_invalid, replaces_what_a_plain_walk_replaces) {
    random_source random(42);
    for (int n = 0; n < 500; ++n) {
        const std::size_t size = random.between(1, 12);
        const std::size_t common = random.below(14);
        const size_field before = odd_sizes(random, size);
        const size_field other = odd_sizes(random, common);
        size_field sizes = copy_of(before);
        size_field expected = copy_of(before);
        int count = 0;
        for (std::size_t i = 0; i < std::min(size, common); ++i) {
            if (other[i] > 0.0 && before[i] <= 0.0) expected[i] = other[i], ++count;
        }
        EXPECT_EQ(overwrite_invalid_metrics(sizes, other), count);
        EXPECT_TRUE(same_bits(sizes, expected));
        sizes.copy(before);
        expected.copy(before);
        count = 0;
        for (double& h : expected) {
            if (h <= 0.0) h = 3.0, ++count;
        }
        EXPECT_EQ(overwrite_invalid_metrics(sizes, 3.0), count);
        EXPECT_TRUE(same_bits(sizes, expected));

        const std::size_t rows = random.one_in(2) ? 3 : 6;
        const metric_field start = odd_metrics(random, rows, size);
        const metric_field source = odd_metrics(random, rows, common + 1);
        metric_field metrics = random.one_in(2) ? with_gaps(start, 1, 0.5) : copy_of(start);
        metric_field wanted = copy_of(start);
        count = 0;
        for (std::size_t i = 0; i < std::min(size, common + 1); ++i) {
            if (!is_valid_column(source, i) || is_valid_column(start, i)) continue;
            std::copy_n(source.column(i), rows, wanted.column(i));
            ++count;
        }
        EXPECT_EQ(overwrite_invalid_metrics(metrics, source), count);
        EXPECT_TRUE(same_bits(metrics, wanted));

        metrics = random.one_in(2) ? with_gaps(start, 1, 0.5) : copy_of(start);
        wanted = copy_of(start);
        count = 0;
        const auto set_isotropic = [&](std::size_t i, double h) {
            std::fill_n(wanted.column(i), rows, 0.0);
            const double k = 1.0 / (h * h);
            wanted(0, i) = k;
            wanted(2, i) = k;
            wanted(rows - 1, i) = k;
        };
        for (std::size_t i = 0; i < std::min(size, common); ++i) {
            if (!(other[i] > 0.0) || is_valid_column(start, i)) continue;
            set_isotropic(i, other[i]);
            ++count;
        }
        EXPECT_EQ(overwrite_invalid_metrics(metrics, other), count);
        EXPECT_TRUE(same_bits(metrics, wanted));

        metrics = random.one_in(2) ? with_gaps(start, 1, 0.5) : copy_of(start);
        wanted = copy_of(start);
        count = 0;
        for (std::size_t i = 0; i < size; ++i) {
            if (is_valid_column(start, i)) continue;
            set_isotropic(i, 0.5);
            ++count;
        }
        EXPECT_EQ(rows == 3
                      ? overwrite_invalid_metrics(metrics, metric<2>{4.0, 0.0, 4.0})
                      : overwrite_invalid_metrics(metrics, metric<3>{4.0, 0.0, 4.0, 0.0, 0.0, 4.0}),
                  count);
        EXPECT_TRUE(same_bits(metrics, wanted));
    }
}

// Clamping

TEST(bound_metrics, without_a_bound_only_the_list_is_emptied) {
    size_field sizes{1.0, not_a_number};
    metric_field metrics = wrong_rows();
    for (const double hmin : {0.0, -1.0, not_a_number, -infinity}) {
        EXPECT_EQ(bound_metrics(sizes, hmin, largest), 0);
        EXPECT_EQ(bound_metrics(metrics, hmin, largest), 0);
        ids modified{3, 4};
        EXPECT_EQ(bound_metrics(sizes, hmin, largest, modified), 0);
        EXPECT_TRUE(modified.empty());
        modified.push_back(3);
        EXPECT_EQ(bound_metrics(metrics, hmin, largest, modified), 0);
        EXPECT_TRUE(modified.empty());
    }
}

TEST(bound_metrics, codes_come_in_order_after_an_emptied_list) {
    size_field no_sizes;
    size_field sizes{1.0};
    metric_field no_metrics;
    metric_field wrong = wrong_rows();
    metric_field metrics = points({{1, 0, 1}});
    for (const double bad : {infinity, -infinity, not_a_number}) {
        ids modified{3};
        EXPECT_EQ(bound_metrics(no_sizes, bad, bad, modified), 0);
        EXPECT_TRUE(modified.empty());
        EXPECT_EQ(bound_metrics(no_metrics, bad, bad), 0);
        EXPECT_EQ(bound_metrics(wrong, bad, bad), -1);
        modified.push_back(1);
        EXPECT_EQ(bound_metrics(wrong, bad, bad, modified), -1);
        EXPECT_TRUE(modified.empty());
        EXPECT_EQ(bound_metrics(sizes, bad, bad), -2);
        EXPECT_EQ(bound_metrics(metrics, bad, 1.0), -2);
        EXPECT_EQ(bound_metrics(sizes, 1.0, bad), -3);
        EXPECT_EQ(bound_metrics(metrics, -1.0, bad), -3);
        modified.push_back(1);
        EXPECT_EQ(bound_metrics(sizes, bad, 1.0, modified), -2);
        EXPECT_TRUE(modified.empty());
        EXPECT_EQ(bound_metrics(metrics, 1.0, bad, modified), -3);
    }
    EXPECT_EQ(bound_metrics(sizes, infinity, largest), -2);
}

TEST(bound_metrics, with_hmin_above_hmax_a_small_size_takes_hmin_and_a_metric_hmax) {
    size_field sizes{0.5, 1.5, 3.0, not_a_number};
    EXPECT_EQ(bound_metrics(sizes, 2.0, 1.0), 4);
    EXPECT_EQ(list(sizes), (std::vector<double>{2.0, 2.0, 1.0, 2.0}));
    metric_field metrics = points({{4, 0, 4}});
    EXPECT_EQ(bound_metrics(metrics, 2.0, 1.0), 1);
    EXPECT_EQ(metrics(0, 0), 1.0);
}

template <std::size_t N>
std::vector<unsigned int> plain_bound(metric_field& metrics, double hmin, double hmax) {
    std::vector<unsigned int> changed;
    for (unsigned int i = 0; i < metrics.cols(); ++i) {
        metric<N> M = column_of<N>(metrics, i);
        if (bound_metric_core(M, hmin, hmax)) changed.push_back(i);
        std::copy_n(M.values, packed<N>, metrics.column(i));
    }
    return changed;
}

TEST(bound_metrics, clamps_what_a_plain_walk_clamps) {
    random_source random(43);
    for (int n = 0; n < 500; ++n) {
        const std::size_t size = random.between(1, 10);
        const double hmin = random.one_of<double>({0.0, 0.5, 2.0, -1.0});
        const double hmax = random.one_of<double>({1.0, 5.0, 0.3, 1e100});
        size_field sizes = odd_sizes(random, size);
        size_field again = copy_of(sizes);
        size_field expected = copy_of(sizes);
        std::vector<unsigned int> changed;
        for (unsigned int i = 0; i < size; ++i) {
            if (!(expected[i] >= hmin)) {
                expected[i] = hmin;
            } else if (expected[i] > hmax) {
                expected[i] = hmax;
            } else {
                continue;
            }
            changed.push_back(i);
        }
        ids modified{77};
        EXPECT_EQ(bound_metrics(sizes, hmin, hmax), static_cast<int>(changed.size()));
        EXPECT_TRUE(same_bits(sizes, expected));
        EXPECT_EQ(bound_metrics(again, hmin, hmax, modified), static_cast<int>(changed.size()));
        EXPECT_TRUE(same_bits(again, expected));
        EXPECT_EQ(list(modified), changed);

        const std::size_t rows = random.one_in(2) ? 3 : 6;
        metric_field metrics = odd_metrics(random, rows, size);
        metric_field more = with_gaps(metrics, 3, 8.0);
        metric_field wanted = copy_of(metrics);
        changed =
            rows == 3 ? plain_bound<2>(wanted, hmin, hmax) : plain_bound<3>(wanted, hmin, hmax);
        EXPECT_EQ(bound_metrics(metrics, hmin, hmax), static_cast<int>(changed.size()));
        EXPECT_TRUE(same_bits(metrics, wanted));
        EXPECT_EQ(bound_metrics(more, hmin, hmax, modified), static_cast<int>(changed.size()));
        EXPECT_TRUE(same_bits(more, wanted));
        EXPECT_EQ(list(modified), changed);
    }
}

// Changes of form

TEST(changes_of_form, codes_come_in_order) {
    metric_field none_of_them;
    metric_field plane(3, 2, 7.0);
    metric_field space(6, 2, 7.0);
    const size_field one{1.0};
    const size_field three{1.0, 1.0, 1.0};
    EXPECT_EQ(metrics_iso_to_aniso2d(size_field(), none_of_them), 0);
    EXPECT_EQ(metrics_iso_to_aniso3d(size_field(), none_of_them), 0);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, none_of_them), -2);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, space), -2);
    EXPECT_EQ(metrics_iso_to_aniso2d(three, plane), -2);
    EXPECT_EQ(metrics_iso_to_aniso3d(one, plane), -2);
    EXPECT_EQ(metrics_iso_to_aniso3d(three, space), -2);

    const dense2D<double> frames(6, 1, 1.0);
    EXPECT_EQ(metrics_iso_to_aniso2d(size_field(), dense2D<double>(), none_of_them), 0);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, dense2D<double>(3, 1, 1.0), space), -2);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, dense2D<double>(6, 2, 1.0), space), -2);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, frames, space), -3);
    EXPECT_EQ(metrics_iso_to_aniso2d(one, frames, none_of_them), -3);
    EXPECT_EQ(metrics_iso_to_aniso2d(three, dense2D<double>(6, 3, 1.0), plane), -3);

    EXPECT_EQ(metrics_aniso3d_to_aniso2d(metric_field(), dense2D<double>(), none_of_them), 0);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(plane, frames, space), -1);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(metric_field(), frames, plane), -1);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(space, frames, space), -2);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(space, dense2D<double>(6, 2, 1.0), space), -3);
    metric_field narrow(3, 1);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(space, dense2D<double>(6, 2, 1.0), narrow), -3);
    EXPECT_TRUE(same_bits(plane, metric_field(3, 2, 7.0)));
    EXPECT_TRUE(same_bits(space, metric_field(6, 2, 7.0)));
}

TEST(changes_of_form, a_size_of_zero_keeps_the_column_without_a_frame_and_clears_it_with_one) {
    metric_field metrics(3, 2, 7.0);
    EXPECT_EQ(metrics_iso_to_aniso2d(size_field{0.0, 2.0}, metrics), 0);
    EXPECT_TRUE(same_bits(metrics, points({{7, 7, 7}, {0.25, 0, 0.25}})));
    EXPECT_EQ(metrics_iso_to_aniso2d(size_field{0.0, -2.0}, dense2D<double>(6, 2, 1.0), metrics),
              0);
    EXPECT_TRUE(same_bits(metrics, metric_field(3, 2, 0.0)));
}

TEST(changes_of_form, columns_follow_the_functions_of_one_metric_and_the_rest_stays) {
    random_source random(44);
    for (int n = 0; n < 200; ++n) {
        const std::size_t size = random.between(1, 8);
        const size_field sizes = odd_sizes(random, size);
        dense2D<double> frames(6, size);
        for (std::size_t i = 0; i < size; ++i) {
            for (std::size_t r = 0; r < 6; ++r) frames(r, i) = random.uniform(-1.0, 1.0);
        }
        if (random.one_in(2)) frames = with_gaps(frames, 1, 9.0);
        const auto frame = [&](std::size_t i) {
            matrix_fixed<double, 3, 2> result{};
            std::copy_n(frames.column(i), 6, result.values);
            return result;
        };
        const metric_field plane_before(3, size + 2, 7.0);
        const metric_field space_before(6, size + 1, 7.0);

        metric_field metrics = with_gaps(plane_before, 2, 1.0);
        metric_field expected = copy_of(plane_before);
        for (std::size_t i = 0; i < size; ++i) {
            metric<2> M{};
            metric_aniso(sizes[i], M);
            if (sizes[i] > 0.0) std::copy_n(M.values, 3, expected.column(i));
        }
        EXPECT_EQ(metrics_iso_to_aniso2d(sizes, metrics), 0);
        EXPECT_TRUE(same_bits(metrics, expected));

        metrics = with_gaps(space_before, 2, 1.0);
        expected = copy_of(space_before);
        for (std::size_t i = 0; i < size; ++i) {
            metric<3> M{};
            metric_aniso(sizes[i], M);
            if (sizes[i] > 0.0) std::copy_n(M.values, 6, expected.column(i));
        }
        EXPECT_EQ(metrics_iso_to_aniso3d(sizes, metrics), 0);
        EXPECT_TRUE(same_bits(metrics, expected));

        metrics = with_gaps(plane_before, 1, 1.0);
        expected = copy_of(plane_before);
        for (std::size_t i = 0; i < size; ++i) {
            metric<2> M{};
            metric_aniso2d(sizes[i], frame(i), M);
            std::copy_n(M.values, 3, expected.column(i));
        }
        EXPECT_EQ(metrics_iso_to_aniso2d(sizes, frames, metrics), 0);
        EXPECT_TRUE(same_bits(metrics, expected));

        const metric_field space = odd_metrics(random, 6, size);
        metrics = with_gaps(plane_before, 1, 1.0);
        expected = copy_of(plane_before);
        for (std::size_t i = 0; i < size; ++i) {
            metric<2> M{};
            metric_aniso3d_to_aniso2d(column_of<3>(space, i), frame(i), M);
            std::copy_n(M.values, 3, expected.column(i));
        }
        EXPECT_EQ(metrics_aniso3d_to_aniso2d(space, frames, metrics), 0);
        for (std::size_t i = 0; i < metrics.cols(); ++i) {
            for (std::size_t r = 0; r < 3; ++r) {
                const double a = metrics(r, i);
                const double b = expected(r, i);
                EXPECT_TRUE(a == b || (std::isnan(a) && std::isnan(b)));
            }
        }
    }
}

// Lists without memory

TEST(lists_without_memory, an_index_that_finds_no_room_is_left_out_and_the_field_is_clamped) {
    const std::size_t size = 40;
    const size_field sizes(size, 9.0);
    const size_field clamped(size, 1.0);
    metric_field metrics(3, size, 0.0);
    for (std::size_t i = 0; i < size; ++i) metrics(0, i) = metrics(2, i) = 1.0;
    fail_each_allocation([&](std::size_t k, bool and_later) {
        size_field field = copy_of(sizes);
        ids modified;
        const memory_failure failure(k, and_later);
        const int result = bound_metrics(field, 0.0, 1.0, modified);
        EXPECT_EQ(result, static_cast<int>(modified.size()));
        EXPECT_TRUE(same_bits(field, clamped));
        return failure.happened();
    });
    fail_each_allocation([&](std::size_t k, bool and_later) {
        metric_field field = copy_of(metrics);
        ids modified;
        const memory_failure failure(k, and_later);
        const int result = bound_metrics(field, 2.0, 4.0, modified);
        EXPECT_EQ(result, static_cast<int>(modified.size()));
        EXPECT_EQ(field(0, size - 1), 0.25);
        return failure.happened();
    });
    fail_each_allocation([&](std::size_t k, bool and_later) {
        ids valid;
        const memory_failure failure(k, and_later);
        valid_metrics(metrics, valid);
        EXPECT_LE(valid.size(), size);
        return failure.happened();
    });
}

} // namespace
