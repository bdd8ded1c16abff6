/*
 * tovrel: texture warping and area-weighted rectangle scaling for packed
 * video formats.
 *
 * Plain C99 interface. Every record here is a binary layout: on 32-bit
 * targets the offsets are the ones the shipped DLL has always used, and the
 * checks at the end of this header hold them fixed.
 */
#ifndef TOVREL_H
#define TOVREL_H

#include <stdint.h>

#if defined(_WIN32) || defined(__CYGWIN__)
#  if defined(TOVREL_STATIC)
#    define TOVREL_API
#  elif defined(TOVREL_BUILD)
#    define TOVREL_API __declspec(dllexport)
#  else
#    define TOVREL_API __declspec(dllimport)
#  endif
#  define TOVREL_CALL __cdecl
#else
#  if defined(__GNUC__)
#    define TOVREL_API __attribute__((visibility("default")))
#  else
#    define TOVREL_API
#  endif
#  define TOVREL_CALL
#endif

/* Nothing in the library throws; C++ callers may rely on it. */
#ifdef __cplusplus
#  define TOVREL_NOEXCEPT noexcept
#else
#  define TOVREL_NOEXCEPT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Pixel format codes (the `format` byte of an image_descriptor). */
#define TOVREL_FORMAT_RGBQ 1   /* 4 bytes per pixel, four 8-bit components */
#define TOVREL_FORMAT_YUY2 2   /* 8-bit 4:2:2, pairs Y0 U Y1 V, chroma zero 128 */
#define TOVREL_FORMAT_WORD 3   /* one unsigned 16-bit component per pixel */
#define TOVREL_FORMAT_YUVQ 4   /* Y U V x bytes; rectangle sources only */
#define TOVREL_FORMAT_W210 6   /* 10-bit 4:2:2, one 16-bit word per sample, chroma zero 512 */
#define TOVREL_FORMAT_S16X4A 10 /* four signed 16-bit components, 4th premultiplied alpha */
#define TOVREL_FORMAT_S16X4 11  /* four signed 16-bit components */

/* Range of word samples. The polygon renderers of word textures (and of
 * w12b alpha planes, which they also sample) add samples in 16-bit lanes
 * in most footprints, chosen by the minification. Samples must lie below:
 *   65536  no minification limit: point sampling and the footprints of
 *          1 row x 3, 4 or 8 columns, 1.5 x 2, 3 or 4, 2 x 4;
 *   32768  1 x 1 (bilinear);
 *   16384  1 x 2 and 2 x 1;
 *    8192  2 x 2, 2 x 8, 4 x 1, 4 x 2, 4 x 4 and 4 x 8;
 *    5461  where a multiply-high by 10923 normalises: 1.5 x 1, 1.5 x 8,
 *          2 x 3 and 4 x 3.
 * A sample at or above its limit gives wrong values (it is not checked).
 * Every footprint keeps a uniform value below its limit exact; 12-bit
 * data and alpha planes of 0..4096 fit every limit. */

/* alpha_kind values. Anything but 0 and 3 is an unknown alpha kind. */
#define TOVREL_ALPHA_NONE 0
#define TOVREL_ALPHA_W12B 3 /* separate plane of uint16, 0 transparent .. 4096 opaque */

/* alpha_mode values: 1 is straight colour, anything else premultiplied. */
#define TOVREL_ALPHA_STRAIGHT 1
#define TOVREL_ALPHA_PREMULTIPLIED 0

/* Full opacity and full coverage on the 4.12 scale used throughout. */
#define TOVREL_ALPHA_ONE 4096

/* Flags of map_polygon (low 8 bits of its flags argument). */
#define MAP_NO_FILTER 1     /* point sampling whatever the minification */
#define MAP_EDGE_AA 2       /* 3x vertical supersampling, exact horizontal edge coverage */
#define MAP_FIELD_TOP 4     /* read source lines 0, 2, 4, ... */
#define MAP_FIELD_BOTTOM 8  /* read source lines 1, 3, 5, ...; MAP_FIELD_TOP wins */
#define MAP_TILE 16         /* edge fringes add up instead of blending */

/* Flags of map_rectangle and multisrc_map_rectangle (a different layout). */
#define RECT_SRC_FIELD_TOP 4
#define RECT_SRC_FIELD_BOTTOM 8  /* ignored when RECT_SRC_FIELD_TOP is set */
#define RECT_TILE 16
#define RECT_DST_FIELD_TOP 64
#define RECT_DST_FIELD_BOTTOM 128 /* ignored when RECT_DST_FIELD_TOP is set */

