// The SIMD members of the 4:2:2 families (YUY2, W210), written once for
// both families, both member kinds (pair_kinds) and every instruction set.
//
// Included by pair_packed_sse2.cpp and pair_packed_avx2.cpp inside an
// anonymous namespace of tovrel::span, after rgbq_packed_kernel.h, whose
// position walks and lane helpers it uses; each file compiles its own
// private copy under its own target options. `Isa::avx2` selects groups of
// eight pixels (four pairs) where SSE2 renders four (two pairs): one pixel
// per 128-bit lane of a 256-bit register, every operation inside its
// 128-bit lane, so each lane computes what the SSE2 form computes.
// Positions are lane for lane the arithmetic of the scalar statement
// (stepped single precision with the approximate reciprocal for the
// packed kind; every pixel's own double precision position with a true
// division, full-width addressing and the 1.5-row weights in 128ths for
// the scalar kind).
//
// Per pixel, every footprint row is read as whole pixel pairs from the
// pair that holds column cu, widened to 16-bit words [Y_even, U, Y_odd, V]
// per pair, two pairs per 128-bit lane (a "chunk" of four columns). Luma
// is one pmaddwd per chunk with the column weights on the Y words; chroma
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

// The lane operations the pair members use beyond those of the RGBQ
// kernel, on 128-bit (SSE2) and 256-bit (AVX2) registers alike.
template <class V>
inline V splat16(int32_t x) {
    if constexpr (sizeof(V) == 16)
        return _mm_set1_epi16(static_cast<int16_t>(x));
    else
        return _mm256_set1_epi16(static_cast<int16_t>(x));
}
template <class V>
inline V splat32(int32_t x) {
    if constexpr (sizeof(V) == 16)
        return _mm_set1_epi32(x);
    else
        return _mm256_set1_epi32(x);
}
template <class V>
inline V load_aligned(const void *p) {
    if constexpr (sizeof(V) == 16)
        return _mm_load_si128(static_cast<const __m128i *>(p));
    else
        return _mm256_load_si256(static_cast<const __m256i *>(p));
}
inline void store_unaligned(uint8_t *p, __m128i x) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(p), x);
}
inline void store_unaligned(uint8_t *p, __m256i x) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), x);
}
inline __m128i and_bits(__m128i x, __m128i y) {
    return _mm_and_si128(x, y);
}
inline __m256i and_bits(__m256i x, __m256i y) {
    return _mm256_and_si256(x, y);
}
// ~x & y
inline __m128i andnot_bits(__m128i x, __m128i y) {
    return _mm_andnot_si128(x, y);
}
inline __m256i andnot_bits(__m256i x, __m256i y) {
    return _mm256_andnot_si256(x, y);
}
inline __m128i or_bits(__m128i x, __m128i y) {
    return _mm_or_si128(x, y);
}
inline __m256i or_bits(__m256i x, __m256i y) {
    return _mm256_or_si256(x, y);
}
inline __m128i sub16(__m128i x, __m128i y) {
    return _mm_sub_epi16(x, y);
}
inline __m256i sub16(__m256i x, __m256i y) {
    return _mm256_sub_epi16(x, y);
}
inline __m128i mullo16(__m128i x, __m128i y) {
    return _mm_mullo_epi16(x, y);
}
inline __m256i mullo16(__m256i x, __m256i y) {
    return _mm256_mullo_epi16(x, y);
}
inline __m128i mulhi16(__m128i x, __m128i y) {
    return _mm_mulhi_epi16(x, y);
}
inline __m256i mulhi16(__m256i x, __m256i y) {
    return _mm256_mulhi_epi16(x, y);
}
template <int S>
inline __m128i srli32(__m128i x) {
    return _mm_srli_epi32(x, S);
}
template <int S>
inline __m256i srli32(__m256i x) {
    return _mm256_srli_epi32(x, S);
}
template <int S>
inline __m128i slli32(__m128i x) {
    return _mm_slli_epi32(x, S);
}
template <int S>
inline __m256i slli32(__m256i x) {
    return _mm256_slli_epi32(x, S);
}
template <int S>
inline __m128i srai32(__m128i x) {
    return _mm_srai_epi32(x, S);
}
template <int S>
inline __m256i srai32(__m256i x) {
    return _mm256_srai_epi32(x, S);
}
inline __m128i unpacklo32(__m128i x, __m128i y) {
    return _mm_unpacklo_epi32(x, y);
}
inline __m256i unpacklo32(__m256i x, __m256i y) {
    return _mm256_unpacklo_epi32(x, y);
}
inline __m128i unpackhi32(__m128i x, __m128i y) {
    return _mm_unpackhi_epi32(x, y);
}
inline __m256i unpackhi32(__m256i x, __m256i y) {
    return _mm256_unpackhi_epi32(x, y);
}
inline __m128i unpacklo64(__m128i x, __m128i y) {
    return _mm_unpacklo_epi64(x, y);
}
inline __m256i unpacklo64(__m256i x, __m256i y) {
    return _mm256_unpacklo_epi64(x, y);
}
inline __m128i unpackhi64(__m128i x, __m128i y) {
    return _mm_unpackhi_epi64(x, y);
}
inline __m256i unpackhi64(__m256i x, __m256i y) {
    return _mm256_unpackhi_epi64(x, y);
}
inline __m128i packs32(__m128i x, __m128i y) {
    return _mm_packs_epi32(x, y);
}
inline __m256i packs32(__m256i x, __m256i y) {
    return _mm256_packs_epi32(x, y);
}
inline __m128i packus16(__m128i x, __m128i y) {
    return _mm_packus_epi16(x, y);
}
inline __m256i packus16(__m256i x, __m256i y) {
    return _mm256_packus_epi16(x, y);
}
// Int32 lanes [a, b, c, d] as [a, a, c, c] in each 128-bit lane.
inline __m128i dup_even32(__m128i x) {
    return _mm_shuffle_epi32(x, 0xA0);
}
inline __m256i dup_even32(__m256i x) {
    return _mm256_shuffle_epi32(x, 0xA0);
}

