// The SIMD members of the 4:2:2 families (YUY2, W210), written once for
// both families and both member kinds (pair_kinds).
//
// Included by pair_packed_sse2.cpp inside an anonymous namespace of
// tovrel::span, after rgbq_packed_kernel.h, whose position walks it uses:
// positions are computed four pixels at a time, lane for lane the
// arithmetic of the scalar statement (stepped single precision with the
// approximate reciprocal for the packed kind; every pixel's own double
// precision position with a true division, full-width addressing and the
// 1.5-row weights in 128ths for the scalar kind).
//
// Per pixel, every footprint row is read as whole pixel pairs from the
// pair that holds column cu, widened to 16-bit words [Y_even, U, Y_odd, V]
// per pair, two pairs per register (a "chunk" of four columns). Luma is
// one pmaddwd per chunk with the column weights on the Y words; chroma
// first spreads each pair's U and V over two words, [U U V V] per pair,
// so that one pmaddwd adds the weights of both columns that repeat them.
// Column weights (<= 128) times row weights (<= 128) stay <= 16384, so
// every product fits the multiply-add; for 1.5 rows the doubled half-row
// weights (up to 256) are split into virtual rows of at most 128 each:
//   f16 <  32768: (256 - g) S_0 + (128 + g) S_1
//                 = 128 S_0 + 128 S_1 + (128 - g) S_0 + g S_1
//   f16 >= 32768: (128 - g) S_0 + 256 S_1 + g S_2
//                 = (128 - g) S_0 + 128 S_1 + 128 S_1 + g S_2
// The int32 lanes add modulo 2^32, as the packed statement's sums do;
// the scalar kind's sums are exact (8-bit samples fit int32, 16-bit ones
// are split, see split_rows). The normalisation is the statement's.

