#include "formats/vtu_file.h"

#include <algorithm>
#include <array>
#include <utility>

#include "formats/characters.h"
#include "formats/mesh_readers.h"
#include "formats/vtk_names.h"
#include "formats/word_values.h"
#include "formats/zlib_stream.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form of_the_file{remark_kind::lost, "array left out", "arrays left out",
                                  "data of the file as a whole"};
constexpr remark_form no_numbers{remark_kind::lost, "array of text left out",
                                 "arrays of text left out", "a field has numbers"};

bool is_blank(std::string_view text) { return std::all_of(text.begin(), text.end(), is_space); }

} // namespace

int vtu_file::read(std::FILE* file) {
    if (!read_all(file)) return file_failed;
    xml_ = xml_reader(std::string_view(text_).substr(0, size_));
    if (!read_root()) return code_;
    if (pieces_.empty()) return fail(0, "a Piece is expected");
    encoding_.nbr_unread = encoding_.appended.size();
    return 0;
}

bool vtu_file::read_all(std::FILE* file) {
    std::array<char, std::size_t{1} << 14> block;
    for (std::size_t n; (n = std::fread(block.data(), 1, block.size(), file)) != 0;) {
        text_.append(block.data(), n);
    }
    size_ = text_.size();
    text_.append(word_size, '\0');
    return std::ferror(file) == 0;
}

// Lines are counted on from the last place that was asked for.
file_place vtu_file::line_of(std::size_t place) {
    if (place < counted_to_) {
        counted_to_ = 0;
        counted_line_ = 1;
    }
    for (std::size_t& k = counted_to_; k < place; ++k) {
        const bool is_second = text_[k] == '\n' && k != 0 && text_[k - 1] == '\r';
        if ((text_[k] == '\n' || text_[k] == '\r') && !is_second) ++counted_line_;
    }
    return {counted_line_};
}

int vtu_file::fail(std::size_t place, std::string_view text) {
    if (place == 0) return code_ = report_.fail(file_malformed, text);
    std::size_t line_start = place;
    while (line_start != 0 && text_[line_start - 1] != '\n' && text_[line_start - 1] != '\r') {
        --line_start;
    }
    const std::size_t column = place - line_start + 1;
    return code_ = report_.fail(file_malformed, line_of(place), column, text);
}

bool vtu_file::fail_here(std::string_view text) {
    fail(xml_.place(), text);
    return false;
}
bool vtu_file::fault() { return fail_here(xml_.fault()); }

// Calls `visit` at the start of each element in the one that has started; it must go on to the end
// of that.
template <class Visit> bool vtu_file::for_each_child(const Visit& visit) {
    for (;;) {
        switch (xml_.next()) {
        case xml_reader::event::start:
            if (!visit()) return false;
            if (has_appended_) return true;
            break;
        case xml_reader::event::end: return true;
        case xml_reader::event::text: break;
        default: return fault();
        }
    }
}

bool vtu_file::skip_element() {
    for (std::size_t depth = 1; depth != 0;) {
        switch (xml_.next()) {
        case xml_reader::event::start: ++depth; break;
        case xml_reader::event::end: --depth; break;
        case xml_reader::event::text: break;
        default: return fault();
        }
    }
    return true;
}

bool vtu_file::read_root() {
    if (xml_.next() != xml_reader::event::start) return fault();
    if (xml_.name() != "VTKFile" || xml_.attribute("type") != "UnstructuredGrid") {
        return fail_here("a VTKFile of type UnstructuredGrid is expected");
    }
    const std::string_view prolog = std::string_view(text_).substr(0, xml_.place());
    has_wedge_comment_ = prolog.find(vtu_wedge_comment) != std::string_view::npos;
    read_compressor();
    const std::string_view order = xml_.attribute("byte_order");
    if (order == "BigEndian") {
        encoding_.order = std::endian::big;
    } else if (!order.empty() && order != "LittleEndian") {
        return fail_here("a byte_order of LittleEndian or BigEndian is expected");
    }
    const std::string_view header = xml_.attribute("header_type");
    if (header == "UInt64") {
        encoding_.header_size = 8;
    } else if (!header.empty() && header != "UInt32") {
        return fail_here("a header_type of UInt32 or UInt64 is expected");
    }
    return for_each_child([&] {
        if (xml_.name() == "UnstructuredGrid") return read_grid();
        return xml_.name() == "AppendedData" ? find_appended() : skip_element();
    });
}

// Arrays of text are read whatever it is.
void vtu_file::read_compressor() {
    const std::string_view name = xml_.attribute("compressor");
    const bool is_zlib = name == "vtkZLibDataCompressor";
    encoding_.is_compressed = is_zlib && has_zlib();
    if (name.empty() || encoding_.is_compressed) return;
    unread_compressor_ = shown_word(name);
    if (is_zlib) unread_compressor_ += ", since the library was built without zlib";
}

