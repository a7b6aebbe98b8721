// Where the GL layer's fault reports go. GL wrappers never throw: they report and go on. Lines go
// to the sink of the innermost ScopedLogSink on the calling thread (the host's diagnostics), and
// are dropped outside one (a thread's exit, say).
#pragma once

#include <functional>
#include <string>

namespace tv::gl {

class ScopedLogSink {
  public:
    explicit ScopedLogSink(std::function<void(const std::string&)> sink);
    ~ScopedLogSink();
    ScopedLogSink(const ScopedLogSink&) = delete;
    ScopedLogSink& operator=(const ScopedLogSink&) = delete;

  private:
    std::function<void(const std::string&)> sink_;
    ScopedLogSink* outer_;
    friend void Log(const std::string& line);
};

void Log(const std::string& line);

}  // namespace tv::gl
