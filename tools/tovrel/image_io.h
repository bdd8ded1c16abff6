// Reading and writing frames: PNG through libpng (8-bit RGBA, stored as
// RGBQ bytes in the same order) and raw frames of any library format.
#pragma once

#include <string>

#include "formats.h"

namespace tovrel_tool {

// Each returns an empty string on success, otherwise a one-line message.
std::string read_png(const std::string &path, frame &f);
// keep_alpha false writes RGB and drops the fourth byte.
std::string write_png(const std::string &path, const frame &f, bool keep_alpha = true);
std::string read_raw(const std::string &path, const format_info *format, int32_t width,
                     int32_t height, frame &f);
std::string write_raw(const std::string &path, const frame &f);

} // namespace tovrel_tool
