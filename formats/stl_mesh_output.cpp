#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "core/small_vectors.h"
#include "formats/characters.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/stl_facets.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form set_lost{remark_kind::lost, "not written", "not written",
                               "no element, or one that another set has as well"};
constexpr remark_form set_renamed{remark_kind::changed, "renamed", "renamed",
                                  "a name is up to 200 characters of a line"};
constexpr remark_form order_changed{remark_kind::changed, "written in another order",
                                    "written in another order", "sets are one after the other"};
constexpr remark_form coordinate_rounded{remark_kind::changed, "rounded", "rounded",
                                         "the format has 24 bits"};
constexpr remark_form facet_too_large{remark_kind::lost, "not written", "not written",
                                      "a coordinate is too large"};

struct facet {
    std::array<vector<3>, 3> corners;
    vector<3> normal;
};

vector<3> point_at(const dense2D<double>& pos, unsigned int id) {
    const double* const p = pos.column(id);
    return {p[0], p[1], pos.rows() == 3 ? p[2] : 0.0};
}

facet facet_at(const dense2D<double>& pos, const unsigned int* nodes) {
    facet f;
    for (std::size_t k = 0; k < 3; ++k) f.corners[k] = point_at(pos, nodes[k]);
    f.normal = facet_normal(f.corners[0].data(), f.corners[1].data(), f.corners[2].data());
    // Of facets so large that their areas are no numbers.
    if (!std::isfinite(dot(f.normal, f.normal))) f.normal = {};
    return f;
}

// Text.

