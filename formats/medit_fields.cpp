#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/medit_words.h"
#include "formats/mesh_readers.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form words_behind{remark_kind::note, "follows the values and is not read",
                                   "follow the values and are not read", ""};
constexpr remark_form of_other_dimension{remark_kind::note, "with the components of the file",
                                         "with the components of the file",
                                         "its dimension is not that of the mesh"};

class fields_reader {
public:
    fields_reader(std::FILE* file, const mesh& target, std::vector<field>& fields,
                  report_builder& report)
        : words_(file, report), target_(target), fields_(fields) {}

    int read() {
        const bool has_keywords = !begins_as_number(words_.next());
        words_.put_back();
        return has_keywords ? read_sections() : read_bare_values();
    }

private:
    struct field_shape {
        std::uint64_t rows = 0;
        field_place at = field_place::nodes;
    };

    int read_sections() {
        if (!words_.read_version()) return words_.code();
        unsigned int dim = 0;
        for (;;) {
            const std::string_view word = words_.next_keyword();
            if (words_.code() < 0) return words_.code();
            if (word.empty()) break;
            bool is_good = false;
            if (is_word(word, "dimension")) {
                is_good = words_.read_dimension(dim);
            } else if (is_word(word, "solatvertices")) {
                is_good = read_at_vertices(dim);
            } else {
                is_good = words_.pass_section(word);
            }
            if (!is_good) return words_.code();
        }
        if (fields_.empty()) {
            return words_.report().fail(file_malformed, "SolAtVertices is expected");
        }
        return 0;
    }

    bool read_at_vertices(unsigned int dim) {
        if (dim == 0) return words_.fail("Dimension is expected ahead of SolAtVertices");
        const unsigned int keyword = words_.report().keyword("SolAtVertices");
        const file_place at = words_.place();
        std::uint64_t nbr_nodes = 0;
        if (!words_.next_count(nbr_nodes) || !check_count(nbr_nodes, field_place::nodes)) {
            return false;
        }
        std::uint64_t nbr_fields = 0;
        if (!word_to_integer(words_.next(), nbr_fields) || nbr_fields == 0) {
            return words_.expect("a number of fields");
        }
        std::vector<field_shape> shapes;
        std::uint64_t nbr_with_components = 0;
        for (std::uint64_t k = 0; k < nbr_fields; ++k) {
            unsigned int kind = 0;
            if (!word_to_integer(words_.next(), kind) || kind < 1 || kind > 4) {
                return words_.expect("a kind of values from 1 to 4");
            }
            // A scalar, a vector, a symmetric tensor, any tensor.
            const unsigned int rows[] = {1, dim, dim * (dim + 1) / 2, dim * dim};
            shapes.push_back({rows[kind - 1], field_place::nodes});
            if (kind != 1) ++nbr_with_components;
        }
        if (nbr_nodes != 0 && nbr_with_components != 0 && dim != target_.pos.rows()) {
            words_.report().add(of_other_dimension, "field", at, nbr_with_components);
        }
        if (!read_values(shapes, nbr_nodes)) return false;
        words_.report().count_seen(keyword, nbr_nodes);
        words_.report().count_read(keyword, nbr_nodes);
        return true;
    }

    // Reads a file of numbers alone: the dimension, the number of components, that of values, and 2
    // for values at nodes or 1 for values at elements; then the values.
    int read_bare_values() {
        unsigned int dim = 0;
        if (!word_to_integer(words_.next(), dim) || dim < 1 || dim > 3) {
            words_.expect("a dimension from 1 to 3");
            return words_.code();
        }
        std::vector<field_shape> shapes(1);
        if (!word_to_integer(words_.next(), shapes[0].rows) || shapes[0].rows == 0) {
            words_.expect("a number of components");
            return words_.code();
        }
        std::uint64_t n = 0;
        unsigned int place = 0;
        if (!words_.next_count(n)) return words_.code();
        if (!word_to_integer(words_.next(), place) || place < 1 || place > 2) {
            words_.expect("1 for elements or 2 for nodes");
            return words_.code();
        }
        shapes[0].at = place == 1 ? field_place::elements : field_place::nodes;
        if (!check_count(n, shapes[0].at)) return words_.code();
        if (!read_values(shapes, n)) return words_.code();
        words_.tell_rest(words_behind);
        return 0;
    }

    bool check_count(std::uint64_t n, field_place at) {
        const bool is_at_nodes = at == field_place::nodes;
        const std::uint64_t there = is_at_nodes ? target_.pos.cols() : target_.connect.cols();
        if (n == there) return true;
        return words_.fail(std::to_string(n) + " values for the " + std::to_string(there) +
                           (is_at_nodes ? " nodes" : " elements") + " of the mesh");
    }

    // Reads `n` values of each field, those of one node together.
    bool read_values(const std::vector<field_shape>& shapes, std::uint64_t n) {
        // Memory goes with the values that are there, whatever the file says of their number.
        dense1D<double> values;
        for (std::uint64_t k = 0; k < n; ++k) {
            for (const field_shape& shape : shapes) {
                for (std::uint64_t r = 0; r < shape.rows; ++r) {
                    double value = 0.0;
                    if (!words_.next_value(value)) return false;
                    if (!values.push_back(value)) return words_.fail_for_memory();
                }
            }
        }
        std::size_t begin = 0;
        std::size_t stride = 0;
        for (const field_shape& shape : shapes) stride += shape.rows;
        for (const field_shape& shape : shapes) {
            field f;
            f.at = shape.at;
            if (!f.values.resize(shape.rows, n)) return words_.fail_for_memory();
            for (std::size_t c = 0; c < n; ++c) {
                std::copy_n(values.begin() + c * stride + begin, shape.rows, f.values.column(c));
            }
            fields_.push_back(std::move(f));
            begin += shape.rows;
        }
        return true;
    }

    medit_words words_;
    const mesh& target_;
    std::vector<field>& fields_;
};

} // namespace

int read_medit_fields(std::FILE* file, std::string_view name, const mesh& target,
                      std::vector<field>& fields, report_builder& report) {
    fields_reader reader(file, target, fields, report);
    if (const int code = reader.read(); code < 0) return code;
    for (std::size_t k = 0; k < fields.size(); ++k) {
        fields[k].name = name;
        if (fields.size() > 1) fields[k].name += ' ' + std::to_string(k + 1);
    }
    return 0;
}

} // namespace kv7::tessmaker
