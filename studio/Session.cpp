#include "studio/Session.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <tuple>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "standalone/CompCamera.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "standalone/SvgExport.h"
#include "standalone/WholeFile.h"
#include "studio/DocumentEdits.h"
#include "studio/EffectWrites.h"
#include "studio/GeometryJson.h"
#include "studio/PngEncode.h"
#include "studio/SessionModel.h"
#include "studio/StudioError.h"

namespace tv::studio {

namespace fs = std::filesystem;

namespace {

// Frames kept per document version, as PNG: enough for a few seconds at 1280x720.
constexpr size_t kFrameCacheBytes = size_t(512) << 20;
// States kept for undo.
constexpr size_t kUndoDepth = 1000;

std::atomic<uint64_t> gVersions{1};

// The files a document names, with their JSON paths: footage, audio, fonts, and the answers of
// its dialogs.
void NamedFiles(const Json& doc, std::vector<std::pair<std::string, std::string>>& out) {
    auto add = [&](const Json& object, const char* key, const std::string& path) {
        if (object.is_object() && object.contains(key) && object[key].is_string())
            out.emplace_back(path + "." + key, object[key].get<std::string>());
    };
    if (!doc.is_object() || !doc.contains("comps") || !doc["comps"].is_array()) return;
    for (size_t c = 0; c < doc["comps"].size(); ++c) {
        const Json& comp = doc["comps"][c];
        if (!comp.is_object() || !comp.contains("layers") || !comp["layers"].is_array()) continue;
        for (size_t l = 0; l < comp["layers"].size(); ++l) {
            const Json& layer = comp["layers"][l];
            if (!layer.is_object()) continue;
            const std::string lpath =
                "$.comps[" + std::to_string(c) + "].layers[" + std::to_string(l) + "]";
            for (const char* kind : {"image", "obj", "audio", "text"})
                if (layer.contains(kind)) {
                    add(layer[kind], "file", lpath + "." + kind);
                    add(layer[kind], "sequence", lpath + "." + kind);
                    add(layer[kind], "font", lpath + "." + kind);
                }
            if (!layer.contains("effects") || !layer["effects"].is_array()) continue;
            for (size_t e = 0; e < layer["effects"].size(); ++e) {
                const Json& effect = layer["effects"][e];
                if (!effect.is_object() || !effect.contains("dialogs") ||
                    !effect["dialogs"].is_array())
                    continue;
                for (size_t d = 0; d < effect["dialogs"].size(); ++d) {
                    const Json& dialog = effect["dialogs"][d];
                    if (dialog.is_object() && dialog.contains("answer"))
                        add(dialog["answer"], "file",
                            lpath + ".effects[" + std::to_string(e) + "].dialogs[" +
                                std::to_string(d) + "].answer");
                }
            }
        }
    }
}

std::string ReadText(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

struct Session::Snapshot {
    uint64_t version = 0;
    std::string text;
    std::unique_ptr<standalone::EmbeddedHost> host;  // null when the text does not load
    std::unique_ptr<SessionModel> model;             // reads the host: declared after it
    std::optional<StudioError> problem;
    std::vector<std::string> messages;
    std::mutex hostMutex;  // the host is used by one thread at a time
    std::mutex framesMutex;
    std::map<std::tuple<int32_t, int64_t, int32_t>, std::string> frames;
    size_t frameBytes = 0;
};

Session::Session(const Options& options, const EffectTables& tables)
    : tables_(tables), paths_(options.document, options.allowDirs) {
    std::string text;
    if (!options.document.empty()) {
        document_ = fs::absolute(options.document).lexically_normal().string();
        if (fs::exists(document_)) {
            text = ReadText(document_);
            saved_ = text;
        } else if (!fs::is_directory(fs::path(document_).parent_path())) {
            throw std::runtime_error("cannot open " + options.document +
                                     ": neither the file nor its folder exists");
        }
    }
    if (text.empty() && saved_.empty()) text = EmptyDocument().dump(2) + "\n";
    // The opened document is the user's own: the files it names are theirs to use.
    try {
        std::vector<std::pair<std::string, std::string>> files;
        NamedFiles(Json::parse(text), files);
        for (const auto& [path, file] : files) {
            const fs::path p(file);
            trusted_.insert(fs::weakly_canonical(p.is_absolute() ? p : paths_.base() / p).string());
        }
    } catch (const Json::exception&) {
    }
    current_ = load(text, true);
}

Session::~Session() = default;

std::shared_ptr<Session::Snapshot> Session::current() const {
    std::lock_guard lock(mutex_);
    return current_;
}

std::string Session::documentFile() const {
    std::lock_guard lock(mutex_);
    return document_.empty() ? (paths_.base() / "untitled.json").string() : document_;
}

void Session::checkFiles(const Json& doc) const {
    std::vector<std::pair<std::string, std::string>> files;
    NamedFiles(doc, files);
    for (const auto& [path, file] : files) {
        const fs::path p(file);
        const std::string resolved =
            fs::weakly_canonical(p.is_absolute() ? p : paths_.base() / p).string();
        if (trusted_.count(resolved)) continue;
        if (!paths_.inside(resolved))
            throw StudioError(403,
                              "\"" + file +
                                  "\" lies outside the document's folder (start the studio "
                                  "with --allow-dir to allow another)",
                              path);
    }
}

std::shared_ptr<Session::Snapshot> Session::load(const std::string& text, bool keepProblem) {
    auto s = std::make_shared<Snapshot>();
    s->version = gVersions++;
    s->text = text;
    try {
        checkFiles(Json::parse(text));
    } catch (const Json::exception&) {
        // Not JSON: the loader says where.
    }
    auto host = std::make_unique<standalone::EmbeddedHost>();
    try {
        standalone::LoadDocumentText(text, documentFile(), *host);
    } catch (const standalone::DocumentError& e) {
        if (!keepProblem) throw StudioError(422, e.message(), e.jsonPath());
        s->problem = StudioError(422, e.message(), e.jsonPath());
        return s;
    } catch (const std::exception& e) {
        if (!keepProblem) throw StudioError(422, e.what());
        s->problem = StudioError(422, e.what());
        return s;
    }
    s->messages = host->takeReports();
    s->host = std::move(host);
    s->model = std::make_unique<SessionModel>(*s->host);
    return s;
}

uint64_t Session::change(std::shared_ptr<Snapshot> next, const std::string& gesture) {
    std::lock_guard lock(mutex_);
    if (gesture.empty() || gesture != gesture_) {
        undo_.push_back(current_->text);
        if (undo_.size() > kUndoDepth) undo_.erase(undo_.begin());
    }
    gesture_ = gesture;
    redo_.clear();
    current_ = std::move(next);
    return current_->version;
}

uint64_t Session::edit(const Json& op) {
    std::lock_guard change(changeMutex_);
    const auto cur = current();
    Json doc;
    try {
        doc = Json::parse(cur->text);
    } catch (const Json::exception&) {
        throw StudioError(409, "the document is not JSON: fix it as text first", "$");
    }
    ApplyEdit(doc, op, tables_);
    auto next = load(doc.dump(2) + "\n", false);
    // A supervised parameter: the effect hears of the change as in a host, and what it writes
    // goes into the document.
    if (op["op"] == "setParam") {
        const Json& effect = doc["comps"][size_t(op["comp"])]["layers"][size_t(op["layer"])]
                                ["effects"][size_t(op["effect"])];
        const auto* fx = tables_.find(effect.value("effect", std::string()));
        const int32_t index = op["param"].get<int32_t>();
        if (fx && fx->params[size_t(index)].flags & PF_ParamFlag_SUPERVISE) {
            if (TakeEffectWrites(doc, *next->host, op))
                next = load(doc.dump(2) + "\n", false);
            else
                next->model = std::make_unique<SessionModel>(*next->host);
        }
    }
    const std::string gesture =
        op.contains("gesture") && op["gesture"].is_string() ? op["gesture"].get<std::string>() : "";
    return this->change(std::move(next), gesture);
}

uint64_t Session::replaceText(const std::string& text) {
    std::lock_guard change(changeMutex_);
    return this->change(load(text, false));
}

uint64_t Session::undo() {
    std::lock_guard change(changeMutex_);
    std::string text;
    {
        std::lock_guard lock(mutex_);
        if (undo_.empty()) throw StudioError(409, "nothing to undo");
        text = undo_.back();
    }
    auto next = load(text, true);
    std::lock_guard lock(mutex_);
    undo_.pop_back();
    redo_.push_back(current_->text);
    gesture_.clear();
    current_ = std::move(next);
    return current_->version;
}

uint64_t Session::redo() {
    std::lock_guard change(changeMutex_);
    std::string text;
    {
        std::lock_guard lock(mutex_);
        if (redo_.empty()) throw StudioError(409, "nothing to redo");
        text = redo_.back();
    }
    auto next = load(text, true);
    std::lock_guard lock(mutex_);
    redo_.pop_back();
    undo_.push_back(current_->text);
    gesture_.clear();
    current_ = std::move(next);
    return current_->version;
}

Json Session::save(const std::string& path) {
    std::lock_guard change(changeMutex_);
    std::string target;
    {
        std::lock_guard lock(mutex_);
        target = path.empty() ? document_ : paths_.resolve(path).string();
    }
    if (target.empty()) throw StudioError(400, "the document has no file yet: give a path");
    if (fs::path(target).extension() != ".json")
        throw StudioError(400, "a document is saved as a .json file");
    const auto cur = current();
    if (!cur->host)
        throw StudioError(409,
                          "the document does not load, so it cannot be saved as tavrin "
                          "writes documents; fix it first");
    // As `tavrin save` does: the text loaded afresh, then written.
    const auto fresh = load(cur->text, false);
    const std::string written = standalone::SaveDocumentText(*fresh->host, target);
    try {
        standalone::WriteTextWhole(target, written);
    } catch (const std::exception& e) {
        throw StudioError(500, e.what());
    }
    const bool moved = fs::path(target).parent_path() != fs::path(documentFile()).parent_path();
    {
        std::lock_guard lock(mutex_);
        document_ = target;
        saved_ = written;
        gesture_.clear();
        if (moved) {
            // Relative paths in older states start from the old folder.
            paths_.setBase(fs::path(target).parent_path());
            undo_.clear();
            redo_.clear();
        }
    }
    auto next = load(written, true);
    std::lock_guard lock(mutex_);
    current_ = std::move(next);
    return {{"path", target}, {"version", current_->version}};
}

Json Session::exportSvg(int32_t compIndex, const std::string& layer, int64_t frame, bool sequence,
                        const std::string& path) {
    const std::string target = resolve(path);
    if (fs::path(target).extension() != ".svg")
        throw StudioError(400, "an SVG export is written to a .svg file");
    const auto s = current();
    if (!s->host) throw StudioError(409, "the document does not load: there is nothing to export");
    auto& comps = s->host->project().comps;
    if (compIndex < 0 || size_t(compIndex) >= comps.size())
        throw StudioError(400, "there is no comp " + std::to_string(compIndex));
    standalone::SvgExportOptions options;
    options.layer = layer;
    options.frame = frame;
    options.sequence = sequence;
    std::lock_guard render(renderMutex_);
    std::lock_guard lock(s->hostMutex);
    s->host->setDownsample(PF_RationalScale{1, 1});
    try {
        const standalone::SvgExportReport report =
            standalone::ExportSvgFile(*s->host, *comps[size_t(compIndex)], options, target);
        return {{"path", target}, {"layer", report.layer}};
    } catch (const std::exception& e) {
        throw StudioError(422, e.what());
    }
}

Json Session::geometry(int32_t compIndex, int32_t layerIndex, int64_t frameNumber) {
    const auto s = current();
    if (!s->host) throw StudioError(409, "the document does not load: there is no geometry");
    auto& comps = s->host->project().comps;
    if (compIndex < 0 || size_t(compIndex) >= comps.size())
        throw StudioError(400, "there is no comp " + std::to_string(compIndex));
    const standalone::Comp& comp = *comps[size_t(compIndex)];
    if (layerIndex < 0 || size_t(layerIndex) >= comp.layers.size())
        throw StudioError(400, "there is no layer " + std::to_string(layerIndex));
    if (frameNumber < 0 || frameNumber >= comp.frameCount())
        throw StudioError(400, "comp \"" + comp.name + "\" has frames 0 to " +
                                   std::to_string(comp.frameCount() - 1));
    std::lock_guard render(renderMutex_);
    std::lock_guard lock(s->hostMutex);
    s->host->setDownsample(PF_RationalScale{1, 1});
    const A_Time time = comp.frameTime(frameNumber);
    ScopedObjectMessage message;
    const PF_Err status = Gather(*s->host, comp.layers[size_t(layerIndex)]->uid, time, *message);
    Json answer =
        GeometryJson(*message->geometry, standalone::CompCameraMatrix(comp, TimeToSeconds(time)));
    answer["version"] = s->version;
    answer["messages"] = Json::array();
    if (status == kLoopGuardStatus) answer["messages"].push_back(kInfiniteLoopMessage);
    for (std::string& report : s->host->takeReports()) answer["messages"].push_back(report);
    return answer;
}

std::string Session::resolve(const std::string& path) const {
    std::lock_guard lock(mutex_);
    return paths_.resolve(path).string();
}

Json Session::listFolder(const std::string& dir) const {
    fs::path folder, base;
    {
        std::lock_guard lock(mutex_);
        base = paths_.base();
        folder = dir.empty() ? base : paths_.resolve(dir);
    }
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) throw StudioError(404, "\"" + dir + "\" is not a folder");
    Json entries = Json::array();
    std::vector<std::pair<std::string, bool>> found;
    for (const auto& e : fs::directory_iterator(folder, ec)) {
        const std::string name = e.path().filename().string();
        if (name.empty() || name[0] == '.') continue;
        found.emplace_back(name, e.is_directory(ec));
    }
    std::sort(found.begin(), found.end());
    for (const auto& [name, isFolder] : found)
        entries.push_back({{"name", name}, {"folder", isFolder}});
    const fs::path relative = folder.lexically_relative(base);
    Json j{{"dir", relative == "." ? std::string() : relative.generic_string()},
           {"entries", entries}};
    std::lock_guard lock(mutex_);
    if (folder != base && paths_.inside(folder.parent_path()))
        j["parent"] = folder.parent_path().lexically_relative(base).generic_string() == "."
                          ? std::string()
                          : folder.parent_path().lexically_relative(base).generic_string();
    return j;
}

std::string Session::text() const {
    return current()->text;
}

uint64_t Session::version() const {
    return current()->version;
}

Json Session::state(double seconds) const {
    const auto s = current();
    Json j;
    j["version"] = s->version;
    {
        std::lock_guard lock(mutex_);
        j["document"] = document_.empty() ? Json(nullptr) : Json(document_);
        j["saved"] = !saved_.empty() && saved_ == s->text;
        j["canUndo"] = !undo_.empty();
        j["canRedo"] = !redo_.empty();
    }
    if (s->problem)
        j["problem"] = {{"message", s->problem->what()}, {"path", s->problem->jsonPath()}};
    j["messages"] = s->messages;
    j["comps"] = s->model ? s->model->at(seconds)["comps"] : Json::array();
    return j;
}

Session::Frame Session::frame(uint64_t version, int32_t compIndex, int64_t frameNumber,
                              int32_t scale) {
    Frame f;
    auto s = current();
    f.version = s->version;
    if (s->version != version) {
        f.stale = true;
        return f;
    }
    if (!s->host) throw StudioError(409, "the document does not load: there is no frame");
    auto& comps = s->host->project().comps;
    if (compIndex < 0 || size_t(compIndex) >= comps.size())
        throw StudioError(400, "there is no comp " + std::to_string(compIndex));
    const standalone::Comp& comp = *comps[size_t(compIndex)];
    if (frameNumber < 0 || frameNumber >= comp.frameCount())
        throw StudioError(400, "comp \"" + comp.name + "\" has frames 0 to " +
                                   std::to_string(comp.frameCount() - 1));
    if (scale < 1 || scale > 4) throw StudioError(400, "the preview scale is 1, 2, 3 or 4");
    const auto key = std::make_tuple(compIndex, frameNumber, scale);
    {
        std::lock_guard lock(s->framesMutex);
        const auto it = s->frames.find(key);
        if (it != s->frames.end()) {
            f.png = it->second;
            return f;
        }
    }
    standalone::FloatImage image;
    {
        std::lock_guard render(renderMutex_);
        // A change that came while this frame waited makes it old: it is not drawn.
        if (current()->version != version) {
            f.stale = true;
            return f;
        }
        std::lock_guard lock(s->hostMutex);
        s->host->setDownsample(PF_RationalScale{1, uint32_t(scale)});
        standalone::CompRenderer renderer(*s->host);
        try {
            image = renderer.renderFrame(comp, frameNumber, 8, f.messages);
        } catch (const std::exception& e) {
            throw StudioError(500, std::string("the frame failed: ") + e.what());
        }
        for (std::string& report : s->host->takeReports()) f.messages.push_back(std::move(report));
    }
    // Drawn for a version a newer change replaced meanwhile: dropped.
    if (current()->version != version) {
        f.stale = true;
        return f;
    }
    f.png = EncodePng(image);
    std::lock_guard lock(s->framesMutex);
    if (s->frameBytes + f.png.size() > kFrameCacheBytes) {
        s->frames.clear();
        s->frameBytes = 0;
    }
    s->frameBytes += f.png.size();
    s->frames[key] = f.png;
    return f;
}

}  // namespace tv::studio
