// Meshes that are written and read back: all that the format holds is there again, to the last bit,
// and all that doesn't come back was told.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/element_table.h"
#include "formats/format_holdings.h"
#include "formats/mesh_files.h"
#include "formats/meshes_for_files.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using ids = std::vector<unsigned int>;
using words = std::set<std::string>;
using element_list = std::vector<plain_element>;
using set_list = std::map<std::string, ids>;

const std::vector<element_type> every_type{
    ET_NODE,   ET_BAR2,    ET_BAR3,   ET_TRIA3,   ET_QUAD4,    ET_TRIA6,    ET_QUAD8,   ET_QUAD9,
    ET_TETRA4, ET_TETRA10, ET_PYRA5,  ET_PYRA13,  ET_PYRA14,   ET_PENTA6,   ET_PENTA15, ET_PENTA18,
    ET_HEXA8,  ET_HEXA20,  ET_HEXA27, ET_BAR_MIX, ET_FACE_MIX, ET_SOLID_MIX};

// The type as which a format has the elements of a plain type; ET_UNKNOWN for none.
element_type held(file_format format, element_type type) {
    const element_type linear = shape_of(type).linear;
    switch (format) {
    case file_format::vtk:
    case file_format::vtu: return type == ET_PYRA14 ? ET_PYRA13 : type;
    case file_format::obj: return element_dim(type) < 3 ? linear : ET_UNKNOWN;
    case file_format::medit:
        switch (type) {
        case ET_NODE: return ET_UNKNOWN;
        case ET_BAR3:
        case ET_TRIA6:
        case ET_QUAD9:
        case ET_TETRA10: return type;
        default: return linear;
        }
    default: return linear == ET_TRIA3 ? linear : ET_UNKNOWN;
    }
}

// Meshes.

bool is_stl(file_format format) {
    return format == file_format::stl_text || format == file_format::stl_binary;
}
bool is_vtk(file_format format) { return format == file_format::vtk || format == file_format::vtu; }

ids distinct_ids(random_source& random, std::size_t n, std::size_t limit) {
    ids all(limit);
    for (std::size_t k = 0; k < limit; ++k) all[k] = static_cast<unsigned int>(k);
    random.shuffle(all);
    all.resize(n);
    return all;
}

// Nodes at sites of a grid or beside them, so far apart that none are welded; floats.
dense2D<double> separate_nodes(random_source& random, std::size_t dim, std::size_t n) {
    const unsigned int side = dim == 2 ? 7 : 4;
    const ids sites = distinct_ids(random, n, dim == 2 ? 49 : 64);
    dense2D<double> pos(dim, n);
    for (std::size_t c = 0; c < n; ++c) {
        unsigned int site = sites[c];
        for (std::size_t r = 0; r < dim; ++r) {
            const double x = site % side + random.uniform(-0.2, 0.2);
            pos(r, c) = static_cast<double>(static_cast<float>(x));
            site /= side;
        }
    }
    return pos;
}

dense2D<double> wild_nodes(random_source& random, std::size_t dim, std::size_t n) {
    const std::vector<double> wild{0.0,    -0.0,    1e300, -1e-300,     0x1.fffffffffffffp1023,
                                   5e-324, -5e-324, 1e22,  123456789.0, 1.0 / 3};
    dense2D<double> pos = random_points(random, dim, n, -10.0, 10.0);
    for (std::size_t c = 0; c < n; ++c) {
        for (std::size_t r = 0; r < dim; ++r) {
            if (random.one_in(6)) pos(r, c) = random.one_of(wild);
        }
    }
    return pos;
}

// The nodes of a column; those of mixed types belong to a smaller shape mostly.
ids random_element(random_source& random, element_type type, std::size_t nbr_nodes) {
    if (type == ET_BAR_MIX) return distinct_ids(random, 2, nbr_nodes);
    std::vector<unsigned int> sizes{tessmaker::nbr_nodes(type)};
    if (type == ET_FACE_MIX) sizes = {3, 4};
    if (type == ET_SOLID_MIX) sizes = {4, 5, 6, 8};
    return distinct_ids(random, random.one_of(sizes), nbr_nodes);
}

