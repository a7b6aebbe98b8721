// Files written whole or not at all: under a hidden temporary name in the target's folder, then
// renamed onto the target, so that a failed or interrupted write never leaves a half-written
// file. Frames, SVG exports and any other file the embedded host writes go through here.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace tv::standalone {

// The hidden name a file is written under before its rename: ".NAME.tmp<pid>_<n>" in the
// file's folder.
std::string TemporaryFrameName(const std::string& fileName, long pid, int serial);

// Removes the temporary files of `framePath` that processes no longer running left (a render
// killed mid-frame); a file of a live process is kept. Returns how many were removed.
size_t RemoveStaleTemporaries(const std::string& framePath);

// Writes `path` whole: makes its folder, has `write` fill a fresh temporary beside it (the
// TemporaryFrameName of its name, then `suffix`), and renames the temporary onto `path`. When
// `write` throws, or the rename fails, the temporary is removed and the error passes on; a
// failed rename throws std::runtime_error(renameError + path + ": " + the reason).
void WriteWholeFile(const std::string& path,
                    const std::function<void(const std::string& temporary)>& write,
                    const std::string& suffix = "",
                    const std::string& renameError = "cannot write ");

}  // namespace tv::standalone
