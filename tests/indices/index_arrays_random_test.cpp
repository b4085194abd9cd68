// Index arrays on random input against references of a few lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/type_table.h"
#include "indices/plain_distinct.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/index_arrays.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::distinct;
using test::list;
using test::none;
using test::random_source;
using test::vector_of;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;

// Lists of all kinds: empty, short and long, of few and of many different IDs, small and huge, with
// and without absent IDs.
id_vector any_list(random_source& random, bool huge = true) {
    const std::size_t n = random.one_in(12) ? 0 : random.below(random.one_in(10) ? 3000 : 60) + 1;
    id_vector values =
        test::random_ids(random, n, 1 + random.below(2 * n + 2), random.one_in(2) ? 6 : 0);
    if (huge && random.one_in(4)) {
        for (unsigned int& v : values) {
            if (random.one_in(3)) v = none - random.id_below(5);
            if (random.one_in(9)) v = static_cast<unsigned int>(random.draw());
        }
    }
    return values;
}

// The same for columns, in half of the cases with gaps between them.
dense2D<unsigned int> any_columns(random_source& random, std::size_t rows, std::size_t nbr_ids) {
    const std::size_t cols = random.one_in(12) ? 0 : random.between(1, 40);
    dense2D<unsigned int> connect(rows, cols);
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < rows; ++r) {
            connect(r, c) = random.one_in(9) ? none : random.id_below(nbr_ids);
        }
    }
    if (random.one_in(2)) connect = test::with_gaps(connect, random.between(1, 3), 0xDDDDDDDDU);
    return connect;
}
dense2D<unsigned int> any_columns(random_source& random) {
    const std::size_t rows = random.between(1, 9);
    return any_columns(random, rows, random.between(1, 100));
}

// All entries, column by column.
id_vector flat(const dense2D<unsigned int>& connect) {
    id_vector values;
    for (const id_vector& column : list(connect)) {
        values.insert(values.end(), column.begin(), column.end());
    }
    return values;
}

unsigned int largest(const id_vector& values) {
    unsigned int m = values.empty() ? none : 0;
    for (const unsigned int v : values) m = v == none ? m : std::max(m, v);
    return m;
}

TEST(index_arrays_random, max_ID) {
    random_source random(1);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const id_vector values = any_list(random);
        ASSERT_EQ(max_ID(vector_of(values)), largest(values));
        const auto connect = any_columns(random);
        ASSERT_EQ(max_ID(connect), largest(flat(connect)));
    }
}

id_vector changed(id_vector values, const id_vector& new_ids) {
    for (unsigned int& v : values) v = v < new_ids.size() ? new_ids[v] : v;
    return values;
}

TEST(index_arrays_random, change_indices) {
    random_source random(2);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const id_vector new_ids = any_list(random);
        const id_vector values = any_list(random);
        ids nodes = vector_of(values);
        change_indices(nodes, vector_of(new_ids));
        ASSERT_EQ(list(nodes), changed(values, new_ids));
        auto connect = any_columns(random);
        const id_vector before = flat(connect);
        change_indices(connect, vector_of(new_ids));
        ASSERT_EQ(flat(connect), changed(before, new_ids));
    }
}

id_vector shifted(id_vector values, int shift, bool keep_absent) {
    for (unsigned int& v : values) {
        if (!keep_absent || v != none) v += static_cast<unsigned int>(shift);
    }
    return values;
}

TEST(index_arrays_random, shift_indices) {
    random_source random(3);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const int shift = random.one_in(2) ? static_cast<int>(random.below(100)) - 50
                                           : static_cast<int>(random.draw() & 0xFFFFFFFFU);
        const id_vector values = any_list(random);
        ids nodes = vector_of(values);
        ASSERT_EQ(shift_indices(nodes, shift), 0);
        ASSERT_EQ(list(nodes), shift == 0 ? values : shifted(values, shift, true));
        auto connect = any_columns(random);
        const id_vector before = flat(connect);
        const element_type type = all_element_types[random.below(nbr_element_types)];
        ASSERT_EQ(shift_indices(connect, shift, type), 0);
        ASSERT_EQ(flat(connect),
                  shifted(before, shift, type == ET_FACE_MIX || type == ET_SOLID_MIX));
    }
}

