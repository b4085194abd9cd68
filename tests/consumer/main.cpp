// Touches each family of the library from outside: exported functions, the class, and the
// containers, which cross the interface in both directions.
#include <cstdio>
#include <cstring>

#include <tessmaker/tessmaker.h>

using namespace kv7;

namespace {

class counting_sink : public misc::histogram {
public:
    counting_sink() : histogram(0.0, 1.0, 4) {}
    void process(double value) override {
        ++nbr_calls_;
        histogram::process(value);
    }
    int nbr_calls() const { return nbr_calls_; }

private:
    int nbr_calls_ = 0;
};

int nbr_failed = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    ++nbr_failed;
}

} // namespace

int main() {
    expect(std::strcmp(tessmaker::version(), "5.4.1.0") == 0, "version");

    // Two triangles that touch in an edge, with their corners apart.
    const double corners[6][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    dense2D<double> pos(3, 6);
    dense2D<unsigned int> connect(3, 2);
    for (std::size_t n = 0; n < 6; ++n) {
        for (std::size_t r = 0; r < 3; ++r) pos(r, n) = corners[n][r];
        connect(n % 3, n / 3) = static_cast<unsigned int>(n);
    }
    expect(tessmaker::check_IDs(connect, ET_TRIA3, 6), "check_IDs");
    expect(tessmaker::merge(pos, connect, 1e-6, 0) == 2, "merge");
    expect(tessmaker::simplify(pos, connect, 0) == 2, "simplify");
    expect(pos.cols() == 4 && tessmaker::max_ID(connect) == 3, "result of welding");

    const tessmaker::node_detector nodes(pos);
    const unsigned int corner = nodes.find_closest(vector_fixed<double, 3>{0.9, 0.8, 0.0});
    expect(corner < 4 && pos(0, corner) == 1.0 && pos(1, corner) == 1.0, "find_closest");

    dense1D<unsigned int> unique;
    expect(tessmaker::unique_indices(unique, connect, {}) == 0 && unique.size() == 4,
           "unique_indices");
    expect(unique.push_back(7U) && unique.size() == 5, "push_back");

    counting_sink sink;
    static_cast<misc::histogram&>(sink).process(0.5);
    expect(sink.nbr_calls() == 1 && sink.count(2) == 1, "histogram");

    expect(tessmaker::STL_output(static_cast<std::FILE*>(nullptr), pos, connect, true) == -1,
           "STL_output");

    tessmaker::mesh mesh;
    tessmaker::file_report report;
    std::FILE* const file = std::tmpfile();
    expect(file && std::fputs("<VTKFile type='UnstructuredGrid'/>", file) >= 0, "tmpfile");
    if (!file) return 1;
    std::rewind(file);
    expect(tessmaker::read_mesh(file, tessmaker::file_format::vtu, mesh, report) == -102 &&
               report.error(),
           "read_mesh");
    std::fclose(file);
    return nbr_failed == 0 ? 0 : 1;
}