template <class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed {
    using fp = footprint<Slot>;
    static constexpr int W = fp::width;
    static constexpr int sample_bytes = sizeof(typename Traits::sample);
    static constexpr int pair_bytes = 4 * sample_bytes;
    // Pairs read from the pair of cu: those holding columns cu .. cu + W.
    // An odd cu needs one pair more than an even one when W is odd.
    static constexpr int even_pairs = (W + 2) / 2;
    static constexpr int odd_pairs = (W + 3) / 2;
    static constexpr int chunks = (odd_pairs + 1) / 2;
    // 1.5 rows: four virtual rows of the doubled half-row weights, or the
    // three rows of the scalar kind's weights in 128ths (row 1 read again
    // under weight 0 up to fv = 64).
    static constexpr int virtual_rows =
        fp::one_and_half ? (Kind == member_kind::packed ? 4 : 3) : fp::rows + 1;
    // Whole heights of 8-bit samples add their rows before weighting them.
    static constexpr bool rows_first = Traits::eight_bit && !fp::one_and_half;
    // The exact sums of 16-bit samples (scalar kind) outgrow int32 once
    // the rows are weighted: each row's column-weighted sum p (|p| < 2^25
    // per lane) is split as p = hi * 2^15 + lo, lo in [0, 32767] and
    // |hi| < 2^10, both weighted by the row in lanes of their own, and
    // R = H * 2^15 + L in int64.
    static constexpr bool split_rows = !Traits::eight_bit && Kind == member_kind::scalar;

    // Which weight a 16-bit lane takes: 128 - fu (column 0), 128 (inner
    // columns), fu (column W) or none.
    struct lane_masks {
        alignas(16) int16_t first[8], inner[8], last[8];
    };
    static constexpr lane_masks masks_for(int parity, int chunk, bool chroma) {
        lane_masks m{};
        for (int i = 0; i < 8; ++i) {
            // Luma: Y of column 4 * chunk + i / 2 in the even words.
            // Chroma: [U U V V] of pair 2 * chunk + i / 4, columns even, odd.
            int column = chroma ? 4 * chunk + 2 * (i / 4) + (i & 1) : 4 * chunk + i / 2;
            if (!chroma && (i & 1)) column = -1;
            const int c = column < 0 ? -1 : column - parity; // footprint column
            m.first[i] = c == 0 ? int16_t(-1) : int16_t(0);
            m.inner[i] = c > 0 && c < W ? int16_t(128) : int16_t(0);
            m.last[i] = c == W ? int16_t(-1) : int16_t(0);
        }
        return m;
    }
    // [parity][chunk][luma, chroma]
    static constexpr auto masks = [] {
        std::array<lane_masks, 2 * chunks * 2> t{};
        for (int p = 0; p < 2; ++p)
            for (int c = 0; c < chunks; ++c)
                for (int k = 0; k < 2; ++k)
                    t[size_t((p * chunks + c) * 2 + k)] = masks_for(p, c, k);
        return t;
    }();

    static __m128i load_pair(const uint8_t *p) {
        if constexpr (sample_bytes == 1) {
            int32_t v;
            __builtin_memcpy(&v, p, 4);
            return _mm_unpacklo_epi8(_mm_cvtsi32_si128(v), _mm_setzero_si128());
        } else {
            return load64(p);
        }
    }
    static __m128i load_two_pairs(const uint8_t *p) {
        if constexpr (sample_bytes == 1)
            return _mm_unpacklo_epi8(load64(p), _mm_setzero_si128());
        else
            return load128(p);
    }
    // Chunk C of the row whose first pair is at q. Pairs past those of an
    // even cu are read only for an odd one (an even cu reads its last
    // pair again, under zero weights), so nothing outside the pairs of
    // columns cu .. cu + W is touched.
    template <int C>
    static __m128i chunk(const uint8_t *q, int parity) {
        constexpr int k0 = 2 * C, k1 = 2 * C + 1;
        auto at = [&](int k) { return q + (k < even_pairs ? k : k - 1 + parity) * pair_bytes; };
        if constexpr (k1 >= odd_pairs)
            return load_pair(at(k0));
        else if constexpr (k1 < even_pairs)
            return load_two_pairs(q + k0 * pair_bytes);
        else
            return _mm_unpacklo_epi64(load_pair(at(k0)), load_pair(at(k1)));
    }

    struct row_weight {
        int32_t row, weight;
    };
    __attribute__((always_inline)) static std::array<row_weight, virtual_rows> rows_of(int32_t iv) {
        if constexpr (fp::one_and_half && Kind == member_kind::scalar) {
            const int32_t fv = fraction7(iv);
            if (fv <= 64) return {{{0, 128 - fv}, {1, 64 + fv}, {1, 0}}};
            return {{{0, 128 - fv}, {1, 128}, {2, fv - 64}}};
        } else if constexpr (fp::one_and_half) {
            const int32_t f16 = iv & 65535, g = ((2 * f16) & 65535) >> 9;
            if (f16 < 32768) return {{{0, 128}, {1, 128}, {0, 128 - g}, {1, g}}};
            return {{{0, 128 - g}, {1, 128}, {1, 128}, {2, g}}};
        } else {
            const int32_t fv = fraction7(iv);
            std::array<row_weight, virtual_rows> r{};
            for (int i = 0; i < virtual_rows; ++i)
                r[size_t(i)] = {i, i == 0 ? 128 - fv : i == fp::rows ? fv : 128};
            return r;
        }
    }

    // The sums of one pixel spread over int32 lanes: R of Y is the sum of
    // all four lanes of `luma`; with Chroma, R of U lanes 0 + 2 and R of V
    // lanes 1 + 3 of `chroma`. With split_rows, those are the low parts L
    // and luma_hi, chroma_hi the high parts H.
    struct lane_set {
        __m128i luma, chroma, luma_hi, chroma_hi;
    };
    template <bool Chroma>
    static lane_set lane_sums(const texture_ref &t, texel_pos pos) {
        const texel_origin o = locate<Kind, Traits::unit_shift>(t, pos.iu, pos.iv);
        const int parity = (pos.iu >> 16) & 1;
        const uint8_t *q = o.p - parity * 2 * sample_bytes;
        const __m128i fu = _mm_set1_epi16(static_cast<int16_t>(fraction7(pos.iu)));
        const __m128i fu0 = _mm_sub_epi16(_mm_set1_epi16(128), fu);
        __m128i wl[chunks], wc[chunks];
        auto weights = [&](const lane_masks &m) {
            auto ld = [](const int16_t *v) {
                return _mm_load_si128(reinterpret_cast<const __m128i *>(v));
            };
            return _mm_or_si128(
                _mm_or_si128(_mm_and_si128(ld(m.first), fu0), _mm_and_si128(ld(m.last), fu)),
                ld(m.inner));
        };
        for (int c = 0; c < chunks; ++c) {
            wl[c] = weights(masks[size_t((parity * chunks + c) * 2)]);
            if constexpr (Chroma) wc[c] = weights(masks[size_t((parity * chunks + c) * 2 + 1)]);
        }
        const __m128i zero = _mm_setzero_si128();
        __m128i luma = zero, chroma = zero, luma_hi = zero, chroma_hi = zero;
        // The chroma word of each column (Y U or Y V) in both words of its
        // lane, so that one multiply-add weighs it by both chroma masks.
        auto chroma_words = [](__m128i x) {
            const __m128i uv = _mm_srli_epi32(x, 16);
            return _mm_or_si128(uv, _mm_slli_epi32(uv, 16));
        };
        // Words x of chunk C (one row or a sum of rows) under row weight wr.
        auto add = [&]<int C>(std::integral_constant<int, C>, __m128i x, __m128i wr) {
            luma = _mm_add_epi32(luma, _mm_madd_epi16(x, _mm_mullo_epi16(wl[C], wr)));
            if constexpr (Chroma) {
                chroma = _mm_add_epi32(chroma,
                                       _mm_madd_epi16(chroma_words(x), _mm_mullo_epi16(wc[C], wr)));
            }
        };
        auto each_chunk = [&](auto f) {
            [&]<int... C>(std::integer_sequence<int, C...>) {
                (f(std::integral_constant<int, C>{}), ...);
            }
            (std::make_integer_sequence<int, chunks>{});
        };
        if constexpr (rows_first) {
            // (128 - fv) * (row 0 + inner rows) + fv * (inner rows + row H)
            // equals the rows weighted one by one; 8-bit samples keep the
            // row sums (<= 4 * 255) inside their 16-bit words.
            constexpr int H = fp::rows;
            const int32_t fv = fraction7(pos.iv);
            const __m128i wa = _mm_set1_epi16(static_cast<int16_t>(128 - fv));
            const __m128i wb = _mm_set1_epi16(static_cast<int16_t>(fv));
            each_chunk([&]<int C>(std::integral_constant<int, C> c) {
                auto row = [&](int r) { return chunk<C>(q + r * o.row_bytes, parity); };
                __m128i a = row(0), b = row(H);
                for (int r = 1; r < H; ++r) {
                    const __m128i x = row(r);
                    a = _mm_add_epi16(a, x), b = _mm_add_epi16(b, x);
                }
                add(c, a, wa);
                add(c, b, wb);
            });
        } else if constexpr (split_rows) {
            const std::array<row_weight, virtual_rows> rows = rows_of(pos.iv);
#pragma GCC unroll 8
            for (const row_weight v : rows) {
                const uint8_t *row = q + v.row * o.row_bytes;
                __m128i pl = zero, pc = zero;
                each_chunk([&]<int C>(std::integral_constant<int, C>) {
                    const __m128i x = chunk<C>(row, parity);
                    pl = _mm_add_epi32(pl, _mm_madd_epi16(x, wl[C]));
                    if constexpr (Chroma) {
                        pc = _mm_add_epi32(pc, _mm_madd_epi16(chroma_words(x), wc[C]));
                    }
                });
                // Row weight in the low word of each int32 lane, 0 in the
                // high word: pmaddwd multiplies the low words only.
                const __m128i wr = _mm_set1_epi32(v.weight);
                auto weigh = [&](__m128i p, __m128i &lo, __m128i &hi) {
                    lo = _mm_add_epi32(
                        lo, _mm_madd_epi16(_mm_and_si128(p, _mm_set1_epi32(0x7FFF)), wr));
                    hi = _mm_add_epi32(hi, _mm_madd_epi16(_mm_srai_epi32(p, 15), wr));
                };
                weigh(pl, luma, luma_hi);
                if constexpr (Chroma) weigh(pc, chroma, chroma_hi);
            }
        } else {
            const std::array<row_weight, virtual_rows> rows = rows_of(pos.iv);
#pragma GCC unroll 8
            for (const row_weight v : rows) {
                const uint8_t *row = q + v.row * o.row_bytes;
                const __m128i wr = _mm_set1_epi16(static_cast<int16_t>(v.weight));
                each_chunk([&]<int C>(std::integral_constant<int, C> c) {
                    add(c, chunk<C>(row, parity), wr);
                });
            }
        }
        return {luma, chroma, luma_hi, chroma_hi};
    }

    // Luma (lane 0) and U, V (lanes 1, 2 with Chroma) from the lanes.
    template <bool Chroma>
    static void reduce(__m128i luma, __m128i chroma, int32_t *r) {
        luma = _mm_add_epi32(luma, _mm_srli_si128(luma, 8));
        luma = _mm_add_epi32(luma, _mm_srli_si128(luma, 4));
        r[0] = _mm_cvtsi128_si32(luma);
        if constexpr (Chroma) {
            chroma = _mm_add_epi32(chroma, _mm_srli_si128(chroma, 8));
            r[1] = _mm_cvtsi128_si32(chroma);
            r[2] = _mm_cvtsi128_si32(_mm_srli_si128(chroma, 4));
        }
    }

    // Sums R of Y (r[0]) and, with Chroma, of U and V (r[1], r[2]).
    // In the statement's sum type of the kind.
    template <bool Chroma>
    static void sums(const texture_ref &t, texel_pos pos, typename Traits::template sum<Kind> *r) {
        using sum = typename Traits::template sum<Kind>;
        const lane_set s = lane_sums<Chroma>(t, pos);
        int32_t lo[3], hi[3];
        reduce<Chroma>(s.luma, s.chroma, lo);
        if constexpr (split_rows) reduce<Chroma>(s.luma_hi, s.chroma_hi, hi);
        for (int i = 0; i < (Chroma ? 3 : 1); ++i) {
            if constexpr (split_rows)
                r[i] = static_cast<int64_t>(hi[i]) * 32768 + lo[i];
            else
                r[i] = static_cast<sum>(lo[i]);
        }
    }
};

