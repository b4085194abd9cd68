#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "core/type_table.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"
#include "formats/scientific.h"
#include "formats/vtk_cell_orders.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form order_changed{remark_kind::changed, "written in another order",
                                    "written in another order",
                                    "each property is a part, and each type is together there"};
constexpr remark_form coordinate_rounded{remark_kind::changed, "rounded", "rounded",
                                         "the format has 6 digits"};

constexpr int most_digits = 6;
constexpr std::size_t id_width = 10;
constexpr std::size_t real_width = 12;

constexpr type_table<std::string_view> keywords{{
    {ET_UNKNOWN, {}},         {ET_NODE, "point"},      {ET_BAR_MIX, {}},
    {ET_BAR2, "bar2"},        {ET_BAR3, "bar3"},       {ET_FACE_MIX, {}},
    {ET_TRIA3, "tria3"},      {ET_QUAD4, "quad4"},     {ET_TRIA6, "tria6"},
    {ET_QUAD8, "quad8"},      {ET_QUAD9, {}},          {ET_SOLID_MIX, {}},
    {ET_TETRA4, "tetra4"},    {ET_TETRA10, "tetra10"}, {ET_PYRA5, "pyramid5"},
    {ET_PYRA13, "pyramid13"}, {ET_PYRA14, {}},         {ET_PENTA6, "penta6"},
    {ET_PENTA15, "penta15"},  {ET_PENTA18, {}},        {ET_HEXA8, "hexa8"},
    {ET_HEXA20, "hexa20"},    {ET_HEXA27, {}},
}};

// The nodes of elements that differ from those of VTK's cells: wedges have their triangles as ours
// have, and of a line the second node is that in the middle.
constexpr vtk_order line{0, 2, 1};
constexpr vtk_order wedge6 = vtk_orders::order(ET_PENTA6, vtk_orders::in_order);
constexpr vtk_order wedge15 =
    vtk_orders::order(ET_PENTA15, vtk_orders::in_order, vtk_orders::wedge_edges);

const vtk_order& order_of(element_type type) {
    switch (type) {
    case ET_BAR3: return line;
    case ET_PENTA6: return wedge6;
    case ET_PENTA15: return wedge15;
    default: return vtk_cell_table[type].nodes;
    }
}

struct written_element {
    unsigned int property;
    element_type type;
    unsigned int column;
    const unsigned int* nodes;

    bool precedes(const written_element& other) const {
        if (property != other.property) return property < other.property;
        return type != other.type ? type < other.type : column < other.column;
    }
};
using element_iterator = std::vector<written_element>::const_iterator;

// In the order in which they are written.
struct element_order {
    std::vector<written_element> elements;
    bool is_changed = false;
};
element_order order_of(const mesh_for_file& what) {
    element_order order;
    order.elements.reserve(what.nbr_elements);
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        order.elements.push_back({what.property(c), type, static_cast<unsigned int>(c), nodes});
    });
    const auto precedes = [](const written_element& a, const written_element& b) {
        return a.precedes(b);
    };
    order.is_changed = !std::is_sorted(order.elements.begin(), order.elements.end(), precedes);
    if (order.is_changed) std::sort(order.elements.begin(), order.elements.end(), precedes);
    return order;
}

// A coordinate as it is written.
struct rounded_coordinate {
    double value;
    int precision; // digits behind the point
};
rounded_coordinate rounded(double value, int digits) {
    // What would be rounded beyond the range of double is cut off. By digits behind the point.
    constexpr double largest[most_digits] = {1e308,     1.7e308,    1.79e308,
                                             1.797e308, 1.7976e308, 1.79769e308};
    // Between these an exponent has two digits, also of a number that is rounded up.
    constexpr double least_in_width = 1e-99;
    constexpr double most_in_width = 9.9999e99;
    const double magnitude = std::abs(value);
    const bool has_long_exponent =
        magnitude > most_in_width || (magnitude < least_in_width && magnitude != 0.0);
    // With a sign and an exponent of three digits there is room for five ones.
    const int most = has_long_exponent && value < 0.0 ? most_digits - 1 : most_digits;
    const int precision = std::min(digits, most) - 1;
    const double bound = largest[precision];
    return {std::clamp(value, -bound, bound), precision};
}

bool is_rounded(double value) {
    const rounded_coordinate x = rounded(value, most_digits);
    scientific number;
    bool is_other = false;
    const bool is_found =
        x.value == value && round_to_digits(value, x.precision, number, &is_other);
    if (is_found) return is_other;
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, x.value, std::chars_format::scientific,
                                   x.precision);
    double written = 0.0;
    std::from_chars(text, end.ptr, written);
    return written != value;
}

