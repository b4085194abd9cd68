#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

#include "tessmaker/tessmaker.h"

using namespace kv7;
using namespace kv7::tessmaker;

namespace {

using id_list = dense1D<unsigned int, 8>;
using id_array = dense2D<unsigned int>;
using points = dense2D<double>;

// A null never comes out: that this program links is the proof. Each line is an overload.
template <class Signature> bool is_there(Signature* function) { return function != nullptr; }
template <class Class, class Member> bool is_there(Member Class::*member) {
    return member != nullptr;
}

// Names an exported function with its signature, so that overloads are told apart.
#define EXPECT_EXPORTED(name, ...) EXPECT_TRUE(is_there<__VA_ARGS__>(&name))

TEST(exports, storage_and_reference_count) {
    void* const memory = __vector_num_alloc(16);
    ASSERT_NE(memory, nullptr);
    __vector_num_free(memory);
    Ptr<math1::ref_counted> block(new vector_num<double>);
    EXPECT_NE(block.get(), nullptr);
}

template <class T> bool block_is_exported() {
    Ptr<vector_num<T>> block(new vector_num<T>);
    return block.get() && typeid(*block) == typeid(vector_num<T>);
}
template <class T> bool list_is_exported() {
    return block_is_exported<T>() && is_there(&dense1D<T>::clear_hard) &&
           is_there(&dense1D<T>::append) && is_there(&dense1D<T>::copy);
}
template <class T> bool array_is_exported() {
    return block_is_exported<T>() && is_there(&dense2D<T>::clear_hard) &&
           is_there(&dense2D<T>::shallow_copy) && is_there(&dense2D<T>::copy);
}

TEST(exports, containers_of_every_listed_type) {
    EXPECT_TRUE(list_is_exported<unsigned int>());
    EXPECT_TRUE(list_is_exported<int>());
    EXPECT_TRUE(list_is_exported<double>());
    EXPECT_TRUE(list_is_exported<std::uint64_t>());
    EXPECT_TRUE(list_is_exported<short>());
    EXPECT_TRUE(list_is_exported<signed char>());
    EXPECT_TRUE((list_is_exported<std::pair<unsigned int, unsigned int>>()));
    EXPECT_TRUE((list_is_exported<triad<unsigned int, std::uint64_t, std::uint64_t>>()));
    EXPECT_TRUE((list_is_exported<triad<double, unsigned int, unsigned int>>()));
    EXPECT_TRUE((list_is_exported<
                 triad<std::pair<unsigned int, unsigned int>, std::uint64_t, std::uint64_t>>()));
    EXPECT_TRUE((list_is_exported<triad<std::uint64_t, std::uint64_t, std::uint64_t>>()));
    EXPECT_TRUE(block_is_exported<dense2D<unsigned int>>());
    EXPECT_TRUE(array_is_exported<unsigned int>());
    EXPECT_TRUE(array_is_exported<double>());
    EXPECT_TRUE(array_is_exported<std::uint64_t>());
}

TEST(exports, element_tables_and_checks) {
    EXPECT_EQ(version(), std::string(TESSMAKER_PROJECT_VERSION));
    EXPECT_EXPORTED(element_dim, unsigned int(element_type));
    EXPECT_EXPORTED(nbr_nodes, unsigned int(element_type));
    EXPECT_EXPORTED(nbr_base_nodes, unsigned int(element_type));
    EXPECT_EXPORTED(nbr_boundaries, unsigned int(element_type));
    EXPECT_EXPORTED(check_IDs, bool(const id_list&, unsigned int));
    EXPECT_EXPORTED(check_IDs, bool(const id_array&, unsigned int));
    EXPECT_EXPORTED(check_IDs, bool(const id_array&, element_type, unsigned int));
}

TEST(exports, index_arrays) {
    EXPECT_EXPORTED(max_ID, unsigned int(const id_list&));
    EXPECT_EXPORTED(max_ID, unsigned int(const id_array&));
    EXPECT_EXPORTED(change_indices, void(id_list&, const id_list&));
    EXPECT_EXPORTED(change_indices, void(id_array&, const id_list&));
    EXPECT_EXPORTED(shift_indices, int(id_list&, int));
    EXPECT_EXPORTED(shift_indices, int(id_array&, int, element_type));
    EXPECT_EXPORTED(permutation, int(id_list&, const id_list&));
    EXPECT_EXPORTED(permutation, int(dense1D<double, 8>&, const id_list&));
    EXPECT_EXPORTED(get_sorted_order, int(const id_list&, id_list&, id_list&));
    EXPECT_EXPORTED(get_IDs, int(const id_list&, const id_list&, id_list&, id_list&));
    EXPECT_EXPORTED(get_IDs, int(const id_array&, const id_array&, id_list&, id_list&, bool));
    EXPECT_EXPORTED(unique_indices, int(id_list&, const id_list&, id_list));
    EXPECT_EXPORTED(unique_indices, int(id_list&, const id_array&, id_list));
    EXPECT_EXPORTED(unique_indices, int(id_list&, const id_array*, const id_array*, id_list));
    EXPECT_EXPORTED(count_unique_indices, int(const id_array&));
    EXPECT_EXPORTED(count_unique_indices, int(const id_array*, const id_array*));
}

TEST(exports, geometry) {
    using point_2d = vector_fixed<double, 2>;
    using point_3d = vector_fixed<double, 3>;
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, point_2d&, point_2d&));
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, const id_list&, point_2d&, point_2d&));
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, const id_array&, point_2d&, point_2d&));
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, point_3d&, point_3d&));
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, const id_list&, point_3d&, point_3d&));
    EXPECT_EXPORTED(inc_bounding_box, int(const points&, const id_array&, point_3d&, point_3d&));
    EXPECT_EXPORTED(centroids, int(const points&, const id_array&, points&, element_type));
    EXPECT_EXPORTED(translate, int(points&, const point_2d&));
    EXPECT_EXPORTED(translate, int(points&, const point_2d&, const id_list&));
    EXPECT_EXPORTED(translate, int(points&, const point_2d&, const id_array&));
    EXPECT_EXPORTED(translate, int(points&, const point_3d&));
    EXPECT_EXPORTED(translate, int(points&, const point_3d&, const id_list&));
    EXPECT_EXPORTED(translate, int(points&, const point_3d&, const id_array&));
    EXPECT_EXPORTED(rotate, int(points&, const point_2d&, double));
    EXPECT_EXPORTED(rotate, int(points&, const point_2d&, double, const id_list&));
    EXPECT_EXPORTED(rotate, int(points&, const point_2d&, double, const id_array&));
    EXPECT_EXPORTED(rotate, int(points&, const point_3d&, const point_3d&));
    EXPECT_EXPORTED(rotate, int(points&, const point_3d&, const point_3d&, const id_list&));
    EXPECT_EXPORTED(rotate, int(points&, const point_3d&, const point_3d&, const id_array&));
    EXPECT_EXPORTED(zoom, int(points&, const point_2d&, double));
    EXPECT_EXPORTED(zoom, int(points&, const point_2d&, double, const id_list&));
    EXPECT_EXPORTED(zoom, int(points&, const point_2d&, double, const id_array&));
    EXPECT_EXPORTED(zoom, int(points&, const point_3d&, double));
    EXPECT_EXPORTED(zoom, int(points&, const point_3d&, double, const id_list&));
    EXPECT_EXPORTED(zoom, int(points&, const point_3d&, double, const id_array&));
}

