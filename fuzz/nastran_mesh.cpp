// Reads any bytes as a deck with all that comes with it. Checks that a mesh is whole, that a
// failure says why, and that keywords were not read more often than seen. Parts of the input
// between record separators are files that the first one can include as a, b and so on; no other
// file is opened.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "formats/file_calls.h"
#include "formats/mesh_readers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace {

using namespace kv7::tessmaker;

constexpr char separator = '\x1E';
constexpr unsigned int absent_id = 0xFFFFFFFF;

void require(bool condition) {
    if (!condition) std::abort();
}

std::map<std::string, std::string>& included_files() {
    static std::map<std::string, std::string> files;
    return files;
}

std::FILE* stream_of(const std::string& bytes) {
    std::FILE* const file = fdopen(memfd_create("deck", 0), "w+b");
    require(file != nullptr);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::rewind(file);
    return file;
}

deck_failure open_included(const char* path, std::FILE*& file) {
    const auto found = included_files().find(path);
    if (found == included_files().end()) return deck_failure::file_not_found;
    file = stream_of(found->second);
    return deck_failure::none;
}

// The first part; the others become files.
std::string split_input(std::string bytes) {
    included_files().clear();
    std::string first = bytes.substr(0, bytes.find(separator));
    for (char name = 'a'; name <= 'f' && bytes.find(separator) != std::string::npos; ++name) {
        bytes.erase(0, bytes.find(separator) + 1);
        included_files()[std::string(1, name)] = bytes.substr(0, bytes.find(separator));
    }
    return first;
}

void check_numbers(const mesh& m) {
    require(m.node_numbers.size() == m.pos.cols());
    std::vector<unsigned int> numbers(m.node_numbers.begin(), m.node_numbers.end());
    std::sort(numbers.begin(), numbers.end());
    require(std::adjacent_find(numbers.begin(), numbers.end()) == numbers.end());
    require(m.element_numbers.size() == m.connect.cols());
    for (const unsigned int n : m.element_numbers) require(n != 0 && n != absent_id);
    for (const unsigned int p : m.pids) require(p != absent_id);
}

void check_mesh(const mesh& m) {
    check_numbers(m);
    require(m.pos.empty() || m.pos.rows() == 3);
    require(m.pids.size() == m.connect.cols());
    require(m.indices.size() == m.types.size() + 1);
    require(m.indices[0] == 0 && m.indices[m.types.size()] == m.connect.cols());
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        require(m.indices[k] < m.indices[k + 1]);
        const std::size_t n = nbr_nodes(static_cast<kv7::element_type>(m.types[k]));
        for (std::size_t c = m.indices[k]; c < m.indices[k + 1]; ++c) {
            for (std::size_t r = 0; r < m.connect.rows(); ++r) {
                require(r < n ? m.connect(r, c) < m.pos.cols() : m.connect(r, c) == absent_id);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string deck = split_input({reinterpret_cast<const char*>(data), size});
    std::FILE* const file = stream_of(deck);
    mesh result;
    file_report report;
    const int code = with_report(report, "", file_format::nastran, [&](report_builder& builder) {
        return read_nastran_mesh(file, result, builder, open_included);
    });
    std::fclose(file);
    require(code == 0 || code == file_failed || code == file_malformed);
    require((code == 0) == (report.error() == nullptr));
    if (code == 0) check_mesh(result);
    for (const keyword_count& count : report.counts()) require(count.read <= count.seen);
    return 0;
}
