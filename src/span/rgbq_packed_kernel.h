// The RGBQ members of slots 1-20 in SIMD, written once for every
// instruction set and for both member kinds (rgbq_kinds).
//
// Included by rgbq_packed_sse2.cpp and rgbq_packed_avx2.cpp inside an
// anonymous namespace of tovrel::span, after that file's intrinsics headers
// and target options: each file compiles its own private copy for its own
// instruction set. `Isa::avx2` selects the AVX2 forms (groups of eight
// pixels, two per 256-bit register; pshufb / pmaddubsw for slot 1);
// everything else is SSE2.
//
// Packed kind: positions are stepped serially (one addps per pixel carries
// u, v and w, lane for lane the float additions of the scalar statement).
// Scalar kind: every pixel's position from its own x in double-precision
// lanes, with a true division for perspective. Everything after the
// position runs four or eight pixels at a time: reciprocal, clamp,
// truncation, index, fractions and weights. The texels of each pixel are
// summed in 16-bit lanes and weighted with 16-bit multiply-adds into
// 32-bit sums. Every sum is exact, so only the normalisation (shift,
// packssdw, multiply-high, packuswb) shapes the result: the stated
// saturation and reciprocal of the packed kind, or the exact quotient of
// the scalar kind.

// Lane operations on int32 vectors of four (SSE2) or eight (AVX2) pixels.
struct lanes4 {
    static constexpr int n = 4;
    using vi = __m128i;
    using vf = __m128;
    static vi set1(int32_t x) { return _mm_set1_epi32(x); }
    template <int S>
    static vi srli(vi a) {
        return _mm_srli_epi32(a, S);
    }
    template <int S>
    static vi slli(vi a) {
        return _mm_slli_epi32(a, S);
    }
    template <int S>
    static vi srai(vi a) {
        return _mm_srai_epi32(a, S);
    }
    static vi and_(vi a, vi b) { return _mm_and_si128(a, b); }
    static vi min16(vi a, vi b) { return _mm_min_epi16(a, b); }
    static vi max16(vi a, vi b) { return _mm_max_epi16(a, b); }
    static vi or_(vi a, vi b) { return _mm_or_si128(a, b); }
    static vi sub(vi a, vi b) { return _mm_sub_epi32(a, b); }
    static vi mullo16(vi a, vi b) { return _mm_mullo_epi16(a, b); }
    static vi madd16(vi a, vi b) { return _mm_madd_epi16(a, b); }
    static int sign_bits(vi a) { return _mm_movemask_ps(_mm_castsi128_ps(a)); }
    static void store(int32_t *p, vi a) { _mm_store_si128(reinterpret_cast<__m128i *>(p), a); }
    // Clamp (maxps keeps its second operand for a NaN: NaN clamps to 0),
    // then truncate.
    static vi clamp_truncate(vf x, float max) {
        return _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(x, _mm_setzero_ps()), _mm_set1_ps(max)));
    }
};

struct lanes8 {
    static constexpr int n = 8;
    using vi = __m256i;
    using vf = __m256;
    static vi set1(int32_t x) { return _mm256_set1_epi32(x); }
    template <int S>
    static vi srli(vi a) {
        return _mm256_srli_epi32(a, S);
    }
    template <int S>
    static vi slli(vi a) {
        return _mm256_slli_epi32(a, S);
    }
    template <int S>
    static vi srai(vi a) {
        return _mm256_srai_epi32(a, S);
    }
    static vi and_(vi a, vi b) { return _mm256_and_si256(a, b); }
    static vi min16(vi a, vi b) { return _mm256_min_epi16(a, b); }
    static vi max16(vi a, vi b) { return _mm256_max_epi16(a, b); }
    static vi or_(vi a, vi b) { return _mm256_or_si256(a, b); }
    static vi sub(vi a, vi b) { return _mm256_sub_epi32(a, b); }
    static vi mullo16(vi a, vi b) { return _mm256_mullo_epi16(a, b); }
    static vi madd16(vi a, vi b) { return _mm256_madd_epi16(a, b); }
    static int sign_bits(vi a) { return _mm256_movemask_ps(_mm256_castsi256_ps(a)); }
    static void store(int32_t *p, vi a) { _mm256_store_si256(reinterpret_cast<__m256i *>(p), a); }
    static vi clamp_truncate(vf x, float max) {
        return _mm256_cvttps_epi32(
            _mm256_min_ps(_mm256_max_ps(x, _mm256_setzero_ps()), _mm256_set1_ps(max)));
    }
};

// Positions of consecutive pixels: [u_num, v_num, w, 0] stepped by one
// addps per pixel, then divided, clamped and truncated n lanes at a time.
template <projection P>
struct walk {
    __m128 pos;  // the next pixel
    __m128 step; // [u_step, v_step, w_step, 0]
    float u_max, v_max;

