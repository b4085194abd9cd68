// Minimisation of a function of one variable without derivatives.
#ifndef TESSMAKER_METRICS_MINIMISE_BRACKET_H
#define TESSMAKER_METRICS_MINIMISE_BRACKET_H

#include <algorithm>
#include <cmath>

namespace kv7::tessmaker {

struct minimum {
    double t;
    double value;
};

// Halves the intervals around the middle m of three places a < m < b towards the lowest value,
// until the values at a and b differ from that at m by at most `f_tolerance` times the latter, or
// both places are within `t_tolerance` of m. Returns the place with the lowest value of the three.
// For a >= b that is a.
template <class Function>
minimum minimise_bracket(double a, double b, double f_tolerance, double t_tolerance, Function F) {
    double m = a;
    double Fa = F(a);
    double Fm = Fa;
    double Fb = F(b);
    if (a >= b) return {m, Fm};
    m = (a + b) * 0.5;
    Fm = F(m);
    do {
        const double l = (m + a) * 0.5;
        const double r = (m + b) * 0.5;
        if (Fm < Fa && Fm < Fb) {
            const double Fl = F(l);
            const double Fr = Fl < Fm ? Fl : F(r); // unused where the left is lower
            if (Fl < Fm) {
                b = m;
                Fb = Fm;
                m = l;
                Fm = Fl;
            } else if (Fr < Fm) {
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
    } while (!(std::max(std::fabs(Fm - Fa), std::fabs(Fm - Fb)) <= std::fabs(Fm) * f_tolerance) &&
             (m - a > t_tolerance || b - m > t_tolerance));
    if (Fa < Fm && Fa < Fb) {
        m = a;
        Fm = Fa;
    }
    if (Fb < Fm && Fb < Fa) {
        m = b;
        Fm = Fb;
    }
    return {m, Fm};
}

} // namespace kv7::tessmaker

#endif
