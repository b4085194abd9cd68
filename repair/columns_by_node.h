// The columns of connectivities that hold a node, while nodes merge.
#ifndef TESSMAKER_REPAIR_COLUMNS_BY_NODE_H
#define TESSMAKER_REPAIR_COLUMNS_BY_NODE_H

#include <cstddef>

#include "core/ids.h"

namespace kv7::tessmaker {

// Each node has a chain of its places in the columns; a column that holds it twice is met twice.
class columns_by_node {
public:
    // Every ID but the absent one is below `nbr_nodes`. False when memory fails, and if there are
    // more columns or places than 32 bits can number.
    bool init(dense2D<unsigned int>* begin, dense2D<unsigned int>* end, std::size_t nbr_nodes) {
        std::size_t nbr_columns = 0;
        std::size_t nbr_places = 0;
        for (const dense2D<unsigned int>* connect = begin; connect != end; ++connect) {
            nbr_columns += connect->cols();
            nbr_places += connect->cols() * connect->rows();
        }
        if (nbr_columns >= no_id || nbr_places >= no_id) return false;
        if (!columns_.reserve(nbr_columns, 1) || !places_.reserve(nbr_places, 1) ||
            !chains_.resize(nbr_nodes, {no_id, no_id}))
            return false;
        for (dense2D<unsigned int>* connect = begin; connect != end; ++connect) {
            for (std::size_t c = 0; c < connect->cols(); ++c)
                add_column(connect->column(c), connect->rows());
        }
        return true;
    }

    std::size_t size() const { return columns_.size(); }
    unsigned int* ids(std::size_t c) { return columns_[c].ids; }
    std::size_t rows(std::size_t c) const { return columns_[c].rows; }

    // Calls `work(column)`.
    template <class Work> void for_each_of(unsigned int node, Work work) const {
        for (unsigned int k = chains_[node].first; k != no_id; k = places_[k].next)
            work(places_[k].column);
    }

    // Gives the places of a node to another one.
    void append(unsigned int from, unsigned int to) {
        chain& added = chains_[from];
        if (added.first == no_id) return;
        chain& extended = chains_[to];
        (extended.first == no_id ? extended.first : places_[extended.last].next) = added.first;
        extended.last = added.last;
        added = {no_id, no_id};
    }

private:
    struct column {
        unsigned int* ids;
        std::size_t rows;
    };
    struct place {
        unsigned int column;
        unsigned int next; // place of the same node, or absent
    };
    struct chain {
        unsigned int first, last; // absent if there is none
    };

    void add_column(unsigned int* ids, std::size_t rows) {
        const auto number = static_cast<unsigned int>(columns_.size());
        columns_.push_back({ids, rows});
        for (std::size_t r = 0; r < rows; ++r) {
            if (ids[r] == no_id) continue;
            const auto k = static_cast<unsigned int>(places_.size());
            places_.push_back({number, no_id});
            chain& of = chains_[ids[r]];
            (of.first == no_id ? of.first : places_[of.last].next) = k;
            of.last = k;
        }
    }

    dense1D<column, 8> columns_;
    dense1D<place, 8> places_;
    dense1D<chain, 8> chains_; // by node
};

} // namespace kv7::tessmaker

#endif
