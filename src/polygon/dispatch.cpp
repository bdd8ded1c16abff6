#include "polygon/dispatch.h"

#include <array>
#include <cstddef>

#include "polygon/pixel_writers.h"
#include "span/alpha_renderers.h"
#include "span/rgbq_renderers.h"
#include "span/s16x4_renderers.h"
#include "span/w210_renderers.h"
#include "span/word_renderers.h"
#include "span/yuy2_renderers.h"

namespace tovrel {

namespace {

// Renderer table pairs by family.
enum class pair_id : uint8_t {
    a_rgbq,
    b_yuy2,
    c_w210,
    d_word,
    e_rgbq_alpha,
    f_yuy2_alpha,
    g_w210_alpha,
    h_s16x4,  // S16X4A and S16X4, line-buffer and tiled
    i_s16x4a, // S16X4A straight into the destination
    count
};

struct pair_source {
    renderer_table_pair (*get)(); // null: the family is not in this build
    const char *missing;          // refusal while it is not
};

constexpr std::array<pair_source, static_cast<size_t>(pair_id::count)> pair_sources{{
    {&rgbq_span_renderers, nullptr},
    {&yuy2_span_renderers, nullptr},
    {&w210_span_renderers, nullptr},
    {&word_span_renderers, nullptr},
    {&rgbq_alpha_span_renderers, nullptr},
    {&yuy2_alpha_span_renderers, nullptr},
    {&w210_alpha_span_renderers, nullptr},
    {&s16x4_span_renderers, nullptr},
    {&s16x4a_over_span_renderers, nullptr},
}};

enum class match : uint8_t { no, yes, any };

constexpr bool matches(match m, bool value) {
    return m == match::any || (m == match::yes) == value;
}

// Which descriptor's alpha_mode picks the straight or the premultiplied
// writer: the source's when it has alpha, else the destination's.
enum class mode_from : uint8_t { source, destination };

constexpr uint8_t any_format = 0;

struct dispatch_row {
    uint8_t src_format; // any_format matches every code
    uint8_t dst_format;
    match src_alpha, dst_alpha, tile;
    const char *refusal; // the row refuses with this message
    pair_id line_pair, direct_pair;
    bool via_line_buffer;
    mode_from mode;
    // Index 0 premultiplied, 1 straight.
    std::array<span_writer, 2> span;
    std::array<coverage_writer, 2> coverage;
};

constexpr dispatch_row refuse(uint8_t src_format, uint8_t dst_format, match src_alpha,
                              match dst_alpha, match tile, const char *message) {
    return {src_format,
            dst_format,
            src_alpha,
            dst_alpha,
            tile,
            message,
            pair_id::count,
            pair_id::count,
            false,
            mode_from::destination,
            {},
            {}};
}

constexpr dispatch_row draw(uint8_t src_format, uint8_t dst_format, match src_alpha,
                            match dst_alpha, match tile, pair_id line_pair, pair_id direct_pair,
                            bool via_line_buffer, mode_from mode, std::array<span_writer, 2> span,
                            std::array<coverage_writer, 2> coverage) {
    return {src_format, dst_format,  src_alpha,       dst_alpha, tile, nullptr,
            line_pair,  direct_pair, via_line_buffer, mode,      span, coverage};
}

// The eight combinations of source alpha, destination alpha and tiling of a
// family whose writers come in the sixteen roles (RGBQ, YUY2, W210), and
// the refusal of any other destination format.
constexpr std::array<dispatch_row, 9> family_rows(uint8_t format, pair_id plain, pair_id alpha,
                                                  const family_writers &w, const char *tile_refusal,
                                                  const char *alpha_tile_refusal,
                                                  const char *other_destination) {
    using c = coverage_role;
    using s = span_role;
    constexpr match no = match::no, yes = match::yes, any = match::any;
    constexpr mode_from src = mode_from::source, dst = mode_from::destination;
    return {{
        draw(format, format, no, no, no, plain, plain, false, dst, {}, {w[c::write], w[c::write]}),
        refuse(format, format, no, no, yes, tile_refusal),
        draw(format, format, no, yes, no, plain, plain, false, dst,
             {fill_alpha_opaque, fill_alpha_opaque},
             {w[c::write_over_premul], w[c::write_over_straight]}),
        draw(format, format, no, yes, yes, plain, plain, false, dst,
             {fill_alpha_opaque, fill_alpha_opaque},
             {w[c::add_over_premul], w[c::add_over_straight]}),
        draw(format, format, yes, no, no, alpha, alpha, true, src,
             {w[s::blend_a_premul], w[s::blend_a_straight]},
             {w[c::write_a_premul], w[c::write_a_straight]}),
        refuse(format, format, yes, no, yes, alpha_tile_refusal),
        draw(format, format, yes, yes, no, alpha, alpha, true, src,
             {w[s::blend_a_over_premul], w[s::blend_a_over_straight]},
             {w[c::write_a_over_premul], w[c::write_a_over_straight]}),
        draw(format, format, yes, yes, yes, alpha, alpha, false, src, {},
             {w[c::add_a_over_premul], w[c::add_a_over_straight]}),
        refuse(format, any_format, any, any, any, other_destination),
    }};
}

constexpr match no = match::no, yes = match::yes, any = match::any;
constexpr mode_from dst_mode = mode_from::destination;

constexpr std::array<dispatch_row, 14> other_rows{{
    // word: into a destination with alpha only tiled, without alpha only
    // untiled, deliberately.
    draw(TOVREL_FORMAT_WORD, TOVREL_FORMAT_WORD, no, no, no, pair_id::d_word, pair_id::d_word,
         false, dst_mode, {}, {write_word, write_word}),
    refuse(TOVREL_FORMAT_WORD, TOVREL_FORMAT_WORD, no, no, yes,
           "map:tile word to word is not supported\n"),
    draw(TOVREL_FORMAT_WORD, TOVREL_FORMAT_WORD, no, yes, yes, pair_id::d_word, pair_id::d_word,
         false, dst_mode, {fill_alpha_opaque, fill_alpha_opaque}, {add_word_over, add_word_over}),
    refuse(TOVREL_FORMAT_WORD, TOVREL_FORMAT_WORD, no, yes, no,
           "map:overlay word to word + w12b is not supported\n"),
    refuse(TOVREL_FORMAT_WORD, any_format, yes, any, any,
           "map_polygon: word textures with alpha are not supported\n"),
    refuse(TOVREL_FORMAT_WORD, any_format, any, any, any,
           "map_polygon: a word texture needs a word destination\n"),
    // S16X4A and S16X4: the destination format decides; alpha planes are
    // not consulted.
    draw(TOVREL_FORMAT_S16X4A, TOVREL_FORMAT_S16X4A, any, any, yes, pair_id::h_s16x4,
         pair_id::h_s16x4, false, dst_mode, {}, {add_s16x4, add_s16x4}),
    draw(TOVREL_FORMAT_S16X4A, TOVREL_FORMAT_S16X4A, any, any, no, pair_id::h_s16x4,
         pair_id::i_s16x4a, false, dst_mode, {}, {write_s16x4a_over, write_s16x4a_over}),
    draw(TOVREL_FORMAT_S16X4A, TOVREL_FORMAT_S16X4, any, any, any, pair_id::h_s16x4,
         pair_id::i_s16x4a, false, dst_mode, {}, {write_s16x4a_over, write_s16x4a_over}),
    refuse(TOVREL_FORMAT_S16X4A, any_format, any, any, any,
           "map_polygon: an S16X4A texture needs an S16X4A or S16X4 destination\n"),
    draw(TOVREL_FORMAT_S16X4, TOVREL_FORMAT_S16X4A, any, any, yes, pair_id::h_s16x4,
         pair_id::h_s16x4, false, dst_mode, {fill_s16x4_alpha_opaque, fill_s16x4_alpha_opaque},
         {add_s16x4_opaque, add_s16x4_opaque}),
    draw(TOVREL_FORMAT_S16X4, TOVREL_FORMAT_S16X4A, any, any, no, pair_id::h_s16x4,
         pair_id::h_s16x4, false, dst_mode, {fill_s16x4_alpha_opaque, fill_s16x4_alpha_opaque},
         {write_s16x4_into_alpha, write_s16x4_into_alpha}),
    draw(TOVREL_FORMAT_S16X4, TOVREL_FORMAT_S16X4, any, any, any, pair_id::h_s16x4,
         pair_id::h_s16x4, false, dst_mode, {}, {write_s16x4, write_s16x4}),
    refuse(TOVREL_FORMAT_S16X4, any_format, any, any, any,
           "map_polygon: an S16X4 texture needs an S16X4A or S16X4 destination\n"),
}};

template <size_t... N>
constexpr auto concat(const std::array<dispatch_row, N> &...parts) {
    std::array<dispatch_row, (N + ...)> out{};
    size_t i = 0;
    (([&] {
         for (const dispatch_row &row : parts) out[i++] = row;
     }()),
     ...);
    return out;
}

constexpr std::array<dispatch_row, 1> last_row{
    {refuse(any_format, any_format, any, any, any, "source texture is not supported.\n")}};

// Specific rows first; the first row that matches decides.
constexpr auto dispatch_table =
    concat(family_rows(TOVREL_FORMAT_RGBQ, pair_id::a_rgbq, pair_id::e_rgbq_alpha, rgbq_writers,
                       "RGBQ -> RGBQ with tiling is not supported.\n",
                       "RGBQ + alpha -> RGBQ with tiling is not supported.\n",
                       "map_polygon: an RGBQ texture needs an RGBQ destination\n"),
           family_rows(TOVREL_FORMAT_YUY2, pair_id::b_yuy2, pair_id::f_yuy2_alpha, yuy2_writers,
                       "YUY2 -> YUY2 with tiling is not supported.\n",
                       "YUY2 + alpha -> YUY2 with tiling is not supported.\n",
                       "map_polygon: a YUY2 texture needs a YUY2 destination\n"),
           family_rows(TOVREL_FORMAT_W210, pair_id::c_w210, pair_id::g_w210_alpha, w210_writers,
                       "W210 -> W210 with tiling is not supported.\n",
                       "W210 + alpha -> W210 with tiling is not supported.\n",
                       "map_polygon: a W210 texture needs a W210 destination\n"),
           other_rows, last_row);

constexpr bool row_matches(const dispatch_row &row, uint8_t src_format, uint8_t dst_format,
                           bool src_alpha, bool dst_alpha, bool tile) {
    return (row.src_format == any_format || row.src_format == src_format) &&
           (row.dst_format == any_format || row.dst_format == dst_format) &&
           matches(row.src_alpha, src_alpha) && matches(row.dst_alpha, dst_alpha) &&
           matches(row.tile, tile);
}

constexpr const dispatch_row *find_row(uint8_t src_format, uint8_t dst_format, bool src_alpha,
                                       bool dst_alpha, bool tile) {
    for (const dispatch_row &row : dispatch_table)
        if (row_matches(row, src_format, dst_format, src_alpha, dst_alpha, tile)) return &row;
    return nullptr;
}

// Every combination finds a row, and every drawing row names its renderer
// pairs. Codes above 11 behave as 12. (Writers are named in the rows
// themselves; a function's address is not a constant under every build
// flag, so they are not compared here.)
constexpr bool table_complete() {
    for (int s = 0; s <= 12; ++s)
        for (int d = 0; d <= 12; ++d)
            for (int k = 0; k < 8; ++k) {
                const dispatch_row *row =
                    find_row(static_cast<uint8_t>(s), static_cast<uint8_t>(d), k & 1, k & 2, k & 4);
                if (row == nullptr) return false;
                if (!row->refusal &&
                    (row->line_pair == pair_id::count || row->direct_pair == pair_id::count))
                    return false;
            }
    return true;
}
static_assert(table_complete(), "every format combination has a row");
static_assert(dispatch_table.back().src_format == any_format && dispatch_table.back().refusal,
              "the table ends with the refusal of unknown sources");

constexpr int32_t pixel_bytes_of(uint8_t format) {
    switch (format) {
    case TOVREL_FORMAT_YUY2:
    case TOVREL_FORMAT_WORD:
        return 2;
    case TOVREL_FORMAT_S16X4A:
    case TOVREL_FORMAT_S16X4:
        return 8;
    default:
        return 4; // RGBQ, W210 (two 16-bit words per pixel)
    }
}

} // namespace

dispatch_choice choose_renderers(const image_descriptor &dst, const image_descriptor &src,
                                 uint32_t flags, int32_t slot) {
    dispatch_choice choice{};
    const bool src_alpha = src.alpha_kind == TOVREL_ALPHA_W12B;
    const bool dst_alpha = dst.alpha_kind == TOVREL_ALPHA_W12B;
    const dispatch_row &row =
        *find_row(src.format, dst.format, src_alpha, dst_alpha, (flags & MAP_TILE) != 0);
    if (row.refusal) {
        choice.refusal = row.refusal;
        return choice;
    }
    const pair_source &line_source = pair_sources[static_cast<size_t>(row.line_pair)];
    const pair_source &direct_source = pair_sources[static_cast<size_t>(row.direct_pair)];
    if (!line_source.get || !direct_source.get) {
        choice.refusal = line_source.get ? direct_source.missing : line_source.missing;
        return choice;
    }
    const renderer_table_pair line = line_source.get();
    const renderer_table_pair direct = direct_source.get();
    const size_t s = static_cast<size_t>(slot);
    choice.persp_renderer = (*line.persp)[s];
    choice.affine_renderer = (*line.affine)[s];
    choice.direct_persp_renderer = (*direct.persp)[s];
    choice.direct_affine_renderer = (*direct.affine)[s];
    choice.via_line_buffer = row.via_line_buffer;

    const image_descriptor &mode_owner = row.mode == mode_from::source ? src : dst;
    const size_t straight = mode_owner.alpha_mode == TOVREL_ALPHA_STRAIGHT ? 1 : 0;
    choice.span_writer = row.span[straight];
    choice.coverage_writer = row.coverage[straight];
    choice.reads_src_alpha = row.src_alpha == match::yes;
    choice.uses_dst_alpha = row.dst_alpha == match::yes;
    choice.pixel_bytes = pixel_bytes_of(src.format);
    choice.pair_format = src.format == TOVREL_FORMAT_YUY2 || src.format == TOVREL_FORMAT_W210;
    return choice;
}

} // namespace tovrel
