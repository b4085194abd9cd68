// Meshes that are read from decks in tests.
#ifndef TESSMAKER_TESTS_FORMATS_DECK_MESHES_H
#define TESSMAKER_TESTS_FORMATS_DECK_MESHES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace test {

struct deck_mesh {
    kv7::tessmaker::mesh m;
    kv7::tessmaker::file_report report;
    int code = 0;

    std::vector<std::string> sentences() const {
        std::vector<std::string> result;
        for (const kv7::tessmaker::remark& r : report.remarks()) result.push_back(r.sentence);
        return result;
    }
    std::string error() const { return report.error() ? report.error()->sentence : "none"; }
    std::size_t nbr_elements() const { return m.connect.cols(); }
    // The nodes of an element, without absent IDs behind them.
    std::vector<unsigned int> nodes(std::size_t c) const {
        std::vector<unsigned int> result;
        for (std::size_t r = 0; r < m.connect.rows(); ++r) {
            if (m.connect(r, c) != none) result.push_back(m.connect(r, c));
        }
        return result;
    }
    kv7::element_type type(std::size_t c) const {
        std::size_t k = 0;
        while (m.indices[k + 1] <= c) ++k;
        return static_cast<kv7::element_type>(m.types[k]);
    }
};

// What holds of every mesh that is read from a deck, and of every failure.
inline void expect_whole(const deck_mesh& deck) {
    const kv7::tessmaker::mesh& m = deck.m;
    EXPECT_EQ(deck.code < 0, deck.report.error() != nullptr);
    for (const kv7::tessmaker::keyword_count& c : deck.report.counts()) EXPECT_LE(c.read, c.seen);
    if (deck.code < 0) {
        EXPECT_TRUE(m.pos.empty() && m.connect.empty() && m.indices.empty() && m.types.empty() &&
                    m.pids.empty() && m.node_numbers.empty() && m.element_numbers.empty());
        return;
    }
    EXPECT_EQ(m.node_numbers.size(), m.pos.cols());
    EXPECT_TRUE(m.pos.empty() || m.pos.rows() == 3);
    EXPECT_EQ(m.element_numbers.size(), m.connect.cols());
    EXPECT_EQ(m.pids.size(), m.connect.cols());
    ASSERT_EQ(m.indices.size(), m.types.size() + 1);
    EXPECT_EQ(m.indices[0], 0U);
    EXPECT_EQ(m.indices[m.types.size()], m.connect.cols());
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        EXPECT_LT(m.indices[k], m.indices[k + 1]);
        EXPECT_TRUE(k == 0 || m.types[k] != m.types[k - 1]);
    }
    for (std::size_t c = 0; c < m.connect.cols(); ++c) {
        const std::size_t n = kv7::tessmaker::nbr_nodes(deck.type(c));
        for (std::size_t r = 0; r < m.connect.rows(); ++r) {
            EXPECT_EQ(m.connect(r, c) < m.pos.cols(), r < n);
            EXPECT_EQ(m.connect(r, c) == none, r >= n);
        }
    }
}

inline deck_mesh read_deck_mesh(const std::string& contents) {
    const scratch_stream stream(contents);
    deck_mesh result;
    result.code = kv7::tessmaker::read_mesh(stream.get(), kv7::tessmaker::file_format::nastran,
                                            result.m, result.report);
    expect_whole(result);
    return result;
}

} // namespace test

#endif