    walk(const span_coefficients &k, int32_t x0) : u_max(k.u_max), v_max(k.v_max) {
        step = _mm_setr_ps(k.u_step, k.v_step, k.w_step, 0.0f);
        const __m128 base = _mm_setr_ps(k.u_base, k.v_base, k.w_base, 0.0f);
        pos = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(static_cast<float>(x0)), step), base);
    }
    __m128 advance() {
        const __m128 p = pos;
        pos = _mm_add_ps(pos, step);
        return p;
    }

    // iu and iv (16.16) of the next four or eight pixels.
    template <class L>
    void next(typename L::vi &iu, typename L::vi &iv) {
        using vf = typename L::vf;
        vf u, v, w;
        if constexpr (L::n == 4) {
            const __m128 p0 = advance(), p1 = advance(), p2 = advance(), p3 = advance();
            const __m128 t0 = _mm_unpacklo_ps(p0, p1), t1 = _mm_unpacklo_ps(p2, p3);
            u = _mm_movelh_ps(t0, t1); // u0 u1 u2 u3
            v = _mm_movehl_ps(t1, t0);
            w = _mm_movelh_ps(_mm_unpackhi_ps(p0, p1), _mm_unpackhi_ps(p2, p3));
        } else {
            __m128 p[8];
            for (__m128 &x : p) x = advance();
            auto pair = [&](int i) {
                return _mm256_insertf128_ps(_mm256_castps128_ps256(p[i]), p[i + 4], 1);
            };
            const __m256 y0 = pair(0), y1 = pair(1), y2 = pair(2), y3 = pair(3);
            const __m256 t0 = _mm256_unpacklo_ps(y0, y1), t1 = _mm256_unpacklo_ps(y2, y3);
            u = _mm256_shuffle_ps(t0, t1, 0x44); // u0 u1 u2 u3 | u4 u5 u6 u7
            v = _mm256_shuffle_ps(t0, t1, 0xEE);
            w = _mm256_shuffle_ps(_mm256_unpackhi_ps(y0, y1), _mm256_unpackhi_ps(y2, y3), 0x44);
        }
        if constexpr (P == projection::perspective) {
            if constexpr (L::n == 4) {
                const __m128 q = _mm_rcp_ps(w);
                u = _mm_mul_ps(u, q), v = _mm_mul_ps(v, q);
            } else {
                const __m256 q = _mm256_rcp_ps(w);
                u = _mm256_mul_ps(u, q), v = _mm256_mul_ps(v, q);
            }
        }
        iu = L::clamp_truncate(u, u_max);
        iv = L::clamp_truncate(v, v_max);
    }
};

// Double-precision lanes: two per SSE2 register, four per AVX2 register.
struct pd2 {
    using vd = __m128d;
    static vd set1(double x) { return _mm_set1_pd(x); }
    static vd mul(vd a, vd b) { return _mm_mul_pd(a, b); }
    static vd add(vd a, vd b) { return _mm_add_pd(a, b); }
    static vd div(vd a, vd b) { return _mm_div_pd(a, b); }
    // maxpd / minpd keep their second operand for a NaN, as the scalar
    // comparisons of clamp_truncate(double) do; cvttpd2dq gives INT32_MIN
    // out of range, as cvttsd2si does. Results in the low two int32 lanes.
    static __m128i clamp_truncate(vd x, vd max) {
        return _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(x, _mm_setzero_pd()), max));
    }
};
struct pd4 {
    using vd = __m256d;
    static vd set1(double x) { return _mm256_set1_pd(x); }
    static vd mul(vd a, vd b) { return _mm256_mul_pd(a, b); }
    static vd add(vd a, vd b) { return _mm256_add_pd(a, b); }
    static vd div(vd a, vd b) { return _mm256_div_pd(a, b); }
    static __m128i clamp_truncate(vd x, vd max) {
        return _mm256_cvttpd_epi32(_mm256_min_pd(_mm256_max_pd(x, _mm256_setzero_pd()), max));
    }
};

// Positions of the scalar-kind members: lane for lane the operations of
// double_walk (every pixel from its own integer x, u = x * u_step + u_base
// in double precision, a true division by w for perspective, clamp and
// truncation), n pixels at a time. Pixel x's lanes are computed whether or
// not x < x1; the caller drops the surplus ones.
template <projection P>
struct exact_walk {
    double u_step, v_step, w_step, u_base, v_base, w_base, u_max, v_max;
    uint32_t x; // the next pixel; wraps harmlessly past x1 in surplus lanes

    exact_walk(const span_coefficients &k, int32_t x0)
        : u_step(k.u_step), v_step(k.v_step), w_step(k.w_step), u_base(k.u_base), v_base(k.v_base),
          w_base(k.w_base), u_max(k.u_max), v_max(k.v_max), x(static_cast<uint32_t>(x0)) {}

    // Skips one pixel.
    void advance() { ++x; }

