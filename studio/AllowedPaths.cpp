#include "studio/AllowedPaths.h"

#include "studio/StudioError.h"

namespace tv::studio {

namespace fs = std::filesystem;

namespace {

fs::path Canonical(const fs::path& p) {
    std::error_code ec;
    fs::path c = fs::weakly_canonical(fs::absolute(p, ec), ec);
    if (ec) c = fs::absolute(p).lexically_normal();
    return c;
}

}  // namespace

bool PathWithin(const fs::path& path, const fs::path& root) {
    auto p = path.begin();
    for (auto r = root.begin(); r != root.end(); ++r, ++p) {
        if (r->empty()) continue;  // a trailing separator
        if (p == path.end() || *p != *r) return false;
    }
    return true;
}

AllowedPaths::AllowedPaths(const std::string& document, const std::vector<std::string>& allowDirs) {
    const fs::path folder =
        document.empty() ? fs::current_path() : fs::path(document).parent_path();
    base_ = Canonical(folder.empty() ? fs::current_path() : folder);
    roots_.push_back(base_);
    for (const std::string& d : allowDirs) roots_.push_back(Canonical(d));
}

bool AllowedPaths::inside(const fs::path& resolved) const {
    for (const fs::path& root : roots_)
        if (PathWithin(resolved, root)) return true;
    return false;
}

fs::path AllowedPaths::resolve(const std::string& path) const {
    if (path.empty()) throw StudioError(400, "no file named");
    if (path.find('\0') != std::string::npos || path.find('\n') != std::string::npos)
        throw StudioError(400, "a file name holds a control character");
    const fs::path given(path);
    const fs::path resolved = Canonical(given.is_absolute() ? given : base_ / given);
    if (!inside(resolved))
        throw StudioError(403, "\"" + path + "\" lies outside the document's folder" +
                                   (roots_.size() > 1 ? " and the allowed folders" : "") +
                                   " (start the studio with --allow-dir to allow another)");
    return resolved;
}

}  // namespace tv::studio