TEST(exports, node_detector) {
    using point_2d = vector_fixed<double, 2>;
    using point_3d = vector_fixed<double, 3>;
    points pos(3, 2, 1.0);
    id_list nodes{0, 1};
    const id_array connect(2, 1, 0U);

    node_detector detector(pos);
    EXPECT_EQ(node_detector(pos, nodes).size(), 2U);
    EXPECT_EQ(node_detector(pos, connect).size(), 1U);
    EXPECT_EQ(node_detector(pos, &connect, &connect + 1).size(), 1U);
    node_detector other(detector);
    other = detector;
    other.clear();
    EXPECT_EQ(detector.reinit(pos), 2);
    EXPECT_EQ(detector.reinit(pos, nodes), 2);
    EXPECT_EQ(detector.reinit(pos, &connect, &connect + 1), 1);
    EXPECT_EQ(detector.reinit(pos, connect), 1);
    EXPECT_EQ(detector.insert(connect), 0U);
    EXPECT_EQ(detector.insert(nodes), 1U);
    EXPECT_EQ(detector.find_closest(point_2d{1.0, 1.0}), 0U);
    EXPECT_LT(detector.find_closest(point_3d{1.0, 1.0, 1.0}), 2U);
    EXPECT_EQ(detector.find_closest(0U), 1U);
    nodes.clear();
    detector.find_in_box(point_2d{0.0, 0.0}, point_2d{2.0, 2.0}, nodes);
    EXPECT_EQ(nodes.size(), 0U);
    detector.find_in_box(point_3d{0.0, 0.0, 0.0}, point_3d{2.0, 2.0, 2.0}, nodes);
    EXPECT_EQ(nodes.size(), 2U);
}