    template <class D>
    void at(typename D::vd xd, __m128i &iu, __m128i &iv) const {
        typename D::vd u = D::add(D::mul(xd, D::set1(u_step)), D::set1(u_base));
        typename D::vd v = D::add(D::mul(xd, D::set1(v_step)), D::set1(v_base));
        if constexpr (P == projection::perspective) {
            const auto q =
                D::div(D::set1(1.0), D::add(D::mul(xd, D::set1(w_step)), D::set1(w_base)));
            u = D::mul(u, q), v = D::mul(v, q);
        }
        iu = D::clamp_truncate(u, D::set1(u_max));
        iv = D::clamp_truncate(v, D::set1(v_max));
    }

    // iu and iv (16.16) of the next four or eight pixels.
    template <class L>
    void next(typename L::vi &iu, typename L::vi &iv) {
        const int32_t x0 = static_cast<int32_t>(x);
        x += L::n;
        if constexpr (L::n == 4) {
            const __m128i xs = _mm_add_epi32(_mm_set1_epi32(x0), _mm_setr_epi32(0, 1, 2, 3));
            __m128i u0, v0, u1, v1;
            at<pd2>(_mm_cvtepi32_pd(xs), u0, v0);
            at<pd2>(_mm_cvtepi32_pd(_mm_srli_si128(xs, 8)), u1, v1);
            iu = _mm_unpacklo_epi64(u0, u1);
            iv = _mm_unpacklo_epi64(v0, v1);
        } else {
            const __m256i xs =
                _mm256_add_epi32(_mm256_set1_epi32(x0), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
            __m128i u0, v0, u1, v1;
            at<pd4>(_mm256_cvtepi32_pd(_mm256_castsi256_si128(xs)), u0, v0);
            at<pd4>(_mm256_cvtepi32_pd(_mm256_extracti128_si256(xs, 1)), u1, v1);
            iu = _mm256_inserti128_si256(_mm256_castsi128_si256(u0), u1, 1);
            iv = _mm256_inserti128_si256(_mm256_castsi128_si256(v0), v1, 1);
        }
    }
};

// Asks for the cache line `bytes` from p, for the next destination lines.
// The address may lie outside the texture (rows past the last, columns
// before the first): it is formed in integers, and a prefetch never faults.
inline void prefetch_near(const uint8_t *p, ptrdiff_t bytes) {
    _mm_prefetch(reinterpret_cast<const char *>(reinterpret_cast<uintptr_t>(p) +
                                                static_cast<uintptr_t>(bytes)),
                 _MM_HINT_T0);
}

// A slanted walk (rotation) needs, on the next destination lines, the
// texels a few columns left or right of the ones it reads now, in every
// texture row it crosses; the hardware prefetchers follow neither
// direction. The lines `reach` bytes either side of p, in its row and the
// next (rb bytes on), are requested.
inline void prefetch_sideways(const uint8_t *p, ptrdiff_t rb, ptrdiff_t reach) {
    prefetch_near(p, -reach);
    prefetch_near(p, reach);
    prefetch_near(p, rb - reach);
    prefetch_near(p, rb + reach);
}

inline __m128i load64(const uint8_t *p) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
}
inline __m128i load128(const uint8_t *p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

// The texels of one pixel's footprint in 128-bit registers, or of two
// pixels' footprints, one in each 128-bit lane of a 256-bit register. All
// arithmetic on them stays within 128-bit lanes.
struct one_pixel {
    using vec = __m128i;
    const uint8_t *p;
    vec load64(ptrdiff_t off) const { return span::load64(p + off); }
    vec load128(ptrdiff_t off) const { return span::load128(p + off); }
    // The footprint moved down one row where bit 0 of `lower` is set.
    one_pixel lower_rows(int lower, ptrdiff_t rb) const { return {p + (lower & 1) * rb}; }
};
struct two_pixels {
    using vec = __m256i;
    const uint8_t *a, *b;
    static vec join(__m128i x, __m128i y) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(x), y, 1);
    }
    vec load64(ptrdiff_t off) const { return join(span::load64(a + off), span::load64(b + off)); }
    vec load128(ptrdiff_t off) const {
        return join(span::load128(a + off), span::load128(b + off));
    }
    // Bit 0 of `lower` moves pixel a down one row, bit 1 pixel b.
    two_pixels lower_rows(int lower, ptrdiff_t rb) const {
        return {a + (lower & 1) * rb, b + ((lower >> 1) & 1) * rb};
    }
};