ids random_numbers(random_source& random, std::size_t n) {
    ids numbers(n);
    const bool are_plain = random.one_in(4);
    for (std::size_t k = 0; k < n; ++k) {
        const auto any = static_cast<unsigned int>(random.draw());
        const ids choices{any, any % 5, 0, 1, 0xFFFFFFFF, static_cast<unsigned int>(k + 1)};
        numbers[k] = are_plain ? static_cast<unsigned int>(k + 1) : random.one_of(choices);
    }
    return numbers;
}

ids random_subset(random_source& random, std::size_t n) {
    const std::size_t one_in = random.between(1, 4);
    ids result;
    for (std::size_t k = 0; k < n; ++k) {
        if (random.one_in(one_in)) result.push_back(static_cast<unsigned int>(k));
    }
    return result;
}

// Scalars, vectors, tensors and others.
void add_fields(random_source& random, file_mesh& m) {
    const std::vector<std::size_t> sizes{1, 2, 3, 4, 6, 9};
    const std::vector<std::string> names{"size", "flow in m/s", "t<&>\"%", "a=b", "\xC3\xA4"};
    const std::vector<double> wild{0.0,   -0.0,         5e-324,
                                   1e308, std::nan(""), std::numeric_limits<double>::infinity()};
    for (std::size_t k = random.below(7); k-- > 0;) {
        field f;
        f.at = random.one_in(2) ? field_place::nodes : field_place::elements;
        f.name = random.one_of(names) + std::to_string(k);
        const std::size_t n = f.at == field_place::nodes ? m.pos.cols() : m.connect.cols();
        f.values = random_points(random, random.one_of(sizes), n, -1e3, 1e3);
        for (std::size_t c = 0; c < n; ++c) {
            if (random.one_in(8)) f.values(0, c) = random.one_of(wild);
        }
        m.fields.push_back(f);
    }
}

file_mesh random_content(random_source& random, file_format format,
                         const std::vector<element_type>& types) {
    const std::size_t n = random.between(27, 40);
    std::vector<test_element> elements;
    for (std::size_t k = random.between(1, 20); k-- > 0;) {
        const element_type type = random.one_of(types);
        elements.push_back({type, random_element(random, type, n)});
    }
    const std::size_t dim = random.between(2, 3);
    file_mesh m = mesh_of(
        is_stl(format) ? separate_nodes(random, dim, n) : wild_nodes(random, dim, n), elements);
    if (m.connect.rows() < 8) { // what mixed types ask for
        dense2D<unsigned int> wider(8, m.connect.cols(), none);
        for (std::size_t c = 0; c < wider.cols(); ++c) {
            for (std::size_t r = 0; r < m.connect.rows(); ++r) wider(r, c) = m.connect(r, c);
        }
        m.connect = wider;
    }
    const std::size_t nbr_elements = m.connect.cols();
    if (random.one_in(2)) m.pids = vector_of(random_numbers(random, nbr_elements));
    if (random.one_in(2)) m.node_numbers = vector_of(random_numbers(random, n));
    if (random.one_in(2)) m.element_numbers = vector_of(random_numbers(random, nbr_elements));
    for (std::size_t k = random.below(4); k-- > 0;) {
        m.element_sets.push_back(
            set_of("part" + std::to_string(k), random_subset(random, nbr_elements)));
    }
    if (random.one_in(3)) m.node_sets.push_back(set_of("fixed", random_subset(random, n)));
    add_fields(random, m);
    return m;
}

// What a file has of a mesh, and what is told of it.

struct held_mesh {
    std::vector<unsigned int> columns; // of the mesh, in the order of the file
    std::vector<element_type> types;   // of these
    ids nodes;                         // of the mesh, in the order of the file
    set_list sets;                     // of elements of the file
    words told;                        // keywords of remarks
};

// The elements in the order of the mesh.
void hold_elements(const file_mesh& m, file_format format, held_mesh& result) {
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        for (unsigned int c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            element_type type =
                column_type(static_cast<element_type>(m.types[k]), m.connect.column(c));
            if (type == ET_BAR_MIX) type = ET_BAR2;
            const element_type as = held(format, type);
            if (as != type) result.told.insert(element_names[type]);
            if (as == ET_UNKNOWN) continue;
            result.columns.push_back(c);
            result.types.push_back(as);
        }
    }
}

