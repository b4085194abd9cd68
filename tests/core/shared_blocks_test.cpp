// Calls with arguments that are views on one block: every function that fills an array of the
// caller, every output on the block of every input and of every other output. The results are those
// of the same call on arrays of their own, and the inputs come out whole.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "connectivity/neighbors_of.h"
#include "formats/femap_files.h"
#include "formats/scratch_files.h"
#include "support/failing_call.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/connectivity.h"
#include "tessmaker/formats.h"
#include "tessmaker/geometry.h"
#include "tessmaker/index_arrays.h"
#include "tessmaker/metric_fields.h"
#include "tessmaker/quality.h"
#include "tessmaker/repair.h"

using namespace kv7;
using namespace kv7::tessmaker;
using test::neighbors_of;
using test::none;

namespace {

using ids = dense1D<unsigned int>;
using id_array = dense2D<unsigned int>;
using numbers = dense1D<double>;
using points = dense2D<double>;
using integers = dense1D<int>;
using array = std::variant<ids, id_array, numbers, points, integers>;

// The arrays of one call. Among the inputs are those that the call changes in place.
struct arguments {
    std::vector<array> inputs;
    std::vector<array> outputs;

    ids& list(std::size_t k) { return std::get<ids>(inputs[k]); }
    id_array& matrix(std::size_t k) { return std::get<id_array>(inputs[k]); }
    points& pos(std::size_t k) { return std::get<points>(inputs[k]); }
    numbers& sizes(std::size_t k) { return std::get<numbers>(inputs[k]); }
    ids& out(std::size_t k) { return std::get<ids>(outputs[k]); }
    id_array& out_matrix(std::size_t k) { return std::get<id_array>(outputs[k]); }
    points& out_pos(std::size_t k) { return std::get<points>(outputs[k]); }
    numbers& out_numbers(std::size_t k) { return std::get<numbers>(outputs[k]); }
    integers& out_types(std::size_t k) { return std::get<integers>(outputs[k]); }
};

struct call {
    const char* name;
    arguments with;
    std::function<int(arguments&)> run;
};

// ---- Arrays

array duplicate(const array& source) {
    return std::visit(
        [](const auto& view) {
            std::decay_t<decltype(view)> own;
            EXPECT_TRUE(own.copy(view));
            return array(own);
        },
        source);
}

arguments duplicate(const arguments& source) {
    arguments own;
    for (const array& a : source.inputs) own.inputs.push_back(duplicate(a));
    for (const array& a : source.outputs) own.outputs.push_back(duplicate(a));
    return own;
}

// Rows, columns and values.
template <class T> std::vector<double> contents(const dense1D<T>& a) {
    std::vector<double> all{1.0, static_cast<double>(a.size())};
    for (const T v : a) all.push_back(static_cast<double>(v));
    return all;
}
template <class T> std::vector<double> contents(const dense2D<T>& a) {
    std::vector<double> all{static_cast<double>(a.rows()), static_cast<double>(a.cols())};
    for (const auto& column : test::list(a)) all.insert(all.end(), column.begin(), column.end());
    return all;
}
std::vector<double> contents(const array& a) {
    return std::visit([](const auto& view) { return contents(view); }, a);
}
std::vector<std::vector<double>> contents(const std::vector<array>& arrays) {
    std::vector<std::vector<double>> all;
    for (const array& a : arrays) all.push_back(contents(a));
    return all;
}

void overwrite(array& a) {
    std::visit(
        [](auto& view) {
            using view_type = std::decay_t<decltype(view)>;
            using T = typename view_type::value_type;
            if constexpr (std::is_same_v<view_type, dense1D<T>>) {
                view = T{99};
            } else {
                for (std::size_t c = 0; c < view.cols(); ++c)
                    for (std::size_t r = 0; r < view.rows(); ++r) view(r, c) = T{99};
            }
        },
        a);
}

// ---- Sharing

// How the block is shared: what lies around the values of the host on it, and which part of it the
// other array sees.
struct manner {
    bool has_gaps;     // the columns of a matrix are not packed
    std::size_t spare; // room behind the last column
    enum { cleared, whole, later_part, few_rows } part;
};

std::vector<manner> all_manners() {
    std::vector<manner> all;
    for (const bool has_gaps : {false, true}) {
        for (const std::size_t spare : {0U, 1U, 500U}) {
            for (const auto part :
                 {manner::cleared, manner::whole, manner::later_part, manner::few_rows})
                all.push_back({has_gaps, spare, part});
        }
    }
    return all;
}

std::string told(const manner& m) {
    return "gaps " + std::to_string(m.has_gaps) + ", spare " + std::to_string(m.spare) + ", part " +
           std::to_string(m.part);
}

// Puts the values of `host` on a block of which the result sees everything.
template <class T> dense2D<T> rehouse(dense1D<T>& host, const manner& how) {
    const bool is_empty = host.empty();
    dense2D<T> block(is_empty ? 6 : host.size(), 1, T{1});
    EXPECT_TRUE(block.reserve(block.rows(), 1 + how.spare, 1));
    for (std::size_t i = 0; i < host.size(); ++i) block(i, 0) = host[i];
    host = is_empty ? block.as_vector().sub_vector(0, 0) : block.as_vector();
    return block;
}
template <class T> dense2D<T> rehouse(dense2D<T>& host, const manner& how) {
    const bool is_empty = host.empty();
    const std::size_t rows = is_empty ? 3 : host.rows();
    const std::size_t cols = is_empty ? 4 : host.cols();
    dense2D<T> block(rows + (how.has_gaps ? 1 : 0), cols, T{1});
    EXPECT_TRUE(block.reserve(block.rows(), cols + how.spare, 1));
    dense2D<T> values = block.sub_matrix(0, 0, rows, cols);
    for (std::size_t c = 0; c < host.cols(); ++c)
        for (std::size_t r = 0; r < rows; ++r) values(r, c) = host(r, c);
    host = values;
    if (is_empty) host.clear();
    return block;
}

template <class T> void see(dense2D<T> block, const manner& how, dense1D<T>& view) {
    view = block.as_vector();
    if (how.part == manner::later_part || how.part == manner::few_rows) {
        const std::size_t half = view.size() / 2;
        view = view.sub_vector(half, view.size() - half);
    }
    if (how.part == manner::cleared) view.clear();
}
template <class T> void see(dense2D<T> block, const manner& how, dense2D<T>& view) {
    const std::size_t half = block.cols() / 2;
    view = block;
    if (how.part == manner::cleared) view.clear();
    if (how.part == manner::later_part)
        view = block.sub_matrix(0, half, block.rows(), block.cols() - half);
    if (how.part == manner::few_rows && block.rows() > 1)
        view = block.sub_matrix(0, 0, 2, half + 1);
}

// Makes `views` arrays on the block of `host`. False if their elements are of another type.
bool share(array& host, const std::vector<array*>& views, const manner& how) {
    return std::visit(
        [&](auto& of_host) {
            using T = typename std::decay_t<decltype(of_host)>::value_type;
            const auto fits = [](const array* a) {
                return std::visit(
                    [](const auto& v) {
                        return std::is_same_v<typename std::decay_t<decltype(v)>::value_type, T>;
                    },
                    *a);
            };
            bool any = false;
            dense2D<T> block;
            for (array* a : views) {
                if (!fits(a)) continue;
                if (!any) block = rehouse(of_host, how);
                any = true;
                if (std::holds_alternative<dense1D<T>>(*a)) {
                    see(block, how, std::get<dense1D<T>>(*a));
                } else if constexpr (!std::is_same_v<T, int>) {
                    see(block, how, std::get<dense2D<T>>(*a));
                }
            }
            return any;
        },
        host);
}

// Calls `visit(arguments, told)` for each pair of an output with an input or another output that
// can share a block, and for each input with all outputs, in all manners.
template <class Visit> void for_each_sharing(const call& under_test, Visit visit) {
    const std::size_t nbr_inputs = under_test.with.inputs.size();
    const std::size_t nbr_outputs = under_test.with.outputs.size();
    for (std::size_t h = 0; h < nbr_inputs + nbr_outputs; ++h) {
        for (std::size_t o = 0; o <= nbr_outputs; ++o) {
            if (h == nbr_inputs + o) continue;
            for (const manner& how : all_manners()) {
                arguments a = duplicate(under_test.with);
                array& host = h < nbr_inputs ? a.inputs[h] : a.outputs[h - nbr_inputs];
                std::vector<array*> views;
                for (std::size_t k = 0; k < nbr_outputs; ++k) {
                    if ((o == k || o == nbr_outputs) && &a.outputs[k] != &host)
                        views.push_back(&a.outputs[k]);
                }
                if (!share(host, views, how)) break;
                visit(a, "host " + std::to_string(h) + ", output " + std::to_string(o) + ", " +
                             told(how));
            }
        }
    }
}

// ---- Meshes

constexpr unsigned int side = 6; // nodes along a side

points square_nodes() {
    points pos(2, side * side);
    for (unsigned int n = 0; n < side * side; ++n) {
        pos(0, n) = n % side;
        pos(1, n) = 0.5 * (n / side);
    }
    return pos;
}

// Quadrangles, or two triangles for each.
id_array square(bool by_triangles) {
    id_array connect;
    for (unsigned int j = 0; j + 1 < side; ++j) {
        for (unsigned int i = 0; i + 1 < side; ++i) {
            const unsigned int n = j * side + i;
            if (by_triangles) {
                connect.append(
                    test::connectivity({{n, n + 1, n + side}, {n + 1, n + side + 1, n + side}}));
            } else {
                connect.append(test::connectivity({{n, n + 1, n + side + 1, n + side}}));
            }
        }
    }
    return connect;
}
id_array triangles() { return square(true); }

// Every third element is a triangle, and one column has no node.
id_array mixed_faces() {
    id_array connect = square(false);
    for (std::size_t c = 0; c < connect.cols(); c += 3) connect(3, c) = none;
    connect(0, 7) = none;
    return connect;
}

id_array boundaries_of(const id_array& connect, element_type type) {
    id_array boundaries;
    EXPECT_EQ(get_element_boundaries(connect, type, boundaries), 0);
    return boundaries;
}
ids ancestors_of(const id_array& connect) {
    ids ancestors;
    EXPECT_EQ(get_ancestors(connect, ancestors), 0);
    return ancestors;
}

ids spread_values(unsigned int step) {
    ids values;
    for (unsigned int k = 0; k < 50; ++k) values.push_back(k % 7 == 3 ? none : k * step % 41);
    return values;
}

// Two columns of nodes at each place.
points double_nodes() {
    points pos = square_nodes();
    EXPECT_TRUE(pos.append(square_nodes()));
    return pos;
}
id_array double_triangles() {
    id_array connect = triangles();
    id_array others = triangles();
    EXPECT_EQ(shift_indices(others, side * side, ET_TRIA3), 0);
    EXPECT_TRUE(connect.append(others));
    EXPECT_TRUE(connect.append(test::connectivity({{0, side * side, 3}, {4, 4, 5}})));
    return connect;
}
ids every_node(unsigned int first, unsigned int step) {
    ids nodes;
    for (unsigned int n = first; n < 2 * side * side; n += step) nodes.push_back(n);
    return nodes;
}

// ---- The functions that clear an output

std::vector<call> calls_on_ids() {
    return {
        {"get_sorted_order",
         {{spread_values(13)}, {ids(), ids()}},
         [](arguments& a) { return get_sorted_order(a.list(0), a.out(0), a.out(1)); }},
        {"get_IDs of lists",
         {{spread_values(13), spread_values(17)}, {ids(), ids()}},
         [](arguments& a) { return get_IDs(a.list(0), a.list(1), a.out(0), a.out(1)); }},
        {"get_IDs of connectivities",
         {{triangles(), boundaries_of(triangles(), ET_TRIA3)}, {ids(), ids()}},
         [](arguments& a) { return get_IDs(a.matrix(0), a.matrix(1), a.out(0), a.out(1), false); }},
        {"get_IDs of equal connectivities",
         {{triangles(), triangles()}, {ids(), ids()}},
         [](arguments& a) { return get_IDs(a.matrix(0), a.matrix(1), a.out(0), a.out(1), false); }},
    };
}

std::vector<call> calls_on_connectivities() {
    return {
        {"get_connected_elements",
         {{mixed_faces()}, {ids(), ids()}},
         [](arguments& a) { return get_connected_elements(a.matrix(0), a.out(0), a.out(1)); }},
        {"get_node_graph of triangles",
         {{triangles()}, {ids(), ids()}},
         [](arguments& a) { return get_node_graph(a.matrix(0), a.out(0), a.out(1), ET_TRIA3); }},
        {"get_node_graph of mixed faces",
         {{mixed_faces()}, {ids(), ids()}},
         [](arguments& a) { return get_node_graph(a.matrix(0), a.out(0), a.out(1), ET_FACE_MIX); }},
        {"get_node_graph of any columns",
         {{mixed_faces()}, {ids(), ids()}},
         [](arguments& a) { return get_node_graph(a.matrix(0), a.out(0), a.out(1), ET_UNKNOWN); }},
        {"get_neighbors",
         {{triangles()}, {id_array()}},
         [](arguments& a) { return get_neighbors(a.matrix(0), ET_TRIA3, true, a.out_matrix(0)); }},
        {"get_subdomains",
         {{neighbors_of(triangles(), ET_TRIA3, true)}, {ids(), ids()}},
         [](arguments& a) { return get_subdomains(a.matrix(0), a.out(0), a.out(1)); }},
        {"get_subdomains with reordering",
         {{triangles(), neighbors_of(triangles(), ET_TRIA3, true)}, {ids()}},
         [](arguments& a) { return get_subdomains(a.matrix(0), a.matrix(1), a.out(0)); }},
        {"sort_elfes",
         {{mixed_faces(), neighbors_of(square(false), ET_QUAD4, true)}, {ids(), ids(), ids()}},
         [](arguments& a) {
             return sort_elfes(a.matrix(0), a.matrix(1), a.out(0), a.out(1), a.out(2));
         }},
        {"sort_elfes without neighbours",
         {{mixed_faces()}, {ids(), ids(), ids()}},
         [](arguments& a) { return sort_elfes(a.matrix(0), a.out(0), a.out(1), a.out(2)); }},
    };
}

// The last one clears its output, the others append.
std::vector<call> calls_on_boundaries() {
    const id_array t = triangles();
    const id_array n = neighbors_of(t, ET_TRIA3, true);
    return {
        {"get_element_boundaries",
         {{t}, {id_array()}},
         [](arguments& a) {
             return get_element_boundaries(a.matrix(0), ET_TRIA3, a.out_matrix(0));
         }},
        {"get_mesh_boundaries",
         {{t, n}, {id_array()}},
         [](arguments& a) {
             return get_mesh_boundaries(a.matrix(0), a.matrix(1), ET_TRIA3, a.out_matrix(0));
         }},
        {"get_colors_boundaries",
         {{t, n, every_node(0, 1).sub_vector(0, t.cols())}, {id_array()}},
         [](arguments& a) {
             return get_colors_boundaries(a.matrix(0), a.matrix(1), a.list(2), ET_TRIA3, true,
                                          false, a.out_matrix(0));
         }},
        {"get_mesh_bounding_elements",
         {{t, n}, {ids()}},
         [](arguments& a) {
             unsigned int stride = 9;
             const int code =
                 get_mesh_bounding_elements(a.matrix(0), a.matrix(1), ET_TRIA3, a.out(0), stride);
             return 10 * code + static_cast<int>(stride);
         }},
        {"get_elements_on_boundaries",
         {{boundaries_of(t, ET_TRIA3), t, n, ancestors_of(t)}, {ids()}},
         [](arguments& a) {
             unsigned int stride = 9;
             const int code = get_elements_on_boundaries(a.matrix(0), a.matrix(1), a.matrix(2),
                                                         a.list(3), ET_TRIA3, 1, a.out(0), stride);
             return 10 * code + static_cast<int>(stride);
         }},
    };
}

int merge_range(arguments& a, unsigned int flag) {
    id_array both[] = {a.matrix(1), a.matrix(2)};
    return merge(a.pos(0), both, both + 2, a.out(0), 0.1, flag);
}

std::vector<call> calls_that_repair() {
    const points pos = double_nodes();
    const id_array connect = double_triangles();
    return {
        {"merge of all nodes",
         {{pos}, {ids()}},
         [](arguments& a) { return merge(a.pos(0), a.out(0), 0.1); }},
        {"merge of two lists",
         {{pos, every_node(0, 1), every_node(0, 2)}, {ids()}},
         [](arguments& a) { return merge(a.pos(0), a.list(1), a.list(2), a.out(0), 0.1); }},
        {"merge of one list",
         {{pos, every_node(0, 1)}, {ids()}},
         [](arguments& a) { return merge(a.pos(0), a.list(1), a.out(0), 0.1); }},
        {"merge of a range",
         {{pos, connect, triangles()}, {ids()}},
         [](arguments& a) { return merge_range(a, 0); }},
        {"merge of a range by element",
         {{pos, connect, triangles()}, {ids()}},
         [](arguments& a) { return merge_range(a, 2); }},
        {"merge of two connectivities",
         {{pos, connect, triangles()}, {ids()}},
         [](arguments& a) { return merge(a.pos(0), a.matrix(1), a.matrix(2), a.out(0), 0.1, 1); }},
        {"merge of a connectivity",
         {{pos, connect}, {ids()}},
         [](arguments& a) { return merge(a.pos(0), a.matrix(1), a.out(0), 0.1, 0); }},
        {"remove_degenerated",
         {{connect}, {ids()}},
         [](arguments& a) { return remove_degenerated(a.matrix(0), a.out(0), false); }},
        {"simplify a range",
         {{pos, triangles(), triangles()}, {ids()}},
         [](arguments& a) {
             id_array both[] = {a.matrix(1), a.matrix(2)};
             return simplify(a.pos(0), both, both + 2, a.out(0), 0);
         }},
        {"simplify",
         {{pos, triangles()}, {ids()}},
         [](arguments& a) { return simplify(a.pos(0), a.matrix(1), a.out(0), 0); }},
        {"copy_mesh",
         {{pos, triangles()}, {id_array()}},
         [](arguments& a) { return copy_mesh(a.pos(0), a.out_matrix(0), a.matrix(1)); }},
        {"copy_sym_mesh",
         {{pos, triangles()}, {id_array()}},
         [](arguments& a) {
             return copy_sym_mesh(a.pos(0), a.out_matrix(0), vector_fixed<double, 2>{},
                                  vector_fixed<double, 2>{1.0, 0.0}, a.matrix(1));
         }},
    };
}

std::vector<call> calls_that_measure() {
    const points pos = square_nodes();
    return {
        {"centroids",
         {{pos, triangles()}, {points()}},
         [](arguments& a) { return centroids(a.pos(0), a.matrix(1), a.out_pos(0), ET_TRIA3); }},
        {"shape_qualities",
         {{pos, triangles()}, {numbers()}},
         [](arguments& a) {
             return shape_qualities(a.pos(0), a.matrix(1), ET_TRIA3, a.out_numbers(0));
         }},
        {"jacobians",
         {{pos, triangles()}, {numbers()}},
         [](arguments& a) { return jacobians(a.pos(0), a.matrix(1), ET_TRIA3, a.out_numbers(0)); }},
        {"bound_metrics of sizes",
         {{numbers{1.0, 5.0, 0.1}}, {ids()}},
         [](arguments& a) { return bound_metrics(a.sizes(0), 0.5, 2.0, a.out(0)); }},
        {"bound_metrics of metrics",
         {{test::points({{1, 0, 1}, {9, 0, 9}})}, {ids()}},
         [](arguments& a) { return bound_metrics(a.pos(0), 0.5, 2.0, a.out(0)); }},
    };
}

std::string nastran_text() {
    std::string text;
    for (const char* const n : {"1", "2", "3", "4", "5"})
        text += std::string("GRID,") + n + ",," + n + ".,0.5,2.\n";
    for (int k = 0; k < 30; ++k) {
        text += "CTRIA3,1," + std::to_string(k + 5) + ",1,2,3\n";
        if (k % 2 == 0) text += "CQUAD4,1,8,1,2,3,4\n";
    }
    return text;
}
std::string femap_text() {
    std::string nodes;
    std::string elements;
    for (const char* const n : {"1", "2", "3", "4", "5"}) nodes += test::femap_node(n, n, "0.5");
    for (int k = 0; k < 30; ++k) {
        elements += test::femap_element(k + 5, 2, {1, 2, 3});
        if (k % 2 == 0) elements += test::femap_element(8, 4, {1, 2, 3, 4});
    }
    return test::femap_block("403", nodes) + test::femap_block("404", elements);
}
std::string obj_text() {
    std::string text;
    for (int k = 0; k < 30; ++k) text += "v 1 2 3.5\nvn 0 1 0\nvt 0.5 0.25\nf 1 2 3\nf 1 2 3 4\n";
    return text;
}
std::string stl_text() {
    std::string text = "solid s\n";
    for (const char* const x : {"1", "2", "3"}) {
        text += "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex " + std::string(x) +
                " 0 0\nvertex 0 1 0\nendloop\nendfacet\n";
    }
    return text + "endsolid s\n";
}

// A reader by name and by stream.
template <class Read>
void add_reader(const char* name, const std::string& text, const std::vector<array>& outputs,
                Read read, std::vector<call>& calls) {
    calls.push_back({name, {{}, outputs}, [=](arguments& a) {
                         const test::scratch_stream stream(text);
                         return read(stream.get(), a);
                     }});
    calls.push_back({name, {{}, outputs}, [=](arguments& a) {
                         const test::scratch_file file(text);
                         return read(file.name(), a);
                     }});
}

template <class Format>
void add_readers_of_runs(const char* name, const std::string& text, std::vector<call>& calls) {
    add_reader(
        name, text, {points(), id_array(), ids(), integers(), ids()},
        [](auto* from, arguments& a) {
            return Format::input(from, a.out_pos(0), a.out_matrix(1), a.out(2), a.out_types(3),
                                 a.out(4));
        },
        calls);
    add_reader(
        name, text, {points(), id_array()},
        [](auto* from, arguments& a) {
            element_type type = ET_NODE;
            const int code = Format::input(from, a.out_pos(0), a.out_matrix(1), type);
            return 100 * code + type;
        },
        calls);
    add_reader(
        name, text, {points(), id_array(), id_array()},
        [](auto* from, arguments& a) {
            element_type type1 = ET_NODE;
            element_type type2 = ET_NODE;
            const int code =
                Format::input(from, a.out_pos(0), a.out_matrix(1), a.out_matrix(2), type1, type2);
            return 10000 * code + 100 * type1 + type2;
        },
        calls);
}

struct nastran_format {
    template <class... Arguments> static int input(Arguments&&... arguments) {
        return NASTRAN_input(arguments...);
    }
};

std::vector<call> readers() {
    std::vector<call> calls;
    add_readers_of_runs<nastran_format>("NASTRAN_input", nastran_text(), calls);
    add_readers_of_runs<test::femap_functions>("FEMAP_input", femap_text(), calls);
    add_reader(
        "STL_input", stl_text(), {points(), id_array()},
        [](auto* from, arguments& a) { return STL_input(from, a.out_pos(0), a.out_matrix(1)); },
        calls);
    calls.push_back({"WavefrontOBJ_input",
                     {{}, {points(), points(), points(), id_array(), id_array()}},
                     [](arguments& a) {
                         const test::scratch_file file(obj_text());
                         return WavefrontOBJ_input(file.name(), a.out_pos(0), a.out_pos(1),
                                                   a.out_pos(2), a.out_matrix(3), a.out_matrix(4));
                     }});
    return calls;
}

// ---- What is promised

// The call on arrays of their own that hold the same gives the same, and no output is left on the
// block of an input.
void expect_same_as_apart(const call& under_test) {
    SCOPED_TRACE(under_test.name);
    for_each_sharing(under_test, [&](arguments& shared, const std::string& how) {
        SCOPED_TRACE(how);
        arguments apart = duplicate(shared);
        const int code = under_test.run(apart);
        ASSERT_EQ(under_test.run(shared), code);
        const auto inputs = contents(apart.inputs);
        ASSERT_EQ(contents(shared.inputs), inputs);
        ASSERT_EQ(contents(shared.outputs), contents(apart.outputs));
        if (code < 0) return; // an array that can't be appended to stays where it is
        for (array& output : shared.outputs) overwrite(output);
        ASSERT_EQ(contents(shared.inputs), inputs);
    });
}

template <class Calls> void expect_same_as_apart_of_all(const Calls& calls) {
    for (const call& under_test : calls) expect_same_as_apart(under_test);
}

TEST(shared_blocks, of_lists_and_their_orders) { expect_same_as_apart_of_all(calls_on_ids()); }

TEST(shared_blocks, of_connectivities_and_what_follows_from_them) {
    expect_same_as_apart_of_all(calls_on_connectivities());
}

TEST(shared_blocks, of_meshes_and_their_boundaries) {
    expect_same_as_apart_of_all(calls_on_boundaries());
}

TEST(shared_blocks, of_meshes_under_repair_and_their_maps) {
    expect_same_as_apart_of_all(calls_that_repair());
}

TEST(shared_blocks, of_coordinates_and_numbers_for_elements) {
    expect_same_as_apart_of_all(calls_that_measure());
}

TEST(shared_blocks, of_the_outputs_of_readers) { expect_same_as_apart_of_all(readers()); }

// Without memory for a block of its own an output stays empty. The inputs are whole even then.
TEST(shared_blocks, leave_the_inputs_whole_when_memory_fails) {
    std::vector<call> calls = calls_on_ids();
    for (const call& c : calls_on_boundaries()) calls.push_back(c);
    calls.push_back(calls_on_connectivities().front());
    for (const call& under_test : calls) {
        SCOPED_TRACE(under_test.name);
        for_each_sharing(under_test, [&](const arguments& shared, const std::string& how) {
            SCOPED_TRACE(how);
            arguments apart = duplicate(shared);
            if (how.find("spare 1,") == std::string::npos || under_test.run(apart) < 0) return;
            std::size_t k = 0;
            for (bool failed = true; failed; ++k) {
                arguments a = shared; // views on the same block
                const auto inputs = contents(a.inputs);
                failed = test::call_failing(k, true, [&] { return under_test.run(a); }).failed;
                ASSERT_EQ(contents(a.inputs), inputs) << k;
            }
            ASSERT_GT(k, 1U);
        });
    }
}

TEST(shared_blocks, give_way_only_where_they_are_shared) {
    ids order(100);
    ids addresses(100);
    const unsigned int* const first = order.data();
    const ids other_view = order;
    EXPECT_EQ(get_sorted_order(ids{2, 0, 1}, order, addresses), 0);
    EXPECT_EQ(order.data(), first); // the capacity is used again
    EXPECT_EQ(other_view[0], 1U);   // and a view that is no argument sees it
}

TEST(shared_blocks, of_an_array_and_itself_make_an_empty_input) {
    ids values{2, 0, 1};
    ids addresses;
    EXPECT_EQ(get_sorted_order(values, values, addresses), 0);
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(test::list(addresses), (std::vector<unsigned int>{0}));

    ids nodes{0, 1};
    EXPECT_EQ(merge(test::points({{0, 0}, {0, 0}}), nodes, nodes, 0.0), 0);
    EXPECT_TRUE(nodes.empty());
}

// ---- Outputs that are appended to

std::vector<call> calls_that_append() {
    const points pos = square_nodes();
    const id_array t = triangles();
    return {
        {"unique_indices of a list",
         {{spread_values(13)}, {ids()}},
         [](arguments& a) { return unique_indices(a.out(0), a.list(0), {}); }},
        {"unique_indices of a connectivity",
         {{t}, {ids()}},
         [](arguments& a) { return unique_indices(a.out(0), a.matrix(0), a.out(0)); }},
        {"get_ancestors",
         {{t}, {ids()}},
         [](arguments& a) { return get_ancestors(a.matrix(0), a.out(0)); }},
        {"clip",
         {{pos, t}, {id_array()}},
         [](arguments& a) {
             return clip(a.pos(0), a.matrix(1), vector_fixed<double, 3>{2.0, 0.0, 0.0},
                         vector_fixed<double, 3>{1.0, 0.0, 0.0}, a.out_matrix(0));
         }},
        {"copy_edges",
         {{t, boundaries_of(t, ET_TRIA3)}, {id_array()}},
         [](arguments& a) {
             return copy_edges(a.matrix(0), ET_TRIA3, a.out_matrix(0), a.matrix(1));
         }},
        {"copy_mesh in a pattern",
         {{pos, t}, {id_array()}},
         [](arguments& a) {
             return copy_mesh(a.pos(0), a.out_matrix(0), vector_fixed<double, 2>{1.0, 0.0},
                              vector_fixed<double, 2>{}, 0.5, 3, a.matrix(1));
         }},
        {"vtk_convert",
         {{t}, {ids(), ids()}},
         [](arguments& a) {
             unsigned int nbr_cells = 0;
             return vtk_convert(a.matrix(0), ET_TRIA3, nbr_cells, a.out(0), a.out(1));
         }},
        {"metrics_gen_iso",
         {{pos, t}, {numbers()}},
         [](arguments& a) {
             return metrics_gen_iso(a.pos(0), a.matrix(1), ET_TRIA3, a.out_numbers(0), 1.0);
         }},
        {"H_shock",
         {{pos, boundaries_of(t, ET_TRIA3), numbers(pos.cols(), 1.0)}, {numbers()}},
         [](arguments& a) { return H_shock(a.pos(0), a.matrix(1), a.sizes(2), a.out_numbers(0)); }},
    };
}

// They stay on their block, and so may write over an input. Nothing worse happens.
TEST(shared_blocks, of_arrays_that_are_appended_to_do_no_harm_elsewhere) {
    for (const call& under_test : calls_that_append()) {
        SCOPED_TRACE(under_test.name);
        for_each_sharing(under_test, [&](arguments& shared, const std::string& how) {
            SCOPED_TRACE(how);
            EXPECT_LE(under_test.run(shared), 0);
        });
    }
}

TEST(shared_blocks, of_an_array_that_is_appended_to_stay_shared_with_views_that_are_no_arguments) {
    id_array boundaries = test::connectivity({{8, 9}});
    ASSERT_TRUE(boundaries.reserve(2, 500, 1));
    id_array other_view = boundaries;
    ids handles{7};
    ids other_handles = handles;
    const id_array t = triangles();
    const id_array n = neighbors_of(t, ET_TRIA3, true);
    unsigned int stride = 0;
    EXPECT_EQ(get_mesh_boundaries(t, n, ET_TRIA3, boundaries), 0);
    EXPECT_EQ(get_mesh_bounding_elements(t, n, ET_TRIA3, handles, stride), 0);
    boundaries(0, 0) = 3;
    handles[0] = 4;
    EXPECT_EQ(other_view(0, 0), 3U);
    EXPECT_EQ(other_handles[0], 4U);
}

} // namespace
