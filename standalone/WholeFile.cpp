#include "standalone/WholeFile.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

namespace tv::standalone {

std::string TemporaryFrameName(const std::string& fileName, long pid, int serial) {
    std::string name(".");
    name.append(fileName)
        .append(".tmp")
        .append(std::to_string(pid))
        .append("_")
        .append(std::to_string(serial));
    return name;
}

size_t RemoveStaleTemporaries(const std::string& framePath) {
    namespace fs = std::filesystem;
    const fs::path target(framePath);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    // Built by appends: GCC 12 warns falsely about "." + name + ".tmp" (-Wrestrict).
    std::string prefix(".");
    prefix.append(target.filename().string()).append(".tmp");
    std::error_code ec;
    fs::directory_iterator it(folder, ec), end;
    size_t removed = 0;
    for (; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.rfind(prefix, 0) != 0) continue;
        // "<pid>_<n>" after the prefix, digits only; anything else is not ours.
        const std::string rest = name.substr(prefix.size());
        const size_t bar = rest.find('_');
        if (bar == 0 || bar == std::string::npos || bar > 9 || bar + 1 == rest.size() ||
            rest.find_first_not_of("0123456789_") != std::string::npos ||
            rest.find('_', bar + 1) != std::string::npos)
            continue;
        const long pid = std::stol(rest.substr(0, bar));
        // A process of that number still running may be writing it (on this machine).
        if (pid == long(getpid()) || (kill(pid_t(pid), 0) == 0 || errno == EPERM)) continue;
        std::error_code rmError;
        if (fs::remove(it->path(), rmError)) ++removed;
    }
    return removed;
}

void WriteWholeFile(const std::string& path,
                    const std::function<void(const std::string& temporary)>& write,
                    const std::string& suffix, const std::string& renameError) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    if (target.has_parent_path()) {
        std::error_code ec;
        fs::create_directories(target.parent_path(), ec);
        if (ec)
            throw std::runtime_error("cannot create the folder " + target.parent_path().string() +
                                     ": " + ec.message());
    }
    static std::atomic<int> counter{0};
    // A hidden name beside the target, unique per process and write.
    const fs::path temp =
        target.parent_path() /
        (TemporaryFrameName(target.filename().string(), getpid(), counter++) + suffix);
    try {
        write(temp.string());
    } catch (...) {
        std::error_code ec;
        fs::remove(temp, ec);
        throw;
    }
    std::error_code ec;
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        throw std::runtime_error(renameError + path + ": " + ec.message());
    }
}

}  // namespace tv::standalone
