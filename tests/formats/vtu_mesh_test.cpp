// VTU files read as meshes with a report.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/mesh_files.h"
#include "formats/vtk_shapes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;
using table = std::vector<std::vector<double>>;

read_file read(const std::string& contents) { return read_as(file_format::vtu, contents); }

const std::string root = "<VTKFile type=\"UnstructuredGrid\">\n";
const std::string end = "</Piece></UnstructuredGrid></VTKFile>\n";
const std::string points = "<Points><DataArray type=\"Float64\" NumberOfComponents=\"3\">"
                           "0 0 0 1 0 0 0 1 0 0 0 1</DataArray></Points>\n";

std::string piece(std::size_t nbr_points, std::size_t nbr_cells) {
    return "<UnstructuredGrid><Piece NumberOfPoints=\"" + std::to_string(nbr_points) +
           "\" NumberOfCells=\"" + std::to_string(nbr_cells) + "\">\n";
}
std::string array_of(const std::string& name, const std::string& values,
                     const std::string& type = "Int64", const std::string& more = "") {
    return "<DataArray type=\"" + type + "\" Name=\"" + name + "\" " + more + ">" + values +
           "</DataArray>\n";
}
std::string cells(const std::string& connectivity, const std::string& offsets,
                  const std::string& types) {
    return "<Cells>" + array_of("connectivity", connectivity) + array_of("offsets", offsets) +
           array_of("types", types, "UInt8") + "</Cells>\n";
}
const std::string two_cells = cells("0 1 2 0 1 2 3", "3 7", "5 10");