// Puts the elements into the order of some ranks.
void order_by(const ids& ranks, held_mesh& result) {
    std::vector<std::size_t> order(ranks.size());
    for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return ranks[a] < ranks[b]; });
    if (!std::is_sorted(order.begin(), order.end())) result.told.insert("element");
    const held_mesh before = result;
    for (std::size_t k = 0; k < order.size(); ++k) {
        result.columns[k] = before.columns[order[k]];
        result.types[k] = before.types[order[k]];
    }
}

// A section for each type, in the order in which they come first.
void order_by_type(held_mesh& result) {
    ids ranks;
    for (const element_type type : result.types) {
        const auto first = std::find(result.types.begin(), result.types.end(), type);
        ranks.push_back(static_cast<unsigned int>(first - result.types.begin()));
    }
    order_by(ranks, result);
}

// The elements of a set that are in the file, by their columns there.
ids held_ids(const named_set& set, const held_mesh& result) {
    ids found;
    for (std::size_t k = 0; k < result.columns.size(); ++k) {
        const bool is_in = std::binary_search(set.ids.begin(), set.ids.end(), result.columns[k]);
        if (is_in) found.push_back(static_cast<unsigned int>(k));
    }
    return found;
}

void hold_groups(const file_mesh& m, held_mesh& result) {
    for (const named_set& set : m.element_sets) {
        const ids found = held_ids(set, result);
        if (found.empty()) {
            result.told.insert("set of elements");
        } else {
            result.sets[set.name] = found;
        }
    }
}

void hold_solids(const file_mesh& m, held_mesh& result) {
    ids solid_of(result.columns.size(), 0);
    unsigned int nbr_solids = 0;
    std::vector<std::string> names{"solid 1"};
    for (const named_set& set : m.element_sets) {
        const ids found = held_ids(set, result);
        const bool is_free = std::all_of(found.begin(), found.end(),
                                         [&](unsigned int k) { return solid_of[k] == 0; });
        if (found.empty() || !is_free) {
            result.told.insert("set of elements");
            continue;
        }
        ++nbr_solids;
        for (const unsigned int k : found) solid_of[k] = nbr_solids;
        names.push_back(set.name);
    }
    order_by(solid_of, result);
    std::sort(solid_of.begin(), solid_of.end());
    for (unsigned int k = 0; k < solid_of.size() && nbr_solids != 0; ++k) {
        result.sets[names[solid_of[k]]].push_back(k);
    }
}

void hold_nodes(const file_mesh& m, file_format format, held_mesh& result) {
    std::set<unsigned int> used;
    for (std::size_t k = 0; k < result.columns.size(); ++k) {
        const unsigned int* const nodes = m.connect.column(result.columns[k]);
        used.insert(nodes, nodes + nbr_nodes(result.types[k]));
    }
    for (unsigned int id = 0; id < m.pos.cols(); ++id) {
        if (is_vtk(format) || used.count(id) != 0) result.nodes.push_back(id);
    }
    const bool is_filled_up = m.pos.rows() == 2 && format != file_format::medit;
    const bool are_all_there = result.nodes.size() == m.pos.cols();
    if (!are_all_there || is_filled_up) result.told.insert("node");
}

bool are_real(const dense1D<unsigned int>& numbers) {
    for (std::size_t k = 0; k < numbers.size(); ++k) {
        if (numbers[k] != k + 1) return true;
    }
    return false;
}

void tell_fields(const file_mesh& m, file_format format, words& told) {
    for (const field& f : m.fields) {
        const bool grows = m.pos.rows() == 2 && (f.values.rows() == 2 || f.values.rows() == 3);
        if (!is_vtk(format) || grows) told.insert("field");
        if (format != file_format::vtk) continue;
        for (std::size_t c = 0; c < f.values.cols(); ++c) {
            for (std::size_t r = 0; r < f.values.rows(); ++r) {
                if (!std::isfinite(f.values(r, c))) told.insert("value");
            }
        }
    }
}

