#include "tessmaker/index_arrays.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <functional>

#include "core/element_table.h"
#include "core/id_hash.h"

namespace kv7::tessmaker {

namespace {

using id_list = dense1D<unsigned int, 8>;
using id_matrix = dense2D<unsigned int>;

// The sum, or the largest number where it doesn't fit: no memory is that large.
std::size_t capped_sum(std::size_t a, std::size_t b) {
    return a > static_cast<std::size_t>(-1) - b ? static_cast<std::size_t>(-1) : a + b;
}

// Runs `work(ids, n)` over all entries: at once for a packed array, column by column otherwise.
template <class Matrix, class Work> void for_each_run(Matrix& connect, Work work) {
    const std::size_t rows = connect.rows();
    const std::size_t cols = connect.cols();
    if (connect.ld() == rows) {
        work(connect.column(0), rows * cols);
        return;
    }
    for (std::size_t c = 0; c < cols; ++c) work(connect.column(c), rows);
}

// The largest ID plus 1, the sentinel passed over: it wraps to 0.
unsigned int max_successor(const unsigned int* ids, std::size_t n) {
    unsigned int largest = 0;
    for (std::size_t i = 0; i < n; ++i) largest = std::max(largest, ids[i] + 1U);
    return largest;
}

unsigned int predecessor(unsigned int successor) { return successor == 0 ? 0 : successor - 1; }

void relabel(unsigned int* ids, std::size_t n, const unsigned int* new_IDs, std::size_t nbr_new) {
    for (std::size_t i = 0; i < n; ++i) {
        if (ids[i] < nbr_new) ids[i] = new_IDs[ids[i]];
    }
}

void shift_all(unsigned int* ids, std::size_t n, unsigned int shift) {
    for (std::size_t i = 0; i < n; ++i) ids[i] += shift;
}

void shift_present(unsigned int* ids, std::size_t n, unsigned int shift) {
    for (std::size_t i = 0; i < n; ++i) ids[i] = ids[i] == no_id ? no_id : ids[i] + shift;
}

template <class T> int permute(dense1D<T, 8>& values, const id_list& perm) {
    const std::size_t n = values.size();
    const std::size_t m = std::min(n, perm.size());
    if (n == 0) return 0;

    dense1D<T, 8> moved;
    if (!moved.copy(values)) return -199;
    const T* const from = values.data();
    const unsigned int* const target = perm.data();
    T* const to = moved.data();
    for (std::size_t i = 0; i < m; ++i) {
        const std::size_t p = target[i];
        if (p < n && p != i) to[p] = from[i];
    }
    std::copy_n(to, n, values.data());
    return 0;
}

// First positions of the values of a list, in an array by value.
class place_array {
public:
    // Worth its memory where values lie close; false otherwise, and when memory fails.
    bool init(const id_list& list) {
        const std::size_t nbr_values = max_successor(list.data(), list.size());
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

// The same by hash.
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
        // An output that memory failed for is empty.
        if (j < a_of_b.size()) a_of_b[j] = i;
        if (i < b_of_a.size()) b_of_a[i] = static_cast<unsigned int>(j);
    }
}

// Writes the one form that all columns have which match a column: the column itself where order
// counts. Otherwise the smallest ID first (of several, the one that stands first), and the lesser
// of the two directions. Matching is an equivalence, so equal forms decide it.
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

// The columns of a connectivity by form, with open addressing. A slot holds the upper half of the
// hash and the column + 1; 0 is free.
class form_index {
public:
    // Makes room for the columns of `connect`.
    bool init(const id_matrix& connect, bool strict) {
        if (connect.cols() >= no_id) return false;
        rows_ = connect.rows();
        strict_ = strict;
        const std::size_t nbr_slots = std::bit_ceil(2 * connect.cols());
        mask_ = nbr_slots - 1;
        return forms_.resize(rows_, connect.cols() + 1) && slots_.resize(nbr_slots, 0);
    }

    // Puts column `c` in unless one of its form is there. The column of this form.
    unsigned int insert(const unsigned int* column, unsigned int c) {
        unsigned int* const form = forms_.column(c);
        write_form(column, rows_, strict_, form);
        const std::uint64_t hash = hash_of_form(form, rows_);
        std::uint64_t& slot = slots_[slot_of(form, hash)];
        if (slot == 0) slot = (hash & upper_half) | (c + 1U);
        return static_cast<unsigned int>(slot) - 1U;
    }