void tell(const mesh_for_file& what, write_losses& losses) {
    if (order_of(what).is_changed) losses.add(order_changed, "element", what.nbr_elements);
    if (what.digits <= most_digits) return;
    const dense2D<double>& pos = what.m.pos;
    std::size_t count = 0;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!what.has_node(c)) continue;
        for (std::size_t r = 0; r < pos.rows(); ++r) count += is_rounded(pos(r, c)) ? 1U : 0U;
    }
    losses.add(coordinate_rounded, "coordinate", count);
}

class parts_writer {
public:
    parts_writer(const mesh_for_file& what, output_buffer& output)
        : what_(what), output_(output), places_(what.m.pos.cols(), 0U) {
        if (places_.size() != what.m.pos.cols()) throw std::bad_alloc();
    }

    // The elements of one property, `number` being from 1.
    bool put(element_iterator begin, element_iterator end, std::size_t number) {
        find_nodes(begin, end);
        bool is_good =
            put_text("part\n", output_) && put_count(number) &&
            put_text("property " + std::to_string(begin->property) + "\ncoordinates\n", output_) &&
            put_count(nodes_.size()) && put_nodes();
        while (begin != end && is_good) {
            const element_type type = begin->type;
            const element_iterator next = std::find_if(
                begin, end, [type](const written_element& e) { return e.type != type; });
            is_good = put_elements(begin, next);
            begin = next;
        }
        for (const unsigned int id : nodes_) places_[id] = 0;
        return is_good;
    }

private:
    // The nodes of a part stand in their order, and elements name them by their places, from 1.
    void find_nodes(element_iterator begin, element_iterator end) {
        nodes_.clear();
        for (element_iterator e = begin; e != end; ++e) {
            const unsigned int n = nbr_nodes(e->type);
            for (unsigned int i = 0; i < n; ++i) {
                unsigned int& place = places_[e->nodes[i]];
                if (place == 0) nodes_.push_back(e->nodes[i]);
                place = 1;
            }
        }
        std::sort(nodes_.begin(), nodes_.end());
        for (std::size_t k = 0; k < nodes_.size(); ++k) {
            places_[nodes_[k]] = static_cast<unsigned int>(k) + 1;
        }
    }
    bool put_count(std::uint64_t count) {
        if (!output_.make_room(2 * id_width + 1)) return false;
        output_.put_unsigned_right(id_width, count);
        output_.put('\n');
        return true;
    }
    bool put_nodes() {
        for (const unsigned int id : nodes_) {
            if (!put_count(what_.node_number(id))) return false;
        }
        const dense2D<double>& pos = what_.m.pos;
        for (std::size_t r = 0; r < 3; ++r) {
            for (const unsigned int id : nodes_) {
                if (!output_.make_room(2 * real_width + 1)) return false;
                const double value = r < pos.rows() ? pos(r, id) : 0.0;
                const rounded_coordinate x = rounded(value, what_.digits);
                output_.put_right(real_width,
                                  [&] { output_.put_scientific(x.value, x.precision); });
                output_.put('\n');
            }
        }
        return true;
    }
    bool put_elements(element_iterator begin, element_iterator end) {
        const element_type type = begin->type;
        const std::size_t n = nbr_nodes(type);
        const vtk_order& order = order_of(type);
        if (!put_text(std::string(keywords[type]) + '\n', output_)) return false;
        if (!put_count(static_cast<std::uint64_t>(end - begin))) return false;
        for (element_iterator e = begin; e != end; ++e) {
            if (!put_count(what_.element_number(e->column))) return false;
        }
        for (element_iterator e = begin; e != end; ++e) {
            if (!output_.make_room((n + 1) * id_width + 1)) return false;
            for (std::size_t i = 0; i < n; ++i) {
                output_.put_unsigned_right(id_width, places_[e->nodes[order[i]]]);
            }
            output_.put('\n');
        }
        return true;
    }

    const mesh_for_file& what_;
    output_buffer& output_;
    id_list places_; // 0 if a node is not in the part
    std::vector<unsigned int> nodes_;
};

bool write(std::FILE* file, const mesh_for_file& what) {
    const element_order order = order_of(what);
    output_buffer output(file);
    parts_writer parts(what, output);
    bool is_good = put_text("EnSight Gold geometry\n"
                            "Parts are properties\n"
                            "node id given\n"
                            "element id given\n",
                            output);
    element_iterator begin = order.elements.begin();
    for (std::size_t number = 1; begin != order.elements.end() && is_good; ++number) {
        const unsigned int property = begin->property;
        const element_iterator end =
            std::find_if(begin, order.elements.end(),
                         [property](const written_element& e) { return e.property != property; });
        is_good = parts.put(begin, end, number);
        begin = end;
    }
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer ensight_writer{&ensight_holdings, tell, write};

} // namespace kv7::tessmaker