// Scale of the lane normalisation: the packed kind's (pair_packed_scale);
// for the scalar kind of the 8-bit family the exact (R + T/2) / T as the
// RGBQ scalar members compute it (exact_scale_8bit: T = 2^s * d, d = 1 or
// 3 here, R >= 0).
template <class Traits, int Slot, member_kind Kind, bool Chroma>
constexpr packed_scale pair_lane_scale() {
    if constexpr (Kind == member_kind::packed)
        return pair_packed_scale<Slot, Traits::eight_bit, Chroma>();
    else
        return exact_scale_8bit<Slot>();
}

// Normalised int32 lanes as int16 words (both halves): (R + round) >> s
// with paddd / psrad, packssdw, pmulhw by k where k != 0. The 8-bit
// family's packuswb follows at the store.
template <class Traits, int Slot, member_kind Kind, bool Chroma>
inline __m128i normalise_lanes(__m128i r) {
    constexpr packed_scale s = pair_lane_scale<Traits, Slot, Kind, Chroma>();
    r = _mm_srai_epi32(_mm_add_epi32(r, _mm_set1_epi32(s.round)), s.shift);
    __m128i w = _mm_packs_epi32(r, r);
    if constexpr (s.k != 0) w = _mm_mulhi_epi16(w, _mm_set1_epi16(static_cast<int16_t>(s.k)));
    return w;
}

