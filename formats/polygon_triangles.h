// Polygons in space cut into triangles.
//
// Ears are clipped as G. H. Meisters (Polygons have ears, 1975) tells. A corner whose ear holds
// another one waits for that corner to go, so that no ear is looked at again and again; the corners
// that an ear may hold are looked up in a grid.
#ifndef TESSMAKER_FORMATS_POLYGON_TRIANGLES_H
#define TESSMAKER_FORMATS_POLYGON_TRIANGLES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kv7::tessmaker {

// Cuts one polygon after the other, with the same memory.
//
// The polygon is seen along its normal, which is the sum over the triangles of a fan; so it needn't
// be flat. Its outline may touch itself: repeated corners that lead to a hole and back are fine,
// and so are corners on a straight line. Of an outline without such faults all triangles turn the
// way of the polygon, have an area, and don't overlap. Where the outline crosses itself, lies on
// one line or goes back on itself, some triangle has no area or overlaps another one.
//
// Work is bounded: a polygon of n corners takes about n log n steps if its corners are spread over
// it evenly, and 1024 n in no case. What is left of it then is cut as a fan.
class polygon_triangles {
public:
    static constexpr std::size_t most_corners = std::size_t{1} << 30;
    static constexpr std::uint64_t most_steps_per_corner = 1024;

    // Cuts a polygon of `n` corners, from 3 to `most_corners`, given by x, y and z of each, all of
    // them finite. Returns whether all triangles came about as ears with an area.
    bool cut(const double* points, std::size_t n);

    // Whether that took too many steps.
    bool has_given_up() const { return has_given_up_; }

    // The corners of the n - 2 triangles of the last polygon, as numbers from 0, three for each.
    const std::vector<unsigned int>& corners() const { return triangles_; }

private:
    struct point {
        double x;
        double y;
    };

    bool project(const double* points, std::size_t n);
    void begin(std::size_t n);
    void emit(unsigned int a, unsigned int b, unsigned int c);

    int turn(unsigned int a, unsigned int b, unsigned int c) const;
    bool coincide(unsigned int a, unsigned int b) const;
    bool is_folded(unsigned int v) const;

    template <class Work> void for_each_obstacle(const Work& work) const {
        const auto n = static_cast<unsigned int>(at_.size());
        for (unsigned int k = 0; k < n; ++k) {
            if (is_obstacle_[k] != 0) work(k);
        }
    }
    void turn_grid();
    point in_grid(unsigned int k) const;
    void build_grid();
    std::size_t place(double distance, std::size_t count) const;
    unsigned int find_in_row(std::size_t row, unsigned int a, unsigned int b, unsigned int c);
    unsigned int find_obstacle(unsigned int a, unsigned int b, unsigned int c);

    void leave_list(unsigned int v);
    void append_to(unsigned int list, unsigned int v);
    void wake_those_waiting_for(unsigned int v);

    void look_at(unsigned int v);
    void clip(unsigned int v);
    bool clip_any();
    void cut_rest_as_fan();

    std::vector<unsigned int> triangles_;
    std::vector<point> at_;
    // The outline that is left.
    std::vector<unsigned int> before_;
    std::vector<unsigned int> after_;
    unsigned int some_ = 0; // a corner of it
    std::size_t nbr_left_ = 0;
    // Corners where the outline doesn't turn left, or didn't when it was looked at last.
    std::vector<unsigned char> is_obstacle_;
    std::size_t nbr_obstacles_ = 0;
    // Circular lists, each with a head: those that wait for corner k, with head n + k, and those
    // that are to be looked at, with head 2 n. A corner is in one of them or in none.
    std::vector<unsigned int> list_before_;
    std::vector<unsigned int> list_after_;
    unsigned int queue_ = 0;
    // Obstacles by cell, row by row.
    std::vector<std::size_t> cell_start_;
    std::vector<unsigned int> cell_items_;
    std::size_t nbr_columns_ = 0;
    std::size_t nbr_rows_ = 0;
    std::size_t nbr_in_grid_ = 0;
    point grid_axis_{}; // the direction of its rows
    point grid_start_{};
    double cell_size_ = 0.0;
    std::uint64_t nbr_steps_ = 0;
    bool is_proper_ = false;
    bool has_given_up_ = false;
};

} // namespace kv7::tessmaker

#endif
