#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/ids.h"
#include "core/outputs.h"
#include "core/slot_table.h"
#include "indices/id_hash.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// Where each value occurs first in a list: an array indexed by value.
class place_array {
public:
    // False if the values are too sparse for an array, or when memory fails.
    bool init(const id_list& list) {
        const std::size_t nbr_values = std::size_t{max_ID(list)} + 1;
        if (nbr_values / 8 > list.size()) return false;
        if (!places_.resize(nbr_values, no_id)) return false;
        for (std::size_t i = list.size(); i-- > 0;) {
            if (list[i] != no_id) places_[list[i]] = static_cast<unsigned int>(i);
        }
        return true;
    }

    unsigned int find(unsigned int value) const {
        return value < places_.size() ? places_[value] : no_id;
    }

private:
    id_list places_;
};

// The same as a hash map.
class place_map {
public:
    bool init(const id_list& list) {
        if (!places_.init(list.size(), list.size())) return false;
        for (std::size_t i = list.size(); i-- > 0;) {
            if (list[i] == no_id) continue;
            const std::pair<unsigned int, unsigned int> held(list[i], static_cast<unsigned int>(i));
            const auto entry = places_.insert(held);
            if (entry.place) *entry.place = held;
        }
        return true;
    }

    unsigned int find(unsigned int value) const {
        const std::pair<unsigned int, unsigned int>* const held = places_.find(value);
        return held ? held->second : no_id;
    }

private:
    id_hash_map places_;
};

template <class Places>
void cross_reference(const Places& places, const id_list& list_b, id_list& a_of_b,
                     id_list& b_of_a) {
    for (std::size_t j = list_b.size(); j-- > 0;) {
        const unsigned int i = places.find(list_b[j]);
        if (i == no_id) continue;
        // An output is empty if there was no memory for it.
        if (j < a_of_b.size()) a_of_b[j] = i;
        if (i < b_of_a.size()) b_of_a[i] = static_cast<unsigned int>(j);
    }
}

// Writes the form that a column shares with all columns that match it: two columns match if their
// forms are equal. If order counts, it is the column itself. Otherwise it is the column read as a
// cycle from its smallest ID (the first one, if that repeats), in the direction that gives the
// smaller sequence.
void write_form(const unsigned int* column, std::size_t rows, bool strict, unsigned int* form) {
    if (strict) {
        std::copy_n(column, rows, form);
        return;
    }
    const unsigned int* const smallest = std::min_element(column, column + rows);
    std::rotate_copy(column, smallest, column + rows, form);
    std::size_t i = 1;
    std::size_t k = rows - 1;
    while (i < k && form[i] == form[k]) {
        ++i;
        --k;
    }
    if (i < k && form[k] < form[i]) std::reverse(form + 1, form + rows);
}

std::uint64_t hash_of_form(const unsigned int* form, std::size_t rows) {
    std::uint64_t hash = rows;
    for (std::size_t r = 0; r < rows; ++r) {
        hash = (hash ^ form[r]) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 32;
    }
    return hash;
}

// The columns of a connectivity by form.
class form_index {
public:
    // Makes room for the columns of `connect`.
    bool init(const id_matrix& connect, bool strict) {
        if (connect.cols() >= no_id) return false;
        rows_ = connect.rows();
        strict_ = strict;
        return forms_.resize(rows_, connect.cols() + 1) && columns_.init_for(connect.cols());
    }

    // Inserts column `c` unless one of its form is there. Returns the column with this form.
    unsigned int insert(const unsigned int* column, unsigned int c) {
        unsigned int* const form = forms_.column(c);
        write_form(column, rows_, strict_, form);
        return columns_.find_or_insert(
            hash_of_form(form, rows_), c,
            [this, form](unsigned int other) { return has_form(other, form); });
    }

    // The column with the form of `column`, or the absent ID.
    unsigned int find(const unsigned int* column) {
        unsigned int* const form = forms_.column(forms_.cols() - 1);
        write_form(column, rows_, strict_, form);
        return columns_.find(hash_of_form(form, rows_),
                             [this, form](unsigned int c) { return has_form(c, form); });
    }

private:
    bool has_form(unsigned int c, const unsigned int* form) const {
        const unsigned int* const other = forms_.column(c);
        return std::equal(other, other + rows_, form);
    }

    std::size_t rows_ = 0;
    bool strict_ = false;
    id_matrix forms_; // by column; the last one is room for a form that is looked up
    slot_table columns_;
};

} // namespace

int get_IDs(const id_list& list_a, const id_list& list_b, id_list& a_of_b, id_list& b_of_a) {
    clear_outputs(outputs{a_of_b, b_of_a}, inputs{list_a, list_b});
    a_of_b.resize(list_b.size(), no_id);
    b_of_a.resize(list_a.size(), no_id);
    if (list_a.empty() || list_b.empty()) return 0;

    if (place_array by_value; by_value.init(list_a)) {
        cross_reference(by_value, list_b, a_of_b, b_of_a);
    } else if (place_map by_hash; by_hash.init(list_a)) {
        cross_reference(by_hash, list_b, a_of_b, b_of_a);
    }
    return 0;
}

int get_IDs(const dense2D<unsigned int>& connect_a, const dense2D<unsigned int>& connect_b,
            id_list& a_of_b, id_list& b_of_a, bool strict) {
    clear_outputs(outputs{a_of_b, b_of_a}, inputs{connect_a, connect_b});
    const std::size_t nbr_a = connect_a.cols();
    const std::size_t nbr_b = connect_b.cols();
    if (!a_of_b.resize(nbr_b, no_id) || !b_of_a.resize(nbr_a, no_id)) return -199;
    if (connect_a.empty() || connect_b.empty()) return 0;
    if (connect_a.rows() != connect_b.rows()) return -2;

    form_index forms;
    id_list first_a; // by column of a, the first one of its form
    if (!forms.init(connect_a, strict) || !first_a.resize(nbr_a)) return -199;
    for (std::size_t u = 0; u < nbr_a; ++u) {
        first_a[u] = forms.insert(connect_a.column(u), static_cast<unsigned int>(u));
    }
    for (std::size_t j = nbr_b; j-- > 0;) {
        const unsigned int u = forms.find(connect_b.column(j));
        a_of_b[j] = u;
        if (u != no_id) b_of_a[u] = static_cast<unsigned int>(j);
    }
    for (std::size_t u = 0; u < nbr_a; ++u) b_of_a[u] = b_of_a[first_a[u]];
    return 0;
}

} // namespace kv7::tessmaker
