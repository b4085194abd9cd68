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
#include "formats/words.h"
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
char* put_number(unsigned int number, char* text) {
    return put_integer(static_cast<int>(number), text);
}

// The same, with blanks in front up to two words.
void put_number_right(unsigned int number, output_buffer& output) {
    constexpr std::size_t width = 2 * word_size;
    if (number >= powers_of_ten[word_size]) {
        output.put_right(width, [&] { output.put_signed(static_cast<int>(number)); });
        return;
    }
    output.put_by([number](char* text) {
        store_word(blank_word, text);
        store_word(right_aligned(number), text + word_size);
        return text + width;
    });
}

void put_coordinate(double x, output_buffer& output) { output.put_capital_scientific_right(16, x); }

void put_node(unsigned int id, double x, double y, double z, output_buffer& output) {
    output.put("GRID*   ");
    put_number_right(id, output);
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

// Writes a number after the other. Numbers in sequence and numbers that stay are the rule: of their
// text at most the last digit changes.
class number_sequence {
public:
    // Returns the end of the text; behind it up to a word is overwritten.
    char* put(unsigned int number, char* text) {
        if (number == last_ + 1 && last_ % 10 != 9 && size_ != 0) {
            digits_ += std::uint64_t{1} << 8 * (size_ - 1);
        } else if (number != last_ || size_ == 0) {
            char* const end = put_number(number, text);
            // Of other numbers, which may have a sign, the text is not kept.
            const bool is_kept = number < powers_of_ten[word_size];
            size_ = is_kept ? static_cast<std::size_t>(end - text) : 0;
            digits_ = load_word(text);
            last_ = number;
            return end;
        }
        last_ = number;
        store_word(digits_, text);
        return text + size_;
    }

private:
    unsigned int last_ = 0;
    std::uint64_t digits_ = 0; // text of `last_`
    std::size_t size_ = 0;     // 0 if there is no text
};

// Writes element cards.
class element_writer {
public:
    // Writes a card of at most `max_element_size` characters. Returns the end of the text; behind
    // it up to a word is overwritten.
    char* put(const nastran_card& card, unsigned int id, unsigned int pid,
              const unsigned int* column, char* text) {
        constexpr std::size_t fields_per_line = 9; // the tenth is the mark of the continuation
        store_word(card.keyword.word, text);
        text += card.keyword.size;
        *text = ',';
        text = ids_.put(id, text + 1);
        *text = ',';
        text = pids_.put(pid, text + 1);
        std::size_t nbr_fields = 3;
        for (std::size_t i = 0; i < card.nbr_nodes; ++i) {
            if (nbr_fields == fields_per_line) {
                constexpr std::string_view mark = ",+C\n+C";
                text = std::copy_n(mark.data(), mark.size(), text);
                nbr_fields = 1;
            }
            if (card.order) nodes_[i] = column[(*card.order)[i]];
            *text = ',';
            text = put_number(nodes_[i] + 1, text + 1);
            ++nbr_fields;
        }
        *text = '\n';
        return text + 1;
    }

private:
    // The nodes of a card in its order. All cards use one list, in which nodes that a card doesn't
    // set remain from the cards before.
    std::array<unsigned int, 27> nodes_{};
    number_sequence ids_;
    number_sequence pids_;
};

void put_elements(const mesh_to_write& mesh, output_buffer& output) {
    element_writer writer;
    const unsigned int* const pids = mesh.pids.data();
    for_each_element(mesh, [&](element_type type, std::size_t c, const unsigned int* column) {
        const nastran_card& card = nastran_cards[type];
        if (card.keyword.size == 0) return;
        output.make_room(max_element_size);
        output.put_by([&](char* text) {
            return writer.put(card, static_cast<unsigned int>(c) + 1, pids[c], column, text);
        });
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
