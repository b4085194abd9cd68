#include "formats/polygon_triangles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "core/ids.h"

namespace kv7::tessmaker {

namespace {

using vector3 = std::array<double, 3>;

// Coordinates are scaled to below 2. Reading has rounded them by up to 2^-53, the shift to the
// first corner and the three products of the projection add less than 15 times that: a coordinate
// in the plane is right to 2^-49, and the product of two differences to 2^-48 times their lengths.
constexpr double rounding = 16.0 * std::numeric_limits<double>::epsilon();

// By so much cells are taken to be wider than they are: more than rounding can matter in
// coordinates below 8.
constexpr double wider = 8.0 * rounding;

// A grid with fewer obstacles is not worth a new one.
constexpr std::size_t small_grid = 64;

vector3 cross(const vector3& a, const vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double length(const vector3& a) { return std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]); }

// Two vectors that make a right-handed system with a unit vector; along axes if it is (Duff et al.,
// Building an orthonormal basis, revisited, 2017).
void make_plane(const vector3& n, vector3& u, vector3& v) {
    const double sign = std::copysign(1.0, n[2]);
    const double a = -1.0 / (sign + n[2]);
    const double b = n[0] * n[1] * a;
    u = {1.0 + sign * n[0] * n[0] * a, sign * b, -sign * n[0]};
    v = {b, sign + n[1] * n[1] * a, -n[1]};
}

double dot(const vector3& a, const vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

} // namespace

// Sets the corners in the plane. False if there is none: all corners lie on a line, or the areas of
// the parts cancel.
bool polygon_triangles::project(const double* points, std::size_t n) {
    double largest = 0.0;
    for (std::size_t i = 0; i < 3 * n; ++i) largest = std::max(largest, std::abs(points[i]));
    if (largest == 0.0) return false;
    const int exponent = std::ilogb(largest);
    const auto corner = [&](std::size_t k) {
        vector3 p{};
        for (std::size_t i = 0; i < 3; ++i) {
            p[i] = std::scalbn(points[3 * k + i], -exponent) - std::scalbn(points[i], -exponent);
        }
        return p;
    };
    vector3 normal{};
    double perimeter = 0.0;
    vector3 last = corner(n - 1);
    for (std::size_t k = 0; k < n; ++k) {
        const vector3 next = corner(k);
        const vector3 area = cross(last, next);
        for (std::size_t i = 0; i < 3; ++i) normal[i] += area[i];
        perimeter += length({next[0] - last[0], next[1] - last[1], next[2] - last[2]});
        last = next;
    }
    const double size = length(normal);
    if (!(size > rounding * perimeter)) return false;
    for (double& component : normal) component /= size;
    vector3 u{};
    vector3 v{};
    make_plane(normal, u, v);
    at_.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
        const vector3 p = corner(k);
        at_[k] = {dot(u, p), dot(v, p)};
    }
    return true;
}

// 1 if the way from `a` by `b` to `c` turns left, -1 if it turns right, 0 if that can't be told.
int polygon_triangles::turn(unsigned int a, unsigned int b, unsigned int c) const {
    const double ux = at_[b].x - at_[a].x;
    const double uy = at_[b].y - at_[a].y;
    const double vx = at_[c].x - at_[a].x;
    const double vy = at_[c].y - at_[a].y;
    const double area = ux * vy - uy * vx;
    const double bound = rounding * (std::abs(ux) + std::abs(uy) + std::abs(vx) + std::abs(vy));
    return area > bound ? 1 : area < -bound ? -1 : 0;
}

bool polygon_triangles::coincide(unsigned int a, unsigned int b) const {
    return at_[a].x == at_[b].x && at_[a].y == at_[b].y;
}

// Whether the outline goes back at a corner on the line on which it came.
bool polygon_triangles::is_folded(unsigned int v) const {
    const point a = at_[before_[v]];
    const point c = at_[after_[v]];
    const point p = at_[v];
    return turn(before_[v], v, after_[v]) == 0 &&
           (a.x - p.x) * (c.x - p.x) + (a.y - p.y) * (c.y - p.y) > 0.0;
}

