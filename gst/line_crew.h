// A fixed crew of worker threads that shares one frame's lines with the
// streaming thread: share k of n takes the lines congruent to k modulo n,
// the library's line phase and step.
#pragma once

#include <glib.h>

namespace tovrel_gst {

class line_crew {
public:
    using job = void (*)(void *context, int phase, int period);

    line_crew();
    ~line_crew();
    line_crew(const line_crew &) = delete;
    line_crew &operator=(const line_crew &) = delete;

    // Runs job(context, k, n) for k = 0 .. n-1 and returns when all are
    // done; share 0 runs on the calling thread. n is `shares`, or fewer
    // when the system gives no more threads. Returns n.
    int run(int shares, job work, void *context);

private:
    static gpointer worker_main(gpointer self);
    bool grow(int shares);

    enum { max_workers = 63 };
    GThread *workers_[max_workers] = {};
    int worker_count_ = 0;
    GMutex mutex_{};
    GCond start_{};
    GCond done_{};
    guint64 generation_ = 0;
    int pending_ = 0;
    int period_ = 1;
    job work_ = nullptr;
    void *context_ = nullptr;
    bool quit_ = false;
};

} // namespace tovrel_gst
