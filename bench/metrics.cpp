// Fields bounded along edges, beside what the queue alone would cost: the same pushes and pops on a
// std::priority_queue. Also what else walks over whole fields.
//
// Fields are noise, or one size with sharp sources in it; every tenth node is fixed or none is.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <queue>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/small_vectors.h"
#include "growth.h"
#include "metrics/dspev.h"
#include "metrics/edge_bounding.h"
#include "metrics/eigen3.h"
#include "metrics/nodal_fields.h"
#include "metrics/plain_reduction.h"
#include "tessmaker/metric_algebra.h"
#include "tessmaker/metric_fields.h"
#include "tessmaker/repair.h"

namespace {

using namespace kv7;
using namespace kv7::tessmaker;

template <std::size_t N> constexpr unsigned int cells_a_side = N == 2 ? 316 : 44;
constexpr double max_gradation = 0.2;
constexpr std::size_t nbr_sources = 20;
constexpr double source_size = 1e-4;
constexpr double stretch = 5.0;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    element_type type;
};

// The unit square of triangles or cube of tetrahedra, N! in a cell, its nodes shaken. There are
// 2e5 triangles, 5e5 tetrahedra.
template <std::size_t N> mesh make_mesh() {
    constexpr unsigned int n = cells_a_side<N>;
    constexpr unsigned int side = n + 1;
    std::size_t nbr_nodes = 1;
    std::size_t nbr_cells = 1;
    for (std::size_t axis = 0; axis < N; ++axis) {
        nbr_nodes *= side;
        nbr_cells *= n;
    }
    std::array<unsigned int, N> axes;
    for (unsigned int axis = 0; axis < N; ++axis) axes[axis] = axis;
    mesh m{dense2D<double>(N, nbr_nodes),
           dense2D<unsigned int>(N + 1, (N == 2 ? 2 : 6) * nbr_cells),
           N == 2 ? ET_TRIA3 : ET_TETRA4};
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> shake(-0.2, 0.2);
    for (std::size_t node = 0; node < nbr_nodes; ++node) {
        std::size_t rest = node;
        for (std::size_t axis = 0; axis < N; ++axis) {
            m.pos(axis, node) = (static_cast<double>(rest % side) + shake(generator)) / n;
            rest /= side;
        }
    }
    std::size_t c = 0;
    for (std::size_t cell = 0; cell < nbr_cells; ++cell) {
        unsigned int lowest = 0;
        std::array<unsigned int, N> stride;
        std::size_t rest = cell;
        unsigned int step = 1;
        for (std::size_t axis = 0; axis < N; ++axis) {
            stride[axis] = step;
            lowest += static_cast<unsigned int>(rest % n) * step;
            rest /= n;
            step *= side;
        }
        // From the lowest corner to the highest, the axes in every order.
        std::array<unsigned int, N> order = axes;
        do {
            unsigned int node = lowest;
            for (std::size_t k = 0; k <= N; ++k) {
                m.connect(k, c) = node;
                if (k < N) node += stride[order[k]];
            }
            ++c;
        } while (std::next_permutation(order.begin(), order.end()));
    }
    return m;
}

template <std::size_t N> const mesh& the_mesh() {
    static const mesh made = make_mesh<N>();
    return made;
}

using size_values = dense1D<double, 8>;
using metric_values = dense2D<double>;

enum class kind { noise, source };
enum class fixing { none, tenth };

constexpr double noise_factor = 3.0;

double noisy_size(std::mt19937_64& generator, double mean) {
    std::uniform_real_distribution<double> exponent(-1.0, 1.0);
    return mean * std::pow(noise_factor, exponent(generator));
}

template <std::size_t N> matrix<N> random_basis(std::mt19937_64& generator) {
    std::normal_distribution<double> normal;
    matrix<N> P;
    vector<N> p[3];
    for (std::size_t k = 0; k < N; ++k) {
        for (std::size_t i = 0; i < N; ++i) p[k][i] = normal(generator);
        for (std::size_t j = 0; j < k; ++j) {
            const double along = dot(p[j], p[k]);
            for (std::size_t i = 0; i < N; ++i) p[k][i] -= along * p[j][i];
        }
        p[k] = normalised(p[k]);
        set_column(P, k, p[k]);
    }
    return P;
}

