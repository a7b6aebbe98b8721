// A small validator of the JSON Schema keywords the published schemas in docs/schema use, for
// the tests that check documents and command output against them.
#pragma once

#include <nlohmann/json.hpp>

#include <regex>
#include <stdexcept>
#include <string>

namespace tv::test {

using nlohmann::json;

// The keywords the published schemas use: type (one or a list), const, enum, minimum, maximum,
// pattern, required, properties, patternProperties, additionalProperties (false), items,
// minItems, maxItems, anyOf and local $ref.
class SchemaCheck {
  public:
    explicit SchemaCheck(json root) : root_(std::move(root)) {}

    // Empty when the document fits; otherwise the first misfit found, with its JSON path.
    std::string Check(const json& doc) const { return Check(root_, doc, "$"); }

  private:
    static bool HasType(const json& v, const std::string& t) {
        if (t == "object") return v.is_object();
        if (t == "array") return v.is_array();
        if (t == "string") return v.is_string();
        if (t == "boolean") return v.is_boolean();
        if (t == "null") return v.is_null();
        if (t == "integer") return v.is_number_integer();
        if (t == "number") return v.is_number();
        return false;
    }

    const json& Resolve(const std::string& ref) const {
        // Only "#/$defs/name" references are used.
        const std::string prefix = "#/$defs/";
        if (ref.rfind(prefix, 0) != 0) throw std::runtime_error("unsupported $ref " + ref);
        return root_.at("$defs").at(ref.substr(prefix.size()));
    }

    std::string Check(const json& s, const json& v, const std::string& at) const {
        if (s.contains("$ref")) return Check(Resolve(s["$ref"]), v, at);
        if (s.contains("anyOf")) {
            std::string why;
            for (const json& branch : s["anyOf"]) {
                const std::string e = Check(branch, v, at);
                if (e.empty()) return "";
                why += (why.empty() ? "" : " | ") + e;
            }
            return at + ": fits no branch (" + why + ")";
        }
        if (s.contains("type")) {
            bool fits = false;
            if (s["type"].is_array()) {
                for (const json& t : s["type"]) fits = fits || HasType(v, t);
            } else {
                fits = HasType(v, s["type"]);
            }
            if (!fits) return at + ": not of type " + s["type"].dump();
        }
        if (s.contains("const") && v != s["const"]) return at + ": is not " + s["const"].dump();
        if (s.contains("enum")) {
            bool listed = false;
            for (const json& e : s["enum"]) listed = listed || e == v;
            if (!listed) return at + ": " + v.dump() + " is not one of " + s["enum"].dump();
        }
        if (s.contains("minimum") && v.is_number() && v.get<double>() < s["minimum"].get<double>())
            return at + ": below " + s["minimum"].dump();
        if (s.contains("maximum") && v.is_number() && v.get<double>() > s["maximum"].get<double>())
            return at + ": above " + s["maximum"].dump();
        if (s.contains("pattern") && v.is_string() &&
            !std::regex_search(v.get<std::string>(), std::regex(s["pattern"].get<std::string>())))
            return at + ": does not match " + s["pattern"].dump();
        if (v.is_object()) {
            for (const json& key : s.value("required", json::array()))
                if (!v.contains(key.get<std::string>())) return at + ": lacks " + key.dump();
            const json props = s.value("properties", json::object());
            const json patterns = s.value("patternProperties", json::object());
            for (auto it = v.begin(); it != v.end(); ++it) {
                bool matched = false;
                for (auto p = patterns.begin(); p != patterns.end(); ++p)
                    if (std::regex_search(it.key(), std::regex(p.key()))) {
                        matched = true;
                        const std::string e = Check(p.value(), it.value(), at + "." + it.key());
                        if (!e.empty()) return e;
                    }
                if (props.contains(it.key())) {
                    const std::string e = Check(props[it.key()], it.value(), at + "." + it.key());
                    if (!e.empty()) return e;
                } else if (!matched && s.contains("additionalProperties") &&
                           !s["additionalProperties"]) {
                    return at + ": unexpected key \"" + it.key() + "\"";
                }
            }
        }
        if (v.is_array() && v.size() < s.value("minItems", size_t(0)))
            return at + ": fewer than " + s["minItems"].dump() + " items";
        if (v.is_array() && s.contains("maxItems") && v.size() > s["maxItems"].get<size_t>())
            return at + ": more than " + s["maxItems"].dump() + " items";
        if (v.is_array() && s.contains("items")) {
            for (size_t i = 0; i < v.size(); ++i) {
                const std::string e = Check(s["items"], v[i], at + "[" + std::to_string(i) + "]");
                if (!e.empty()) return e;
            }
        }
        return "";
    }

    json root_;
};

}  // namespace tv::test
