// Random sequences of operations on views that share blocks, step by step against a plain model:
// a block is a list of cells, a view is a place on one.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;

namespace {

// What an element must be, or nothing where it may be anything.
using cell = std::optional<double>;

// Elements are 8 bytes, so that a block holds exactly what was asked for.
struct model_block {
    std::vector<cell> cells; // as many as the capacity

    // The caller's memory that the block stands on or once stood on, and what must be in it.
    std::unique_ptr<double[]> wrapped;
    std::vector<cell> left_behind;

    std::size_t capacity() const { return cells.size(); }
    void grow(std::size_t min_capacity, std::size_t nbr_kept, std::size_t factor) {
        if (wrapped && left_behind.empty()) left_behind = cells;
        const std::size_t old = capacity();
        cells.resize(std::max({std::size_t{2}, old * factor, min_capacity}));
        for (std::size_t i = std::min(nbr_kept, old); i < capacity(); ++i) cells[i].reset();
    }
    void expect_callers_memory_untouched() const {
        for (std::size_t i = 0; wrapped && i < left_behind.size(); ++i) {
            ASSERT_TRUE(!left_behind[i] || wrapped[i] == *left_behind[i]) << i;
        }
    }
};
using block_ptr = std::shared_ptr<model_block>;

block_ptr wrapped_block(test::random_source& random, std::size_t n) {
    const block_ptr block = std::make_shared<model_block>();
    block->wrapped = std::make_unique<double[]>(n);
    for (std::size_t i = 0; i < n; ++i) {
        block->wrapped[i] = static_cast<double>(random.below(1000));
        block->cells.emplace_back(block->wrapped[i]);
    }
    return block;
}

// Views stand on one block where the model says so, and nowhere else.
class block_register {
public:
    void expect_consistent(const model_block* block, const double* memory, std::size_t first) {
        ASSERT_EQ(memory == nullptr, block->capacity() == 0);
        if (memory == nullptr) return;
        const double* const start = memory - first;
        const auto [of_block, new_block] = start_of_.emplace(block, start);
        ASSERT_EQ(of_block->second, start);
        const auto [of_start, new_start] = block_at_.emplace(start, block);
        ASSERT_EQ(of_start->second, block);
    }

private:
    std::map<const model_block*, const double*> start_of_;
    std::map<const double*, const model_block*> block_at_;
};

struct model_vector {
    block_ptr block = std::make_shared<model_block>();
    std::size_t size = 0;
    std::size_t first = 0;

