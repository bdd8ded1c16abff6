#include "line_crew.h"

namespace tovrel_gst {
namespace {

struct worker_start {
    class line_crew *crew;
    int phase;
};

} // namespace

line_crew::line_crew() {
    g_mutex_init(&mutex_);
    g_cond_init(&start_);
    g_cond_init(&done_);
}

line_crew::~line_crew() {
    g_mutex_lock(&mutex_);
    quit_ = true;
    g_cond_broadcast(&start_);
    g_mutex_unlock(&mutex_);
    for (int i = 0; i < worker_count_; ++i) g_thread_join(workers_[i]);
    g_mutex_clear(&mutex_);
    g_cond_clear(&start_);
    g_cond_clear(&done_);
}

// Worker k (phase k, from 1) waits for each new generation, takes its
// share when the period reaches it, and reports back.
gpointer line_crew::worker_main(gpointer data) {
    auto *start = static_cast<worker_start *>(data);
    line_crew *crew = start->crew;
    const int phase = start->phase;
    g_free(start);
    guint64 seen = 0;
    g_mutex_lock(&crew->mutex_);
    for (;;) {
        while (!crew->quit_ && crew->generation_ == seen) g_cond_wait(&crew->start_, &crew->mutex_);
        if (crew->quit_) break;
        seen = crew->generation_;
        if (phase >= crew->period_) continue;
        const job work = crew->work_;
        void *context = crew->context_;
        const int period = crew->period_;
        g_mutex_unlock(&crew->mutex_);
        work(context, phase, period);
        g_mutex_lock(&crew->mutex_);
        if (--crew->pending_ == 0) g_cond_signal(&crew->done_);
    }
    g_mutex_unlock(&crew->mutex_);
    return nullptr;
}

bool line_crew::grow(int shares) {
    while (worker_count_ < shares - 1 && worker_count_ < max_workers) {
        auto *start = g_new(worker_start, 1);
        start->crew = this;
        start->phase = worker_count_ + 1;
        GThread *t = g_thread_try_new("tovrel-lines", &line_crew::worker_main, start, nullptr);
        if (!t) {
            g_free(start);
            return false;
        }
        workers_[worker_count_++] = t;
    }
    return true;
}

int line_crew::run(int shares, job work, void *context) {
    if (shares < 1) shares = 1;
    grow(shares);
    if (shares > worker_count_ + 1) shares = worker_count_ + 1;
    if (shares > 1) {
        g_mutex_lock(&mutex_);
        work_ = work;
        context_ = context;
        period_ = shares;
        pending_ = shares - 1;
        ++generation_;
        g_cond_broadcast(&start_);
        g_mutex_unlock(&mutex_);
    }
    work(context, 0, shares);
    if (shares > 1) {
        g_mutex_lock(&mutex_);
        while (pending_ != 0) g_cond_wait(&done_, &mutex_);
        g_mutex_unlock(&mutex_);
    }
    return shares;
}

} // namespace tovrel_gst
