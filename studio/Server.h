// The studio's HTTP server: bound to 127.0.0.1 only, every path behind a random token that the
// printed address carries, a request from another host name or another origin refused, bodies
// bounded. The routes and their JSON are in studio/Routes.cpp, the open document in
// studio/Session.h.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tv::studio {

struct StudioOptions {
    std::string document;  // empty: a new document with one empty comp
    int port = 0;          // 0: any free port
    std::vector<std::string> allowDirs;
    size_t maxBody = size_t(16) << 20;  // bytes of a request body
};

class StudioServer {
  public:
    // Opens the document; throws std::runtime_error when it cannot be read.
    explicit StudioServer(const StudioOptions& options);
    ~StudioServer();
    StudioServer(const StudioServer&) = delete;
    StudioServer& operator=(const StudioServer&) = delete;

    // Binds 127.0.0.1 at the asked port and returns the port; throws std::runtime_error when
    // the port cannot be had.
    int bind();
    // Serves until stop(); returns when stopped.
    void run();
    void stop();

    int port() const { return port_; }
    const std::string& token() const { return token_; }
    // http://127.0.0.1:PORT/TOKEN/
    std::string url() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    StudioOptions options_;
    std::string token_;
    int port_ = 0;
};

// A token of 32 hexadecimal digits from the system's random source.
std::string RandomToken();

}  // namespace tv::studio
