// Columns by the numbers that a file gives them.
#ifndef TESSMAKER_FORMATS_NUMBER_INDEX_H
#define TESSMAKER_FORMATS_NUMBER_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Finds columns by their numbers. Numbers that run on by one in the order of the columns take no
// memory, and no search. Others are sorted, and stand in buckets of equal ranges of numbers, as
// many as there are columns at most; in a bucket too, a number is first looked for where it is if
// they run on by one. Memory goes with the columns, time of a search at worst with the logarithm of
// their number.
class number_index {
public:
    // `numbers[c]` is the number of column `c`, of which there are less than the absent ID. False
    // when memory fails.
    bool init(const id_list& numbers);
    // Makes only the list of repeated columns, which takes less memory; `find` can't be used then.
    bool init_repeated(const id_list& numbers);

    // The first column with a number; the absent ID if there is none.
    unsigned int find(unsigned int number) const {
        const unsigned int column = number - least_;
        if (runs_on_) return column < nbr_columns_ ? column : no_id;
        return find_in_bucket(number);
    }
    // Puts columns in the place of numbers, if they run on by one and all are there; else leaves
    // them as they are and returns false.
    bool find_all(unsigned int* numbers, std::size_t n) const {
        if (!runs_on_) return false;
        const unsigned int least = least_;
        unsigned int last = 0;
        for (std::size_t i = 0; i < n; ++i) last = std::max(last, numbers[i] - least);
        if (last >= nbr_columns_) return false;
        for (std::size_t i = 0; i < n; ++i) numbers[i] -= least;
        return true;
    }
    // Columns with the number of another one before them, ascending.
    const id_list& repeated() const { return repeated_; }

private:
    // A number and, below it, its column.
    using entry_list = dense1D<std::uint64_t, 8>;

    static unsigned int number_of(std::uint64_t entry) {
        return static_cast<unsigned int>(entry >> 32);
    }
    static unsigned int column_of(std::uint64_t entry) { return static_cast<unsigned int>(entry); }

    unsigned int find_in_bucket(unsigned int number) const;
    void begin(const id_list& numbers);
    bool list_sorted(const id_list& numbers);
    bool drop_repeated();
    bool make_buckets();

    bool runs_on_ = true;
    unsigned int least_ = 0;
    unsigned int greatest_ = 0;
    std::size_t nbr_columns_ = 0;
    entry_list entries_;     // ascending
    id_list first_entries_;  // of each bucket, and behind the last
    unsigned int shift_ = 0; // leaves the bits of a bucket's number
    id_list repeated_;
};

} // namespace kv7::tessmaker

#endif