template <std::size_t N> std::vector<std::size_t> sources(std::mt19937_64& generator) {
    std::uniform_int_distribution<std::size_t> node(0, the_mesh<N>().pos.cols() - 1);
    std::vector<std::size_t> chosen(nbr_sources);
    for (std::size_t& n : chosen) n = node(generator);
    return chosen;
}

template <std::size_t N> void make_field(kind what, size_values& sizes) {
    std::mt19937_64 generator(2);
    const std::size_t nbr_nodes = the_mesh<N>().pos.cols();
    sizes.resize(nbr_nodes, 1.0);
    if (what == kind::source) {
        for (const std::size_t n : sources<N>(generator)) sizes[n] = source_size;
    } else {
        for (double& h : sizes) h = noisy_size(generator, 1.0 / cells_a_side<N>);
    }
}

template <std::size_t N> void make_field(kind what, metric_values& metrics) {
    std::mt19937_64 generator(3);
    const std::size_t nbr_nodes = the_mesh<N>().pos.cols();
    metrics.resize(metric_size<N>, nbr_nodes);
    const matrix<N> stretched = random_basis<N>(generator);
    for (std::size_t n = 0; n < nbr_nodes; ++n) {
        vector<N> h;
        for (std::size_t k = 0; k < N; ++k) {
            h[k] = what == kind::noise ? noisy_size(generator, 1.0 / cells_a_side<N>) : 1.0;
        }
        if (what == kind::source) h[0] = stretch;
        metric<N> M;
        metric_aniso(h, what == kind::noise ? random_basis<N>(generator) : stretched, M);
        std::copy_n(M.values, metric_size<N>, metrics.column(n));
    }
    if (what == kind::noise) return;
    metric<N> M;
    metric_aniso(source_size, M);
    for (const std::size_t n : sources<N>(generator)) {
        std::copy_n(M.values, metric_size<N>, metrics.column(n));
    }
}

// A tenth of the nodes, or none.
dense1D<unsigned int, 8> fixed_nodes(fixing fixed, std::size_t nbr_nodes) {
    dense1D<unsigned int, 8> nodes;
    if (fixed == fixing::none) return nodes;
    std::mt19937_64 generator(4);
    for (unsigned int n = 0; n < nbr_nodes; ++n) {
        if (generator() % 10 == 0) nodes.push_back(n);
    }
    return nodes;
}

// Sources make sizes shrink; in noise each node goes its own way.
signed char direction_of(kind what) { return what == kind::source ? -1 : 0; }

template <class Values> struct job {
    const mesh& m;
    Values start;
    dense1D<unsigned int, 8> fixed;
    signed char direction;
};

template <std::size_t N, class Values> job<Values> make_job(kind what, fixing fixed) {
    job<Values> made{
        the_mesh<N>(), {}, fixed_nodes(fixed, the_mesh<N>().pos.cols()), direction_of(what)};
    make_field<N>(what, made.start);
    return made;
}

// What the last run has done.
struct run_counts {
    std::uint64_t popped = 0;
    std::uint64_t steps_tried = 0; // entries popped that were not stale
    std::uint64_t moves = 0;
    std::uint64_t reductions = 0; // generalized eigenproblems
};
run_counts counts;

// The library's queue, with its pops counted.
class counted_heap : public edge_heap {
public:
    edge_entry pop() {
        ++counts.popped;
        return edge_heap::pop();
    }
};

// The keys pushed in the last run, and not a number for each pop.
std::vector<float> trace;

class recorded_heap : public counted_heap {
public:
    bool push(const edge_entry& entry) {
        trace.push_back(entry.key);
        return counted_heap::push(entry);
    }
    edge_entry pop() {
        trace.push_back(std::numeric_limits<float>::quiet_NaN());
        return counted_heap::pop();
    }
};

// A field of the library, with its steps and moves counted.
template <class Field> class counted_field : public Field {
public:
    using value = typename Field::value;
    using Field::Field;

    void write(unsigned int node, const value& changed) {
        ++counts.moves;
        Field::write(node, changed);
    }
    void sizes_along(unsigned int a, const value& Ma, unsigned int b, const value& Mb, double& d,
                     double& ha, double& hb) const {
        ++counts.steps_tried;
        Field::sizes_along(a, Ma, b, Mb, d, ha, hb);
    }
};

