// Which frames a resumed render can skip. Frames are written under a hidden temporary name and
// renamed once whole, so a file at a frame's own path is a finished frame; a temporary file
// left by a killed render is not, and its frame is drawn again.
#pragma once

#include <string>

namespace tv::cli {

// True when a non-empty regular file stands at the frame's path. An empty file (from a copy or
// a full disk outside tavrin) does not count as finished.
bool FrameIsFinished(const std::string& path);

// The sidecar beside a frame that a fallback drew (the software path where the GL path was
// asked for): "<frame>.fallback", holding why. A resumed render where GL runs draws it again.
std::string FallbackMarkPath(const std::string& framePath);
bool DrawnByFallback(const std::string& framePath);

}  // namespace tv::cli
