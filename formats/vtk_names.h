// Words by which VTK's files that `write_mesh` writes are known again.
#ifndef TESSMAKER_FORMATS_VTK_NAMES_H
#define TESSMAKER_FORMATS_VTK_NAMES_H

#include <string_view>

namespace kv7::tessmaker {

// Arrays that are no fields.
inline constexpr std::string_view vtk_property_name = "property";
inline constexpr std::string_view vtk_node_number_name = "node_number";
inline constexpr std::string_view vtk_element_number_name = "element_number";

// All wedges of files with this title or comment have the triangle 0 1 2 facing out. Of those of
// other programs that holds for linear ones alone.
inline constexpr std::string_view vtk_title = "Mesh with the cells of VTK";
inline constexpr std::string_view vtu_wedge_comment =
    "<!-- Quadratic wedges have the triangle 0 1 2 facing out -->";

} // namespace kv7::tessmaker

#endif
