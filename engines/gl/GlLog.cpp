#include "engines/gl/GlLog.h"

namespace tv::gl {

namespace {
thread_local ScopedLogSink* tInnermost = nullptr;
}

ScopedLogSink::ScopedLogSink(std::function<void(const std::string&)> sink)
    : sink_(std::move(sink)), outer_(tInnermost) {
    tInnermost = this;
}

ScopedLogSink::~ScopedLogSink() {
    tInnermost = outer_;
}

void Log(const std::string& line) {
    if (tInnermost && tInnermost->sink_) tInnermost->sink_(line);
}

}  // namespace tv::gl
