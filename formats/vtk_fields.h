// Data at the points and cells of VTK's files, which become fields and numbers of a mesh.
#ifndef TESSMAKER_FORMATS_VTK_FIELDS_H
#define TESSMAKER_FORMATS_VTK_FIELDS_H

#include <cstddef>
#include <string>

#include "core/ids.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// Takes arrays one by one, in the order of their file, once all nodes and elements are there.
class vtk_fields {
public:
    explicit vtk_fields(mesh& result) : mesh_(result) {}

    // Takes `rows` values for each node or cell, in order. A field has a column for each element
    // whose cell was read; nine rows that are a symmetric tensor everywhere become the six of a
    // metric. `element_of_cell` is null at nodes. Properties and numbers, known by their names, are
    // no fields if each of them is a whole number of 32 bits. False when memory fails.
    bool add(const std::string& name, field_place at, const dense1D<double>& values,
             std::size_t rows, const id_list* element_of_cell, std::size_t nbr_columns);

private:
    bool make_field(const dense1D<double>& values, std::size_t rows, const id_list* element_of_cell,
                    std::size_t nbr_columns, field& result) const;
    bool take_numbers(const field& f, bool& was_taken);

    mesh& mesh_;
    // The first array of a name is taken, others are fields.
    bool has_properties_ = false;
    bool has_node_numbers_ = false;
    bool has_element_numbers_ = false;
};

} // namespace kv7::tessmaker

#endif