// Two whole pairs from their normalised words: luma of pixels 0 .. 3 and
// chroma [U, V] of pixel 0 and of pixel 2, stored Y0 U0 Y1 V0 Y2 U1 Y3 V1.
template <class Traits, int Slot, member_kind Kind>
inline void store_two_pairs(uint8_t *dst, __m128i luma, __m128i chroma) {
    const __m128i words = _mm_unpacklo_epi16(normalise_lanes<Traits, Slot, Kind, false>(luma),
                                             normalise_lanes<Traits, Slot, Kind, true>(chroma));
    if constexpr (Traits::eight_bit)
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packus_epi16(words, words));
    else
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), words);
}

// Footprints wider than one column, two whole pairs at once: each pixel's
// sums in lanes (pair_packed::lane_sums), the four lumas and the two
// chroma pairs reduced together and normalised four lanes at a time.
template <class Traits, int Slot, member_kind Kind>
struct pair_wide {
    using simd = pair_packed<Traits, Slot, Kind>;
    static void two_pairs(uint8_t *dst, const texture_ref &t, const int32_t *iu,
                          const int32_t *iv) {
        const auto p0 = simd::template lane_sums<true>(t, {iu[0], iv[0]});
        const __m128i y1 = simd::template lane_sums<false>(t, {iu[1], iv[1]}).luma;
        const auto p2 = simd::template lane_sums<true>(t, {iu[2], iv[2]});
        const __m128i y3 = simd::template lane_sums<false>(t, {iu[3], iv[3]}).luma;
        const __m128i y0 = p0.luma, y2 = p2.luma, c0 = p0.chroma, c2 = p2.chroma;
        // [sum y0, sum y1, sum y2, sum y3]
        const __m128i y01 = _mm_add_epi32(_mm_unpacklo_epi32(y0, y1), _mm_unpackhi_epi32(y0, y1));
        const __m128i y23 = _mm_add_epi32(_mm_unpacklo_epi32(y2, y3), _mm_unpackhi_epi32(y2, y3));
        const __m128i luma =
            _mm_add_epi32(_mm_unpacklo_epi64(y01, y23), _mm_unpackhi_epi64(y01, y23));
        // [U0, V0, U2, V2]
        const __m128i chroma =
            _mm_add_epi32(_mm_unpacklo_epi64(c0, c2), _mm_unpackhi_epi64(c0, c2));
        store_two_pairs<Traits, Slot, Kind>(dst, luma, chroma);
    }
};