    // The column of the form of `column`, or the sentinel.
    unsigned int find(const unsigned int* column) {
        unsigned int* const form = forms_.column(forms_.cols() - 1);
        write_form(column, rows_, strict_, form);
        return static_cast<unsigned int>(slots_[slot_of(form, hash_of_form(form, rows_))]) - 1U;
    }

private:
    static constexpr std::uint64_t upper_half = 0xFFFFFFFF00000000U;

    // The slot that holds the form, or the free one where it belongs.
    std::size_t slot_of(const unsigned int* form, std::uint64_t hash) const {
        const std::uint64_t* const slots = slots_.data();
        std::size_t s = hash & mask_;
        while (slots[s] != 0) {
            const unsigned int* const held =
                forms_.column(static_cast<unsigned int>(slots[s]) - 1U);
            if ((slots[s] & upper_half) == (hash & upper_half) &&
                std::equal(held, held + rows_, form)) {
                break;
            }
            s = (s + 1) & mask_;
        }
        return s;
    }

    std::size_t rows_ = 0;
    std::size_t mask_ = 0;
    bool strict_ = false;
    id_matrix forms_; // by column; the last one is room for a form that is looked up
    dense1D<std::uint64_t, 8> slots_;
};

// IDs are taken from arrays by the chunk, and the place of each chunk is looked up anew: the array
// that results are appended to may move memory that it shares with them.
constexpr std::size_t chunk_size = 512;

template <class At, class Work> void in_chunks(std::size_t n, At at, Work work) {
    for (std::size_t i = 0; i < n; i += chunk_size) work(at() + i, std::min(chunk_size, n - i));
}

// The IDs of one list.
struct list_source {
    const id_list& ids;

    std::size_t size() const { return ids.size(); }
    template <class Work> void for_each_chunk(Work work) const {
        in_chunks(
            size(), [this] { return ids.data(); }, work);
    }
};

// The IDs of a range of connectivities.
struct range_source {
    const id_matrix* begin;
    const id_matrix* end;

    std::size_t size() const {
        std::size_t sum = 0;
        for (const id_matrix* c = begin; c != end; ++c)
            sum = capped_sum(sum, c->rows() * c->cols());
        return sum;
    }
    template <class Work> void for_each_chunk(Work work) const {
        for (const id_matrix* m = begin; m != end; ++m) {
            if (m->ld() == m->rows()) {
                in_chunks(
                    m->rows() * m->cols(), [m] { return m->column(0); }, work);
                continue;
            }
            for (std::size_t c = 0; c < m->cols(); ++c) {
                in_chunks(
                    m->rows(), [m, c] { return m->column(c); }, work);
            }
        }
    }
};

// The IDs met so far, one bit each. Bits stand by ID + 1, so that bit 0 is the sentinel's; it is
// set from the start.
class id_bits {
public:
    // Worth its memory where the IDs of `source` lie close; false otherwise, and when memory fails.
    template <class Source> bool init(const Source& source) {
        // All bits that occur give a bound within twice the largest, in half the time.
        unsigned int all = 0;
        source.for_each_chunk([&all](const unsigned int* ids, std::size_t n) {
            for (std::size_t i = 0; i < n; ++i) all |= ids[i] + 1U;
        });
        if (all / 64 > source.size()) return false;
        mask_ = all == 0 ? 0 : ~0U >> std::countl_zero(all);
        if (!words_.resize(mask_ / 64 + 1, 0)) return false;
        words_[0] = 1;
        return true;
    }

    bool add_all(const id_list& ids) {
        for (const unsigned int id : ids) {
            const unsigned int bit = id + 1U;
            if (bit <= mask_) words_[bit / 64] |= one << (bit % 64);
        }
        return true;
    }

