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

// Reads what is left of `fd` into `buffer`; false with errno set on a read error.
bool ReadAll(int fd, size_t sizeHint, std::string& buffer) {
    buffer.clear();
    if (sizeHint) buffer.reserve(sizeHint);
    char block[1 << 16];
    while (true) {
        const ssize_t n = ::read(fd, block, sizeof block);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
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
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
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
    const size_t size = S_ISREG(st.st_mode) ? size_t(st.st_size) : 0;
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
    const bool ok = ReadAll(fd, size, out.buffer);
    if (!ok) out.error = path + ": " + std::strerror(errno);
    ::close(fd);
    out.bytes = out.buffer;
    return ok;
}

void ReleaseFileBytes(const FileBytes& file, const char* from, const char* to) {
    if (!file.mapped || to <= from) return;
    const uintptr_t page = uintptr_t(::sysconf(_SC_PAGESIZE));
    const uintptr_t first = (uintptr_t(from) + page - 1) / page * page;
    const uintptr_t last = uintptr_t(to) / page * page;
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
}

}  // namespace tv