// Nothing is read behind it: bytes as they are need not be XML.
bool vtu_file::find_appended() {
    const std::string_view encoding = xml_.attribute("encoding");
    if (encoding != "raw" && encoding != "base64") {
        return fail_here("an encoding of raw or base64 is expected");
    }
    encoding_.is_appended_base64 = encoding == "base64";
    std::size_t begin = xml_.position();
    while (begin < size_ && is_space(text_[begin])) ++begin;
    if (begin == size_ || text_[begin] != '_') {
        return fail_here("the appended data are expected to begin with _");
    }
    encoding_.appended = std::string_view(text_).substr(begin + 1, size_ - begin - 1);
    if (encoding_.is_appended_base64) {
        encoding_.appended = encoding_.appended.substr(0, encoding_.appended.find('<'));
    }
    has_appended_ = true;
    return true;
}

bool vtu_file::read_grid() {
    return for_each_child([&] {
        if (xml_.name() == "Piece") return read_piece();
        if (xml_.name() != "FieldData") return skip_element();
        return for_each_child([&] { return drop_array(of_the_file, "FieldData"); });
    });
}

bool vtu_file::drop_array(const remark_form& form, std::string_view keyword) {
    const unsigned int number = report_.keyword(keyword);
    report_.count_seen(number);
    report_.add(form, number, line_of(xml_.place()));
    return skip_element();
}

bool vtu_file::read_count(std::string_view name, std::uint64_t& count) {
    if (word_to_integer(xml_.attribute(name), count) && count < 0xFFFFFFFF) return true;
    return fail_here(std::string(name) + " is expected, a number below 4294967295");
}

bool vtu_file::read_piece() {
    vtu_piece& piece = pieces_.emplace_back();
    if (!read_count("NumberOfPoints", piece.nbr_points) ||
        !read_count("NumberOfCells", piece.nbr_cells)) {
        return false;
    }
    return for_each_child([&] {
        if (xml_.name() == "Points") return read_arrays("Points", piece.points);
        if (xml_.name() == "Cells") return read_arrays("Cells", piece.cells);
        if (xml_.name() == "PointData") return read_arrays("PointData", piece.point_data);
        if (xml_.name() == "CellData") return read_arrays("CellData", piece.cell_data);
        return skip_element();
    });
}

bool vtu_file::read_arrays(std::string_view keyword, std::vector<vtu_array>& arrays) {
    report_.keyword(keyword); // in the order of the file
    return for_each_child([&] {
        if (xml_.name() == "DataArray") return read_array(keyword, arrays);
        return xml_.name() == "Array" ? drop_array(no_numbers, keyword) : skip_element();
    });
}

bool vtu_file::read_array(std::string_view keyword, std::vector<vtu_array>& arrays) {
    if (xml_.attribute("type") == "String") return drop_array(no_numbers, keyword);
    vtu_array array;
    array.place = xml_.place();
    array.name = xml_.attribute("Name");
    array.type = vtu_type_of(xml_.attribute("type"));
    if (array.type == vtu_type::none) return fail_here("a type of numbers is expected");
    const std::string_view rows = xml_.attribute("NumberOfComponents");
    if (!rows.empty() &&
        (!word_to_integer(rows, array.rows) || array.rows == 0 || array.rows >= 0xFFFFFFFF)) {
        return fail_here("a NumberOfComponents from 1 on is expected");
    }
    if (!read_form(array) || !read_contents(array)) return false;
    arrays.push_back(std::move(array));
    return true;
}

bool vtu_file::read_form(vtu_array& array) {
    const std::string_view form = xml_.attribute("format");
    if (form == "binary") {
        array.written = vtu_array::form::binary;
    } else if (form == "appended") {
        array.written = vtu_array::form::appended;
        if (!word_to_integer(xml_.attribute("offset"), array.offset)) {
            return fail_here("an offset is expected");
        }
    } else if (!form.empty() && form != "ascii") {
        return fail_here("a format of ascii, binary or appended is expected");
    }
    if (array.written != vtu_array::form::ascii && !unread_compressor_.empty()) {
        return fail_here("compressed data are not read: " + unread_compressor_);
    }
    return true;
}

// Text of the array itself, between the elements that it may hold.
bool vtu_file::read_contents(vtu_array& array) {
    std::string& joined = array.joined_text;
    for (;;) {
        switch (xml_.next()) {
        case xml_reader::event::start:
            if (!skip_element()) return false;
            break;
        case xml_reader::event::end:
            if (!joined.empty()) joined.append(word_size, '\0');
            return true;
        case xml_reader::event::text:
            // Blanks behind the first piece stand between numbers.
            if (joined.empty() && array.text.empty() && is_blank(xml_.piece())) break;
            if (joined.empty() && array.text.empty() && xml_.is_verbatim()) {
                array.text = xml_.piece();
            } else {
                if (joined.empty()) joined = array.text;
                joined += xml_.piece();
            }
            break;
        default: return fault();
        }
    }
}

} // namespace kv7::tessmaker
