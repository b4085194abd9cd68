// Files that are read as meshes with a report, and what holds of every one.
#ifndef TESSMAKER_TESTS_FORMATS_MESH_FILES_H
#define TESSMAKER_TESTS_FORMATS_MESH_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/element_table.h"
#include "core/element_topology.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/mesh_file.h"

namespace test {

struct read_file {
    kv7::tessmaker::mesh m;
    kv7::tessmaker::file_report report;
    int code = 0;

    std::vector<std::string> sentences() const {
        std::vector<std::string> result;
        for (const kv7::tessmaker::remark& r : report.remarks()) result.push_back(r.sentence);
        return result;
    }
    // Of the error, from the place on.
    std::string error() const { return report.error() ? report.error()->sentence : "none"; }
    // "Vertices 8/8, Edges 2/0"
    std::string counts() const {
        std::string text;
        for (const kv7::tessmaker::keyword_count& count : report.counts()) {
            if (!text.empty()) text += ", ";
            text +=
                count.keyword + ' ' + std::to_string(count.seen) + '/' + std::to_string(count.read);
        }
        return text;
    }
    // The nodes of an element, without absent IDs behind them.
    std::vector<unsigned int> nodes(std::size_t c) const {
        std::vector<unsigned int> result;
        for (std::size_t r = 0; r < m.connect.rows(); ++r) {
            if (m.connect(r, c) != none) result.push_back(m.connect(r, c));
        }
        return result;
    }
    std::vector<std::vector<unsigned int>> elements() const {
        std::vector<std::vector<unsigned int>> result;
        for (std::size_t c = 0; c < m.connect.cols(); ++c) result.push_back(nodes(c));
        return result;
    }
    // A type per element.
    std::vector<kv7::element_type> types() const {
        std::vector<kv7::element_type> result;
        for (std::size_t k = 0; k < m.types.size(); ++k) {
            result.resize(m.indices[k + 1], static_cast<kv7::element_type>(m.types[k]));
        }
        return result;
    }
};

// An element as it stands in a mesh.
struct plain_element {
    int type = 0;
    std::vector<unsigned int> nodes;
    unsigned int pid = 0;
    bool operator==(const plain_element& other) const {
        return type == other.type && nodes == other.nodes && pid == other.pid;
    }
};

inline std::vector<plain_element> elements_of(const kv7::tessmaker::mesh& m) {
    std::vector<plain_element> result;
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const std::size_t n = kv7::tessmaker::nbr_nodes(static_cast<kv7::element_type>(m.types[k]));
        for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            const unsigned int* const nodes = m.connect.column(c);
            result.push_back({m.types[k], {nodes, nodes + n}, m.pids[c]});
        }
    }
    return result;
}

inline void check_runs(const kv7::tessmaker::mesh& m) {
    ASSERT_EQ(m.indices.size(), m.types.size() + 1);
    EXPECT_EQ(m.indices[0], 0U);
    EXPECT_EQ(m.indices[m.types.size()], m.connect.cols());
    EXPECT_EQ(m.pids.size(), m.connect.cols());
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const auto type = static_cast<kv7::element_type>(m.types[k]);
        const std::size_t n = kv7::tessmaker::nbr_nodes(type);
        EXPECT_LT(m.indices[k], m.indices[k + 1]);
        EXPECT_TRUE(k == 0 || m.types[k - 1] != m.types[k]);
        ASSERT_LE(n, m.connect.rows());
        const std::size_t cols = m.indices[k + 1] - m.indices[k];
        EXPECT_TRUE(kv7::tessmaker::check_IDs(m.connect.sub_matrix(0, m.indices[k], n, cols), type,
                                              static_cast<unsigned int>(m.pos.cols())));
        for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            for (std::size_t r = n; r < m.connect.rows(); ++r) EXPECT_EQ(m.connect(r, c), none);
        }
    }
}

