// The shared value readers of documents: numbers in their range, whole numbers, switches, texts,
// colours, keyframes and files, each failing with the JSON path of the value it read.
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>

#include "standalone/DocumentRead.h"

namespace tv::standalone {

namespace {

size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t prev = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t cur = row[j];
            const bool same = std::tolower(a[i - 1]) == std::tolower(b[j - 1]);
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, prev + (same ? 0 : 1)});
            prev = cur;
        }
    }
    return row[b.size()];
}

// The edit distance from `a` to the part of `b` nearest to it: skipping the start and the end of
// `b` costs nothing.
size_t DistanceWithin(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1, 0);
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t prev = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t cur = row[j];
            const bool same = std::tolower(a[i - 1]) == std::tolower(b[j - 1]);
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, prev + (same ? 0 : 1)});
            prev = cur;
        }
    }
    return *std::min_element(row.begin(), row.end());
}

// Names as a suggestion shows them: a long name is cut, with its length.
std::string ShownName(const std::string& name) {
    constexpr size_t kLongest = 80;
    if (name.size() <= kLongest) return name;
    size_t cut = kLongest;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    return name.substr(0, cut) + "... (" + std::to_string(name.size()) + " bytes)";
}

}  // namespace

std::string NearestNames(const std::string& name, const std::vector<std::string>& candidates,
                         bool withinNames) {
    if (candidates.empty()) return "nothing is valid here";
    std::vector<std::pair<size_t, std::string>> scored;
    // The distance is quadratic in the names' lengths: compare their beginnings only, which is
    // all a typo needs, so that a name of 150,000 characters costs no more than a short one.
    constexpr size_t kCompared = 256;
    const std::string head = name.substr(0, kCompared);
    for (const auto& c : candidates) {
        const std::string part = c.substr(0, kCompared);
        size_t score = EditDistance(head, part);
        // Twice the distance, one more for a match within: a whole name wins a tie.
        if (withinNames) score = std::min(2 * score, 2 * DistanceWithin(head, part) + 1);
        scored.push_back({score, c});
    }
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string out = "did you mean \"" + ShownName(scored[0].second) + "\"?";
    if (candidates.size() <= 12) {
        out += " Valid: ";
        for (size_t i = 0; i < candidates.size(); ++i)
            out += (i ? ", \"" : "\"") + ShownName(candidates[i]) + "\"";
    }
    return out;
}

namespace docread {

std::string Excerpt(const json& v) {
    constexpr size_t kLongest = 60;  // characters of a string shown
    constexpr size_t kItems = 4;     // items of an array or keys of an object shown
    const auto scalar = [&](const json& x) -> std::string {
        if (x.is_array()) return x.empty() ? "[]" : "[...]";
        if (x.is_object()) return x.empty() ? "{}" : "{...}";
        if (!x.is_string()) return x.dump();
        const auto& s = x.get_ref<const std::string&>();
        if (s.size() <= kLongest) return json(s).dump();
        // Cut at a character boundary so that the excerpt stays valid UTF-8.
        size_t cut = kLongest;
        while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) --cut;
        return json(s.substr(0, cut)).dump() + "... (" + std::to_string(s.size()) + " bytes)";
    };
    if (!v.is_structured()) return scalar(v);
    std::string out(v.is_array() ? "[" : "{");
    size_t shown = 0;
    for (auto it = v.begin(); it != v.end() && shown < kItems; ++it, ++shown) {
        if (shown) out += ", ";
        if (v.is_object()) out += scalar(json(it.key())) + ": ";
        out += scalar(*it);
    }
    if (v.size() > kItems)
        out += ", ... (" + std::to_string(v.size()) + (v.is_array() ? " values)" : " keys)");
    out += v.is_array() ? "]" : "}";
    return out;
}

std::string Plain(double d) {
    if (d == std::floor(d) && std::fabs(d) < 1e15) return std::to_string(int64_t(d));
    std::ostringstream s;
    s << d;
    return s.str();
}

void Reader::fail(const std::string& path, const std::string& message) const {
    throw DocumentError(file, path, message);
}

void Reader::checkKeys(const json& object, const std::string& path,
                       const std::vector<std::string>& allowed) const {
    if (!object.is_object())
        fail(path, "expected an object {...}, found " + std::string(object.type_name()));
    for (const auto& [key, value] : object.items()) {
        if (std::find(allowed.begin(), allowed.end(), key) != allowed.end()) continue;
        fail(path + "." + key, "unknown key \"" + key + "\"; " + NearestNames(key, allowed));
    }
}

