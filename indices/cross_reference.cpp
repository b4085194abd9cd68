#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/ids.h"
#include "core/outputs.h"
#include "core/slot_table.h"
#include "indices/form_hash.h"
#include "indices/id_hash.h"
#include "indices/radix_sort.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// Calls `work(i)` for each place of a list, the last one first. Breaks off, and is false, if
// `is_slow` holds after one of the blocks in which the places are visited.
template <class Work, class Test>
bool for_each_place_backwards(std::size_t size, Work work, Test is_slow) {
    constexpr std::size_t block_size = 256;
    for (std::size_t end = size; end > 0;) {
        const std::size_t begin = (end - 1) / block_size * block_size;
        while (end > begin) work(--end);
        if (is_slow()) return false;
    }
    return true;
}

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

    static bool is_slow() { return false; }

private:
    id_list places_;
};

// The same as a hash map.
class place_map {
public:
    // For `nbr_values` look-ups. False when memory fails.
    bool init(const id_list& list, std::size_t nbr_values) {
        if (!places_.init(list.size(), list.size())) return false;
        most_steps_ = most_steps_per_key * list.size();
        const unsigned int* const ids = list.data();
        const auto insert = [this, ids](std::size_t i) {
            if (ids[i] == no_id) return;
            const std::pair<unsigned int, unsigned int> held(ids[i], static_cast<unsigned int>(i));
            const auto entry = places_.insert(held);
            if (entry.place) *entry.place = held;
        };
        if (for_each_place_backwards(list.size(), insert, [this] { return is_slow(); }))
            most_steps_ += most_steps_per_key * nbr_values;
        return true;
    }

    unsigned int find(unsigned int value) {
        const std::pair<unsigned int, unsigned int>* const held = places_.find(value, nbr_steps_);
        return held ? held->second : no_id;
    }

    // Whether the values collide as if chosen to. The map may then be incomplete.
    bool is_slow() const { return places_.nbr_steps() + nbr_steps_ > most_steps_; }

private:
    id_hash_map places_;
    std::uint64_t nbr_steps_ = 0; // of look-ups
    std::uint64_t most_steps_ = 0;
};

// False if `places` turns out to be slow: the outputs are then incomplete.
template <class Places>
bool cross_reference(Places& places, const id_list& list_b, id_list& a_of_b, id_list& b_of_a) {
    const unsigned int* const values = list_b.data();
    unsigned int* const to_a = a_of_b.data();
    unsigned int* const to_b = b_of_a.data();
    // An output is empty if there was no memory for it.
    const std::size_t nbr_to_a = a_of_b.size();
    const std::size_t nbr_to_b = b_of_a.size();
    const auto find = [=, &places](std::size_t j) {
        const unsigned int i = places.find(values[j]);
        if (i == no_id) return;
        if (j < nbr_to_a) to_a[j] = i;
        if (i < nbr_to_b) to_b[i] = static_cast<unsigned int>(j);
    };
    return for_each_place_backwards(list_b.size(), find, [&places] { return places.is_slow(); });
}

// The values of a list with their places, ascending. False when memory fails.
bool sort_values(const id_list& list, placed_ids& entries) {
    placed_ids scratch;
    if (!entries.reserve(list.size(), 1) || !scratch.resize(list.size())) return false;
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i] != no_id) entries.push_back(placed_id(list[i], i));
    }
    sort_by_id(entries, scratch, entries.size());
    return true;
}