inline void check_sets(const std::vector<kv7::tessmaker::named_set>& sets, std::size_t size) {
    for (const kv7::tessmaker::named_set& set : sets) {
        EXPECT_FALSE(set.ids.empty());
        EXPECT_TRUE(std::is_sorted(set.ids.begin(), set.ids.end()));
        EXPECT_TRUE(kv7::tessmaker::check_IDs(set.ids, static_cast<unsigned int>(size)));
    }
}

inline bool is_empty(const kv7::tessmaker::mesh& m) {
    return m.pos.empty() && m.connect.empty() && m.indices.empty() && m.types.empty() &&
           m.pids.empty() && m.node_numbers.empty() && m.element_numbers.empty() &&
           m.node_sets.empty() && m.element_sets.empty() && m.fields.empty();
}

// What holds of every mesh that is read, and of every failure.
inline void check_result(const read_file& file) {
    EXPECT_EQ(file.code < 0, file.report.error() != nullptr);
    for (const kv7::tessmaker::keyword_count& count : file.report.counts()) {
        EXPECT_LE(count.read, count.seen) << count.keyword;
    }
    if (file.code < 0) {
        EXPECT_TRUE(is_empty(file.m));
        return;
    }
    EXPECT_TRUE(file.m.pos.empty() || file.m.pos.rows() == 3);
    check_runs(file.m);
    check_sets(file.m.node_sets, file.m.pos.cols());
    check_sets(file.m.element_sets, file.m.connect.cols());
    for (std::size_t c = 0; c < file.m.pos.cols(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) EXPECT_TRUE(std::isfinite(file.m.pos(r, c)));
    }
    for (const kv7::tessmaker::field& f : file.m.fields) {
        const bool is_at_nodes = f.at == kv7::tessmaker::field_place::nodes;
        EXPECT_EQ(f.values.cols(), is_at_nodes ? file.m.pos.cols() : file.m.connect.cols());
    }
}

inline read_file read_as(kv7::tessmaker::file_format format, const std::string& contents) {
    const scratch_stream stream(contents);
    read_file result;
    result.code = kv7::tessmaker::read_mesh(stream.get(), format, result.m, result.report);
    check_result(result);
    return result;
}

// Reads the file with each of its allocations failing. Returns how many were failed.
inline std::size_t read_failing(kv7::tessmaker::file_format format, const std::string& contents) {
    const read_file whole = read_as(format, contents);
    EXPECT_EQ(whole.code, 0) << whole.error();
    return fail_each_allocation([&](std::size_t k, bool and_later) {
        kv7::tessmaker::mesh m;
        kv7::tessmaker::file_report report;
        bool happened = false;
        int code = 0;
        {
            const scratch_stream stream(contents);
            const memory_failure failure(k, and_later);
            code = kv7::tessmaker::read_mesh(stream.get(), format, m, report);
            happened = failure.happened();
        }
        EXPECT_TRUE(code == 0 || (code == -199 && happened)) << code;
        EXPECT_TRUE(code == 0 || is_empty(m));
        if (code == 0) {
            EXPECT_EQ(elements_of(m), elements_of(whole.m));
            EXPECT_EQ(m.fields.size(), whole.m.fields.size());
            EXPECT_EQ(m.node_numbers.size(), whole.m.node_numbers.size());
            EXPECT_EQ(m.element_sets.size(), whole.m.element_sets.size());
        }
        return happened;
    });
}

// How often each keyword is seen and read.
using plain_counts = std::map<std::string, std::pair<std::uint64_t, std::uint64_t>>;

inline plain_counts counts_of(const kv7::tessmaker::file_report& report) {
    plain_counts result;
    for (const kv7::tessmaker::keyword_count& c : report.counts()) {
        EXPECT_TRUE(result.emplace(c.keyword, std::pair(c.seen, c.read)).second) << c.keyword;
    }
    return result;
}