TEST(exports, repair) {
    EXPECT_EXPORTED(merge, int(points&, id_list&, double));
    EXPECT_EXPORTED(merge, int(points&, double));
    EXPECT_EXPORTED(merge, int(const points&, const id_list&, const id_list&, id_list&, double));
    EXPECT_EXPORTED(merge, int(const points&, const id_list&, id_list&, double));
    EXPECT_EXPORTED(merge, int(const points&, id_array*, id_array*, id_list&, double, unsigned));
    EXPECT_EXPORTED(merge, int(const points&, id_array*, id_array*, double, unsigned));
    EXPECT_EXPORTED(merge, int(const points&, id_array&, id_array&, id_list&, double, unsigned));
    EXPECT_EXPORTED(merge, int(const points&, id_array&, id_array&, double, unsigned));
    EXPECT_EXPORTED(merge, int(const points&, id_array&, id_list&, double, unsigned));
    EXPECT_EXPORTED(merge, int(const points&, id_array&, double, unsigned));
    EXPECT_EXPORTED(remove_degenerated, int(id_array&, id_list&, bool));
    EXPECT_EXPORTED(remove_degenerated, int(id_array&, bool));
    EXPECT_EXPORTED(simplify, int(points&, id_array*, id_array*, id_list&, unsigned));
    EXPECT_EXPORTED(simplify, int(points&, id_array*, id_array*, unsigned));
    EXPECT_EXPORTED(simplify, int(points&, id_array&, id_array&, unsigned));
    EXPECT_EXPORTED(simplify, int(points&, id_array&, id_list&, unsigned));
    EXPECT_EXPORTED(simplify, int(points&, id_array&, unsigned));
}

TEST(exports, copies) {
    using point_2d = vector_fixed<double, 2>;
    using point_3d = vector_fixed<double, 3>;
    EXPECT_EXPORTED(copy_mesh, int(points&, id_array&, const id_array&));
    EXPECT_EXPORTED(copy_mesh, int(points&, id_array&, const point_2d&, const point_2d&, double,
                                   unsigned, const id_array&));
    EXPECT_EXPORTED(copy_mesh, int(points&, id_array&, const point_3d&, const point_3d&,
                                   const point_3d&, unsigned, const id_array&));
    EXPECT_EXPORTED(copy_sym_mesh,
                    int(points&, id_array&, const point_2d&, const point_2d&, const id_array&));
    EXPECT_EXPORTED(copy_sym_mesh,
                    int(points&, id_array&, const point_3d&, const point_3d&, const id_array&));
    EXPECT_EXPORTED(
        clip, int(const points&, const id_array&, const point_3d&, const point_3d&, id_array&));
}

