// Matching of facets. A counting sort puts their handles into buckets by smallest node ID. Then,
// for one bucket at a time, the nodes of its facets are read again and turned into keys. Two facets
// have equal keys exactly if `compare_facets` is not 0 for them.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "connectivity/facets.h"
#include "core/element_walk.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "core/prefetch.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

template <std::size_t SIZE> using facet_key = std::array<unsigned int, SIZE>;

// Once the facet has found its match, the smallest ID of its key is replaced by `no_id`.
template <class Handle, std::size_t SIZE> struct facet_record {
    facet_key<SIZE> key;
    Handle handle;

    friend bool operator<(const facet_record& a, const facet_record& b) {
        return a.key != b.key ? a.key < b.key : a.handle < b.handle;
    }
};

void put_in_order(unsigned int& a, unsigned int& b) {
    const unsigned int low = std::min(a, b);
    b = std::max(a, b);
    a = low;
}

facet_key<1> key_of(const facet_key<1>& node) { return node; }
facet_key<2> key_of(facet_key<2> node) {
    put_in_order(node[0], node[1]);
    return node;
}
facet_key<3> key_of(facet_key<3> node) {
    put_in_order(node[0], node[1]);
    put_in_order(node[1], node[2]);
    put_in_order(node[0], node[1]);
    return node;
}
// The diagonal with the smallest ID first, then the other one, each with its smaller ID first.
facet_key<4> key_of(const facet_key<4>& node) {
    facet_key<4> key{node[0], node[2], node[1], node[3]};
    put_in_order(key[0], key[1]);
    put_in_order(key[2], key[3]);
    const bool on_both = key[0] == key[2];
    if (key[2] < key[0] || (on_both && node[0] != key[0] && node[1] == key[0])) {
        std::swap(key[0], key[2]);
        std::swap(key[1], key[3]);
    }
    return key;
}

// The first SIZE nodes of the facet, in order.
template <std::size_t SIZE>
facet_key<SIZE> nodes_of_facet(const unsigned int* column, const local_facet& facet) {
    facet_key<SIZE> node{};
    for (std::size_t k = 0; k < SIZE; ++k) node[k] = column[facet.node[k]];
    return node;
}

// The key of facet f of an element, in a mesh whose facets have up to SIZE nodes. An absent ID in
// the key of a triangle makes it differ from that of any quadrangle.
template <element_type SHAPE, std::size_t SIZE>
facet_key<SIZE> key_of_facet(const unsigned int* column, std::size_t f) {
    static constexpr local_facets facets = topology_of(SHAPE).facets;
    const local_facet& facet = facets.facet[f];
    if constexpr (SIZE == 4 && SHAPE != ET_HEXA8) {
        if (facet.size == 3) {
            const facet_key<3> key = key_of(nodes_of_facet<3>(column, facet));
            return {key[0], no_id, key[1], key[2]};
        }
    }
    return key_of(nodes_of_facet<SIZE>(column, facet));
}

// Keys in a bucket usually share their smallest ID, so it is compared last.
template <std::size_t SIZE> bool is_same(const facet_key<SIZE>& a, const facet_key<SIZE>& b) {
    bool same = true;
    for (std::size_t k = SIZE; same && k-- > 0;) same = a[k] == b[k];
    return same;
}

// Calls `work(smallest node ID, handle)` for all facets in ascending order of handle.
template <element_type TYPE, class Work>
void for_each_facet(const dense2D<unsigned int>& connect, Work work) {
    constexpr std::size_t stride = element_table[TYPE].nbr_boundaries;
    for_each_column<TYPE>(connect, [&](auto shape, std::size_t e, const unsigned int* column) {
        constexpr local_facets facets = topology_of(decltype(shape)::value).facets;
        for_each_constant<facets.count>([&](auto f) {
            constexpr local_facet facet = facets.facet[f];
            unsigned int smallest = column[facet.node[0]];
            for (std::size_t k = 1; k < facet.size; ++k)
                smallest = std::min(smallest, column[facet.node[k]]);
            work(smallest, e * stride + f);
        });
    });
}

// The handles of all facets, bucket by bucket, ascending within each bucket.
template <class Handle> struct facet_buckets {
    dense1D<Handle, 8> handles;
    dense1D<Handle, 8> ends; // bucket b ends at handles[ends[b]]
    std::size_t largest = 0; // number of facets in the largest bucket
};

