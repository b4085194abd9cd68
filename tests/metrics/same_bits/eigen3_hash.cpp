// Tells the hash of eigen3's bits; fails if it is not the expected one.
#include "metrics/same_bits/eigen3_hash.h"

#include <cinttypes>
#include <cstdio>

int main() {
    const std::uint64_t hash = test::eigen3_hash();
    std::printf("0x%016" PRIX64 "\n", hash);
    return hash == test::expected_eigen3_hash ? 0 : 1;
}
