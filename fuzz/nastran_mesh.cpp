// Reads any bytes as a deck with all that comes with it. Parts of the input between record
// separators are files that the first one can include as a, b and so on; no other file is opened.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "deck_input.h"
#include "formats/file_calls.h"
#include "formats/mesh_readers.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace {

using namespace kv7::tessmaker;
using namespace fuzz;

constexpr unsigned int absent_id = 0xFFFFFFFF;

void check_numbers(const mesh& m) {
    require(m.node_numbers.size() == m.pos.cols());
    std::vector<unsigned int> numbers(m.node_numbers.begin(), m.node_numbers.end());
    std::sort(numbers.begin(), numbers.end());
    require(std::adjacent_find(numbers.begin(), numbers.end()) == numbers.end());
    require(m.element_numbers.size() == m.connect.cols());
    for (const unsigned int n : m.element_numbers) require(n != 0 && n != absent_id);
    for (const unsigned int p : m.pids) require(p != absent_id);
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
    check_report(code, report);
    if (code == 0) {
        check_mesh(result);
        check_numbers(result);
    }
    return 0;
}
