// A locale whose decimal point is a comma.
#ifndef TESSMAKER_TESTS_FORMATS_COMMA_LOCALE_H
#define TESSMAKER_TESTS_FORMATS_COMMA_LOCALE_H

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace test {

// The process uses the locale while this lives. Where the system has none, it is compiled by
// `localedef`, if that and its sources are there.
class comma_locale {
public:
    comma_locale() : before_(std::setlocale(LC_ALL, nullptr)) {
        for (const char* const name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
            if (!is_set_) is_set_ = std::setlocale(LC_ALL, name) != nullptr;
        }
        if (!is_set_) is_set_ = compile() && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    }
    ~comma_locale() {
        std::setlocale(LC_ALL, before_.c_str());
        unsetenv("LOCPATH");
        if (!folder_.empty()) std::filesystem::remove_all(folder_);
    }
    comma_locale(const comma_locale&) = delete;
    comma_locale& operator=(const comma_locale&) = delete;

    bool is_set() const { return is_set_; }

private:
    bool compile() {
        folder_ = testing::TempDir() + "tessmaker_locale_" + std::to_string(getpid());
        std::filesystem::create_directories(folder_);
        setenv("LOCPATH", folder_.c_str(), 1);
        const std::string command =
            "localedef -i de_DE -f UTF-8 '" + folder_ + "/de_DE.UTF-8' >/dev/null 2>&1";
        return std::system(command.c_str()) == 0;
    }

    std::string before_;
    std::string folder_;
    bool is_set_ = false;
};

} // namespace test

#endif