void polygon_triangles::emit(unsigned int a, unsigned int b, unsigned int c) {
    triangles_.push_back(a);
    triangles_.push_back(b);
    triangles_.push_back(c);
}

void polygon_triangles::begin(std::size_t n) {
    const auto count = static_cast<unsigned int>(n);
    before_.resize(n);
    after_.resize(n);
    for (unsigned int k = 0; k < count; ++k) {
        before_[k] = k == 0 ? count - 1 : k - 1;
        after_[k] = k + 1 == count ? 0 : k + 1;
    }
    some_ = 0;
    nbr_left_ = n;
    nbr_steps_ = 0;
    is_proper_ = true;

    queue_ = 2 * count;
    list_before_.resize(2 * n + 1);
    list_after_.resize(2 * n + 1);
    for (unsigned int k = 0; k <= queue_; ++k) list_before_[k] = list_after_[k] = k;
    for (unsigned int k = 1; k < count; ++k) append_to(queue_, k);
    append_to(queue_, 0);

    is_obstacle_.resize(n);
    nbr_obstacles_ = 0;
    for (unsigned int k = 0; k < count; ++k) {
        const bool is_obstacle = turn(before_[k], k, after_[k]) <= 0;
        is_obstacle_[k] = is_obstacle ? 1 : 0;
        nbr_obstacles_ += is_obstacle ? 1U : 0U;
    }
    if (nbr_obstacles_ != 0) build_grid();
}

// The grid lies along the longest extent of the obstacles, so that a long line of them, wherever it
// goes, is one row.
void polygon_triangles::turn_grid() {
    const auto count = static_cast<double>(nbr_obstacles_);
    point mean{};
    for_each_obstacle([&](unsigned int k) {
        mean.x += at_[k].x / count;
        mean.y += at_[k].y / count;
    });
    double xx_less_yy = 0.0;
    double xy = 0.0;
    for_each_obstacle([&](unsigned int k) {
        const double x = at_[k].x - mean.x;
        const double y = at_[k].y - mean.y;
        xx_less_yy += x * x - y * y;
        xy += x * y;
    });
    const double angle = 0.5 * std::atan2(2.0 * xy, xx_less_yy);
    grid_axis_ = {std::cos(angle), std::sin(angle)};
}

polygon_triangles::point polygon_triangles::in_grid(unsigned int k) const {
    const point p = at_[k];
    return {grid_axis_.x * p.x + grid_axis_.y * p.y, grid_axis_.x * p.y - grid_axis_.y * p.x};
}

