#include "repair/element_merge.h"

#include <algorithm>
#include <vector>

#include "core/ids.h"
#include "repair/closeness.h"
#include "repair/node_map.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The squared distance of a pair, the node that survives, the node that merges away.
using merge_record = triad<double, unsigned int, unsigned int>;

// What a pass did to a node. In the next pass only a column with a survivor can hold a new pair:
// every other column is as it was when no pair was found in it.
enum node_state : signed char { unchanged, merged_away, survivor };

// The lower ID of a pair survives, unless rounding puts the lower node into the box of the higher
// one but not the other way round; then the higher ID does.
template <unsigned int DIM>
void record_pair(const dense2D<double>& pos, unsigned int low, unsigned int high, double tol,
                 std::vector<merge_record>& records) {
    const double* const at_low = pos.column(low);
    const double* const at_high = pos.column(high);
    const double dist2 = squared_distance<DIM>(at_low, at_high);
    if (!(dist2 <= tol * tol)) return;
    if (is_in_box<DIM>(at_low, tol, at_high)) {
        records.push_back({dist2, low, high});
    } else if (is_in_box<DIM>(at_high, tol, at_low)) {
        records.push_back({dist2, high, low});
    }
}

template <unsigned int DIM>
void record_close_pairs(const dense2D<double>& pos, const unsigned int* column, std::size_t rows,
                        double tol, std::vector<merge_record>& records) {
    for (std::size_t i = 1; i < rows; ++i) {
        const unsigned int a = column[i];
        if (a == no_id) continue;
        for (std::size_t j = 0; j < i; ++j) {
            const unsigned int b = column[j];
            if (b != no_id && b != a)
                record_pair<DIM>(pos, std::min(a, b), std::max(a, b), tol, records);
        }
    }
}

bool has_survivor(const unsigned int* column, std::size_t rows, const signed char* state) {
    for (std::size_t r = 0; r < rows; ++r) {
        if (column[r] != no_id && state[column[r]] == survivor) return true;
    }
    return false;
}

template <unsigned int DIM>
void record_close_pairs(const dense2D<double>& pos, const dense2D<unsigned int>* begin,
                        const dense2D<unsigned int>* end, double tol, const signed char* state,
                        std::vector<merge_record>& records) {
    records.clear();
    for (const dense2D<unsigned int>* connect = begin; connect != end; ++connect) {
        const std::size_t rows = connect->rows();
        for (std::size_t c = 0; c < connect->cols(); ++c) {
            const unsigned int* const column = connect->column(c);
            if (has_survivor(column, rows, state))
                record_close_pairs<DIM>(pos, column, rows, tol, records);
        }
    }
}

// Closest pairs first. A node that merged away takes no others; a survivor can still merge away.
std::size_t apply_records(std::vector<merge_record>& records, unsigned int* to,
                          dense1D<signed char, 8>& states) {
    std::sort(records.begin(), records.end());
    states = unchanged;
    signed char* const state = states.data();
    std::size_t nbr_merged = 0;
    for (const auto& [dist2, keep, drop] : records) {
        if (state[keep] == merged_away || state[drop] == merged_away) continue;
        to[drop] = keep;
        state[drop] = merged_away;
        state[keep] = survivor;
        ++nbr_merged;
    }
    return nbr_merged;
}

// Returns the number of nodes merged away.
template <unsigned int DIM>
std::size_t merge_pass(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                       dense2D<unsigned int>* end, id_list& new_IDs, double tol,
                       dense1D<signed char, 8>& states, std::vector<merge_record>& records) {
    record_close_pairs<DIM>(pos, begin, end, tol, states.data(), records);
    if (records.empty()) return 0;
    unsigned int* const to = new_IDs.data();
    const std::size_t nbr_merged = apply_records(records, to, states);
    for (std::size_t i = 0; i < new_IDs.size(); ++i)
        resolve_chain(to, static_cast<unsigned int>(i));
    for (dense2D<unsigned int>* connect = begin; connect != end; ++connect)
        change_indices(*connect, new_IDs);
    return nbr_merged;
}

template <unsigned int DIM>
int merge_in_elements_dim(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                          dense2D<unsigned int>* end, id_list& new_IDs, double tol, bool repeated) {
    dense1D<signed char, 8> states;
    if (!states.resize(pos.cols(), survivor)) {
        new_IDs.clear();
        return -199;
    }
    std::vector<merge_record> records;
    std::size_t total = 0;
    std::size_t nbr_merged = 0;
    do {
        nbr_merged = merge_pass<DIM>(pos, begin, end, new_IDs, tol, states, records);
        total += nbr_merged;
    } while (repeated && nbr_merged != 0);
    return static_cast<int>(total);
}

} // namespace

int merge_in_elements(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                      dense2D<unsigned int>* end, id_list& new_IDs, double tol, bool repeated) {
    return pos.rows() == 2 ? merge_in_elements_dim<2>(pos, begin, end, new_IDs, tol, repeated)
                           : merge_in_elements_dim<3>(pos, begin, end, new_IDs, tol, repeated);
}

} // namespace kv7::tessmaker