// The 16-bit and 32-bit lane operations on either register width.
inline __m128i zero_of(__m128i) {
    return _mm_setzero_si128();
}
inline __m256i zero_of(__m256i) {
    return _mm256_setzero_si256();
}
inline __m128i unpacklo8(__m128i x, __m128i y) {
    return _mm_unpacklo_epi8(x, y);
}
inline __m256i unpacklo8(__m256i x, __m256i y) {
    return _mm256_unpacklo_epi8(x, y);
}
inline __m128i unpackhi8(__m128i x, __m128i y) {
    return _mm_unpackhi_epi8(x, y);
}
inline __m256i unpackhi8(__m256i x, __m256i y) {
    return _mm256_unpackhi_epi8(x, y);
}
inline __m128i unpacklo16(__m128i x, __m128i y) {
    return _mm_unpacklo_epi16(x, y);
}
inline __m256i unpacklo16(__m256i x, __m256i y) {
    return _mm256_unpacklo_epi16(x, y);
}
inline __m128i unpackhi16(__m128i x, __m128i y) {
    return _mm_unpackhi_epi16(x, y);
}
inline __m256i unpackhi16(__m256i x, __m256i y) {
    return _mm256_unpackhi_epi16(x, y);
}
inline __m128i add16(__m128i x, __m128i y) {
    return _mm_add_epi16(x, y);
}
inline __m256i add16(__m256i x, __m256i y) {
    return _mm256_add_epi16(x, y);
}
inline __m128i add32(__m128i x, __m128i y) {
    return _mm_add_epi32(x, y);
}
inline __m256i add32(__m256i x, __m256i y) {
    return _mm256_add_epi32(x, y);
}
inline __m128i madd16(__m128i x, __m128i y) {
    return _mm_madd_epi16(x, y);
}
inline __m256i madd16(__m256i x, __m256i y) {
    return _mm256_madd_epi16(x, y);
}
inline __m128i bytes_down4(__m128i x) {
    return _mm_srli_si128(x, 4);
}
inline __m256i bytes_down4(__m256i x) {
    return _mm256_srli_si256(x, 4);
}
inline __m128i bytes_down8(__m128i x) {
    return _mm_srli_si128(x, 8);
}
inline __m256i bytes_down8(__m256i x) {
    return _mm256_srli_si256(x, 8);
}

// Sum of f(i) for i in [First, Last) in 16-bit lanes.
template <int First, int Last, class F>
inline auto add16_over(F f) {
    return [&]<int... I>(std::integer_sequence<int, I...>) {
        auto s = f(First);
        ((s = add16(s, f(First + 1 + I))), ...);
        return s;
    }
    (std::make_integer_sequence<int, Last - First - 1>{});
}

// One texel row of the footprint as two column sums per channel, uint16:
// [t0 + .. + t(W-1) (4 channels), t1 + .. + tW (4 channels)], each at most
// 8 * 255. Reads exactly the W + 1 texels of the row.
template <int W, class Src>
inline auto row_pairs(const Src &src, ptrdiff_t off) {
    const auto z = zero_of(typename Src::vec());
    if constexpr (W == 1) {
        return unpacklo8(src.load64(off), z);
    } else if constexpr (W == 2) {
        return add16(unpacklo8(src.load64(off), z), unpacklo8(src.load64(off + 4), z));
    } else if constexpr (W == 3) {
        const auto x = src.load128(off);
        return add16(add16(unpacklo8(x, z), unpackhi8(x, z)), unpacklo8(bytes_down4(x), z));
    } else {
        // Texels t0..t3 and t1..t4 give (t0 + t2, t1 + t3) and (t1 + t3,
        // t2 + t4); for W = 8 the same again from t4 and t5.
        static_assert(W == 4 || W == 8, "RGBQ widths are 1, 2, 3, 4 or 8");
        auto quad = [&](ptrdiff_t o) {
            const auto x = src.load128(o), y = src.load128(o + 4);
            return add16(add16(unpacklo8(x, z), unpackhi8(x, z)),
                         add16(unpacklo8(y, z), unpackhi8(y, z)));
        };
        if constexpr (W == 4)
            return quad(off);
        else
            return add16(quad(off), quad(off + 16));
    }
}

