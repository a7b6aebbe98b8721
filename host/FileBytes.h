// A file's bytes for reading: mapped into memory when the system allows it, else read into a
// buffer (pipes, special files, file systems that refuse mapping).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tv {

struct FileBytes {
    std::string_view bytes;  // valid while this lives
    std::string error;       // why the file could not be read; empty when it was

    // How the bytes are held.
    void* mapped = nullptr;
    size_t mappedSize = 0;
    std::string buffer;

    FileBytes() = default;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    ~FileBytes();
};

// Opens `path` and maps it (or, with `allowMapping` false or when mapping fails, reads it).
// False, with `out.error` saying why, when the file cannot be opened or read.
bool LoadFileBytes(const std::string& path, FileBytes& out, bool allowMapping = true);

// What a file of this st_mode is, for messages: "a folder", "a named pipe (FIFO)", "a character
// device", ..., "a regular file".
const char* FileKindName(unsigned mode);

// Lets the system take back the memory of the mapped pages that lie wholly in [from, to): they
// stop counting towards this process, and reading them again fetches them from the file (or
// the system's cache of it). Nothing happens to bytes that were read into a buffer.
void ReleaseFileBytes(const FileBytes& file, const char* from, const char* to);

}  // namespace tv
