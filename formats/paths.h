// Parts of paths of files.
#ifndef TESSMAKER_FORMATS_PATHS_H
#define TESSMAKER_FORMATS_PATHS_H

#include <cstddef>
#include <string_view>

namespace kv7::tessmaker {

// The folder with its last slash; empty if there is none.
constexpr std::string_view folder_of(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1);
}

// The last name of a path.
constexpr std::string_view name_of(std::string_view path) {
    return path.substr(path.rfind('/') + 1); // all of it where there is no slash
}

// The last name without its ending, and the ending, which is empty if there is none. A point at the
// beginning of a name begins an ending, but ends no stem.
constexpr std::string_view stem_of(std::string_view path) {
    const std::string_view name = name_of(path);
    const std::size_t point = name.rfind('.');
    return point == 0 ? name : name.substr(0, point);
}
constexpr std::string_view ending_of(std::string_view path) {
    const std::string_view name = name_of(path);
    const std::size_t point = name.rfind('.');
    return point == std::string_view::npos ? std::string_view() : name.substr(point + 1);
}

} // namespace kv7::tessmaker

#endif
