// Readable names of parameterised test cases: a row's PrintTo text, which
// the test listing also shows, reduced to [A-Za-z0-9_].
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace param_names {

// Name generator: runs of other characters become one '_', a minus sign
// before a digit 'm' ("-7.5" -> "m7_5").
struct printed {
    template <class T>
    std::string operator()(const testing::TestParamInfo<T> &info) const {
        const std::string text = testing::PrintToString(info.param);
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
