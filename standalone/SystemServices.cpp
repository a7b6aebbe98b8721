// The embedded host's system services: GUIDs, the idle suite and its queue, parallel iteration
// on a oneTBB pool, and the diagnostic lines, reports and render notes the effects send.
#include <tbb/parallel_for.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include "standalone/CallTimes.h"
#include "standalone/TerminalText.h"
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

void EmbeddedHost::runIdleTasks() {
    std::vector<std::function<void()>> tasks;
    {
        std::lock_guard lock(idleMutex_);
        tasks.swap(idleTasks_);
    }
    for (auto& task : tasks) task();
}

size_t EmbeddedHost::pendingIdleTasks() const {
    std::lock_guard lock(idleMutex_);
    return idleTasks_.size();
}

std::vector<std::string> EmbeddedHost::takeDiagnostics() {
    std::lock_guard lock(messagesMutex_);
    return std::exchange(diagnostics_, {});
}

std::vector<std::string> EmbeddedHost::takeReports() {
    std::lock_guard lock(messagesMutex_);
    return std::exchange(reports_, {});
}

void EmbeddedHost::newGuid(uint8_t out[16]) {
    // xorshift128+ seeded from the system's entropy; version 4 and variant bits set.
    std::lock_guard lock(guidMutex_);
    for (int half = 0; half < 2; ++half) {
        uint64_t s1 = guidState_[0];
        const uint64_t s0 = guidState_[1];
        guidState_[0] = s0;
        s1 ^= s1 << 23;
        guidState_[1] = s1 ^ s0 ^ (s1 >> 17) ^ (s0 >> 26);
        const uint64_t v = guidState_[1] + s0;
        std::memcpy(out + 8 * half, &v, 8);
    }
    out[6] = static_cast<uint8_t>((out[6] & 0x0F) | 0x40);
    out[8] = static_cast<uint8_t>((out[8] & 0x3F) | 0x80);
}

PF_Err EmbeddedHost::iterate(int32_t count, const std::function<PF_Err(int32_t)>& fn) {
    std::atomic<PF_Err> first{PF_Err_NONE};
    tbb::parallel_for(0, count, [&](int32_t i) {
        const PF_Err err = fn(i);
        PF_Err expected = PF_Err_NONE;
        if (err) first.compare_exchange_strong(expected, err);
    });
    return first.load();
}

void EmbeddedHost::diagnostic(const std::string& line) {
    std::lock_guard lock(messagesMutex_);
    if (diagnosticStream_) {
        std::fprintf(diagnosticStream_, "%s\n", EscapeControlCharacters(line).c_str());
        std::fflush(diagnosticStream_);
    }
    diagnostics_.push_back(line);
}

std::string EmbeddedHost::ObjProblemNote(const std::string& line) const {
    const uint64_t uid = InnermostCallInstance();
    const EffectInstance* instance = uid ? instanceByUid(uid) : nullptr;
    const InstalledEffect* effect = instance ? installedEffect(instance->key) : nullptr;
    if (!effect || effect->matchName != "KDL TAVRSRC OBJ") return {};
    const Layer* layer = layerOfInstance(uid);
    // The OBJ footage layer its "OBJ Layer" parameter names, for the file.
    std::string files;
    for (const ParamSpec& spec : effect->params) {
        if (spec.type != PF_Param_LAYER || size_t(spec.index) >= instance->params.size()) continue;
        const int32_t id = instance->params[size_t(spec.index)].value.u.layerId;
        for (const auto& comp : state_.project.comps)
            for (const auto& l : comp->layers)
                if (int32_t(l->id) == id && !l->objFiles.empty())
                    files = l->objFiles.size() == 1
                                ? l->objFiles.front()
                                : l->objFiles.front() + " ... (" +
                                      std::to_string(l->objFiles.size()) + " files)";
    }
    return "layer \"" + (layer ? layer->name : std::string("?")) + "\", \"" + effect->displayName +
           "\"" + (files.empty() ? "" : " reading " + files) + ": " + line;
}

void EmbeddedHost::reportInfo(const std::string& message) {
    std::lock_guard lock(messagesMutex_);
    reports_.push_back(message);
}

void EmbeddedHost::renderNote(const std::string& key, const std::string& text) {
    // The OBJ reader's problems are with a file the user gave: noted with the layer and the file,
    // so that a render says so even without -v.
    const std::string note = key == "obj-problem" ? ObjProblemNote(text) : text;
    std::lock_guard lock(messagesMutex_);
    renderNotes_[key].insert(note.empty() ? text : note);
}

std::map<std::string, std::set<std::string>> EmbeddedHost::renderNotes() const {
    std::lock_guard lock(messagesMutex_);
    return renderNotes_;
}

}  // namespace tv::standalone
