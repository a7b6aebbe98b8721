#include "standalone/DocumentParse.h"

#include <set>
#include <vector>

#include "standalone/Document.h"

namespace tv::standalone {

using nlohmann::json;

namespace {

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

// No document needs more than a dozen levels; far deeper ones are refused while parsing, before
// anything walks them recursively (printing, copying) and runs out of stack.
constexpr size_t kMaxNesting = 128;

}  // namespace

json ParseDocumentJson(const std::string& text, const std::string& file) {
    std::vector<Open> open;
    std::string path = "$";
    std::string repeated, repeatedPath;
    // Extends `path` from the innermost open container to the value that starts next.
    auto enterChild = [&]() {
        if (open.empty()) return;
        const Open& p = open.back();
        path.resize(p.pathEnd);
        if (p.array)
            path.append("[").append(std::to_string(p.index)).append("]");
        else
            path.append(".").append(p.key);
    };
    auto finishValue = [&]() {
        if (!open.empty() && open.back().array) ++open.back().index;
    };
    const json::parser_callback_t check = [&](int, json::parse_event_t event, json& parsed) {
        switch (event) {
            case json::parse_event_t::object_start:
            case json::parse_event_t::array_start: {
                Open o;
                o.array = event == json::parse_event_t::array_start;
                enterChild();
                if (open.size() >= kMaxNesting)
                    throw DocumentError(file, path,
                                        "values are nested more than " +
                                            std::to_string(kMaxNesting) +
                                            " levels deep here; no document needs that many");
                o.pathEnd = path.size();
                open.push_back(std::move(o));
                break;
            }
            case json::parse_event_t::object_end:
            case json::parse_event_t::array_end:
                if (!open.empty()) open.pop_back();
                finishValue();
                break;
            case json::parse_event_t::key: {
                Open& o = open.back();
                o.key = parsed.get<std::string>();
                if (!o.keys.insert(o.key).second && repeated.empty()) {
                    repeated = o.key;
                    repeatedPath = path.substr(0, o.pathEnd) + "." + o.key;
                }
                break;
            }
            case json::parse_event_t::value:
                finishValue();
                break;
        }
        return true;
    };
    json doc;
    try {
        doc = json::parse(text, check);
    } catch (const json::exception& e) {
        // The library's tag ("[json.exception.parse_error.101] ") means nothing to a reader.
        std::string what = e.what();
        if (what.rfind("[json.exception.", 0) == 0)
            if (const size_t end = what.find("] "); end != std::string::npos)
                what.erase(0, end + 2);
        throw DocumentError(file, "", "not valid JSON: " + what);
    }
    if (!repeated.empty())
        throw DocumentError(file, repeatedPath,
                            "the key \"" + repeated + "\" is given twice in this object; keep one");
    return doc;
}

}  // namespace tv::standalone
