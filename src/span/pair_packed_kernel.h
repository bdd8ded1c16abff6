// The packed 4:2:2 members (YUY2, W210), written once for both families.
//
// Included by pair_packed_sse2.cpp inside an anonymous namespace of
// tovrel::span, after rgbq_packed_kernel.h, whose position walk it uses:
// positions are stepped and divided four pixels at a time, lane for lane
// the arithmetic of the scalar statement, and handed to the pair walk of
// span_sampling.h one pixel at a time.
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
// The int32 lanes add modulo 2^32, as the scalar statement's sums do, so
// the sums are the statement's bit for bit and its normalisation is used
// as it stands.

template <class Traits, int Slot>
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
    static constexpr int virtual_rows = fp::one_and_half ? 4 : fp::rows + 1;

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
    static std::array<row_weight, virtual_rows> rows_of(int32_t iv) {
        if constexpr (fp::one_and_half) {
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

    // Sums R of Y (lane 0) and, with Chroma, of U and V (lanes 1, 2).
    template <bool Chroma>
    static void sums(const texture_ref &t, texel_pos pos, int32_t *r) {
        const texel_origin o = locate<member_kind::packed, Traits::unit_shift>(t, pos.iu, pos.iv);
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
        __m128i luma = _mm_setzero_si128(), chroma = _mm_setzero_si128();
        for (const row_weight v : rows_of(pos.iv)) {
            const uint8_t *row = q + v.row * o.row_bytes;
            const __m128i wr = _mm_set1_epi16(static_cast<int16_t>(v.weight));
            [&]<int... C>(std::integer_sequence<int, C...>) {
                (
                    [&] {
                        const __m128i x = chunk<C>(row, parity);
                        luma = _mm_add_epi32(luma, _mm_madd_epi16(x, _mm_mullo_epi16(wl[C], wr)));
                        if constexpr (Chroma) {
                            const __m128i uv = _mm_srli_epi32(x, 16);
                            const __m128i spread = _mm_or_si128(uv, _mm_slli_epi32(uv, 16));
                            chroma = _mm_add_epi32(
                                chroma, _mm_madd_epi16(spread, _mm_mullo_epi16(wc[C], wr)));
                        }
                    }(),
                    ...);
            }
            (std::make_integer_sequence<int, chunks>{});
        }
        // Luma: all four lanes. Chroma: lanes 0 + 2 are U, 1 + 3 are V.
        luma = _mm_add_epi32(luma, _mm_srli_si128(luma, 8));
        luma = _mm_add_epi32(luma, _mm_srli_si128(luma, 4));
        r[0] = _mm_cvtsi128_si32(luma);
        if constexpr (Chroma) {
            chroma = _mm_add_epi32(chroma, _mm_srli_si128(chroma, 8));
            r[1] = _mm_cvtsi128_si32(chroma);
            r[2] = _mm_cvtsi128_si32(_mm_srli_si128(chroma, 4));
        }
    }
};

// The sampler the pair walk calls: the SIMD sums, the scalar statement's
// normalisation and store; slot 0 copies as the statement does.
template <class Traits, int Slot>
struct pair_packed_sampler {
    using scalar = pair_sampler<Traits, Slot, member_kind::packed>;
    using simd = pair_packed<Traits, Slot>;
    using sum = typename Traits::template sum<member_kind::packed>;
    static constexpr int sample_bytes = scalar::sample_bytes;

    static void luma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        if constexpr (Slot == 0) {
            scalar::luma(dst, t, pos);
        } else {
            int32_t r[1];
            simd::template sums<false>(t, pos, r);
            Traits::store(dst, Traits::template normalise<Slot, member_kind::packed, false>(
                                   static_cast<sum>(r[0])));
        }
    }
    static void luma_chroma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        if constexpr (Slot == 0) {
            scalar::luma_chroma(dst, t, pos);
        } else {
            int32_t r[3];
            simd::template sums<true>(t, pos, r);
            Traits::store(dst, Traits::template normalise<Slot, member_kind::packed, false>(
                                   static_cast<sum>(r[0])));
            Traits::store(dst + sample_bytes,
                          Traits::template normalise<Slot, member_kind::packed, true>(
                              static_cast<sum>(r[1])));
            Traits::store(dst + 3 * sample_bytes,
                          Traits::template normalise<Slot, member_kind::packed, true>(
                              static_cast<sum>(r[2])));
        }
    }
};

// Positions four at a time from the vector walk, consumed one by one.
template <class Traits, int Slot, projection P>
void render_pairs_packed(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                         const span_coefficients &k) {
    walk<P> w(k, x0);
    alignas(16) int32_t iu[4], iv[4];
    int used = 4;
    auto next = [&] {
        if (used == 4) {
            __m128i u, v;
            w.template next<lanes4>(u, v);
            _mm_store_si128(reinterpret_cast<__m128i *>(iu), u);
            _mm_store_si128(reinterpret_cast<__m128i *>(iv), v);
            used = 0;
        }
        const texel_pos pos{iu[used], iv[used]};
        ++used;
        return pos;
    };
    // Pixel x0 is written even when x1 <= x0.
    const int64_t n = static_cast<int64_t>(x1) - x0;
    walk_pairs<pair_packed_sampler<Traits, Slot>>(static_cast<uint8_t *>(line->pixels), x0,
                                                  n < 1 ? 1 : n, *texture, next);
}

template <class Traits, int Slot>
struct pair_packed_members {
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base) {
        const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, w_step, w_base};
        render_pairs_packed<Traits, Slot, projection::perspective>(line, x0, x1, texture, k);
    }
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base) {
        const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, 0.0f, 0.0f};
        render_pairs_packed<Traits, Slot, projection::affine>(line, x0, x1, texture, k);
    }
};
