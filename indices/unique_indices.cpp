#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "core/ids.h"
#include "indices/id_hash.h"
#include "indices/sorted_ids.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

// The sum, or the largest number if the sum does not fit: no memory is that large.
std::size_t capped_sum(std::size_t a, std::size_t b) {
    return a > static_cast<std::size_t>(-1) - b ? static_cast<std::size_t>(-1) : a + b;
}

// IDs are read in chunks, and the address of each chunk is looked up anew: appending to the result
// may move memory that the source shares with it.
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

// The IDs met so far, one bit each. The bit of an ID is number ID + 1, so bit 0 belongs to the
// absent ID; it is set from the start.
class id_bits {
public:
    // False if the IDs of `source` are too sparse for a bitmap, or when memory fails.
    template <class Source> bool init(const Source& source) {
        // The OR of all ID + 1 is less than twice the largest, and takes half the time of finding
        // that.
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

    // Adds IDs of the source, 512 at most, and calls `sink(ids, n)` with those that are new.
    template <class Sink> void add(const unsigned int* ids, std::size_t n, Sink sink) {
        std::array<unsigned int, chunk_size> added;
        std::uint64_t* const words = words_.data();
        std::size_t nbr_added = 0;
        for (std::size_t i = 0; i < n; ++i) {
            // The mask keeps the bit in range if results have been appended over the source.
            const unsigned int bit = (ids[i] + 1U) & mask_;
            std::uint64_t& word = words[bit / 64];
            added[nbr_added] = ids[i];
            nbr_added += (word >> (bit % 64) & 1U) == 0 ? 1 : 0;
            word |= one << (bit % 64);
        }
        sink(added.data(), nbr_added);
    }

    template <class Sink> void finish(Sink) {}

private:
    static constexpr std::uint64_t one = 1;

    dense1D<std::uint64_t, 8> words_;
    unsigned int mask_ = 0; // ones up to the highest bit of ID + 1
};

// The same as a hash set, which goes on by sorting where IDs collide as if chosen to. An ID for
// which there is no memory is not added.
class id_set {
public:
    bool init(std::size_t nbr_ids) {
        if (!ids_.init(nbr_ids, nbr_ids) && !ids_.init(0, 0)) return false;
        nbr_ids_ = nbr_ids;
        most_steps_ = std::min(nbr_ids, no_limit / most_steps_per_key) * most_steps_per_key;
        ids_.insert(no_id);
        return true;
    }

    // Whether all have been added. Comes before any `add`.
    bool add_all(const id_list& ids) {
        std::size_t i = 0;
        for (; i < ids.size() && !is_sorting_; ++i) {
            if (!ids_.insert(ids[i]).place) return false;
            if (ids_.nbr_steps() > most_steps_) sort_from_now_on();
        }
        return i == ids.size() || sorted_.add_seen(ids.data() + i, ids.size() - i);
    }

    // As of `id_bits`, but some of the IDs that are new are told later, `finish` at the latest.
    template <class Sink> void add(const unsigned int* ids, std::size_t n, Sink sink) {
        if (is_sorting_) {
            sorted_.add(ids, n, sink);
            return;
        }
        std::array<unsigned int, chunk_size> added;
        std::size_t nbr_added = 0;
        for (std::size_t i = 0; i < n; ++i) {
            added[nbr_added] = ids[i];
            nbr_added += ids_.insert(ids[i]).added ? 1 : 0;
        }
        sink(added.data(), nbr_added);
        if (ids_.nbr_steps() > most_steps_) sort_from_now_on();
    }

    template <class Sink> void finish(Sink sink) {
        if (is_sorting_) sorted_.finish(sink);
    }

private:
    // Without memory for it, hashing goes on.
    void sort_from_now_on() {
        most_steps_ = no_limit;
        id_list seen;
        if (!seen.reserve(ids_.count(), 1)) return;
        ids_.for_each([&seen](unsigned int id) { seen.push_back(id); });
        is_sorting_ = sorted_.init(seen, nbr_ids_);
    }

    static constexpr std::uint64_t no_limit = static_cast<std::uint64_t>(-1);

    id_hash_set ids_;
    std::size_t nbr_ids_ = 0;
    std::uint64_t most_steps_ = no_limit;
    bool is_sorting_ = false;
    sorted_ids sorted_;
};

// Runs `work(seen)` with an empty set for the IDs of `source` and `nbr_more` others. False if there
// is no memory for a set.
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
        // Without memory for all of `skip` it is unknown what to leave out.
        if (!seen.add_all(skip)) return;
        const auto append_new = [&nodes](const unsigned int* ids, std::size_t n) {
            append(nodes, ids, n);
        };
        source.for_each_chunk(
            [&](const unsigned int* ids, std::size_t n) { seen.add(ids, n, append_new); });
        seen.finish(append_new);
    });
}

// -1 when there is no memory for a set: the count of a set less the absent ID.
template <class Source> int count_unique(const Source& source) {
    std::size_t count = 0;
    const bool counted = with_set_for(source, 0, [&](auto& seen) {
        const auto count_new = [&count](const unsigned int*, std::size_t n) { count += n; };
        source.for_each_chunk(
            [&](const unsigned int* ids, std::size_t n) { seen.add(ids, n, count_new); });
        seen.finish(count_new);
    });
    return counted ? static_cast<int>(count) : -1;
}

} // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): a copied view costs one count
int unique_indices(id_list& nodes, const id_list& ids, id_list skip) {
    if (!ids.empty()) append_unique(nodes, list_source{ids}, skip);
    return 0;
}

int unique_indices(id_list& nodes, const dense2D<unsigned int>& connect, id_list skip) {
    return unique_indices(nodes, &connect, &connect + 1, skip);
}

int unique_indices(id_list& nodes, const dense2D<unsigned int>* begin,
                   const dense2D<unsigned int>* end, id_list skip) {
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
