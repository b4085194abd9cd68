// Columns by the numbers that a file gives them.
#ifndef TESSMAKER_FORMATS_NUMBER_INDEX_H
#define TESSMAKER_FORMATS_NUMBER_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// Finds columns by their numbers. What is kept goes by how the numbers lie:
//
//   running on by one, in the order of the columns   nothing
//   dense, a few for each column                     the column of each number of the range
//   others                                           buckets of equal ranges of numbers, as many
//                                                    as there are columns at most, and in each its
//                                                    columns by number. In a bucket, a number is
//                                                    first looked for where it is if they run on by
//                                                    one
//
// Memory goes with the columns, time of a search at worst with the logarithm of their number.
class number_index {
public:
    // `numbers[c]` is the number of column `c`, of which there are less than the absent ID. The
    // index shares the list: it must stay as it is while columns are looked for. False when memory
    // fails.
    bool init(const id_list& numbers);
    // Makes only the list of repeated columns, which takes less memory; `find` can't be used then.
    bool init_repeated(const id_list& numbers);

    // The first column with a number; the absent ID if there is none.
    unsigned int find(unsigned int number) const {
        const unsigned int offset = number - least_;
        if (offset >= range_) return no_id;
        if (form_ == form::runs_on) return offset;
        return form_ == form::dense ? column_of_[offset] : find_in_bucket(number);
    }
    // Puts columns in the place of numbers, if they run on by one and all are there; else leaves
    // them as they are and returns false.
    bool find_all(unsigned int* numbers, std::size_t n) const {
        if (form_ != form::runs_on) return false;
        const unsigned int least = least_;
        unsigned int last = 0;
        for (std::size_t i = 0; i < n; ++i) last = std::max(last, numbers[i] - least);
        if (last >= range_) return false;
        for (std::size_t i = 0; i < n; ++i) numbers[i] -= least;
        return true;
    }
    // Columns with the number of another one before them, ascending.
    const id_list& repeated() const { return repeated_; }

private:
    enum class form { runs_on, dense, in_buckets };

    std::size_t bucket_of(unsigned int number) const { return (number - least_) >> shift_; }
    unsigned int find_in_bucket(unsigned int number) const;
    void begin(const id_list& numbers);
    bool list_repeated();
    bool make_table();
    bool make_buckets();
    bool list_by_bucket();
    bool sort_buckets();

    form form_ = form::runs_on;
    unsigned int least_ = 0;
    std::uint64_t range_ = 0; // from the least number to the greatest, both counted
    id_list numbers_;
    const unsigned int* column_of_ = nullptr; // of each number of the range; see `columns_`
    id_list columns_;                         // that of each number, or by buckets
    id_list first_in_bucket_;                 // its place among those, and behind the last
    unsigned int shift_ = 0;                  // leaves the bits of a bucket's number
    id_list repeated_;
};

} // namespace kv7::tessmaker

#endif