// And with the reductions counted: an interpolation makes one, unless it is only asked for its
// start.
template <std::size_t N> class counted_metric_field : public counted_field<metric_field<N>> {
public:
    using value = metric<N>;
    using counted_field<metric_field<N>>::counted_field;

    class interpolation : public metric_field<N>::interpolation {
    public:
        using metric_field<N>::interpolation::interpolation;

        interpolated at(double t, value& M) {
            if (!is_start(t) && !is_counted_) {
                is_counted_ = true;
                ++counts.reductions;
            }
            return metric_field<N>::interpolation::at(t, M);
        }

    private:
        bool is_counted_ = false;
    };
};

// The same steps with the eigenproblems solved by LAPACK wherever the plainest form has one: every
// interpolation reduces both metrics, and so does restricting its direction.
class literal_metric_field : public counted_field<metric_field<3>> {
    static constexpr std::size_t N = 3;

public:
    using value = metric<N>;
    using counted_field<metric_field<N>>::counted_field;

    static bool is_valid(const value& M) { return test::plain_is_valid(M); }

    class interpolation {
    public:
        interpolation(const value& from, const value& to, int direction)
            : from_(from), to_(to), takes_larger_(direction > 0) {}

        interpolated at(double t, value& M) const {
            counts.reductions += is_start(t) || is_end(t) ? 1 : 2;
            if (!test::plain_metric_at<N>(t, from_, to_, M)) return interpolated::none;
            return test::plain_combination<N>(takes_larger_, from_, M, M) ? interpolated::usable
                                                                          : interpolated::refused;
        }

    private:
        value from_;
        value to_;
        bool takes_larger_;
    };
};

template <std::size_t N, class Values>
using counted_field_of = std::conditional_t<std::is_same_v<Values, size_values>,
                                            counted_field<size_field<N>>, counted_metric_field<N>>;

// Runs a job and leaves its counts and its trace.
template <std::size_t N, class Values> void record(kind what, fixing fixed) {
    const job<Values> todo = make_job<N, Values>(what, fixed);
    Values values;
    values.copy(todo.start);
    counts = {};
    trace.clear();
    using field = counted_field_of<N, Values>;
    edge_bounding<field, gradation, recorded_heap>(field(todo.m.pos, values),
                                                   gradation(max_gradation))
        .run(todo.m.connect, todo.m.pos.cols(), todo.fixed, true, todo.direction);
}

void report_per_pop(benchmark::State& state) {
    state.counters["per_pop"] = benchmark::Counter(static_cast<double>(counts.popped),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

void report_counts(benchmark::State& state) {
    const auto count = [](std::uint64_t n) {
        return benchmark::Counter(static_cast<double>(n), benchmark::Counter::kDefaults,
                                  benchmark::Counter::kIs1000);
    };
    state.counters["popped"] = count(counts.popped);
    state.counters["steps"] = count(counts.steps_tried);
    state.counters["moves"] = count(counts.moves);
    state.counters["eigenproblems"] = count(counts.reductions);
    report_per_pop(state);
}

template <std::size_t N, class Values>
void bound_ours(benchmark::State& state, kind what, fixing fixed) {
    const job<Values> todo = make_job<N, Values>(what, fixed);
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        Values values;
        values.copy(todo.start);
        state.ResumeTiming();
        if (bound_metric_gradations(todo.m.pos, todo.m.connect, todo.m.type, todo.fixed, true,
                                    todo.direction, max_gradation, values) <= 0) {
            state.SkipWithError("nothing bounded");
        }
    }
    record<N, Values>(what, fixed);
    report_counts(state);
}

// The pushes and pops of the run.
template <std::size_t N, class Values>
void bound_priority_queue(benchmark::State& state, kind what, fixing fixed) {
    record<N, Values>(what, fixed);
    const auto is_below = [](const edge_entry& a, const edge_entry& b) { return a.key < b.key; };
    for ([[maybe_unused]] auto _ : state) {
        std::priority_queue<edge_entry, std::vector<edge_entry>, decltype(is_below)> queue(
            is_below);
        unsigned int sum = 0;
        for (const float key : trace) {
            if (key == key) {
                queue.push({key, sum, 0, 0});
            } else {
                sum += queue.top().stamp;
                queue.pop();
            }
        }
        benchmark::DoNotOptimize(sum);
        if (!queue.empty()) state.SkipWithError("more pushed than popped");
    }
    report_per_pop(state);
}

void bound_literal(benchmark::State& state, kind what, fixing fixed) {
    const job<metric_values> todo = make_job<3, metric_values>(what, fixed);
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        metric_values values;
        values.copy(todo.start);
        state.ResumeTiming();
        counts = {};
        edge_bounding<literal_metric_field, gradation, counted_heap> bounding(
            literal_metric_field(todo.m.pos, values), gradation(max_gradation));
        if (bounding.run(todo.m.connect, todo.m.pos.cols(), todo.fixed, true, todo.direction) <=
            0) {
            state.SkipWithError("nothing bounded");
        }
    }
    report_counts(state);
}