/* One caller-owned image. Pitches are signed byte distances between lines. */
typedef struct image_descriptor {
    int32_t origin_x;     /* placement in a common source plane (multisrc only) */
    int32_t origin_y;
    int32_t width;        /* pixels */
    int32_t height;       /* frame lines, also when a field is addressed */
    uint8_t format;       /* TOVREL_FORMAT_* */
    uint8_t alpha_mode;   /* TOVREL_ALPHA_STRAIGHT or premultiplied */
    uint16_t reserved0;   /* not read */
    void *pixels;         /* first byte of line 0 */
    int32_t pitch;
    uint32_t reserved1;   /* not read */
    uint32_t alpha_kind;  /* TOVREL_ALPHA_NONE or TOVREL_ALPHA_W12B */
    void *alpha;          /* line 0 of the w12b plane */
    int32_t alpha_pitch;
} image_descriptor;

/* One polygon vertex: source position (u, v) in source pixels and frame
 * lines, perspective weight w, destination position (x, y). */
typedef struct map_vertex {
    float u;
    float v;
    float w;
    float x;
    float y;
} map_vertex;

/* Draws the texture `src` into the polygon `vertices[0..vertex_count)` of
 * `dst`. Only destination lines y with (first_line - y) mod line_step == 0
 * are drawn, so several calls (or threads) can share one polygon. The
 * result carries no status; unsupported combinations are reported through
 * the report channel and draw nothing. The source is at most 32767 pixels
 * each way, and its pitch (doubled when a field is read) at most 32767
 * texels either way, its alpha pitch 32767 samples. */
TOVREL_API int32_t TOVREL_CALL map_polygon(const image_descriptor *dst, const image_descriptor *src,
                                           const map_vertex *vertices, int32_t vertex_count,
                                           uint32_t flags, int32_t first_line, int32_t line_step) TOVREL_NOEXCEPT;

/* Draws the source rectangle [src_x0, src_x1) x [src_y0, src_y1) (source
 * pixels) into [dst_x0, dst_x1) x [dst_y0, dst_y1) (destination pixels)
 * with exact area weighting. Only destination lines congruent to
 * line_phase modulo line_period are drawn. */
TOVREL_API void TOVREL_CALL map_rectangle(const image_descriptor *destination, float dst_x0, float dst_y0,
                                          float dst_x1, float dst_y1, const image_descriptor *source,
                                          float src_x0, float src_y0, float src_x1, float src_y1,
                                          uint32_t flags, int32_t line_phase, int32_t line_period) TOVREL_NOEXCEPT;

/* As map_rectangle, for a source plane made of several images placed by
 * their origin_x and origin_y; one map_rectangle per image it meets, in
 * array order. */
TOVREL_API void TOVREL_CALL multisrc_map_rectangle(const image_descriptor *destination, double dst_x0,
                                                   double dst_y0, double dst_x1, double dst_y1,
                                                   const image_descriptor *const *sources,
                                                   int32_t source_count, double src_x0, double src_y0,
                                                   double src_x1, double src_y1, uint32_t flags,
                                                   int32_t line_phase, int32_t line_period) TOVREL_NOEXCEPT;

/* Receives each finished report line (ending in "\n", NUL-terminated). */
typedef void(TOVREL_CALL *tovrel_report_sink)(const char *line, void *user);

/* Routes every report line to `sink` instead of the default screen or
 * standard-error output. A null sink restores the default. Lines from
 * several threads are delivered one at a time, each whole; the sink must
 * not call back into tovrel. */
TOVREL_API void TOVREL_CALL tovrel_set_report_sink(tovrel_report_sink sink, void *user) TOVREL_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif

/* Layout checks. The record layout is a binary format on 32-bit targets. */
#if defined(__cplusplus)
#  define TOVREL_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#  define TOVREL_STATIC_ASSERT(cond, name) _Static_assert(cond, #name)
#else
#  define TOVREL_STATIC_ASSERT(cond, name) typedef char tovrel_assert_##name[(cond) ? 1 : -1]
#endif

#include <stddef.h>
TOVREL_STATIC_ASSERT(sizeof(map_vertex) == 20, map_vertex_size);
TOVREL_STATIC_ASSERT(offsetof(map_vertex, y) == 16, map_vertex_y);
#if UINTPTR_MAX == 0xffffffffu
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, origin_x) == 0, desc_origin_x);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, origin_y) == 4, desc_origin_y);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, width) == 8, desc_width);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, height) == 12, desc_height);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, format) == 16, desc_format);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, alpha_mode) == 17, desc_alpha_mode);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, pixels) == 20, desc_pixels);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, pitch) == 24, desc_pitch);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, alpha_kind) == 32, desc_alpha_kind);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, alpha) == 36, desc_alpha);
TOVREL_STATIC_ASSERT(offsetof(image_descriptor, alpha_pitch) == 40, desc_alpha_pitch);
TOVREL_STATIC_ASSERT(sizeof(image_descriptor) == 44, desc_size);
#endif

#endif /* TOVREL_H */
