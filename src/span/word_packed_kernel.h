// The packed word members, included by word_packed_sse2.cpp and by the
// RGBQ kernels' files (for the fused RGBQ + alpha members) inside an
// anonymous namespace of tovrel::span, after rgbq_packed_kernel.h (walk,
// lanes4, load64, load128). SSE2 only, four pixels at a time: per pixel
// and texel row the two column sums (A, B) as one 32-bit pair of 16-bit
// lanes, then the rows combined in 16-bit lanes (wrapping, as the
// statement's partial sums do), the pre-shift (psrlw), one pmaddwd per row
// set with the weight pairs, and the normalisation (psrad, packssdw,
// pmulhw). Each member matches word_member<Slot> bit for bit.

inline __m128i load32(const uint8_t *p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}

inline __m128i load16(const uint8_t *p) {
    uint16_t v;
    __builtin_memcpy(&v, p, 2);
    return _mm_cvtsi32_si128(v);
}

// (A, B) of one texel row in the low 32 bits: A = t0 + .. + t(W-1),
// B = t1 + .. + tW, 16-bit lanes (wrapping; B = A - t0 + tW is the same
// sum modulo 65536). Reads exactly the W + 1 words.
template <int W>
inline __m128i row_pair(const uint8_t *p) {
    if constexpr (W == 1) {
        return load32(p);
    } else if constexpr (W == 2) {
        return _mm_add_epi16(load32(p), load32(p + 2));
    } else if constexpr (W == 3) {
        const __m128i x = load64(p); // t0 t1 t2 t3
        return _mm_add_epi16(_mm_add_epi16(x, _mm_srli_epi64(x, 16)), _mm_srli_epi64(x, 32));
    } else {
        static_assert(W == 4 || W == 8, "word footprints are 1, 2, 3, 4 or 8 columns wide");
        __m128i x, a;
        if constexpr (W == 4) {
            x = load64(p); // t0 .. t3
            a = _mm_add_epi16(x, _mm_srli_epi64(x, 32));
        } else {
            x = load128(p); // t0 .. t7
            a = _mm_add_epi16(x, _mm_srli_si128(x, 8));
            a = _mm_add_epi16(a, _mm_srli_si128(a, 4));
        }
        a = _mm_add_epi16(a, _mm_srli_si128(a, 2)); // lane 0: A
        const __m128i b = _mm_add_epi16(_mm_sub_epi16(a, x), load16(p + 2 * W));
        return _mm_unpacklo_epi16(a, b);
    }
}

// Row r of the four pixels' footprints as [(A, B) x 4], with the row stage
// of the statement applied.
template <int Slot, class Row>
inline __m128i gather(Row row) {
    constexpr int W = footprint<Slot>::width;
    const __m128i lo = _mm_unpacklo_epi32(row_pair<W>(row(0)), row_pair<W>(row(1)));
    const __m128i hi = _mm_unpacklo_epi32(row_pair<W>(row(2)), row_pair<W>(row(3)));
    __m128i v = _mm_unpacklo_epi64(lo, hi);
    if constexpr (word_stage<Slot>::row_shift) v = _mm_srli_epi16(v, word_stage<Slot>::row_shift);
    return v;
}

// A word plane as the members address it.
struct word_plane {
    const uint8_t *base;
    ptrdiff_t rb;       // bytes per texel row: 2 * (int16) (pitch >> 1)
    __m128i pitch_pair; // (1, pitch >> 1) as int16 pairs
    explicit word_plane(const texture_ref &t) : base(t.base) {
        const int32_t unit_pitch = static_cast<int16_t>(t.pitch >> 1);
        rb = static_cast<ptrdiff_t>(unit_pitch) * 2;
        pitch_pair = _mm_set1_epi32(static_cast<int32_t>(
            (static_cast<uint32_t>(static_cast<uint16_t>(unit_pitch)) << 16) | 1u));
    }
};

