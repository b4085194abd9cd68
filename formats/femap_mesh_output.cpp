#include <cstddef>
#include <cstdio>
#include <string_view>

#include "formats/femap_elements.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"

namespace kv7::tessmaker {

namespace {

constexpr std::string_view block_end = "   -1\n";
// The lines behind the nodes of each element: no orientation, offsets or releases.
constexpr std::string_view element_tail = "0.,0.,0.,0,0,0,0,0,0,\n"
                                          "0.,0.,0.,\n"
                                          "0.,0.,0.,\n"
                                          "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
constexpr std::size_t number_size = 11; // with its comma

void put_number(unsigned int number, output_buffer& output) {
    output.put_unsigned(number);
    output.put(',');
}

bool put_nodes(const mesh_for_file& what, output_buffer& output) {
    constexpr std::size_t line_size = number_size + 30 + 3 * (real_size + 1);
    const dense2D<double>& pos = what.m.pos;
    if (!put_text("   -1\n   403\n", output)) return false;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!output.make_room(line_size)) return false;
        const double* const p = pos.column(c);
        put_number(what.node_number(c), output);
        output.put("0,0,1,0,0,0,0,0,0,0,");
        for (std::size_t r = 0; r < 3; ++r) {
            put_real(r < pos.rows() ? p[r] : 0.0, what.digits, output);
            output.put(',');
        }
        output.put("0,\n");
    }
    return put_text(block_end, output);
}

void put_slots(const femap_numbers& numbers, output_buffer& output) {
    for (std::size_t k = 0; k < numbers.size(); ++k) {
        put_number(numbers[k], output);
        if (k % 10 == 9) output.put('\n');
    }
}

// The property is the third number; the second is a color.
bool put_elements(const mesh_for_file& what, output_buffer& output) {
    constexpr std::size_t nbr_numbers = 5 + femap_nbr_slots;
    constexpr std::size_t element_size = nbr_numbers * number_size + 20 + element_tail.size();
    bool is_good = put_text("   -1\n   404\n", output);
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        is_good = is_good && output.make_room(element_size);
        if (!is_good) return;
        const femap_element& element = femap_written_as(type);
        put_number(what.element_number(c), output);
        output.put("1,");
        put_number(what.property(c), output);
        put_number(element.element_class, output);
        put_number(element.topology, output);
        output.put("1,0,0,0,0,0,0,0,\n");
        femap_numbers slots{};
        const std::size_t n = nbr_nodes(type);
        for (std::size_t k = 0; k < n; ++k) slots[(*element.slots)[k]] = what.node_number(nodes[k]);
        put_slots(slots, output);
        output.put(element_tail);
    });
    return is_good && put_text(block_end, output);
}

bool write(std::FILE* file, const mesh_for_file& what) {
    output_buffer output(file);
    const bool is_good = put_nodes(what, output) && put_elements(what, output);
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer femap_writer{&femap_holdings, nullptr, write};

} // namespace kv7::tessmaker
