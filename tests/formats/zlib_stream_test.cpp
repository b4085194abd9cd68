// Streams of zlib expanded; they are written by a plain compressor.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "formats/plain_zlib.h"
#include "formats/zlib_stream.h"
#include "support/failing_call.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr unsigned int all_at_once = std::numeric_limits<unsigned int>::max();

// The bytes that it expands to, or "fault".
std::string expand(const std::string& stream, std::size_t size,
                   unsigned int most_at_once = all_at_once) {
    std::string bytes(size, '?');
    return expand_zlib_stream(stream, bytes.data(), size, most_at_once) ? bytes : "fault";
}

std::string random_bytes(random_source& random, std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        const std::size_t n = random.one_in(10) ? random.between(1, 400) : 1;
        bytes.append(n, static_cast<char>(random.one_in(2) ? random.below(256) : random.below(3)));
    }
    return bytes.substr(0, size);
}

class zlib_stream : public testing::Test {
protected:
    void SetUp() override {
        if (!has_zlib()) GTEST_SKIP() << "built without zlib";
    }
};

TEST_F(zlib_stream, gives_the_bytes_that_were_compressed) {
    random_source random(301);
    plain_zlib zlib(random);
    for (std::uint64_t k = 0; k < nbr_runs(2000); ++k) {
        const std::string bytes = random_bytes(random, random.below(k % 50 == 0 ? 100000 : 300));
        ASSERT_EQ(expand(zlib.compress(bytes), bytes.size()), bytes);
    }
}

TEST_F(zlib_stream, may_come_and_go_in_any_steps) {
    random_source random(303);
    plain_zlib zlib(random);
    for (std::uint64_t k = 0; k < nbr_runs(300); ++k) {
        const std::string bytes = random_bytes(random, random.below(2000));
        const std::string stream = zlib.compress(bytes);
        for (const unsigned int most : {1U, 2U, 7U, 100U, 1000U}) {
            ASSERT_EQ(expand(stream, bytes.size(), most), bytes);
            ASSERT_EQ(expand(stream + '\0', bytes.size(), most), "fault");
            ASSERT_EQ(expand(stream, bytes.size() + 1, most), "fault");
        }
    }
}

TEST_F(zlib_stream, has_codes_of_its_own) {
    // As zlib writes the bytes below.
    const std::string digits =
        "78da55ce5b0e03210c43511bc234e1d1d9ff6e1b8366a47e72458e8c28cbd8e928662800386c79"
        "7566b8f299a9ce8bce1e5030fd695fe7ac0828ecb30fa2cd2881d7118c817085ed08ce4c7f602c"
        "c1c3e907ce740bfedfd305ef3d0a7b4f137cf6e0ecf901276e02e7";
    std::string stream;
    for (std::size_t k = 0; k < digits.size(); k += 2) {
        stream += static_cast<char>(std::stoi(digits.substr(k, 2), nullptr, 16));
    }
    std::string bytes;
    for (std::uint64_t k = 0; k < 200; ++k) {
        bytes += static_cast<char>((k * 2654435761 >> 28) % 16 & k * 40503 >> 9);
    }
    EXPECT_EQ(expand(stream, bytes.size()), bytes);
}

TEST_F(zlib_stream, is_whole_and_ends_where_it_is_told_to) {
    random_source random(307);
    plain_zlib zlib(random);
    for (int k = 0; k < 100; ++k) {
        const std::string bytes = random_bytes(random, random.between(1, 200));
        const std::string stream = zlib.compress(bytes);
        for (std::size_t n = 0; n < stream.size(); ++n) {
            ASSERT_EQ(expand(stream.substr(0, n), bytes.size()), "fault");
        }
        EXPECT_EQ(expand(stream + '\0', bytes.size()), "fault");
        EXPECT_EQ(expand(stream + stream, bytes.size()), "fault");
        EXPECT_EQ(expand(stream, bytes.size() + 1), "fault");
        EXPECT_EQ(expand(stream, bytes.size() - 1), "fault");
        EXPECT_EQ(expand(stream, 0), "fault");
    }
    EXPECT_EQ(expand("", 0), "fault");
}

TEST_F(zlib_stream, with_changed_bits_is_a_fault) {
    random_source random(311);
    plain_zlib zlib(random);
    for (int k = 0; k < 100; ++k) {
        const std::string bytes = random_bytes(random, random.between(1, 100));
        const std::string stream = zlib.compress(bytes);
        for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
            std::string changed = stream;
            changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
            // Bits that fill up a byte tell nothing.
            const std::string found = expand(changed, bytes.size());
            ASSERT_TRUE(found == "fault" || found == bytes) << bit;
        }
    }
    EXPECT_EQ(expand("\x1F\x8B\x08", 3), "fault"); // of gzip
}

TEST_F(zlib_stream, tells_of_failed_memory) {
    random_source random(313);
    const std::string bytes = random_bytes(random, 5000);
    const std::string stream = plain_zlib(random).compress(bytes);
    for (const unsigned int most : {all_at_once, 100U}) {
        std::string target(bytes.size(), '\0');
        const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
            const failing_call call = call_failing(k, and_later, [&] {
                return expand_zlib_stream(stream, target.data(), target.size(), most) ? 1 : 0;
            });
            EXPECT_TRUE(call.threw() == call.failed);
            EXPECT_TRUE(call.failed || call.code == 1);
            return call.failed;
        });
        EXPECT_GT(nbr_failed, 0U);
    }
}

} // namespace
