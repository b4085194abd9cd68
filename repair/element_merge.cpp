#include "repair/element_merge.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/ids.h"
#include "repair/box_tree.h"
#include "repair/closeness.h"
#include "repair/columns_by_node.h"
#include "repair/few_rows.h"
#include "repair/node_map.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The squared distance of a pair, the node that survives, the node that merges away.
using merge_record = triad<double, unsigned int, unsigned int>;

// What a pass did to a node. In the next pass only a column with a survivor can hold a new pair:
// every other column is as it was when no pair was found in it. Of these, it must have held a node
// that merged away: of every pair that a pass finds one node does.
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
void record_pairs_of_few(const dense2D<double>& pos, const unsigned int* column, std::size_t rows,
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

// The same with a tree of the nodes. False, with nothing recorded, when memory fails for it.
template <unsigned int DIM>
bool record_pairs_of_many(const dense2D<double>& pos, const unsigned int* column, std::size_t rows,
                          double tol, std::vector<merge_record>& records) {
    id_list nodes;
    box_tree<DIM> tree;
    if (!nodes.resize(rows) || !tree.reserve(rows)) return false;
    // Nothing is near a position that is not a number.
    const auto has_no_place = [&pos](unsigned int id) {
        return id == no_id || std::any_of(pos.column(id), pos.column(id) + DIM,
                                          [](double x) { return std::isnan(x); });
    };
    unsigned int* end = std::remove_copy_if(column, column + rows, nodes.begin(), has_no_place);
    std::sort(nodes.begin(), end);
    end = std::unique(nodes.begin(), end);
    nodes.resize(static_cast<std::size_t>(end - nodes.begin()));
    for (const unsigned int id : nodes) tree.add(pos.column(id), id, 0);
    tree.finish();
    tree.for_each_near_pair(tol, [&](unsigned int low, unsigned int high) {
        record_pair<DIM>(pos, low, high, tol, records);
    });
    return true;
}

template <unsigned int DIM>
void record_close_pairs(const dense2D<double>& pos, const unsigned int* column, std::size_t rows,
                        double tol, std::vector<merge_record>& records) {
    if (rows <= few_rows || !record_pairs_of_many<DIM>(pos, column, rows, tol, records))
        record_pairs_of_few<DIM>(pos, column, rows, tol, records);
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

void resolve_chains(id_list& map) {
    unsigned int* const to = map.data();
    for (std::size_t i = 0; i < map.size(); ++i) resolve_chain(to, static_cast<unsigned int>(i));
}

// `state` is `unchanged` for all nodes. Closest pairs first. A node that merged away takes no
// others; a survivor can still merge away.
std::size_t apply_records(std::vector<merge_record>& records, unsigned int* to,
                          signed char* state) {
    std::sort(records.begin(), records.end());
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
    states = unchanged;
    const std::size_t nbr_merged = apply_records(records, to, states.data());
    resolve_chains(new_IDs);
    for (dense2D<unsigned int>* connect = begin; connect != end; ++connect)
        change_indices(*connect, new_IDs);
    return nbr_merged;
}

// Passes that look at no column but those that the pass before has changed. For all others the
// arrays and maps stay untouched, so that a pass costs what it changes.
template <unsigned int DIM> class changed_columns {
public:
    changed_columns(const dense2D<double>& pos, unsigned int* to, double tol)
        : pos_(pos), to_(to), tol_(tol) {}

    // Starts with the columns that hold a survivor of `states`, which are then reset. False when
    // memory fails.
    bool init(dense2D<unsigned int>* begin, dense2D<unsigned int>* end,
              dense1D<signed char, 8>& states) {
        if (!columns_.init(begin, end, pos_.cols())) return false;
        if (!listed_.resize(columns_.size(), 0) || !changed_.reserve(columns_.size(), 1))
            return false;
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            if (has_survivor(columns_.ids(c), columns_.rows(c), states.data())) list(c);
        }
        states = unchanged;
        state_ = states.data();
        return true;
    }

    // Returns the number of nodes merged away.
    std::size_t pass(std::vector<merge_record>& records) {
        records.clear();
        for (const unsigned int c : changed_)
            record_close_pairs<DIM>(pos_, columns_.ids(c), columns_.rows(c), tol_, records);
        const std::size_t nbr_merged = apply_records(records, to_, state_);
        for (const unsigned int c : changed_) listed_[c] = 0;
        changed_.clear();
        for (const merge_record& record : records) relabel(record.third);
        for (const merge_record& record : records)
            state_[record.second] = state_[record.third] = unchanged;
        return nbr_merged;
    }

private:
    void list(std::size_t c) {
        if (listed_[c] != 0) return;
        listed_[c] = 1;
        changed_.push_back(static_cast<unsigned int>(c)); // there is room for all
    }

    // Replaces a node in all columns if it has merged away.
    void relabel(unsigned int node) {
        if (state_[node] != merged_away) return;
        resolve_chain(to_, node);
        columns_.for_each_of(node, [this](std::size_t c) {
            unsigned int* const ids = columns_.ids(c);
            for (std::size_t r = 0; r < columns_.rows(c); ++r) {
                if (ids[r] == no_id || state_[ids[r]] != merged_away) continue;
                resolve_chain(to_, ids[r]);
                ids[r] = to_[ids[r]];
            }
            list(c);
        });
        columns_.append(node, to_[node]);
    }

    const dense2D<double>& pos_;
    unsigned int* to_;
    double tol_;
    signed char* state_ = nullptr;
    columns_by_node columns_;
    id_list changed_;
    dense1D<signed char, 8> listed_; // by column: whether it is among the changed ones
};

// Follows all chains of a map to their ends when it is left, also by an exception.
struct chains_to_resolve {
    id_list& map;

    explicit chains_to_resolve(id_list& of) : map(of) {}
    chains_to_resolve(const chains_to_resolve&) = delete;
    chains_to_resolve& operator=(const chains_to_resolve&) = delete;
    ~chains_to_resolve() { resolve_chains(map); }
};

template <unsigned int DIM>
int merge_in_elements_dim(const dense2D<double>& pos, dense2D<unsigned int>* begin,
                          dense2D<unsigned int>* end, id_list& new_IDs, double tol, bool repeated) {
    dense1D<signed char, 8> states;
    if (!states.resize(pos.cols(), survivor)) {
        new_IDs.clear();
        return -199;
    }
    constexpr unsigned int few = 4; // passes that cost less than listing columns by node
    std::vector<merge_record> records;
    std::size_t total = 0;
    std::size_t nbr_merged = 0;
    unsigned int nbr_passes = 0;
    do {
        if (nbr_passes == few) {
            const chains_to_resolve chains(new_IDs);
            changed_columns<DIM> changed(pos, new_IDs.data(), tol);
            if (changed.init(begin, end, states)) {
                while ((nbr_merged = changed.pass(records)) != 0) total += nbr_merged;
                break;
            }
        }
        nbr_merged = merge_pass<DIM>(pos, begin, end, new_IDs, tol, states, records);
        total += nbr_merged;
        ++nbr_passes;
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
