/*
 * The C side of bench/python_warp.py, loaded into the same process: makes
 * the map_polygon call the binding makes, on the same images, `reps` times
 * in a C loop, and returns the thread CPU time per call in microseconds.
 */
#include <time.h>

#include <tovrel.h>

double time_map_polygon(const image_descriptor *dst, const image_descriptor *src,
                        const map_vertex *vertices, int32_t count, uint32_t flags, int32_t reps) {
    struct timespec t0, t1;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t0);
    for (int32_t i = 0; i < reps; ++i) map_polygon(dst, src, vertices, count, flags, 0, 1);
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t1);
    return ((t1.tv_sec - t0.tv_sec) * 1e6 + (t1.tv_nsec - t0.tv_nsec) / 1e3) / reps;
}
