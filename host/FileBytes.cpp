#include "host/FileBytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace tv {

namespace {

// Reads what is left of `fd` into `buffer`, at most `most` bytes; false with errno set on a
// read error, or with `tooLong` set when more than `most` bytes came.
bool ReadAll(int fd, size_t most, std::string& buffer, bool& tooLong) {
    buffer.clear();
    buffer.reserve(most);
    char block[1 << 16];
    while (true) {
        const ssize_t n = ::read(fd, block, sizeof block);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (buffer.size() + size_t(n) > most) {
            tooLong = true;
            return false;
        }
        buffer.append(block, size_t(n));
    }
}

}  // namespace

FileBytes::~FileBytes() {
    if (mapped) ::munmap(mapped, mappedSize);
}

bool LoadFileBytes(const std::string& path, FileBytes& out, bool allowMapping) {
    if (path.empty()) {
        out.error = "no file named";
        return false;
    }
    // O_NONBLOCK: opening a named pipe must not wait for a writer; the kind is checked next.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        out.error = path + ": " + std::strerror(errno);
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        out.error = path + ": " + std::strerror(errno);
        ::close(fd);
        return false;
    }
    // Only regular files are read: a device or a pipe may never end.
    if (!S_ISREG(st.st_mode)) {
        out.error = path + ": is " + FileKindName(st.st_mode) + ", not a file";
        ::close(fd);
        return false;
    }
    const size_t size = size_t(st.st_size);
    if (allowMapping && size > 0) {
        void* p = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (p != MAP_FAILED) {
            ::madvise(p, size, MADV_SEQUENTIAL);
            out.mapped = p;
            out.mappedSize = size;
            out.bytes = std::string_view(static_cast<const char*>(p), size);
            ::close(fd);
            return true;
        }
    }
    // A file holds what its size says; one that reads longer (a system file such as those of
    // /proc, whose size says 0) is refused instead of read without end.
    bool tooLong = false;
    const bool ok = ReadAll(fd, size, out.buffer, tooLong);
    if (tooLong)
        out.error = path + ": reads longer than its size of " + std::to_string(size) +
                    " bytes says (a system file, or one that is being written)";
    else if (!ok)
        out.error = path + ": " + std::strerror(errno);
    ::close(fd);
    out.bytes = out.buffer;
    return ok;
}

const char* FileKindName(unsigned mode) {
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISFIFO(mode)) return "a named pipe (FIFO)";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    if (S_ISLNK(mode)) return "a symbolic link";
    return "a regular file";
}

void ReleaseFileBytes(const FileBytes& file, const char* from, const char* to) {
    if (!file.mapped || to <= from) return;
    const uintptr_t page = uintptr_t(::sysconf(_SC_PAGESIZE));
    const uintptr_t first = (uintptr_t(from) + page - 1) / page * page;
    const uintptr_t last = uintptr_t(to) / page * page;
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
}

}  // namespace tv