// Returns false if memory fails.
template <element_type TYPE, class Handle>
bool fill_buckets(const dense2D<unsigned int>& connect, facet_buckets<Handle>& buckets) {
    // One bucket for each node ID, unless the largest ID is much larger than the number of facets.
    const std::size_t enough = 2 * element_table[TYPE].nbr_boundaries * connect.cols() + 64;
    const auto nbr_buckets =
        static_cast<unsigned int>(std::min(std::size_t{max_ID(connect)} + 1, enough));
    const auto bucket_of = [nbr_buckets](unsigned int smallest) {
        return smallest < nbr_buckets ? smallest : smallest % nbr_buckets;
    };
    if (!buckets.ends.resize(nbr_buckets, 0)) return false;
    Handle* const end = buckets.ends.data();
    for_each_facet<TYPE>(connect,
                         [&](unsigned int smallest, std::size_t) { ++end[bucket_of(smallest)]; });
    Handle nbr_facets = 0;
    for (std::size_t b = 0; b < nbr_buckets; ++b) {
        buckets.largest = std::max<std::size_t>(buckets.largest, end[b]);
        nbr_facets += std::exchange(end[b], nbr_facets);
    }

    if (!buckets.handles.resize(nbr_facets)) return false;
    Handle* const sorted = buckets.handles.data();
    for_each_facet<TYPE>(connect, [&](unsigned int smallest, std::size_t handle) {
        sorted[end[bucket_of(smallest)]++] = static_cast<Handle>(handle);
    });
    return true;
}

// Links the matching facets of one bucket, which are in ascending order of handle. Small buckets
// are searched pair by pair, larger ones are sorted first.
template <std::size_t STRIDE, class Record>
void link_bucket(Record* begin, Record* end, bool link_non_manifold, unsigned int* neighbors) {
    constexpr std::ptrdiff_t few = 64;
    const bool is_sorted = end - begin > few;
    if (is_sorted) std::sort(begin, end);
    const auto link = [neighbors](const Record& from, const Record& to) {
        neighbors[from.handle] = static_cast<unsigned int>(to.handle / STRIDE);
    };
    for (Record* a = begin; a != end; ++a) {
        if (a->key[0] == no_id) continue;
        const Record* last = nullptr;
        std::size_t nbr_matches = 0;
        for (Record* b = a + 1; b != end; ++b) {
            if (!is_same(a->key, b->key)) {
                if (is_sorted) break;
                continue;
            }
            if (link_non_manifold) link(*b, *a);
            b->key[0] = no_id;
            last = b;
            ++nbr_matches;
        }
        if (nbr_matches == 0 || (nbr_matches > 1 && !link_non_manifold)) continue;
        link(*a, *last);
        link(*last, *a);
    }
}

// Writes the neighbours of all elements. On entry `neighbors` has its size and is filled with
// `no_id`. The number of facets must fit in `Handle`. Returns false if memory fails.
template <element_type TYPE, class Handle>
bool link_facets(const dense2D<unsigned int>& connect, bool link_non_manifold,
                 dense2D<unsigned int>& neighbors) {
    constexpr std::size_t size = boundary_height(TYPE);
    constexpr std::size_t stride = element_table[TYPE].nbr_boundaries;
    constexpr std::size_t ahead = 32; // the column of that many facets later is prefetched
    facet_buckets<Handle> buckets;
    if (!fill_buckets<TYPE>(connect, buckets)) return false;
    dense1D<facet_record<Handle, size>, 8> records; // of one bucket
    if (!records.resize(buckets.largest)) return false;

    const unsigned int* const entries = connect.column(0);
    const std::size_t ld = connect.ld();
    const Handle* const handle = buckets.handles.data();
    const std::size_t nbr_facets = buckets.handles.size();
    std::size_t k = 0;
    for (const Handle bucket_end : buckets.ends) {
        auto* end = records.data();
        for (; k < bucket_end; ++k) {
            if (k + ahead < nbr_facets) prefetch(entries, handle[k + ahead] / stride * ld);
            const unsigned int* const column = entries + handle[k] / stride * ld;
            with_shape<TYPE>(column, [&](auto shape) {
                constexpr element_type SHAPE = decltype(shape)::value;
                *end++ = {key_of_facet<SHAPE, size>(column, handle[k] % stride), handle[k]};
            });
        }
        link_bucket<stride>(records.data(), end, link_non_manifold, neighbors.column(0));
    }
    return true;
}

} // namespace

int get_neighbors(const dense2D<unsigned int>& connect, element_type type, bool link_non_manifold,
                  dense2D<unsigned int>& neighbors) {
    clear_outputs(outputs{neighbors}, inputs{connect});
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, no_id)) return -1;
    if (!is_linear_type(type)) return -2;

    const std::size_t stride = boundary_stride(type);
    if (!neighbors.resize(stride, connect.cols())) return -199;
    std::fill_n(neighbors.column(0), stride * connect.cols(), no_id);
    bool done = false;
    with_linear_type(type, [&](auto of_type) {
        constexpr element_type TYPE = decltype(of_type)::value;
        done = stride * connect.cols() < no_id
                   ? link_facets<TYPE, unsigned int>(connect, link_non_manifold, neighbors)
                   : link_facets<TYPE, std::uint64_t>(connect, link_non_manifold, neighbors);
    });
    if (!done) neighbors.clear();
    return done ? 0 : -199;
}

} // namespace kv7::tessmaker