double Reader::number(const json& v, const std::string& path, double lo, double hi) const {
    if (!v.is_number()) fail(path, "expected a number, found " + std::string(v.type_name()));
    const double d = v.get<double>();
    if (!std::isfinite(d) || d < lo || d > hi) {
        fail(path, "value " + Excerpt(v) + " is outside the valid range " + Plain(lo) + " to " +
                       Plain(hi));
    }
    return d;
}

int32_t Reader::integer(const json& v, const std::string& path, double lo, double hi) const {
    const double d = number(v, path, lo, hi);
    if (d != std::floor(d)) fail(path, "expected a whole number, found " + Excerpt(v));
    return int32_t(d);
}

bool Reader::boolean(const json& v, const std::string& path) const {
    if (!v.is_boolean()) fail(path, "expected true or false, found " + Excerpt(v));
    return v.get<bool>();
}

std::string Reader::text(const json& v, const std::string& path) const {
    if (!v.is_string()) fail(path, "expected a string, found " + Excerpt(v));
    return v.get<std::string>();
}

void Reader::color(const json& v, const std::string& path, float out[3]) const {
    if (v.is_string()) {
        const std::string s = v.get<std::string>();
        if (s.size() == 7 && s[0] == '#' &&
            s.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos) {
            for (int i = 0; i < 3; ++i)
                out[i] = std::stoi(s.substr(size_t(1 + 2 * i), 2), nullptr, 16) / 255.0f;
            return;
        }
    } else if (v.is_array() && v.size() == 3) {
        for (size_t i = 0; i < 3; ++i)
            out[i] = float(number(v[i], path + "[" + std::to_string(i) + "]", 0, 1));
        return;
    }
    fail(path, "expected a colour as \"#rrggbb\" or [r, g, b] with components 0 to 1, found " +
                   Excerpt(v));
}

void Reader::colorAlpha(const json& v, const std::string& path, float out[3], float& alpha) const {
    const bool hexAlpha = v.is_string() && v.get<std::string>().size() == 9;
    if (hexAlpha) {
        const std::string s = v.get<std::string>();
        if (s[0] == '#' && s.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos) {
            for (int i = 0; i < 3; ++i)
                out[i] = std::stoi(s.substr(size_t(1 + 2 * i), 2), nullptr, 16) / 255.0f;
            alpha = std::stoi(s.substr(7, 2), nullptr, 16) / 255.0f;
            return;
        }
    } else if (v.is_array() && v.size() == 4) {
        for (size_t i = 0; i < 3; ++i)
            out[i] = float(number(v[i], path + "[" + std::to_string(i) + "]", 0, 1));
        alpha = float(number(v[3], path + "[3]", 0, 1));
        return;
    } else if ((v.is_string() && v.get<std::string>().size() == 7) ||
               (v.is_array() && v.size() == 3)) {
        color(v, path, out);
        return;
    }
    fail(path,
         "expected a colour as \"#rrggbb\", \"#rrggbbaa\", [r, g, b] or [r, g, b, a] with "
         "components 0 to 1, found " +
             v.dump());
}

Key ReadKeyTiming(const Reader& r, const json& k, const std::string& kpath,
                  const std::vector<Key>& before) {
    r.checkKeys(k, kpath,
                {"t", "v", "interp", "speedIn", "influenceIn", "speedOut", "influenceOut"});
    if (!k.contains("t") || !k.contains("v"))
        r.fail(kpath, "a key needs \"t\" (seconds) and \"v\" (its value)");
    Key key;
    key.t = r.number(k["t"], kpath + ".t", -1e6, 1e6);
    if (!before.empty() && key.t <= before.back().t)
        r.fail(kpath + ".t", "keys must be in increasing time; the key before is at " +
                                 Plain(before.back().t) + " s");
    const std::string interp =
        k.contains("interp") ? r.text(k["interp"], kpath + ".interp") : "linear";
    if (interp == "hold")
        key.interp = Interp::Hold;
    else if (interp == "bezier")
        key.interp = Interp::Bezier;
    else if (interp != "linear")
        r.fail(kpath + ".interp", "\"" + interp + "\" is not an interpolation; " +
                                      NearestNames(interp, {"linear", "hold", "bezier"}));
    if (k.contains("speedIn")) key.speedIn = r.number(k["speedIn"], kpath + ".speedIn", -1e9, 1e9);
    if (k.contains("speedOut"))
        key.speedOut = r.number(k["speedOut"], kpath + ".speedOut", -1e9, 1e9);
    if (k.contains("influenceIn"))
        key.influenceIn = r.number(k["influenceIn"], kpath + ".influenceIn", 0.1, 100) / 100.0;
    if (k.contains("influenceOut"))
        key.influenceOut = r.number(k["influenceOut"], kpath + ".influenceOut", 0.1, 100) / 100.0;
    return key;
}