// Weighted sum R of a pixel, four int32 channels (per 128-bit lane). wa
// holds the weight pair (rows A, rows B) of the left column set, wb that
// of the right one: each weight (128 - fv or fv) * (128 - fu or fu) <=
// 16384. A and B are the box sums of the upper and lower row set (for 1.5
// rows: the doubled half rows 2 S0 + S1 / S0 + 2 S1, or S0 + 2 S1 /
// 2 S1 + S2 past one half, selected by `lower`). Sums stay below 8192
// (8 columns, 4 rows), R below 2^28: pmaddwd sees them as positive int16.
//
// Scalar-kind 1.5-row boxes weigh rows 0, 1 and 1 + `lower` by w0 =
// 128 - fv, w1 = min(64 + fv, 128), w2 = max(fv - 64, 0) (row 1 again,
// with weight 0, when fv <= 64): wa pairs (A0, A2) with w0, w2 times
// 128 - fu, wb pairs (B0, B2) with them times fu, wc pairs (A1, B1) with
// w1 times (128 - fu, fu). Each weight <= 128 * 128.
template <int Slot, member_kind Kind, class Src>
inline auto pixel_sum(const Src &src, ptrdiff_t rb, typename Src::vec wa, typename Src::vec wb,
                      typename Src::vec wc, int lower) {
    using fp = footprint<Slot>;
    const auto z = zero_of(wa);
    if constexpr (Kind == member_kind::scalar && fp::one_and_half) {
        constexpr int W = fp::width;
        const auto r0 = row_pairs<W>(src, 0), r1 = row_pairs<W>(src, rb);
        const auto r2 = row_pairs<W>(src.lower_rows(lower, rb), rb);
        return add32(add32(madd16(unpacklo16(r0, r2), wa), madd16(unpackhi16(r0, r2), wb)),
                     madd16(unpacklo16(r1, bytes_down8(r1)), wc));
    } else if constexpr (Slot == 1) {
        // Rows interleaved while still bytes: (t(c, 0), t(c, 1)) pairs.
        const auto x = unpacklo8(src.load64(0), src.load64(rb));
        return add32(madd16(unpacklo8(x, z), wa), madd16(unpackhi8(x, z), wb));
    } else {
        constexpr int W = fp::width;
        typename Src::vec a, b;
        if constexpr (fp::one_and_half) {
            const auto r1 = row_pairs<W>(src, rb);
            // Row `lower` and the one below it: rows 0, 1 or rows 1, 2.
            const Src low = src.lower_rows(lower, rb);
            const auto r1x = add16(r1, row_pairs<W>(low, 0));
            a = add16(row_pairs<W>(src, 0), r1x);
            b = add16(r1x, row_pairs<W>(low, rb));
        } else {
            constexpr int H = fp::rows;
            auto row = [&](int r) { return row_pairs<W>(src, r * rb); };
            typename Src::vec inner = z;
            if constexpr (H > 1) inner = add16_over<1, H>(row);
            a = add16(row(0), inner);
            b = add16(inner, row(H));
        }
        return add32(madd16(unpacklo16(a, b), wa), madd16(unpackhi16(a, b), wb));
    }
}

// Slot 1 with pmaddubsw: the row pair of one pixel in one register, bytes
// ordered (t(0,0), t(0,1), t(1,0), t(1,1)) per channel and biased to
// signed (t - 128). Vertical weights (128 - fv, fv) as unsigned bytes give
// per column V - 128 * 128 in [-16384, 16256] (no saturation); horizontal
// weights (128 - fu, fu) then give R - 2^21 in one pmaddwd.
template <class Isa>
inline __m128i pixel_sum_slot1_ssse3(const uint8_t *p, ptrdiff_t rb, __m128i wv8, __m128i wu16) {
    const __m128i order = _mm_setr_epi8(0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15);
    const __m128i rows = _mm_castpd_si128(
        _mm_loadh_pd(_mm_castsi128_pd(load64(p)), reinterpret_cast<const double *>(p + rb)));
    const __m128i biased = _mm_xor_si128(_mm_shuffle_epi8(rows, order), _mm_set1_epi8(-128));
    return _mm_madd_epi16(_mm_maddubs_epi16(wv8, biased), wu16);
}

// Slot 1 for two pixels at once, one in each 128-bit lane: the arithmetic
// of pixel_sum_slot1_ssse3.
inline __m256i pair_sum_slot1_avx2(const uint8_t *pa, const uint8_t *pb, ptrdiff_t rb, __m256i wv8,
                                   __m256i wu16) {
    auto rows = [&](const uint8_t *p) {
        return _mm_castpd_si128(
            _mm_loadh_pd(_mm_castsi128_pd(load64(p)), reinterpret_cast<const double *>(p + rb)));
    };
    const __m256i both = two_pixels::join(rows(pa), rows(pb));
    const __m256i order = _mm256_setr_epi8(0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15, 0,
                                           8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15);
    const __m256i biased =
        _mm256_xor_si256(_mm256_shuffle_epi8(both, order), _mm256_set1_epi8(-128));
    return _mm256_madd_epi16(_mm256_maddubs_epi16(wv8, biased), wu16);
}

// Per-pixel data of a group of n pixels: texel indices (packed kind) or
// columns and rows (scalar kind), weight pairs and the 1.5-row `lower`
// bits.
template <int N>
struct lane_data {
    alignas(32) int32_t index[N];
    alignas(32) int32_t row[N];
    alignas(32) int32_t wa[N];
    alignas(32) int32_t wb[N];
    alignas(32) int32_t wc[N];
    int lower = 0;
};

// Scalar-kind 1.5-row boxes weigh three rows (see pixel_sum).
template <int Slot, member_kind Kind>
inline constexpr bool three_rows = (Kind == member_kind::scalar) && footprint<Slot>::one_and_half;

// The first texel of pixel i's footprint. Packed members index by
// cu + cv * (pitch >> 2) (int16 operands, `rb` = 4 * (pitch >> 2));
// scalar members address base + cv * pitch + cu * 4 (`rb` = pitch).
template <member_kind Kind, int N>
inline const uint8_t *texel_at(const uint8_t *base, ptrdiff_t rb, const lane_data<N> &d, int i) {
    if constexpr (Kind == member_kind::packed)
        return base + (static_cast<ptrdiff_t>(d.index[i]) << 2);
    else
        return base + static_cast<ptrdiff_t>(d.row[i]) * rb +
               (static_cast<ptrdiff_t>(d.index[i]) << 2);
}