    cell& at(std::size_t i) const { return block->cells[first + i]; }
    std::vector<cell> values() const {
        const auto begin = block->cells.begin() + static_cast<std::ptrdiff_t>(first);
        return {begin, begin + static_cast<std::ptrdiff_t>(size)};
    }
    void make_room(std::size_t n, std::size_t nbr_kept, std::size_t factor) const {
        if (block->capacity() - first < n) block->grow(first + n, first + nbr_kept, factor);
    }
    void fill(std::size_t from, std::size_t to, const cell& v) const {
        for (std::size_t i = from; i < to; ++i) at(i) = v;
    }
    void resize(std::size_t n) {
        if (n > size) make_room(n, size, 1);
        size = n;
    }
    void resize(std::size_t n, double v) {
        const std::size_t old = size;
        resize(n);
        fill(old, n, v);
    }
    void push_back(double v) {
        if (first + size >= block->capacity()) block->grow(first + size + 1, first + size, 2);
        at(size++) = v;
    }
    void append(const model_vector& source) {
        const std::size_t n = source.size;
        const std::vector<cell> added = source.values();
        if (block->capacity() - first < size + n) make_room(size + std::max(size, n), size, 1);
        for (std::size_t i = 0; i < n; ++i) at(size + i) = added[i];
        size += n;
    }
    void copy(const model_vector& source) {
        const std::vector<cell> taken = source.values();
        if (block == source.block) {
            block = std::make_shared<model_block>();
            first = 0;
        }
        make_room(taken.size(), 0, 1);
        size = taken.size();
        for (std::size_t i = 0; i < size; ++i) at(i) = taken[i];
    }
};

struct vector_pair {
    dense1D<double> real;
    model_vector model;
};

void expect_same(const std::vector<vector_pair>& views) {
    block_register blocks;
    for (const auto& [real, model] : views) {
        ASSERT_EQ(real.size(), model.size);
        ASSERT_EQ(real.capacity(), model.block->capacity() - model.first);
        ASSERT_NO_FATAL_FAILURE(
            blocks.expect_consistent(model.block.get(), real.data(), model.first));
        for (std::size_t i = 0; i < model.size; ++i) {
            ASSERT_TRUE(!model.at(i) || real[i] == *model.at(i)) << i;
        }
    }
}

// One random operation on view `a`, with `b` as its partner.
void step(test::random_source& random, vector_pair& a, vector_pair& b,
          std::vector<block_ptr>& wrapped) {
    const double v = static_cast<double>(random.below(1000));
    const std::size_t n = random.below(40);
    model_vector& model = a.model;
    switch (random.below(19)) {
    case 0:
        a = {dense1D<double>(n), {}};
        a.model.resize(n);
        break;
    case 1:
        a = {dense1D<double>(n, v), {}};
        a.model.resize(n, v);
        break;
    case 2:
        a = {dense1D<double>{v, v + 1, v + 2}, {}};
        a.model.resize(3);
        for (std::size_t i = 0; i < 3; ++i) a.model.at(i) = v + static_cast<double>(i);
        break;
    case 3:
    case 4: a = vector_pair(b); break;
    case 5:
    case 6: {
        const std::size_t first = random.below(b.model.size + 1);
        const std::size_t size = random.below(b.model.size - first + 1);
        const vector_pair part{b.real.sub_vector(first, size),
                               {b.model.block, size, b.model.first + first}};
        a = part;
        break;
    }
    case 7:
        if (model.size == 0) break;
        a.real[n % model.size] = v;
        model.at(n % model.size) = v;
        break;
    case 8:
        a.real = v;
        model.fill(0, model.size, v);
        break;
    case 9:
    case 10:
        for (std::size_t k = 0; k <= n % 5; ++k) {
            const bool own = model.size != 0 && model.at(k % model.size) && k % 2 == 1;
            const double pushed = own ? *model.at(k % model.size) : v;
            ASSERT_TRUE(own ? a.real.push_back(a.real[k % model.size]) : a.real.push_back(v));
            model.push_back(pushed);
        }
        break;
    case 11:
        ASSERT_TRUE(a.real.push_back_n(v, n % 7));
        model.resize(model.size + n % 7, v);
        break;
    case 12:
        ASSERT_TRUE(a.real.append(b.real));
        model.append(model_vector(b.model));
        break;
    case 13:
        ASSERT_TRUE(a.real.resize(n));
        model.resize(n);
        break;
    case 14:
        ASSERT_TRUE(a.real.resize(n, v));
        model.resize(n, v);
        break;
    case 15: {
        const std::size_t factor = random.between(1, 3);
        ASSERT_TRUE(a.real.reserve(n, factor));
        model.make_room(n, model.size, factor);
        break;
    }
    case 16:
        ASSERT_TRUE(a.real.copy(b.real));
        model.copy(model_vector(b.model));
        break;
    case 17:
        if (n % 4 == 0) {
            a.real.clear_hard();
            model = {};
        } else {
            a.real.clear();
            model.size = 0;
        }
        break;
    case 18: {
        const block_ptr block = wrapped_block(random, n + 1);
        wrapped.push_back(block);
        a = {dense1D<double>::wrap(block->wrapped.get(), n + 1), {block, n + 1, 0}};
        break;
    }
    default: break;
    }
    if (model.size > 300) {
        a.real.clear_hard();
        model = {};
    }
}

TEST(dense1D_model, any_sequence_of_operations_shows_what_the_model_shows) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(60); ++seed) {
        SCOPED_TRACE(seed);
        test::random_source random(seed);
        std::vector<block_ptr> wrapped; // the callers' memory outlives the views
        std::vector<vector_pair> views(6);
        for (int k = 0; k < 400; ++k) {
            SCOPED_TRACE(k);
            vector_pair& a = views[random.below(views.size())];
            vector_pair& b = views[random.below(views.size())];
            ASSERT_NO_FATAL_FAILURE(step(random, a, b, wrapped));
            ASSERT_NO_FATAL_FAILURE(expect_same(views));
        }
        for (const block_ptr& block : wrapped) block->expect_callers_memory_untouched();
    }
}

