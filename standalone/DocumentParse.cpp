#include "standalone/DocumentParse.h"

#include <set>
#include <vector>

#include "standalone/Document.h"

namespace tv::standalone {

using nlohmann::json;

namespace {

// No document needs more than a dozen levels; far deeper ones are refused while parsing, before
// anything walks them recursively (printing, copying) and runs out of stack.
constexpr size_t kMaxNesting = 128;

// One open object or array while the parser walks. The JSON path that names it is the shared
// path string up to `pathEnd`, so a deep document costs time in proportion to its depth, not
// its depth squared.
struct Open {
    bool array = false;
    size_t index = 0;  // arrays: the next element's index
    size_t pathEnd = 0;
    std::string key;  // objects: the key whose value comes next
    std::set<std::string> keys;
};

// The parser's events: the value is built by the library's own builder, while the walk keeps
// the path of each container for the errors and finds keys given twice. (The builder that takes
// a callback looks through the parent's elements each time an object ends, which is quadratic in
// a long list of objects; this one is linear.)
class CheckingBuilder {
  public:
    CheckingBuilder(json& result, const std::string& file) : dom_(result), file_(file) {}

    bool null() { return value(dom_.null()); }
    bool boolean(bool v) { return value(dom_.boolean(v)); }
    bool number_integer(json::number_integer_t v) { return value(dom_.number_integer(v)); }
    bool number_unsigned(json::number_unsigned_t v) { return value(dom_.number_unsigned(v)); }
    bool number_float(json::number_float_t v, const std::string& s) {
        return value(dom_.number_float(v, s));
    }
    bool string(std::string& v) { return value(dom_.string(v)); }
    bool binary(json::binary_t& v) { return value(dom_.binary(v)); }
    bool start_object(std::size_t n) {
        enter(false);
        return dom_.start_object(n);
    }
    bool key(std::string& k) {
        Open& o = open_.back();
        o.key = k;
        if (!o.keys.insert(k).second && repeated.empty()) {
            repeated = k;
            repeatedPath = path_.substr(0, o.pathEnd) + "." + k;
        }
        return dom_.key(k);
    }
    bool end_object() {
        open_.pop_back();
        return value(dom_.end_object());
    }
    bool start_array(std::size_t n) {
        enter(true);
        return dom_.start_array(n);
    }
    bool end_array() {
        open_.pop_back();
        return value(dom_.end_array());
    }
    bool parse_error(std::size_t position, const std::string& token,
                     const nlohmann::detail::exception& e) {
        return dom_.parse_error(position, token, e);
    }

    std::string repeated, repeatedPath;

  private:
    // A value ended: the next element of an array has the next index.
    bool value(bool ok) {
        if (!open_.empty() && open_.back().array) ++open_.back().index;
        return ok;
    }
    // A container starts: `path_` names it, from the innermost open container.
    void enter(bool array) {
        if (!open_.empty()) {
            const Open& p = open_.back();
            path_.resize(p.pathEnd);
            if (p.array)
                path_.append("[").append(std::to_string(p.index)).append("]");
            else
                path_.append(".").append(p.key);
        }
        if (open_.size() >= kMaxNesting)
            throw DocumentError(file_, path_,
                                "values are nested more than " + std::to_string(kMaxNesting) +
                                    " levels deep here; no document needs that many");
        Open o;
        o.array = array;
        o.pathEnd = path_.size();
        open_.push_back(std::move(o));
    }

    nlohmann::detail::json_sax_dom_parser<json> dom_;
    const std::string& file_;
    std::vector<Open> open_;
    std::string path_ = "$";
};

}  // namespace

json ParseDocumentJson(const std::string& text, const std::string& file) {
    json doc;
    CheckingBuilder builder(doc, file);
    try {
        json::sax_parse(text, &builder);
    } catch (const json::exception& e) {
        // The library's tag ("[json.exception.parse_error.101] ") means nothing to a reader.
        std::string what = e.what();
        if (what.rfind("[json.exception.", 0) == 0)
            if (const size_t end = what.find("] "); end != std::string::npos)
                what.erase(0, end + 2);
        throw DocumentError(file, "", "not valid JSON: " + what);
    }
    if (!builder.repeated.empty())
        throw DocumentError(
            file, builder.repeatedPath,
            "the key \"" + builder.repeated + "\" is given twice in this object; keep one");
    return doc;
}

}  // namespace tv::standalone