    // Adds IDs of the source and writes those that are new. Their number.
    std::size_t add(const unsigned int* ids, std::size_t n, unsigned int* added) {
        std::uint64_t* const words = words_.data();
        std::size_t nbr_added = 0;
        for (std::size_t i = 0; i < n; ++i) {
            // The mask tells only where results have been appended over the source.
            const unsigned int bit = (ids[i] + 1U) & mask_;
            std::uint64_t& word = words[bit / 64];
            added[nbr_added] = ids[i];
            nbr_added += (word >> (bit % 64) & 1U) == 0 ? 1 : 0;
            word |= one << (bit % 64);
        }
        return nbr_added;
    }

private:
    static constexpr std::uint64_t one = 1;

    dense1D<std::uint64_t, 8> words_;
    unsigned int mask_ = 0; // ones up to the highest bit of ID + 1
};

// The same by hash. What memory fails for is not added.
class id_set {
public:
    bool init(std::size_t nbr_ids) {
        if (!ids_.init(nbr_ids, nbr_ids) && !ids_.init(0, 0)) return false;
        ids_.insert(no_id);
        return true;
    }

    // Whether all are there.
    bool add_all(const id_list& ids) {
        return std::all_of(ids.begin(), ids.end(),
                           [this](unsigned int id) { return ids_.insert(id).place != nullptr; });
    }

