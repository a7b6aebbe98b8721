// The files the studio may read and write: the opened document, and what lies inside its folder
// or a folder given with --allow-dir. Paths are resolved with their links followed, so neither
// "..", an absolute path nor a link inside the folder leads out of it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tv::studio {

class AllowedPaths {
  public:
    // `document` may be empty (a new document: the current folder is its folder).
    AllowedPaths(const std::string& document, const std::vector<std::string>& allowDirs);

    // A path the page names, relative to the document's folder or absolute, resolved; throws
    // StudioError 403 when it lies outside every allowed folder.
    std::filesystem::path resolve(const std::string& path) const;
    bool inside(const std::filesystem::path& resolved) const;
    // The document's folder, where relative paths start.
    const std::filesystem::path& base() const { return base_; }
    // Follows a Save As: the document's new folder becomes the base (it was allowed already).
    void setBase(const std::filesystem::path& folder) { base_ = folder; }
    const std::vector<std::filesystem::path>& roots() const { return roots_; }

  private:
    std::filesystem::path base_;
    std::vector<std::filesystem::path> roots_;
};

// Whether `path` is `root` or lies under it, comparing whole components.
bool PathWithin(const std::filesystem::path& path, const std::filesystem::path& root);

}  // namespace tv::studio