// N pixels side by side, one per 128-bit lane: N = 1 in an SSE2
// register, N = 2 in an AVX2 one.
template <int N>
struct pair_vec_of {
    using type = __m256i;
};
template <>
struct pair_vec_of<1> {
    using type = __m128i;
};
template <int N>
using pair_vec = typename pair_vec_of<N>::type;
// The 128-bit vectors f(0) .. f(N - 1) of each pixel in one register.
template <int N, class F>
inline pair_vec<N> per_pixel(F f) {
    if constexpr (N == 1)
        return f(0);
    else
        return two_pixels::join(f(0), f(1));
}
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
    // columns), fu (column W) or none; for N pixels side by side, each
    // with its own parity.
    template <int N>
    struct lane_masks {
        alignas(16 * N) int16_t first[8 * N], inner[8 * N], last[8 * N];
    };
    static constexpr void fill_masks(int16_t *first, int16_t *inner, int16_t *last, int parity,
                                     int chunk, bool chroma) {
        for (int i = 0; i < 8; ++i) {
            // Luma: Y of column 4 * chunk + i / 2 in the even words.
            // Chroma: [U U V V] of pair 2 * chunk + i / 4, columns even, odd.
            int column = chroma ? 4 * chunk + 2 * (i / 4) + (i & 1) : 4 * chunk + i / 2;
            if (!chroma && (i & 1)) column = -1;
            const int c = column < 0 ? -1 : column - parity; // footprint column
            first[i] = c == 0 ? int16_t(-1) : int16_t(0);
            inner[i] = c > 0 && c < W ? int16_t(128) : int16_t(0);
            last[i] = c == W ? int16_t(-1) : int16_t(0);
        }
    }
    // [parities][chunk][luma, chroma]; bit k of `parities` is pixel k's.
    template <int N>
    static constexpr auto masks = [] {
        std::array<lane_masks<N>, (1 << N) * chunks * 2> t{};
        for (int p = 0; p < (1 << N); ++p)
            for (int c = 0; c < chunks; ++c)
                for (int k = 0; k < 2; ++k)
                    for (int i = 0; i < N; ++i) {
                        lane_masks<N> &m = t[size_t((p * chunks + c) * 2 + k)];
                        fill_masks(m.first + 8 * i, m.inner + 8 * i, m.last + 8 * i, (p >> i) & 1,
                                   c, k);
                    }
        return t;
    }();

    // Pair samples as stored, in the low bytes (widen() makes them words).
    static __m128i raw_pair(const uint8_t *p) {
        if constexpr (sample_bytes == 1) {
            int32_t v;
            __builtin_memcpy(&v, p, 4);
            return _mm_cvtsi32_si128(v);
        } else {
            return load64(p);
        }
    }
    static __m128i raw_two_pairs(const uint8_t *p) {
        if constexpr (sample_bytes == 1)
            return load64(p);
        else
            return load128(p);
    }
    template <class V>
    static V widen(V x) {
        if constexpr (sample_bytes == 1)
            return unpacklo8(x, zero_of(x));
        else
            return x;
    }
    // Chunk C of the row whose first pair is at q. Pairs past those of an
    // even cu are read only for an odd one (an even cu reads its last
    // pair again, under zero weights), so nothing outside the pairs of
    // columns cu .. cu + W is touched.
    template <int C>
    static __m128i raw_chunk(const uint8_t *q, int parity) {
        constexpr int k0 = 2 * C, k1 = 2 * C + 1;
        auto at = [&](int k) { return q + (k < even_pairs ? k : k - 1 + parity) * pair_bytes; };
        if constexpr (k1 >= odd_pairs)
            return raw_pair(at(k0));
        else if constexpr (k1 < even_pairs)
            return raw_two_pairs(q + k0 * pair_bytes);
        else if constexpr (sample_bytes == 1)
            return _mm_unpacklo_epi32(raw_pair(at(k0)), raw_pair(at(k1)));
        else
            return _mm_unpacklo_epi64(raw_pair(at(k0)), raw_pair(at(k1)));
    }
    // Chunk C as words for N pixels, pixel k's row starting at row(k).
    template <int N, int C, class Row>
    static pair_vec<N> chunk(Row row, const int *parity) {
        return widen(per_pixel<N>([&](int k) { return raw_chunk<C>(row(k), parity[k]); }));
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

    // The sums of one pixel spread over int32 lanes (of each 128-bit lane
    // for N pixels): R of Y is the sum of all four lanes of `luma`; with
    // Chroma, R of U lanes 0 + 2 and R of V lanes 1 + 3 of `chroma`. With
    // split_rows, those are the low parts L and luma_hi, chroma_hi the
    // high parts H.
    template <int N>
    struct lane_set {
        pair_vec<N> luma, chroma, luma_hi, chroma_hi;
    };
    // The lane sums of the N pixels at pos[0 .. N - 1], which share the
    // texture's row step.
    template <int N, bool Chroma>
    static lane_set<N> lane_sums(const texture_ref &t, const texel_pos *pos) {
        using V = pair_vec<N>;
        const uint8_t *q[N];
        int parity[N], parities = 0;
        ptrdiff_t rb = 0;
        for (int k = 0; k < N; ++k) {
            const texel_origin o = locate<Kind, Traits::unit_shift>(t, pos[k].iu, pos[k].iv);
            parity[k] = (pos[k].iu >> 16) & 1;
            parities |= parity[k] << k;
            q[k] = o.p - parity[k] * 2 * sample_bytes;
            rb = o.row_bytes;
        }
        const V fu = per_pixel<N>(
            [&](int k) { return _mm_set1_epi16(static_cast<int16_t>(fraction7(pos[k].iu))); });
        const V fu0 = sub16(splat16<V>(128), fu);
        V wl[chunks], wc[chunks];
        auto weights = [&](const lane_masks<N> &m) {
            return or_bits(or_bits(and_bits(load_aligned<V>(m.first), fu0),
                                   and_bits(load_aligned<V>(m.last), fu)),
                           load_aligned<V>(m.inner));
        };
        for (int c = 0; c < chunks; ++c) {
            wl[c] = weights(masks<N>[size_t((parities * chunks + c) * 2)]);
            if constexpr (Chroma)
                wc[c] = weights(masks<N>[size_t((parities * chunks + c) * 2 + 1)]);
        }
        const V zero = zero_of(fu);
        V luma = zero, chroma = zero, luma_hi = zero, chroma_hi = zero;
        // The chroma word of each column (Y U or Y V) in both words of its
        // lane, so that one multiply-add weighs it by both chroma masks.
        auto chroma_words = [](V x) {
            const V uv = srli32<16>(x);
            return or_bits(uv, slli32<16>(uv));
        };
        // Words x of chunk C (one row or a sum of rows) under row weight wr.
        auto add = [&]<int C>(std::integral_constant<int, C>, V x, V wr) {
            luma = add32(luma, madd16(x, mullo16(wl[C], wr)));
            if constexpr (Chroma)
                chroma = add32(chroma, madd16(chroma_words(x), mullo16(wc[C], wr)));
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
            const V wb = per_pixel<N>(
                [&](int k) { return _mm_set1_epi16(static_cast<int16_t>(fraction7(pos[k].iv))); });
            const V wa = sub16(splat16<V>(128), wb);
            each_chunk([&]<int C>(std::integral_constant<int, C> c) {
                auto row = [&](int r) {
                    return chunk<N, C>([&](int k) { return q[k] + r * rb; }, parity);
                };
                V a = row(0), b = row(H);
                for (int r = 1; r < H; ++r) {
                    const V x = row(r);
                    a = add16(a, x), b = add16(b, x);
                }
                add(c, a, wa);
                add(c, b, wb);
            });
        } else {
            std::array<row_weight, virtual_rows> rows[N];
            for (int k = 0; k < N; ++k) rows[k] = rows_of(pos[k].iv);
#pragma GCC unroll 8
            for (int j = 0; j < virtual_rows; ++j) {
                auto row = [&](int k) { return q[k] + rows[k][size_t(j)].row * rb; };
                if constexpr (split_rows) {
                    V pl = zero, pc = zero;
                    each_chunk([&]<int C>(std::integral_constant<int, C>) {
                        const V x = chunk<N, C>(row, parity);
                        pl = add32(pl, madd16(x, wl[C]));
                        if constexpr (Chroma) pc = add32(pc, madd16(chroma_words(x), wc[C]));
                    });
                    // Row weight in the low word of each int32 lane, 0 in
                    // the high word: pmaddwd multiplies the low words only.
                    const V wr = per_pixel<N>(
                        [&](int k) { return _mm_set1_epi32(rows[k][size_t(j)].weight); });
                    auto weigh = [&](V p, V &lo, V &hi) {
                        lo = add32(lo, madd16(and_bits(p, splat32<V>(0x7FFF)), wr));
                        hi = add32(hi, madd16(srai32<15>(p), wr));
                    };
                    weigh(pl, luma, luma_hi);
                    if constexpr (Chroma) weigh(pc, chroma, chroma_hi);
                } else {
                    const V wr = per_pixel<N>([&](int k) {
                        return _mm_set1_epi16(static_cast<int16_t>(rows[k][size_t(j)].weight));
                    });
                    each_chunk([&]<int C>(std::integral_constant<int, C> c) {
                        add(c, chunk<N, C>(row, parity), wr);
                    });
                }
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
        const lane_set<1> s = lane_sums<1, Chroma>(t, &pos);
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

// Normalised int32 lanes as int16 words (both halves of each 128-bit
// lane): (R + round) >> s with paddd / psrad, packssdw, pmulhw by k where
// k != 0. The 8-bit family's packuswb follows at the store.
template <class Traits, int Slot, member_kind Kind, bool Chroma, class V>
inline V normalise_lanes(V r) {
    constexpr packed_scale s = pair_lane_scale<Traits, Slot, Kind, Chroma>();
    r = srai32<s.shift>(add32(r, splat32<V>(s.round)));
    V w = packs32(r, r);
    if constexpr (s.k != 0) w = mulhi16(w, splat16<V>(s.k));
    return w;
}

// Two whole pairs per 128-bit lane from their normalised words: luma of
// pixels 0 .. 3 and chroma [U, V] of pixel 0 and of pixel 2, stored
// Y0 U0 Y1 V0 Y2 U1 Y3 V1; the upper lane of an AVX2 register holds
// pixels 4 .. 7, stored after them.
template <class Traits, int Slot, member_kind Kind, class V>
inline void store_pairs(uint8_t *dst, V luma, V chroma) {
    const V words = unpacklo16(normalise_lanes<Traits, Slot, Kind, false>(luma),
                               normalise_lanes<Traits, Slot, Kind, true>(chroma));
    if constexpr (!Traits::eight_bit) {
        store_unaligned(dst, words);
    } else if constexpr (sizeof(V) == 16) {
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packus_epi16(words, words));
    } else {
        // The low 8 bytes of each lane, side by side.
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(words, words), 0x08);
        store_unaligned(dst, _mm256_castsi256_si128(bytes));
    }
}

// Footprints wider than one column, 4 * N pixels (2 * N whole pairs) at
// once: each pixel's sums in lanes (pair_packed::lane_sums, pixels i and
// i + 4 side by side for N = 2), the lumas and the chroma pairs reduced
// together and normalised four lanes at a time.
template <class Traits, int Slot, member_kind Kind>
struct pair_wide {
    using simd = pair_packed<Traits, Slot, Kind>;
    template <int N>
    static void pairs(uint8_t *dst, const texture_ref &t, const int32_t *iu, const int32_t *iv) {
        auto sums = [&]<bool Chroma>(int i, std::bool_constant<Chroma>) {
            texel_pos pos[N];
            for (int k = 0; k < N; ++k) pos[k] = {iu[i + 4 * k], iv[i + 4 * k]};
            return simd::template lane_sums<N, Chroma>(t, pos);
        };
        // The next destination line reads about one footprint height lower
        // (the footprint follows the vertical ratio): the rows below this
        // footprint, at two pixels of the group, are requested now; they are
        // first touches, which the hardware prefetchers do not foresee on a
        // slanted walk. A prefetch never faults.
        for (int i : {2 * N - 1, 4 * N - 1}) {
            const texel_origin o = locate<Kind, Traits::unit_shift>(t, iu[i], iv[i]);
            for (int r = footprint<Slot>::rows + 1; r <= 2 * footprint<Slot>::rows + 1; ++r)
                prefetch_near(o.p, r * o.row_bytes);
        }
        const auto p0 = sums(0, std::true_type{}), p2 = sums(2, std::true_type{});
        const auto y1 = sums(1, std::false_type{}).luma, y3 = sums(3, std::false_type{}).luma;
        const auto y0 = p0.luma, y2 = p2.luma, c0 = p0.chroma, c2 = p2.chroma;
        // [sum y0, sum y1, sum y2, sum y3]
        const auto y01 = add32(unpacklo32(y0, y1), unpackhi32(y0, y1));
        const auto y23 = add32(unpacklo32(y2, y3), unpackhi32(y2, y3));
        const auto luma = add32(unpacklo64(y01, y23), unpackhi64(y01, y23));
        // [U0, V0, U2, V2]
        const auto chroma = add32(unpacklo64(c0, c2), unpackhi64(c0, c2));
        store_pairs<Traits, Slot, Kind>(dst, luma, chroma);
    }
};

// One-column footprints (slots 1, 6, 11, 16), L::n / 2 whole pairs at
// once with one pixel per 32-bit lane. Per lane and virtual row the two
// taps of a row are gathered as a word pair: Y of columns cu and cu + 1
// for luma; for the even pixels U (and V) of the pair of cu and of the
// pair of cu + 1 (the same pair when cu is even, where the second weight
// is 0):
//   luma   (128 - fu, fu) * row weight
//   chroma (128 - parity * fu, parity * fu) * row weight
// so one pmaddwd per virtual row gives the lumas, and one more the U and
// V of every pair. The normalisation is the statement's, lane for lane:
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

    // One pixel's taps as a qword [Y U Y V] of pair words at p (AVX2):
    // two pixels a, b in a register's low and high qwords, 8-bit samples
    // in the low bytes of their qword.
    static __m128i two_qwords(const uint8_t *a, const uint8_t *b) {
        if constexpr (sb == 1) {
            int32_t x, y;
            __builtin_memcpy(&x, a, 4);
            __builtin_memcpy(&y, b, 4);
            return _mm_insert_epi32(_mm_cvtsi32_si128(x), y, 2);
        } else {
            return _mm_castpd_si128(
                _mm_loadh_pd(_mm_castsi128_pd(load64(a)), reinterpret_cast<const double *>(b)));
        }
    }
    // pshufb indices (the same in both 128-bit lanes): dword `dword` takes
    // the word pair (sample s0 of qword q0, sample s1 of qword q1); the
    // other bytes are zero. 8-bit samples are zero-extended.
    struct pick {
        int dword, q0, s0, q1, s1;
    };
    static constexpr std::array<int8_t, 32> shuffle_of(std::initializer_list<pick> picks) {
        std::array<int8_t, 32> m{};
        for (int8_t &b : m) b = -1;
        for (int lane = 0; lane < 32; lane += 16)
            for (const pick &p : picks)
                for (int k = 0; k < sb; ++k) {
                    m[size_t(lane + 4 * p.dword + k)] = int8_t(8 * p.q0 + p.s0 * sb + k);
                    m[size_t(lane + 4 * p.dword + 2 + k)] = int8_t(8 * p.q1 + p.s1 * sb + k);
                }
        return m;
    }
    // Luma: Y (samples 0, 2) of qwords 0, 1 to dwords 0, 1 or 2, 3.
    alignas(32) static constexpr std::array<int8_t, 32> luma_low = shuffle_of({{0, 0, 0, 0, 2},
                                                                               {1, 1, 0, 1, 2}});
    alignas(32) static constexpr std::array<int8_t, 32> luma_high = shuffle_of({{2, 0, 0, 0, 2},
                                                                                {3, 1, 0, 1, 2}});
    // Chroma: (U of qword 0, U of qword 1), (V, V) to dwords 0, 1 or 2, 3.
    alignas(32) static constexpr std::array<int8_t, 32> chroma_low = shuffle_of({{0, 0, 1, 1, 1},
                                                                                 {1, 0, 3, 1, 3}});
    alignas(32) static constexpr std::array<int8_t, 32> chroma_high = shuffle_of({{2, 0, 1, 1, 1},
                                                                                  {3, 0, 3, 1, 3}});
    static __m256i shuffled(__m256i x, const std::array<int8_t, 32> &m) {
        return _mm256_shuffle_epi8(x,
                                   _mm256_load_si256(reinterpret_cast<const __m256i *>(m.data())));
    }
    // Lane i: words (Y of the column at at(i), Y of the next column).
    template <class L, class At>
    __attribute__((always_inline)) static typename L::vi luma_lanes(At at) {
        if constexpr (L::n == 4) {
            return _mm_setr_epi32(luma_taps(at(0)), luma_taps(at(1)), luma_taps(at(2)),
                                  luma_taps(at(3)));
        } else {
            // Pixels 0, 1 | 4, 5 to dwords 0, 1 of each lane, 2, 3 | 6, 7 to 2, 3.
            const __m256i a = two_pixels::join(two_qwords(at(0), at(1)), two_qwords(at(4), at(5)));
            const __m256i b = two_pixels::join(two_qwords(at(2), at(3)), two_qwords(at(6), at(7)));
            return _mm256_or_si256(shuffled(a, luma_low), shuffled(b, luma_high));
        }
    }
    // Lanes 2m, 2m + 1: words (U of pair a(2m), U of pair b(2m)) and the
    // same of V, the chroma of pixel 2m.
    template <class L, class At, class Bt>
    __attribute__((always_inline)) static typename L::vi chroma_lanes(At a, Bt b) {
        if constexpr (L::n == 4) {
            int32_t uv[4];
            for (int i = 0; i < 4; i += 2) chroma_taps(a(i), b(i), uv[i], uv[i + 1]);
            return _mm_setr_epi32(uv[0], uv[1], uv[2], uv[3]);
        } else {
            const __m256i c = two_pixels::join(two_qwords(a(0), b(0)), two_qwords(a(4), b(4)));
            const __m256i d = two_pixels::join(two_qwords(a(2), b(2)), two_qwords(a(6), b(6)));
            return _mm256_or_si256(shuffled(c, chroma_low), shuffled(d, chroma_high));
        }
    }

    // Pixels 0 .. L::n - 1 at positions (iu, iv), pixel 0 even.
    template <class L>
    static void pairs(uint8_t *dst, const texture_ref &t, typename L::vi iu, typename L::vi iv) {
        using V = typename L::vi;
        constexpr int n = L::n;
        const int32_t unit_pitch = static_cast<int16_t>(t.pitch >> Traits::unit_shift);
        const ptrdiff_t rb = static_cast<ptrdiff_t>(unit_pitch) << Traits::unit_shift;
        // Index cu + cv * unit pitch from (cu, cv) as int16 pairs, one pmaddwd.
        alignas(32) int32_t index[n], shift[n] = {};
        const V cu_cv = L::or_(L::template srli<16>(iu), L::and_(iv, L::set1(-65536)));
        L::store(index,
                 L::madd16(cu_cv, L::set1(int32_t(uint32_t(uint16_t(unit_pitch)) << 16 | 1u))));
        const V m127 = L::set1(127), w128 = L::set1(128);
        const V fu = L::and_(L::template srli<9>(iu), m127);
        const V odd = L::and_(L::template srli<16>(iu), L::set1(1));
        const V fu_odd = L::and_(fu, L::sub(L::set1(0), odd));
        const V wu = L::or_(L::sub(w128, fu), L::template slli<16>(fu));
        // Chroma lanes: U and V of pixel 0, U and V of pixel 2 (and of
        // pixels 4 and 6 in the upper 128-bit lane).
        const V wc = dup_even32(L::or_(L::sub(w128, fu_odd), L::template slli<16>(fu_odd)));
        // Row weights of the virtual rows; for 1.5 rows the third and
        // fourth start one row lower past one half (`shift` rows).
        V wr[simd::virtual_rows];
        if constexpr (fp::one_and_half) {
            const V f16 = L::and_(iv, L::set1(65535));
            const V g = L::template srli<9>(L::and_(L::template slli<1>(iv), L::set1(65535)));
            const V upper = L::template srai<31>(L::template slli<16>(f16)); // f16 >= 32768
            const V g0 = L::sub(w128, g);
            wr[0] = L::or_(andnot_bits(upper, w128), L::and_(upper, g0));
            wr[1] = w128;
            wr[2] = L::or_(andnot_bits(upper, g0), L::and_(upper, w128));
            wr[3] = g;
            L::store(shift, L::sub(L::set1(0), upper));
        } else {
            const V fv = L::and_(L::template srli<9>(iv), m127);
            for (int j = 0; j < simd::virtual_rows; ++j)
                wr[j] = j == 0 ? L::sub(w128, fv) : j == fp::rows ? fv : w128;
        }
        asm("" : "+m"(index), "+m"(shift));
        const uint8_t *texel[n], *pair[n], *second[n];
        alignas(32) int32_t parity[n];
        L::store(parity, odd);
        for (int i = 0; i < n; ++i) {
            texel[i] = t.base + (static_cast<ptrdiff_t>(index[i]) << Traits::unit_shift);
            pair[i] = texel[i] - parity[i] * 2 * sb;
            second[i] = pair[i] + parity[i] * 4 * sb; // the pair of cu + 1
        }
        // As in the RGBQ members: a slanted walk reads, on the next lines,
        // texels a few columns either side of these in every row it
        // crosses, which the hardware prefetchers do not follow.
        prefetch_sideways(texel[n / 4], rb, 128);
        V luma = L::set1(0), chroma = L::set1(0);
        for (int j = 0; j < simd::virtual_rows; ++j) {
            const V w = L::or_(wr[j], L::template slli<16>(wr[j]));
            // Row of virtual row j in lane i.
            auto row = [&](int i) {
                if constexpr (fp::one_and_half)
                    return (j < 2 ? j : j - 2 + shift[i]) * rb;
                else
                    return j * rb;
            };
            const V y = luma_lanes<L>([&](int i) { return texel[i] + row(i); });
            luma = add32(luma, L::madd16(y, L::mullo16(wu, w)));
            const V uv = chroma_lanes<L>([&](int i) { return pair[i] + row(i); },
                                         [&](int i) { return second[i] + row(i); });
            chroma = add32(chroma, L::madd16(uv, L::mullo16(wc, dup_even32(w))));
        }
        store_pairs<Traits, Slot, member_kind::packed>(dst, luma, chroma);
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

// The pair walk of the SIMD members: positions four (or, under AVX2,
// eight) at a time from the vector walk of the kind (stepped single
// precision with the approximate reciprocal, or every pixel's own
// double-precision position with a true division). Runs of whole pairs
// are rendered from them at once, eight pixels a step under AVX2, then
// four; the leading odd pixel, the sums of 16-bit scalar-kind footprints
// and the last pixels go through the sampler one pixel at a time.
template <class Isa, class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed_span {
    static constexpr int unit = 2 * sizeof(typename Traits::sample); // one column
    static constexpr bool whole_pairs =
        Kind == member_kind::packed && Slot != 0 && footprint<Slot>::width == 1;
    static constexpr bool wide_pairs =
        !whole_pairs && Slot != 0 && !pair_packed<Traits, Slot, Kind>::split_rows;

    template <projection P>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                    const span_coefficients &k);

    // Whole groups of L::n pixels (pixel 0 even) while n allows, dst and
    // n moved past them. Everything a group calls is inlined here, the
    // walk included, so that its position stays in registers from group
    // to group.
    template <class L, class Walk>
    __attribute__((flatten)) static void groups(Walk &walk, uint8_t *&dst, int64_t &n,
                                                const texture_ref &t) {
        Walk w = walk;
        alignas(32) int32_t iu[L::n], iv[L::n];
        for (; n >= L::n; n -= L::n, dst += L::n * unit) {
            typename L::vi u, v;
            w.template next<L>(u, v);
            if constexpr (whole_pairs) {
                pair_one_column<Traits, Slot>::template pairs<L>(dst, t, u, v);
            } else {
                L::store(iu, u);
                L::store(iv, v);
                pair_wide<Traits, Slot, Kind>::template pairs<L::n / 4>(dst, t, iu, iv);
            }
        }
        walk = w;
    }
};

template <class Isa, class Traits, int Slot, member_kind Kind>
template <projection P>
void pair_packed_span<Isa, Traits, Slot, Kind>::run(const span_rows *line, int32_t x0, int32_t x1,
                                                    const texture_ref *texture,
                                                    const span_coefficients &k) {
    using sampler = pair_packed_sampler<Traits, Slot, Kind>;
    constexpr int sb = sampler::sample_bytes;
    constexpr bool packed = Kind == member_kind::packed;
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
    // Eight pixels a step under AVX2 (the last 7 or fewer through the
    // sampler), four under SSE2.
    if constexpr (whole_pairs || wide_pairs)
        groups<std::conditional_t<Isa::avx2, lanes8, lanes4>>(w, dst, n, t);
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

// The table members of one instruction set.
template <class Isa, class Traits, int Slot, member_kind Kind = member_kind::packed>
struct pair_packed_members : contract_members<pair_packed_span<Isa, Traits, Slot, Kind>> {};