// One-column footprints (slots 1, 6, 11, 16), two whole pairs at once with
// one pixel per 32-bit lane. Per lane and virtual row the two taps of a
// row are gathered as a word pair: Y of columns cu and cu + 1 for luma;
// for the even pixels U (and V) of the pair of cu and of the pair of
// cu + 1 (the same pair when cu is even, where the second weight is 0):
//   luma   (128 - fu, fu) * row weight
//   chroma (128 - parity * fu, parity * fu) * row weight
// so one pmaddwd per virtual row gives four lumas, and one more the U and
// V of both pairs. The normalisation is the statement's, lane for lane:
// (R + T/2) >> s with paddd / psrad, packssdw, pmulhw, packuswb.
template <class Traits, int Slot>
struct pair_one_column {
    using fp = footprint<Slot>;
    using simd = pair_packed<Traits, Slot>;
    static constexpr int sb = simd::sample_bytes;

    static uint64_t load_bits(const uint8_t *p) {
        uint64_t v = 0;
        __builtin_memcpy(&v, p, 4 * sb);
        return v;
    }
    // Words (Y of the column at p, Y of the next column).
    __attribute__((always_inline)) static int32_t luma_taps(const uint8_t *p) {
        const uint64_t v = load_bits(p);
        constexpr int b = 8 * sb;
        constexpr uint64_t m = (uint64_t(1) << b) - 1;
        return static_cast<int32_t>((v & m) | ((v >> 2 * b) & m) << 16);
    }
    // Words (U of pair a, U of pair b) and (V of pair a, V of pair b).
    __attribute__((always_inline)) static void chroma_taps(const uint8_t *a, const uint8_t *b,
                                                           int32_t &u, int32_t &v) {
        const uint64_t x = load_bits(a), y = load_bits(b);
        constexpr int w = 8 * sb;
        constexpr uint64_t m = (uint64_t(1) << w) - 1;
        u = static_cast<int32_t>(((x >> w) & m) | ((y >> w) & m) << 16);
        v = static_cast<int32_t>(((x >> 3 * w) & m) | ((y >> 3 * w) & m) << 16);
    }