held_mesh held_of(const file_mesh& m, file_format format) {
    held_mesh result;
    hold_elements(m, format, result);
    if (format == file_format::medit) order_by_type(result);
    if (format == file_format::obj) {
        hold_groups(m, result);
    } else if (format == file_format::stl_text) {
        hold_solids(m, result);
    } else if (!m.element_sets.empty()) {
        result.told.insert("set of elements");
    }
    hold_nodes(m, format, result);
    const bool has_pids = is_vtk(format) || format == file_format::medit;
    const bool are_ones =
        std::all_of(m.pids.begin(), m.pids.end(), [](unsigned int pid) { return pid == 1; });
    // Not all programs read references that no int holds.
    const bool is_one_long = format == file_format::medit && !m.pids.empty() &&
                             std::any_of(result.columns.begin(), result.columns.end(),
                                         [&](unsigned int c) { return m.pids[c] > 2147483647; });
    if ((!has_pids && !are_ones) || is_one_long) result.told.insert("property of an element");
    if (!is_vtk(format) && are_real(m.node_numbers)) result.told.insert("number of a node");
    if (!is_vtk(format) && are_real(m.element_numbers)) result.told.insert("number of an element");
    if (!m.node_sets.empty()) result.told.insert("set of nodes");
    tell_fields(m, format, result.told);
    return result;
}

// Comparison.

