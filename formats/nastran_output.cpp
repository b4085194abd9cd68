#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "core/ids.h"
#include "formats/element_runs.h"
#include "formats/nastran_tables.h"
#include "formats/output_buffer.h"
#include "formats/streams.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr std::string_view head = "$ KV7 Tessmaker(R) NASTRAN exporter\n"
                                  "BEGIN BULK\n"
                                  "$----------------------------------------\n"
                                  "$ Referenced Material Records -----------\n"
                                  "$ Material Record :    ------------------\n"
                                  "$ Description of Material :   -----------\n"
                                  "MAT1    1       0.                 0.  0.\n"
                                  "$----------------------------------------\n"
                                  "$                GRID POINTS            \n"
                                  "$----------------------------------------\n";
constexpr std::string_view elements_head = "$----------------------------------------\n"
                                           "$                 ELEMENTS              \n"
                                           "$----------------------------------------\n";
constexpr std::string_view tail = "ENDDATA\n";

// Bounds on the characters of a card.
constexpr std::size_t max_node_size = 128; // two lines of up to 80 columns
constexpr std::size_t max_element_size = 512;

// Kept: a number beyond 2^31 - 1 is written as the `int` of its bits.
void put_number(unsigned int number, output_buffer& output) {
    output.put_signed(static_cast<int>(number));
}

void put_number_right(std::size_t width, unsigned int number, output_buffer& output) {
    output.put_right(width, [&] { put_number(number, output); });
}

void put_coordinate(double x, output_buffer& output) { output.put_capital_scientific_right(16, x); }

void put_node(unsigned int id, double x, double y, double z, output_buffer& output) {
    output.put("GRID*   ");
    put_number_right(16, id, output);
    output.put("                "); // coordinate system
    put_coordinate(x, output);
    put_coordinate(y, output);
    output.put("*C\n*C      ");
    put_coordinate(z, output);
    output.put('\n');
}

void put_nodes(const dense2D<double>& pos, output_buffer& output) {
    const bool is_planar = pos.rows() == 2;
    for (std::size_t i = 0; i < pos.cols(); ++i) {
        const double* const x = pos.column(i);
        output.make_room(max_node_size);
        put_node(static_cast<unsigned int>(i) + 1, x[0], x[1], is_planar ? 0.0 : x[2], output);
    }
}

// The nodes of a card in its order. All cards use one list, in which nodes that a card doesn't set
// remain from the cards before.
using node_list = std::array<unsigned int, 27>;

void set_nodes(const nastran_card& card, const unsigned int* column, node_list& nodes) {
    if (!card.order) return;
    for (std::size_t i = 0; i < card.nbr_nodes; ++i) nodes[i] = column[(*card.order)[i]];
}

void put_element(const nastran_card& card, unsigned int id, unsigned int pid,
                 const node_list& nodes, output_buffer& output) {
    constexpr std::size_t fields_per_line = 9; // the tenth is the mark of the continuation
    output.put(card.keyword);
    output.put(',');
    put_number(id, output);
    output.put(',');
    put_number(pid, output);
    std::size_t nbr_fields = 3;
    for (std::size_t i = 0; i < card.nbr_nodes; ++i) {
        if (nbr_fields == fields_per_line) {
            output.put(",+C\n+C");
            nbr_fields = 1;
        }
        output.put(',');
        put_number(nodes[i] + 1, output);
        ++nbr_fields;
    }
    output.put('\n');
}

void put_elements(const mesh_to_write& mesh, output_buffer& output) {
    node_list nodes{};
    for_each_element(mesh, [&](element_type type, std::size_t c) {
        const nastran_card& card = nastran_cards[type];
        if (card.keyword.empty()) return;
        set_nodes(card, mesh.connect.column(c), nodes);
        output.make_room(max_element_size);
        put_element(card, static_cast<unsigned int>(c) + 1, mesh.pids[c], nodes, output);
    });
}

// Kept: failed writes are not reported, and the end of the text stays in the stream's buffer.
void write_deck(std::FILE* file, const mesh_to_write& mesh) {
    output_buffer output(file);
    output.put(head);
    put_nodes(mesh.pos, output);
    output.make_room(elements_head.size());
    output.put(elements_head);
    put_elements(mesh, output);
    output.make_room(tail.size());
    output.put(tail);
    output.pass_on();
}

// Copies as many rows as the type has nodes to `column` and the columns after it. An array of fewer
// rows is not copied: the absent IDs in its place are refused by the checks.
void copy_columns(const id_matrix& connect, element_type type, std::size_t column, id_matrix& all) {
    const std::size_t rows = nbr_nodes(type);
    if (connect.rows() < rows) return;
    for (std::size_t c = 0; c < connect.cols(); ++c) {
        std::copy_n(connect.column(c), rows, all.column(column + c));
    }
}

// Both connectivities as the runs of one array.
bool join(const id_matrix& connect1, const id_matrix& connect2, element_type type1,
          element_type type2, id_matrix& all, element_runs& runs) {
    const std::size_t cols1 = connect1.cols();
    const std::size_t cols = cols1 + connect2.cols();
    if (!all.resize(std::max(nbr_nodes(type1), nbr_nodes(type2)), cols, no_id)) return false;
    copy_columns(connect1, type1, 0, all);
    copy_columns(connect2, type2, cols1, all);
    return make_single_run(cols1, type1, runs) &&
           runs.indices.push_back(static_cast<unsigned int>(cols)) && runs.types.push_back(type2) &&
           runs.pids.push_back_n(2, connect2.cols());
}

} // namespace

int NASTRAN_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect,
                   const id_list& indices, const type_list& types, const id_list& pids) {
    if (!is_usable(file)) return -1;
    const mesh_to_write mesh{pos, connect, indices, types, pids};
    const int result = check_runs(mesh);
    if (result == 0) write_deck(file, mesh);
    return result;
}

int NASTRAN_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect,
                   element_type type) {
    if (!is_usable(file)) return -1;
    element_runs runs;
    if (!make_single_run(connect.cols(), type, runs)) return -199;
    return NASTRAN_output(file, pos, connect, runs.indices, runs.types, runs.pids);
}

int NASTRAN_output(std::FILE* file, const dense2D<double>& pos, const id_matrix& connect1,
                   const id_matrix& connect2, element_type type1, element_type type2) {
    if (!is_usable(file)) return -1;
    id_matrix all;
    element_runs runs;
    if (!join(connect1, connect2, type1, type2, all, runs)) return -199;
    return NASTRAN_output(file, pos, all, runs.indices, runs.types, runs.pids);
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect,
                   const id_list& indices, const type_list& types, const id_list& pids) {
    return NASTRAN_output(open_without_closing(filename, "wt"), pos, connect, indices, types, pids);
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect,
                   element_type type) {
    return NASTRAN_output(open_without_closing(filename, "wt"), pos, connect, type);
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const id_matrix& connect1,
                   const id_matrix& connect2, element_type type1, element_type type2) {
    return NASTRAN_output(open_without_closing(filename, "wt"), pos, connect1, connect2, type1,
                          type2);
}

} // namespace kv7::tessmaker
