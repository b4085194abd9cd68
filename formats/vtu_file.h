// What is in a VTU file, read into memory.
#ifndef TESSMAKER_FORMATS_VTU_FILE_H
#define TESSMAKER_FORMATS_VTU_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "formats/file_report.h"
#include "formats/vtu_arrays.h"
#include "formats/xml_reader.h"

namespace kv7::tessmaker {

// A part of the grid, with points of its own.
struct vtu_piece {
    // What the piece says; arrays need not agree.
    std::uint64_t nbr_points = 0;
    std::uint64_t nbr_cells = 0;
    std::vector<vtu_array> points;
    std::vector<vtu_array> cells;
    std::vector<vtu_array> point_data;
    std::vector<vtu_array> cell_data;
};

// Finds the arrays of a file. What they hold stays in the file's text.
class vtu_file {
public:
    explicit vtu_file(report_builder& report) : report_(report) {}

    // Returns 0 or a code.
    int read(std::FILE* file);

    report_builder& report() { return report_; }
    vtu_encoding& encoding() { return encoding_; }
    // Ahead of the root. See vtk_names.h.
    bool has_wedge_comment() const { return has_wedge_comment_; }
    // One at least.
    const std::vector<vtu_piece>& pieces() const { return pieces_; }

    // Tells what is wrong at a place of the text; place 0 is the file as a whole. Returns the code.
    int fail(std::size_t place, std::string_view text);
    file_place line_of(std::size_t place);

private:
    bool read_all(std::FILE* file);
    bool fail_here(std::string_view text);
    bool fault();
    template <class Visit> bool for_each_child(const Visit& visit);
    bool skip_element();
    bool read_root();
    void read_compressor();
    bool read_grid();
    bool read_piece();
    bool read_count(std::string_view name, std::uint64_t& count);
    bool read_arrays(std::string_view keyword, std::vector<vtu_array>& arrays);
    bool read_array(std::string_view keyword, std::vector<vtu_array>& arrays);
    bool read_form(vtu_array& array);
    bool read_contents(vtu_array& array);
    bool drop_array(const remark_form& form, std::string_view keyword);
    bool find_appended();

    report_builder& report_;
    std::string text_; // ends with a word of nulls
    std::size_t size_ = 0;
    xml_reader xml_{std::string_view()};
    std::size_t counted_to_ = 0; // a place in the text, and its line
    std::uint64_t counted_line_ = 1;
    int code_ = 0;
    bool has_wedge_comment_ = false;
    bool has_appended_ = false;
    vtu_encoding encoding_;
    std::string unread_compressor_; // with the reason, for a sentence
    std::vector<vtu_piece> pieces_;
};

} // namespace kv7::tessmaker

#endif