bool is_printable(char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7F'; }

// The name of solid `s` as readers get it: a part of a line, without blanks at its ends, and of a
// length that those can take which read lines of 255 characters.
std::string solid_name(const std::string& name, std::size_t s) {
    constexpr std::size_t longest = 200;
    const std::string_view kept = trim_right(trim_left(name).substr(0, longest));
    if (kept.empty()) return "solid " + std::to_string(s);
    std::string result(kept);
    for (char& c : result) {
        if (!is_printable(c)) c = '?';
    }
    return result;
}

// Which solid each element belongs to, and the order in which elements are written.
class solids {
public:
    explicit solids(const mesh_for_file& what) : of_(what.m.connect.cols()) {
        const std::size_t cols = what.m.connect.cols();
        if (of_.size() != cols) throw std::bad_alloc();
        std::fill(of_.begin(), of_.end(), no_id);
        visit_written(what,
                      [this](element_type, std::size_t c, const unsigned int*) { of_[c] = 0; });
        for (const named_set& set : what.m.element_sets) add(set);
        sort(what.nbr_elements);
    }

    std::size_t nbr_lost_sets() const { return nbr_lost_; }
    bool keeps_order() const { return std::is_sorted(order_.begin(), order_.end()); }

    // The solids, the first of which has no set and may be empty.
    std::size_t size() const { return sets_.size() + 1; }
    const named_set& set(std::size_t s) const { return *sets_[s - 1]; }
    const unsigned int* begin(std::size_t s) const { return order_.data() + starts_[s]; }
    const unsigned int* end(std::size_t s) const { return order_.data() + starts_[s + 1]; }

private:
    void add(const named_set& set) {
        bool has_any = false;
        bool is_free = true;
        for (const unsigned int c : set.ids) {
            has_any = has_any || of_[c] == 0;
            is_free = is_free && (of_[c] == 0 || of_[c] == no_id);
        }
        if (!has_any || !is_free) {
            ++nbr_lost_;
            return;
        }
        sets_.push_back(&set);
        const auto number = static_cast<unsigned int>(sets_.size());
        for (const unsigned int c : set.ids) {
            if (of_[c] == 0) of_[c] = number;
        }
    }
    void sort(std::size_t nbr_elements) {
        starts_.assign(size() + 1, 0);
        for (const unsigned int s : of_) {
            if (s != no_id) ++starts_[s + 1];
        }
        for (std::size_t s = 0; s < size(); ++s) starts_[s + 1] += starts_[s];
        if (!order_.resize(nbr_elements)) throw std::bad_alloc();
        std::vector<std::size_t> next(starts_);
        for (std::size_t c = 0; c < of_.size(); ++c) {
            if (of_[c] != no_id) order_[next[of_[c]]++] = static_cast<unsigned int>(c);
        }
    }

    id_list of_; // the number of the solid by element; absent for those that are not written
    std::vector<const named_set*> sets_;
    std::vector<std::size_t> starts_;
    id_list order_;
    std::size_t nbr_lost_ = 0;
};

void tell_text(const mesh_for_file& what, write_losses& losses) {
    if (what.m.element_sets.empty()) return;
    const solids all(what);
    std::size_t nbr_renamed = 0;
    for (std::size_t s = 1; s < all.size(); ++s) {
        const std::string& name = all.set(s).name;
        if (solid_name(name, s) != name) ++nbr_renamed;
    }
    losses.add(set_lost, "set of elements", all.nbr_lost_sets());
    losses.add(set_renamed, "set of elements", nbr_renamed);
    if (!all.keeps_order()) losses.add(order_changed, "element", what.nbr_elements);
}

void put_numbers(const vector<3>& numbers, int digits, output_buffer& output) {
    for (std::size_t i = 0; i < 3; ++i) {
        output.put(' ');
        put_real(numbers[i], digits, output);
    }
    output.put('\n');
}

bool put_text_facet(const facet& f, int digits, output_buffer& output) {
    constexpr std::size_t facet_size = 120 + 12 * (real_size + 1); // its words and numbers
    if (!output.make_room(facet_size)) return false;
    output.put("   facet normal");
    const vector<3>& n = f.normal;
    put_numbers({n[0] + 0.0, n[1] + 0.0, n[2] + 0.0}, digits, output); // no -0
    output.put("      outer loop\n");
    for (const vector<3>& corner : f.corners) {
        output.put("         vertex");
        put_numbers(corner, digits, output);
    }
    output.put("      endloop\n"
               "   endfacet\n");
    return true;
}

bool put_solid_line(std::string_view word, const std::string& name, output_buffer& output) {
    if (!put_text(word, output)) return false;
    if (!name.empty() && !(put_text(" ", output) && put_text(name, output))) return false;
    return put_text("\n", output);
}

bool write_text(std::FILE* file, const mesh_for_file& what) {
    const mesh& m = what.m;
    const solids all(what);
    output_buffer output(file);
    for (std::size_t s = 0; s < all.size(); ++s) {
        const bool is_needed = all.begin(s) != all.end(s) || all.size() == 1;
        if (!is_needed) continue;
        const std::string name = s == 0 ? "" : solid_name(all.set(s).name, s);
        if (!put_solid_line("solid", name, output)) return false;
        for (const unsigned int* c = all.begin(s); c != all.end(s); ++c) {
            const facet f = facet_at(m.pos, m.connect.column(*c));
            if (!put_text_facet(f, what.digits, output)) return false;
        }
        if (!put_solid_line("endsolid", name, output)) return false;
    }
    return output.pass_on();
}

// Binary.

// Whether the number is rounded to a finite one: to at most the largest float and half a step.
bool fits_float(double x) { return std::abs(x) < 0x1.ffffffp127; }

bool fits_float(const dense2D<double>& pos, unsigned int id) {
    const double* const p = pos.column(id);
    return fits_float(p[0]) && fits_float(p[1]) && (pos.rows() == 2 || fits_float(p[2]));
}

bool fits_float(const dense2D<double>& pos, const unsigned int* nodes) {
    return fits_float(pos, nodes[0]) && fits_float(pos, nodes[1]) && fits_float(pos, nodes[2]);
}

std::size_t nbr_large_facets(const mesh_for_file& what) {
    std::size_t count = 0;
    visit_written(what, [&](element_type, std::size_t, const unsigned int* nodes) {
        count += fits_float(what.m.pos, nodes) ? 0U : 1U;
    });
    return count;
}

void tell_binary(const mesh_for_file& what, write_losses& losses) {
    const dense2D<double>& pos = what.m.pos;
    std::size_t nbr_rounded = 0;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!what.has_node(c)) continue;
        for (std::size_t r = 0; r < pos.rows(); ++r) {
            const double x = pos(r, c);
            if (fits_float(x) && static_cast<double>(static_cast<float>(x)) != x) ++nbr_rounded;
        }
    }
    losses.add(facet_too_large, "facet", nbr_large_facets(what));
    losses.add(coordinate_rounded, "coordinate", nbr_rounded);
}

void put_floats(const vector<3>& numbers, output_buffer& output) {
    for (std::size_t i = 0; i < 3; ++i) output.put_little_endian(static_cast<float>(numbers[i]));
}

bool write_binary(std::FILE* file, const mesh_for_file& what) {
    constexpr char header[80] = "KV7 STL Binary";
    constexpr std::size_t facet_size = 50;
    const dense2D<double>& pos = what.m.pos;
    output_buffer output(file);
    output.put({header, sizeof header});
    const std::size_t nbr_facets = what.nbr_elements - nbr_large_facets(what);
    output.put_little_endian(static_cast<std::uint32_t>(nbr_facets));
    bool is_good = true;
    visit_written(what, [&](element_type, std::size_t, const unsigned int* nodes) {
        if (!fits_float(pos, nodes)) return;
        is_good = is_good && output.make_room(facet_size);
        if (!is_good) return;
        const facet f = facet_at(pos, nodes);
        put_floats(f.normal, output);
        for (const vector<3>& corner : f.corners) put_floats(corner, output);
        output.put({"\0\0", 2}); // attributes
    });
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer stl_text_writer{&stl_text_holdings, tell_text, write_text};
const mesh_writer stl_binary_writer{&stl_binary_holdings, tell_binary, write_binary};

} // namespace kv7::tessmaker