// Sorts the obstacles that are left into about as many cells, square ones.
void polygon_triangles::build_grid() {
    turn_grid();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    point low{infinity, infinity};
    point high{-infinity, -infinity};
    for_each_obstacle([&](unsigned int k) {
        const point p = in_grid(k);
        low = {std::min(low.x, p.x), std::min(low.y, p.y)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    });
    const auto count = static_cast<double>(nbr_obstacles_);
    const double width = high.x - low.x;
    const double height = high.y - low.y;
    const double size =
        std::max(std::sqrt(width * height / count), std::max(width, height) / count);
    cell_size_ = size > std::numeric_limits<double>::min() ? size : 16.0;
    grid_start_ = low;
    nbr_columns_ = static_cast<std::size_t>(width / cell_size_) + 1;
    nbr_rows_ = static_cast<std::size_t>(height / cell_size_) + 1;

    const auto cell_of = [this](unsigned int k) {
        const point p = in_grid(k);
        return place(p.y - grid_start_.y, nbr_rows_) * nbr_columns_ +
               place(p.x - grid_start_.x, nbr_columns_);
    };
    cell_start_.assign(nbr_rows_ * nbr_columns_ + 2, 0);
    cell_items_.resize(nbr_obstacles_);
    for_each_obstacle([&](unsigned int k) { ++cell_start_[cell_of(k) + 2]; });
    for (std::size_t k = 2; k < cell_start_.size(); ++k) cell_start_[k] += cell_start_[k - 1];
    for_each_obstacle([&](unsigned int k) { cell_items_[cell_start_[cell_of(k) + 1]++] = k; });
    nbr_in_grid_ = nbr_obstacles_;
}

// The column or the row at a distance from the start of the grid.
std::size_t polygon_triangles::place(double distance, std::size_t count) const {
    const double cells = distance / cell_size_;
    if (!(cells > 0.0)) return 0;
    return cells < static_cast<double>(count) ? static_cast<std::size_t>(cells) : count - 1;
}

// An obstacle in a row of the grid, and in a triangle that turns left or on its sides; else the
// absent ID.
unsigned int polygon_triangles::find_in_row(std::size_t row, unsigned int a, unsigned int b,
                                            unsigned int c) {
    const double lower = grid_start_.y + static_cast<double>(row) * cell_size_ - wider;
    const double upper = row + 1 == nbr_rows_
                             ? 10.0
                             : grid_start_.y + static_cast<double>(row + 1) * cell_size_ + wider;
    double left = std::numeric_limits<double>::infinity();
    double right = -left;
    const std::array<point, 3> corners{in_grid(a), in_grid(b), in_grid(c)};
    for (std::size_t i = 0; i < 3; ++i) {
        const point p = corners[i];
        const point q = corners[i == 2 ? 0 : i + 1];
        if (std::max(p.y, q.y) < lower || std::min(p.y, q.y) > upper) continue;
        const double rise = q.y - p.y;
        for (const double y : {lower, upper}) {
            const double way = rise == 0.0 ? 0.0 : std::clamp((y - p.y) / rise, 0.0, 1.0);
            const double x = p.x + way * (q.x - p.x);
            left = std::min(left, x);
            right = std::max(right, x);
        }
        if (rise == 0.0) {
            left = std::min(left, q.x);
            right = std::max(right, q.x);
        }
    }
    if (left > right) return no_id;
    const std::size_t first = place(left - wider - grid_start_.x, nbr_columns_);
    const std::size_t last = place(right + wider - grid_start_.x, nbr_columns_);
    // The cells of a row follow each other.
    const std::size_t end = cell_start_[row * nbr_columns_ + last + 1];
    for (std::size_t k = cell_start_[row * nbr_columns_ + first]; k < end; ++k) {
        ++nbr_steps_;
        const unsigned int p = cell_items_[k];
        if (is_obstacle_[p] == 0 || p == a || p == b || p == c) continue;
        if (turn(a, b, p) < 0 || turn(b, c, p) < 0 || turn(c, a, p) < 0) continue;
        if (!coincide(p, a) && !coincide(p, b) && !coincide(p, c)) return p;
    }
    return no_id;
}

// An obstacle in a triangle that turns left, or on its sides; the absent ID if there is none. Those
// at the place of a corner don't count: from there an edge can't get into the ear without ending in
// it or crossing the outline.
unsigned int polygon_triangles::find_obstacle(unsigned int a, unsigned int b, unsigned int c) {
    if (nbr_obstacles_ == 0) return no_id;
    if (nbr_in_grid_ > small_grid && nbr_obstacles_ < nbr_in_grid_ / 2) {
        nbr_steps_ += at_.size();
        build_grid();
    }
    const auto [lower, upper] = std::minmax({in_grid(a).y, in_grid(b).y, in_grid(c).y});
    const std::size_t last = place(upper + wider - grid_start_.y, nbr_rows_);
    for (std::size_t row = place(lower - wider - grid_start_.y, nbr_rows_); row <= last; ++row) {
        ++nbr_steps_;
        const unsigned int found = find_in_row(row, a, b, c);
        if (found != no_id) return found;
    }
    return no_id;
}

void polygon_triangles::leave_list(unsigned int v) {
    list_after_[list_before_[v]] = list_after_[v];
    list_before_[list_after_[v]] = list_before_[v];
    list_before_[v] = list_after_[v] = v;
}

// Moves a corner from the list in which it is, if any, to the end of another one.
void polygon_triangles::append_to(unsigned int list, unsigned int v) {
    leave_list(v);
    const unsigned int last = list_before_[list];
    list_after_[last] = list_before_[list] = v;
    list_before_[v] = last;
    list_after_[v] = list;
}

// An obstacle has gone: those that wait for it are looked at again.
void polygon_triangles::wake_those_waiting_for(unsigned int v) {
    is_obstacle_[v] = 0;
    --nbr_obstacles_;
    const unsigned int list = static_cast<unsigned int>(at_.size()) + v;
    while (list_after_[list] != list) append_to(queue_, list_after_[list]);
}

// Takes a corner off the outline, and looks at those beside it again, after all others: this makes
// triangles of a good shape out of round outlines.
void polygon_triangles::clip(unsigned int v) {
    const unsigned int a = before_[v];
    const unsigned int c = after_[v];
    emit(a, v, c);
    after_[a] = c;
    before_[c] = a;
    some_ = a;
    --nbr_left_;
    leave_list(v);
    if (is_obstacle_[v] != 0) wake_those_waiting_for(v);
    append_to(queue_, a);
    append_to(queue_, c);
}

// Clips a corner if it is an ear. Else it is in no list, or waits for the obstacle in its ear.
void polygon_triangles::look_at(unsigned int v) {
    ++nbr_steps_;
    const unsigned int a = before_[v];
    const unsigned int c = after_[v];
    if (coincide(a, v) || coincide(v, c)) {
        is_proper_ = false;
        clip(v);
        return;
    }
    if (turn(a, v, c) <= 0) return;
    if (is_obstacle_[v] != 0) wake_those_waiting_for(v);
    const unsigned int obstacle = find_obstacle(a, v, c);
    if (obstacle == no_id) {
        clip(v);
    } else {
        append_to(static_cast<unsigned int>(at_.size()) + obstacle, v);
    }
}

// Clips a corner where no ear is left: one at which the outline goes back, else one at which it
// turns left. False if there is none.
bool polygon_triangles::clip_any() {
    is_proper_ = false;
    unsigned int chosen = no_id;
    unsigned int v = some_;
    for (std::size_t k = 0; k < nbr_left_; ++k, v = after_[v]) {
        ++nbr_steps_;
        if (is_folded(v)) {
            chosen = v;
            break;
        }
        if (chosen == no_id && turn(before_[v], v, after_[v]) > 0) chosen = v;
    }
    if (chosen == no_id) return false;
    clip(chosen);
    return true;
}

void polygon_triangles::cut_rest_as_fan() {
    is_proper_ = false;
    const unsigned int a = some_;
    for (unsigned int v = after_[a]; after_[v] != a; v = after_[v]) emit(a, v, after_[v]);
}

bool polygon_triangles::cut(const double* points, std::size_t n) {
    has_given_up_ = false;
    triangles_.clear();
    triangles_.reserve(3 * (n - 2));
    if (!project(points, n)) {
        for (unsigned int k = 2; k < n; ++k) emit(0, k - 1, k);
        return false;
    }
    begin(n);
    while (nbr_left_ > 3 && nbr_steps_ <= most_steps_per_corner * n) {
        const unsigned int v = list_after_[queue_];
        if (v != queue_) {
            leave_list(v);
            look_at(v);
        } else if (!clip_any()) {
            break;
        }
    }
    if (nbr_left_ > 3) {
        has_given_up_ = nbr_steps_ > most_steps_per_corner * n;
        cut_rest_as_fan();
        return false;
    }
    const unsigned int a = before_[some_];
    if (turn(a, some_, after_[some_]) <= 0) is_proper_ = false;
    emit(a, some_, after_[some_]);
    return is_proper_;
}

} // namespace kv7::tessmaker