// The same by sorting both lists. Without memory for it, nothing is found.
void cross_reference_by_sorting(const id_list& list_a, const id_list& list_b, id_list& a_of_b,
                                id_list& b_of_a) {
    placed_ids entries_a;
    placed_ids entries_b;
    if (!sort_values(list_a, entries_a) || !sort_values(list_b, entries_b)) return;
    const std::uint64_t* a = entries_a.begin();
    for (const std::uint64_t b : entries_b) {
        while (a != entries_a.end() && id_of(*a) < id_of(b)) ++a;
        if (a == entries_a.end()) return;
        if (id_of(*a) != id_of(b)) continue;
        const unsigned int i = place_of(*a);
        const unsigned int j = place_of(b);
        if (j < a_of_b.size()) a_of_b[j] = i;
        if (i < b_of_a.size()) b_of_a[i] = std::min(b_of_a[i], j);
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

// The forms of the columns of a connectivity, and of one more column that is looked up.
class column_forms {
public:
    // False when memory fails.
    bool init(const id_matrix& connect, bool strict) {
        if (connect.cols() >= no_id) return false;
        rows_ = connect.rows();
        nbr_columns_ = static_cast<unsigned int>(connect.cols());
        strict_ = strict;
        if (!forms_.resize(rows_ * (connect.cols() + 1))) return false;
        first_ = forms_.data();
        return true;
    }

    std::size_t rows() const { return rows_; }
    unsigned int nbr_columns() const { return nbr_columns_; }
    const unsigned int* of(unsigned int c) const { return first_ + c * rows_; }
    // Writes the form of column `c`, or of the one to look up, whose number is `nbr_columns`.
    const unsigned int* write(const unsigned int* column, unsigned int c) {
        unsigned int* const form = first_ + c * rows_;
        write_form(column, rows_, strict_, form);
        return form;
    }
    bool has_form(unsigned int c, const unsigned int* form) const {
        return std::equal(form, form + rows_, of(c));
    }
    bool is_below(const unsigned int* a, const unsigned int* b) const {
        return std::lexicographical_compare(a, a + rows_, b, b + rows_);
    }

private:
    std::size_t rows_ = 0;
    unsigned int nbr_columns_ = 0;
    bool strict_ = false;
    id_list forms_;
    unsigned int* first_ = nullptr; // of `forms_`
};

// The columns of a connectivity by form: a hash table.
class hashed_forms {
public:
    // Makes room for all columns and `nbr_others` look-ups. False when memory fails.
    bool init(const column_forms& forms, std::size_t nbr_others) {
        most_passed_ = most_passed_per_column * (forms.nbr_columns() + nbr_others);
        return columns_.init_for(forms.nbr_columns());
    }

    // Writes, for each column, the first one of its form.
    void find_first(column_forms& forms, const id_matrix& connect, unsigned int* first) {
        const unsigned int* const columns = connect.column(0);
        for (unsigned int c = 0; c < forms.nbr_columns() && !is_slow(); ++c) {
            const unsigned int* const form = forms.write(columns + c * connect.ld(), c);
            first[c] = columns_.find_or_insert(
                hash_of_form(form, forms.rows()), c,
                [&forms, form](unsigned int other) { return forms.has_form(other, form); },
                nbr_passed_);
        }
    }

    // The first column with this form, or the absent ID.
    unsigned int find(const column_forms& forms, const unsigned int* form) {
        return columns_.find(
            hash_of_form(form, forms.rows()),
            [&forms, form](unsigned int c) { return forms.has_form(c, form); }, nbr_passed_);
    }

    // Whether the forms collide as if chosen to.
    bool is_slow() const { return nbr_passed_ > most_passed_; }

private:
    // A table that is half full lets pass less than two entries on average; sorting takes about as
    // long as this many.
    static constexpr std::size_t most_passed_per_column = 8;

    slot_table columns_;
    std::size_t nbr_passed_ = 0;
    std::size_t most_passed_ = 0;
};

// The same as a sorted list.
class sorted_forms {
public:
    // False when memory fails.
    bool init(const column_forms& forms) { return order_.resize(forms.nbr_columns()); }

    void find_first(column_forms& forms, const id_matrix& connect, unsigned int* first) {
        for (unsigned int c = 0; c < forms.nbr_columns(); ++c) {
            forms.write(connect.column(c), c);
            order_[c] = c;
        }
        std::sort(order_.begin(), order_.end(), [&forms](unsigned int a, unsigned int b) {
            if (forms.is_below(forms.of(a), forms.of(b))) return true;
            return a < b && !forms.is_below(forms.of(b), forms.of(a));
        });
        unsigned int current = order_[0];
        for (const unsigned int c : order_) {
            if (!forms.has_form(c, forms.of(current))) current = c;
            first[c] = current;
        }
    }

    unsigned int find(const column_forms& forms, const unsigned int* form) const {
        const unsigned int* const c =
            std::lower_bound(order_.begin(), order_.end(), form,
                             [&forms](unsigned int other, const unsigned int* wanted) {
                                 return forms.is_below(forms.of(other), wanted);
                             });
        return c != order_.end() && forms.has_form(*c, form) ? *c : no_id;
    }

    static bool is_slow() { return false; }

private:
    id_list order_; // columns by form, then number
};

// False if `index` turns out to be slow: the outputs are then incomplete.
template <class Index>
bool match_columns(Index& index, column_forms& forms, const id_matrix& connect_a,
                   const id_matrix& connect_b, unsigned int* first_a, id_list& a_of_b,
                   id_list& b_of_a) {
    index.find_first(forms, connect_a, first_a);
    unsigned int* const to_a = a_of_b.data();
    unsigned int* const to_b = b_of_a.data();
    const unsigned int* const columns_b = connect_b.column(0);
    for (std::size_t j = connect_b.cols(); j-- > 0;) {
        if (index.is_slow()) return false;
        const unsigned int* const column = columns_b + j * connect_b.ld();
        const unsigned int u = index.find(forms, forms.write(column, forms.nbr_columns()));
        to_a[j] = u;
        if (u != no_id) to_b[u] = static_cast<unsigned int>(j);
    }
    for (std::size_t u = 0; u < connect_a.cols(); ++u) to_b[u] = to_b[first_a[u]];
    return true;
}

} // namespace

int get_IDs(const id_list& list_a, const id_list& list_b, id_list& a_of_b, id_list& b_of_a) {
    clear_outputs(outputs{a_of_b, b_of_a}, inputs{list_a, list_b});
    a_of_b.resize(list_b.size(), no_id);
    b_of_a.resize(list_a.size(), no_id);
    if (list_a.empty() || list_b.empty()) return 0;

    if (place_array by_value; by_value.init(list_a)) {
        cross_reference(by_value, list_b, a_of_b, b_of_a);
        return 0;
    }
    place_map by_hash;
    if (!by_hash.init(list_a, list_b.size())) return 0;
    if (cross_reference(by_hash, list_b, a_of_b, b_of_a)) return 0;

    a_of_b = no_id;
    b_of_a = no_id;
    cross_reference_by_sorting(list_a, list_b, a_of_b, b_of_a);
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

    column_forms forms;
    hashed_forms by_hash;
    id_list first_a; // by column of a, the first one of its form
    if (!forms.init(connect_a, strict) || !by_hash.init(forms, nbr_b) || !first_a.resize(nbr_a))
        return -199;
    if (match_columns(by_hash, forms, connect_a, connect_b, first_a.data(), a_of_b, b_of_a))
        return 0;

    a_of_b = no_id;
    b_of_a = no_id;
    sorted_forms by_order;
    if (!by_order.init(forms)) return -199;
    match_columns(by_order, forms, connect_a, connect_b, first_a.data(), a_of_b, b_of_a);
    return 0;
}

} // namespace kv7::tessmaker