const json& KeyList(const Reader& r, const json& v, const std::string& path) {
    r.checkKeys(v, path, {"keys"});
    if (!v.contains("keys") || !v["keys"].is_array() || v["keys"].empty())
        r.fail(path,
               "expected {\"keys\": [{\"t\": seconds, \"v\": value}, ...]} with at least one key");
    return v["keys"];
}

void ReadAnimated(const Reader& r, const json& v, const std::string& path, int n, double lo,
                  double hi, AnimatedValue& out) {
    auto numbers = [&](const json& x, const std::string& p) {
        std::array<double, 4> a{};
        if (n == 1 && x.is_number()) {
            a[0] = r.number(x, p, lo, hi);
            return a;
        }
        if (!x.is_array() || int(x.size()) != n)
            r.fail(p, n == 1 ? "expected a number, found " + Excerpt(x)
                             : "expected a list of " + std::to_string(n) + " numbers, found " +
                                   Excerpt(x));
        for (int i = 0; i < n; ++i)
            a[size_t(i)] = r.number(x[size_t(i)], p + "[" + std::to_string(i) + "]", lo, hi);
        return a;
    };
    if (!v.is_object()) {
        out.value = numbers(v, path);
        return;
    }
    const json& list = KeyList(r, v, path);
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string kpath = path + ".keys[" + std::to_string(i) + "]";
        Key key = ReadKeyTiming(r, list[i], kpath, out.keys);
        key.v = numbers(list[i]["v"], kpath + ".v");
        out.keys.push_back(key);
    }
    out.value = out.keys.front().v;
}

void ReadAnimated23(const Reader& r, const json& v, const std::string& path, bool is3D, double lo,
                    double hi, double third, AnimatedValue& out) {
    auto width = [&](const json& x) { return x.is_array() ? int(x.size()) : 0; };
    int n = 2;
    if (is3D) {
        const json& sample = v.is_object() && v.contains("keys") && v["keys"].is_array() &&
                                     !v["keys"].empty() && v["keys"][0].is_object() &&
                                     v["keys"][0].contains("v")
                                 ? v["keys"][0]["v"]
                                 : v;
        n = width(sample) == 3 ? 3 : 2;
    }
    ReadAnimated(r, v, path, n, lo, hi, out);
    if (n == 2) {
        out.value[2] = third;
        for (Key& k : out.keys) k.v[2] = third;
    }
}

std::string ExistingFile(const Reader& r, const json& v, const std::string& path) {
    namespace fs = std::filesystem;
    const std::string given = r.text(v, path);
    const fs::path file = r.base / given;
    // Error codes, not exceptions: a name the system refuses (too long, say) is a missing file.
    std::error_code ec;
    const fs::file_status status = fs::status(file, ec);
    if (!fs::exists(status)) r.fail(path, "no such file: " + file.string());
    const char* kind = fs::is_directory(status)        ? "a folder"
                       : fs::is_fifo(status)           ? "a named pipe (FIFO)"
                       : fs::is_character_file(status) ? "a character device"
                       : fs::is_block_file(status)     ? "a block device"
                       : fs::is_socket(status)         ? "a socket"
                       : fs::is_regular_file(status)   ? nullptr
                                                       : "not a regular file";
    if (kind) r.fail(path, file.string() + " is " + kind + ", not a file");
    // The kernel's own files (/proc, /sys) say they are regular and empty, and read without
    // end: they are never footage.
    struct statfs where {};
    if (::statfs(file.c_str(), &where) == 0 &&
        (where.f_type == PROC_SUPER_MAGIC || where.f_type == SYSFS_MAGIC))
        r.fail(path, file.string() + " is a file of the kernel's " +
                         (where.f_type == PROC_SUPER_MAGIC ? "/proc" : "/sys") +
                         " file system, not a file a document can use");
    const fs::path absolute = fs::absolute(file, ec);
    return (ec ? file : absolute).lexically_normal().string();
}

}  // namespace docread

}  // namespace tv::standalone
