#include "formats/vtk_data.h"

#include <array>

namespace kv7::tessmaker {

namespace {

constexpr remark_form of_the_file{remark_kind::lost, "array left out", "arrays left out",
                                  "data of the file as a whole"};
constexpr remark_form no_numbers{remark_kind::lost, "array of text left out",
                                 "arrays of text left out", "a field has numbers"};
constexpr remark_form table_dropped{remark_kind::lost, "left out", "left out", "colors"};

struct data_kind {
    std::string_view lower_keyword;
    std::string_view keyword;
    std::uint64_t rows;
};
// Each is followed by a name, a type, and the values.
constexpr data_kind data_kinds[] = {
    {"vectors", "VECTORS", 3},       {"normals", "NORMALS", 3},
    {"tensors", "TENSORS", 9},       {"tensors6", "TENSORS6", 6},
    {"global_ids", "GLOBAL_IDS", 1}, {"pedigree_ids", "PEDIGREE_IDS", 1},
    {"edge_flags", "EDGE_FLAGS", 1},
};

unsigned int hexadecimal(char c) {
    if (is_digit(c)) return static_cast<unsigned int>(c - '0');
    const char lower = to_lower(c);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned int>(lower - 'a' + 10) : 16;
}

// Names are one word: bytes that can't stand in it are written as `%20`.
std::string decoded(std::string_view word) {
    std::string name;
    for (std::size_t k = 0; k < word.size(); ++k) {
        const bool may_be_code = word[k] == '%' && k + 2 < word.size();
        const unsigned int high = may_be_code ? hexadecimal(word[k + 1]) : 16;
        const unsigned int low = may_be_code ? hexadecimal(word[k + 2]) : 16;
        if (high < 16 && low < 16) {
            name += static_cast<char>(16 * high + low);
            k += 2;
        } else {
            name += word[k];
        }
    }
    return name;
}

// From xx, yy, zz, xy, yz, xz to the rows of a metric.
void order_as_metric(dense2D<double>& values) {
    constexpr std::array<std::uint8_t, 6> order{0, 3, 1, 5, 4, 2};
    for (std::size_t c = 0; c < values.cols(); ++c) {
        double* const column = values.column(c);
        std::array<double, 6> kept{};
        for (std::size_t r = 0; r < 6; ++r) kept[r] = column[order[r]];
        for (std::size_t r = 0; r < 6; ++r) column[r] = kept[r];
    }
}

} // namespace

bool vtk_data::begin(field_place at, std::size_t nbr_tuples, const id_list* element_of_cell,
                     std::size_t nbr_columns) {
    has_begun_ = true;
    at_ = at;
    nbr_tuples_ = nbr_tuples;
    nbr_columns_ = nbr_columns;
    element_of_cell_ = element_of_cell;
    std::uint64_t n = 0;
    if (!words_.next_count(n)) return false;
    if (n == nbr_tuples) return true;
    return words_.fail("data for " + std::to_string(n) + " of the " + std::to_string(nbr_tuples) +
                       (at == field_place::nodes ? " points" : " cells"));
}

bool vtk_data::read(std::string_view keyword) {
    if (is_word(keyword, "metadata")) {
        pass_metadata();
        return true;
    }
    if (is_word(keyword, "field")) return read_field();
    if (!has_begun_) return words_.expect("POINTS, CELLS, POINT_DATA, CELL_DATA or FIELD");
    if (is_word(keyword, "scalars")) return read_scalars();
    if (is_word(keyword, "lookup_table")) return read_lookup_table();
    for (const data_kind& kind : data_kinds) {
        if (is_word(keyword, kind.lower_keyword)) return read_array(kind.keyword, kind.rows);
    }
    const bool has_type = is_word(keyword, "texture_coordinates");
    if (!has_type && !is_word(keyword, "color_scalars")) return words_.expect("a kind of data");

    array a;
    if (!read_name(a)) return false;
    if (!word_to_integer(words_.next(), a.rows) || a.rows == 0) {
        return words_.expect("a number of components");
    }
    if (has_type && !read_type()) return false;
    return read_values(a,
                       words_.report().keyword(has_type ? "TEXTURE_COORDINATES" : "COLOR_SCALARS"));
}

// It ends with an empty line.
void vtk_data::pass_metadata() {
    while (words_.to_next_line() && !words_.rest_of_line().empty()) {
    }
}

bool vtk_data::read_name(array& a) {
    a.name = decoded(words_.next());
    return !a.name.empty() || words_.expect("a name");
}

bool vtk_data::read_type() { return !words_.next().empty() || words_.expect("a type of numbers"); }

bool vtk_data::read_scalars() {
    const unsigned int keyword = words_.report().keyword("SCALARS");
    array a;
    if (!read_name(a) || !read_type()) return false;
    const std::string_view rows = words_.rest_of_line();
    if (!rows.empty() && (!word_to_integer(rows, a.rows) || a.rows == 0)) {
        return words_.fail("a number of components is expected behind this word");
    }
    if (!is_word(words_.next(), "lookup_table")) {
        words_.put_back();
    } else if (words_.next().empty()) {
        return words_.expect("a name");
    }
    return read_values(a, keyword);
}

bool vtk_data::read_array(std::string_view keyword, std::uint64_t rows) {
    array a;
    if (!read_name(a) || !read_type()) return false;
    a.rows = rows;
    if (!read_values(a, words_.report().keyword(keyword))) return false;
    if (keyword == "TENSORS6") order_as_metric(mesh_.fields.back().values);
    return true;
}

bool vtk_data::read_lookup_table() {
    const unsigned int keyword = words_.report().keyword("LOOKUP_TABLE");
    const file_place at = words_.place();
    std::uint64_t size = 0;
    if (words_.next().empty()) return words_.expect("a name");
    if (!words_.next_count(size) || !pass_values(4, size)) return false;
    words_.report().count_seen(keyword);
    words_.report().add(table_dropped, keyword, at);
    return true;
}

// Each text has a line of its own.
void vtk_data::pass_lines(std::uint64_t rows, std::uint64_t nbr_tuples) {
    if (rows == 0 || !words_.to_next_line()) return;
    for (std::uint64_t k = 0; k < nbr_tuples; ++k) {
        for (std::uint64_t r = 0; r < rows; ++r) {
            if (!words_.to_next_line()) return;
        }
    }
}

bool vtk_data::pass_values(std::uint64_t rows, std::uint64_t nbr_tuples) {
    if (rows == 0) return true;
    for (std::uint64_t k = 0; k < nbr_tuples; ++k) {
        for (std::uint64_t r = 0; r < rows; ++r) {
            double value = 0.0;
            if (!words_.next_value(value)) return false;
        }
    }
    return true;
}

bool vtk_data::read_field() {
    const unsigned int keyword = words_.report().keyword("FIELD");
    std::uint64_t nbr_arrays = 0;
    if (words_.next().empty()) return words_.expect("a name");
    if (!words_.next_count(nbr_arrays)) return false;
    for (std::uint64_t k = 0; k < nbr_arrays; ++k) {
        while (is_word(words_.next(), "metadata")) pass_metadata();
        words_.put_back();
        if (!read_array_of_field(keyword)) return false;
    }
    return true;
}

bool vtk_data::read_array_of_field(unsigned int keyword) {
    array a;
    if (!read_name(a)) return false;
    const file_place at = words_.place();
    std::uint64_t nbr_tuples = 0;
    if (!words_.next_count(a.rows) || !words_.next_count(nbr_tuples)) return false;
    if (has_begun_ && nbr_tuples != nbr_tuples_) {
        return words_.fail("data for " + std::to_string(nbr_tuples) + " in place of " +
                           std::to_string(nbr_tuples_));
    }
    const std::string_view type = words_.next();
    if (is_word(type, "string")) {
        words_.report().count_seen(keyword);
        words_.report().add(no_numbers, keyword, at);
        pass_lines(a.rows, nbr_tuples);
        return true;
    }
    if (is_word(type, "variant")) return words_.fail("values of several types are not read");
    if (type.empty()) return words_.expect("a type of numbers");
    if (has_begun_ && a.rows != 0) return read_values(a, keyword);
    words_.report().count_seen(keyword);
    words_.report().add(of_the_file, keyword, at);
    return pass_values(a.rows, nbr_tuples);
}

bool vtk_data::read_values(const array& a, unsigned int keyword) {
    dense1D<double> values;
    for (std::size_t k = 0; k < nbr_tuples_; ++k) {
        for (std::uint64_t r = 0; r < a.rows; ++r) {
            double value = 0.0;
            if (!words_.next_value(value)) return false;
            if (!values.push_back(value)) return words_.fail_for_memory();
        }
    }
    if (!fields_.add(a.name, at_, values, a.rows, element_of_cell_, nbr_columns_)) {
        return words_.fail_for_memory();
    }
    words_.report().count_seen(keyword);
    words_.report().count_read(keyword);
    return true;
}

} // namespace kv7::tessmaker