struct model_matrix {
    block_ptr block = std::make_shared<model_block>();
    std::size_t total = 0;
    std::size_t first = 0;
    std::size_t rows = 0;
    std::size_t cols = 0;
    std::size_t ld = 0;

    std::size_t room() const { return block->capacity() - first; }
    cell& at(std::size_t r, std::size_t c) const { return block->cells[first + c * ld + r]; }
    std::vector<cell> column(std::size_t c) const {
        std::vector<cell> values;
        for (std::size_t r = 0; r < rows; ++r) values.push_back(at(r, c));
        return values;
    }
    std::vector<std::vector<cell>> columns() const {
        std::vector<std::vector<cell>> all;
        for (std::size_t c = 0; c < cols; ++c) all.push_back(column(c));
        return all;
    }
    void set_columns(std::size_t to, const std::vector<std::vector<cell>>& values) const {
        for (std::size_t c = 0; c < values.size(); ++c) {
            for (std::size_t r = 0; r < rows; ++r) at(r, to + c) = values[c][r];
        }
    }
    void set_shape(std::size_t new_rows, std::size_t new_cols, std::size_t new_ld) {
        rows = new_rows;
        cols = new_cols;
        ld = new_ld;
        total = ld * cols;
    }
    void clear() { set_shape(0, 0, 0); }
    void resize(std::size_t r, std::size_t c) {
        if (r * c == 0) r = c = 0;
        if (r == rows && c == cols) return;
        if (cols == 0 || r <= ld) {
            const std::size_t stride = cols == 0 ? r : ld;
            if (stride * c <= room()) {
                set_shape(r, c, r == 0 ? 0 : stride);
                return;
            }
        }
        model_matrix moved;
        moved.block->grow(r * c, 0, 1);
        moved.set_shape(r, c, r);
        for (std::size_t j = 0; j < std::min(c, cols); ++j) {
            for (std::size_t i = 0; i < std::min(r, rows); ++i) moved.at(i, j) = at(i, j);
        }
        *this = moved;
    }
    void resize(std::size_t r, std::size_t c, double v) {
        const std::size_t old_rows = rows;
        const std::size_t old_cols = cols;
        resize(r, c);
        for (std::size_t j = 0; j < cols; ++j) {
            for (std::size_t i = 0; i < rows; ++i) {
                if (i >= old_rows || j >= old_cols) at(i, j) = v;
            }
        }
    }
    void reserve(std::size_t r, std::size_t c) const {
        const std::size_t n = std::max(r, ld) * c;
        if (room() < n) block->grow(first + n, first + total, 1);
    }
    void copy(const model_matrix& source) {
        const auto taken = source.columns();
        if (block == source.block) *this = {};
        clear();
        resize(source.rows, source.cols);
        set_columns(0, taken);
    }
    void append(const model_matrix& source, const std::vector<unsigned int>& list) {
        if (list.empty()) return;
        std::vector<std::vector<cell>> added;
        for (const unsigned int c : list) added.push_back(source.column(c));
        const std::size_t old = cols;
        const std::size_t held = ld == 0 ? 0 : room() / ld;
        if (held < cols + list.size()) {
            reserve(source.rows, cols + std::max(cols, list.size()));
        }
        resize(source.rows, cols + list.size());
        set_columns(old, added);
    }
};

struct matrix_pair {
    dense2D<double> real;
    model_matrix model;
};

void expect_same(const std::vector<matrix_pair>& views) {
    block_register blocks;
    for (const auto& [real, model] : views) {
        ASSERT_EQ(real.rows(), model.rows);
        ASSERT_EQ(real.cols(), model.cols);
        ASSERT_EQ(real.ld(), model.ld);
        ASSERT_EQ(real.as_vector().capacity(), model.room());
        ASSERT_NO_FATAL_FAILURE(
            blocks.expect_consistent(model.block.get(), real.as_vector().data(), model.first));
        for (std::size_t c = 0; c < model.cols; ++c) {
            for (std::size_t r = 0; r < model.rows; ++r) {
                const cell& expected = model.at(r, c);
                ASSERT_TRUE(!expected || real(r, c) == *expected) << r << ' ' << c;
            }
        }
    }
}

