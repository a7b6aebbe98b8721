// What the studio refuses, as an HTTP status, a message a person reads, and for a document that
// does not load, the JSON path of the place.
#pragma once

#include <stdexcept>
#include <string>

namespace tv::studio {

class StudioError : public std::runtime_error {
  public:
    StudioError(int status, const std::string& message, std::string jsonPath = {})
        : std::runtime_error(message), status_(status), jsonPath_(std::move(jsonPath)) {}
    int status() const { return status_; }
    const std::string& jsonPath() const { return jsonPath_; }

  private:
    int status_;
    std::string jsonPath_;
};

}  // namespace tv::studio
