#include "session.h"

namespace tovrel_tool {

report_scope::report_scope(std::FILE *err) : err_(err) {
    tovrel_set_report_sink(&report_scope::sink, this);
}

report_scope::~report_scope() {
    tovrel_set_report_sink(nullptr, nullptr);
}

void TOVREL_CALL report_scope::sink(const char *line, void *user) {
    auto *self = static_cast<report_scope *>(user);
    ++self->count_;
    if (self->last_ == line) return;
    self->last_ = line;
    // Lines arrive with their "\n".
    std::fprintf(self->err_, "tovrel: library: %s", line);
    std::fflush(self->err_);
}

} // namespace tovrel_tool
