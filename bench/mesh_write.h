// `write_mesh` on a mesh of one type, beside the plain writers of the same arrays.
#ifndef TESSMAKER_BENCH_MESH_WRITE_H
#define TESSMAKER_BENCH_MESH_WRITE_H

#include <cstdint>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

namespace bench {

// With property 1, as the plain writers have it.
inline kv7::tessmaker::mesh mesh_of(const kv7::dense2D<double>& pos,
                                    const kv7::dense2D<unsigned int>& connect,
                                    kv7::element_type type) {
    kv7::tessmaker::mesh m;
    m.pos = pos;
    m.connect = connect;
    m.indices = kv7::dense1D<unsigned int>{0U, static_cast<unsigned int>(connect.cols())};
    m.types = kv7::dense1D<int>{type};
    m.pids.resize(connect.cols(), 1);
    return m;
}

// Digits are those of the plain writers where these have as many as 17, else more.
inline void time_write_mesh(benchmark::State& state, const kv7::tessmaker::mesh& m,
                            kv7::tessmaker::file_format format, const std::string& path) {
    kv7::tessmaker::write_options options;
    options.format = format;
    options.lossy = true; // digits of coordinates
    while (state.KeepRunning()) {
        kv7::tessmaker::file_report report;
        if (kv7::tessmaker::write_mesh(path.c_str(), m, options, report) != 0) {
            state.SkipWithError("not written");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

} // namespace bench

#endif