template <class L, int Slot, member_kind Kind, bool Ssse3>
inline void prepare(lane_data<L::n> &d, typename L::vi pitch_pair, typename L::vi iu,
                    typename L::vi iv) {
    using vi = typename L::vi;
    if constexpr (Kind == member_kind::packed) {
        // Index cu + cv * (pitch >> 2): (cu, cv) as int16 pairs, one pmaddwd.
        const vi cu_cv =
            L::or_(L::template srli<16>(iu), L::and_(iv, L::set1(int32_t(0xFFFF0000u))));
        L::store(d.index, L::madd16(cu_cv, pitch_pair));
    } else {
        L::store(d.index, L::template srai<16>(iu));
        L::store(d.row, L::template srai<16>(iv));
    }

    // Fractions in [0, 127]; for the packed 1.5 rows the half-row fraction
    // g = bits 8..14 and `lower` = bit 15 (the fraction is at least one
    // half).
    const vi m127 = L::set1(127), w128 = L::set1(128);
    const vi fu = L::and_(L::template srli<9>(iu), m127);
    vi fv;
    if constexpr (footprint<Slot>::one_and_half && Kind == member_kind::packed) {
        fv = L::and_(L::template srli<8>(iv), m127);
        d.lower = L::sign_bits(L::template slli<16>(iv));
    } else {
        fv = L::and_(L::template srli<9>(iv), m127);
    }
    const vi fu0 = L::sub(w128, fu), fv0 = L::sub(w128, fv);
    auto twice = [](vi w) { return L::or_(w, L::template slli<16>(w)); };
    if constexpr (Ssse3) {
        // wa: (128 - fv, fv) as bytes, twice; wb: (128 - fu, fu) as words.
        const vi v8 = L::or_(fv0, L::template slli<8>(fv));
        L::store(d.wa, twice(v8));
        L::store(d.wb, L::or_(fu0, L::template slli<16>(fu)));
    } else if constexpr (three_rows<Slot, Kind>) {
        // w1 = min(64 + fv, 128), w2 = max(fv - 64, 0) in the low words
        // (the high words stay 0); `lower`: fv > 64.
        const vi c64 = L::set1(64);
        const vi w1 = L::min16(L::sub(fv, L::set1(-64)), w128);
        const vi w2 = L::max16(L::sub(fv, c64), L::set1(0));
        d.lower = L::sign_bits(L::sub(c64, fv));
        const vi pair02 = L::or_(fv0, L::template slli<16>(w2));
        L::store(d.wa, L::mullo16(pair02, twice(fu0)));
        L::store(d.wb, L::mullo16(pair02, twice(fu)));
        L::store(d.wc, L::mullo16(twice(w1), L::or_(fu0, L::template slli<16>(fu))));
    } else {
        // Weight pairs per pixel: low word for rows A, high word for rows B;
        // wa for the left columns, wb for the right ones.
        const vi vpair = L::or_(fv0, L::template slli<16>(fv));
        L::store(d.wa, L::mullo16(vpair, twice(fu0)));
        L::store(d.wb, L::mullo16(vpair, twice(fu)));
    }
}

// floor(v / d) as (v * m) >> 16 with m = ceil(65536 / d): with
// m = 65536 / d + e (e = 2/3 for d = 3, 2/9 for d = 9), v * m / 65536 =
// v / d + v * e / 65536, and the floor is exact while v * e / 65536 <
// 1 / d, that is for every v < 32768. The normalisation's v is
// (R + T/2) >> k <= 255.5 * d; the sweep below covers all of it.
constexpr bool reciprocal_exact(int32_t d, int32_t m) {
    for (int32_t v = 0; v < 256 * d; ++v)
        if (((v * m) >> 16) != v / d) return false;
    return true;
}

// Normalisation of a slot's sums as (R + round) >> shift, packssdw,
// multiply-high by k where k != 0, packuswb.
//  - Packed kind: rgbq_packed_scale (pmulhw by K saturates and rounds as
//    stated for those members).
//  - Scalar kind (exact_scale_8bit, any 8-bit family): the exact
//    (R + T/2) / T. T = 2^s * d with d = 1, 3 or
//    9: R + T/2 >= 0 shifted by s is at most 255.5 * d < 2300 (no
//    saturation), the multiply by ceil(65536 / d) divides by d exactly,
//    and the quotient is at most 255.
template <int Slot>
constexpr packed_scale exact_scale_8bit() {
    constexpr int32_t t = footprint<Slot>::total_scalar;
    constexpr int shift = __builtin_ctz(t);
    constexpr int32_t d = t >> shift;
    static_assert(d == 1 || d == 3 || d == 9);
    constexpr int32_t m = (65536 + d - 1) / d;
    static_assert(d == 1 || reciprocal_exact(d, m));
    return {t / 2, shift, d == 1 ? 0 : m};
}
template <int Slot, member_kind Kind>
constexpr packed_scale rgbq_scale() {
    if constexpr (Kind == member_kind::packed)
        return rgbq_packed_scale<Slot>();
    else
        return exact_scale_8bit<Slot>();
}

