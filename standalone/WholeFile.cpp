#include "standalone/WholeFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "host/FileBytes.h"

namespace tv::standalone {

namespace fs = std::filesystem;

namespace {

// The longest file name the common file systems take, in bytes.
constexpr size_t kNameMax = 255;

// ".NAME.tmp" with NAME cut so that the prefix and a "<pid>_<n>" of up to 21 digits fit.
std::string TemporaryPrefix(const std::string& fileName) {
    const size_t room = kNameMax - std::string(".").size() - std::string(".tmp").size() - 21;
    std::string prefix(".");
    prefix.append(fileName, 0, std::min(fileName.size(), room)).append(".tmp");
    return prefix;
}

// The process number in a temporary's name after its prefix ("<pid>_<n>", digits only), or -1
// when the rest is not of that form (not ours).
long TemporaryOwner(const std::string& rest) {
    const size_t bar = rest.find('_');
    if (bar == 0 || bar == std::string::npos || bar > 9 || bar + 1 == rest.size() ||
        rest.find_first_not_of("0123456789_") != std::string::npos ||
        rest.find('_', bar + 1) != std::string::npos)
        return -1;
    return std::stol(rest.substr(0, bar));
}

bool ProcessIsRunning(long pid) {
    return pid == long(getpid()) || kill(pid_t(pid), 0) == 0 || errno == EPERM;
}

// The name of the file written inside the private folder: short, whatever the target's name,
// and ending as the target does so that writers that pick a format by extension still can.
std::string InnerName(const fs::path& target, const std::string& suffix) {
    if (!suffix.empty()) return "w" + suffix;
    const std::string extension = target.extension().string();
    return extension.size() <= 16 ? "w" + extension : "w";
}

std::string SystemReason(int error) {
    return std::strerror(error);
}

}  // namespace

std::string TemporaryFrameName(const std::string& fileName, long pid, int serial) {
    return TemporaryPrefix(fileName) + std::to_string(pid) + "_" + std::to_string(serial);
}

size_t RemoveStaleTemporaries(const std::vector<std::string>& filePaths) {
    // The prefixes wanted in each folder, so that each folder is listed once.
    std::map<fs::path, std::vector<std::string>> prefixes;
    for (const std::string& file : filePaths) {
        const fs::path target(file);
        const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
        prefixes[folder].push_back(TemporaryPrefix(target.filename().string()));
    }
    size_t removed = 0;
    for (auto& [folder, wanted] : prefixes) {
        std::sort(wanted.begin(), wanted.end());
        std::error_code ec;
        fs::directory_iterator it(folder, ec), end;
        for (; !ec && it != end; it.increment(ec)) {
            const std::string name = it->path().filename().string();
            // The prefix ends at the last ".tmp"; the rest must be "<pid>_<n>".
            const size_t tmp = name.rfind(".tmp");
            if (name.empty() || name[0] != '.' || tmp == std::string::npos) continue;
            const std::string prefix = name.substr(0, tmp + 4);
            if (!std::binary_search(wanted.begin(), wanted.end(), prefix)) continue;
            const long pid = TemporaryOwner(name.substr(tmp + 4));
            if (pid < 0 || ProcessIsRunning(pid)) continue;
            std::error_code kindError, rmError;
            const fs::file_status kind = fs::symlink_status(it->path(), kindError);
            if (kindError) continue;
            if (fs::is_directory(kind))
                removed += fs::remove_all(it->path(), rmError) > 0 && !rmError;
            else if (fs::is_regular_file(kind) || fs::is_symlink(kind))
                removed += fs::remove(it->path(), rmError);
        }
    }
    return removed;
}

size_t RemoveStaleTemporaries(const std::string& filePath) {
    return RemoveStaleTemporaries(std::vector<std::string>{filePath});
}

PrivateFolderBeside::PrivateFolderBeside(const std::string& target, const std::string& renameError)
    : target_(target), renameError_(renameError) {
    const fs::path file(target);
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    if (file.has_parent_path()) {
        std::error_code ec;
        fs::create_directories(folder, ec);
        if (ec)
            throw std::runtime_error("cannot write " + target + ": cannot make its folder " +
                                     folder.string() + " (" + ec.message() + ")");
    }
    // Only a regular file (or a link, which is replaced) is ever replaced: a device, a pipe, a
    // socket or a folder standing at the target is refused, never swapped for a file.
    struct stat standing {};
    if (::lstat(file.c_str(), &standing) == 0 && !S_ISREG(standing.st_mode) &&
        !S_ISLNK(standing.st_mode))
        throw std::runtime_error(renameError + target + ": it is " +
                                 FileKindName(standing.st_mode) +
                                 ", not a file; name a file to write");
    static std::atomic<int> counter{0};
    // mkdir fails on any name already standing, a link included, so the folder is ours alone.
    for (int attempt = 0;; ++attempt) {
        const fs::path candidate =
            folder / TemporaryFrameName(file.filename().string(), getpid(), counter++);
        if (mkdir(candidate.c_str(), 0700) == 0) {
            path_ = candidate.string();
            break;
        }
        const int error = errno;
        if (error != EEXIST || attempt == 1000)
            throw std::runtime_error(renameError + target + ": cannot make a temporary folder in " +
                                     folder.string() + ": " + SystemReason(error));
    }
}

PrivateFolderBeside::~PrivateFolderBeside() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void PrivateFolderBeside::publish(const std::string& inner) const {
    // rename() replaces a link standing at the target; it never writes through it.
    if (::rename(inner.c_str(), target_.c_str()) != 0)
        throw std::runtime_error(renameError_ + target_ + ": " + SystemReason(errno));
}

void WriteWholeFile(const std::string& path,
                    const std::function<void(const std::string& temporary)>& write,
                    const std::string& suffix, const std::string& renameError) {
    const PrivateFolderBeside folder(path, renameError);
    const fs::path temp = fs::path(folder.path()) / InnerName(fs::path(path), suffix);
    write(temp.string());
    folder.publish(temp.string());
}

void WriteTextWhole(const std::string& path, const std::string& text) {
    // What an earlier write of this file left when it was killed goes first.
    RemoveStaleTemporaries(path);
    WriteWholeFile(path, [&](const std::string& temp) {
        std::ofstream out(temp, std::ios::binary);
        if (!out) throw std::runtime_error("cannot write " + path + ": " + SystemReason(errno));
        out << text;
        out.close();
        if (!out)
            throw std::runtime_error("cannot write " + path + ": " +
                                     (errno ? SystemReason(errno) : "the write failed"));
    });
}

PrivateTemporaryFolder::PrivateTemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "tavrin-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("cannot make a private temporary folder under " +
                                 fs::temp_directory_path().string() + ": " + SystemReason(errno));
    path_ = pattern;
}

PrivateTemporaryFolder::~PrivateTemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

}  // namespace tv::standalone
