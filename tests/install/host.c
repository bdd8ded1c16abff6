/* A small video host built against an installed tovrel: halves a 4x2 RGBQ
 * image and has a refusal routed to its own report sink. Exit status 0 when
 * both behave. */
#include <stdio.h>
#include <string.h>

#include <tovrel.h>

static int reports;

static void TOVREL_CALL count_report(const char *line, void *user) {
    (void)user;
    ++reports;
    fputs(line, stdout);
}

static image_descriptor rgbq(uint8_t *pixels, int32_t width, int32_t height) {
    image_descriptor d;
    memset(&d, 0, sizeof d);
    d.width = width;
    d.height = height;
    d.format = TOVREL_FORMAT_RGBQ;
    d.pixels = pixels;
    d.pitch = width * 4;
    return d;
}

int main(void) {
    uint8_t src_pixels[4 * 2 * 4], dst_pixels[2 * 1 * 4] = {0};
    image_descriptor src = rgbq(src_pixels, 4, 2), dst = rgbq(dst_pixels, 2, 1);
    int i;
    for (i = 0; i < (int)sizeof src_pixels; ++i) src_pixels[i] = (uint8_t)(i % 8 < 4 ? 40 : 200);
    tovrel_set_report_sink(count_report, NULL);
    map_rectangle(&dst, 0.0f, 0.0f, 2.0f, 1.0f, &src, 0.0f, 0.0f, 4.0f, 2.0f, 0, 0, 1);
    /* Each destination pixel is the mean of a 2x2 block of 40s and 200s. */
    for (i = 0; i < (int)sizeof dst_pixels; ++i)
        if (dst_pixels[i] != 120) {
            printf("host: byte %d is %d, expected 120\n", i, dst_pixels[i]);
            return 1;
        }
    src.format = 0; /* names no format: refused and reported */
    map_rectangle(&dst, 0.0f, 0.0f, 2.0f, 1.0f, &src, 0.0f, 0.0f, 4.0f, 2.0f, 0, 0, 1);
    tovrel_set_report_sink(NULL, NULL);
    if (reports != 1) {
        printf("host: %d report lines, expected 1\n", reports);
        return 1;
    }
    printf("host: tovrel works\n");
    return 0;
}
