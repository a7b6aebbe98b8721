// Files written whole or not at all. Each write happens inside a private folder made for it
// beside the target (mode 0700, created exclusively, so nothing another user planted there can
// be followed), and the finished file is renamed onto the target, so that a failed or
// interrupted write never leaves a half-written file and never writes through a link standing
// at a predictable name. Frames, SVG exports, saved documents and geometry go through here.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tv::standalone {

// The hidden folder a file is written in before its rename: ".NAME.tmp<pid>_<n>" in the file's
// folder, with NAME shortened when the whole would pass the file system's name limit.
std::string TemporaryFrameName(const std::string& fileName, long pid, int serial);

// Removes the temporaries of the given files that processes no longer running on this machine
// left (a render killed mid-frame): folders (and files, from older versions) named by
// TemporaryFrameName. A temporary of a live process is kept, and so is anything that is not a
// real folder or file (a link is removed, never followed). Each folder is listed once, whatever
// the number of files in it. Returns how many were removed.
size_t RemoveStaleTemporaries(const std::vector<std::string>& filePaths);
size_t RemoveStaleTemporaries(const std::string& filePath);

// A private folder (mode 0700, made exclusively) beside `target`, named by TemporaryFrameName,
// for files that become the target by a rename. Making it makes the target's folder and refuses
// a folder, device, pipe or socket standing at the target (a link there is replaced, never
// followed). The folder goes with everything in it when the object goes.
class PrivateFolderBeside {
  public:
    explicit PrivateFolderBeside(const std::string& target,
                                 const std::string& renameError = "cannot write ");
    ~PrivateFolderBeside();
    PrivateFolderBeside(const PrivateFolderBeside&) = delete;
    PrivateFolderBeside& operator=(const PrivateFolderBeside&) = delete;
    const std::string& path() const { return path_; }
    // Renames `inner`, a finished file inside the folder, onto the target; a failed rename throws
    // std::runtime_error(renameError + target + ": " + the reason).
    void publish(const std::string& inner) const;

  private:
    std::string target_, renameError_, path_;
};

// Writes `path` whole: makes its folder, makes a private temporary folder beside it, has `write`
// fill a file inside that folder (named with the target's extension, then `suffix`), renames
// that file onto `path` and removes the folder. When `write` throws, or the rename fails, the
// temporaries are removed and the error passes on; a failed rename throws
// std::runtime_error(renameError + path + ": " + the reason).
void WriteWholeFile(const std::string& path,
                    const std::function<void(const std::string& temporary)>& write,
                    const std::string& suffix = "",
                    const std::string& renameError = "cannot write ");

// Writes `text` to `path` whole, as WriteWholeFile does, after removing the temporaries that
// killed writes of the same file left.
void WriteTextWhole(const std::string& path, const std::string& text);

// A private folder (mode 0700) made exclusively under the system's temporary folder, removed
// with everything in it when the object goes. For files no one else may name or replace.
class PrivateTemporaryFolder {
  public:
    PrivateTemporaryFolder();
    ~PrivateTemporaryFolder();
    PrivateTemporaryFolder(const PrivateTemporaryFolder&) = delete;
    PrivateTemporaryFolder& operator=(const PrivateTemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace tv::standalone
