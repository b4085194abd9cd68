// Data at the points and cells of a legacy VTK file.
#ifndef TESSMAKER_FORMATS_VTK_DATA_H
#define TESSMAKER_FORMATS_VTK_DATA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/ids.h"
#include "formats/reported_words.h"
#include "formats/vtk_fields.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// Calls that return false have told the words of a failure.
class vtk_data {
public:
    vtk_data(reported_words& words, mesh& result) : words_(words), mesh_(result), fields_(result) {}

    // Reads the number behind POINT_DATA or CELL_DATA, which must be `nbr_tuples`. Fields that
    // follow have `nbr_columns` columns; `element_of_cell` is null at points.
    bool begin(field_place at, std::size_t nbr_tuples, const id_list* element_of_cell,
               std::size_t nbr_columns);
    // Reads what follows the keyword of an array, or of something else between the sections.
    bool read(std::string_view keyword);

private:
    struct array {
        std::string name;
        std::uint64_t rows = 1;
    };

    bool read_name(array& a);
    bool read_type();
    bool read_scalars();
    bool read_array(std::string_view keyword, std::uint64_t rows);
    bool read_lookup_table();
    bool read_field();
    bool read_array_of_field(unsigned int keyword);
    void pass_lines(std::uint64_t rows, std::uint64_t nbr_tuples);
    bool pass_values(std::uint64_t rows, std::uint64_t nbr_tuples);
    bool read_values(const array& a, unsigned int keyword);
    void pass_metadata();

    reported_words& words_;
    mesh& mesh_;
    vtk_fields fields_;
    bool has_begun_ = false;
    field_place at_ = field_place::nodes;
    std::size_t nbr_tuples_ = 0;
    std::size_t nbr_columns_ = 0;
    const id_list* element_of_cell_ = nullptr;
};

} // namespace kv7::tessmaker

#endif
