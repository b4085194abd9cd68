// Short ways to read and write NASTRAN decks in tests.
#ifndef TESSMAKER_TESTS_FORMATS_NASTRAN_DECKS_H
#define TESSMAKER_TESTS_FORMATS_NASTRAN_DECKS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "formats/plain_nastran.h"
#include "formats/run_files.h"
#include "formats/scratch_files.h"
#include "repair/random_meshes.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

namespace test {

struct nastran_functions {
    static constexpr const char* name = "NASTRAN";
    template <class... Arguments> static int input(Arguments&&... arguments) {
        return kv7::tessmaker::NASTRAN_input(arguments...);
    }
    template <class... Arguments> static int output(const Arguments&... arguments) {
        return kv7::tessmaker::NASTRAN_output(arguments...);
    }
};
using deck_arrays = run_arrays<nastran_functions>;
using one_connectivity = one_connectivity_of<nastran_functions>;
using two_connectivities = two_connectivities_of<nastran_functions>;

inline deck_arrays read_deck(const std::string& text) { return read_as<deck_arrays>(text); }

inline dense2D<double> matrix_of_nodes(const deck& d) {
    dense2D<double> pos(d.nodes.empty() ? 0 : 3, d.nodes.size());
    for (std::size_t c = 0; c < d.nodes.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) pos(r, c) = d.nodes[c][r];
    }
    return pos;
}

// Memory for this many nodes, so that tests may hold large numbers at no cost.
inline constexpr unsigned int nbr_nodes_in_memory = 1U << 16;
inline constexpr std::size_t memory_for_nodes = nbr_nodes_in_memory * 3 * sizeof(double) + 7;

// What the plain reader and ours make of a deck, in all forms: codes, arrays, and the place where
// the stream is left.
inline testing::AssertionResult same_as_plain_reader(const std::string& bytes,
                                                     int* nbr_elements = nullptr) {
    const auto different = [&](const char* what) {
        return testing::AssertionFailure() << what << " for\n" << bytes << "<end>";
    };
    const scratch_stream plain_stream(bytes);
    const deck expected = plain_nastran_reader(plain_stream.get(), nbr_nodes_in_memory).read();
    const long end = std::ftell(plain_stream.get());
    const dense2D<double> nodes = matrix_of_nodes(expected);
    if (nbr_elements) *nbr_elements = static_cast<int>(expected.elements.size());

    const memory_limit limit(memory_for_nodes);
    const scratch_stream stream(bytes);
    deck_arrays full;
    full.read(stream.get());
    if (full.code != expected.code) {
        return different("another code") << ": " << full.code << ", not " << expected.code;
    }
    if (std::ftell(stream.get()) != end) {
        return different("another place") << ": " << std::ftell(stream.get()) << ", not " << end;
    }
    if (!same_bits(full.pos, nodes)) return different("other nodes");
    if (list(full.connect) != expected.columns_of_all()) return different("other elements");
    if (list(full.indices) != expected.indices) return different("other indices");
    if (list(full.types) != expected.types) return different("other types");
    if (list(full.pids) != expected.pids) return different("other pids");

    std::rewind(stream.get());
    one_connectivity one;
    one.read(stream.get());
    const bool has_type = expected.code == 0 && !expected.types.empty();
    if (one.code != expected.code || std::ftell(stream.get()) != end ||
        !same_bits(one.pos, nodes) || list(one.connect) != expected.columns_of_all() ||
        one.type != (has_type ? expected.one_type() : kv7::ET_QUAD9)) {
        return different("another result with one connectivity");
    }

    std::rewind(stream.get());
    two_connectivities two;
    two.read(stream.get());
    const std::size_t nbr_runs = expected.code == 0 ? expected.types.size() : 0;
    if (two.code != expected.code || std::ftell(stream.get()) != end ||
        !same_bits(two.pos, nodes) ||
        list(two.connect1) != (nbr_runs > 0 ? expected.run(0) : id_lists{{71}}) ||
        list(two.connect2) != (nbr_runs > 1 ? expected.run(1) : id_lists{{72}}) ||
        two.type1 != (nbr_runs > 0 ? expected.types[0] : kv7::ET_QUAD9) ||
        two.type2 != (nbr_runs > 1 ? expected.types[1] : kv7::ET_PYRA14)) {
        return different("another result with two connectivities");
    }
    return testing::AssertionSuccess();
}

} // namespace test

#endif
