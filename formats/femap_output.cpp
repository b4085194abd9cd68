#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/element_runs.h"
#include "formats/femap_table.h"
#include "formats/output_buffer.h"
#include "formats/streams.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int out_of_memory = -199;

constexpr std::string_view nodes_head = "*********************************\n"
                                        "*********** NODES ***************\n"
                                        "*********************************\n"
                                        "   -1\n"
                                        "403\n";
constexpr std::string_view elements_head = "*********************************\n"
                                           "********* ELEMENTS **************\n"
                                           "*********************************\n"
                                           "   -1\n"
                                           "404\n";
constexpr std::string_view tail = "   -1\n";
// The lines that follow the slots of each element.
constexpr std::string_view element_tail = "0.,0.,0.,0,0,0,0,0,0,\n"
                                          "0.,0.,0.,\n"
                                          "0.,0.,0.,\n"
                                          "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

// Kept: a number beyond 2^31 - 1 is written as the `int` of its bits.
void put_number(unsigned int number, output_buffer& output) {
    output.put_signed(static_cast<int>(number));
    output.put(",");
}

void put_nodes(const dense2D<double>& pos, output_buffer& output) {
    constexpr int precision = 6;
    constexpr std::size_t words_size = 50;
    constexpr std::size_t line_size = words_size + 3 * (output_buffer::fixed_size + precision + 1);
    for (std::size_t k = 0; k < pos.cols(); ++k) {
        output.make_room(line_size);
        put_number(static_cast<unsigned int>(k) + 1, output);
        output.put("0,0,1,0,0,0,0,0,0,0,");
        for (std::size_t i = 0; i < pos.rows(); ++i) {
            output.put_fixed(pos(i, k), precision);
            output.put(",");
        }
        if (pos.rows() == 2) output.put("0.0,");
        output.put("0,\n");
    }
}

using slot_list = std::array<unsigned int, femap_nbr_slots>;

slot_list slots_of(element_type type, const unsigned int* column) {
    slot_list slots{};
    const femap_slots& order = *femap_elements[type].slots;
    const std::size_t n = shape_of(type).nbr_nodes;
    for (std::size_t i = 0; i < n; ++i) slots[order[i]] = column[i] + 1;
    // Kept: the corners of this type are numbered from 0.
    if (type == ET_TRIA6) {
        for (std::size_t i = 0; i < 3; ++i) slots[order[i]] = column[i];
    }
    return slots;
}

void put_element(const femap_element& element, unsigned int id, unsigned int pid,
                 const slot_list& slots, output_buffer& output) {
    put_number(id, output);
    put_number(pid, output);
    output.put("1,");
    put_number(element.element_class, output);
    put_number(element.topology, output);
    output.put("1,0,0,0,0,0,0,0,\n");
    for (std::size_t i = 0; i < slots.size(); ++i) {
        put_number(slots[i], output);
        if (i % 10 == 9) output.put("\n");
    }
    output.put(element_tail);
}

void put_elements(const mesh_to_write& mesh, output_buffer& output) {
    constexpr std::size_t element_size = 26 * 12 + 40 + element_tail.size();
    for_each_element(mesh, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        const femap_element& element = femap_elements[type];
        if (!element.slots) return;
        output.make_room(element_size);
        put_element(element, static_cast<unsigned int>(c) + 1, mesh.pids[c], slots_of(type, nodes),
                    output);
    });
}

// Kept: failed writes are not reported, and the end of the text stays in the stream's buffer.
void write_blocks(std::FILE* file, const mesh_to_write& mesh) {
    output_buffer output(file);
    output.put(nodes_head);
    put_nodes(mesh.pos, output);
    output.make_room(tail.size() + elements_head.size());
    output.put(tail);
    output.put(elements_head);
    put_elements(mesh, output);
    output.make_room(tail.size());
    output.put(tail);
    output.pass_on();
}

} // namespace

int FEMAP_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect,
                 const id_list& indices, const type_list& types, const id_list& pids) {
    // Kept: a mesh of nodes alone gives an empty file.
    if (connect.empty()) return 0;
    if (!is_usable(file)) return -1;
    const mesh_to_write mesh{pos, connect, indices, types, pids};
    const int result = check_runs(mesh);
    if (result == 0) write_blocks(file, mesh);
    return result;
}

int FEMAP_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect,
                 element_type type) {
    if (connect.empty()) return 0;
    element_runs runs;
    if (!make_single_run(connect.cols(), type, runs)) return out_of_memory;
    return FEMAP_output(file, pos, connect, runs.indices, runs.types, runs.pids);
}

int FEMAP_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect1,
                 const id_matrix& connect2, element_type type1, element_type type2) {
    const bool both = !connect1.empty() && !connect2.empty();
    if (both && connect1.rows() != connect2.rows()) return -3;
    id_matrix all;
    if (!all.append(connect1) || !all.append(connect2)) return out_of_memory;
    // Kept: the first run has as many columns as `connect2`, and the second run is empty.
    element_runs runs;
    const auto end = static_cast<unsigned int>(connect2.cols());
    const bool fits = make_single_run(end, type1, runs) && runs.indices.push_back(end) &&
                      runs.types.push_back(type2) && runs.pids.resize(connect1.cols(), 1) &&
                      runs.pids.push_back_n(2, connect2.cols());
    if (!fits) return out_of_memory;
    return FEMAP_output(file, pos, all, runs.indices, runs.types, runs.pids);
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect,
                 const id_list& indices, const type_list& types, const id_list& pids) {
    std::FILE* const file = open_without_closing(filename, "wt");
    return file ? FEMAP_output(file, pos, connect, indices, types, pids) : -1;
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect,
                 element_type type) {
    std::FILE* const file = open_without_closing(filename, "wt");
    return file ? FEMAP_output(file, pos, connect, type) : -1;
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect1,
                 const id_matrix& connect2, element_type type1, element_type type2) {
    std::FILE* const file = open_without_closing(filename, "wt");
    return file ? FEMAP_output(file, pos, connect1, connect2, type1, type2) : -1;
}

} // namespace kv7::tessmaker
