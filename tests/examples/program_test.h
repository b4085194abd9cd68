// Runs a program as its users do: on files, with its output read back.
#ifndef TESSMAKER_TESTS_EXAMPLES_PROGRAM_TEST_H
#define TESSMAKER_TESTS_EXAMPLES_PROGRAM_TEST_H

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test {

struct program_run {
    int exit_code;
    std::string output;
    std::string errors;
};

inline std::string text_of(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class program_test : public testing::Test {
protected:
    // A folder for each test, as tests may run side by side.
    program_test() : folder_(std::filesystem::path(info().test_suite_name()) / info().name()) {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
    }

    std::filesystem::path file(const std::string& name) const { return folder_ / name; }

    std::filesystem::path file(const std::string& name, const std::string& content) const {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }

    program_run run(const std::string& program, const std::string& arguments) const {
        const std::string command = "'" + program + "' " + arguments + " >'" +
                                    file("stdout").string() + "' 2>'" + file("stderr").string() +
                                    "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(file("stdout")),
                text_of(file("stderr"))};
    }

private:
    static const testing::TestInfo& info() {
        return *testing::UnitTest::GetInstance()->current_test_info();
    }

    std::filesystem::path folder_;
};

// The first number behind `what` in the report, or the next ones; -1 when it isn't there.
inline double figure(const program_run& run, const std::string& what, int place = 0) {
    const std::string& text = run.output;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        const char* rest = text.c_str() + at + what.size();
        if (*rest != ' ') continue;
        for (int k = 0;; ++k) {
            char* end = nullptr;
            const double value = std::strtod(rest, &end);
            if (end == rest) break;
            if (k == place) return value;
            rest = end;
        }
    }
    return -1.0;
}

} // namespace test

#endif
