// The few helpers with which tests write down arrays and look at them.
#ifndef TESSMAKER_TESTS_SUPPORT_MESHES_H
#define TESSMAKER_TESTS_SUPPORT_MESHES_H

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "tessmaker/containers.h"

namespace test {

using kv7::dense1D;
using kv7::dense2D;

inline constexpr unsigned int none = 0xFFFFFFFFU;

// An array given column by column.
template <class T> dense2D<T> columns(std::initializer_list<std::initializer_list<T>> values) {
    dense2D<T> array;
    if (values.size() == 0) return array;
    array.resize(values.begin()->size(), values.size());
    std::size_t c = 0;
    for (const auto& column : values) {
        std::size_t r = 0;
        for (const T& v : column) array(r++, c) = v;
        ++c;
    }
    return array;
}
inline dense2D<unsigned int>
connectivity(std::initializer_list<std::initializer_list<unsigned int>> values) {
    return columns<unsigned int>(values);
}
inline dense2D<double> points(std::initializer_list<std::initializer_list<double>> values) {
    return columns<double>(values);
}

// The same shape and values on a block of its own with `ld == rows + extra`, the gaps filled with
// `gap`. The view starts `extra` elements into its block.
template <class T> dense2D<T> with_gaps(const dense2D<T>& source, std::size_t extra, T gap) {
    if (source.empty()) return dense2D<T>();
    dense2D<T> parent(source.rows() + extra, source.cols() + 1, gap);
    dense2D<T> view = parent.sub_matrix(extra, 0, source.rows(), source.cols());
    for (std::size_t c = 0; c < source.cols(); ++c) {
        for (std::size_t r = 0; r < source.rows(); ++r) view(r, c) = source(r, c);
    }
    return view;
}

template <class T> std::vector<T> list(const dense1D<T>& values) {
    return std::vector<T>(values.begin(), values.end());
}
template <class T> std::vector<std::vector<T>> list(const dense2D<T>& values) {
    std::vector<std::vector<T>> result(values.cols());
    for (std::size_t c = 0; c < values.cols(); ++c) {
        result[c].assign(values.column(c), values.column(c) + values.rows());
    }
    return result;
}
template <class T> dense1D<T> vector_of(const std::vector<T>& values) {
    dense1D<T> result(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) result[i] = values[i];
    return result;
}

} // namespace test

#endif