    // Pixels 0 .. 3 at positions (iu, iv), pixel 0 even.
    static void two_pairs(uint8_t *dst, const texture_ref &t, __m128i iu, __m128i iv) {
        const int32_t unit_pitch = static_cast<int16_t>(t.pitch >> Traits::unit_shift);
        const ptrdiff_t rb = static_cast<ptrdiff_t>(unit_pitch) << Traits::unit_shift;
        // Index cu + cv * unit pitch from (cu, cv) as int16 pairs, one pmaddwd.
        alignas(16) int32_t index[4], shift[4] = {};
        const __m128i cu_cv =
            _mm_or_si128(_mm_srli_epi32(iu, 16), _mm_and_si128(iv, _mm_set1_epi32(-65536)));
        _mm_store_si128(reinterpret_cast<__m128i *>(index),
                        _mm_madd_epi16(cu_cv, _mm_set1_epi32(int32_t(
                                                  uint32_t(uint16_t(unit_pitch)) << 16 | 1u))));
        const __m128i m127 = _mm_set1_epi32(127), w128 = _mm_set1_epi32(128);
        const __m128i fu = _mm_and_si128(_mm_srli_epi32(iu, 9), m127);
        const __m128i odd = _mm_and_si128(_mm_srli_epi32(iu, 16), _mm_set1_epi32(1));
        const __m128i fu_odd = _mm_and_si128(fu, _mm_sub_epi32(_mm_setzero_si128(), odd));
        const __m128i wu = _mm_or_si128(_mm_sub_epi32(w128, fu), _mm_slli_epi32(fu, 16));
        // Chroma lanes: U and V of pixel 0, U and V of pixel 2.
        const __m128i wc = _mm_shuffle_epi32(
            _mm_or_si128(_mm_sub_epi32(w128, fu_odd), _mm_slli_epi32(fu_odd, 16)), 0xA0);
        // Row weights of the virtual rows; for 1.5 rows the third and
        // fourth start one row lower past one half (`shift` rows).
        __m128i wr[simd::virtual_rows];
        if constexpr (fp::one_and_half) {
            const __m128i f16 = _mm_and_si128(iv, _mm_set1_epi32(65535));
            const __m128i g =
                _mm_srli_epi32(_mm_and_si128(_mm_slli_epi32(iv, 1), _mm_set1_epi32(65535)), 9);
            const __m128i upper = _mm_srai_epi32(_mm_slli_epi32(f16, 16), 31); // f16 >= 32768
            const __m128i g0 = _mm_sub_epi32(w128, g);
            wr[0] = _mm_or_si128(_mm_andnot_si128(upper, w128), _mm_and_si128(upper, g0));
            wr[1] = w128;
            wr[2] = _mm_or_si128(_mm_andnot_si128(upper, g0), _mm_and_si128(upper, w128));
            wr[3] = g;
            _mm_store_si128(reinterpret_cast<__m128i *>(shift),
                            _mm_sub_epi32(_mm_setzero_si128(), upper));
        } else {
            const __m128i fv = _mm_and_si128(_mm_srli_epi32(iv, 9), m127);
            for (int j = 0; j < simd::virtual_rows; ++j)
                wr[j] = j == 0 ? _mm_sub_epi32(w128, fv) : j == fp::rows ? fv : w128;
        }
        asm("" : "+m"(index), "+m"(shift));
        const uint8_t *texel[4], *pair[4], *second[4];
        alignas(16) int32_t parity[4];
        _mm_store_si128(reinterpret_cast<__m128i *>(parity), odd);
        for (int i = 0; i < 4; ++i) {
            texel[i] = t.base + (static_cast<ptrdiff_t>(index[i]) << Traits::unit_shift);
            pair[i] = texel[i] - parity[i] * 2 * sb;
            second[i] = pair[i] + parity[i] * 4 * sb; // the pair of cu + 1
        }
        // As in the RGBQ members: a slanted walk reads, on the next lines,
        // texels a few columns either side of these in every row it
        // crosses, which the hardware prefetchers do not follow.
        for (const uint8_t *q :
             {texel[1] - 128, texel[1] + 128, texel[1] + rb - 128, texel[1] + rb + 128})
            _mm_prefetch(reinterpret_cast<const char *>(q), _MM_HINT_T0);
        __m128i luma = _mm_setzero_si128(), chroma = _mm_setzero_si128();
        for (int j = 0; j < simd::virtual_rows; ++j) {
            const __m128i w = _mm_or_si128(wr[j], _mm_slli_epi32(wr[j], 16));
            // Row of virtual row j in lane i.
            auto row = [&](int i) {
                if constexpr (fp::one_and_half)
                    return (j < 2 ? j : j - 2 + shift[i]) * rb;
                else
                    return j * rb;
            };
            const __m128i y =
                _mm_setr_epi32(luma_taps(texel[0] + row(0)), luma_taps(texel[1] + row(1)),
                               luma_taps(texel[2] + row(2)), luma_taps(texel[3] + row(3)));
            luma = _mm_add_epi32(luma, _mm_madd_epi16(y, _mm_mullo_epi16(wu, w)));
            int32_t u0, v0, u2, v2;
            chroma_taps(pair[0] + row(0), second[0] + row(0), u0, v0);
            chroma_taps(pair[2] + row(2), second[2] + row(2), u2, v2);
            chroma = _mm_add_epi32(chroma,
                                   _mm_madd_epi16(_mm_setr_epi32(u0, v0, u2, v2),
                                                  _mm_mullo_epi16(wc, _mm_shuffle_epi32(w, 0xA0))));
        }
        store_two_pairs<Traits, Slot, member_kind::packed>(dst, luma, chroma);
    }
};

