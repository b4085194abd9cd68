// Hash tables of IDs in one block of memory, without an allocation per entry.
//
// The first `nbr_buckets` entries are the heads of the chains; entries that collide are appended
// after them. Chains are linked by forward distances, so the block may move. An entry is live if it
// has the table's stamp, so raising the stamp clears the table. The hash of a key is the key
// itself.
//
// One template serves sets and maps. `Held` defines what an entry holds:
//
//   content       its type
//   key(content)  its key, an ID; no two entries have the same
#ifndef TESSMAKER_INDICES_ID_HASH_H
#define TESSMAKER_INDICES_ID_HASH_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "tessmaker/containers.h"

namespace kv7::tessmaker {

inline constexpr std::array<std::uint64_t, 30> bucket_primes{
    13,        23,        53,        97,         193,        389,       769,      1543,
    3079,      6151,      12289,     24593,      49157,      98317,     196613,   393241,
    786433,    1572869,   3145739,   6291469,    12582917,   25165843,  50331653, 100663319,
    201326611, 402653189, 805306457, 1610612741, 3221225473, 4294967291};

// The first of these primes that is not below `n`; the last one if `n` is above all of them.
inline std::uint64_t next_prime(std::uint64_t n) {
    const auto* const prime = std::lower_bound(bucket_primes.begin(), bucket_primes.end(), n);
    return prime == bucket_primes.end() ? bucket_primes.back() : *prime;
}

// Steps along chains per key beyond which keys do not collide by chance. With as many buckets as
// keys, a key that is looked for passes less than one other on average; sorting takes about as long
// as this many steps.
inline constexpr std::uint64_t most_steps_per_key = 8;

template <class Held> class id_hash_table {
public:
    using content = typename Held::content;
    // The content, the stamp that it was written with (0: never written), and the distance to the
    // next entry of the chain (0: end of the chain).
    using entry = triad<content, std::uint64_t, std::uint64_t>;

    // The address of the content, null if memory failed, and whether it has been added.
    struct insertion {
        content* place = nullptr;
        bool added = false;
    };

    // Empty; insertions fail before `init`.
    id_hash_table() = default;
    id_hash_table(const id_hash_table&) = delete;
    id_hash_table& operator=(const id_hash_table&) = delete;

    // Empties the table and prepares it for `nbr_entries` insertions into at least `min_buckets`
    // buckets. False when memory fails; insertions then fail, too.
    bool init(std::uint64_t nbr_entries, std::uint64_t min_buckets) {
        nbr_buckets_ = next_prime(std::max<std::uint64_t>(min_buckets, 23));
        stamp_ = 1;
        count_ = 0;
        nbr_steps_ = 0;
        entries_.clear();
        heads_ = nullptr;
        // How many entries are expected to find their bucket taken.
        const auto n = static_cast<double>(nbr_entries);
        const double overflow = n / (n + static_cast<double>(nbr_buckets_)) * n;
        if (overflow > most_overflow) return false;
        entries_.reserve(nbr_buckets_ + static_cast<std::uint64_t>(overflow), 1);
        if (!entries_.resize(nbr_buckets_, entry{})) return false;
        heads_ = entries_.data();
        return true;
    }

    // Removes all entries; buckets and memory stay.
    void clear() {
        ++stamp_;
        count_ = 0;
    }

    std::uint64_t nbr_buckets() const { return nbr_buckets_; }
    // Live entries.
    std::uint64_t count() const { return count_; }
    // Steps along chains in all insertions since `init`.
    std::uint64_t nbr_steps() const { return nbr_steps_; }

    // Inserts a content. An existing key is left unchanged; `added` is then false. Invalidates
    // pointers to entries.
    insertion insert(const content& held) {
        if (2 * nbr_buckets_ < count_ + 1 && !rebuild(count_ + 1)) return {};
        return place(held);
    }

    // The content under a key, or null.
    const content* find(unsigned int key) const {
        std::uint64_t nbr_steps = 0;
        return find(key, nbr_steps);
    }
    // The same; adds the steps along the chain to `nbr_steps`.
    const content* find(unsigned int key, std::uint64_t& nbr_steps) const {
        if (!heads_) return nullptr;
        for (const entry* e = heads_ + bucket_of(key);; e += e->third) {
            if (is_live(*e) && Held::key(e->first) == key) return &e->first;
            if (e->third == 0) return nullptr;
            ++nbr_steps;
        }
    }

    // Calls `work(content)` for each live entry.
    template <class Work> void for_each(Work work) const {
        for (const entry& e : entries_) {
            if (is_live(e)) work(e.first);
        }
    }

private:
    // More than any memory, and still safe to convert to an integer.
    static constexpr double most_overflow = 1e18;

    bool is_live(const entry& e) const { return e.second == stamp_; }

    // The number of buckets fits in 32 bits, and so the fast 32-bit division will do.
    unsigned int bucket_of(unsigned int key) const {
        return key % static_cast<unsigned int>(nbr_buckets_);
    }

    insertion place(const content& held) {
        if (!heads_) return {};
        const unsigned int key = Held::key(held);
        entry* e = heads_ + bucket_of(key);
        entry* free = nullptr;
        while (true) {
            if (is_live(*e)) {
                if (Held::key(e->first) == key) return {&e->first, false};
            } else if (!free) {
                free = e;
            }
            if (e->third == 0) break;
            e += e->third;
            ++nbr_steps_;
        }
        if (free) {
            free->first = held;
            free->second = stamp_;
        } else {
            free = append_behind(e, held);
            if (!free) return {};
        }
        ++count_;
        return {&free->first, true};
    }

    entry* append_behind(const entry* tail, const content& held) {
        const auto t = static_cast<std::size_t>(tail - heads_);
        const std::size_t added = entries_.size();
        if (!entries_.push_back(entry{held, stamp_, 0})) return nullptr;
        heads_ = entries_.data();
        heads_[t].third = added - t;
        return heads_ + added;
    }

    // Moves all entries to a table for `nbr_keys` keys. On failure the table is left unchanged.
    bool rebuild(std::uint64_t nbr_keys) {
        id_hash_table larger;
        if (!larger.init(nbr_keys, nbr_keys)) return false;
        for (const entry& e : std::as_const(entries_)) {
            if (is_live(e) && !larger.place(e.first).place) return false;
        }
        entries_ = larger.entries_;
        heads_ = larger.heads_;
        nbr_buckets_ = larger.nbr_buckets_;
        stamp_ = larger.stamp_;
        nbr_steps_ += larger.nbr_steps_;
        return true;
    }

    dense1D<entry, 8> entries_;
    entry* heads_ = nullptr; // the first entry; null before `init` and where it fails
    std::uint64_t nbr_buckets_ = 23;
    std::uint64_t stamp_ = 1;
    std::uint64_t count_ = 0;
    std::uint64_t nbr_steps_ = 0;
};

struct held_id {
    using content = unsigned int;
    static unsigned int key(content id) { return id; }
};

struct held_id_and_value {
    using content = std::pair<unsigned int, unsigned int>;
    static unsigned int key(const content& held) { return held.first; }
};

using id_hash_set = id_hash_table<held_id>;
using id_hash_map = id_hash_table<held_id_and_value>;

} // namespace kv7::tessmaker

#endif