bool has_same_bits(double a, double b) {
    const bool are_no_numbers = std::isnan(a) && std::isnan(b);
    return are_no_numbers || std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The nodes that stand where those of the mesh do; in STL those of facets, as it has no others.
void expect_nodes(const file_mesh& m, const held_mesh& wanted, const file_mesh& found) {
    ASSERT_EQ(found.pos.cols(), wanted.nodes.size());
    for (std::size_t k = 0; k < wanted.nodes.size(); ++k) {
        for (std::size_t r = 0; r < 3; ++r) {
            const double x = r < m.pos.rows() ? m.pos(r, wanted.nodes[k]) : 0.0;
            EXPECT_TRUE(has_same_bits(found.pos(r, k), x)) << found.pos(r, k) << " is not " << x;
        }
    }
}

void expect_elements(const file_mesh& m, file_format format, const held_mesh& wanted,
                     const file_mesh& found) {
    ids place(m.pos.cols(), none);
    for (std::size_t k = 0; k < wanted.nodes.size(); ++k) {
        place[wanted.nodes[k]] = static_cast<unsigned int>(k);
    }
    const bool has_pids = is_vtk(format) || format == file_format::medit;
    element_list elements;
    for (std::size_t k = 0; k < wanted.columns.size(); ++k) {
        const unsigned int c = wanted.columns[k];
        plain_element e{wanted.types[k], {}, has_pids && !m.pids.empty() ? m.pids[c] : 1};
        for (unsigned int r = 0; r < nbr_nodes(wanted.types[k]); ++r) {
            e.nodes.push_back(place[m.connect(r, c)]);
        }
        elements.push_back(e);
    }
    EXPECT_TRUE(elements_of(found) == elements);
}

// Corners of facets.
void expect_facets(const file_mesh& m, const held_mesh& wanted, const file_mesh& found) {
    EXPECT_EQ(found.pos.cols(), wanted.nodes.size());
    ASSERT_EQ(found.connect.cols(), wanted.columns.size());
    for (std::size_t k = 0; k < wanted.columns.size(); ++k) {
        for (std::size_t i = 0; i < 3; ++i) {
            const double* const p = found.pos.column(found.connect(i, k));
            const unsigned int id = m.connect(i, wanted.columns[k]);
            for (std::size_t r = 0; r < 3; ++r) {
                EXPECT_EQ(p[r], r < m.pos.rows() ? m.pos(r, id) : 0.0);
            }
        }
    }
}

ids numbers_of(const dense1D<unsigned int>& numbers, std::size_t n) {
    if (!numbers.empty()) return list(numbers);
    ids result(n);
    for (std::size_t k = 0; k < n; ++k) result[k] = static_cast<unsigned int>(k + 1);
    return result;
}

// The values of a field as they come back: vectors and tensors in 2D have become such in 3D.
dense2D<double> values_in_3d(const file_mesh& m, const field& f) {
    const std::size_t rows = f.values.rows();
    if (m.pos.rows() != 2 || (rows != 2 && rows != 3)) return f.values;
    dense2D<double> result(rows == 2 ? 3 : 6, f.values.cols(), 0.0);
    for (std::size_t c = 0; c < f.values.cols(); ++c) {
        for (std::size_t r = 0; r < rows; ++r) result(r, c) = f.values(r, c);
    }
    return result;
}

void expect_fields(const file_mesh& m, const file_mesh& found) {
    ASSERT_EQ(found.fields.size(), m.fields.size());
    for (const field& f : m.fields) {
        const auto back =
            std::find_if(found.fields.begin(), found.fields.end(),
                         [&](const field& g) { return g.name == f.name && g.at == f.at; });
        ASSERT_NE(back, found.fields.end()) << f.name;
        const dense2D<double> values = values_in_3d(m, f);
        ASSERT_EQ(back->values.rows(), values.rows()) << f.name;
        ASSERT_EQ(back->values.cols(), values.cols()) << f.name;
        for (std::size_t c = 0; c < values.cols(); ++c) {
            for (std::size_t r = 0; r < values.rows(); ++r) {
                EXPECT_TRUE(has_same_bits(back->values(r, c), values(r, c))) << f.name;
            }
        }
    }
}

void expect_sets(const held_mesh& wanted, const file_mesh& found) {
    set_list sets;
    for (const named_set& set : found.element_sets) sets[set.name] = list(set.ids);
    EXPECT_EQ(sets, wanted.sets);
    EXPECT_EQ(found.element_sets.size(), wanted.sets.size());
    EXPECT_TRUE(found.node_sets.empty());
}

// Returns the file.
std::string expect_round_trip(const file_mesh& m, file_format format) {
    const held_mesh wanted = held_of(m, format);
    const written_mesh file = written_lossy(m, format);
    EXPECT_EQ(file.code, 0);
    words told;
    for (const remark& r : file.report.remarks()) told.insert(r.keyword);
    EXPECT_EQ(told, wanted.told);
    EXPECT_EQ(written(m, format).code, file.report.has_lost() ? -4 : 0);
    if (wanted.columns.empty()) return file.text;

    const read_file back = read_as(format, file.text);
    EXPECT_EQ(back.code, 0) << back.error();
    if (back.code != 0) return file.text;
    // That corners of facets are one node is a note.
    for (const remark& r : back.report.remarks()) {
        EXPECT_TRUE(is_stl(format) && r.kind == remark_kind::note) << r.sentence;
    }
    if (is_stl(format)) {
        expect_facets(m, wanted, back.m);
    } else {
        expect_nodes(m, wanted, back.m);
        expect_elements(m, format, wanted, back.m);
    }
    expect_sets(wanted, back.m);
    if (!is_vtk(format)) {
        EXPECT_TRUE(back.m.fields.empty());
        EXPECT_TRUE(back.m.node_numbers.empty() && back.m.element_numbers.empty());
        return file.text;
    }
    expect_fields(m, back.m);
    const std::size_t n = m.pos.cols();
    const std::size_t nbr_elements = m.connect.cols();
    EXPECT_EQ(numbers_of(back.m.node_numbers, n), numbers_of(m.node_numbers, n));
    EXPECT_EQ(numbers_of(back.m.element_numbers, nbr_elements),
              numbers_of(m.element_numbers, nbr_elements));
    return file.text;
}

class round_trip : public testing::TestWithParam<file_format> {};

TEST_P(round_trip, of_random_meshes_brings_back_what_the_format_holds) {
    for (std::uint64_t seed = 0; seed < nbr_runs(400) && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        random_source random(seed);
        // All types, one, or two.
        std::vector<element_type> types = every_type;
        random.shuffle(types);
        if (seed % 3 != 0) types.resize(seed % 3);
        const file_mesh m = random_content(random, GetParam(), types);
        const std::string text = expect_round_trip(m, GetParam());
        if (seed % 2 == 0) {
            EXPECT_EQ(expect_round_trip(with_gaps(m), GetParam()), text);
        }
    }
}

TEST_P(round_trip, of_each_type_brings_back_its_elements_in_their_order) {
    for (const element_type type : every_type) {
        for (std::uint64_t seed = 0; seed < nbr_runs(8) && !HasFailure(); ++seed) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", seed " << seed);
            random_source random(1000 + seed);
            expect_round_trip(random_content(random, GetParam(), {type}), GetParam());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(mesh_file, round_trip,
                         testing::Values(file_format::stl_text, file_format::stl_binary,
                                         file_format::obj, file_format::medit, file_format::vtk,
                                         file_format::vtu),
                         [](const testing::TestParamInfo<file_format>& format) {
                             std::string name = format_name(format.param);
                             std::erase(name, ' ');
                             return name;
                         });

TEST(rounded_numbers, in_a_file_stay_finite) {
    const double largest = std::numeric_limits<double>::max();
    const file_mesh m =
        mesh_of(points({{largest, -largest, 1.5e308}, {1.75e308, -1.795e308, 1.4e308}, {0, 1, 0}}),
                ET_TRIA3, {{0, 1, 2}});
    for (const file_format format : {file_format::obj, file_format::medit, file_format::vtk}) {
        for (int digits = 1; digits <= 17; ++digits) {
            write_options options;
            options.digits = digits;
            const read_file back = read_as(format, written(m, format, options).text);
            ASSERT_EQ(back.code, 0) << back.error();
            for (std::size_t c = 0; c < 3; ++c) {
                for (std::size_t r = 0; r < 3; ++r) {
                    EXPECT_NEAR(back.m.pos(r, c) / largest, m.pos(r, c) / largest,
                                std::pow(10.0, 1 - digits))
                        << digits << " digits";
                }
            }
        }
    }
}

TEST(sets_of_one_name, are_numbered_in_obj_files) {
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}), ET_TRIA3,
                          {{0, 1, 2}, {1, 3, 2}, {3, 1, 0}});
    m.element_sets = {set_of("a", {0}), set_of("a", {0, 1}), set_of("b c", {2}), set_of("b_c", {1}),
                      set_of("a_2", {2})};
    const written_mesh file = written(m, file_format::obj);
    ASSERT_EQ(file.code, 0);
    EXPECT_EQ(file.sentences(),
              (std::vector<std::string>{
                  "set of elements: 1 renamed: names are words without # and \\",
                  "set of elements: 3 numbered: another one has the name, and both would be one"}));
    const read_file back = read_as(file_format::obj, file.text);
    set_list sets;
    for (const named_set& set : back.m.element_sets) sets[set.name] = list(set.ids);
    EXPECT_EQ(
        sets,
        (set_list{{"a", {0}}, {"a_2", {0, 1}}, {"b_c", {2}}, {"b_c_2", {1}}, {"a_2_2", {2}}}));
}