// The sampler the pair walk calls: the SIMD sums, the scalar statement's
// normalisation and store; slot 0 copies as the statement does.
template <class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed_sampler {
    using scalar = pair_sampler<Traits, Slot, Kind>;
    using simd = pair_packed<Traits, Slot, Kind>;
    using sum = typename Traits::template sum<Kind>;
    static constexpr int sample_bytes = scalar::sample_bytes;

    template <bool Chroma>
    static void store(uint8_t *dst, sum r) {
        Traits::store(dst, Traits::template normalise<Slot, Kind, Chroma>(r));
    }
    static void luma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        if constexpr (Slot == 0) {
            scalar::luma(dst, t, pos);
        } else {
            sum r[1];
            simd::template sums<false>(t, pos, r);
            store<false>(dst, r[0]);
        }
    }
    static void luma_chroma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        if constexpr (Slot == 0) {
            scalar::luma_chroma(dst, t, pos);
        } else {
            sum r[3];
            simd::template sums<true>(t, pos, r);
            store<false>(dst, r[0]);
            store<true>(dst + sample_bytes, r[1]);
            store<true>(dst + 3 * sample_bytes, r[2]);
        }
    }
};

// The pair walk of the SIMD members: positions four at a time from the
// vector walk of the kind (stepped single precision with the approximate
// reciprocal, or every pixel's own double-precision position with a true
// division). One-column footprints render runs of two whole pairs from
// them at once; the leading odd pixel, other footprints and the last
// pixels go through the sampler one pixel at a time.
template <class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed_span {
    template <projection P>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                    const span_coefficients &k);
};