void step(test::random_source& random, matrix_pair& a, matrix_pair& b,
          std::vector<block_ptr>& wrapped) {
    const double v = static_cast<double>(random.below(1000));
    const std::size_t rows = random.below(6);
    const std::size_t cols = random.below(7);
    model_matrix& model = a.model;
    const bool same_rows = model.cols == 0 || b.model.cols == 0 || model.rows == b.model.rows;
    switch (random.below(20)) {
    case 0:
        a = {dense2D<double>(rows, cols), {}};
        a.model.resize(rows, cols);
        break;
    case 1:
    case 2:
        a = {dense2D<double>(rows, cols, v), {}};
        a.model.resize(rows, cols, v);
        break;
    case 3: a = matrix_pair(b); break;
    case 4: {
        const matrix_pair source(b);
        a.real.shallow_copy(source.real);
        a.model = source.model;
        break;
    }
    case 5:
    case 6:
    case 7: {
        if (b.model.cols == 0) break;
        const std::size_t row = random.below(b.model.rows);
        const std::size_t col = random.below(b.model.cols);
        const std::size_t nbr_rows = random.between(1, b.model.rows - row);
        const std::size_t nbr_cols = random.between(1, b.model.cols - col);
        matrix_pair part{b.real.sub_matrix(row, col, nbr_rows, nbr_cols), b.model};
        part.model.first += col * b.model.ld + row;
        part.model.set_shape(nbr_rows, nbr_cols, b.model.ld);
        a = part;
        break;
    }
    case 8:
    case 9:
        for (std::size_t c = 0; c < model.cols; ++c) {
            for (std::size_t r = 0; r < model.rows; ++r) {
                const double value = v + static_cast<double>(10 * c + r);
                a.real(r, c) = value;
                model.at(r, c) = value;
            }
        }
        break;
    case 10:
    case 11:
        ASSERT_TRUE(a.real.resize(rows, cols));
        model.resize(rows, cols);
        break;
    case 12:
    case 13:
        ASSERT_TRUE(a.real.resize(rows, cols, v));
        model.resize(rows, cols, v);
        break;
    case 14:
        ASSERT_TRUE(a.real.reserve(rows, cols, 1));
        model.reserve(rows, cols);
        break;
    case 15:
        ASSERT_TRUE(a.real.copy(b.real));
        model.copy(model_matrix(b.model));
        break;
    case 16:
        ASSERT_EQ(a.real.append(b.real), same_rows);
        if (same_rows) {
            std::vector<unsigned int> all(b.model.cols);
            for (unsigned int c = 0; c < all.size(); ++c) all[c] = c;
            model.append(model_matrix(b.model), all);
        }
        break;
    case 17: {
        if (b.model.cols == 0) break;
        const auto list = test::random_ids(random, random.below(6), b.model.cols, 0);
        ASSERT_EQ(a.real.append(b.real, test::vector_of(list)), same_rows || list.empty());
        if (same_rows) model.append(model_matrix(b.model), list);
        break;
    }
    case 18:
        if (rows == 0) {
            a.real.clear_hard();
            model = {};
        } else {
            a.real.clear();
            model.clear();
        }
        break;
    case 19: {
        const std::size_t ld = rows + 1 + random.below(2);
        const block_ptr block = wrapped_block(random, ld * cols + rows + 1);
        wrapped.push_back(block);
        a = {dense2D<double>::wrap(block->wrapped.get(), rows + 1, cols + 1, ld), {block}};
        a.model.set_shape(rows + 1, cols + 1, ld);
        break;
    }
    default: break;
    }
    if (model.cols > 60) {
        a.real.clear_hard();
        model = {};
    }
}

TEST(dense2D_model, any_sequence_of_operations_shows_what_the_model_shows) {
    for (std::uint64_t seed = 0; seed < test::nbr_runs(60); ++seed) {
        SCOPED_TRACE(seed);
        test::random_source random(seed + 1000000);
        std::vector<block_ptr> wrapped; // the callers' memory outlives the views
        std::vector<matrix_pair> views(6);
        for (int k = 0; k < 400; ++k) {
            SCOPED_TRACE(k);
            matrix_pair& a = views[random.below(views.size())];
            matrix_pair& b = views[random.below(views.size())];
            ASSERT_NO_FATAL_FAILURE(step(random, a, b, wrapped));
            ASSERT_NO_FATAL_FAILURE(expect_same(views));
        }
        for (const block_ptr& block : wrapped) block->expect_callers_memory_untouched();
    }
}

} // namespace
