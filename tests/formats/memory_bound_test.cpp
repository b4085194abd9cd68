// Limits on memory, in files laid out as the system lays them out.
#include "formats/memory_bound.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

using namespace kv7::tessmaker;

namespace {

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

// A tree of control groups in a folder that vanishes at the end of its scope.
class group_tree {
public:
    group_tree() {
        std::string name = testing::TempDir() + "groups_XXXXXX";
        folder_ = mkdtemp(name.data());
    }
    ~group_tree() { std::filesystem::remove_all(folder_); }
    group_tree(const group_tree&) = delete;
    group_tree& operator=(const group_tree&) = delete;

    void write(const std::string& name, const std::string& text) const {
        const std::filesystem::path path = folder_ + "/root/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    std::uint64_t memory(const std::string& groups) const {
        std::ofstream(folder_ + "/groups") << groups;
        return group_memory((folder_ + "/groups").c_str(), (folder_ + "/root").c_str());
    }

private:
    std::string folder_;
};

TEST(memory_bound, without_groups_there_is_no_limit) {
    const group_tree tree;
    EXPECT_EQ(tree.memory(""), no_limit);
    EXPECT_EQ(tree.memory("0::/\n"), no_limit);
    EXPECT_EQ(tree.memory("4:memory:/a/b\n0::/c\n"), no_limit);
    EXPECT_EQ(group_memory("/no/such/file", "/no/such/folder"), no_limit);
}

TEST(memory_bound, the_second_version_has_a_limit_in_its_group_or_above) {
    const group_tree tree;
    tree.write("memory.max", "max\n");
    tree.write("a/memory.max", "3000000000\n");
    tree.write("a/b/memory.max", "max\n");
    tree.write("a/c/memory.max", "1000000000\n");
    tree.write("d/memory.max", "7\n");
    EXPECT_EQ(tree.memory("0::/\n"), no_limit);
    EXPECT_EQ(tree.memory("0::/a\n"), 3000000000U);
    EXPECT_EQ(tree.memory("0::/a/b\n"), 3000000000U);
    EXPECT_EQ(tree.memory("0::/a/c\n"), 1000000000U);
    EXPECT_EQ(tree.memory("0::/a/c"), 1000000000U);
    EXPECT_EQ(tree.memory("0::/a/c/gone\n"), 1000000000U);
    EXPECT_EQ(tree.memory("1:name=systemd:/d\n0::/a\n"), 3000000000U);
}

TEST(memory_bound, the_first_version_has_a_tree_of_its_own_for_memory) {
    const group_tree tree;
    tree.write("memory/memory.limit_in_bytes", "9223372036854771712\n");
    tree.write("memory/a/memory.limit_in_bytes", "2000000000\n");
    tree.write("memory/a/b/memory.limit_in_bytes", "9223372036854771712\n");
    tree.write("a/memory.max", "5\n");
    EXPECT_EQ(tree.memory("3:cpu:/a\n"), 9223372036854771712U);
    EXPECT_EQ(tree.memory("3:cpu:/\n4:memory:/a/b\n0::/\n"), 2000000000U);
    EXPECT_EQ(tree.memory("4:hugetlb,memory,pids:/a\n"), 2000000000U);
    EXPECT_EQ(tree.memory("4:memory2:/a\n"), 9223372036854771712U);
}

// As in a container that sees only its own groups, under the names that the machine has for them.
TEST(memory_bound, a_container_finds_its_limit_at_the_root) {
    const group_tree tree;
    tree.write("memory.max", "500000000\n");
    EXPECT_EQ(tree.memory("0::/\n"), 500000000U);
    EXPECT_EQ(tree.memory("0::/../../machine/x\n"), 500000000U);
    EXPECT_EQ(tree.memory(""), 500000000U);
    tree.write("memory/memory.limit_in_bytes", "400000000\n");
    EXPECT_EQ(tree.memory("4:memory:/docker/0123456789abcdef\n"), 400000000U);
    EXPECT_EQ(tree.memory(""), 400000000U);
}

TEST(memory_bound, what_is_no_number_sets_no_limit) {
    const group_tree tree;
    for (const char* const text : {"", "\n", "max", "-1\n", "12x\n", " 12\n", "0x10\n",
                                   "99999999999999999999999\n", "12 \n"}) {
        tree.write("a/memory.max", text);
        EXPECT_EQ(tree.memory("0::/a\n"), no_limit) << text;
    }
    tree.write("a/memory.max", "12");
    EXPECT_EQ(tree.memory("0::/a\n"), 12U);
    for (const char* const groups : {"0::", "0:", "::/a\n", "0::\n", "\n\n:\n", "memory:/a\n"}) {
        EXPECT_EQ(tree.memory(groups), no_limit) << groups;
    }
    EXPECT_EQ(tree.memory("0::/" + std::string(9000, 'a') + "\n0::/a\n"), no_limit);
    EXPECT_EQ(tree.memory("0::/" + std::string(5000, 'a') + "\n0::/a\n"), 12U);
}

TEST(memory_bound, no_more_is_available_than_the_machine_has) {
    const auto memory = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                        static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    EXPECT_LE(available_memory(), memory);
    EXPECT_GT(available_memory(), 0U);
}

} // namespace