TEST(exports, formats) {
    EXPECT_EXPORTED(STL_input, int(std::FILE*, points&, id_array&));
    EXPECT_EXPORTED(STL_input, int(const char*, points&, id_array&));
    EXPECT_EXPORTED(STL_output, int(std::FILE*, const points&, const id_array&, bool));
    EXPECT_EXPORTED(STL_output, int(const char*, const points&, const id_array&, bool));
    using type_list = dense1D<int, 8>;
    using value_list = dense1D<double, 8>;
    EXPECT_EXPORTED(medit_output, int(const char*, const points&, const id_array*, const id_array*,
                                      const type_list&));
    EXPECT_EXPORTED(medit_output, int(std::FILE*, const points&, const id_array*, const id_array*,
                                      const type_list&));
    EXPECT_EXPORTED(medit_output, int(const char*, const points&, const id_array&, const id_array&,
                                      element_type, element_type));
    EXPECT_EXPORTED(medit_output, int(std::FILE*, const points&, const id_array&, const id_array&,
                                      element_type, element_type));
    EXPECT_EXPORTED(medit_output, int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(medit_output, int(std::FILE*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(medit_output,
                    int(const char*, const points&, const id_array&, element_type, const id_list&));
    EXPECT_EXPORTED(medit_output,
                    int(std::FILE*, const points&, const id_array&, element_type, const id_list&));
    EXPECT_EXPORTED(medit_scalar, int(const char*, unsigned int, const value_list&));
    EXPECT_EXPORTED(medit_scalar, int(std::FILE*, unsigned int, const value_list&));
    EXPECT_EXPORTED(medit_vector, int(const char*, unsigned int, const points&));
    EXPECT_EXPORTED(medit_vector, int(std::FILE*, unsigned int, const points&));
    EXPECT_EXPORTED(medit_tensor, int(const char*, const points&));
    EXPECT_EXPORTED(medit_tensor, int(std::FILE*, const points&));
    EXPECT_EXPORTED(ensight_output, int(const char*, const points&, const id_array*,
                                        const id_array*, const type_list&));
    EXPECT_EXPORTED(ensight_output, int(std::FILE*, const points&, const id_array*, const id_array*,
                                        const type_list&));
    EXPECT_EXPORTED(ensight_output, int(const char*, const points&, const id_array&,
                                        const id_array&, element_type, element_type));
    EXPECT_EXPORTED(ensight_output, int(std::FILE*, const points&, const id_array&, const id_array&,
                                        element_type, element_type));
    EXPECT_EXPORTED(ensight_output, int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(ensight_output, int(std::FILE*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(vtk_convert,
                    int(const id_array&, element_type, unsigned int&, id_list&, id_list&));
    EXPECT_EXPORTED(vtk_output,
                    int(std::FILE*, const points&, unsigned int, const id_list&, const id_list&));
    EXPECT_EXPORTED(vtk_output, int(const char*, const points&, const id_array*, const id_array*,
                                    const type_list&));
    EXPECT_EXPORTED(vtk_output, int(std::FILE*, const points&, const id_array*, const id_array*,
                                    const type_list&));
    EXPECT_EXPORTED(vtk_output, int(const char*, const points&, const id_array&, const id_array&,
                                    element_type, element_type));
    EXPECT_EXPORTED(vtk_output, int(std::FILE*, const points&, const id_array&, const id_array&,
                                    element_type, element_type));
    EXPECT_EXPORTED(vtk_output, int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(vtk_output, int(std::FILE*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(NASTRAN_input,
                    int(std::FILE*, points&, id_array&, id_list&, type_list&, id_list&));
    EXPECT_EXPORTED(NASTRAN_input, int(std::FILE*, points&, id_array&, element_type&));
    EXPECT_EXPORTED(NASTRAN_input,
                    int(std::FILE*, points&, id_array&, id_array&, element_type&, element_type&));
    EXPECT_EXPORTED(NASTRAN_input,
                    int(const char*, points&, id_array&, id_list&, type_list&, id_list&));
    EXPECT_EXPORTED(NASTRAN_input, int(const char*, points&, id_array&, element_type&));
    EXPECT_EXPORTED(NASTRAN_input,
                    int(const char*, points&, id_array&, id_array&, element_type&, element_type&));
    EXPECT_EXPORTED(NASTRAN_output, int(std::FILE*, const points&, const id_array&, const id_list&,
                                        const type_list&, const id_list&));
    EXPECT_EXPORTED(NASTRAN_output, int(std::FILE*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(NASTRAN_output, int(std::FILE*, const points&, const id_array&, const id_array&,
                                        element_type, element_type));
    EXPECT_EXPORTED(NASTRAN_output, int(const char*, const points&, const id_array&, const id_list&,
                                        const type_list&, const id_list&));
    EXPECT_EXPORTED(NASTRAN_output, int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(NASTRAN_output, int(const char*, const points&, const id_array&,
                                        const id_array&, element_type, element_type));
}

TEST(exports, femap_files) {
    EXPECT_EXPORTED(FEMAP_input,
                    int(std::FILE*, points&, id_array&, id_list&, dense1D<int, 8>&, id_list&));
    EXPECT_EXPORTED(FEMAP_input, int(std::FILE*, points&, id_array&, element_type&));
    EXPECT_EXPORTED(FEMAP_input,
                    int(std::FILE*, points&, id_array&, id_array&, element_type&, element_type&));
    EXPECT_EXPORTED(FEMAP_input,
                    int(const char*, points&, id_array&, id_list&, dense1D<int, 8>&, id_list&));
    EXPECT_EXPORTED(FEMAP_input, int(const char*, points&, id_array&, element_type&));
    EXPECT_EXPORTED(FEMAP_input,
                    int(const char*, points&, id_array&, id_array&, element_type&, element_type&));
    EXPECT_EXPORTED(FEMAP_output, int(std::FILE*, const points&, const id_array&, const id_list&,
                                      const dense1D<int, 8>&, const id_list&));
    EXPECT_EXPORTED(FEMAP_output, int(std::FILE*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(FEMAP_output, int(std::FILE*, const points&, const id_array&, const id_array&,
                                      element_type, element_type));
    EXPECT_EXPORTED(FEMAP_output, int(const char*, const points&, const id_array&, const id_list&,
                                      const dense1D<int, 8>&, const id_list&));
    EXPECT_EXPORTED(FEMAP_output, int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(FEMAP_output, int(const char*, const points&, const id_array&, const id_array&,
                                      element_type, element_type));
}

TEST(exports, wavefront_files) {
    EXPECT_EXPORTED(WavefrontOBJ_input,
                    int(const char*, points&, points&, points&, id_array&, id_array&));
    EXPECT_EXPORTED(WavefrontOBJ_input,
                    int(std::FILE*, points&, points&, points&, id_array&, id_array&));
    EXPECT_EXPORTED(WavefrontOBJ_output, int(const char*, const points&, const points&,
                                             const points&, const id_array&, const id_array&));
    EXPECT_EXPORTED(WavefrontOBJ_output, int(std::FILE*, const points&, const points&,
                                             const points&, const id_array&, const id_array&));
    EXPECT_EXPORTED(WavefrontOBJ_output, int(const char*, const points&, const id_array&,
                                             const id_array&, element_type, element_type));
    EXPECT_EXPORTED(WavefrontOBJ_output, int(std::FILE*, const points&, const id_array&,
                                             const id_array&, element_type, element_type));
    EXPECT_EXPORTED(WavefrontOBJ_output,
                    int(const char*, const points&, const id_array&, element_type));
    EXPECT_EXPORTED(WavefrontOBJ_output,
                    int(std::FILE*, const points&, const id_array&, element_type));
}

TEST(exports, mesh_files) {
    EXPECT_EXPORTED(format_name, const char*(file_format));
    EXPECT_EXPORTED(format_by_ending, file_format(const char*));
    EXPECT_EXPORTED(format_of, file_format(const char*));
    EXPECT_EXPORTED(read_mesh, int(const char*, mesh&, file_report&));
    EXPECT_EXPORTED(read_mesh, int(std::FILE*, file_format, mesh&, file_report&));
    EXPECT_EXPORTED(read_fields, int(const char*, mesh&, file_report&));
    EXPECT_EXPORTED(write_mesh, int(const char*, const mesh&, const write_options&, file_report&));
    EXPECT_EXPORTED(write_mesh,
                    int(std::FILE*, file_format, const mesh&, const write_options&, file_report&));
    EXPECT_EXPORTED(write_fields,
                    int(const char*, const mesh&, const write_options&, file_report&));
}

TEST(exports, edges) {
    EXPECT_EXPORTED(copy_edges, int(const id_array&, element_type, id_array&, const id_array&));
    EXPECT_EXPORTED(copy_edges, int(const id_array*, const id_array*, const dense1D<int, 8>&,
                                    id_array&, const id_array&));
}

TEST(exports, connectivity) {
    EXPECT_EXPORTED(get_connected_elements, int(const id_array&, id_list&, id_list&));
    EXPECT_EXPORTED(get_node_graph, int(const id_array&, id_list&, id_list&, element_type));
    EXPECT_EXPORTED(get_ancestors, int(const id_array&, id_list&));
    EXPECT_EXPORTED(get_neighbors, int(const id_array&, element_type, bool, id_array&));
    EXPECT_EXPORTED(get_element_boundaries, int(const id_array&, element_type, id_array&));
    EXPECT_EXPORTED(get_mesh_boundaries,
                    int(const id_array&, const id_array&, element_type, id_array&));
    EXPECT_EXPORTED(get_mesh_bounding_elements,
                    int(const id_array&, const id_array&, element_type, id_list&, unsigned int&));
    EXPECT_EXPORTED(get_elements_on_boundaries,
                    int(const id_array&, const id_array&, const id_array&, const id_list&,
                        element_type, int, id_list&, unsigned int&));
    EXPECT_EXPORTED(get_colors_boundaries, int(const id_array&, const id_array&, const id_list&,
                                               element_type, bool, bool, id_array&));
    EXPECT_EXPORTED(get_subdomains, int(const id_array&, id_list&, id_list&));
    EXPECT_EXPORTED(get_subdomains, int(id_array&, id_array&, id_list&));
    EXPECT_EXPORTED(sort_elfes, int(id_array&, id_array&, id_list&, id_list&, id_list&));
    EXPECT_EXPORTED(sort_elfes, int(id_array&, id_list&, id_list&, id_list&));
}

TEST(exports, metric_algebra) {
    using size_2d = vector_fixed<double, 2>;
    using size_3d = vector_fixed<double, 3>;
    using metric_2d = symmetric_fixed<double, 2>;
    using metric_3d = symmetric_fixed<double, 3>;
    using axes_2d = matrix_fixed<double, 2, 2>;
    using axes_3d = matrix_fixed<double, 3, 3>;
    using frame = matrix_fixed<double, 3, 2>;
    EXPECT_EXPORTED(metric_aniso, void(double, metric_2d&));
    EXPECT_EXPORTED(metric_aniso, void(double, metric_3d&));
    EXPECT_EXPORTED(metric_aniso, void(double, double, metric_2d&));
    EXPECT_EXPORTED(metric_aniso, void(double, double, double, metric_3d&));
    EXPECT_EXPORTED(metric_aniso, void(const size_2d&, metric_2d&));
    EXPECT_EXPORTED(metric_aniso, void(const size_3d&, metric_3d&));
    EXPECT_EXPORTED(metric_aniso, void(const size_2d&, const axes_2d&, metric_2d&));
    EXPECT_EXPORTED(metric_aniso, void(const size_3d&, const axes_3d&, metric_3d&));
    EXPECT_EXPORTED(metric_aniso2d, void(double, const frame&, metric_2d&));
    EXPECT_EXPORTED(metric_aniso3d_to_aniso2d, void(const metric_3d&, const frame&, metric_2d&));
    EXPECT_EXPORTED(eigen_values, void(const metric_2d&, size_2d&));
    EXPECT_EXPORTED(eigen_values, void(const metric_3d&, size_3d&));
    EXPECT_EXPORTED(eigen_pairs, bool(const metric_2d&, size_2d&, axes_2d&));
    EXPECT_EXPORTED(eigen_pairs, bool(const metric_3d&, size_3d&, axes_3d&));
    EXPECT_EXPORTED(eigen_pairs, bool(const metric_2d&, const metric_2d&, size_2d&, axes_2d&));
    EXPECT_EXPORTED(eigen_pairs, bool(const metric_3d&, const metric_3d&, size_3d&, axes_3d&));
    EXPECT_EXPORTED(is_valid_metric, bool(const metric_2d&));
    EXPECT_EXPORTED(is_valid_metric, bool(const metric_3d&));
    EXPECT_EXPORTED(metric_aniso_to_iso, double(const metric_2d&, double));
    EXPECT_EXPORTED(metric_aniso_to_iso, double(const metric_3d&, double));
    EXPECT_EXPORTED(bound_metric, int(metric_2d&, double, double));
    EXPECT_EXPORTED(bound_metric, int(metric_3d&, double, double));
    EXPECT_EXPORTED(maximum_metric, bool(const metric_2d&, const metric_2d&, metric_2d&));
    EXPECT_EXPORTED(maximum_metric, bool(const metric_3d&, const metric_3d&, metric_3d&));
    EXPECT_EXPORTED(minimum_metric, bool(const metric_2d&, const metric_2d&, metric_2d&));
    EXPECT_EXPORTED(minimum_metric, bool(const metric_3d&, const metric_3d&, metric_3d&));
}

TEST(exports, metric_fields) {
    using size_list = dense1D<double, 8>;
    EXPECT_EXPORTED(first_invalid_metric, unsigned int(const size_list&));
    EXPECT_EXPORTED(first_invalid_metric, unsigned int(const points&));
    EXPECT_EXPORTED(first_invalid_metric, unsigned int(const id_list&, const size_list&));
    EXPECT_EXPORTED(first_invalid_metric, unsigned int(const id_list&, const points&));
    EXPECT_EXPORTED(are_valid_metrics, bool(const size_list&));
    EXPECT_EXPORTED(are_valid_metrics, bool(const points&));
    EXPECT_EXPORTED(are_valid_metrics, bool(const id_list&, const size_list&));
    EXPECT_EXPORTED(are_valid_metrics, bool(const id_list&, const points&));
    EXPECT_EXPORTED(valid_metrics, void(const points&, id_list&));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(size_list&, const size_list&));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(size_list&, double));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(points&, const points&));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(points&, const size_list&));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(points&, const symmetric_fixed<double, 2>&));
    EXPECT_EXPORTED(overwrite_invalid_metrics, int(points&, const symmetric_fixed<double, 3>&));
    EXPECT_EXPORTED(bound_metrics, int(size_list&, double, double));
    EXPECT_EXPORTED(bound_metrics, int(size_list&, double, double, id_list&));
    EXPECT_EXPORTED(bound_metrics, int(points&, double, double));
    EXPECT_EXPORTED(bound_metrics, int(points&, double, double, id_list&));
    EXPECT_EXPORTED(metrics_iso_to_aniso2d, int(const size_list&, points&));
    EXPECT_EXPORTED(metrics_iso_to_aniso3d, int(const size_list&, points&));
    EXPECT_EXPORTED(metrics_iso_to_aniso2d, int(const size_list&, const points&, points&));
    EXPECT_EXPORTED(metrics_aniso3d_to_aniso2d, int(const points&, const points&, points&));
    EXPECT_EXPORTED(bound_metric_gradations, int(const points&, const id_array&, element_type,
                                                 const id_list&, bool, int, double, points&));
    EXPECT_EXPORTED(bound_metric_gradations, int(const points&, const id_array&, element_type,
                                                 const id_list&, bool, int, double, size_list&));
    EXPECT_EXPORTED(bound_metric_variations, int(const points&, const id_array&, element_type,
                                                 const id_list&, bool, int, double, points&));
    EXPECT_EXPORTED(bound_metric_variations, int(const points&, const id_array&, element_type,
                                                 const id_list&, bool, int, double, size_list&));
    EXPECT_EXPORTED(metrics_gen_iso,
                    int(const points&, const id_array&, element_type, size_list&, double));
    EXPECT_EXPORTED(H_shock, int(const points&, const id_array&, const points&, size_list&));
    EXPECT_EXPORTED(H_shock, int(const points&, const id_array&, const size_list&, size_list&));
}

TEST(exports, quality) {
    using size_list = dense1D<double, 8>;
    using type_list = dense1D<int, 8>;
    EXPECT_EXPORTED(edge_quality, int(double, double, double, double&));
    EXPECT_EXPORTED(edge_qualities, int(const points&, const id_array&, element_type, const points&,
                                        misc::histogram&, const id_array&));
    EXPECT_EXPORTED(edge_qualities, int(const points&, const id_array&, element_type,
                                        const size_list&, misc::histogram&, const id_array&));
    EXPECT_EXPORTED(edge_qualities,
                    int(const points&, const id_array*, const id_array*, const type_list&,
                        const points&, misc::histogram&, const id_array&));
    EXPECT_EXPORTED(edge_qualities,
                    int(const points&, const id_array*, const id_array*, const type_list&,
                        const size_list&, misc::histogram&, const id_array&));
    EXPECT_EXPORTED(shape_qualities, int(const points&, const id_array&, element_type, size_list&));
    EXPECT_EXPORTED(min_quality,
                    int(const points&, const id_array&, element_type, double&, unsigned int&));
    EXPECT_EXPORTED(jacobians, int(const points&, const id_array&, element_type, size_list&));
}

class sink : public misc::histogram {
public:
    sink() : histogram(0.0, 1.0, 1) {}
    void process(double value) override { histogram::process(value * 0.5); }
};

TEST(exports, a_histogram_that_clients_derive_from) {
    sink halves;
    misc::histogram& base = halves;
    base.process(2.0);
    EXPECT_EQ(halves.count(0), 1U);
    EXPECT_EQ(base.mean(), 1.0);
    EXPECT_NE(dynamic_cast<sink*>(&base), nullptr);
}

} // namespace