template <class T> std::vector<T> permuted(const std::vector<T>& values, const id_vector& perm) {
    std::vector<T> result = values;
    for (std::size_t i = 0; i < std::min(values.size(), perm.size()); ++i) {
        if (perm[i] < values.size() && perm[i] != i) result[perm[i]] = values[i];
    }
    return result;
}

TEST(index_arrays_random, permutation) {
    random_source random(4);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const id_vector values = any_list(random);
        id_vector perm = any_list(random);
        if (random.one_in(2)) { // a true permutation
            perm.resize(values.size());
            for (unsigned int i = 0; i < perm.size(); ++i) perm[i] = i;
            random.shuffle(perm);
        }
        ids nodes = vector_of(values);
        ASSERT_EQ(permutation(nodes, vector_of(perm)), 0);
        ASSERT_EQ(list(nodes), permuted(values, perm));
        const std::vector<double> numbers(values.begin(), values.end());
        dense1D<double> sizes = vector_of(numbers);
        ASSERT_EQ(permutation(sizes, vector_of(perm)), 0);
        ASSERT_EQ(list(sizes), permuted(numbers, perm));
    }
}

TEST(index_arrays_random, get_sorted_order) {
    random_source random(5);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const id_vector values = any_list(random, false);
        id_vector expected;
        for (unsigned int i = 0; i < values.size(); ++i) {
            if (values[i] != none) expected.push_back(i);
        }
        std::stable_sort(expected.begin(), expected.end(),
                         [&](unsigned int i, unsigned int j) { return values[i] < values[j]; });
        id_vector bounds{0};
        const unsigned int nbr_values = values.empty() ? 0 : largest(values) + 1;
        for (unsigned int v = 0; v < nbr_values; ++v) {
            unsigned int end = bounds.back();
            while (end < expected.size() && values[expected[end]] == v) ++end;
            bounds.push_back(end);
        }
        ids order = vector_of(any_list(random)), addresses{3};
        ASSERT_EQ(get_sorted_order(vector_of(values), order, addresses), 0);
        ASSERT_EQ(list(order), expected);
        ASSERT_EQ(list(addresses), bounds);
    }
}

unsigned int first_position(const id_vector& values, unsigned int v) {
    const auto found = std::find(values.begin(), values.end(), v);
    return found == values.end() || v == none ? none
                                              : static_cast<unsigned int>(found - values.begin());
}

TEST(index_arrays_random, get_IDs_of_lists) {
    random_source random(6);
    for (std::uint64_t k = 0; k < test::nbr_runs(2000); ++k) {
        const id_vector a = any_list(random), b = any_list(random);
        id_vector expected_a, expected_b;
        for (const unsigned int v : b) expected_a.push_back(first_position(a, v));
        for (unsigned int i = 0; i < a.size(); ++i) {
            expected_b.push_back(first_position(a, a[i]) == i ? first_position(b, a[i]) : none);
        }
        ids a_of_b, b_of_a{1, 2, 3};
        ASSERT_EQ(get_IDs(vector_of(a), vector_of(b), a_of_b, b_of_a), 0);
        ASSERT_EQ(list(a_of_b), expected_a);
        ASSERT_EQ(list(b_of_a), expected_b);
    }
}

id_vector with_smallest_first(id_vector column) {
    std::rotate(column.begin(), std::min_element(column.begin(), column.end()), column.end());
    return column;
}
bool columns_match(const id_vector& a, const id_vector& b, bool strict) {
    if (strict) return a == b;
    const id_vector work = with_smallest_first(b);
    id_vector loop = with_smallest_first(a);
    if (loop == work) return true;
    std::reverse(loop.begin() + 1, loop.end());
    return loop == work;
}