TEST(sets_of_one_name, are_two_solids_in_stl_files) {
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}), ET_TRIA3,
                          {{0, 1, 2}, {1, 3, 2}});
    m.element_sets = {set_of("a", {0}), set_of("a", {1})};
    const written_mesh file = written(m, file_format::stl_text);
    EXPECT_EQ(file.sentences(), std::vector<std::string>());
    const read_file back = read_as(file_format::stl_text, file.text);
    ASSERT_EQ(back.m.element_sets.size(), 2U);
    for (unsigned int s = 0; s < 2; ++s) {
        EXPECT_EQ(back.m.element_sets[s].name, "a");
        EXPECT_EQ(list(back.m.element_sets[s].ids), ids{s});
    }
}

// A triangle, a line of cells that is no element, and a bar, with data at cells and at points.
std::string vtk_with(const std::string& at_cells, const std::string& at_points) {
    return "# vtk DataFile Version 3.0\ntitle\nASCII\nDATASET UNSTRUCTURED_GRID\n"
           "POINTS 3 double\n0 0 0\n1 0 0\n0 1 0\n"
           "CELLS 3 10\n3 0 1 2\n2 0 1\n2 1 2\nCELL_TYPES 3\n5\n4\n3\n"
           "CELL_DATA 3\n" +
           at_cells + "POINT_DATA 3\n" + at_points;
}