// The time for each of `n` entries.
void report_each(benchmark::State& state, std::size_t n) {
    state.counters["each"] =
        benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

// The slowest fields, see metric_fields.h: the sizes 1 + x^2 / n at the nodes x = 0, ..., n - 1 of
// a row of bars, which may only shrink.

constexpr double max_variation = 0.3;

dense2D<double> row_of_nodes(std::size_t n) {
    dense2D<double> pos(2, n, 0.0);
    for (std::size_t i = 0; i < n; ++i) pos(0, i) = static_cast<double>(i);
    return pos;
}

dense2D<unsigned int> row_of_bars(std::size_t n) {
    dense2D<unsigned int> bars(2, n - 1);
    for (unsigned int i = 0; i < n - 1; ++i) {
        bars(0, i) = i;
        bars(1, i) = i + 1;
    }
    return bars;
}

size_values convex_sizes(std::size_t n) {
    size_values sizes(n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto x = static_cast<double>(i);
        sizes[i] = 1.0 + x * x / static_cast<double>(n);
    }
    return sizes;
}

// But for what the refused steps leave, a thousandth of the difference of two sizes.
bool keeps_limit(const size_values& sizes) {
    for (std::size_t i = 1; i < sizes.size(); ++i) {
        if (sizes[i] - sizes[i - 1] > 1.0011 * max_variation) return false;
    }
    return true;
}

void bound_convex_row(benchmark::State& state) {
    bool is_bounded = true;
    const auto make = [&is_bounded](std::size_t n) {
        return [&is_bounded, pos = row_of_nodes(n), bars = row_of_bars(n),
                sizes = convex_sizes(n)]() mutable {
            bound_metric_variations(pos, bars, ET_BAR2, {}, true, -1, max_variation, sizes);
            is_bounded = is_bounded && keeps_limit(sizes);
        };
    };
    bench::report_growth(state, 500, make, 1);
    if (!is_bounded) state.SkipWithError("an edge is left above the limit");
}

constexpr std::size_t nbr_edges = 1000000;
constexpr std::size_t nbr_metrics = 1000000;

// The first million edges, over and over where there are fewer.
dense2D<unsigned int> million_edges() {
    const mesh& m = the_mesh<3>();
    dense2D<unsigned int> edges;
    copy_edges(m.connect, m.type, edges, {});
    dense2D<unsigned int> million(2, nbr_edges);
    for (std::size_t c = 0; c < nbr_edges; ++c) {
        std::copy_n(edges.column(c % edges.cols()), 2, million.column(c));
    }
    return million;
}

template <class Values> void shock_ours(benchmark::State& state) {
    const dense2D<unsigned int> edges = million_edges();
    Values values;
    make_field<3>(kind::noise, values);
    size_values shocks(the_mesh<3>().pos.cols());
    for ([[maybe_unused]] auto _ : state) {
        if (H_shock(the_mesh<3>().pos, edges, values, shocks) != 0) state.SkipWithError("failed");
        benchmark::DoNotOptimize(shocks.data());
    }
    report_each(state, nbr_edges);
}

// With sizes that differ by direction as far as the noise goes.
const metric_values& million_metrics() {
    static const metric_values made = [] {
        std::mt19937_64 generator(5);
        metric_values metrics(metric_size<3>, nbr_metrics);
        for (std::size_t n = 0; n < nbr_metrics; ++n) {
            vector<3> h;
            for (std::size_t k = 0; k < 3; ++k) h[k] = noisy_size(generator, 1.0);
            metric<3> M;
            metric_aniso(h, random_basis<3>(generator), M);
            std::copy_n(M.values, metric_size<3>, metrics.column(n));
        }
        return metrics;
    }();
    return made;
}

void valid_ours(benchmark::State& state) {
    const metric_values& metrics = million_metrics();
    for ([[maybe_unused]] auto _ : state) {
        if (!are_valid_metrics(metrics)) state.SkipWithError("not valid");
    }
    report_each(state, nbr_metrics);
}

void valid_dspev(benchmark::State& state) {
    const metric_values& metrics = million_metrics();
    for ([[maybe_unused]] auto _ : state) {
        for (std::size_t n = 0; n < nbr_metrics; ++n) {
            metric<3> M;
            std::copy_n(metrics.column(n), metric_size<3>, M.values);
            vector<3> l{};
            test::dspev(M, l);
            if (!(l[0] > 0.0)) state.SkipWithError("not valid");
        }
    }
    report_each(state, nbr_metrics);
}

// The eigenvalues of each metric by `solve`, or its eigenvectors as well.
template <class Solve> void solve_each(benchmark::State& state, Solve solve) {
    const metric_values& metrics = million_metrics();
    for ([[maybe_unused]] auto _ : state) {
        for (std::size_t n = 0; n < nbr_metrics; ++n) {
            metric<3> M;
            std::copy_n(metrics.column(n), metric_size<3>, M.values);
            benchmark::DoNotOptimize(solve(M));
        }
    }
    report_each(state, nbr_metrics);
}
void values_ours(benchmark::State& state) {
    solve_each(state, [](const metric<3>& M) {
        vector<3> l{};
        eigen3(M, l);
        return l;
    });
}
void values_dspev(benchmark::State& state) {
    solve_each(state, [](const metric<3>& M) {
        vector<3> l{};
        test::dspev(M, l);
        return l;
    });
}
void pairs_ours(benchmark::State& state) {
    solve_each(state, [](const metric<3>& M) {
        vector<3> l{};
        matrix<3> P{};
        eigen3(M, l, P);
        return P;
    });
}
void pairs_dspev(benchmark::State& state) {
    solve_each(state, [](const metric<3>& M) {
        vector<3> l{};
        matrix<3> P{};
        test::dspev(M, l, &P);
        return P;
    });
}

template <std::size_t N, class Values> void add_form(const std::string& form) {
    for (const kind what : {kind::noise, kind::source}) {
        for (const fixing fixed : {fixing::none, fixing::tenth}) {
            std::string task = "metrics/" + form;
            task += what == kind::noise ? "_noise" : "_source";
            if (fixed == fixing::tenth) task += "_fixed";
            const auto add = [&](const char* who, auto run) {
                const std::string name = task + "/" + who;
                benchmark::RegisterBenchmark(name.c_str(), run, what, fixed)
                    ->Unit(benchmark::kMillisecond);
            };
            add("ours", bound_ours<N, Values>);
            add("priority_queue", bound_priority_queue<N, Values>);
            if constexpr (N == 3 && std::is_same_v<Values, metric_values>) {
                add("literal", bound_literal);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    add_form<2, size_values>("sizes_2d");
    add_form<3, size_values>("sizes_3d");
    add_form<2, metric_values>("metrics_2d");
    add_form<3, metric_values>("metrics_3d");
    const auto add = [](const char* name, auto run) {
        benchmark::RegisterBenchmark(name, run)->Unit(benchmark::kMillisecond);
    };
    benchmark::RegisterBenchmark("metrics/convex_row/ours", bound_convex_row)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    add("metrics/shock_sizes_3d/ours", shock_ours<size_values>);
    add("metrics/shock_metrics_3d/ours", shock_ours<metric_values>);
    add("metrics/valid_3d/ours", valid_ours);
    add("metrics/valid_3d/dspev", valid_dspev);
    add("metrics/eigen3/ours", values_ours);
    add("metrics/eigen3/dspev", values_dspev);
    add("metrics/eigen3_with_vectors/ours", pairs_ours);
    add("metrics/eigen3_with_vectors/dspev", pairs_dspev);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
