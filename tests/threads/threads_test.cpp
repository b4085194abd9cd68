// What may run at once: const members of one detector, views on one block, calls on different data.
// The `tsan` preset runs this under the thread sanitizer.
#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

#include "support/meshes.h"
#include "support/random.h"
#include "support/zoo.h"
#include "tessmaker/tessmaker.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::random_source;

namespace {

using ids = dense1D<unsigned int>;
using id_vector = std::vector<unsigned int>;
using point2 = vector_fixed<double, 2>;
using point3 = vector_fixed<double, 3>;

// Runs `work(0)` and `work(1)` in two threads that start together.
template <class Work> void side_by_side(Work work) {
    std::barrier start(2);
    std::array<std::thread, 2> threads;
    for (std::size_t t = 0; t < threads.size(); ++t) {
        threads[t] = std::thread([&start, &work, t] {
            start.arrive_and_wait();
            work(t);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// All that a detector answers about places in the unit cube, from a seed.
id_vector answers(const node_detector& detector, std::uint64_t seed) {
    random_source random(seed);
    const auto coordinate = [&random] { return random.uniform(-0.1, 1.1); };
    id_vector found;
    for (int k = 0; k < 500; ++k) {
        const point3 p{coordinate(), coordinate(), coordinate()};
        found.push_back(detector.find_closest(p));
        found.push_back(detector.find_closest(point2{p[0], p[1]}));
        found.push_back(detector.find_closest(random.id_below(1000)));
        ids hits;
        detector.find_in_box(p, point3{p[0] + 0.2, p[1] + 0.2, p[2] + 0.2}, hits);
        detector.find_in_box(point2{p[0], p[1]}, point2{p[0] + 0.2, p[1] + 0.2}, hits);
        found.insert(found.end(), hits.begin(), hits.end());
        found.push_back(detector.size());
    }
    return found;
}

void expect_same_answers_from_two_threads(const node_detector& detector) {
    const std::array<id_vector, 2> expected{answers(detector, 1), answers(detector, 2)};
    std::array<id_vector, 2> found;
    side_by_side([&](std::size_t t) { found[t] = answers(detector, t + 1); });
    EXPECT_EQ(found, expected);
}

// Results as bits, so that numbers that are none compare as well.
class result_list {
public:
    void add(double value) { bits_.push_back(std::bit_cast<std::uint64_t>(value)); }
    void add(int value) { add(static_cast<double>(value)); }
    template <class T> void add(const dense1D<T>& values) {
        for (const T value : values) add(static_cast<double>(value));
    }
    template <class T> void add(const dense2D<T>& values) {
        for (std::size_t c = 0; c < values.cols(); ++c) {
            for (std::size_t r = 0; r < values.rows(); ++r) add(static_cast<double>(values(r, c)));
        }
    }
    bool operator==(const result_list&) const = default;

private:
    std::vector<std::uint64_t> bits_;
};

void add_results_of_a_mesh(test::mesh m, result_list& results) {
    ids new_IDs;
    results.add(merge(m.pos, m.connect, new_IDs, 1e-9, 0));
    results.add(simplify(m.pos, m.connect, new_IDs, 0));
    results.add(new_IDs);
    dense2D<unsigned int> neighbors;
    results.add(get_neighbors(m.connect, m.type, true, neighbors));
    results.add(neighbors);
    dense1D<double> qualities;
    results.add(shape_qualities(m.pos, m.connect, m.type, qualities));
    results.add(qualities);
    dense1D<double> sizes(m.pos.cols(), 1.0);
    if (!sizes.empty()) sizes[0] = 0.01;
    results.add(bound_metric_gradations(m.pos, m.connect, m.type, ids(), true, 0, 0.1, sizes));
    results.add(sizes);
}

// Through a file, whose numbers are written and read without a locale.
void add_results_of_a_file(const test::mesh& m, result_list& results) {
    std::FILE* const file = std::tmpfile();
    results.add(NASTRAN_output(file, m.pos, m.connect, m.type));
    std::rewind(file);
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    element_type type = ET_UNKNOWN;
    results.add(NASTRAN_input(file, pos, connect, type));
    std::fclose(file);
    results.add(pos);
    results.add(connect);
}

void add_results_of_metrics(result_list& results) {
    random_source random(7);
    const auto size = [&random] { return random.uniform(0.1, 1.0); };
    for (int k = 0; k < 200; ++k) {
        symmetric_fixed<double, 3> a;
        symmetric_fixed<double, 3> b;
        metric_aniso(size(), size(), size(), a);
        metric_aniso(size(), b);
        a(1, 0) = a(2, 1) = 0.25;
        symmetric_fixed<double, 3> smaller;
        results.add(minimum_metric(a, b, smaller) ? 1 : 0);
        for (const double value : smaller.values) results.add(value);
    }
}

// All subsystems, on the meshes of the zoo from one of them on.
result_list results_of_all_subsystems(std::size_t first) {
    result_list results;
    const std::vector<test::mesh> meshes = test::zoo();
    for (std::size_t k = 0; k < meshes.size(); ++k) {
        const test::mesh& m = meshes[(first + k) % meshes.size()];
        add_results_of_a_file(m, results);
        add_results_of_a_mesh(m, results);
    }
    add_results_of_metrics(results);
    return results;
}

} // namespace

TEST(threads, two_ask_one_detector_and_get_the_answers_that_one_gets) {
    random_source random(3);
    const dense2D<double> pos = test::random_points(random, 3, 1000, 0.0, 1.0);
    expect_same_answers_from_two_threads(node_detector(pos));
}

TEST(threads, two_ask_one_detector_that_nodes_were_inserted_into) {
    random_source random(4);
    const dense2D<double> pos = test::random_points(random, 2, 1000, 0.0, 1.0);
    ids every_third;
    for (unsigned int n = 0; n < 1000; n += 3) every_third.push_back(n);
    ids all;
    for (unsigned int n = 0; n < 1000; ++n) all.push_back(n);
    node_detector detector(pos, every_third);
    detector.insert(all);
    expect_same_answers_from_two_threads(detector);
}

TEST(threads, views_on_one_block_are_made_and_dropped_by_two) {
    dense2D<double> array(3, 1000, 1.0);
    const dense2D<double> shared = array;
    std::array<double, 2> sums{};
    side_by_side([&](std::size_t t) {
        for (std::size_t c = 0; c < 1000; ++c) {
            const dense2D<double> view = shared;
            const dense2D<double> column = view.sub_matrix(0, c, 3, 1);
            const dense1D<double> list = column.as_vector();
            for (const double value : list) sums[t] += value;
        }
    });
    EXPECT_EQ(sums[0], 3000.0);
    EXPECT_EQ(sums[1], 3000.0);
}

TEST(threads, two_write_their_own_columns_of_one_block) {
    dense2D<unsigned int> array(2, 1000, 0);
    std::array<dense2D<unsigned int>, 2> halves{array.sub_matrix(0, 0, 2, 500),
                                                array.sub_matrix(0, 500, 2, 500)};
    side_by_side([&](std::size_t t) {
        for (std::size_t c = 0; c < 500; ++c) {
            halves[t](0, c) = halves[t](1, c) = static_cast<unsigned int>(500 * t + c);
        }
    });
    for (unsigned int c = 0; c < 1000; ++c) {
        EXPECT_EQ(array(0, c), c);
        EXPECT_EQ(array(1, c), c);
    }
}

// Whichever comes last gives the memory back, which the sanitizers watch.
TEST(threads, the_last_view_on_a_block_is_dropped_by_either) {
    for (int k = 0; k < 200; ++k) {
        std::array<dense1D<double>, 2> views;
        views[0] = dense1D<double>(100, 1.0);
        views[1] = views[0];
        std::array<double, 2> seen{};
        side_by_side([&](std::size_t t) {
            seen[t] = views[t][99];
            views[t].clear_hard();
        });
        EXPECT_EQ(seen[0] + seen[1], 2.0);
    }
}

TEST(threads, two_run_all_subsystems_on_data_of_their_own) {
    const std::array<result_list, 2> expected{results_of_all_subsystems(0),
                                              results_of_all_subsystems(5)};
    std::array<result_list, 2> found;
    side_by_side([&](std::size_t t) { found[t] = results_of_all_subsystems(5 * t); });
    EXPECT_TRUE(found[0] == expected[0]);
    EXPECT_TRUE(found[1] == expected[1]);
}
