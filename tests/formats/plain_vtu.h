// A plain reader of VTU files with appended raw arrays, which trusts its files.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_VTU_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_VTU_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace test {

struct vtu_array {
    std::string type;
    std::size_t nbr_components = 0;
    std::vector<double> values;
};

class vtu_file {
public:
    explicit vtu_file(const std::string& text) {
        const std::string mark = "<AppendedData encoding=\"raw\">\n_";
        const std::size_t start = text.find(mark);
        EXPECT_NE(start, std::string::npos);
        if (start == std::string::npos) return;
        data_ = text.substr(start + mark.size());
        std::string part;
        for (std::size_t at = text.find('<'); at < start; at = text.find('<', at + 1)) {
            const std::string tag = text.substr(at + 1, text.find('>', at) - at - 1);
            if (tag.substr(0, 9) == "DataArray") {
                arrays_[part + '/' + attribute(tag, "Name")] = read(tag);
            } else if (tag[0] != '/') {
                part = tag;
                if (tag.substr(0, 5) == "Piece") piece_ = tag;
            }
        }
        EXPECT_EQ(data_.substr(end_), "\n</AppendedData>\n</VTKFile>\n");
    }

    std::size_t nbr_points() const { return std::stoul(attribute(piece_, "NumberOfPoints")); }
    std::size_t nbr_cells() const { return std::stoul(attribute(piece_, "NumberOfCells")); }
    std::size_t nbr_arrays() const { return arrays_.size(); }
    bool has(const std::string& name) const { return arrays_.count(name) != 0; }
    // By part and name: "PointData/temperature".
    const vtu_array& array(const std::string& name) const {
        static const vtu_array empty{};
        const auto found = arrays_.find(name);
        EXPECT_TRUE(found != arrays_.end()) << name;
        return found != arrays_.end() ? found->second : empty;
    }
    const std::vector<double>& values(const std::string& name) const { return array(name).values; }

private:
    static std::string attribute(const std::string& tag, const std::string& name) {
        const std::size_t at = tag.find(' ' + name + "=\"");
        EXPECT_NE(at, std::string::npos) << name;
        if (at == std::string::npos) return "0";
        const std::size_t begin = at + name.size() + 3;
        return tag.substr(begin, tag.find('"', begin) - begin);
    }
    template <class T> std::vector<double> numbers(std::size_t at, std::uint64_t size) {
        std::vector<double> result(size / sizeof(T));
        for (std::size_t k = 0; k < result.size(); ++k) {
            T value;
            std::memcpy(&value, data_.data() + at + k * sizeof(T), sizeof(T));
            result[k] = static_cast<double>(value);
        }
        return result;
    }
    vtu_array read(const std::string& tag) {
        vtu_array result{
            attribute(tag, "type"), std::stoul(attribute(tag, "NumberOfComponents")), {}};
        EXPECT_EQ(attribute(tag, "format"), "appended");
        const std::size_t at = std::stoul(attribute(tag, "offset"));
        EXPECT_EQ(at, end_);
        std::uint64_t size = 0;
        std::memcpy(&size, data_.data() + at, sizeof size);
        end_ = at + sizeof size + size;
        EXPECT_LE(end_, data_.size());
        if (end_ > data_.size()) return result;
        const std::size_t begin = at + sizeof size;
        if (result.type == "Float64") result.values = numbers<double>(begin, size);
        if (result.type == "Int64") result.values = numbers<std::int64_t>(begin, size);
        if (result.type == "UInt32") result.values = numbers<std::uint32_t>(begin, size);
        if (result.type == "UInt8") result.values = numbers<std::uint8_t>(begin, size);
        return result;
    }

    std::string data_;
    std::string piece_;
    std::map<std::string, vtu_array> arrays_;
    std::size_t end_ = 0;
};

} // namespace test

#endif