    std::size_t add(const unsigned int* ids, std::size_t n, unsigned int* added) {
        std::size_t nbr_added = 0;
        for (std::size_t i = 0; i < n; ++i) {
            added[nbr_added] = ids[i];
            nbr_added += ids_.insert(ids[i]).added ? 1 : 0;
        }
        return nbr_added;
    }

private:
    id_hash_set ids_;
};

// Runs `work(seen)` with an empty set for the IDs of `source` and `nbr_more` others. Whether there
// is memory for one.
template <class Source, class Work>
bool with_set_for(const Source& source, std::size_t nbr_more, Work work) {
    if (id_bits bits; bits.init(source)) {
        work(bits);
        return true;
    }
    id_set set;
    if (!set.init(capped_sum(source.size(), nbr_more))) return false;
    work(set);
    return true;
}

void append(id_list& nodes, const unsigned int* ids, std::size_t n) {
    const std::size_t old = nodes.size();
    if (nodes.capacity() - old >= n) {
        nodes.resize(old + n);
        std::copy_n(ids, n, nodes.data() + old);
        return;
    }
    for (std::size_t i = 0; i < n; ++i) nodes.push_back(ids[i]);
}

template <class Source>
void append_unique(id_list& nodes, const Source& source, const id_list& skip) {
    nodes.reserve(capped_sum(nodes.size(), source.size()), 1);
    with_set_for(source, skip.size(), [&](auto& seen) {
        // Without memory for all of `skip` it can't be told what to leave out.
        if (!seen.add_all(skip)) return;
        source.for_each_chunk([&](const unsigned int* ids, std::size_t n) {
            std::array<unsigned int, chunk_size> added;
            append(nodes, added.data(), seen.add(ids, n, added.data()));
        });
    });
}

// -1 when there is no memory for a set: the count that a set without the sentinel would give.
template <class Source> int count_unique(const Source& source) {
    std::size_t count = 0;
    const bool counted = with_set_for(source, 0, [&](auto& seen) {
        source.for_each_chunk([&](const unsigned int* ids, std::size_t n) {
            std::array<unsigned int, chunk_size> added;
            count += seen.add(ids, n, added.data());
        });
    });
    return counted ? static_cast<int>(count) : -1;
}

} // namespace

unsigned int max_ID(const dense1D<unsigned int, 8>& nodes) {
    return nodes.empty() ? no_id : predecessor(max_successor(nodes.data(), nodes.size()));
}

unsigned int max_ID(const dense2D<unsigned int>& connect) {
    if (connect.empty()) return no_id;
    unsigned int largest = 0;
    for_each_run(connect, [&largest](const unsigned int* ids, std::size_t n) {
        largest = std::max(largest, max_successor(ids, n));
    });
    return predecessor(largest);
}

void change_indices(dense1D<unsigned int, 8>& nodes, const dense1D<unsigned int, 8>& new_IDs) {
    relabel(nodes.data(), nodes.size(), new_IDs.data(), new_IDs.size());
}

void change_indices(dense2D<unsigned int>& connect, const dense1D<unsigned int, 8>& new_IDs) {
    for_each_run(connect, [&new_IDs](unsigned int* ids, std::size_t n) {
        relabel(ids, n, new_IDs.data(), new_IDs.size());
    });
}

int shift_indices(dense1D<unsigned int, 8>& nodes, int shift) {
    if (shift != 0) shift_present(nodes.data(), nodes.size(), static_cast<unsigned int>(shift));
    return 0;
}

int shift_indices(dense2D<unsigned int>& connect, int shift, element_type type) {
    if (shift == 0) return 0;
    // Kept: the type is taken as it is given, whatever the rows would tell, and so sentinels under
    // any other type are shifted.
    const bool keep_absent = type == ET_FACE_MIX || type == ET_SOLID_MIX;
    for_each_run(connect, [shift, keep_absent](unsigned int* ids, std::size_t n) {
        (keep_absent ? shift_present : shift_all)(ids, n, static_cast<unsigned int>(shift));
    });
    return 0;
}

int permutation(dense1D<unsigned int, 8>& values, const dense1D<unsigned int, 8>& perm) {
    return permute(values, perm);
}

int permutation(dense1D<double, 8>& values, const dense1D<unsigned int, 8>& perm) {
    return permute(values, perm);
}

int get_sorted_order(const dense1D<unsigned int, 8>& values, dense1D<unsigned int, 8>& order,
                     dense1D<unsigned int, 8>& addresses) {
    order.clear();
    addresses.clear();
    if (values.empty()) return addresses.push_back(0) ? 0 : -199;

    const std::size_t n = values.size();
    const std::size_t m = max_ID(values);
    if (!order.resize(n) || !addresses.resize(m + 3, 0)) {
        order.clear();
        addresses.clear();
        return -199;
    }

    // Value v is counted two places on. One place on then stands, after the sum, where its indices
    // begin and, after the scatter, where they end: where those of v + 1 begin.
    const unsigned int* const value = values.data();
    unsigned int* const address = addresses.data();
    unsigned int* const index = order.data();
    for (std::size_t i = 0; i < n; ++i) {
        if (value[i] != no_id) ++address[std::size_t{value[i]} + 2];
    }
    for (std::size_t v = 2; v < m + 2; ++v) address[v] += address[v - 1];
    for (std::size_t i = 0; i < n; ++i) {
        if (value[i] == no_id) continue;
        index[address[std::size_t{value[i]} + 1]++] = static_cast<unsigned int>(i);
    }
    addresses.resize(m + 2);
    order.resize(addresses[m + 1]);
    return 0;
}

int get_IDs(const dense1D<unsigned int, 8>& list_a, const dense1D<unsigned int, 8>& list_b,
            dense1D<unsigned int, 8>& a_of_b, dense1D<unsigned int, 8>& b_of_a) {
    a_of_b.clear();
    b_of_a.clear();
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
            dense1D<unsigned int, 8>& a_of_b, dense1D<unsigned int, 8>& b_of_a, bool strict) {
    a_of_b.clear();
    b_of_a.clear();
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

// NOLINTBEGIN(performance-unnecessary-value-param): a copied view costs one count
int unique_indices(dense1D<unsigned int, 8>& nodes, const dense1D<unsigned int, 8>& ids,
                   dense1D<unsigned int, 8> skip) {
    if (!ids.empty()) append_unique(nodes, list_source{ids}, skip);
    return 0;
}

int unique_indices(dense1D<unsigned int, 8>& nodes, const dense2D<unsigned int>& connect,
                   dense1D<unsigned int, 8> skip) {
    return unique_indices(nodes, &connect, &connect + 1, skip);
}

int unique_indices(dense1D<unsigned int, 8>& nodes, const dense2D<unsigned int>* begin,
                   const dense2D<unsigned int>* end, dense1D<unsigned int, 8> skip) {
    if (begin == end) return 0;
    if (std::less<>()(end, begin)) return -3;
    append_unique(nodes, range_source{begin, end}, skip);
    return 0;
}
// NOLINTEND(performance-unnecessary-value-param)

int count_unique_indices(const dense2D<unsigned int>& connect) {
    return count_unique_indices(&connect, &connect + 1);
}

int count_unique_indices(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end) {
    if (begin == end) return 0;
    if (std::less<>()(end, begin)) return -2;
    return count_unique(range_source{begin, end});
}

} // namespace kv7::tessmaker
