#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "wire/Escaped.h"

namespace {

using AppConfigWire::escaped;

struct Case {
    const char* name;
    std::string text;
    std::string shown;
};

void PrintTo(const Case& row, std::ostream* out) {
    *out << row.name;
}

class Escaped : public testing::TestWithParam<Case> {};

TEST_P(Escaped, ShowsEachByteInOneLine) {
    EXPECT_EQ(escaped(GetParam().text), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Escaped,
    testing::Values(Case{"Plain", "display.mode \"day\" C:\\x ~", "display.mode \"day\" C:\\x ~"},
                    Case{"Empty", "", ""},
                    Case{"Utf8",
                         "Gr\xC3\xB6\xC3\x9F"
                         "e \xE2\x82\xAC \xF0\x9F\x92\xA1",
                         "Gr\xC3\xB6\xC3\x9F"
                         "e \xE2\x82\xAC \xF0\x9F\x92\xA1"},
                    Case{"Lines", "a\nb\rc\td", "a\\nb\\rc\\td"}, Case{"TerminalCodes", "\x1b[2J\x7f", "\\x1b[2J\\x7f"},
                    Case{"Zero", std::string("a\0b", 3), "a\\x00b"},
                    Case{"ControlsBeyondAscii",
                         "\xC2\x9B"
                         "31m \xC2\x80\xC2\x9F\xC2\xA0",
                         "\\x9b31m \\x80\\x9f\xC2\xA0"},
                    Case{"Separators", "\xE2\x80\xA8\xE2\x80\xA9", "\\u2028\\u2029"},
                    Case{"Directions", "\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9\xE2\x80\x8E\xE2\x80\x8F\xD8\x9C",
                         "\\u202e\\u2066\\u2069\\u200e\\u200f\\u061c"},
                    Case{"LoneBytes", "\x80 \xFF \xC3", "\\x80 \\xff \\xc3"}, Case{"CutOff", "\xE2\x82", "\\xe2\\x82"},
                    Case{"WrongRest", "\xE2\x41\xAC",
                         "\\xe2"
                         "A\\xac"},
                    Case{"Overlong", "\xC0\x8A \xE0\x80\x8A \xF0\x80\x80\x8A",
                         "\\xc0\\x8a \\xe0\\x80\\x8a \\xf0\\x80\\x80\\x8a"},
                    Case{"Surrogate", "\xED\xA0\x80", "\\xed\\xa0\\x80"},
                    Case{"BeyondTheLast", "\xF4\x90\x80\x80 \xF5", "\\xf4\\x90\\x80\\x80 \\xf5"}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

}  // namespace
