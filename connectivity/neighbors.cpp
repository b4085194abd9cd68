// Matching of facets. Facets are brought into buckets by their smallest node, and compared in their
// bucket by a key that is equal for two facets exactly where `compare_facets` isn't 0.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "connectivity/facets.h"
#include "core/element_walk.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/index_arrays.h"

namespace kv7::tessmaker {

namespace {

template <std::size_t SIZE> using facet_key = std::array<unsigned int, SIZE>;

// In a record that has found its match, 0xFFFFFFFF stands in the place of the smallest ID.
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
// The diagonal on which the smallest ID stands first, then the other one.
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

// The key of local facet F among facets of up to SIZE nodes. The sentinel keeps triangles apart
// from all quadrangles.
template <std::size_t SIZE, element_type SHAPE, std::size_t F>
facet_key<SIZE> key_of_facet(const unsigned int* column) {
    constexpr local_facet facet = topology_of(SHAPE).facets.facet[F];
    facet_key<facet.size> node{};
    for (std::size_t k = 0; k < facet.size; ++k) node[k] = column[facet.node[k]];
    const facet_key<facet.size> key = key_of(node);
    if constexpr (facet.size == SIZE) {
        return key;
    } else {
        return {key[0], no_id, key[1], key[2]};
    }
}

// The smallest ID stands in all keys of a bucket, or nearly, and is compared last.
template <std::size_t SIZE> bool is_same(const facet_key<SIZE>& a, const facet_key<SIZE>& b) {
    bool same = true;
    for (std::size_t k = SIZE; same && k-- > 0;) same = a[k] == b[k];
    return same;
}

// Calls `work(key, handle)` for all facets in ascending order of handle.
template <element_type TYPE, std::size_t SIZE, class Work>
void for_each_facet(const dense2D<unsigned int>& connect, Work work) {
    constexpr std::size_t stride = element_table[TYPE].nbr_boundaries;
    for_each_column<TYPE>(connect, [&](auto shape, std::size_t e, const unsigned int* column) {
        constexpr element_type SHAPE = decltype(shape)::value;
        for_each_constant<topology_of(SHAPE).facets.count>(
            [&](auto f) { work(key_of_facet<SIZE, SHAPE, f>(column), e * stride + f); });
    });
}

// Links the facets of one bucket, which stand in ascending order of handle.
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

// `neighbors` is sized and holds 0xFFFFFFFF. Handles and counts of facets must fit in `Handle`.
template <element_type TYPE, class Handle>
int link_facets(const dense2D<unsigned int>& connect, bool link_non_manifold,
                dense2D<unsigned int>& neighbors) {
    constexpr std::size_t size = boundary_height(TYPE);
    using record = facet_record<Handle, size>;

    // One bucket for each node, unless the IDs are scattered over a range that is much wider than
    // the mesh.
    const auto nbr_buckets = static_cast<unsigned int>(std::min<std::size_t>(
        std::size_t{max_ID(connect)} + 1, 2 * neighbors.rows() * neighbors.cols() + 64));
    const auto bucket_of = [nbr_buckets](unsigned int smallest) {
        return smallest < nbr_buckets ? smallest : smallest % nbr_buckets;
    };
    dense1D<Handle, 8> bucket_ends;
    if (!bucket_ends.resize(nbr_buckets, 0)) return -199;
    Handle* const bucket_end = bucket_ends.data();
    for_each_facet<TYPE, size>(
        connect, [&](const facet_key<size>& key, std::size_t) { ++bucket_end[bucket_of(key[0])]; });
    Handle nbr_facets = 0;
    for (std::size_t b = 0; b < nbr_buckets; ++b) {
        nbr_facets += std::exchange(bucket_end[b], nbr_facets);
    }

    dense1D<record, 8> records;
    if (!records.resize(nbr_facets)) return -199;
    record* const sorted = records.data();
    for_each_facet<TYPE, size>(connect, [&](const facet_key<size>& key, std::size_t handle) {
        sorted[bucket_end[bucket_of(key[0])]++] = {key, static_cast<Handle>(handle)};
    });

    record* begin = sorted;
    for (std::size_t b = 0; b < nbr_buckets; ++b) {
        record* const end = sorted + bucket_end[b];
        link_bucket<element_table[TYPE].nbr_boundaries>(begin, end, link_non_manifold,
                                                        neighbors.column(0));
        begin = end;
    }
    return 0;
}

} // namespace

int get_neighbors(const dense2D<unsigned int>& connect, element_type type, bool link_non_manifold,
                  dense2D<unsigned int>& neighbors) {
    neighbors.clear();
    if (connect.empty()) return 0;
    type = resolve_mixed_type(connect.rows(), type);
    if (!check_IDs(connect, type, no_id)) return -1;
    if (!is_linear_type(type)) return -2;

    const std::size_t stride = boundary_stride(type);
    if (!neighbors.resize(stride, connect.cols())) return -199;
    std::fill_n(neighbors.column(0), stride * connect.cols(), no_id);
    int result = 0;
    with_linear_type(type, [&](auto of_type) {
        constexpr element_type TYPE = decltype(of_type)::value;
        result = stride * connect.cols() < no_id
                     ? link_facets<TYPE, unsigned int>(connect, link_non_manifold, neighbors)
                     : link_facets<TYPE, std::uint64_t>(connect, link_non_manifold, neighbors);
    });
    if (result != 0) neighbors.clear();
    return result;
}

} // namespace kv7::tessmaker
