// The bounding of a field along edges in its plainest form, one step after the other: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_BOUNDING_H
#define TESSMAKER_TESTS_METRICS_PLAIN_BOUNDING_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "metrics/plain_heap.h"
#include "metrics/plain_measures.h"
#include "metrics/plain_minimise.h"
#include "metrics/random_metrics.h"

namespace test {

// Neighbours through a common element, in the order in which they are met.
inline std::vector<std::vector<unsigned int>>
plain_neighbours(const dense2D<unsigned int>& connect) {
    std::size_t nbr_nodes = 0;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < connect.rows(); ++r) {
            if (connect(r, c) != none) {
                nbr_nodes = std::max(nbr_nodes, std::size_t{connect(r, c)} + 1);
            }
        }
    }
    std::vector<std::vector<unsigned int>> result(nbr_nodes);
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        for (std::size_t r = 0; r < connect.rows(); ++r) {
            const unsigned int n = connect(r, c);
            if (n == none) continue;
            for (std::size_t k = 0; k < connect.rows(); ++k) {
                const unsigned int m = connect(k, c);
                if (m == none || m == n) continue;
                if (std::find(result[n].begin(), result[n].end(), m) == result[n].end()) {
                    result[n].push_back(m);
                }
            }
        }
    }
    return result;
}

template <std::size_t N, class Field> class plain_bounding {
public:
    using value = typename Field::value;

    plain_bounding(measured what, const dense2D<double>& pos, Field field, double limit)
        : what_(what), pos_(pos), field_(field), limit_(limit) {}

    int run(const dense2D<unsigned int>& connect, const dense1D<unsigned int>& nodes,
            bool nodes_fixed, int direction) {
        const std::vector<std::vector<unsigned int>> graph = plain_neighbours(connect);
        const std::size_t n = graph.size();
        std::vector<unsigned int> stamps(std::max(n, pos_.cols()), nodes_fixed ? 0 : none);
        for (const unsigned int node : nodes) {
            if (node != none) stamps[node] = nodes_fixed ? none : 0;
        }
        stamps.resize(n);
        std::vector<signed char> directions(n, static_cast<signed char>(direction));
        unsigned int counter = 0;
        int nbr_changed = 0;
        plain_heap heap;
        const auto push = [&](double g, unsigned int a, unsigned int b) {
            heap.push({static_cast<float>(std::min(g, 3.4028234663852886e+38)), counter, a, b});
        };
        for (unsigned int i = 0; i < n; ++i) {
            if (stamps[i] == none) continue;
            for (const unsigned int j : graph[i]) {
                if (j < i && stamps[j] != none) continue;
                const double g = measure(i, j);
                if (!(g > limit_)) continue;
                push(g, i, j);
                if (stamps[j] != none) push(g, j, i);
            }
        }
        while (!heap.empty()) {
            const plain_entry e = heap.pop();
            const unsigned int a = e.target;
            const unsigned int b = e.source;
            if (stamps[a] > e.stamp || (stamps[b] > e.stamp && stamps[b] != none)) continue;
            fixed_.clear();
            for (const unsigned int c : graph[a]) {
                if (stamps[c] == none) fixed_.push_back(c);
            }
            signed char dir = directions[a];
            if (!relax(a, b, dir)) continue;
            directions[a] = dir;
            if (stamps[a] == 0) ++nbr_changed;
            ++nbr_moves;
            stamps[a] = ++counter;
            for (const unsigned int c : graph[a]) {
                const double g = measure(a, c);
                if (!(g > limit_)) continue;
                push(g, a, c);
                if (stamps[c] != none) push(g, c, a);
            }
        }
        return nbr_changed;
    }

    int nbr_moves = 0;
    int nbr_minimised = 0;

private:
    vector<N> between(unsigned int a, unsigned int b) const {
        vector<N> v{};
        for (std::size_t i = 0; i < N; ++i) v[i] = pos_(i, b) - pos_(i, a);
        return v;
    }
    double measure(unsigned int a, unsigned int b) const {
        return Field::measure(what_, field_.get(a), field_.get(b), between(a, b));
    }
    double target_fraction(unsigned int a, unsigned int b, signed char& sign) const {
        const vector<N> v = between(a, b);
        const double d = plain_length<N>(v);
        const double ha = Field::size(field_.get(a), v);
        const double hb = Field::size(field_.get(b), v);
        sign = ha < hb ? 1 : -1;
        const double change = std::fabs(hb - ha);
        if (what_ == measured::variation) {
            return change <= 1e-12 * d ? 0.0 : std::max(0.0, 1.0 - (d / change) * limit_);
        }
        return change == 0.0 ? 0.0 : std::max(0.0, 1.0 - std::log1p(limit_) * (d / change));
    }
    double penalty(double t, unsigned int a, const value& Ma, const value& Mb,
                   signed char dir) const {
        value Mt{};
        bool made = false;
        Field::at(t, Ma, Mb, dir, Mt, made);
        if (!made) return 0.0;
        double sum = 0.0;
        for (const unsigned int c : fixed_) {
            const double g = Field::measure(what_, Mt, field_.get(c), between(a, c));
            if (!(g > limit_)) continue;
            const double e = g - limit_;
            if (e >= 1.3407807929942596e+154) return largest;
            sum += e * e;
        }
        return sum;
    }
    bool relax(unsigned int a, unsigned int b, signed char& dir) {
        const value Ma = field_.get(a);
        const value Mb = field_.get(b);
        signed char sign = 0;
        double t = target_fraction(a, b, sign);
        if (t <= 1e-12) return false;
        if (dir == 0) dir = sign;
        if (dir != sign) return false;
        if (t <= 0.001) return false;
        if (!fixed_.empty() && Field::valid(Ma)) {
            const plain_function F = [&](double s) { return penalty(s, a, Ma, Mb, dir); };
            const double F0 = F(0.0);
            if (F0 != largest) {
                if (!(F0 > 0.0)) return false;
                const double step = t / 6.0;
                double best_t = 0.0;
                double best = F0;
                double s = 0.0;
                for (int k = 1; k <= 5; ++k) {
                    s += step;
                    const double Fs = F(s);
                    if (Fs < best) {
                        best = Fs;
                        best_t = s;
                    }
                }
                const double lo = std::max(best_t - step, 0.0);
                const double hi = std::min(best_t + step, t);
                const plain_sample lowest = plain_minimise(lo, hi, 0.001, 0.001, F);
                ++nbr_minimised;
                t = lowest.t;
                best = lowest.F;
                if (t <= 0.001 || best >= F0) return false;
            }
        }
        value after{};
        bool made = false;
        if (!Field::at(t, Ma, Mb, dir, after, made)) return false;
        if (!Field::changed(Ma, after)) return false;
        field_.set(a, after);
        return true;
    }

    measured what_;
    const dense2D<double>& pos_;
    Field field_;
    double limit_;
    std::vector<unsigned int> fixed_;
};

} // namespace test

#endif
