#include "formats/atomic_file.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "formats/full_disk.h"
#include "formats/scratch_files.h"
#include "support/memory_failure.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

namespace fs = std::filesystem;

std::string read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return std::string(std::istreambuf_iterator<char>(in), {});
}
void write(const fs::path& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

// A folder of its own for each test, which must hold the expected names and nothing else in the
// end.
class atomic_files : public testing::Test {
protected:
    atomic_files() {
        fs::create_directories(folder_);
        target_ = (folder_ / "part.vtu").string();
    }
    ~atomic_files() override { fs::remove_all(folder_); }

    const char* target() const { return target_.c_str(); }
    std::size_t nbr_names() const {
        const fs::directory_iterator names(folder_);
        return static_cast<std::size_t>(std::distance(begin(names), end(names)));
    }
    // The result of the commit.
    static bool put(const char* path, const std::string& contents) {
        atomic_file file(path);
        EXPECT_TRUE(file) << file.error();
        if (!file) return false;
        std::fwrite(contents.data(), 1, contents.size(), file.get());
        return file.commit();
    }

    fs::path folder_ =
        fs::temp_directory_path() / ("tessmaker_atomic_" + std::to_string(getpid()) + "_" +
                                     testing::UnitTest::GetInstance()->current_test_info()->name());
    std::string target_;
};

TEST_F(atomic_files, a_new_file_is_there_after_the_commit_and_not_before) {
    atomic_file file(target());
    ASSERT_TRUE(file);
    std::fputs("contents\n", file.get());
    std::fflush(file.get());
    EXPECT_FALSE(fs::exists(target()));
    EXPECT_EQ(nbr_names(), 1U);
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(file.error(), 0);
    EXPECT_EQ(read(target()), "contents\n");
    EXPECT_EQ(nbr_names(), 1U);
    EXPECT_FALSE(file);
    EXPECT_FALSE(file.commit()); // there is nothing left to be committed
    EXPECT_EQ(read(target()), "contents\n");
}

TEST_F(atomic_files, a_new_file_has_the_mode_of_new_files) {
    const mode_t former = umask(027);
    EXPECT_TRUE(put(target(), "x"));
    umask(former);
    struct stat file {};
    ASSERT_EQ(stat(target(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0640U);
}

TEST_F(atomic_files, without_a_commit_the_old_file_stays) {
    write(target(), "old");
    {
        atomic_file file(target());
        ASSERT_TRUE(file);
        std::fputs("new", file.get());
        std::fflush(file.get());
        EXPECT_EQ(read(target()), "old");
        EXPECT_EQ(nbr_names(), 2U);
    }
    EXPECT_EQ(read(target()), "old");
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, a_file_that_is_replaced_keeps_its_mode_and_its_owner) {
    write(target(), "old");
    ASSERT_EQ(chmod(target(), 0604), 0);
    const bool is_given = chown(target(), 1234, 1235) == 0; // as root alone
    EXPECT_TRUE(put(target(), "new"));
    EXPECT_EQ(read(target()), "new");
    struct stat file {};
    ASSERT_EQ(stat(target(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0604U);
    if (is_given) {
        EXPECT_EQ(file.st_uid, 1234U);
        EXPECT_EQ(file.st_gid, 1235U);
    }
}

TEST_F(atomic_files, a_link_stays_and_the_file_behind_it_is_replaced) {
    fs::create_directory(folder_ / "data");
    write(folder_ / "data/real.vtu", "old");
    fs::create_symlink("data/real.vtu", folder_ / "second");
    fs::create_symlink("second", target());
    EXPECT_TRUE(put(target(), "new"));
    EXPECT_TRUE(fs::is_symlink(target()));
    EXPECT_TRUE(fs::is_symlink(folder_ / "second"));
    EXPECT_EQ(read(folder_ / "data/real.vtu"), "new");
    EXPECT_EQ(nbr_names(), 3U);
}

TEST_F(atomic_files, a_link_to_nothing_yet_stays_and_leads_to_the_new_file) {
    fs::create_directory(folder_ / "data");
    fs::create_symlink("data/real.vtu", folder_ / "second");
    fs::create_symlink(folder_ / "second", target());
    EXPECT_TRUE(put(target(), "new"));
    EXPECT_TRUE(fs::is_symlink(target()));
    EXPECT_FALSE(fs::is_symlink(folder_ / "data/real.vtu"));
    EXPECT_EQ(read(folder_ / "data/real.vtu"), "new");
}

TEST_F(atomic_files, links_in_a_circle_are_an_error) {
    fs::create_symlink("second", target());
    fs::create_symlink("part.vtu", folder_ / "second");
    atomic_file file(target());
    EXPECT_FALSE(file);
    EXPECT_EQ(file.error(), ELOOP);
    EXPECT_EQ(nbr_names(), 2U);
}

TEST_F(atomic_files, a_path_without_a_folder_and_one_with_a_long_name) {
    const fs::path former = fs::current_path();
    fs::current_path(folder_);
    EXPECT_TRUE(put("bare", "here"));
    const std::string longest(255, 'n');
    EXPECT_TRUE(put(longest.c_str(), "long"));
    EXPECT_EQ(read("bare"), "here");
    EXPECT_EQ(read(longest), "long");
    fs::current_path(former);
    EXPECT_EQ(nbr_names(), 2U);
}

TEST_F(atomic_files, paths_that_name_no_file_are_errors) {
    const auto error_of = [](const char* path) {
        const atomic_file file(path);
        EXPECT_FALSE(file);
        return file.error();
    };
    EXPECT_EQ(error_of(nullptr), EINVAL);
    EXPECT_EQ(error_of(""), ENOENT);
    EXPECT_EQ(error_of(folder_.c_str()), EISDIR);
    EXPECT_EQ(error_of((folder_ / "no folder/x").c_str()), ENOENT);
    EXPECT_EQ(error_of((folder_ / "no folder/").c_str()), ENOENT);
    write(target(), "old");
    EXPECT_EQ(error_of((target_ + "/x").c_str()), ENOTDIR);
    EXPECT_EQ(read(target()), "old");
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, a_file_that_is_not_writable_stays) {
    write(target(), "old");
    ASSERT_EQ(chmod(target(), 0444), 0);
    ASSERT_EQ(chmod(folder_.c_str(), 0777), 0);
    const uid_t self = geteuid(); // root may write everything
    if (self == 0) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    {
        const atomic_file file(target());
        EXPECT_FALSE(file);
        EXPECT_EQ(file.error(), EACCES);
    }
    EXPECT_TRUE(put((target_ + "2").c_str(), "new"));
    if (self == 0) {
        ASSERT_EQ(seteuid(self), 0);
    }
    EXPECT_EQ(read(target()), "old");
    EXPECT_EQ(nbr_names(), 2U);
}

TEST_F(atomic_files, a_folder_that_is_not_writable_is_an_error) {
    write(target(), "old");
    ASSERT_EQ(chmod(target(), 0666), 0);
    ASSERT_EQ(chmod(folder_.c_str(), 0555), 0);
    const uid_t self = geteuid();
    if (self == 0) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    for (const std::string& path : {target_, target_ + "2"}) {
        const atomic_file file(path.c_str());
        EXPECT_FALSE(file);
        EXPECT_EQ(file.error(), EACCES);
    }
    if (self == 0) {
        ASSERT_EQ(seteuid(self), 0);
    }
    ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
    EXPECT_EQ(read(target()), "old");
}

TEST_F(atomic_files, a_device_is_written_straight_and_a_full_one_is_an_error) {
    EXPECT_TRUE(put("/dev/null", "gone"));
    for (const std::size_t size : {3U, 1U << 20}) {
        atomic_file file("/dev/full");
        ASSERT_TRUE(file);
        const std::string text(size, 'x');
        std::fwrite(text.data(), 1, text.size(), file.get());
        EXPECT_FALSE(file.commit());
        EXPECT_EQ(file.error(), ENOSPC);
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    fs::create_symlink("/dev/full", target());
    EXPECT_FALSE(put(target(), "x"));
    EXPECT_TRUE(fs::is_symlink(target()));
}

TEST_F(atomic_files, a_pipe_is_written_straight) {
    ASSERT_EQ(mkfifo(target(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = read(target()); });
    EXPECT_TRUE(put(target(), "through the pipe"));
    reader.join();
    EXPECT_EQ(received, "through the pipe");
    EXPECT_TRUE(fs::is_fifo(target()));
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, a_file_that_only_a_descriptor_leads_to_is_written_straight) {
    const scratch_stream removed("old contents");
    const std::string path = "/proc/self/fd/" + std::to_string(fileno(removed.get()));
    EXPECT_TRUE(put(path.c_str(), "new"));
    EXPECT_EQ(removed.contents(), "new");
}

TEST_F(atomic_files, the_standard_output_is_written_and_stays_open) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(put("-", "first "));
    EXPECT_TRUE(put("-", "second"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "first second");
    EXPECT_FALSE(fs::exists("-"));
}

TEST_F(atomic_files, a_full_disk_leaves_the_old_file_and_nothing_else) {
    write(target(), "old");
    for (const std::size_t size : {1025U, 4096U, 1U << 20}) { // in the buffer, and beyond it
        const size_limit full(1024);
        atomic_file file(target());
        ASSERT_TRUE(file);
        const std::string text(size, 'x');
        std::fwrite(text.data(), 1, text.size(), file.get());
        EXPECT_FALSE(file.commit());
        EXPECT_EQ(file.error(), EFBIG);
    }
    EXPECT_EQ(read(target()), "old");
    EXPECT_EQ(nbr_names(), 1U);

    ASSERT_EQ(std::remove(target()), 0);
    {
        const size_limit full(1024);
        EXPECT_FALSE(put(target(), std::string(1025, 'x')));
    }
    EXPECT_EQ(nbr_names(), 0U);
}

TEST_F(atomic_files, an_error_of_the_stream_is_not_forgotten) {
    write(target(), "old");
    atomic_file file(target());
    ASSERT_TRUE(file);
    std::fputs("new", file.get());
    EXPECT_EQ(std::fgetc(file.get()), EOF); // not open for reading
    ASSERT_TRUE(std::ferror(file.get()));
    EXPECT_FALSE(file.commit());
    EXPECT_NE(file.error(), 0);
    EXPECT_EQ(read(target()), "old");
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, a_name_that_turns_into_a_folder_is_an_error_of_the_commit) {
    atomic_file file(target());
    ASSERT_TRUE(file);
    std::fputs("new", file.get());
    fs::create_directory(target());
    EXPECT_FALSE(file.commit());
    EXPECT_EQ(file.error(), EISDIR);
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, a_killed_process_leaves_the_old_file) {
    write(target(), "old");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const atomic_file file(target());
        std::fputs("half of the ne", file.get());
        std::fflush(file.get());
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(read(target()), "old");
}

TEST_F(atomic_files, several_writers_at_once_leave_the_whole_file_of_one) {
    constexpr int nbr_writers = 4;
    constexpr std::size_t size = 100000;
    write(target(), std::string(size, 'z'));
    std::atomic<int> nbr_at_work{nbr_writers};
    std::vector<std::thread> writers;
    for (int w = 0; w < nbr_writers; ++w) {
        writers.emplace_back([&, w] {
            for (int k = 0; k < 50; ++k) {
                EXPECT_TRUE(put(target(), std::string(size, static_cast<char>('a' + w))));
            }
            --nbr_at_work;
        });
    }
    while (nbr_at_work > 0) {
        const std::string seen = read(target());
        ASSERT_EQ(seen.size(), size);
        ASSERT_EQ(seen.find_first_not_of(seen[0]), std::string::npos);
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(nbr_names(), 1U);
}

TEST_F(atomic_files, no_descriptor_is_left_open) {
    write(target(), "old");
    const std::size_t nbr_open = nbr_open_files();
    {
        const atomic_file abandoned(target());
        EXPECT_EQ(nbr_open_files(), nbr_open + 1);
    }
    EXPECT_TRUE(put(target(), "new"));
    EXPECT_TRUE(put("/dev/null", "new"));
    EXPECT_EQ(nbr_open_files(), nbr_open);
}

TEST_F(atomic_files, memory_failure_leaves_the_old_file) {
    write(target(), "old");
    fs::create_symlink(target(), folder_ / "a link of a name that is not short at all");
    const std::string link = (folder_ / "a link of a name that is not short at all").string();
    const std::size_t nbr_failed = fail_each_allocation([&](std::size_t k, bool and_later) {
        const memory_failure failure(k, and_later);
        try {
            atomic_file file(link.c_str());
            if (!failure.happened()) {
                EXPECT_TRUE(file.commit());
            }
        } catch (const std::bad_alloc&) {
        }
        return failure.happened();
    });
    EXPECT_GT(nbr_failed, 2U);
    EXPECT_EQ(read(target()), "");
    EXPECT_EQ(nbr_names(), 2U);
}

} // namespace
