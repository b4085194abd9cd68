// Meshes that are written to files, and what becomes of them.
#ifndef TESSMAKER_TESTS_FORMATS_MESHES_FOR_FILES_H
#define TESSMAKER_TESTS_FORMATS_MESHES_FOR_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace test {

using file_mesh = kv7::tessmaker::mesh;

struct test_element {
    kv7::element_type type;
    std::vector<unsigned int> nodes;
};

// Neighbours of one type are one run.
inline file_mesh mesh_of(const dense2D<double>& pos, const std::vector<test_element>& elements) {
    file_mesh m;
    m.pos = pos;
    std::size_t rows = 0;
    for (const test_element& e : elements) rows = std::max(rows, e.nodes.size());
    m.connect = dense2D<unsigned int>(rows, elements.size(), none);
    m.indices.push_back(0);
    for (std::size_t c = 0; c < elements.size(); ++c) {
        const test_element& e = elements[c];
        for (std::size_t r = 0; r < e.nodes.size(); ++r) m.connect(r, c) = e.nodes[r];
        if (c == 0 || elements[c - 1].type != e.type) {
            m.types.push_back(e.type);
            m.indices.push_back(0);
        }
        m.indices[m.types.size()] = static_cast<unsigned int>(c + 1);
    }
    return m;
}

// One element for each list of nodes.
inline file_mesh mesh_of(const dense2D<double>& pos, kv7::element_type type,
                         const std::vector<std::vector<unsigned int>>& elements) {
    std::vector<test_element> all;
    all.reserve(elements.size());
    for (const auto& nodes : elements) all.push_back({type, nodes});
    return mesh_of(pos, all);
}

// The same mesh in arrays with gaps between their columns.
inline file_mesh with_gaps(const file_mesh& m) {
    const double no_number = std::numeric_limits<double>::quiet_NaN();
    file_mesh result = m;
    result.pos = with_gaps(m.pos, 2, no_number);
    result.connect = with_gaps(m.connect, 3, 7U);
    for (kv7::tessmaker::field& f : result.fields) f.values = with_gaps(f.values, 1, no_number);
    return result;
}

inline kv7::tessmaker::named_set set_of(const std::string& name,
                                        const std::vector<unsigned int>& ids) {
    return {name, vector_of(ids)};
}

// Elements of the given types with random nodes, so that runs are mostly short.
inline file_mesh random_mesh(random_source& random, const std::vector<kv7::element_type>& types,
                             std::size_t nbr_nodes, std::size_t nbr_elements) {
    std::vector<test_element> elements;
    for (std::size_t k = 0; k < nbr_elements; ++k) {
        test_element e{random.one_of(types), {}};
        const unsigned int n = kv7::tessmaker::nbr_nodes(e.type);
        for (unsigned int r = 0; r < n; ++r) e.nodes.push_back(random.id_below(nbr_nodes));
        elements.push_back(e);
    }
    const std::size_t dim = random.between(2, 3);
    return mesh_of(random_points(random, dim, nbr_nodes, -10, 10), elements);
}

inline std::vector<std::string> sentences(const kv7::tessmaker::file_report& report) {
    std::vector<std::string> result;
    for (const kv7::tessmaker::remark& r : report.remarks()) result.push_back(r.sentence);
    return result;
}

struct written_mesh {
    int code = 0;
    std::string text;
    kv7::tessmaker::file_report report;

    std::vector<std::string> sentences() const { return test::sentences(report); }
};

inline written_mesh written(const file_mesh& m, kv7::tessmaker::file_format format,
                            const kv7::tessmaker::write_options& options = {}) {
    const scratch_stream stream;
    written_mesh result;
    result.code = kv7::tessmaker::write_mesh(stream.get(), format, m, options, result.report);
    result.text = stream.contents();
    EXPECT_EQ(result.code < 0, result.report.error() != nullptr);
    EXPECT_TRUE(result.report.counts().empty());
    if (result.code < 0) {
        EXPECT_EQ(result.text, "");
    }
    return result;
}
// With what is lost as remarks.
inline written_mesh written_lossy(const file_mesh& m, kv7::tessmaker::file_format format) {
    kv7::tessmaker::write_options options;
    options.lossy = true;
    return written(m, format, options);
}

} // namespace test

#endif