TEST(index_arrays_random, get_IDs_of_columns) {
    random_source random(7);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const std::size_t rows = random.between(1, 5);
        const std::size_t nbr_ids = random.between(1, 6);
        const bool strict = random.one_in(2);
        const auto a = any_columns(random, rows, nbr_ids);
        auto b = any_columns(random, rows, nbr_ids);
        for (std::size_t j = 0; a.cols() != 0 && j < b.cols(); j += 2) { // a loop of `a`, turned
            id_vector column = list(a)[random.below(a.cols())];
            std::rotate(column.begin(), column.begin() + static_cast<int>(random.below(rows)),
                        column.end());
            if (random.one_in(2)) std::reverse(column.begin(), column.end());
            std::copy(column.begin(), column.end(), b.column(j));
        }
        id_vector expected_a(b.cols(), none), expected_b(a.cols(), none);
        const auto columns_a = list(a), columns_b = list(b);
        for (unsigned int j = 0; j < b.cols(); ++j) {
            for (unsigned int u = 0; u < a.cols(); ++u) {
                if (!columns_match(columns_a[u], columns_b[j], strict)) continue;
                expected_a[j] = std::min(expected_a[j], u);
                expected_b[u] = std::min(expected_b[u], j);
            }
        }
        ids a_of_b{9}, b_of_a;
        ASSERT_EQ(get_IDs(a, b, a_of_b, b_of_a, strict), 0);
        ASSERT_EQ(list(a_of_b), expected_a);
        ASSERT_EQ(list(b_of_a), expected_b);
    }
}

TEST(index_arrays_random, unique_indices) {
    random_source random(8);
    for (std::uint64_t k = 0; k < test::nbr_runs(3000); ++k) {
        const id_vector before = random.one_in(2) ? id_vector{} : any_list(random);
        const id_vector skip = random.one_in(2) ? id_vector{} : any_list(random);

        const id_vector values = any_list(random);
        ids nodes = vector_of(before);
        ASSERT_EQ(unique_indices(nodes, vector_of(values), vector_of(skip)), 0);
        ASSERT_EQ(list(nodes), distinct(values, skip, before));

        std::vector<dense2D<unsigned int>> arrays(random.below(4));
        id_vector all;
        for (auto& connect : arrays) {
            connect = any_columns(random);
            const id_vector entries = flat(connect);
            all.insert(all.end(), entries.begin(), entries.end());
        }
        nodes = vector_of(before);
        const auto* const begin = arrays.data();
        ASSERT_EQ(unique_indices(nodes, begin, begin + arrays.size(), vector_of(skip)), 0);
        ASSERT_EQ(list(nodes), distinct(all, skip, before));
        ASSERT_EQ(count_unique_indices(begin, begin + arrays.size()),
                  static_cast<int>(distinct(all, {}, {}).size()));
        if (arrays.empty()) continue;

        const id_vector entries = flat(arrays[0]);
        nodes = vector_of(before);
        ASSERT_EQ(unique_indices(nodes, arrays[0], vector_of(skip)), 0);
        ASSERT_EQ(list(nodes), distinct(entries, skip, before));
        ASSERT_EQ(count_unique_indices(arrays[0]),
                  static_cast<int>(distinct(entries, {}, {}).size()));
    }
}

TEST(index_arrays_random, unique_indices_of_a_large_mesh) {
    random_source random(9);
    for (const std::size_t nbr_ids : {1000U, 100000U, 0xFFFFFFFEU}) {
        const id_vector values = test::random_ids(random, 200000, nbr_ids, 50);
        ids nodes;
        ASSERT_EQ(unique_indices(nodes, vector_of(values), ids()), 0);
        ASSERT_EQ(list(nodes), distinct(values, {}, {}));
    }
}

} // namespace
