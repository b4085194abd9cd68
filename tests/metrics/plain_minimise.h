// Minimisation within a bracket in its plainest form: a reference. Whole samples move, not places
// and values one by one.
#ifndef TESSMAKER_TESTS_METRICS_PLAIN_MINIMISE_H
#define TESSMAKER_TESTS_METRICS_PLAIN_MINIMISE_H

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace test {

using plain_function = std::function<double(double)>;

struct plain_sample {
    double t;
    double F;
};

// A bracket, and the step that narrows it.
class plain_bracket {
public:
    plain_bracket(double a, double b, plain_function F)
        : F_(std::move(F)), left(sample(a)), right(sample(b)), middle(left) {
        if (a < b) middle = sample((a + b) * 0.5);
    }

    const plain_sample& start() const { return left; }
    void narrow() {
        const double to_left = (middle.t + left.t) * 0.5;
        const double to_right = (middle.t + right.t) * 0.5;
        if (!(middle.F < left.F && middle.F < right.F)) {
            if (right.F < left.F) {
                go_right(sample(to_right));
            } else {
                go_left(sample(to_left));
            }
            return;
        }
        const plain_sample on_left = sample(to_left);
        if (on_left.F < middle.F) return go_left(on_left);
        const plain_sample on_right = sample(to_right);
        if (on_right.F < middle.F) return go_right(on_right);
        left = on_left;
        right = on_right;
    }

    bool is_flat(double tolerance) const {
        const double rise = std::max(std::fabs(middle.F - left.F), std::fabs(middle.F - right.F));
        return rise <= std::fabs(middle.F) * tolerance;
    }
    bool is_narrow(double tolerance) const {
        return !(middle.t - left.t > tolerance) && !(right.t - middle.t > tolerance);
    }
    plain_sample lowest() const {
        plain_sample best = middle;
        if (left.F < best.F && left.F < right.F) best = left;
        if (right.F < best.F && right.F < left.F) best = right;
        return best;
    }

private:
    plain_sample sample(double t) const { return {t, F_(t)}; }
    void go_left(const plain_sample& found) {
        right = middle;
        middle = found;
    }
    void go_right(const plain_sample& found) {
        left = middle;
        middle = found;
    }

    plain_function F_;
    plain_sample left;
    plain_sample right;
    plain_sample middle;
};

inline plain_sample plain_minimise(double a, double b, double f_tolerance, double t_tolerance,
                                   const plain_function& F) {
    plain_bracket bracket(a, b, F);
    if (a >= b) return bracket.start();
    do {
        bracket.narrow();
    } while (!bracket.is_flat(f_tolerance) && !bracket.is_narrow(t_tolerance));
    return bracket.lowest();
}

} // namespace test

#endif
