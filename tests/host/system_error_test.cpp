// The reasons inside error texts are the system's.

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>

#include "host/posix_file.h"

namespace ovrahost {
namespace {

// Of the locales those that this machine has; the first is everywhere.
TEST(SystemErrorTest, ReasonsFollowTheLocaleOfTheProgram) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "de_DE.UTF-8", "fr_FR.UTF-8", "tr_TR.UTF-8"}) {
        if (std::setlocale(LC_ALL, locale) != nullptr) {
            EXPECT_EQ(SystemErrorText(ENOENT), std::strerror(ENOENT)) << locale;
        }
    }
    std::setlocale(LC_ALL, before.c_str());
}

}  // namespace
}  // namespace ovrahost