// Pixels 4 * G .. 4 * G + 3 of a prepared group: 16 result bytes.
template <class Isa, int Slot, member_kind Kind, int G, int N>
inline __m128i render_four(const uint8_t *base, ptrdiff_t rb, const lane_data<N> &d) {
    constexpr bool ssse3 = Isa::avx2 && Slot == 1;
    constexpr packed_scale s = rgbq_scale<Slot, Kind>();
    // pixel_sum_slot1_ssse3 returns R - 2^21.
    const __m128i rnd = _mm_set1_epi32(s.round + (ssse3 ? 1 << 21 : 0));
    auto one = [&]<int I>(std::integral_constant<int, I>) {
        constexpr int i = 4 * G + I;
        const uint8_t *p = texel_at<Kind>(base, rb, d, i);
        // A broadcast load (vpbroadcastd) under AVX2, movd + pshufd under SSE2.
        const __m128i a = _mm_set1_epi32(d.wa[i]), b = _mm_set1_epi32(d.wb[i]);
        __m128i r;
        if constexpr (ssse3)
            r = pixel_sum_slot1_ssse3<Isa>(p, rb, a, b);
        else
            r = pixel_sum<Slot, Kind>(one_pixel{p}, rb, a, b,
                                      three_rows<Slot, Kind> ? _mm_set1_epi32(d.wc[i]) : a,
                                      (d.lower >> i) & 1);
        // (R + round) >> s
        return _mm_srai_epi32(_mm_add_epi32(r, rnd), s.shift);
    };
    const __m128i r0 = one(std::integral_constant<int, 0>{});
    const __m128i r1 = one(std::integral_constant<int, 1>{});
    const __m128i r2 = one(std::integral_constant<int, 2>{});
    const __m128i r3 = one(std::integral_constant<int, 3>{});

    // packssdw, optional pmulhw by k, packuswb.
    __m128i lo = _mm_packs_epi32(r0, r1), hi = _mm_packs_epi32(r2, r3);
    if constexpr (s.k != 0) {
        const __m128i k = _mm_set1_epi16(static_cast<int16_t>(s.k));
        lo = _mm_mulhi_epi16(lo, k);
        hi = _mm_mulhi_epi16(hi, k);
    }
    return _mm_packus_epi16(lo, hi);
}

// Eight pixels under AVX2, pixels i and i + 4 side by side in the two
// 128-bit lanes (lane i of each half of the group's vectors holds them, so
// one in-lane vpshufd broadcasts their weights): 32 result bytes.
template <int Slot, member_kind Kind, int N>
inline __m256i render_eight(const uint8_t *base, ptrdiff_t rb, const lane_data<N> &d) {
    constexpr packed_scale s = rgbq_scale<Slot, Kind>();
    auto load = [](const int32_t *w) {
        return _mm256_load_si256(reinterpret_cast<const __m256i *>(w));
    };
    const __m256i wa = load(d.wa), wb = load(d.wb);
    const __m256i wc = three_rows<Slot, Kind> ? load(d.wc) : wa;
    // pair_sum_slot1_avx2 returns R - 2^21.
    const __m256i rnd = _mm256_set1_epi32(s.round + (Slot == 1 ? 1 << 21 : 0));
    auto pair = [&]<int I>(std::integral_constant<int, I>) {
        const uint8_t *pa = texel_at<Kind>(base, rb, d, I);
        const uint8_t *pb = texel_at<Kind>(base, rb, d, I + 4);
        const __m256i a = _mm256_shuffle_epi32(wa, I * 0x55),
                      b = _mm256_shuffle_epi32(wb, I * 0x55);
        __m256i r;
        if constexpr (Slot == 1)
            r = pair_sum_slot1_avx2(pa, pb, rb, a, b);
        else
            r = pixel_sum<Slot, Kind>(two_pixels{pa, pb}, rb, a, b,
                                      _mm256_shuffle_epi32(wc, I * 0x55),
                                      ((d.lower >> I) & 1) | (((d.lower >> (I + 4)) & 1) << 1));
        return _mm256_srai_epi32(_mm256_add_epi32(r, rnd), s.shift);
    };
    // Lanes hold pixels (0, 4), (1, 5), ...: packing keeps pixel order.
    const __m256i r04 = pair(std::integral_constant<int, 0>{});
    const __m256i r15 = pair(std::integral_constant<int, 1>{});
    const __m256i r26 = pair(std::integral_constant<int, 2>{});
    const __m256i r37 = pair(std::integral_constant<int, 3>{});
    __m256i lo = _mm256_packs_epi32(r04, r15), hi = _mm256_packs_epi32(r26, r37);
    if constexpr (s.k != 0) {
        const __m256i k = _mm256_set1_epi16(static_cast<int16_t>(s.k));
        lo = _mm256_mulhi_epi16(lo, k);
        hi = _mm256_mulhi_epi16(hi, k);
    }
    return _mm256_packus_epi16(lo, hi);
}

