// Readable names of parameterised test cases: a row's PrintTo text, which
// the test listing also shows, reduced to [A-Za-z0-9_].
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <tuple>

#include <tovrel.h>

namespace param_names {

// A TOVREL_FORMAT_* value as the library's messages spell it.
inline std::string format_name(uint8_t format) {
    static const char *const names[12] = {"",     "RGBQ", "YUY2", "word", "yuvq",   "",
                                          "W210", "",     "",     "",     "S16X4A", "S16X4"};
    return format < 12 && *names[format] ? names[format] : "format" + std::to_string(format);
}

// The printed parameter with runs of other characters as one '_' and a
// minus sign before a digit as 'm' ("-7.5" -> "m7_5").
template <class T>
std::string printed_name(const T &param) {
    const std::string text = testing::PrintToString(param);
    std::string s;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (std::isalnum(c))
            s += char(c);
        else if (c == '-' && i + 1 < text.size() && std::isdigit((unsigned char)text[i + 1]))
            s += 'm';
        else if (!s.empty() && s.back() != '_')
            s += '_';
    }
    while (!s.empty() && s.back() == '_') s.pop_back();
    return s;
}

// Name generator: printed_name of the parameter; of a (case, format) pair
// the case's name and the format's.
struct printed {
    template <class T>
    std::string operator()(const testing::TestParamInfo<T> &info) const {
        return printed_name(info.param);
    }
    template <class T>
    std::string operator()(const testing::TestParamInfo<std::tuple<T, uint8_t>> &info) const {
        return printed_name(std::get<0>(info.param)) + "_" + format_name(std::get<1>(info.param));
    }
};

// The names of the bits set in `flags`, bit i named by names[i], each
// followed by '_'.
inline std::string flag_names(uint32_t flags, std::initializer_list<const char *> names) {
    std::string s;
    uint32_t bit = 1;
    for (const char *n : names) {
        if (flags & bit) s += std::string(n) + "_";
        bit <<= 1;
    }
    return s;
}

} // namespace param_names