// Four pixels at positions (iu, iv); the first min(n, 4) results are
// stored at dst (the surplus lanes sample clamped positions and are
// dropped).
template <int Slot>
inline void word_group(__m128i iu, __m128i iv, const word_plane &plane, uint8_t *dst, int64_t n) {
    using fp = footprint<Slot>;
    constexpr packed_scale s = word_packed_scale<Slot>();
    constexpr int set_shift = word_stage<Slot>::set_shift;
    alignas(16) int32_t index[4];
    // Index cu + cv * (pitch >> 1): (cu, cv) as int16 pairs, one pmaddwd.
    const __m128i cu_cv = _mm_or_si128(_mm_srli_epi32(iu, 16),
                                       _mm_and_si128(iv, _mm_set1_epi32(int32_t(0xFFFF0000u))));
    _mm_store_si128(reinterpret_cast<__m128i *>(index), _mm_madd_epi16(cu_cv, plane.pitch_pair));
    const __m128i m127 = _mm_set1_epi32(127), w128 = _mm_set1_epi32(128);
    const __m128i fu = _mm_and_si128(_mm_srli_epi32(iu, 9), m127);
    __m128i fv;
    int lower = 0;
    if constexpr (fp::one_and_half) {
        fv = _mm_and_si128(_mm_srli_epi32(iv, 8), m127);
        lower = _mm_movemask_ps(_mm_castsi128_ps(_mm_slli_epi32(iv, 16)));
    } else {
        fv = _mm_and_si128(_mm_srli_epi32(iv, 9), m127);
    }
    // Weight pairs: upper set (128 - fv) * (128 - fu, fu), lower set
    // fv * (128 - fu, fu); each product <= 16384.
    const __m128i upair = _mm_or_si128(_mm_sub_epi32(w128, fu), _mm_slli_epi32(fu, 16));
    const __m128i fv0 = _mm_sub_epi32(w128, fv);
    const __m128i wu = _mm_mullo_epi16(_mm_or_si128(fv0, _mm_slli_epi32(fv0, 16)), upair);
    const __m128i wl = _mm_mullo_epi16(_mm_or_si128(fv, _mm_slli_epi32(fv, 16)), upair);
    const uint8_t *p[4];
    for (int i = 0; i < 4; ++i) p[i] = plane.base + (static_cast<ptrdiff_t>(index[i]) << 1);
    const ptrdiff_t rb = plane.rb;
    // As in render_group: the texels 32 columns left and right of this
    // group, which the next destination lines read on a slanted walk.
    prefetch_sideways(p[2], rb, 64);
    auto row = [&](int r) { return gather<Slot>([&](int i) { return p[i] + r * rb; }); };
    __m128i upper, lowr;
    if constexpr (fp::one_and_half) {
        // Rows `lower` and `lower` + 1 of each pixel (see pixel_sum).
        auto low = [&](int r) {
            return gather<Slot>([&](int i) { return p[i] + (((lower >> i) & 1) + r) * rb; });
        };
        const __m128i r1x = _mm_add_epi16(row(1), low(0));
        upper = _mm_add_epi16(row(0), r1x);
        lowr = _mm_add_epi16(r1x, low(1));
    } else {
        constexpr int H = fp::rows;
        __m128i inner = _mm_setzero_si128();
        [&]<int... R>(std::integer_sequence<int, R...>) {
            ((inner = _mm_add_epi16(inner, row(R + 1))), ...);
        }
        (std::make_integer_sequence<int, H - 1>{});
        upper = _mm_add_epi16(row(0), inner);
        lowr = _mm_add_epi16(inner, row(H));
    }
    if constexpr (set_shift) {
        upper = _mm_srli_epi16(upper, set_shift);
        lowr = _mm_srli_epi16(lowr, set_shift);
    }
    const __m128i r = _mm_add_epi32(_mm_madd_epi16(upper, wu), _mm_madd_epi16(lowr, wl));
    __m128i v =
        _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(r, _mm_set1_epi32(s.round)), s.shift), r);
    if constexpr (s.k != 0) v = _mm_mulhi_epi16(v, _mm_set1_epi16(static_cast<int16_t>(s.k)));
    if (n >= 4) {
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), v);
    } else {
        alignas(16) uint16_t out[8];
        _mm_store_si128(reinterpret_cast<__m128i *>(out), v);
        __builtin_memcpy(dst, out, static_cast<size_t>(n) * 2);
    }
}

// The alpha pass of a fused colour + alpha member: the word member's
// results for the pixels whose positions the colour member has just
// computed, four or eight at a time, into the alpha line from x0 on.
template <int Slot>
struct alpha_pass {
    word_plane plane;
    uint8_t *dst;
    int64_t left; // pixels still to store; x0 is written even when x1 <= x0
    alpha_pass(const span_rows &line, int32_t x0, int32_t x1, const texture_ref &t)
        : plane(texture_ref{t.alpha, t.alpha_pitch, nullptr, 0}),
          dst(reinterpret_cast<uint8_t *>(line.alpha) + static_cast<ptrdiff_t>(x0) * 2),
          left(x1 > x0 ? static_cast<int64_t>(x1) - x0 : 1) {}
    void operator()(__m128i iu, __m128i iv) {
        word_group<Slot>(iu, iv, plane, dst, left);
        dst += 8, left -= 4;
    }
    void operator()(__m256i iu, __m256i iv) {
        (*this)(_mm256_castsi256_si128(iu), _mm256_castsi256_si128(iv));
        (*this)(_mm256_extracti128_si256(iu, 1), _mm256_extracti128_si256(iv, 1));
    }
};

// RGBQ + alpha in one loop: the packed RGBQ member of slot Slot and, on the
// positions it computes, the word member of the same slot on the alpha
// plane. The bytes are those of the two members called one after the
// other; the positions are stepped once instead of twice.
template <class Isa, int Slot>
using rgbq_alpha_members = contract_members<packed_span<Isa, Slot, alpha_pass<Slot>>>;