// A fused member's second pass over the same positions (see alpha_pass);
// the plain members have none.
struct no_second_pass {
    no_second_pass() = default;
    no_second_pass(const span_rows &, int32_t, int32_t, const texture_ref &) {}
    template <class V>
    void operator()(V, V) {}
};

// The next n pixels: positions, preparation, and 4 * n bytes of results
// (all of them stored only when `whole`; otherwise the caller stores).
template <class Isa, class L, int Slot, member_kind Kind, class Walk, class Second>
inline __m128i render_group(Walk &w, const uint8_t *base, ptrdiff_t rb, uint8_t *dst, bool whole,
                            Second &second) {
    typename L::vi iu, iv;
    w.template next<L>(iu, iv);
    second(iu, iv);
    lane_data<L::n> d;
    // (1, pitch >> 2) as int16 pairs for the packed index.
    const uint32_t unit_pitch = static_cast<uint16_t>(rb >> 2);
    prepare<L, Slot, Kind, Isa::avx2 && Slot == 1>(
        d, L::set1(static_cast<int32_t>((unit_pitch << 16) | 1u)), iu, iv);
    // Read the lanes back from memory (scalar index loads, broadcast
    // loads) rather than extracting them with shuffles.
    asm("" : "+m"(d));
    // Two cache lines either side of this group's middle pixel.
    prefetch_sideways(texel_at<Kind>(base, rb, d, L::n / 2), rb, 128);
    if constexpr (L::n == 8) {
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst),
                            render_eight<Slot, Kind>(base, rb, d));
        return _mm_setzero_si128();
    }
    const __m128i first = render_four<Isa, Slot, Kind, 0>(base, rb, d);
    if (whole) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), first);
    }
    return first;
}

// One span of slot Slot in the arithmetic of its kind (rgbq_kinds):
//  - packed: single-precision positions stepped from x0, the approximate
//    reciprocal, the int16 index; pixel x0 is written even when x1 <= x0;
//  - scalar: double-precision positions of every x with a true division,
//    the full-width address, exact normalisation; nothing when x1 <= x0.
template <class Isa, int Slot, projection P, class Second = no_second_pass>
void render_packed(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                   const span_coefficients &k, Second second = {}) {
    constexpr member_kind kind = rgbq_kinds[Slot];
    const uint8_t *base = texture->base;
    int64_t n = static_cast<int64_t>(x1) - x0;
    ptrdiff_t rb;
    std::conditional_t<kind == member_kind::packed, walk<P>, exact_walk<P>> w(k, x0);
    if constexpr (kind == member_kind::packed) {
        rb = static_cast<ptrdiff_t>(static_cast<int16_t>(texture->pitch >> 2)) * 4;
        if (n < 1) n = 1;
    } else {
        rb = texture->pitch;
        if (n < 1) return;
    }

    uint8_t *dst = static_cast<uint8_t *>(line->pixels) + static_cast<ptrdiff_t>(x0) * 4;
    if constexpr (Isa::avx2) {
        for (; n >= 8; n -= 8, dst += 32)
            render_group<Isa, lanes8, Slot, kind>(w, base, rb, dst, true, second);
    }
    for (; n >= 4; n -= 4, dst += 16)
        render_group<Isa, lanes4, Slot, kind>(w, base, rb, dst, true, second);
    if (n > 0) {
        // The surplus lanes sample clamped positions (inside the texture)
        // and are not stored.
        const __m128i px = render_group<Isa, lanes4, Slot, kind>(w, base, rb, dst, false, second);
        if (n >= 2) {
            _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), px);
            if (n == 3) {
                const int32_t third = _mm_cvtsi128_si32(_mm_srli_si128(px, 8));
                __builtin_memcpy(dst + 8, &third, 4);
            }
        } else {
            const int32_t first = _mm_cvtsi128_si32(px);
            __builtin_memcpy(dst, &first, 4);
        }
    }
}

// The packed RGBQ span routine of one instruction set, with a second pass
// over the same positions where one is given.
template <class Isa, int Slot, class Second = no_second_pass>
struct packed_span {
    template <projection P>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                    const span_coefficients &k) {
        render_packed<Isa, Slot, P>(line, x0, x1, texture, k, Second(*line, x0, x1, *texture));
    }
};

// The table members of one instruction set.
template <class Isa, int Slot>
struct packed_members : contract_members<packed_span<Isa, Slot>> {};