template <class Traits, int Slot, member_kind Kind>
template <projection P>
void pair_packed_span<Traits, Slot, Kind>::run(const span_rows *line, int32_t x0, int32_t x1,
                                               const texture_ref *texture,
                                               const span_coefficients &k) {
    using sampler = pair_packed_sampler<Traits, Slot, Kind>;
    constexpr int sb = sampler::sample_bytes, unit = 2 * sb;
    constexpr bool packed = Kind == member_kind::packed;
    constexpr bool whole_pairs = packed && Slot != 0 && footprint<Slot>::width == 1;
    const texture_ref &t = *texture;
    using walk_type = std::conditional_t<packed, walk<P>, exact_walk<P>>;
    walk_type w(k, x0);
    uint8_t *dst = static_cast<uint8_t *>(line->pixels) + static_cast<ptrdiff_t>(x0) * unit;
    // Packed: pixel x0 is written even when x1 <= x0. Scalar: nothing is.
    int64_t n = static_cast<int64_t>(x1) - x0;
    if (n < 1) {
        if constexpr (!packed) return;
        n = 1;
    }
    alignas(16) int32_t iu[4], iv[4];
    auto next_four = [&] {
        __m128i u, v;
        w.template next<lanes4>(u, v);
        _mm_store_si128(reinterpret_cast<__m128i *>(iu), u);
        _mm_store_si128(reinterpret_cast<__m128i *>(iv), v);
    };
    if (x0 & 1) {
        // Lane 0 of a copy of the walk is pixel x0's position.
        walk_type first = w;
        __m128i u, v;
        first.template next<lanes4>(u, v);
        sampler::luma(dst, t, {_mm_cvtsi128_si32(u), _mm_cvtsi128_si32(v)});
        w.advance();
        dst += unit;
        --n;
    }
    if constexpr (whole_pairs) {
        for (; n >= 4; n -= 4, dst += 4 * unit) {
            __m128i u, v;
            w.template next<lanes4>(u, v);
            pair_one_column<Traits, Slot>::two_pairs(dst, t, u, v);
        }
    } else if constexpr (Slot != 0 && !pair_packed<Traits, Slot, Kind>::split_rows) {
        for (; n >= 4; n -= 4, dst += 4 * unit) {
            next_four();
            pair_wide<Traits, Slot, Kind>::two_pairs(dst, t, iu, iv);
        }
    }
    for (; n >= 2; dst += 4 * unit) {
        next_four();
        sampler::luma_chroma(dst, t, {iu[0], iv[0]});
        sampler::luma(dst + 2 * sb, t, {iu[1], iv[1]});
        if (n >= 4) {
            sampler::luma_chroma(dst + 2 * unit, t, {iu[2], iv[2]});
            sampler::luma(dst + 2 * unit + 2 * sb, t, {iu[3], iv[3]});
        } else if (n == 3) {
            sampler::luma_chroma(dst + 2 * unit, t, {iu[2], iv[2]});
        }
        n -= 4;
    }
    if (n == 1) {
        next_four();
        sampler::luma_chroma(dst, t, {iu[0], iv[0]});
    }
}

template <class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed_members : contract_members<pair_packed_span<Traits, Slot, Kind>> {};
