// The renderer families the span tests run over.
#include "span/rgbq_renderers.h"
#include "span/w210_renderers.h"
#include "span/yuy2_renderers.h"
#include "span_test_support.h"

namespace span_test {

using namespace tovrel;

const std::vector<family> &family_list() {
    static const std::vector<family> list = {
        {"rgbq", 4, false, 1, 255,
         [] {
             std::vector<tables> v = {
                 {"sse2", &rgbq_persp_span_renderers, &rgbq_affine_span_renderers},
                 {"c", &rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c}};
             if (rgbq_avx2_supported())
                 v.push_back(
                     {"avx2", &rgbq_persp_span_renderers_avx2, &rgbq_affine_span_renderers_avx2});
             return v;
         },
         rgbq_slot_is_packed},
        {"yuy2", 2, true, 1, 255,
         [] {
             return std::vector<tables>{
                 {"sse2", &yuy2_persp_span_renderers, &yuy2_affine_span_renderers},
                 {"c", &yuy2_persp_span_renderers_c, &yuy2_affine_span_renderers_c}};
         },
         yuy2_slot_is_packed},
        // 10-bit samples: larger words overflow the reciprocal forms.
        {"w210", 4, true, 2, 1023,
         [] {
             return std::vector<tables>{
                 {"sse2", &w210_persp_span_renderers, &w210_affine_span_renderers},
                 {"c", &w210_persp_span_renderers_c, &w210_affine_span_renderers_c}};
         },
         w210_slot_is_packed},
    };
    return list;
}

std::vector<family> pair_families() {
    std::vector<family> pairs;
    for (const family &f : family_list())
        if (f.pairs) pairs.push_back(f);
    return pairs;
}

} // namespace span_test
