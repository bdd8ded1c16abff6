#include "image_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <png.h>

namespace tovrel_tool {
namespace {

struct file_closer {
    void operator()(std::FILE *f) const { std::fclose(f); }
};
using file_ptr = std::unique_ptr<std::FILE, file_closer>;

std::string system_error(const std::string &what, const std::string &path) {
    return "cannot " + what + " " + path + ": " + std::strerror(errno);
}

} // namespace

std::string read_png(const std::string &path, frame &f) {
    file_ptr file(std::fopen(path.c_str(), "rb"));
    if (!file) return system_error("open", path);
    // The simplified libpng interface reports errors through its record
    // instead of longjmp, so no C++ frame is skipped.
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_stdio(&image, file.get()))
        return path + ": not a readable PNG (" + image.message + ")";
    image.format = PNG_FORMAT_RGBA;
    const std::string made =
        make_frame(f, find_format(uint8_t{TOVREL_FORMAT_RGBQ}), static_cast<int32_t>(image.width),
                   static_cast<int32_t>(image.height));
    if (!made.empty()) {
        png_image_free(&image);
        return path + ": " + made;
    }
    if (!png_image_finish_read(&image, nullptr, f.pixels.data(), f.pitch(), nullptr))
        return path + ": damaged PNG (" + image.message + ")";
    return {};
}

std::string write_png(const std::string &path, const frame &f, bool keep_alpha) {
    if (f.format->code != TOVREL_FORMAT_RGBQ)
        return std::string("cannot write ") + f.format->label + " pixels as PNG";
    file_ptr file(std::fopen(path.c_str(), "wb"));
    if (!file) return system_error("create", path);
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(f.width);
    image.height = static_cast<png_uint_32>(f.height);
    image.format = PNG_FORMAT_RGBA;
    const uint8_t *pixels = f.pixels.data();
    std::vector<uint8_t> rgb;
    if (!keep_alpha) {
        rgb.resize(static_cast<size_t>(f.width) * f.height * 3);
        for (size_t i = 0, j = 0; j < rgb.size(); i += 4, j += 3)
            std::memcpy(&rgb[j], &pixels[i], 3);
        image.format = PNG_FORMAT_RGB;
        pixels = rgb.data();
    }
    const int32_t stride = keep_alpha ? f.width * 4 : f.width * 3;
    if (!png_image_write_to_stdio(&image, file.get(), 0, pixels, stride, nullptr))
        return "cannot write " + path + ": " + image.message;
    if (std::fflush(file.get()) != 0 || std::ferror(file.get())) return system_error("write", path);
    return {};
}

std::string read_raw(const std::string &path, const format_info *format, int32_t width,
                     int32_t height, frame &f) {
    const std::string made = make_frame(f, format, width, height);
    if (!made.empty()) return path + ": " + made;
    file_ptr file(std::fopen(path.c_str(), "rb"));
    if (!file) return system_error("open", path);
    const size_t want = f.pixels.size();
    const size_t got = std::fread(f.pixels.data(), 1, want, file.get());
    if (std::ferror(file.get())) return system_error("read", path);
    char extra = 0;
    const bool longer = got == want && std::fread(&extra, 1, 1, file.get()) == 1;
    if (got != want || longer)
        return path + ": a " + std::to_string(width) + "x" + std::to_string(height) + " " +
               format->name + " frame is " + std::to_string(want) + " bytes, the file has " +
               (longer ? "more" : std::to_string(got));
    return {};
}

std::string write_raw(const std::string &path, const frame &f) {
    file_ptr file(std::fopen(path.c_str(), "wb"));
    if (!file) return system_error("create", path);
    if (std::fwrite(f.pixels.data(), 1, f.pixels.size(), file.get()) != f.pixels.size() ||
        std::fflush(file.get()) != 0)
        return system_error("write", path);
    return {};
}

} // namespace tovrel_tool