TEST(vtu_mesh, reads_points_and_cells) {
    const read_file file = read(root + piece(4, 2) + points + two_cells + end);
    EXPECT_EQ(file.code, 0) << file.error();
    EXPECT_EQ(list(file.m.pos), (table{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
    EXPECT_EQ(elements_of(file.m),
              (std::vector<plain_element>{{ET_TRIA3, {0, 1, 2}, 1}, {ET_TETRA4, {0, 1, 3, 2}, 1}}));
    EXPECT_EQ(file.sentences(), strings());
    EXPECT_EQ(file.counts(), "Points 4/4, Cells 2/2");
    EXPECT_EQ(read(root + piece(0, 0) + end).code, 0);
    EXPECT_EQ(read(root + piece(0, 0) + "<PointData>" +
                   array_of("a", "", "Float32", "format=\"binary\"") + "</PointData>" + end)
                  .m.fields.size(),
              1U);
}

TEST(vtu_mesh, every_cell_has_its_nodes_in_place) {
    for (const vtk_shape& shape : vtk_shapes()) {
        std::ostringstream coordinates;
        coordinates.precision(17);
        std::string connectivity;
        for (const auto& p : shape.points) {
            coordinates << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
            connectivity += std::to_string(&p - shape.points.data()) + ' ';
        }
        const std::string n = std::to_string(shape.points.size());
        const read_file file =
            read(root + piece(shape.points.size(), 1) + "<Points>" +
                 array_of("p", coordinates.str(), "Float64", "NumberOfComponents=\"3\"") +
                 "</Points>" + cells(connectivity, n, std::to_string(shape.cell_type)) + end);
        ASSERT_EQ(list(file.m.types), (std::vector<int>{shape.type})) << file.error();
        expect_in_place(file.m, 0, shape.type);
    }
}

TEST(vtu_mesh, data_are_fields) {
    const read_file file =
        read(root + "<UnstructuredGrid><FieldData>" + array_of("TIME", "1", "Float64") +
             "<Array type=\"String\" Name=\"a\">65 0</Array></FieldData>\n"
             "<Piece NumberOfPoints=\"4\" NumberOfCells=\"3\">\n<PointData Scalars=\"s\">" +
             array_of("a &amp; b", "1<!-- 9 --> 2<!-- --> <!-- -->3 <![CDATA[4]]>", "Float32") +
             array_of("v", "1 2 3 4 nan -inf 7 8", "Float64", "NumberOfComponents='2'") +
             array_of("t",
                      "1 2 3 2 5 6 3 6 9 1 2 3 2 5 6 3 6 9 1 2 3 2 5 6 3 6 9 1 2 3 2 5 6 3 6 -9"
                      "<InformationKey name='x'><Value>5</Value></InformationKey>",
                      "Float64", "NumberOfComponents=\"9\"") +
             "<Array type=\"String\" Name=\"names\">65 0</Array>" +
             array_of("text", "x", "String") + "</PointData>\n<CellData>" +
             array_of("c", "1 2 3", "UInt16") + "</CellData><Other><DataArray/></Other>" + points +
             cells("0 1 2 0 1 2 3 3", "3 7 8", "5 7 1") + end);
    ASSERT_EQ(file.code, 0) << file.error();
    ASSERT_EQ(file.m.fields.size(), 4U);
    EXPECT_EQ(file.m.fields[0].name, "a & b");
    EXPECT_EQ(list(file.m.fields[0].values), (table{{1}, {2}, {3}, {4}}));
    EXPECT_TRUE(std::isnan(file.m.fields[1].values(0, 2)));
    EXPECT_EQ(file.m.fields[1].values(1, 2), -INFINITY);
    EXPECT_EQ(list(file.m.fields[2].values)[3], (std::vector<double>{1, 2, 5, 3, 6, -9}));
    EXPECT_EQ(file.m.fields[3].at, field_place::elements);
    EXPECT_EQ(list(file.m.fields[3].values), (table{{1}, {3}}));
    EXPECT_EQ(file.sentences(),
              (strings{"FieldData: 2 arrays left out, first in line 2: data of the file as a whole",
                       "PointData: 2 arrays of text left out, first in line 8: a field has numbers",
                       "polygon: 1 left out: no mesh element"}));
    EXPECT_EQ(file.counts(), "FieldData 2/0, PointData 5/3, CellData 1/1, Points 4/4, Cells 3/2");
}

TEST(vtu_mesh, faults_say_what_was_expected) {
    const auto error = [](const std::string& text) {
        const read_file file = read(text);
        EXPECT_EQ(file.code, -102) << text;
        return file.error();
    };
    const std::string start = root + piece(4, 2);
    EXPECT_EQ(error(""), "an element is expected");
    EXPECT_EQ(error("\n<a"), "line 2, column 3: an attribute or the end of a is expected");
    EXPECT_EQ(error("\r\n <a/>"),
              "line 2, column 2: a VTKFile of type UnstructuredGrid is expected");
    EXPECT_EQ(error("<VTKFile type=\"PolyData\"/>"),
              "a VTKFile of type UnstructuredGrid is expected");
    const auto with = [&](const std::string& attribute) {
        return error("\n<VTKFile type=\"UnstructuredGrid\" " + attribute + "/>");
    };
    EXPECT_EQ(with("byte_order=\"Big\""),
              "line 2, column 1: a byte_order of LittleEndian or BigEndian is expected");
    EXPECT_EQ(with("header_type=\"Int32\""),
              "line 2, column 1: a header_type of UInt32 or UInt64 is expected");
    EXPECT_EQ(with(""), "a Piece is expected");
    EXPECT_EQ(error(root + "<UnstructuredGrid><Piece NumberOfPoints='4'/>"),
              "line 2, column 19: NumberOfCells is expected, a number below 4294967295");
    EXPECT_EQ(error(root + "<UnstructuredGrid><Piece NumberOfPoints='4294967295'/>"),
              "line 2, column 19: NumberOfPoints is expected, a number below 4294967295");
    EXPECT_EQ(error(start + "</Piece><Piece NumberOfPoints='0'/>"),
              "line 3, column 9: NumberOfCells is expected, a number below 4294967295");
    EXPECT_EQ(error(start + two_cells + end), "the array of Points is expected");
    EXPECT_EQ(error(start + "<Points></Points>" + end), "the array of Points is expected");
    const auto with_points = [&](const std::string& array) {
        return error(start + "<Points>\n" + array + "</Points>" + end);
    };
    const std::string three = "NumberOfComponents=\"3\"";
    EXPECT_EQ(with_points(array_of("p", "1 2 3")),
              "line 4, column 1: p: three coordinates are expected");
    EXPECT_EQ(with_points(array_of("", "1 2 3", "Int8", three)),
              "line 4, column 1: 4 points are expected, and 3 coordinates are there");
    EXPECT_EQ(with_points(array_of("p", "1 2 3 4 5 6 7 8 9 10 11 nan", "Float32", three)),
              "line 4, column 1: p: a coordinate of point 3 is no finite number");
    EXPECT_EQ(with_points(array_of("p", "1 2 x\x01", "Float32", three)),
              "line 4, column 1: p: x? is no number");
    EXPECT_EQ(with_points(array_of("p", "", "Float16")),
              "line 4, column 1: a type of numbers is expected");
    EXPECT_EQ(with_points(array_of("p", "", "Int8", "NumberOfComponents=\"0\"")),
              "line 4, column 1: a NumberOfComponents from 1 on is expected");
    EXPECT_EQ(with_points(array_of("p", "", "Int8", "format=\"appended\"")),
              "line 4, column 1: an offset is expected");
    EXPECT_EQ(with_points(array_of("p", "", "Int8", "format=\"text\"")),
              "line 4, column 1: a format of ascii, binary or appended is expected");
    EXPECT_EQ(with_points(array_of("p", "", "Int8", three + " format=\"appended\" offset=\"0\"")),
              "line 4, column 1: p: the data end too early");
    EXPECT_EQ(with_points(array_of("p", "", "Int8", three + " format=\"appended\" offset=\"9\"")),
              "line 4, column 1: p: the data end too early");
    const std::string binary = three + " format=\"binary\"";
    EXPECT_EQ(with_points(array_of("p", "AA", "Int8", binary)),
              "line 4, column 1: p: the data end too early");
    for (const char* const bad : {"AA?A", "A===", "=AAA", "AA=A"}) {
        EXPECT_EQ(with_points(array_of("p", bad, "Int8", binary)),
                  "line 4, column 1: p: base64 is expected");
    }
    EXPECT_EQ(with_points(array_of("p", "/////w==", "Int8", binary)),
              "line 4, column 1: p: the data end too early");
    EXPECT_EQ(with_points(array_of("p", "AwAAAA==AA?A", "Int8", binary)),
              "line 4, column 1: p: base64 is expected");
    EXPECT_EQ(with_points(array_of("p", "AwAAAA==AAA=", "Int8", binary)),
              "line 4, column 1: p: the data end too early");
    EXPECT_EQ(with_points(array_of("p", "AwAAAA==AAAA", "Int16", binary)),
              "line 4, column 1: p: the data end within a number");
    EXPECT_EQ(with_points(array_of("a\x01\nb\xC3\xA4&#27;", "1 2 3")),
              "line 4, column 1: a??b???: three coordinates are expected");
    EXPECT_EQ(with_points(array_of(std::string(100000, 'p'), "1 2 3")),
              "line 4, column 1: " + std::string(32, 'p') + ": three coordinates are expected");
    EXPECT_EQ(with_points(array_of("p", std::string(100000, 'x'), "Float32", three)),
              "line 4, column 1: p: " + std::string(32, 'x') + " is no number");
    const auto with_cells = [&](const std::string& text) {
        return error(root + piece(4, 2) + points + text + end);
    };
    EXPECT_EQ(with_cells(""), "the array offsets of Cells is expected");
    EXPECT_EQ(with_cells("<Cells>" + array_of("offsets", "3 7") + "</Cells>"),
              "the array types of Cells is expected");
    EXPECT_EQ(
        with_cells("<Cells>" + array_of("offsets", "3 7") + array_of("types", "5 10") + "</Cells>"),
        "the array connectivity of Cells is expected");
    EXPECT_EQ(with_cells(cells("0 1 2 0 1 2 3", "3 7 8", "5 10")),
              "line 5, column 1: offsets: 2 values are expected, and 3 are there");
    EXPECT_EQ(with_cells(cells("0 1 2 0 1 2 3", "3 7", "5")),
              "line 6, column 1: types: 2 values are expected, and 1 are there");
    for (const char* const bad : {"3 8", "3 2", "3 6.5", "3 nan", "3 -1", "3 1e300"}) {
        EXPECT_EQ(with_cells(cells("0 1 2 0 1 2 3", bad, "5 10")),
                  "line 5, column 1: offsets: the offset of cell 1 is expected from 3 to 7");
    }
    for (const char* const bad : {"4", "-1", "0.5", "nan", "1e300"}) {
        EXPECT_EQ(with_cells(cells(std::string("0 ") + bad + " 2 0 1 2 3", "3 7", "5 10")),
                  "line 4, column 8: connectivity: point 1 of the list is expected below 4");
        if (bad[0] == '4') continue;
        EXPECT_EQ(with_cells(cells("0 1 2 0 1 2 3", "3 7", std::string("5 ") + bad)),
                  "line 6, column 1: types: types are whole numbers");
    }
    EXPECT_EQ(with_cells(cells("0 1 2 0 1 2 3", "3 7", "5 12")),
              "a hexahedron has 8 nodes, and this one 4");
    EXPECT_EQ(with_cells(two_cells + "<PointData>" + array_of("a", "1 2 3") + "</PointData>"),
              "line 8, column 12: a: 4 values are expected, and 3 are there");
    const auto with_appended = [&](const std::string& text) {
        return error(root + piece(0, 0) + "</Piece></UnstructuredGrid>\n" + text);
    };
    EXPECT_EQ(with_appended("<AppendedData/>"),
              "line 4, column 1: an encoding of raw or base64 is expected");
    EXPECT_EQ(with_appended("<AppendedData encoding=\"raw\">x"),
              "line 4, column 1: the appended data are expected to begin with _");
    EXPECT_EQ(error(root + piece(0, 0) + "<a>"),
              "line 3, column 4: the end of a is expected, and the file ends");
}

TEST(vtu_mesh, many_arrays_cant_share_data) {
    std::string appended = std::string("\x10\0\0\0", 4) + std::string(16, '\0');
    std::string text = root + piece(4, 0) + points + "<PointData>";
    for (int k = 0; k < 2; ++k) {
        text += array_of("a" + std::to_string(k), "", "Float32", "format='appended' offset='0'");
    }
    text += "</PointData></Piece></UnstructuredGrid><AppendedData encoding='raw'>_" + appended;
    EXPECT_EQ(read(text).error(), "line 5, column 1: a1: arrays have the same data");
}

TEST(vtu_mesh, appended_base64_has_no_blanks) {
    const auto text = [](const std::string& appended) {
        return root + piece(1, 0) +
               "<Points><DataArray type='Int8' NumberOfComponents='3' format='appended' "
               "offset='0'/></Points></Piece></UnstructuredGrid>"
               "<AppendedData encoding='base64'>_" +
               appended + "</AppendedData></VTKFile>";
    };
    EXPECT_EQ(read(text("AwAAAAECAw==\n")).error(), "none");
    EXPECT_EQ(read(text("AwAA AAECAw==")).error(), "line 3, column 9: base64 is expected");
    EXPECT_EQ(read(text(std::string(1000, ' ') + "AwAAAAECAw==")).error(),
              "line 3, column 9: base64 is expected");
}

TEST(vtu_mesh, many_arrays_of_text_are_told_by_the_line_of_the_first) {
    std::string text = root + piece(0, 0) + "\n<PointData>\n";
    for (int k = 0; k < 50000; ++k) text += "<Array/>\n";
    const read_file file = read(text + "</PointData>" + end);
    EXPECT_EQ(file.sentences(),
              (strings{"PointData: 50000 arrays of text left out, first in line 5: a field has "
                       "numbers"}));
}

// --- random files, written from what they are to hold ---

struct plain_field {
    std::string name;
    bool is_at_points = true;
    std::size_t rows = 1;
    std::vector<double> values;
};

struct plain_file {
    std::vector<double> pos;
    std::vector<std::vector<double>> cells;
    std::vector<double> types;
    std::vector<bool> is_element;
    std::vector<plain_element> elements;
    std::vector<plain_field> fields;
};

plain_file random_model(random_source& random) {
    plain_file model;
    const std::size_t nbr_points = random.between(1, 20);
    for (std::size_t k = 0; k < 3 * nbr_points; ++k) {
        model.pos.push_back(static_cast<double>(random.below(100)));
    }
    const std::size_t nbr_cells = random.below(8);
    for (std::size_t c = 0; c < nbr_cells; ++c) {
        const bool is_known = !random.one_in(5);
        const vtk_shape& shape = random.one_of(vtk_shapes());
        std::vector<double> cell(is_known ? shape.points.size() : random.below(6));
        for (double& id : cell) id = static_cast<double>(random.below(nbr_points));
        model.types.push_back(is_known ? shape.cell_type : 7);
        model.is_element.push_back(is_known);
        if (is_known) {
            plain_element e{shape.type, {}, 1};
            table around;
            for (const double id : cell) {
                const double* const p = model.pos.data() + 3 * static_cast<std::size_t>(id);
                around.emplace_back(p, p + 3);
            }
            for (const std::size_t place : order_in_cell(shape, around)) {
                e.nodes.push_back(static_cast<unsigned int>(cell[place]));
            }
            model.elements.push_back(e);
        }
        model.cells.push_back(cell);
    }
    for (std::size_t n = random.below(5); n != 0; --n) {
        plain_field f;
        f.name = "f" + std::to_string(n);
        f.is_at_points = random.one_in(2);
        f.rows = random.between(1, 8);
        const std::size_t nbr_tuples = f.is_at_points ? nbr_points : nbr_cells;
        for (std::size_t k = 0; k < f.rows * nbr_tuples; ++k) {
            f.values.push_back(static_cast<double>(random.below(120)));
        }
        model.fields.push_back(f);
    }
    return model;
}

std::string base64(const std::string& bytes) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t k = 0; k < bytes.size(); k += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const unsigned int byte =
                k + i < bytes.size() ? static_cast<unsigned char>(bytes[k + i]) : 0U;
            group = group << 8 | byte;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            const bool is_there = k + i <= bytes.size();
            text += is_there ? digits[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

class random_writer {
public:
    explicit random_writer(random_source& random)
        : random_(random), is_big_(random.one_in(2)), header_(random.one_in(2) ? 8 : 4),
          is_appended_base64_(random.one_in(2)) {}

    std::string write(const plain_file& model) {
        text_ = "<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" version=\"1.0\"";
        if (is_big_ || random_.one_in(2)) {
            text_ += std::string(" byte_order=\"") + (is_big_ ? "Big" : "Little") + "Endian\"";
        }
        if (header_ == 8 || random_.one_in(2)) {
            text_ += std::string(" header_type=\"UInt") + (header_ == 8 ? "64\"" : "32\"");
        }
        text_ += ">\n" + piece(model.pos.size() / 3, model.cells.size());
        std::vector<std::size_t> order{0, 1, 2, 3};
        random_.shuffle(order);
        for (const std::size_t k : order) {
            if (k < 2) {
                put_fields(model, k == 0);
            } else if (k == 2) {
                text_ += "<Points>";
                put("Points", 3, model.pos, random_.one_in(2) ? "Float32" : "Float64");
                text_ += "</Points>\n";
            } else {
                put_cells(model);
            }
        }
        text_ += "</Piece></UnstructuredGrid>\n";
        if (!appended_.empty() || random_.one_in(2)) {
            text_ += std::string("<AppendedData encoding=\"") +
                     (is_appended_base64_ ? "base64" : "raw") + "\">\n _" + appended_ +
                     "\n</AppendedData>";
        }
        return text_ + "\n</VTKFile>\n";
    }

private:
    void put_fields(const plain_file& model, bool is_at_points) {
        const std::string name = is_at_points ? "PointData" : "CellData";
        text_ += '<' + name + ">\n";
        for (const plain_field& f : model.fields) {
            if (f.is_at_points == is_at_points) put(f.name, f.rows, f.values, "");
        }
        text_ += "</" + name + ">\n";
    }
    void put_cells(const plain_file& model) {
        std::vector<double> connectivity;
        std::vector<double> offsets;
        for (const std::vector<double>& cell : model.cells) {
            connectivity.insert(connectivity.end(), cell.begin(), cell.end());
            offsets.push_back(static_cast<double>(connectivity.size()));
        }
        text_ += "<Cells>";
        put("connectivity", 1, connectivity, random_.one_in(2) ? "Int64" : "UInt32");
        put("offsets", 1, offsets, random_.one_in(2) ? "Int32" : "UInt64");
        put("types", 1, model.types, "UInt8");
        text_ += "</Cells>\n";
    }

    template <class T> std::string bytes_of(const std::vector<double>& values) const {
        std::string bytes;
        for (const double value : values) {
            const T number = static_cast<T>(value);
            std::string raw(sizeof(T), '\0');
            std::memcpy(raw.data(), &number, sizeof(T));
            if (is_big_) std::reverse(raw.begin(), raw.end());
            bytes += raw;
        }
        return bytes;
    }
    std::string bytes_of(const std::string& type, const std::vector<double>& values) const {
        if (type == "Int8") return bytes_of<std::int8_t>(values);
        if (type == "UInt8") return bytes_of<std::uint8_t>(values);
        if (type == "Int16") return bytes_of<std::int16_t>(values);
        if (type == "UInt16") return bytes_of<std::uint16_t>(values);
        if (type == "Int32") return bytes_of<std::int32_t>(values);
        if (type == "UInt32") return bytes_of<std::uint32_t>(values);
        if (type == "Int64") return bytes_of<std::int64_t>(values);
        if (type == "UInt64") return bytes_of<std::uint64_t>(values);
        if (type == "Float32") return bytes_of<float>(values);
        return bytes_of<double>(values);
    }

    void put(const std::string& name, std::size_t rows, std::vector<double> values,
             std::string type) {
        if (type.empty()) {
            type = random_.one_of(strings{"Int8", "UInt8", "Int16", "UInt16", "Int32", "UInt32",
                                          "Int64", "UInt64", "Float32", "Float64"});
        }
        const std::string bytes = bytes_of(type, values);
        const double size = static_cast<double>(bytes.size());
        const std::string header =
            header_ == 8 ? bytes_of<std::uint64_t>({size}) : bytes_of<std::uint32_t>({size});
        text_ += "<DataArray type=\"" + type + "\" Name=\"" + name + '"';
        if (rows != 1 || random_.one_in(2)) {
            text_ += " NumberOfComponents=\"" + std::to_string(rows) + '"';
        }
        const std::size_t form = random_.below(3);
        if (form == 0) {
            text_ += " format=\"ascii\">";
            for (const double value : values) {
                text_ += std::to_string(static_cast<int>(value)) + (random_.one_in(5) ? "\n" : " ");
            }
        } else if (form == 1) {
            text_ += " format=\"binary\">\n  ";
            text_ += random_.one_in(2) ? base64(header + bytes) : base64(header) + base64(bytes);
            text_ += '\n';
        } else {
            text_ += " format=\"appended\" offset=\"" + std::to_string(appended_.size()) + "\">";
            appended_ += is_appended_base64_ ? base64(header) + base64(bytes) : header + bytes;
        }
        text_ += "</DataArray>\n";
    }

    random_source& random_;
    bool is_big_;
    std::size_t header_;
    bool is_appended_base64_;
    std::string text_;
    std::string appended_;
};

TEST(vtu_mesh, equals_what_was_written_in_any_form) {
    random_source random(71);
    std::size_t nbr_elements = 0;
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        const plain_file model = random_model(random);
        const std::string text = random_writer(random).write(model);
        const read_file file = read(text);
        ASSERT_EQ(file.code, 0) << file.error() << '\n' << text;
        std::vector<double> pos;
        for (const std::vector<double>& p : list(file.m.pos)) {
            pos.insert(pos.end(), p.begin(), p.end());
        }
        ASSERT_EQ(pos, model.pos);
        ASSERT_EQ(elements_of(file.m), model.elements);
        ASSERT_EQ(file.m.fields.size(), model.fields.size());
        for (const plain_field& wanted : model.fields) {
            const auto found = std::find_if(file.m.fields.begin(), file.m.fields.end(),
                                            [&](const field& f) { return f.name == wanted.name; });
            ASSERT_NE(found, file.m.fields.end());
            table columns;
            for (std::size_t c = 0; c * wanted.rows < wanted.values.size(); ++c) {
                const double* const first = wanted.values.data() + c * wanted.rows;
                if (!wanted.is_at_points && !model.is_element[c]) continue;
                columns.emplace_back(first, first + wanted.rows);
            }
            ASSERT_EQ(list(found->values), columns);
        }
        nbr_elements += model.elements.size();
    }
    EXPECT_GT(nbr_elements, 1000U);
}

TEST(vtu_mesh, extreme_numbers_of_every_type_are_read) {
    const auto value = [](const std::string& type, const std::string& bytes) {
        const std::string header(1, static_cast<char>(bytes.size()));
        const std::string text = base64(header + std::string(3, '\0') + bytes);
        const read_file file = read(
            root + piece(1, 0) + "<Points>" +
            array_of("p", "0 0 0", "Int8", "NumberOfComponents=\"3\"") + "</Points><PointData>" +
            array_of("a", text, type, "format=\"binary\"") + "</PointData>" + end);
        return file.m.fields.empty() ? -0.5 : file.m.fields[0].values(0, 0);
    };
    const std::string most = "\x7F";
    const std::string least = "\x80";
    const auto times = [](std::size_t n, char c) { return std::string(n, c); };
    EXPECT_EQ(value("Int8", least), -128);
    EXPECT_EQ(value("UInt8", "\xFF"), 255);
    EXPECT_EQ(value("Int16", times(1, '\0') + least), -32768);
    EXPECT_EQ(value("UInt16", "\xFF\xFF"), 65535);
    EXPECT_EQ(value("Int32", times(3, '\0') + least), -2147483648.0);
    EXPECT_EQ(value("UInt32", times(4, '\xFF')), 4294967295.0);
    EXPECT_EQ(value("Int64", times(7, '\0') + least), -0x1p63);
    EXPECT_EQ(value("UInt64", times(8, '\xFF')), 0x1p64);
    EXPECT_EQ(value("Int64", times(7, '\xFF') + most), 0x1p63);
    EXPECT_EQ(value("Float32", std::string("\0\0\x80\x7F", 4)), INFINITY);
    EXPECT_EQ(value("Float64", std::string("\0\0\0\0\0\0\xF0\xBF", 8)), -1);
}

TEST(vtu_mesh, cut_off_at_every_byte_is_a_fault_unless_all_arrays_are_there) {
    random_source random(73);
    for (int k = 0; k < 30; ++k) {
        const plain_file model = random_model(random);
        const std::string text = random_writer(random).write(model);
        for (std::size_t size = 0; size < text.size(); ++size) {
            const read_file file = read(text.substr(0, size));
            if (file.code == 0) {
                ASSERT_EQ(elements_of(file.m), model.elements);
                ASSERT_EQ(file.m.fields.size(), model.fields.size());
                const bool is_whole = size + 1 == text.size(); // but for the end of its last line
                ASSERT_TRUE(is_whole || text.find("<AppendedData") < size);
            } else {
                ASSERT_EQ(file.code, -102);
            }
        }
    }
}

TEST(vtu_mesh, changed_bytes_give_a_mesh_or_a_fault) {
    random_source random(79);
    for (std::uint64_t k = 0; k < nbr_runs(3000); ++k) {
        read_changed(file_format::vtu, random_writer(random).write(random_model(random)), random);
    }
}

TEST(vtu_mesh, memory_failure_is_a_code_and_an_empty_mesh) {
    random_source random(83);
    for (int k = 0; k < 4; ++k) {
        const std::string text = random_writer(random).write(random_model(random));
        EXPECT_GT(read_failing(file_format::vtu, text), 20U);
    }
}

} // namespace
