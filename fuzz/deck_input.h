// Decks made of any bytes. Parts between record separators are files that the first one can include
// as a, b and so on; no other file is opened.
#ifndef TESSMAKER_FUZZ_DECK_INPUT_H
#define TESSMAKER_FUZZ_DECK_INPUT_H

#include <cstdio>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "formats/deck_files.h"
#include "mesh_checks.h"

namespace fuzz {

inline std::map<std::string, std::string>& included_files() {
    static std::map<std::string, std::string> files;
    return files;
}

inline std::FILE* stream_of(const std::string& bytes) {
    std::FILE* const file = fdopen(memfd_create("deck", 0), "w+b");
    require(file != nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::rewind(file);
    return file;
}

inline kv7::tessmaker::deck_failure open_included(const char* path, std::FILE*& file) {
    const auto found = included_files().find(path);
    if (found == included_files().end()) return kv7::tessmaker::deck_failure::file_not_found;
    file = stream_of(found->second);
    return kv7::tessmaker::deck_failure::none;
}

// The first part; the others become files.
inline std::string split_input(std::string bytes) {
    constexpr char separator = '\x1E';
    included_files().clear();
    std::string first = bytes.substr(0, bytes.find(separator));
    for (char name = 'a'; name <= 'f' && bytes.find(separator) != std::string::npos; ++name) {
        bytes.erase(0, bytes.find(separator) + 1);
        included_files()[std::string(1, name)] = bytes.substr(0, bytes.find(separator));
    }
    return first;
}

} // namespace fuzz

#endif