TEST(numbers_in_vtk_files, are_whole_and_complete_or_fields) {
    const auto scalars = [](const std::string& name, const std::string& values) {
        return "SCALARS " + name + " double\nLOOKUP_TABLE default\n" + values + "\n";
    };
    // The cell in the middle is no element.
    const read_file good = read_as(
        file_format::vtk,
        vtk_with(scalars("property", "4294967295 0.5 0") + scalars("element_number", "7 -1 9"),
                 scalars("node_number", "5 6e0 4294967295") + scalars("property", "1 2 3")));
    ASSERT_EQ(good.code, 0) << good.error();
    EXPECT_EQ(list(good.m.pids), (ids{4294967295, 0}));
    EXPECT_EQ(list(good.m.element_numbers), (ids{7, 9}));
    EXPECT_EQ(list(good.m.node_numbers), (ids{5, 6, 4294967295}));
    ASSERT_EQ(good.m.fields.size(), 1U); // at nodes there are no properties
    EXPECT_EQ(good.m.fields[0].name, "property");

    for (const char* const bad : {"1 2 2.5", "-1 0 0", "4294967296 1 1", "nan 1 1", "1 1 inf"}) {
        const read_file file = read_as(
            file_format::vtk, vtk_with(scalars("property", bad) + scalars("element_number", bad),
                                       scalars("node_number", bad)));
        ASSERT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(list(file.m.pids), (ids{1, 1})) << bad;
        EXPECT_TRUE(file.m.node_numbers.empty() && file.m.element_numbers.empty()) << bad;
        EXPECT_EQ(file.m.fields.size(), 3U) << bad;
    }
    const read_file vectors =
        read_as(file_format::vtk, vtk_with("VECTORS property double\n1 2 3\n4 5 6\n7 8 9\n", ""));
    EXPECT_EQ(list(vectors.m.pids), (ids{1, 1}));
    EXPECT_EQ(vectors.m.fields.size(), 1U);
}

TEST(numbers_in_vtk_files, are_those_of_the_first_good_array_of_their_name) {
    const std::string array = "property 1 3 int\n";
    const read_file file =
        read_as(file_format::vtk, vtk_with("FIELD data 3\n" + array + "1 2 -3\n" + array +
                                               "4 5 6\n" + array + "7 8 9\n",
                                           ""));
    ASSERT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(list(file.m.pids), (ids{4, 6}));
    ASSERT_EQ(file.m.fields.size(), 2U);
    EXPECT_EQ(file.m.fields[0].values(0, 1), -3.0);
    EXPECT_EQ(file.m.fields[1].values(0, 1), 9.0);
}

// What others write is taken by where its nodes lie, whatever the wedges of ours say.
TEST(quadratic_wedges, of_a_mesh_that_is_inside_out_stay_so_in_our_files_alone) {
    random_source random(5);
    file_mesh m = mesh_of(random_points(random, 3, 15, 0.0, 1.0), ET_PENTA15,
                          {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14},
                           {0, 2, 1, 3, 5, 4, 6, 8, 7, 9, 11, 10, 12, 14, 13}});
    m.pids = vector_of<unsigned int>({1, 1});
    for (const file_format format : {file_format::vtk, file_format::vtu}) {
        std::string text = written(m, format).text;
        const read_file ours = read_as(format, text);
        EXPECT_TRUE(elements_of(ours.m) == elements_of(m));
        EXPECT_TRUE(ours.report.remarks().empty());
        const std::size_t at = text.find(format == file_format::vtk ? "Mesh with" : "Quadratic");
        ASSERT_NE(at, std::string::npos);
        text[at] = 'X';
        const read_file others = read_as(format, text);
        ASSERT_EQ(others.report.remarks().size(), 1U);
        EXPECT_EQ(others.report.remarks()[0].count, 1U);
        EXPECT_EQ(elements_of(others.m).size(), 2U);
    }
}

TEST(tensors_in_vtk_files, may_have_values_that_are_no_numbers) {
    const double no_number = std::nan("");
    file_mesh m = mesh_of(points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), ET_TRIA3, {{0, 1, 2}});
    m.fields = {{"t", field_place::nodes, dense2D<double>(6, 3, no_number)}};
    for (const file_format format : {file_format::vtk, file_format::vtu}) {
        const read_file back = read_as(format, written(m, format).text);
        ASSERT_EQ(back.m.fields.size(), 1U);
        EXPECT_EQ(back.m.fields[0].values.rows(), 6U);
    }
}

} // namespace
