#include "standalone/DocumentParse.h"

#include <set>
#include <vector>

#include "standalone/Document.h"

namespace tv::standalone {

using nlohmann::json;

namespace {

// One open object or array while the parser walks, with the JSON path that names it.
struct Open {
    bool array = false;
    size_t index = 0;  // arrays: the next element's index
    std::string path;
    std::string key;  // objects: the key whose value comes next
    std::set<std::string> keys;
};

}  // namespace

json ParseDocumentJson(const std::string& text, const std::string& file) {
    std::vector<Open> open;
    std::string repeated, repeatedPath;
    auto childPath = [&]() {
        if (open.empty()) return std::string("$");
        const Open& p = open.back();
        return p.array ? p.path + "[" + std::to_string(p.index) + "]" : p.path + "." + p.key;
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
                o.path = childPath();
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
                    repeatedPath = o.path + "." + o.key;
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
