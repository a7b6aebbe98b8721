// The studio's session: the open document held as JSON text, each change applied to that text
// and loaded again through the document loader (so the document stays the user's last word and
// a change that does not load is refused with its JSON path), undo and redo as stacks of
// document states, saving as `tavrin save` writes, and frames where the latest change wins.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "studio/AllowedPaths.h"
#include "studio/EffectTables.h"

namespace tv::studio {

class Session {
  public:
    struct Options {
        std::string document;  // empty: a new document with one empty comp
        std::vector<std::string> allowDirs;
    };
    // Opens the document (a file that does not exist yet starts empty and is saved there). A
    // document that does not load is kept, with its problem, for the page to show and fix.
    Session(const Options& options, const EffectTables& tables);
    ~Session();

    // What the page shows, keyed values at comp time `seconds`: the version, the document's
    // path, whether it is saved, undo and redo, the problem of a document that does not load,
    // the effects' messages, and the comps with their layers, effects and parameters.
    Json state(double seconds) const;
    std::string text() const;
    uint64_t version() const;

    // Each change returns the new version. An edit may name its "gesture": the edits of one
    // gesture (a drag) are one step to undo. Throws StudioError (400 for an edit that is not well
    // formed, 403 for a file outside the allowed folders, 422 for a document that does not
    // load, with its JSON path); then nothing has changed.
    uint64_t edit(const Json& op);
    uint64_t replaceText(const std::string& text);
    uint64_t undo();
    uint64_t redo();
    // Writes the document as `tavrin save` does, to `path` (empty: the document's own path)
    // inside the allowed folders; the session then holds the text written. Returns
    // {"path": ..., "version": ...}.
    Json save(const std::string& path);

    struct Frame {
        bool stale = false;  // a newer change arrived: the frame was not drawn or was dropped
        uint64_t version = 0;
        std::string png;
        std::vector<std::string> messages;
    };
    // Frame `frame` of comp `comp` at the preview resolution 1/`scale` (1 to 4), of document
    // version `version`. One frame renders at a time; a frame of an older version is not
    // drawn, and one whose version went old while it was drawn is dropped.
    Frame frame(uint64_t version, int32_t comp, int64_t frame, int32_t scale);

    // Presses the "Export SVG" button of layer `layer`'s "Tavrin" effect (empty: the first layer
    // carrying it) with its dialog answered by `path` (a .svg file inside the allowed folders):
    // frame `frame`, or with `sequence` every frame as one animated file. At full resolution.
    // Returns {"path", "layer"}; StudioError 422 with the reason when nothing was written.
    Json exportSvg(int32_t comp, const std::string& layer, int64_t frame, bool sequence,
                   const std::string& path);
    // The gathered geometry of layer `layer` of comp `comp` at frame `frame` (what `tavrin
    // geometry` writes) with the comp camera, of the current version (GeometryJson), plus
    // {"version", "messages"}.
    Json geometry(int32_t comp, int32_t layer, int64_t frame);
    // A folder inside the allowed ones, for the page's file dialogs: {"dir": relative to the
    // document's folder ("" for it), "parent" when there is one to go up to, "entries":
    // [{"name", "folder"}]}. Hidden files are left out.
    Json listFolder(const std::string& dir) const;
    // A path the page names, resolved inside the allowed folders (StudioError 403 otherwise).
    std::string resolve(const std::string& path) const;
    const EffectTables& tables() const { return tables_; }

  private:
    struct Snapshot;
    std::shared_ptr<Snapshot> current() const;
    // Loads a text into a new snapshot. Throws StudioError 422 when it does not load, unless
    // `keepProblem`, which keeps the text with its problem instead.
    std::shared_ptr<Snapshot> load(const std::string& text, bool keepProblem);
    // Makes `next` current, the current text going onto the undo stack unless the change
    // continues the last one's gesture (a slider dragged is one step to undo).
    uint64_t change(std::shared_ptr<Snapshot> next, const std::string& gesture = {});
    // Refuses a document that names a file outside the allowed folders, unless the opened
    // document named it already.
    void checkFiles(const Json& doc) const;
    std::string documentFile() const;

    const EffectTables& tables_;
    AllowedPaths paths_;
    std::string document_;           // the document's path; empty until saved
    std::set<std::string> trusted_;  // files the opened document named, resolved
    mutable std::mutex mutex_;       // current_, the stacks, document_, saved_
    std::shared_ptr<Snapshot> current_;
    std::vector<std::string> undo_, redo_;
    std::string saved_;       // the text on disk, for "saved"
    std::string gesture_;     // the gesture of the last change, if it had one
    std::mutex changeMutex_;  // one change at a time
    std::mutex renderMutex_;  // one frame at a time
};

}  // namespace tv::studio
