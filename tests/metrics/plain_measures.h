// The bounding of a field along edges in its plainest form, one step after the other: a reference.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_BOUNDING_H
#define TESSMAKER_TESTS_METRICS_PLAIN_BOUNDING_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "metrics/metric_algebra.h"
#include "metrics/random_metrics.h"

namespace test {

struct plain_entry {
    float key;
    unsigned int stamp;
    unsigned int target;
    unsigned int source;
};

class plain_heap {
public:
    bool empty() const { return entries_.empty(); }
    void push(const plain_entry& entry) {
        entries_.push_back(entry);
        rise(entries_.size() - 1);
    }
    plain_entry pop() {
        const plain_entry top = entries_.front();
        const plain_entry last = entries_.back();
        entries_.pop_back();
        if (entries_.empty()) return top;
        std::size_t hole = 0;
        while (2 * hole + 1 < entries_.size()) {
            const std::size_t left = 2 * hole + 1;
            const std::size_t right = left + 1;
            std::size_t child = left;
            if (right < entries_.size() && !(entries_[left].key > entries_[right].key)) {
                child = right;
            }
            entries_[hole] = entries_[child];
            hole = child;
        }
        entries_[hole] = last;
        rise(hole);
        return top;
    }

private:
    void rise(std::size_t k) {
        while (k > 0 && entries_[(k - 1) / 2].key < entries_[k].key) {
            std::swap(entries_[(k - 1) / 2], entries_[k]);
            k = (k - 1) / 2;
        }
    }
    std::vector<plain_entry> entries_;
};

using plain_function = std::function<double(double)>;

inline std::pair<double, double> plain_minimise(double a, double b, double f_tolerance,
                                                double t_tolerance, const plain_function& F) {
    double m = a;
    double Fa = F(a);
    double Fm = Fa;
    double Fb = F(b);
    if (a >= b) return {m, Fm};
    m = (a + b) * 0.5;
    Fm = F(m);
    for (;;) {
        const double l = (m + a) * 0.5;
        const double r = (m + b) * 0.5;
        if (Fm < Fa && Fm < Fb) {
            const double Fl = F(l);
            if (Fl < Fm) {
                b = m;
                Fb = Fm;
                m = l;
                Fm = Fl;
            } else {
                const double Fr = F(r);
                if (Fr < Fm) {
                    a = m;
                    Fa = Fm;
                    m = r;
                    Fm = Fr;
                } else {
                    a = l;
                    Fa = Fl;
                    b = r;
                    Fb = Fr;
                }
            }
        } else if (Fb < Fa) {
            a = m;
            Fa = Fm;
            m = r;
            Fm = F(r);
        } else {
            b = m;
            Fb = Fm;
            m = l;
            Fm = F(l);
        }
        if (std::max(std::fabs(Fm - Fa), std::fabs(Fm - Fb)) <= std::fabs(Fm) * f_tolerance) break;
        if (!(m - a > t_tolerance) && !(b - m > t_tolerance)) break;
    }
    if (Fa < Fm && Fa < Fb) {
        if (Fm < Fb) b = m;
        m = a;
        Fm = Fa;
    }
    if (Fb < Fm && Fb < Fa) {
        if (Fm < Fa) a = m;
        m = b;
        Fm = Fb;
    }
    return {m, Fm};
}

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

enum class measured { gradation, variation };

inline double plain_growth(measured what, double la, double lb, double L) {
    if (L >= largest) return 0.0;
    if (what == measured::variation) return std::fabs(la - lb) / (la * lb);
    const double e = std::log(std::max(la, lb) / std::min(la, lb)) / L;
    return e >= 700.0 ? largest : std::exp(e) - 1.0;
}

// The squared length, added up from the first coordinate on.
template <std::size_t N> double plain_length(const vector<N>& v) {
    double sum = v[0] * v[0];
    for (std::size_t i = 1; i < N; ++i) sum += v[i] * v[i];
    return std::sqrt(sum);
}

template <std::size_t N> struct plain_sizes {
    using value = double;

    dense1D<double>& field;

    value get(unsigned int n) const { return field[n]; }
    void set(unsigned int n, value h) const { field[n] = h; }
    static bool valid(value h) { return h > 0.0 && h < largest; }
    static double size(value h, const vector<N>&) { return h; }
    static double measure(measured what, value ha, value hb, const vector<N>& v) {
        const double d = plain_length<N>(v);
        const double la = ha > 0.0 ? d / ha : 0.0;
        const double lb = hb > 0.0 ? d / hb : 0.0;
        const double L = kv7::tessmaker::log_mean_length(d, ha, hb, false);
        if (L < 1e-12) return ha == hb ? 0.0 : largest;
        return plain_growth(what, la, lb, L);
    }
    static bool at(double t, value ha, value hb, signed char dir, value& h, bool& made) {
        h = std::fabs(t) < 1e-12         ? ha
            : std::fabs(1.0 - t) < 1e-12 ? hb
            : ha > 0.0 && hb > 0.0       ? (hb - ha) * t + ha
                                         : 0.0;
        made = h > 0.0 && h < largest;
        if (!made) return false;
        if (dir == 1) h = std::max(h, ha);
        if (dir == -1) h = std::min(h, ha);
        return true;
    }
    static bool changed(value before, value after) {
        return std::max(after, before) / std::min(after, before) > 1.000000000001;
    }
};

template <std::size_t N> struct plain_metrics {
    using value = metric<N>;

    dense2D<double>& field;

    value get(unsigned int n) const {
        value M{};
        std::copy_n(field.column(n), packed<N>, M.values);
        return M;
    }
    void set(unsigned int n, const value& M) const {
        std::copy_n(M.values, packed<N>, field.column(n));
    }
    static bool valid(const value& M) { return kv7::tessmaker::is_valid_metric(M); }
    static double size(const value& M, const vector<N>& v) {
        double length2 = v[0] * v[0];
        for (std::size_t i = 1; i < N; ++i) length2 += v[i] * v[i];
        vector<N> u = v;
        if (length2 != 0.0 && length2 != 1.0) {
            for (std::size_t i = 0; i < N; ++i) u[i] /= std::sqrt(length2);
        }
        const double q = form<N>(M, u);
        return q > 0.0 ? 1.0 / std::sqrt(q) : q;
    }
    static double measure(measured what, const value& Ma, const value& Mb, const vector<N>& v) {
        const double qa = form<N>(Ma, v);
        const double qb = form<N>(Mb, v);
        if (qa > 0.0 && qb > 0.0) {
            const double la = std::sqrt(qa);
            const double lb = std::sqrt(qb);
            const double L = kv7::tessmaker::log_mean_length(la * lb, la, lb, false);
            if (L >= 1e-12) return plain_growth(what, la, lb, L);
        }
        return std::equal(Ma.values, Ma.values + packed<N>, Mb.values) ? 0.0 : largest;
    }
    static bool at(double t, const value& Ma, const value& Mb, signed char dir, value& M,
                   bool& made) {
        made = kv7::tessmaker::metric_at(t, Ma, Mb, M);
        if (!made) return false;
        if (dir == 1) return kv7::tessmaker::maximum_metric_core(Ma, M, M);
        if (dir == -1) return kv7::tessmaker::minimum_metric_core(Ma, M, M);
        return true;
    }
    static bool changed(const value& before, const value& after) {
        double r = 1.0;
        for (std::size_t i = 0; i < N; ++i) {
            r = std::max(r,
                         std::max(before(i, i), after(i, i)) / std::min(before(i, i), after(i, i)));
        }
        return std::sqrt(r) > 1.000000000001;
    }
};

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
                const std::pair<double, double> lowest = plain_minimise(lo, hi, 0.001, 0.001, F);
                ++nbr_minimised;
                t = lowest.first;
                best = lowest.second;
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