// Cut off at any byte, a file is at fault or has no more than the whole one.
inline void expect_no_more_if_cut(kv7::tessmaker::file_format format, const std::string& contents,
                                  std::size_t nbr_nodes, std::size_t nbr_elements) {
    for (std::size_t size = 0; size < contents.size(); ++size) {
        const read_file file = read_as(format, contents.substr(0, size));
        ASSERT_TRUE(file.code == 0 || file.code == -102);
        ASSERT_LE(file.m.pos.cols(), nbr_nodes);
        ASSERT_LE(file.m.connect.cols(), nbr_elements);
    }
}

// With some of its bytes changed, a file is a mesh or at fault.
inline void read_changed(kv7::tessmaker::file_format format, std::string contents,
                         random_source& random) {
    for (std::size_t n = 1 + random.below(4); n != 0; --n) {
        contents[random.below(contents.size())] = static_cast<char>(random.below(256));
    }
    const int code = read_as(format, contents).code;
    EXPECT_TRUE(code == 0 || code == -102) << code;
}

// Corners of an element of each shape, in the order of element_type.h, with a positive Jacobian.
inline std::vector<std::array<double, 3>> shape_corners(kv7::element_type linear) {
    switch (linear) {
    case kv7::ET_NODE: return {{0, 0, 0}};
    case kv7::ET_BAR2: return {{0, 0, 0}, {2, 1, 0}};
    case kv7::ET_TRIA3: return {{0, 0, 0}, {2, 0, 0}, {0, 3, 0}};
    case kv7::ET_QUAD4: return {{0, 0, 0}, {2, 0, 0}, {3, 3, 0}, {0, 4, 0}};
    case kv7::ET_TETRA4: return {{0, 0, 0}, {0, 2, 0}, {3, 0, 0}, {0, 0, 5}};
    case kv7::ET_PYRA5: return {{0, 0, 0}, {2, 0, 0}, {3, 3, 0}, {0, 4, 0}, {1, 1, 7}};
    case kv7::ET_PENTA6: return {{0, 0, 0}, {2, 0, 0}, {0, 3, 0}, {0, 0, 5}, {2, 0, 6}, {0, 3, 7}};
    default:
        return {{0, 0, 0}, {2, 0, 0}, {3, 3, 0}, {0, 4, 0},
                {0, 0, 5}, {2, 0, 6}, {3, 3, 7}, {0, 4, 8}};
    }
}

// The middle of some corners of an element.
inline std::array<double, 3> middle(const std::vector<std::array<double, 3>>& points) {
    std::array<double, 3> sum{};
    for (const auto& p : points) {
        for (std::size_t r = 0; r < 3; ++r) sum[r] += p[r] / static_cast<double>(points.size());
    }
    return sum;
}

// Whether each node of an element lies where its place in the column says: corners as
// `shape_corners` has them, the others in the middle of their edges, facets or of all.
inline void expect_in_place(const kv7::tessmaker::mesh& m, std::size_t c, kv7::element_type type) {
    const auto& shape = kv7::tessmaker::shape_of(type);
    const auto corners = shape_corners(shape.linear);
    const auto& topology = kv7::tessmaker::topology_of(type);
    for (std::size_t k = 0; k < shape.nbr_nodes; ++k) {
        std::array<double, 3> wanted{};
        if (k < corners.size()) {
            wanted = corners[k];
        } else {
            const kv7::tessmaker::added_node& added = shape.added[k - corners.size()];
            using place = kv7::tessmaker::added_node::place;
            std::vector<std::array<double, 3>> around = corners;
            if (added.on == place::edge) around = {corners[added.a], corners[added.b]};
            if (added.on == place::facet) {
                const auto& facet = topology.facets.facet[added.a];
                around.clear();
                for (unsigned int i = 0; i < facet.size; ++i) {
                    around.push_back(corners[facet.node[i]]);
                }
            }
            wanted = middle(around);
        }
        for (std::size_t r = 0; r < 3; ++r) {
            EXPECT_NEAR(m.pos(r, m.connect(k, c)), wanted[r], 1e-6)
                << "type " << type << " node " << k;
        }
    }
}

} // namespace test

#endif
